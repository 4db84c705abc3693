// Blurs with a truncated Gaussian whose taps stand two texels apart, first along the rows, then along the columns:
//
//     out = norm * (tex(uv) + sum over i = 1 .. size of exp(sigma i^2) * (tex(uv + 2 i step) + tex(uv - 2 i step)))
//
// A GPU runs the sum as a loop. Where texel fetches are expensive, one of two other methods gives the same result: a
// program with the loop unrolled for its `size`, for few taps; reducing, blurring and enlarging, for many taps (see
// BlurKernel.h), whose result stays within 1/255 of the sum on pictures up to white noise. On software GL the
// processor's own threads do either for pictures of 8 bits (see ProcessorBlur.cpp).

#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"

#include <string>

#include <fmt/format.h>

#include "Ogl/OglManager.h"
#include "Proc/Effects/EffectsOgl/Effects/BlurKernel.h"
#include "Proc/Effects/EffectsOgl/Effects/ProcessorBlur.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Planes.h"
#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kLoop[] = R"glsl(#version 120
uniform sampler2D tex;
uniform float sigma;
uniform float norm;
uniform int size;
uniform vec2 local_step;
varying vec2 TexCoord0;
void main() {
    vec4 sum = texture2D(tex, TexCoord0);
    for (int i = 1; i <= size; ++i) {
        float n = float(i);
        vec2 d = local_step * n * 2.0;
        sum += (texture2D(tex, TexCoord0 + d) + texture2D(tex, TexCoord0 - d)) * exp(sigma * n * n);
    }
    gl_FragColor = sum * norm;
}
)glsl";

// exp(sigma (i + 1)^2) = exp(sigma i^2) * g * q^i with g = exp(sigma) and q = g^2: no exponential for each tap.
std::string MakeUnrolled(int size) {
    std::string source = R"glsl(#version 120
uniform sampler2D tex;
uniform float sigma;
uniform float norm;
uniform vec2 local_step;
varying vec2 TexCoord0;
void main() {
    vec4 sum = texture2D(tex, TexCoord0);
    float g = exp(sigma);
    float q = g * g;
    float c = 1.0;
    vec2 d;
)glsl";
    for (int i = 1; i <= size; ++i) {
        source += fmt::format("    c *= g; g *= q; d = local_step * {}.0;\n", 2 * i);
        source += "    sum += (texture2D(tex, TexCoord0 + d) + texture2D(tex, TexCoord0 - d)) * c;\n";
    }
    return source + "    gl_FragColor = sum * norm;\n}\n";
}

// Reduces the even or the odd texels of one axis by `factor`. The taps come in fours: the last ones may weigh 0.
constexpr char kDown[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 local_step;
uniform vec4 area;
uniform float factor;
uniform float norm;
uniform int size;
varying vec2 TexCoord0;
void main() {
    vec2 centre = TexCoord0 * area.xy + area.zw;
    vec4 sum = texture2D(tex, centre) * 0.75;
    vec2 tap = local_step * 2.0;
    float width = 1.0 / factor;
    for (int i = 0; i < size; i += 4) {
        vec4 n = vec4(1.0, 2.0, 3.0, 4.0) + float(i);
        vec4 x = n * width;
        vec4 e = max(vec4(1.5) - x, vec4(0.0));
        vec4 c = mix(0.5 * e * e, vec4(0.75) - x * x, vec4(lessThan(x, vec4(0.5))));
        vec2 d = tap * n.x;
        sum += (texture2D(tex, centre + d) + texture2D(tex, centre - d)) * c.x;
        d = tap * n.y;
        sum += (texture2D(tex, centre + d) + texture2D(tex, centre - d)) * c.y;
        d = tap * n.z;
        sum += (texture2D(tex, centre + d) + texture2D(tex, centre - d)) * c.z;
        d = tap * n.w;
        sum += (texture2D(tex, centre + d) + texture2D(tex, centre - d)) * c.w;
    }
    gl_FragColor = sum * norm;
}
)glsl";

