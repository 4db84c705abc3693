// A clock's hand sweeps the incoming picture in, once around from straight below. The angle is 0 there, pi straight
// above and 2 pi below again, counter-clockwise; the hand's soft edge is as wide at its tip as at the centre.

#include <algorithm>
#include <cmath>
#include <numbers>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorMask.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr float kEdgeSteepness = 314.15926535897932F;  ///< 1 / the edge's width, as in the program

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

/// What the program draws of the bottom picture in the pixels of a row, counted from the top.
void FillHandRow(Samples const& plane, int y, float hand, float shape, float* shares) {
    constexpr auto kPi = std::numbers::pi_v<float>;
    auto const width = static_cast<float>(plane.width);
    float const t = 0.5F - (static_cast<float>(y) + 0.5F) / static_cast<float>(plane.height);
    int const middle = (plane.width + 1) / 2;
    // In texture coordinates: how far the edge is from the hand changes with the angle and with the distance.
    float const steepest = std::max(shape, 1.0F) / std::min(shape, 1.0F) + 2.0F * kPi;
    for (bool const isRight : {false, true}) {
        auto const share = [&](int x) {
            float const s = isRight ? (static_cast<float>(x) + 0.5F) / width - 0.5F
                                    : std::min((static_cast<float>(x) + 0.5F) / width - 0.5F, -1e-6F);
            float const angle = std::atan(shape * t / s) + kPi * (isRight ? 0.5F : 1.5F);
            return 1.0F - (angle - hand) * std::sqrt(s * s + t * t) * kEdgeSteepness;
        };
        FillShares(isRight ? middle : 0, isRight ? plane.width : middle, kEdgeSteepness * steepest / width, share,
                   shares);
    }
}

}  // namespace

class TransitionRadial final : public TransitionWithSettings<Proc::SettingsTransitionRadial> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {  // without the soft edge, which would be visible
            return;
        }
        bool const isClockwise = settings.sense == Proc::SettingsTransitionRadial::Sense::Clockwise;
        constexpr double kPi = std::numbers::pi;
        double const hand = 2.0 * kPi * (isClockwise ? 1.0 - progress : progress);
        double const shape = 1.0 / GetDisplayAspect(first->GetFrameInfo());
        if (IsOnPlanes(*dst)) {
            PlaneSource const swept(isClockwise ? *first : *second);
            PlaneSource const ahead(isClockwise ? *second : *first);
            DrawPlanes(*dst, [&](Planes const& to) {
                MixOnProcessor(
                    ahead.Get(), swept.Get(), to,
                    [&](int y, float* shares) {
                        FillHandRow(to[0], y, static_cast<float>(hand), static_cast<float>(shape), shares);
                    },
                    storage.Processor());
            });
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        Pass(storage, "TransitionRadial", kFragment)
            .Texture(isClockwise ? "tex_bot" : "tex_top", 0, outgoing, TextureFilter::Nearest)
            .Texture(isClockwise ? "tex_top" : "tex_bot", 1, incoming, TextureFilter::Nearest)
            .Set("progress", hand)
            .Set("revertaspect", shape)
            .Set("M_PI", static_cast<float>(kPi))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionRadial>();

}  // namespace Kaltor::Ogl
