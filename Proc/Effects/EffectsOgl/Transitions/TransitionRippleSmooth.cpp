// Dissolves between the pictures while both ripple in rings around the centre. A wave along the distance moves each
// point towards the centre, or beyond it. The wave grows until the middle of the transition and fades again.

#include <cmath>

#include <glm/gtc/constants.hpp>

#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform float alpha;
uniform vec2 aspect;
uniform float freq;
uniform float amplitude;
uniform float phase;
varying vec2 TexCoord0;
void main() {
    vec2 fromCentre = TexCoord0 - vec2(0.5);
    float a = 1.0 - amplitude * (1.0 + sin(length(aspect * fromCentre) * freq - phase));
    vec2 coord = fromCentre * a + vec2(0.5);
    gl_FragColor = mix(texture2D(tex1, coord), texture2D(tex2, coord), alpha);
}
)glsl";

}  // namespace

class TransitionRippleSmooth final : public TransitionWithSettings<Proc::SettingsTransitionRippleSmooth> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        constexpr auto kPi = glm::pi<float>();
        auto const alpha = static_cast<float>(progress);
        double const envelope = 1.0 - std::abs(1.0F - 2.0F * alpha);
        double const amplitude = envelope * (static_cast<float>(settings.GetAmpl()) / 200.0F);
        // Without waves only texel centres are sampled.
        TextureFilter const filter = amplitude == 0.0 ? TextureFilter::Nearest : TextureFilter::Linear;
        Pass(storage, "TransitionRippleSmooth", kFragment)
            .Texture("tex1", 0, outgoing, filter)
            .Texture("tex2", 1, incoming, filter)
            .Set("alpha", alpha)
            .Set("aspect", GetTexelAspect(outgoing))
            .Set("freq", static_cast<float>(settings.GetFreq()) * 0.4F * kPi)
            .Set("amplitude", amplitude)
            .Set("phase", alpha * 6.0F * kPi)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionRippleSmooth>();

}  // namespace Kaltor::Ogl
