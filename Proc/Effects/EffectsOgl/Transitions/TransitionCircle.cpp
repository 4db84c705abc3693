// A circle around the middle of the screen, with a soft rim: the incoming picture grows in it, or closes in on it from
// outside. Distances are in heights of the picture.

#include <cmath>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorMask.h"
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

constexpr float kRimSteepness = 200.0F;  ///< 1 / the rim's width, as in the program

}  // namespace

class TransitionCircle final : public TransitionWithSettings<Proc::SettingsTransitionCircle> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        bool const isOpening = settings.sense == Proc::SettingsTransitionCircle::Sense::Opening;
        double const size = isOpening ? progress : 1.0 - progress;
        if (size >= 1.0) {  // in the corners of a tall picture the rim would still be seen
            DrawUnchanged(*dst, isOpening ? *second : *first, storage);
            return;
        }
        double const aspect = GetDisplayAspect(first->GetFrameInfo());
        double const radius = size * 0.5 * std::sqrt(aspect * aspect + 1.0) * 1.005;
        if (IsOnPlanes(*dst)) {
            PlaneSource const inside(isOpening ? *second : *first);
            PlaneSource const outside(isOpening ? *first : *second);
            DrawPlanes(*dst, [&](Planes const& to) {
                auto const pixelX = static_cast<float>(aspect / to[0].width);
                float const pixelY = 1.0F / static_cast<float>(to[0].height);
                MixOnProcessor(
                    outside.Get(), inside.Get(), to,
                    [&](int y, float* shares) {
                        auto const width = static_cast<float>(to[0].width);
                        auto const height = static_cast<float>(to[0].height);
                        float const dy = (static_cast<float>(y) + 0.5F - 0.5F * height) * pixelY;
                        auto const share = [&](int x) {
                            float const dx = (static_cast<float>(x) + 0.5F - 0.5F * width) * pixelX;
                            return (static_cast<float>(radius) - std::sqrt(dx * dx + dy * dy)) * kRimSteepness;
                        };
                        FillShares(0, to[0].width, kRimSteepness * pixelX, share, shares);
                    },
                    storage.Processor());
            });
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        Pass(storage, "TransitionCircle", kFragment)
            .Texture(isOpening ? "tex_top" : "tex_bot", 0, outgoing, TextureFilter::Nearest)
            .Texture(isOpening ? "tex_bot" : "tex_top", 1, incoming, TextureFilter::Nearest)
            .Set("aspect", aspect)
            .Set("radius", radius)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionCircle>();

}  // namespace Kaltor::Ogl
