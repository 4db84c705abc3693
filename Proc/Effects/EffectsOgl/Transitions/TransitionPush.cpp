// The incoming picture pushes the outgoing one off the screen: both keep their size and lie edge to edge.

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Transitions/PictureQuad.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {
namespace {

using PushDirection = Proc::SettingsTransitionPush::Direction;

/// Where both pictures move to; nowhere for a direction that is not in the table.
glm::dvec2 GetWay(PushDirection direction) {
    switch (direction) {
        case PushDirection::Left:
            return {-1, 0};
        case PushDirection::Right:
            return {1, 0};
        case PushDirection::Up:
            return {0, 1};
        case PushDirection::Down:
            return {0, -1};
        default:
            return {0, 0};
    }
}

}  // namespace

class TransitionPush final : public TransitionWithSettings<Proc::SettingsTransitionPush> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        glm::dvec2 const way = GetWay(settings.GetDir());
        double const k = static_cast<float>(progress);
        glm::dvec2 const outgoing = way * (2 * k);
        glm::dvec2 const incoming = way * (-2 * (1 - k));
        AttachTarget(*dst, storage);
        PictureQuad quad(storage);
        quad.Draw(first->FrameData(), PictureQuad::Place(outgoing.x, outgoing.y, 1));
        quad.Draw(second->FrameData(), PictureQuad::Place(incoming.x, incoming.y, 1));
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionPush>();

}  // namespace Kaltor::Ogl