// Enlarges along the axis `axis`: picks the pixel's phase and interpolates between its reduced samples.
constexpr char kUp[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 axis;
uniform float half_side;   // side of the target / 2: texels of one phase
uniform float inv_factor;
uniform float region;      // reduced samples of one phase with its margins
uniform float margin;      // those before the phase's first, to a texel's centre
uniform float inv_side;    // 1 / side of the source
varying vec2 TexCoord0;
void main() {
    float x = dot(TexCoord0, axis) * half_side;
    float t = floor(x);
    float u = t * inv_factor;
    float k = floor(u + 0.5);
    float f = u - k;
    float a = 0.5 - f;
    float b = 0.5 + f;
    float p = (k + margin + (x - t > 0.5 ? region : 0.0)) * inv_side;
    vec2 at = mix(TexCoord0, vec2(p), axis);
    vec2 next = axis * inv_side;
    gl_FragColor = texture2D(tex, at) * (0.75 - f * f)
                 + texture2D(tex, at - next) * (0.5 * a * a)
                 + texture2D(tex, at + next) * (0.5 * b * b);
}
)glsl";

constexpr glm::vec2 kX{1.0F, 0.0F};
constexpr glm::vec2 kY{0.0F, 1.0F};

/// The sum itself, as a loop or unrolled.
void BlurBySum(DataVideoOGL& dst, Frame const& source, BlurKernel const& kernel, bool isUnrolled,
               ShaderStorage const& storage) {
    Frame middle = Frame::Create();
    middle.Allocate(source.GetPixFmt(), source.GetWidth(), source.GetHeight());
    std::string const name = isUnrolled ? fmt::format("EffectBlur_{}", kernel.size) : "EffectBlur";
    auto const pass = [&](Frame const& from, glm::vec2 const& axis) {
        glm::vec2 const step{axis.x / static_cast<float>(source.GetWidth()),
                             axis.y / static_cast<float>(source.GetHeight())};
        Pass made(storage, name, [&] { return isUnrolled ? MakeUnrolled(kernel.size) : std::string(kLoop); });
        if (!isUnrolled) {
            made.Set("size", kernel.size);
        }
        return made.Texture("tex", 0, from, TextureFilter::Nearest)
            .Set("sigma", kernel.sigma)
            .Set("norm", static_cast<float>(kernel.norm))
            .Set("local_step", step);
    };
    pass(source, kX).DrawTo(middle);
    pass(middle, kY).DrawTo(dst);
}

