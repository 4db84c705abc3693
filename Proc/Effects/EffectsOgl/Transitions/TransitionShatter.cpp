// The outgoing picture breaks into a grid of shards, each with its own spin, speed and growth, that fly off while they
// fade over the incoming picture. Drawn at twice the size, so that the mean of four samples a pixel smooths the edges.

#include "Proc/Effects/EffectsOgl/Transitions/TransitionShatter.h"

#include "Ogl/GlState.h"
#include "Proc/Effects/EffectsOgl/Transitions/Fineness.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"

namespace Kaltor::Ogl {

void TransitionShatter::CacheImpl::Reset(int columnCount, int rowCount) {
    current = {};
    impulses.clear();
    auto const count = static_cast<std::size_t>(std::int64_t{columnCount} * rowCount);
    impulses.reserve(count);
    Random numbers = beginning;
    auto const random = [&numbers] {
        constexpr float kUnit = 4.656613e-10F;  // 2^-31
        return static_cast<float>(numbers.Draw()) * kUnit;
    };
    for (std::size_t i = 0; i < count; ++i) {
        float const spin = (2.0F * random() + 1.0F) * 5.0F;
        float const growth = 4.0F * random();
        float const travel = random() + 0.5F;
        impulses.push_back({spin, growth, travel});
    }
    current = {columnCount, rowCount};
}

std::vector<ShardImpulse> const& TransitionShatter::CacheImpl::Get(TileGrid const& grid) {
    if (grid != current) {
        Reset(grid.columns, grid.rows);
    }
    return impulses;
}

void TransitionShatter::Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                                   ShaderStorage const& storage, OglCache* cache) const {
    auto& impulses = GetCache<CacheImpl>(cache);
    Frame const target = dst->FrameData();
    float const aspect = static_cast<float>(target.GetWidth()) / static_cast<float>(target.GetHeight());
    auto const p = static_cast<float>(progress);
    TileGrid const grid = MakeTileGrid(static_cast<float>(settings.GetNum()), aspect);
    Quad const shards(MakeShards(grid, impulses.Get(grid), settings.GetDir(), aspect, p), GL_STREAM_DRAW);

    Frame large;
    std::uint32_t const fineness = GetFineness(target);
    large.Allocate(target.GetPixFmt(), fineness * target.GetWidth(), fineness * target.GetHeight());
    storage.FBO().Attach(large.GetFirstTexture());
    second->FrameData().Draw(storage.Quad(), storage);
    {
        EnableState const blend(GL_BLEND);
        glBlendColor(0.0F, 0.0F, 0.0F, 1.0F - p);
        glBlendFunc(GL_CONSTANT_ALPHA, GL_ONE_MINUS_CONSTANT_ALPHA);
        first->FrameData().Draw(shards, storage);
    }
    AttachTarget(*dst, storage);
    large.Draw(storage.Quad(), storage);
}

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionShatter>();

}  // namespace Kaltor::Ogl
