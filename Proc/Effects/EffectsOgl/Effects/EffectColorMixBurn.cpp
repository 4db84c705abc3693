// Bends each channel along a sine that darkens all below 1/2 to black, mixed in by `strength`. Alpha is kept.

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform float strength;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    vec3 burn = sin((origin.rgb - vec3(0.5)) * 3.14159265358979323846);
    gl_FragColor = vec4(mix(origin.rgb, burn, strength), origin.a);
}
)glsl";

}  // namespace

class EffectColorMixBurn final : public EffectWithSettings<Proc::SettingsEffectColorMixBurn> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectColorMixBurn", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("strength", settings.strength)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectColorMixBurn>();

}  // namespace Kaltor::Ogl
