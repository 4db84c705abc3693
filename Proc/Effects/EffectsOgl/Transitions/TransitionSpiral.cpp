// The incoming picture comes out in a growing disc; around it the outgoing one is twisted, most at the disc's rim and
// more as the disc grows.

#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include "Proc/Effects/EffectsOgl/Aspect.h"
#include "Proc/Effects/EffectsOgl/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Pass.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex_top;
uniform sampler2D tex_bot;
uniform vec2 v_src;
uniform vec2 aspect;
uniform float t;
uniform float biggest_side;
varying vec2 TexCoord0;
void main() {
    float lens = max(distance(TexCoord0 * aspect, v_src * aspect) - t * biggest_side, 0.0);
    float a = max(0.2 * t - (lens - 0.05) * (1.0 - t), 0.0) * 20.0;
    a *= a;
    float sine = sin(a);
    float cosine = cos(a);
    vec2 v = (TexCoord0 - v_src) * aspect;
    vec2 c = vec2(v.x * cosine - v.y * sine, v.x * sine + v.y * cosine) / aspect + v_src;
    gl_FragColor = mix(texture2D(tex_bot, TexCoord0), texture2D(tex_top, c), min(lens * 300.0, 1.0));
}
)glsl";

glm::vec2 GetCentre(std::int32_t type) {
    switch (type) {
        case 1:
            return {1.0F, 1.0F};
        case 2:
            return {0.5F, 0.5F};
        default:
            return {0.0F, 0.0F};
    }
}

}  // namespace

class TransitionSpiral final : public TransitionWithSettings<Proc::SettingsTransitionSpiral> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        glm::vec2 const centre = GetCentre(settings.GetType());
        Pass(storage, "TransitionSpiral", kFragment)
            .Texture("tex_top", 0, outgoing)
            .Texture("tex_bot", 1, incoming, TextureFilter::Nearest)
            .Set("v_src", centre)
            .Set("aspect", GetTexelAspect(outgoing))
            .Set("t", static_cast<float>(progress))
            .Set("biggest_side", glm::length(glm::max(glm::vec2(1.0F) - centre, centre)))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionSpiral>();

}  // namespace Kaltor::Ogl
