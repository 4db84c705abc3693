// Dissolves the outgoing picture into the incoming one:
// out = (1 - progress) * first + progress * second, channel by channel, alpha included.

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsBlendTransitions.h"

namespace Kaltor::Ogl {

class TransitionCrossfade final : public TransitionWithSettings<Proc::SettingsTransitionCrossfade> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        DrawUnchanged(*dst, *first, storage);
        BlendConstantAlpha(second->FrameData(), progress, storage);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionCrossfade>();

}  // namespace Kaltor::Ogl
