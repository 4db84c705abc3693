#pragma once

#include <vector>

#include "Ogl/Random.h"
#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {

/// The outgoing picture breaks into shards that turn, fly off and fade.
class TransitionShatter final : public TransitionWithSettings<Proc::SettingsTransitionShatter> {
public:
    /// How each shard flies: drawn once for a grid, so that the motion is steady from frame to frame.
    class CacheImpl final : public OglCache {
    public:
        using ImpulseData = ShardImpulse;

        /// `numbers`: where each grid's begin.
        explicit CacheImpl(Random const& numbers = {}) : beginning(numbers) {}

        /// New impulses for this grid, row by row, each from three random numbers. Throws `std::length_error`
        /// "vector::reserve" for a negative number of shards.
        void Reset(int columnCount, int rowCount);
        /// The impulses of this grid: those drawn before where it is still the same.
        std::vector<ImpulseData> const& Get(TileGrid const& grid);

    private:
        Random beginning;
        std::vector<ImpulseData> impulses;
        TileGrid current;
    };

    void SetSeed(std::uint32_t seed) override { random = Random(seed); }
    OglCache* CreateCache() const override { return new CacheImpl(random); }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double time, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override;

private:
    Random random;
};

}  // namespace Kaltor::Ogl
