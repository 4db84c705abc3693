// Screen prints: the picture, slightly blurred, is repeated `amount` x `amount` times; in each tile luminance is
// reduced to a few levels of one hue, and dark parts get their own ink. Alpha is kept.

#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform float saturation;
uniform float hue;
uniform float offset;
uniform float levels;
uniform float amount;
varying vec2 TexCoord0;

vec3 HsvToRgb(float h, float s, float v) {
    vec3 p = abs(fract(vec3(h) + vec3(1.0, 2.0 / 3.0, 1.0 / 3.0)) * 6.0 - vec3(3.0));
    return v * mix(vec3(1.0), clamp(p - vec3(1.0), 0.0, 1.0), s);
}

void main() {
    vec2 intgs = floor(TexCoord0 * amount);
    vec4 orig = texture2D(tex, fract(TexCoord0 * amount));
    float lum = dot(orig.rgb, vec3(0.2126, 0.7152, 0.0722));
    float hue_m = hue + (intgs.x * amount + intgs.y) * 3.5 / (amount * amount);
    float final_lum = offset + (floor((lum - offset) * levels) + 0.5) / levels;
    if (final_lum <= offset) {
        hue_m += 0.2;
        final_lum = offset * 1.5;
    }
    gl_FragColor = vec4(HsvToRgb(fract(hue_m), saturation, min(1.0, final_lum)), orig.a);
}
)glsl";

}  // namespace

class EffectPopArt final : public EffectWithSettings<Proc::SettingsEffectPopArt> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double progress, ShaderStorage const& storage,
                    OglCache* cache) const override {
        Src const blurred = DataVideoOGL::Create(dst->GetPixFmt(), dst->GetFrameInfo());
        blur.Processing(blurred.get(), src, time, progress, storage, cache);
        Frame const picture = blurred->FrameData();
        Pass(storage, "EffectPopArt", kFragment)
            .Texture("tex", 0, picture)
            .Set("saturation", settings.saturation)
            .Set("hue", settings.hue)
            .Set("offset", settings.offset)
            .Set("levels", static_cast<float>(settings.levels))
            .Set("amount", static_cast<float>(settings.amount))
            .DrawTo(*dst);
    }

private:
    EffectBlur blur{0.002};
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectPopArt>();

}  // namespace Kaltor::Ogl
