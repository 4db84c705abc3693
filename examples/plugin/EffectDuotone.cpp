// Each pixel's luma chooses between two inks. Alpha is kept.
#include "EffectDuotone.h"

#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Registration.h"

namespace {

using namespace Kaltor;

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec3 shadows;
uniform vec3 lights;
uniform float amount;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    float luma = dot(origin.rgb, vec3(0.2126, 0.7152, 0.0722));
    gl_FragColor = vec4(mix(origin.rgb, mix(shadows, lights, luma), amount), origin.a);
}
)glsl";

glm::vec3 ToVector(Proc::Color const& color) {
    return glm::vec3(color.red, color.green, color.blue) / 255.0F;
}

class EffectDuotone final : public Ogl::EffectWithSettings<SettingsEffectDuotone> {
public:
    void Processing(Ogl::DataVideoOGL* dst, Ogl::Src const& src, double, double, Ogl::ShaderStorage const& storage,
                    Ogl::OglCache*) const override {
        Ogl::Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Ogl::Pass(storage, "EffectDuotone", kFragment)
            .Texture("tex", 0, picture, Ogl::TextureFilter::Nearest)
            .Set("shadows", ToVector(settings.shadows))
            .Set("lights", ToVector(settings.lights))
            .Set("amount", settings.amount)
            .DrawTo(*dst);
    }
};

}  // namespace

void RegisterDuotone(Proc::IEffectRegistry& registry) {
    Proc::RegisterEffect<SettingsEffectDuotone, EffectDuotone>(registry);
}
