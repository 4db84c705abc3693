// Swirls the picture about its centre, more strongly farther out, in a triangle wave of 4 turns each way. The whole may
// also be rotated or wobble. Beyond its border the picture is repeated. Starts unchanged.

#include <cmath>
#include <numbers>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform float aspect_ratio;
uniform float twirl;
uniform float rotate;
varying vec2 TexCoord0;
void main() {
    vec2 coord = TexCoord0 - vec2(0.5);
    float fi = length(vec2(coord.x, coord.y / aspect_ratio)) * twirl + rotate;
    float c = cos(fi);
    float s = sin(fi);
    gl_FragColor = texture2D(tex, fract(vec2(0.5 + coord.x * c - coord.y * s / aspect_ratio,
                                             0.5 + coord.x * s * aspect_ratio + coord.y * c)));
}
)glsl";

}  // namespace

class EffectTwirl final : public EffectWithSettings<Proc::SettingsEffectTwirl> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        constexpr double kTurn = 2.0 * std::numbers::pi;
        constexpr double kMostTwirl = 4.0 * kTurn;
        constexpr double kCycle = 4.0;
        constexpr double kStart = 3.0;  // where the triangle wave rises through 0
        double const wobble = std::fabs(std::cos(settings.wobbleRate * std::numbers::pi * time)) - 1.0;
        double const at = std::fmod(kCycle * settings.twirlRate * time + kStart + settings.twirlPhase, kCycle);
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectTwirl", kFragment)
            .Texture("tex", 0, picture)
            .Set("aspect_ratio", static_cast<float>(picture.GetWidth()) / static_cast<float>(picture.GetHeight()))
            .Set("twirl", static_cast<float>((std::fabs(at - 2.0) - 1.0) * kMostTwirl))
            .Set("rotate", static_cast<float>(wobble * kTurn + settings.baseRotation * kTurn))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectTwirl>();

}  // namespace Kaltor::Ogl
