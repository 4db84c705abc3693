// Brush-like patches of even colour with crisp edges: a generalised Kuwahara filter (G. Papari, N. Petkov, P. Campisi,
// "Artistic Edge and Corner Enhancing Smoothing", 2007). Around each pixel lie eight overlapping sectors; the result is
// the mean of their mean colours, weighted by their standard deviations to the power of -sharpness, so that sectors
// across an edge hardly count. The sectors follow the picture's structure (J. E. Kyprianidis, H. Kang, J. Doellner,
// "Image and Video Abstraction by Anisotropic Kuwahara Filtering", 2009): along an edge they are longer than across.
//
// A sector is the sum of two Gaussians, a narrow one close to the pixel and a wider one behind it. Both are read from
// pictures that are blurred once for all sectors and pixels, on a lattice as coarse as the radius allows. These
// pictures hold the mean colour and the mean of its squared distance from grey, which give a sector's variance. The
// sectors are weighted at every pixel of the full picture, so edges are as fine as its pixels, and the cost does not
// depend on the radius.
//
// Transparent parts are first filled from the visible colours around them. Alpha is kept.

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Ogl/GlState.h"
#include "Ogl/TexturePool.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/BlurKernel.h"
#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFill[] = R"glsl(#version 120
uniform sampler2D tex;
uniform sampler2D around;
varying vec2 TexCoord0;
void main() {
    vec4 c = texture2D(tex, TexCoord0);
    vec4 mean = texture2D(around, TexCoord0);
    gl_FragColor = vec4(c.rgb * c.a + mean.rgb * ((1.0 - c.a) / max(mean.a, 0.001)), 1.0);
}
)glsl";

// The mean colour of `factor` x `factor` pixels, and in alpha the mean of its squared distance from grey, divided by
// the greatest possible one. A variance is the difference of two of these; the smaller they are, the less is lost to
// rounding.
constexpr char kReduce[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 texel;
uniform vec2 lattice;       // points along each axis
uniform int factor;
varying vec2 TexCoord0;
void main() {
    vec2 first = (floor(TexCoord0 * lattice) * float(factor) + vec2(0.5)) * texel;
    vec3 sum = vec3(0.0);
    vec3 squares = vec3(0.0);
    for (int y = 0; y < factor; ++y) {
        for (int x = 0; x < factor; ++x) {
            vec3 c = texture2D(tex, first + vec2(float(x), float(y)) * texel).rgb;
            sum += c;
            c -= vec3(0.5);
            squares += c * c;
        }
    }
    gl_FragColor = vec4(sum, dot(squares, vec3(4.0 / 3.0))) / float(factor * factor);
}
)glsl";

// Puts the standard deviation, divided by the greatest possible one, into alpha. Sectors interpolate this value:
// computed from interpolated squares and means, it would ripple between the points of the lattice. From here on 8 bits
// are enough, and cheaper to sample.
constexpr char kDeviation[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    vec4 c = texture2D(tex, TexCoord0);
    vec3 tone = c.rgb - vec3(0.5);
    gl_FragColor = vec4(c.rgb, sqrt(max(c.a - dot(tone, tone) * (4.0 / 3.0), 0.0)));
}
)glsl";

// The structure tensor (E F; F G) divided by the length of the gradient, which keeps weak gradients above the rounding.
// It is stored as (E - G, 2 F, E + G), the signed values centred on 1/2.
constexpr char kTensor[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 texel;
varying vec2 TexCoord0;
vec3 tap(float x, float y) {
    return texture2D(tex, TexCoord0 + texel * vec2(x, y)).rgb;
}
void main() {
    vec3 falling = tap(1.0, -1.0) - tap(-1.0, 1.0);
    vec3 rising = tap(1.0, 1.0) - tap(-1.0, -1.0);
    vec3 gx = ((rising + falling) * 3.0 + (tap(1.0, 0.0) - tap(-1.0, 0.0)) * 10.0) / 32.0;
    vec3 gy = ((rising - falling) * 3.0 + (tap(0.0, 1.0) - tap(0.0, -1.0)) * 10.0) / 32.0;
    float e = dot(gx, gx);
    float g = dot(gy, gy);
    vec3 tensor = vec3(e - g, 2.0 * dot(gx, gy), e + g) * inversesqrt(e + g + 1e-9);
    gl_FragColor = vec4(tensor.xy * 0.5 + vec2(0.5), tensor.z, 1.0);
}
)glsl";

constexpr int kSectors = 8;

