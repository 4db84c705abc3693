// A clock's hand sweeps the incoming picture in, once around from straight below. The angle is 0 there, pi straight
// above and 2 pi below again, counter-clockwise; the hand's soft edge is as wide at its tip as at the centre.

#include <numbers>

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
uniform float progress;
uniform float revertaspect;
uniform float M_PI;
varying vec2 TexCoord0;
void main() {
    vec4 top = texture2D(tex_top, TexCoord0);
    vec4 bottom = texture2D(tex_bot, TexCoord0);
    vec2 n = TexCoord0 - vec2(0.5);
    // The middle column belongs to the left half.
    float x = abs(n.x) < 1e-6 ? -1e-6 : n.x;
    float angle = atan(revertaspect * n.y / x) + M_PI * (floor(1.0 - 2.0 * x) + 0.5);
    float status = (angle - progress) * length(n);
    if (status >= 0.0031830988618379067) {
        gl_FragColor = top;
    } else if (status < 0.0) {
        gl_FragColor = bottom;
    } else {
        gl_FragColor = mix(bottom, top, status * 314.15926535897932);
    }
}
)glsl";

}  // namespace

class TransitionRadial final : public TransitionWithSettings<Proc::SettingsTransitionRadial> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {  // without the soft edge, which would be visible
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        bool const isClockwise = settings.sense == Proc::SettingsTransitionRadial::Sense::Clockwise;
        constexpr double kPi = std::numbers::pi;
        Pass(storage, "TransitionRadial", kFragment)
            .Texture(isClockwise ? "tex_bot" : "tex_top", 0, outgoing, TextureFilter::Nearest)
            .Texture(isClockwise ? "tex_top" : "tex_bot", 1, incoming, TextureFilter::Nearest)
            .Set("progress", 2.0 * kPi * (isClockwise ? 1.0 - progress : progress))
            .Set("revertaspect", 1.0 / GetDisplayAspect(first->GetFrameInfo()))
            .Set("M_PI", static_cast<float>(kPi))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionRadial>();

}  // namespace Kaltor::Ogl
