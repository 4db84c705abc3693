// Brightens the incoming picture, the more the darker its brightest channel is, most in the middle of the time, and
// replaces the outgoing one by it along a curve that is fast at the start (1/16 of the time gives half of it).

#include <algorithm>
#include <cmath>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsBlendTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex0;
uniform sampler2D tex1;
uniform float status;
uniform float abscissa;
varying vec2 TexCoord0;
void main() {
    vec4 c = texture2D(tex1, TexCoord0);
    float u = 1.0 - max(max(c.r, c.g), c.b);
    c += u * abscissa * c;
    gl_FragColor = mix(texture2D(tex0, TexCoord0), c, status);
}
)glsl";

}  // namespace

class TransitionFlash final : public TransitionWithSettings<Proc::SettingsTransitionFlash> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        double const passed = std::max(progress, 0.0);  // frames before the start have a progress too
        double const rest = progress < 0.5 ? progress : 1.0 - progress;
        Pass(storage, "TransitionFlash", kFragment)
            .Texture("tex0", 0, outgoing, TextureFilter::Nearest)
            .Texture("tex1", 1, incoming, TextureFilter::Nearest)
            .Set("status", std::sqrt(std::sqrt(passed)))
            .Set("abscissa", 16.0 * rest * rest)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionFlash>();

}  // namespace Kaltor::Ogl
