// A band grows from the middle line, where it still shows the outgoing picture, and fades towards the incoming one at
// its rims. In the second half the incoming picture closes in from the edges to the line.

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex_top;
uniform sampler2D tex_bot;
uniform vec2 direction;
uniform float progress;
varying vec2 TexCoord0;
void main() {
    vec4 top = texture2D(tex_top, TexCoord0);
    vec4 bottom = texture2D(tex_bot, TexCoord0);
    float indent = abs(dot(TexCoord0 - vec2(0.5), direction));
    if (progress > indent && progress < 1.0 - indent) {
        gl_FragColor = mix(bottom, top, 1.0 - 2.0 * indent);
    } else if (progress < indent) {
        gl_FragColor = top;
    } else {
        gl_FragColor = bottom;
    }
}
)glsl";

}  // namespace

class TransitionSlidingDoor final : public TransitionWithSettings<Proc::SettingsTransitionSlidingDoor> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        bool const isUpright = settings.orientation == Proc::SettingsTransitionSlidingDoor::Orientation::VerticalLine;
        Pass(storage, "TransitionSlidingDoor", kFragment)
            .Texture("tex_top", 0, outgoing, TextureFilter::Nearest)
            .Texture("tex_bot", 1, incoming, TextureFilter::Nearest)
            .Set("direction", isUpright ? glm::vec2(1.0F, 0.0F) : glm::vec2(0.0F, 1.0F))
            .Set("progress", progress)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionSlidingDoor>();

}  // namespace Kaltor::Ogl
