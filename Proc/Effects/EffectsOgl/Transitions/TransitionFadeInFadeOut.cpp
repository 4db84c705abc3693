// Fades the outgoing picture out over the first half of the time and the incoming one in over the second: by alpha if
// the output has it, else through black.

#include "Proc/Effects/EffectsOgl/Effects/EffectFadeInFadeOut.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsBlendTransitions.h"

namespace Kaltor::Ogl {

class TransitionFadeInFadeOut final : public TransitionWithSettings<Proc::SettingsTransitionFadeInFadeOut> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double time, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        bool const isOut = progress < 0.5;
        auto const level = static_cast<float>(isOut ? 1.0 - 2.0 * progress : 2.0 * progress - 1.0);
        fade.Processing(dst, isOut ? first : second, time, level, storage, nullptr);
    }

private:
    EffectFadeInFadeOut fade;
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionFadeInFadeOut>();

}  // namespace Kaltor::Ogl
