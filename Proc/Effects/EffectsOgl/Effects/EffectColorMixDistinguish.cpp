// Keeps the channels that are near a colour's, a tenth brighter, and lets the others fall off to grey. Alpha is kept.

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec3 distinguish;
uniform vec3 separation;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    float lum = dot(origin.rgb, vec3(0.2126, 0.7152, 0.0722));
    vec3 cut = exp(-abs(origin.rgb - distinguish) * separation);
    gl_FragColor = vec4(mix(vec3(lum), origin.rgb * 1.1, cut), origin.a);
}
)glsl";

glm::vec3 Bytes(Proc::Color const& color) {
    return {static_cast<float>(color.red), static_cast<float>(color.green), static_cast<float>(color.blue)};
}

/// -1 to 1: the colour to compare with is centred on 0; it does not use the picture's range of 0 to 1.
glm::vec3 Centred(Proc::Color const& color) {
    constexpr float kCentre = 128.0F;
    return (Bytes(color) - kCentre) / kCentre;
}

}  // namespace

class EffectColorMixDistinguish final : public EffectWithSettings<Proc::SettingsEffectColorMixDistinguish> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectColorMixDistinguish", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("distinguish", Centred(settings.color))
            .Set("separation", Bytes(settings.separation))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectColorMixDistinguish>();

}  // namespace Kaltor::Ogl
