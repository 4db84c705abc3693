// Four horizontal blinds of the outgoing picture roll up to their upper edges and lay the incoming one bare. What they
// show stays in its place.

#include "Proc/Effects/EffectsOgl/Blend.h"
#include "Proc/Effects/EffectsOgl/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/QuadBuilders.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

/// `raised` is 0 for closed blinds and 1 for blinds that are gone.
PackedQuad MakeBlinds(float raised) {
    constexpr int kBlinds = 4;
    PackedQuad blinds;
    blinds.indices.reserve(6 * kBlinds);
    blinds.vertices.reserve(16 * kBlinds);
    int counter = 0;
    for (int i = 0; i < kBlinds; ++i) {
        float const low = static_cast<float>(i) + raised;
        auto const high = static_cast<float>(i + 1);
        MakeQuadIdx(counter, blinds.indices);
        MakeQuad(0.0F, low / 4.0F, -1.0F, low / 2.0F - 1.0F, 1.0F, high / 4.0F, 1.0F, high / 2.0F - 1.0F,
                 blinds.vertices);
    }
    return blinds;
}

}  // namespace

class TransitionBlinds final : public TransitionWithSettings<Proc::SettingsTransitionBlinds> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        AttachTarget(*dst, storage);
        second->FrameData().Draw(storage.Quad(), storage);
        first->FrameData().Draw(Quad(MakeBlinds(static_cast<float>(progress)), GL_STREAM_DRAW), storage);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionBlinds>();

}  // namespace Kaltor::Ogl