std::string MakePaint() {
    std::string source = R"glsl(#version 120
uniform sampler2D tex;
uniform sampler2D near;
uniform sampler2D far;
uniform sampler2D flow;
uniform vec2 to_lattice;    // from texture coordinates of the picture to the lattice's
uniform vec2 radius;        // in the lattice's texture coordinates
uniform float power;        // half the sharpness
varying vec2 TexCoord0;
vec2 here;
vec2 along;
vec2 across;
// The mean colour and the variance of the sector that lies in `direction`.
vec4 sector(vec2 direction) {
    vec2 at = along * direction.x + across * direction.y;
    vec4 inner = texture2D(near, here + at * NEAR_AT);
    vec4 outer = texture2D(far, here + at * FAR_AT);
    vec3 apart = inner.rgb - outer.rgb;
    vec4 both = mix(outer, inner, NEAR_SHARE);
    float within = 0.75 * mix(outer.a * outer.a, inner.a * inner.a, NEAR_SHARE);
    return vec4(both.rgb, within + NEAR_SHARE * (1.0 - NEAR_SHARE) * dot(apart, apart) + 1e-4);
}
void main() {
    here = TexCoord0 * to_lattice;
    vec3 tensor = texture2D(flow, here).rgb;
    vec2 doubled = tensor.xy * 2.0 - vec2(1.0);
    float size = length(doubled);
    float anisotropy = clamp(size / (tensor.z + 0.004), 0.0, 1.0);
    float turn = size > 0.0 ? doubled.x / size : 1.0;
    vec2 gradient = sqrt(max(vec2(1.0 + turn, 1.0 - turn), vec2(0.0)) * 0.5) * vec2(1.0, doubled.y < 0.0 ? -1.0 : 1.0);
    float stretch = 1.0 + STRETCH * anisotropy;
    along = vec2(-gradient.y, gradient.x) * radius * stretch;
    across = gradient * radius / stretch;
)glsl";
    std::array<std::pair<char const*, char const*>, 4> const constants{
        {{"NEAR_AT", "0.35"}, {"NEAR_SHARE", "0.4"}, {"FAR_AT", "0.8"}, {"STRETCH", "0.6"}}};
    for (auto const& [name, value] : constants) {
        for (std::size_t at = source.find(name); at != std::string::npos; at = source.find(name)) {
            source.replace(at, std::string_view(name).size(), value);
        }
    }
    std::string least = "1e9";
    for (int i = 0; i < kSectors; ++i) {
        double const angle = 2.0 * std::numbers::pi * i / kSectors;
        source += fmt::format("    vec4 m{} = sector(vec2({:.6f}, {:.6f}));\n", i, std::cos(angle), std::sin(angle));
        least = fmt::format("min({}, m{}.a)", least, i);
    }
    source += fmt::format("    float least = {};\n    vec4 sum = vec4(0.0);\n", least);
    for (int i = 0; i < kSectors; ++i) {
        source += fmt::format("    sum += vec4(m{0}.rgb, 1.0) * pow(least / m{0}.a, power);\n", i);
    }
    return source + "    gl_FragColor = vec4(sum.rgb / sum.a, texture2D(tex, TexCoord0).a);\n}\n";
}

/// A picture of intermediate results on the lattice.
class Lattice {
public:
    Lattice(ShaderStorage const& shaderStorage, std::uint32_t latticeWidth, std::uint32_t latticeHeight,
            TexelFormat texels)
        : storage(shaderStorage), width(latticeWidth), height(latticeHeight), format(texels) {}

    /// A picture with half as many points along each axis.
    Lattice Halve() const { return {storage, (width + 1) / 2, (height + 1) / 2, format}; }

    PooledTexture Make() const { return PooledTexture(TextureForm{width, height, format, false}); }
    glm::vec2 GetSize() const { return {width, height}; }

    /// Blurs with a Gaussian of `sigma` lattice points; far below 1 it changes nothing.
    PooledTexture Blur(Texture const& from, double sigma) const {
        constexpr int kMostPairs = 6;
        constexpr double kReach = 2.5;  // standard deviations
        int const pairs = std::clamp(static_cast<int>(std::ceil(kReach * sigma)), 1, kMostPairs);
        std::vector<float> weights;
        double sum = 0.0;
        for (int i = 0; i <= pairs; ++i) {
            double const weight = std::exp(-0.5 * i * i / std::max(sigma * sigma, 1e-4));
            sum += i == 0 ? weight : 2.0 * weight;
            weights.push_back(static_cast<float>(weight));
        }
        for (float& weight : weights) {
            weight /= static_cast<float>(sum);
        }
        PooledTexture const middle = Make();
        PooledTexture result = Make();
        auto const draw = [&](Texture const& source, Texture const& target, glm::vec2 const& axis) {
            Pass(storage, fmt::format("EffectOilPaint_blur_{}", pairs), [pairs] { return MakeTapProgram(pairs); })
                .Texture("tex", 0, source, TextureFilter::Nearest)
                .Set("local_step", axis / GetSize())
                .Set("weights", weights)
                .DrawTo(target);
        };
        draw(from, middle.Get(), {1.0F, 0.0F});
        draw(middle.Get(), result.Get(), {0.0F, 1.0F});
        return result;
    }

