// The incoming picture runs along horizontal bands, from the lowest up, to and fro, with a soft front. Rows are snapped
// to their lower edges, so that each shows the mean of itself and the one below.

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex_top;
uniform sampler2D tex_bot;
uniform float thickness;
uniform float smoothness;
uniform float t;
uniform vec2 calibration;
varying vec2 TexCoord0;
void main() {
    float row = floor(TexCoord0.y * calibration.x);
    vec2 c = vec2(TexCoord0.x, row * calibration.y);
    // A thousandth of a row keeps rounding from leaving a band's first row in the band below.
    float band = floor((row + 0.001) * calibration.y * thickness);
    float odd = band - 2.0 * floor(band / 2.0);
    float d = band + mix(c.x, 1.0 - c.x, odd) + smoothness;
    float z = clamp((d - (thickness + smoothness) * t) / max(smoothness, 1e-6), 0.0, 1.0);
    vec4 top = texture2D(tex_top, c);
    vec4 bottom = texture2D(tex_bot, c);
    const float epsilon = 0.0001;
    if (z + epsilon < 1.0 && z - epsilon > 0.0) {
        gl_FragColor = mix(bottom, top, z);
    } else if (z + epsilon > 1.0) {
        gl_FragColor = top;
    } else {
        gl_FragColor = bottom;
    }
}
)glsl";

}  // namespace

class TransitionSnake final : public TransitionWithSettings<Proc::SettingsTransitionSnake> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        auto const rows = static_cast<float>(dst->GetFrameInfo().height);
        Pass(storage, "TransitionSnake", kFragment)
            .Texture("tex_top", 0, outgoing)
            .Texture("tex_bot", 1, incoming)
            .Set("thickness", static_cast<float>(2 << settings.bands))
            .Set("smoothness", static_cast<float>(settings.smoothness) / 7.0F)
            .Set("t", static_cast<float>(progress))
            .Set("calibration", rows, 1.0F / rows)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionSnake>();

}  // namespace Kaltor::Ogl
