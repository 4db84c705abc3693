// Unsharp masking in luma: the difference between a pixel's luma and the mean of its neighbourhood is added, `strength`
// times, to all three channels, so that edges get no coloured rims. The neighbourhood is a Gaussian of a radius that is
// in proportion to the picture, or, where that is less than a pixel, binomial, of 3x3 or 5x5 pixels. How far a pixel
// may go beyond the darkest and the brightest of its neighbours is limited: strong settings stay free of halos.
// Differences below the threshold stay as they are. Neighbours are weighted by alpha. Alpha is kept.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

#include <fmt/format.h>

#include "Ogl/Processor.h"
#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"
#include "Proc/Effects/EffectsOgl/Effects/ProcessorBlur.h"
#include "Proc/Effects/EffectsOgl/Effects/ProcessorSharpen.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsFilterEffects.h"

namespace Kaltor::Ogl {
namespace {

/// The program for a neighbourhood of 2 `reach` + 1 pixels a side.
std::string MakeFragment(int reach) {
    static constexpr std::array<std::array<int, 3>, 2> kBinomials{{{2, 1, 0}, {6, 4, 1}}};
    auto const weigh = [reach](int offset) {
        return kBinomials.at(static_cast<std::size_t>(reach - 1)).at(static_cast<std::size_t>(std::abs(offset)));
    };
    std::string source = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 texel;
uniform float strength;
uniform float threshold;
varying vec2 TexCoord0;
float detail;
float low;
float high;
float here;
void tap(float x, float y, float weight) {
    vec4 c = texture2D(tex, TexCoord0 + texel * vec2(x, y));
    float over = (dot(c.rgb, vec3(0.2126, 0.7152, 0.0722)) - here) * c.a;
    detail -= over * weight;
    low = min(low, over);
    high = max(high, over);
}
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    here = dot(origin.rgb, vec3(0.2126, 0.7152, 0.0722));
    detail = 0.0;
    low = 0.0;
    high = 0.0;
)glsl";
    int const side = reach == 1 ? 4 : 16;  // the sum of the weights along one axis
    for (int y = -reach; y <= reach; ++y) {
        for (int x = -reach; x <= reach; ++x) {
            if (x != 0 || y != 0) {
                source += fmt::format("    tap({}.0, {}.0, {:.9f});\n", x, y,
                                      static_cast<double>(weigh(x) * weigh(y)) / (side * side));
            }
        }
    }
    return source + R"glsl(    float margin = 0.5 * (high - low);
    detail -= clamp(detail, -threshold, threshold);
    gl_FragColor = vec4(origin.rgb + vec3(clamp(detail * strength, low - margin, high + margin)), origin.a);
}
)glsl";
}

// Against a blurred copy; both premultiplied.
constexpr char kUnsharp[] = R"glsl(#version 120
uniform sampler2D tex;
uniform sampler2D soft;
uniform vec2 texel;
uniform float strength;
uniform float threshold;
varying vec2 TexCoord0;
const vec3 kLuma = vec3(0.2126, 0.7152, 0.0722);
float here;
float Over(vec2 offset) {
    vec4 c = texture2D(tex, TexCoord0 + texel * offset);
    return (dot(c.rgb, kLuma) - here) * c.a;
}
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    here = dot(origin.rgb, kLuma);
    vec4 mean = texture2D(soft, TexCoord0);
    float detail = here * mean.a - dot(mean.rgb, kLuma);
    detail -= clamp(detail, -threshold, threshold);
    vec4 around = vec4(Over(vec2(1.0, 0.0)), Over(vec2(-1.0, 0.0)), Over(vec2(0.0, 1.0)), Over(vec2(0.0, -1.0)));
    float low = min(min(min(around.x, around.y), min(around.z, around.w)), 0.0);
    float high = max(max(max(around.x, around.y), max(around.z, around.w)), 0.0);
    float margin = 0.06 + 0.5 * (high - low);
    gl_FragColor = vec4(origin.rgb + vec3(clamp(detail * strength, low - margin, high + margin)), origin.a);
}
)glsl";

constexpr char kVisiblePart[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    vec4 c = texture2D(tex, TexCoord0);
    gl_FragColor = vec4(c.rgb * c.a, c.a);
}
)glsl";

}  // namespace

class EffectSharpen final : public EffectWithSettings<Proc::SettingsEffectSharpen> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.strength == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const target = dst->FrameData();
        if (HasRadius(src->GetFrameInfo()) && FiltersOpaqueOnCpu(src->FrameData(), target)) {
            Samples const from = ReadSamples(src->FrameData(), 0, storage);
            Samples soft = from;
            soft.stride = std::abs(from.stride);
            soft.data = storage.Processor().Memory(1, static_cast<std::size_t>(soft.stride) * target.GetHeight());
            BlurOnProcessor(from, soft, BlurKernel(target.GetWidth(), target.GetHeight(), settings.radius),
                            storage.Processor());
            Samples const to = TakeSamples(target, 2, storage);  // which the blur has used
            SharpenOnProcessor(from, soft, to, settings.strength, settings.threshold, storage.Processor());
            WriteSamples(to, target, storage);
            return;
        }
        bool const isWide = settings.kernel == Proc::SettingsEffectSharpen::Kernel::FiveByFive;
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::vec2 const texel(1.0F / static_cast<float>(picture.GetWidth()),
                              1.0F / static_cast<float>(picture.GetHeight()));
        if (HasRadius(src->GetFrameInfo())) {
            Src shown = src;
            if (!picture.GetFirstTexture().IsOpaque()) {
                shown = DataVideoOGL::Create(dst->GetPixFmt(), src->GetFrameInfo());
                Pass(storage, "EffectSharpen_visible", kVisiblePart)
                    .Texture("tex", 0, picture, TextureFilter::Nearest)
                    .DrawTo(*shown);
            }
            Src const soft = DataVideoOGL::Create(dst->GetPixFmt(), src->GetFrameInfo());
            EffectBlur(settings.radius).Processing(soft.get(), shown, 0.0, 0.0, storage, nullptr);
            Pass(storage, "EffectSharpen_radius", kUnsharp)
                .Texture("tex", 0, picture, TextureFilter::Nearest)
                .Texture("soft", 1, soft->FrameData(), TextureFilter::Nearest)
                .Set("texel", texel)
                .Set("strength", settings.strength)
                .Set("threshold", settings.threshold)
                .DrawTo(*dst);
            return;
        }
        Pass(storage, isWide ? "EffectSharpen_5x5" : "EffectSharpen_3x3", [&] { return MakeFragment(isWide ? 2 : 1); })
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("texel", texel)
            .Set("strength", settings.strength)
            .Set("threshold", settings.threshold)
            .DrawTo(*dst);
    }

    bool WorksInMemory(Conf::FrameInfo const& info) const override {
        return settings.strength != 0.0 && HasRadius(info);
    }

private:
    /// A pixel or more.
    bool HasRadius(Conf::FrameInfo const& info) const {
        return settings.radius * std::max(info.width, info.height) >= 1.0;
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectSharpen>();

}  // namespace Kaltor::Ogl