    PooledTexture ToDeviation(Texture const& from) const {
        PooledTexture result(TextureForm{width, height, LikeWithAlpha(format), false});
        Pass(storage, "EffectOilPaint_deviation", kDeviation)
            .Texture("tex", 0, from, TextureFilter::Nearest)
            .DrawTo(result.Get());
        return result;
    }

private:
    ShaderStorage const& storage;
    std::uint32_t width;
    std::uint32_t height;
    TexelFormat format;
};

/// The picture with its transparent parts coloured from their surroundings.
Frame FillTransparent(Frame const& picture, Conf::FrameInfo const& info, double scale, ShaderStorage const& storage) {
    Src const premultiplied = DataVideoOGL::Create(picture.GetPixFmt(), info);
    AttachTarget(*premultiplied, storage);
    {
        // Done by blending: software GL draws a program for this wrongly into frames that are stored blue first.
        EnableState const blend(GL_BLEND);
        glBlendFuncSeparate(GL_SRC_ALPHA, GL_ZERO, GL_ONE, GL_ZERO);
        picture.Draw(storage.Quad(), storage);
    }
    Src const blurred = DataVideoOGL::Create(picture.GetPixFmt(), info);
    EffectBlur(scale).Processing(blurred.get(), premultiplied, 0.0, 0.0, storage, nullptr);
    Frame const around = blurred->FrameData();
    Frame filled = Frame::Create();
    filled.Allocate(OpaqueFormat(picture.GetPixFmt()), picture.GetWidth(), picture.GetHeight());
    Pass(storage, "EffectOilPaint_fill", kFill)
        .Texture("tex", 0, picture, TextureFilter::Nearest)
        .Texture("around", 1, around, TextureFilter::Nearest)
        .DrawTo(filled);
    return filled;
}

}  // namespace

class EffectOilPaint final : public EffectWithSettings<Proc::SettingsEffectOilPaint> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.size <= 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        bool const hasAlpha = PixFmtDescription::Find(picture.GetPixFmt()).HasAlpha();
        Frame const filled = hasAlpha ? FillTransparent(picture, src->GetFrameInfo(), settings.size, storage) : picture;

        // The lattice is fine enough that the narrow Gaussian is wider than the lattice's own filtering, and coarse
        // enough to cost little.
        constexpr double kPointsPerRadius = 8.0;
        constexpr double kLeastToHalve = 7.0;
        constexpr double kNarrow = 0.2;  // standard deviation as a part of the radius
        constexpr double kWide = 0.33;
        constexpr double kFlow = 0.6;
        double const radius = settings.size * std::max(picture.GetWidth(), picture.GetHeight());
        auto const factor =
            static_cast<std::uint32_t>(std::max(radius / kPointsPerRadius, radius < kLeastToHalve ? 1.0 : 2.0));
        double const points = radius / factor;
        Lattice const lattice(storage, (picture.GetWidth() + factor - 1) / factor,
                              (picture.GetHeight() + factor - 1) / factor,
                              FinerWithAlpha(picture.GetFirstTexture().GetForm().format));
        glm::vec2 const side(picture.GetWidth(), picture.GetHeight());

        PooledTexture const reduced = lattice.Make();
        Pass(storage, "EffectOilPaint_reduce", kReduce)
            .Texture("tex", 0, filled, TextureFilter::Nearest)
            .Set("texel", 1.0F / side)
            .Set("lattice", lattice.GetSize())
            .Set("factor", static_cast<int>(factor))
            .DrawTo(reduced.Get());
        PooledTexture const nearBlurred = lattice.Blur(reduced.Get(), kNarrow * points);
        PooledTexture const farBlurred =
            lattice.Blur(nearBlurred.Get(), std::sqrt(kWide * kWide - kNarrow * kNarrow) * points);
        PooledTexture const near = lattice.ToDeviation(nearBlurred.Get());
        PooledTexture const far = lattice.ToDeviation(farBlurred.Get());
        Lattice const half = lattice.Halve();
        PooledTexture const tensor = half.Make();
        Pass(storage, "EffectOilPaint_tensor", kTensor)
            .Texture("tex", 0, nearBlurred.Get())
            .Set("texel", 1.0F / lattice.GetSize())
            .DrawTo(tensor.Get());
        PooledTexture const flow = half.Blur(tensor.Get(), kFlow * points / 2.0);

        glm::vec2 const toLattice = side / (static_cast<float>(factor) * lattice.GetSize());
        Pass(storage, "EffectOilPaint", &MakePaint)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("near", 1, near.Get())
            .Texture("far", 2, far.Get())
            .Texture("flow", 3, flow.Get())
            .Set("to_lattice", toLattice)
            .Set("radius", glm::vec2(static_cast<float>(points)) / lattice.GetSize())
            .Set("power", settings.sharpness / 2.0)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectOilPaint>();

}  // namespace Kaltor::Ogl
