// The incoming picture grows from the centre over the outgoing one, or the outgoing one shrinks into the centre.

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Transitions/PictureQuad.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {

class TransitionScale final : public TransitionWithSettings<Proc::SettingsTransitionScale> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        bool const isGrowing = settings.GetType() == Proc::SettingsTransitionScale::Type::GrowIncoming;
        auto const k = static_cast<float>(progress);
        AttachTarget(*dst, storage);
        PictureQuad quad(storage);
        quad.Draw((isGrowing ? first : second)->FrameData(), Quad::kFull);
        quad.Draw((isGrowing ? second : first)->FrameData(), PictureQuad::Place(0, 0, isGrowing ? k : 1.0F - k));
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionScale>();

}  // namespace Kaltor::Ogl
