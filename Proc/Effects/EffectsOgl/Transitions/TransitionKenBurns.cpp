// Moves the corners of both pictures along directions of their own, away from rest for the outgoing picture and to rest
// for the incoming one, and dissolves between them around the middle: out = (1 - alpha) * first + alpha * second.
// Corners that move outwards zoom in; corners that all move the same way pan.

#include <cmath>

#include "Ogl/GlState.h"
#include "Proc/Effects/EffectsOgl/Transitions/PictureQuad.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {
namespace {

/// The full-screen quad with each corner moved by `amount` along its direction.
Mesh::Corners MoveCorners(Proc::Reals8 const& directions, float amount) {
    Mesh::Corners corners = Quad::kFull;
    for (std::size_t corner = 0; corner < 4; ++corner) {
        for (std::size_t axis = 0; axis < 2; ++axis) {
            corners[4 * corner + 2 + axis] += static_cast<float>(directions[2 * corner + axis]) * amount;
        }
    }
    return corners;
}

/// The incoming picture's weight: it rises over the part `fade` of the transition around its middle.
double GetWeight(double progress, double fade) {
    double const fromMiddle = 2 * progress - 1;
    return fade > std::abs(fromMiddle) ? (fromMiddle + fade) / (2 * fade) : std::floor(progress + 0.5);
}

}  // namespace

class TransitionKenBurns final : public TransitionWithSettings<Proc::SettingsTransitionKenBurns> {
public:
    bool WorksOnPlanes() const override { return true; }
    /// As long as the pictures stay upright rectangles.
    bool SuitsPlanes(PlaneCase const&) const override {
        Proc::Reals8 const& directions = settings.GetDirection();
        return directions[0] == directions[6] && directions[2] == directions[4] && directions[1] == directions[3] &&
               directions[5] == directions[7];
    }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        auto const k = static_cast<float>(progress);
        float const zoom = settings.GetZoom();
        AttachTarget(*dst, storage);
        PictureQuad quad(storage);
        quad.Draw(second->FrameData(), MoveCorners(settings.GetDirection(), zoom * (1.0F - k)));
        EnableState const blend(GL_BLEND);
        glBlendColor(0.0F, 0.0F, 0.0F, static_cast<float>(GetWeight(progress, settings.GetFade())));
        // The outgoing picture is drawn last, so its factor is the complement.
        glBlendFunc(GL_ONE_MINUS_CONSTANT_ALPHA, GL_CONSTANT_ALPHA);
        quad.Draw(first->FrameData(), MoveCorners(settings.GetDirection(), zoom * k));
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionKenBurns>();

}  // namespace Kaltor::Ogl
