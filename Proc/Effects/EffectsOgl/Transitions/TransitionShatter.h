#pragma once

#include <vector>

#include "Proc/Effects/EffectsOgl/Algorithms.h"
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

        /// New impulses for this grid, row by row, each from three numbers of the C library's generator. Throws
        /// `std::length_error` "vector::reserve" for a negative number of shards.
        void Reset(int columnCount, int rowCount);
        /// The impulses of this grid: those drawn before where it is still the same.
        std::vector<ImpulseData> const& Get(TileGrid const& grid);

    private:
        std::vector<ImpulseData> impulses;
        TileGrid current;
    };

    OglCache* CreateCache() const override { return new CacheImpl; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double time, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override;
};

}  // namespace Kaltor::Ogl
