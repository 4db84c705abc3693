// Cross-fades while the outgoing picture goes out of focus, or the incoming one comes into focus, or both. A blurred
// picture never gets quite sharp, not even at its end of the transition.

#include <algorithm>

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Progress.h"
#include "Proc/Settings/SettingsBlendTransitions.h"

namespace Kaltor::Ogl {
namespace {

using BlurMode = Proc::SettingsTransitionBlur::Mode;

/// Blurs by 1.5 texels at `strength` 0, up to 6.5 texels at 1.
void Blur(DataVideoOGL* target, Src const& picture, double time, double strength, ShaderStorage const& storage) {
    Conf::FrameInfo const& info = picture->GetFrameInfo();
    EffectBlur(3.0 * (5.0 / 3.0 * strength + 0.5) / std::max(info.width, info.height))
        .Processing(target, picture, time, strength, storage, nullptr);
}

}  // namespace

class TransitionBlur final : public TransitionWithSettings<Proc::SettingsTransitionBlur> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double time, double given,
                    ShaderStorage const& storage, OglCache*) const override {
        double const progress = LimitProgress(given);  // a radius has to have an end
        if (settings.mode == BlurMode::Both) {
            Src const middle = DataVideoOGL::Create(dst->GetPixFmt(), second->GetFrameInfo());
            Blur(middle.get(), second, time, 1.0 - progress, storage);
            Blur(dst, first, time, progress, storage);
            AttachTarget(*dst, storage);
            BlendConstantAlpha(middle->FrameData(), progress, storage);
            return;
        }
        bool const isIncoming = settings.mode == BlurMode::Incoming;
        double const strength = isIncoming ? 1.0 - progress : progress;
        Blur(dst, isIncoming ? second : first, time, strength, storage);
        AttachTarget(*dst, storage);
        BlendConstantAlpha((isIncoming ? first : second)->FrameData(), strength, storage);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionBlur>();

}  // namespace Kaltor::Ogl
