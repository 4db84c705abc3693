// Unsharp masking in luma: the difference between a pixel's luma and the binomial mean of its neighbourhood (3x3 or
// 5x5) is added, `strength` times, to all three channels, so that edges get no coloured rims. How far a pixel may go
// beyond the darkest and the brightest of its neighbours is limited: strong settings stay free of halos. Neighbours are
// weighted by alpha. Alpha is kept.

#include <array>
#include <cstdlib>
#include <string>

#include <fmt/format.h>

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
    gl_FragColor = vec4(origin.rgb + vec3(clamp(detail * strength, low - margin, high + margin)), origin.a);
}
)glsl";
}

}  // namespace

class EffectSharpen final : public EffectWithSettings<Proc::SettingsEffectSharpen> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.strength == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        bool const isWide = settings.kernel == Proc::SettingsEffectSharpen::Kernel::FiveByFive;
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, isWide ? "EffectSharpen_5x5" : "EffectSharpen_3x3", [&] { return MakeFragment(isWide ? 2 : 1); })
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("texel", 1.0F / static_cast<float>(picture.GetWidth()), 1.0F / static_cast<float>(picture.GetHeight()))
            .Set("strength", settings.strength)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectSharpen>();

}  // namespace Kaltor::Ogl
