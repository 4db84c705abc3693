// Fills what is brighter than a threshold with shades of one colour. Alpha is kept.

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform float threshold;
uniform float contrast;
uniform vec4 filler;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    float lum = dot(origin.rgb, vec3(0.2126, 0.7152, 0.0722));
    if (lum > threshold) {
        origin.rgb = clamp(lum + (2.0 * contrast - 1.0), 0.0, 1.0) * filler.rgb;
    }
    gl_FragColor = origin;
}
)glsl";

}  // namespace

class EffectColorMixField final : public EffectWithSettings<Proc::SettingsEffectColorMixField> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectColorMixField", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("threshold", settings.threshold)
            .Set("contrast", settings.contrast)
            .Set("filler", settings.color)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectColorMixField>();

}  // namespace Kaltor::Ogl
