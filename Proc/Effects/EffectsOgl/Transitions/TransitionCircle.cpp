// A circle around the middle of the screen, with a soft rim: the incoming picture grows in it, or closes in on it from
// outside. Distances are in heights of the picture.

#include <cmath>

#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex_top;
uniform sampler2D tex_bot;
uniform float aspect;
uniform float radius;
varying vec2 TexCoord0;
void main() {
    vec4 top = texture2D(tex_top, TexCoord0);
    vec4 bottom = texture2D(tex_bot, TexCoord0);
    float status = length((TexCoord0 - vec2(0.5)) * vec2(aspect, 1.0)) - radius;
    if (status >= 0.0) {
        gl_FragColor = top;
    } else if (status < -0.005) {
        gl_FragColor = bottom;
    } else {
        gl_FragColor = mix(bottom, top, status * 200.0 + 1.0);
    }
}
)glsl";

}  // namespace

class TransitionCircle final : public TransitionWithSettings<Proc::SettingsTransitionCircle> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        bool const isOpening = settings.sense == Proc::SettingsTransitionCircle::Sense::Opening;
        double const size = isOpening ? progress : 1.0 - progress;
        if (size >= 1.0) {  // in the corners of a tall picture the rim would still be seen
            DrawUnchanged(*dst, isOpening ? *second : *first, storage);
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        double const aspect = GetDisplayAspect(first->GetFrameInfo());
        Pass(storage, "TransitionCircle", kFragment)
            .Texture(isOpening ? "tex_top" : "tex_bot", 0, outgoing, TextureFilter::Nearest)
            .Texture(isOpening ? "tex_bot" : "tex_top", 1, incoming, TextureFilter::Nearest)
            .Set("aspect", aspect)
            .Set("radius", size * 0.5 * std::sqrt(aspect * aspect + 1.0) * 1.005)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionCircle>();

}  // namespace Kaltor::Ogl
