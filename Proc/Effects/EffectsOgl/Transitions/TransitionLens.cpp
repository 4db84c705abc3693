// The incoming picture opens as a disc around a point; what is outside of it of the outgoing picture is drawn into the
// point, further near the rim, and shines through within 0.05 beyond the rim.

#include <array>

#include <glm/geometric.hpp>

#include "Proc/Effects/EffectsOgl/Aspect.h"
#include "Proc/Effects/EffectsOgl/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Pass.h"
#include "Proc/Effects/EffectsOgl/Require.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

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
    float i = 1.0 - t;
    float lens = distance(TexCoord0 * aspect, v_src * aspect) - t * biggest_side;
    vec2 c = (TexCoord0 - v_src) * (i * clamp(10.0 * lens, 0.0, 1.0)) + v_src;
    gl_FragColor = mix(texture2D(tex_bot, TexCoord0), texture2D(tex_top, c), clamp(20.0 * lens * i, 0.0, 1.0));
}
)glsl";

/// In texture coordinates.
constexpr std::array<glm::vec2, 3> kCentres{{{0.0F, 0.0F}, {0.0F, 1.0F}, {0.5F, 0.5F}}};

}  // namespace

class TransitionLens final : public TransitionWithSettings<Proc::SettingsTransitionLens> {
public:
    void Validate(Proc::SettingsTransitionLens const& given) const override { RequireChoice(given, "type"); }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const top = first->FrameData().ConvertToRGBA(storage);
        Frame const bottom = second->FrameData().ConvertToRGBA(storage);
        glm::vec2 const centre = kCentres[static_cast<std::size_t>(settings.GetType())];
        glm::vec2 const toFarCorner = glm::max(glm::vec2(1.0F) - centre, centre);
        Pass(storage, "TransitionLens", kFragment)
            .Texture("tex_top", 0, top)
            .Texture("tex_bot", 1, bottom, TextureFilter::Nearest)
            .Set("v_src", centre)
            .Set("aspect", GetTexelAspect(top))
            .Set("t", static_cast<float>(progress))
            .Set("biggest_side", glm::length(toFarCorner))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionLens>();

}  // namespace Kaltor::Ogl
