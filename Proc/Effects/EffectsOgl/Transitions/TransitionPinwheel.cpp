// The blades of a pinwheel fill with the incoming picture from their leading edges, which wave with the distance from
// the centre. Distances: the picture's longer side is 4.

#include <algorithm>
#include <numbers>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform float angle;
uniform vec2 aspect;
uniform float freq;
uniform float amplitude;
uniform float local_smooth;
uniform float t;
varying vec2 TexCoord0;
void main() {
    vec2 r = (TexCoord0 - vec2(0.5)) * aspect;
    float len = length(r);
    if (len < 1e-4) {  // the very centre has no direction
        r = vec2(1e-4, 0.0);
        len = 1e-4;
    }
    float a = mod(atan(r.y, r.x) + amplitude * sin(freq * len) / len, angle);
    float alpha = clamp((angle * t - a) / max(local_smooth, 1e-6), 0.0, 1.0);
    gl_FragColor = mix(texture2D(tex1, TexCoord0), texture2D(tex2, TexCoord0), alpha);
}
)glsl";

}  // namespace

class TransitionPinwheel final : public TransitionWithSettings<Proc::SettingsTransitionPinwheel> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        constexpr double kPi = std::numbers::pi;
        auto const width = static_cast<float>(outgoing.GetWidth());
        auto const height = static_cast<float>(outgoing.GetHeight());
        double const angle = 2.0 * (kPi / settings.GetNum());
        double const smooth = settings.GetSmoothness() * angle / 100.0;
        Pass(storage, "TransitionPinwheel", kFragment)
            .Texture("tex1", 0, outgoing, TextureFilter::Nearest)
            .Texture("tex2", 1, incoming, TextureFilter::Nearest)
            .Set("angle", angle)
            .Set("aspect", 4.0F * glm::vec2(width, height) / std::max(width, height))
            .Set("freq", settings.GetFreq() * kPi / 25.0)
            .Set("amplitude", settings.GetAmpl() / 400.0)
            .Set("local_smooth", smooth)
            .Set("t", (smooth / angle + 1.0) * progress)  // the soft edge has passed in the end
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionPinwheel>();

}  // namespace Kaltor::Ogl