void BlurByReduction(DataVideoOGL& dst, Frame const& source, BlurKernel const& kernel, ShaderStorage const& storage) {
    BlurReduction const reduction(kernel);
    std::uint32_t const width = source.GetWidth();
    std::uint32_t const height = source.GetHeight();
    auto const factor = static_cast<std::uint32_t>(reduction.factor);
    auto const margin = static_cast<std::uint32_t>(reduction.margin);
    // Reduced samples of one phase, along each axis, with the margins.
    auto const count = [&](std::uint32_t side) {
        std::uint32_t const phase = (side + 1) / 2;
        return 2 * margin + (phase + factor - 1) / factor + 1;
    };
    std::uint32_t const countX = count(width);
    std::uint32_t const countY = count(height);
    TexelFormat const texels = FinerWithAlpha(source.GetFirstTexture().GetForm().format);
    auto const make = [texels](std::uint32_t w, std::uint32_t h) {
        return PooledTexture(TextureForm{w, h, texels, false});
    };
    PooledTexture const wide = make(2 * countX, height);
    PooledTexture const small = make(2 * countX, 2 * countY);
    PooledTexture const blurred = make(2 * countX, 2 * countY);

    auto const down = [&](Texture const& from, Texture const& to, glm::vec2 const& axis, std::uint32_t phase,
                          std::uint32_t side, std::uint32_t samples, Pass::Area const& area) {
        auto const texels = static_cast<float>(side);
        float const scale = 2.0F * static_cast<float>(factor) * static_cast<float>(samples) / texels;
        float const shift = (2.0F * static_cast<float>(factor) * (-0.5F - static_cast<float>(margin)) +
                             static_cast<float>(phase) + 0.5F) /
                            texels;
        Pass(storage, "EffectBlur_down", kDown)
            .Texture("tex", 0, from, TextureFilter::Nearest)
            .Set("local_step", axis / texels)
            .Set("area", glm::vec4(glm::mix(glm::vec2(1.0F), glm::vec2(scale), axis), axis * shift))
            .Set("factor", static_cast<float>(factor))
            .Set("norm", reduction.downNorm)
            .Set("size", reduction.downPairs)
            .DrawTo(to, area);
    };
    for (std::uint32_t phase = 0; phase < 2; ++phase) {
        down(source.GetFirstTexture(), wide.Get(), kX, phase, width, countX, {phase * countX, 0, countX, height});
    }
    for (std::uint32_t phase = 0; phase < 2; ++phase) {
        down(wide.Get(), small.Get(), kY, phase, height, countY, {0, phase * countY, 2 * countX, countY});
    }

    auto const core = [&](Texture const& from, Texture const& to, glm::vec2 const& axis) {
        glm::vec2 const step{axis.x / static_cast<float>(2 * countX), axis.y / static_cast<float>(2 * countY)};
        Pass(storage, "EffectBlur_core", [] { return MakeTapProgram(BlurReduction::kPairs); })
            .Texture("tex", 0, from, TextureFilter::Nearest)
            .Set("local_step", step)
            .Set("weights", reduction.weights)
            .DrawTo(to);
    };
    core(small.Get(), blurred.Get(), kX);
    core(blurred.Get(), small.Get(), kY);

    auto const up = [&](Texture const& from, glm::vec2 const& axis, std::uint32_t side, std::uint32_t samples) {
        return Pass(storage, "EffectBlur_up", kUp)
            .Texture("tex", 0, from, TextureFilter::Nearest)
            .Set("axis", axis)
            .Set("half_side", static_cast<float>(side) * 0.5F)
            .Set("inv_factor", 1.0F / static_cast<float>(factor))
            .Set("region", static_cast<float>(samples))
            .Set("margin", static_cast<float>(margin) + 0.5F)
            .Set("inv_side", 1.0F / static_cast<float>(2 * samples));
    };
    up(small.Get(), kY, height, countY).DrawTo(wide.Get());
    up(wide.Get(), kX, width, countX).DrawTo(dst);
}

}  // namespace

void EffectBlur::Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                            OglCache*) const {
    if (IsOnPlanes(*dst)) {
        PlaneSource const picture(*src);
        Planes const& from = picture.Get();
        BlurKernel const kernel(static_cast<std::uint32_t>(from[0].width), static_cast<std::uint32_t>(from[0].height),
                                settings.scale);
        DrawPlanes(*dst, [&](Planes const& to) {
            for (std::size_t plane = 0; plane < to.size(); ++plane) {
                BlurOnProcessor(from[plane], to[plane], kernel, storage.Processor(), plane == 0 ? 2 : 1);
            }
        });
        return;
    }
    Frame const picture = src->FrameData();
    Frame const target = dst->FrameData();
    BlurKernel const kernel(picture.GetWidth(), picture.GetHeight(), settings.scale);
    if (FiltersOnCpu(picture, target)) {
        Samples const from = ReadSamples(picture, 0, storage);
        Samples const to = TakeSamples(target, 1, storage);
        BlurOnProcessor(from, to, kernel, storage.Processor());
        WriteSamples(to, target, storage);
        return;
    }
    Frame const source = picture.ConvertToRGBA(storage);
    constexpr int kMostUnrolled = 14;  // from here on reducing is both cheaper and more exact
    bool const areFetchesDear = OglManager::GetInstance().GetStrategy().areFetchesDear;
    if (areFetchesDear && kernel.size > kMostUnrolled) {
        BlurByReduction(*dst, source, kernel, storage);
    } else {
        BlurBySum(*dst, source, kernel, areFetchesDear, storage);
    }
}

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectBlur>();

}  // namespace Kaltor::Ogl
