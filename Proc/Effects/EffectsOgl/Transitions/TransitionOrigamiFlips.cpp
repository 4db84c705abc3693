// The outgoing picture is cut into strips that flip up one after the other from the bottom, each about its upper edge
// and over the strip above, and uncover the incoming picture. The strip that flips carries the picture of the one that
// has just folded onto it; the last one carries the incoming picture's top on its back. At the very end the top strip
// dips and leans back before it settles.
//
// Four things are drawn: what lies underneath (the incoming picture below its top strip), the top strip, the strips
// still there, and among these the one that flips.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Progress.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Effects/EffectsOgl/Transitions/Origami.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {
namespace {

/// Where the transition stands: the strip that flips (below 1: the top strip dips) and how far it has come, 0 to 1.
struct Phase {
    std::int32_t strip;
    double fraction;
};

Phase FindPhase(double progress, std::int32_t num) {
    auto const n = static_cast<float>(num);
    // Before the start nothing flips, and nothing more after the end.
    float const x = static_cast<float>(LimitProgress(progress)) * n;
    std::int32_t const strip = num - static_cast<std::int32_t>(std::ceil(x));
    bool const isWhole = x == std::floor(x);
    return isWhole ? Phase{strip - 1, 0.0} : Phase{strip, static_cast<double>(x) - std::floor(static_cast<double>(x))};
}

}  // namespace

class TransitionOrigamiFlips final : public TransitionWithSettings<Proc::SettingsTransitionOrigamiFlips> {
public:
    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        auto& paper = GetCache<CacheImpl>(cache);
        if (paper.num != settings.GetNum()) {
            paper.Reset(settings.GetNum());
        }
        Phase const phase = FindPhase(progress, paper.num);
        paper.Flatten();
        AttachTarget(*dst, storage);  // clears it
        Pass pass = MakeOrigamiPass("TransitionOrigami Flips", paper.camera, storage);
        // Parts that lie flat in place show one texel per pixel.
        DrawPaper(pass, {paper.underneath, incoming}, TextureFilter::Nearest);
        if (phase.strip < 1) {
            paper.DipTop(phase.fraction);
            DrawPaper(pass, {paper.top, incoming},
                      phase.fraction > 0.0 ? TextureFilter::Linear : TextureFilter::Nearest);
            return;
        }
        DrawPaper(pass, {paper.top, outgoing}, TextureFilter::Nearest);
        bool const isTopsBack = paper.Flip(phase);
        bool const isUntouched = phase.fraction == 0.0 && phase.strip == paper.num - 1;
        DrawPaper(pass, {paper.strips, isTopsBack ? incoming : outgoing},
                  isUntouched ? TextureFilter::Nearest : TextureFilter::Linear, kQuadIndices * phase.strip);
    }

private:
    struct CacheImpl final : OglCache {
        void Reset(std::int32_t count) {
            num = count;
            strips = ReserveLitQuads(static_cast<std::size_t>(num));
            top = {};
            underneath = {};
            int counter = 0;
            MakeQuadIdx(counter, underneath.indices);
            MakeQuad(-1.0F, LineY(1.0F), 0.0F, 1.0F, -1.0F, 0.0F, underneath.positions);
            MakeQuad(0.0F, LineT(1), 1.0F, 0.0F, underneath.texCoords);
            AppendNormals({0, 0, 1}, underneath.normals);
            counter = 0;
            MakeQuadIdx(counter, top.indices);
            MakeQuad(0.0F, 1.0F, 1.0F, LineT(1), top.texCoords);
            counter = 0;
            for (std::int32_t i = 1; i < num; ++i) {
                MakeQuadIdx(counter, strips.indices);
            }
            Flatten();
        }

        /// All strips in their places with their own pictures.
        void Flatten() {
            top.positions.clear();
            MakeQuad(-1.0F, 1.0F, 0.0F, 1.0F, LineY(1.0F), 0.0F, top.positions);
            top.normals.clear();
            AppendNormals({0, 0, 1}, top.normals);
            strips.positions.clear();
            strips.texCoords.clear();
            strips.normals.clear();
            for (std::int32_t i = 1; i < num; ++i) {
                auto const line = static_cast<float>(i);
                MakeQuad(-1.0F, LineY(line), 0.0F, 1.0F, LineY(line + 1.0F), 0.0F, strips.positions);
                MakeQuad(0.0F, LineT(i), 1.0F, LineT(i + 1), strips.texCoords);
                AppendNormals({0, 0, 1}, strips.normals);
            }
        }

        /// The top strip's upper edge goes down a little and back in depth, and comes up again.
        void DipTop(double fraction) {
            auto const dip = static_cast<float>(0.1 * std::sin(fraction * std::numbers::pi));
            float const lower = LineY(1.0F);
            top.positions = {-1.0F, LineY(dip), -dip, 1.0F, LineY(dip), -dip, 1.0F, lower, 0.0F, -1.0F, lower, 0.0F};
            top.normals.clear();
            AppendNormals({0, 4.0F * dip, 1.0F - 4.0F * dip}, top.normals);
        }

        /// Returns whether the strip shows the incoming picture.
        bool Flip(Phase const& phase) {
            std::int32_t const m = phase.strip;
            std::int32_t const quad = m - 1;  // the top strip is not among them
            auto const hinge = static_cast<float>(m);
            bool const isTopsBack = phase.fraction > 0.5 && m == 1;
            // Upside down, since the former lower edge is now the upper one.
            if (isTopsBack) {
                InsertQuad(0.0F, LineT(1), 1.0F, 1.0F, strips.texCoords, quad * kPlaneQuadFloats);
            } else if (m + 1 < num) {
                InsertQuad(0.0F, LineT(m + 2), 1.0F, LineT(m + 1), strips.texCoords, quad * kPlaneQuadFloats);
            }
            // Flat all the way, only foreshortened.
            auto const c = static_cast<float>(std::cos(phase.fraction * std::numbers::pi));
            InsertQuad(-1.0F, LineY(hinge), 0.0F, 1.0F, LineY(hinge + c), 0.0F, strips.positions,
                       quad * kSpaceQuadFloats);
            auto const s = static_cast<float>(std::sin(phase.fraction * std::numbers::pi));
            float const side = c > 0.0F ? 1.0F : (c < 0.0F ? -1.0F : 0.0F);
            InsertNormals({0, side * s, 1.0F - s}, strips.normals, quad * kSpaceQuadFloats);
            return isTopsBack;
        }

        /// The line between strips, counted from the top, on the screen and in the texture.
        float LineY(float line) const { return 1.0F - 2.0F / static_cast<float>(num) * line; }
        float LineT(std::int32_t line) const {
            return 1.0F - static_cast<float>(line) * (1.0F / static_cast<float>(num));
        }

        std::int32_t num = 0;
        OrigamiCamera camera;
        PackedLitMesh strips;
        PackedLitMesh underneath;
        PackedLitMesh top;
    };
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionOrigamiFlips>();

}  // namespace Kaltor::Ogl
