// Mixing a sharp picture with a much blurred one shows both, one as a veil over the other. Between copies whose widths
// are only a factor of 2 apart the mixture looks like the blur that lies between them: its variance is the mean of
// their variances. Each copy is made from the picture reduced so far that a few taps do: the cost hardly depends on the
// width. As the blur's taps stand two texels apart, detail of two texels must not reach it: reducing is by the mean of
// two texels along each axis, of those to come, which leaves none.

#include "Proc/Effects/EffectsOgl/Effects/BlurLevels.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <fmt/format.h>

#include "Ogl/GlState.h"
#include "Proc/Effects/EffectsOgl/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/BlurKernel.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kReduce[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 half_step;   // half a texel of the target
varying vec2 TexCoord0;
void main() {
    vec2 across = vec2(half_step.x, -half_step.y);
    gl_FragColor = (texture2D(tex, TexCoord0 - half_step) + texture2D(tex, TexCoord0 + half_step)
                  + texture2D(tex, TexCoord0 - across) + texture2D(tex, TexCoord0 + across)) * 0.25;
}
)glsl";

constexpr int kPairs = 4;  ///< of taps where the picture was reduced

/// A scale that gives `EffectBlur` this many pairs of taps in a picture with this larger side.
double GetScale(int pairs, double side) {
    return (pairs + 0.5) / side;
}

/// Square texels.
double GetVariance(BlurKernel const& kernel) {
    double sum = 0.0;
    for (int i = 1; i <= kernel.size; ++i) {
        sum += 2.0 * std::pow(2.0 * i, 2.0) * std::exp(static_cast<double>(kernel.sigma) * i * i);
    }
    return sum * kernel.norm;
}

/// As linear interpolation, on average.
constexpr double kLinearVariance = 1.0 / 6.0;
constexpr double kReduceVariance = 0.25;

double GetSide(Frame const& frame) {
    return std::max(frame.GetWidth(), frame.GetHeight());
}

}  // namespace

char const* const BlurLevels::kFunction = R"glsl(#version 120
uniform sampler2D blur_1;
uniform sampler2D blur_2;
uniform sampler2D blur_3;
uniform sampler2D blur_4;
uniform vec4 blur_from;
uniform vec4 blur_slope;

vec3 Blurred(vec4 origin, vec2 uv, float amount) {
    vec4 share = clamp((vec4(amount * amount) - blur_from) * blur_slope, vec4(0.0), vec4(1.0));
    vec4 sum = mix(vec4(origin.rgb * origin.a, origin.a), texture2D(blur_1, uv), share.x);
    sum = mix(sum, texture2D(blur_2, uv), share.y);
    sum = mix(sum, texture2D(blur_3, uv), share.z);
    sum = mix(sum, texture2D(blur_4, uv), share.w);
    // Where next to nothing covers, the pixel's own colour is as good as any.
    return origin.a > 0.0 ? (sum.rgb + origin.rgb * 0.001) / (sum.a + 0.001) : origin.rgb;
}
)glsl";

BlurLevels::BlurLevels(EffectBlur& blur, Frame const& picture, double scale, ShaderStorage const& storage,
                       std::optional<glm::dvec4> const& area)
    : source(picture, storage) {
    double const side = GetSide(picture);
    double const full = scale * 2.0 / 3.0;  // standard deviation; `EffectBlur` reaches 3 of them
    BlurKernel const kernel(1, 1, GetScale(kPairs, 1.0));
    double const reducedDeviation = std::sqrt(GetVariance(kernel) + kReduceVariance + 2.0 * kLinearVariance);

    std::optional<glm::dvec4> box = area;
    if (box) {
        constexpr double kMargin = 12.0;  // texels of the smallest copy: its taps, and what reducing to it takes
        double const margin =
            (kMargin * full / reducedDeviation + 2.0 / side) * side / std::min(picture.GetWidth(), picture.GetHeight());
        *box = glm::clamp(*box + glm::dvec4(-margin, -margin, margin, margin), 0.0, 1.0);
    }
    std::optional<EnableState> scissor;
    if (box) {
        scissor.emplace(GL_SCISSOR_TEST);
    }

    // What the next copy is reduced from, and its larger side.
    Texture const* last = &source.Get();
    double lastSide = side;
    double lastVariance = 0.0;  // square sides of the picture
    std::vector<Frame> chain;   // keeps what is still to be read
    auto const reduce = [&](double wanted) {
        double const ratio = wanted / side;
        auto const shorten = [ratio](std::uint32_t length) {
            return std::max(static_cast<std::uint32_t>(std::lround(length * ratio)), 1U);
        };
        Conf::FrameInfo const info{shorten(picture.GetWidth()), shorten(picture.GetHeight())};
        Src const smaller = DataVideoOGL::Create(picture.GetPixFmt(), info);
        if (box) {
            SetScissor(*box, info.width, info.height);
        }
        Pass(storage, "BlurLevels_reduce", kReduce)
            .Texture("tex", 0, *last)
            .Set("half_step", glm::vec2(0.5 / info.width, 0.5 / info.height))
            .DrawTo(*smaller);
        lastVariance += kReduceVariance / std::pow(wanted, 2.0) + kLinearVariance / std::pow(lastSide, 2.0);
        chain.push_back(smaller->FrameData());
        last = &chain.back().GetFirstTexture();
        lastSide = GetSide(chain.back());
        return smaller;
    };

    for (std::size_t i = 0; i < kCount; ++i) {
        double const deviation = full / std::pow(2.0, static_cast<double>(kCount - 1 - i));
        double const wanted = std::min(reducedDeviation / deviation, side);
        double const pixels = deviation * side;
        if (pixels < std::sqrt(kReduceVariance)) {
            continue;  // nothing to see yet
        }
        while (lastSide > 2.0 * wanted + 1.0) {
            reduce(std::ceil(lastSide / 2.0));
        }
        Src const reduced = reduce(wanted);
        int const pairs =
            wanted < side ? kPairs
                          : static_cast<int>(std::lround(
                                1.5 * std::sqrt(std::max(pixels * pixels - kReduceVariance - kLinearVariance, 0.0))));
        Frame level = chain.back();
        double variance = lastVariance + kLinearVariance / (lastSide * lastSide);
        if (pairs > 0) {
            Proc::SettingsEffectBlurGaussian settings;
            settings.SetScale(GetScale(pairs, lastSide));
            blur.SetSettings(settings);
            Src const blurred = DataVideoOGL::Create(picture.GetPixFmt(), reduced->GetFrameInfo());
            blur.Processing(blurred.get(), reduced, 0.0, 0.0, storage, nullptr);
            level = blurred->FrameData();
            variance += GetVariance(BlurKernel(1, 1, GetScale(pairs, 1.0))) / (lastSide * lastSide);
        }
        std::fill(levels.begin() + static_cast<std::ptrdiff_t>(i), levels.end(), level);
        for (std::size_t k = i; k < kCount; ++k) {
            variances[static_cast<int>(k)] = static_cast<float>(variance / (full * full));
        }
    }
}

void BlurLevels::SetOn(Pass& pass, int unit) const {
    glm::vec4 const from(0.0F, variances.x, variances.y, variances.z);
    for (std::size_t i = 0; i < kCount; ++i) {
        pass.Texture(fmt::format("blur_{}", i + 1), unit + static_cast<int>(i),
                     levels[i].IsValid() ? levels[i].GetFirstTexture() : source.Get());
    }
    pass.Set("blur_from", from).Set("blur_slope", 1.0F / glm::max(variances - from, glm::vec4(1e-6F)));
}

}  // namespace Kaltor::Ogl
