// Inverts each channel by its own amount. Alpha is kept.

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec4 exchange;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    gl_FragColor = vec4(mix(origin.rgb, vec3(1.0) - origin.rgb, exchange.rgb), origin.a);
}
)glsl";

}  // namespace

class EffectColorMixExchange final : public EffectWithSettings<Proc::SettingsEffectColorMixExchange> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectColorMixExchange", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("exchange", settings.color)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectColorMixExchange>();

}  // namespace Kaltor::Ogl
