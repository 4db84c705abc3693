// Zooms into the outgoing picture, up to three times its size, or out of the incoming one, or both, while the incoming
// one fades in.

#include "Ogl/GlState.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Transitions/PictureQuad.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {

class TransitionZoom final : public TransitionWithSettings<Proc::SettingsTransitionZoom> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        using Type = Proc::SettingsTransitionZoom::Type;
        Type const type = settings.GetType();
        auto const k = static_cast<float>(progress);
        float const outgoing = type == Type::In || type == Type::Through ? 1.0F + 2.0F * k : 1.0F;
        float const incoming = type == Type::Out || type == Type::Through ? 3.0F - 2.0F * k : 1.0F;
        AttachTarget(*dst, storage);
        PictureQuad quad(storage);
        quad.Draw(first->FrameData(), PictureQuad::Place(0, 0, outgoing));
        EnableState const blend(GL_BLEND);
        glBlendColor(0.0F, 0.0F, 0.0F, k);
        glBlendFunc(GL_CONSTANT_ALPHA, GL_ONE_MINUS_CONSTANT_ALPHA);
        quad.Draw(second->FrameData(), PictureQuad::Place(0, 0, incoming));
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionZoom>();

}  // namespace Kaltor::Ogl
