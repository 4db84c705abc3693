// The outgoing picture slides out to one side, and the incoming one follows it in as a fan of pleats that opens until
// it lies flat. The pleats' edges lie alternately at depth 0 and in the back.

#include <cmath>

#include <glm/gtc/constants.hpp>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Effects/EffectsOgl/Transitions/Origami.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {

class TransitionOrigamiPleats final : public TransitionWithSettings<Proc::SettingsTransitionOrigamiPleats> {
public:
    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        auto& paper = GetCache<CacheImpl>(cache);
        // The direction is a factor: 1 or -1.
        auto const dir = static_cast<std::int32_t>(settings.GetDir());
        if (paper.num != settings.GetNum() || paper.dir != dir) {
            paper.Reset(settings.GetNum(), dir);
        }
        paper.Fold(static_cast<float>(progress));
        DrawOrigami(*dst, "TransitionOrigamiPleats", paper.camera, {paper.pleats, incoming}, {paper.sliding, outgoing},
                    storage);
    }

private:
    struct CacheImpl final : OglCache {
        /// The data that is the same for all frames.
        void Reset(std::int32_t count, std::int32_t direction) {
            num = count;
            dir = direction;

            sliding = {};
            int counter = 0;
            MakeQuadIdx(counter, sliding.indices);
            MakeQuad(0.0F, 0.0F, 1.0F, 1.0F, sliding.texCoords);
            AppendNormals({0, 0, 1}, sliding.normals);

            pleats = ReserveLitQuads(static_cast<std::size_t>(num));
            auto const n = static_cast<float>(num);
            // A fan that opens from the right begins with the picture's right end.
            float const start = std::abs(static_cast<float>(dir - 1) * 0.5F);
            counter = 0;
            for (std::int32_t i = 0; i < num; ++i) {
                MakeQuadIdx(counter, pleats.indices);
                MakeQuad(std::abs(static_cast<float>(i) / n - start), 0.0F,
                         std::abs(static_cast<float>(i + 1) / n - start), 1.0F, pleats.texCoords);
            }
        }

        void Fold(float p) {
            auto const d = static_cast<float>(dir);
            sliding.positions.clear();
            MakeQuad(2.0F * p * d - 1.0F, -1.0F, 0.0F, 2.0F * p * d + 1.0F, 1.0F, 0.0F, sliding.positions);

            float const width = 2.0F * p / static_cast<float>(num);
            float const back = (p - 1.0F) * 0.2F;
            float const s = std::sin(p * 0.5F * glm::pi<float>());
            pleats.positions.clear();
            pleats.normals.clear();
            for (std::int32_t i = 0; i < num; ++i) {
                bool const isEven = i % 2 == 0;
                MakeQuad((static_cast<float>(i) * width - 1.0F) * d, -1.0F, isEven ? 0.0F : back,
                         (static_cast<float>(i + 1) * width - 1.0F) * d, 1.0F, isEven ? back : 0.0F, pleats.positions);
                // For the light the odd pleats lean twice as much, so that the sides of the folds look different.
                AppendNormals({(isEven ? 1.0F : -2.0F) * (1.0F - s) * d, 0, s}, pleats.normals);
            }
        }

        std::int32_t num = 0;
        std::int32_t dir = 0;
        OrigamiCamera camera;
        PackedLitMesh sliding;
        PackedLitMesh pleats;
    };
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionOrigamiPleats>();

}  // namespace Kaltor::Ogl
