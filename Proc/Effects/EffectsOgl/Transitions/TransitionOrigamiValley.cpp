// The outgoing picture parts down the middle and its halves slide out of the frame; between them the incoming one
// unfolds: two panels that meet in a valley at the centre line, which comes up from the back until they lie flat.

#include <cmath>

#include <glm/gtc/constants.hpp>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Effects/EffectsOgl/Transitions/Origami.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {
namespace {

/// Two quads with the left and the right half of a picture; their positions are set later.
PackedLitMesh MakeHalves() {
    PackedLitMesh halves;
    int counter = 0;
    MakeQuadIdx(counter, halves.indices);
    MakeQuadIdx(counter, halves.indices);
    MakeQuad(0.0F, 0.0F, 0.5F, 1.0F, halves.texCoords);
    MakeQuad(0.5F, 0.0F, 1.0F, 1.0F, halves.texCoords);
    return halves;
}

}  // namespace

class TransitionOrigamiValley final : public TransitionWithSettings<Proc::SettingsTransitionOrigamiValley> {
public:
    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        auto& paper = GetCache<CacheImpl>(cache);
        paper.Fold(static_cast<float>(progress));
        DrawOrigami(*dst, "TransitionOrigamiValley", paper.camera, {paper.unfolding, incoming},
                    {paper.sliding, outgoing}, storage);
    }

private:
    struct CacheImpl final : OglCache {
        CacheImpl() : sliding(MakeHalves()), unfolding(MakeHalves()) {
            AppendNormals({0, 0, 1}, sliding.normals);
            AppendNormals({0, 0, 1}, sliding.normals);
        }

        void Fold(float p) {
            sliding.positions.clear();
            MakeQuad(-1.0F - p, -1.0F, 0.0F, -p, 1.0F, 0.0F, sliding.positions);
            MakeQuad(p, -1.0F, 0.0F, p + 1.0F, 1.0F, 0.0F, sliding.positions);

            float const valley = (p - 1.0F) * 0.2F;
            unfolding.positions.clear();
            MakeQuad(-p, -1.0F, 0.0F, 0.0F, 1.0F, valley, unfolding.positions);
            MakeQuad(0.0F, -1.0F, valley, p, 1.0F, 0.0F, unfolding.positions);

            // For the light the panels turn by a quarter, whatever the fold's true slope.
            float const angle = p * 0.5F * glm::pi<float>();
            float const c = std::cos(angle);
            float const s = std::sin(angle);
            unfolding.normals.clear();
            AppendNormals({c, 0, s}, unfolding.normals);
            AppendNormals({-c, 0, s}, unfolding.normals);
        }

        OrigamiCamera camera;
        PackedLitMesh sliding;
        PackedLitMesh unfolding;
    };
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionOrigamiValley>();

}  // namespace Kaltor::Ogl
