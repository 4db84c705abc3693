// Four horizontal blinds of the outgoing picture roll up to their upper edges and uncover the incoming one. The picture
// on them does not move.

#include <vector>

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

/// `raised` is 0 for closed blinds and 1 for blinds that are gone.
PackedQuad MakeBlinds(float raised) {
    std::vector<Stretch> blinds;
    for (float const edge : {0.0F, 1.0F, 2.0F, 3.0F}) {
        float const low = edge + raised;
        float const high = edge + 1.0F;
        blinds.push_back({low / 4.0F, high / 4.0F, low / 2.0F - 1.0F, high / 2.0F - 1.0F});
    }
    return MakeLattice({{0.0F, 1.0F, -1.0F, 1.0F}}, blinds);
}

}  // namespace

class TransitionBlinds final : public TransitionWithSettings<Proc::SettingsTransitionBlinds> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        DrawUnchanged(*dst, *second, storage);
        first->FrameData().Draw(Quad(MakeBlinds(static_cast<float>(progress)), GL_STREAM_DRAW), storage);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionBlinds>();

}  // namespace Kaltor::Ogl
