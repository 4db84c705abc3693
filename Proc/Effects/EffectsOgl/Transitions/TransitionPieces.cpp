// The incoming picture comes in as nine pieces, from the edges and the corners and one that stands in the middle, while
// it fades in over the outgoing one.

#include "Ogl/GlState.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {

class TransitionPieces final : public TransitionWithSettings<Proc::SettingsTransitionPieces> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        auto const p = static_cast<float>(progress);
        if (p >= 1.0F) {  // the pieces are the picture, to the byte
            DrawUnchanged(*dst, *second, storage);
            return;
        }
        DrawUnchanged(*dst, *first, storage);
        EnableState const blend(GL_BLEND);
        glBlendColor(0.0F, 0.0F, 0.0F, 1.0F - p);
        glBlendFunc(GL_ONE_MINUS_CONSTANT_ALPHA, GL_CONSTANT_ALPHA);
        second->FrameData().Draw(Quad(MakeSlidingPieces(p), GL_STREAM_DRAW), storage);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionPieces>();

}  // namespace Kaltor::Ogl
