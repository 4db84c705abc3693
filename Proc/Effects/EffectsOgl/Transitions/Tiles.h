#pragma once

#include <cstdint>
#include <vector>

#include "Ogl/Mesh.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {

// Tile meshes: a picture cut into rectangles, and their places at a moment of a transition. Vertices are (s, t, x, y);
// tiles come row by row from the lower left.

struct TileGrid {
    int columns = 0;
    int rows = 0;

    bool operator==(TileGrid const&) const = default;
};

/// Tiles as square as whole numbers allow: 2 * `count` along the shorter side of a picture whose width is `aspect`
/// times its height. Throws `std::length_error` "vector::reserve" for a negative count and for grids whose mesh has
/// more than 2^31 - 1 indices.
TileGrid MakeTileGrid(double count, double aspect);
/// The same in single precision, which rounds a few grids differently.
TileGrid MakeTileGrid(float count, float aspect);

/// Tiles about square, `count` (1 at least) along the shorter side of a picture whose width is `aspect` times its
/// height, and no more along either side than `mostColumns` and `mostRows`.
TileGrid MakeSquareGrid(int count, double aspect, double mostColumns, double mostRows);

/// The tiles fly off: at a progress of p the whole grid is min(columns, rows) * p + 1 times as large, each tile
/// 1 / (p + 1) times.
PackedQuad MakeSpreadTiles(TileGrid const& grid, double progress);

/// Nine pieces that slide in from the edges of the picture towards their places, which they reach at 1. The middle one
/// is always there.
PackedQuad MakeSlidingPieces(float progress);

/// How a shard flies.
struct ShardImpulse {
    float spin;    ///< angle in radians at the end
    float growth;  ///< by how much of its size it has grown at the end
    float travel;  ///< how far it has come at the end
};

using ShardDirection = Proc::SettingsTransitionShatter::Direction;

/// Shards, with one impulse for each tile of the grid. They turn in the plane without shear on a picture of this
/// aspect. Only bursting shards grow; those with an unknown direction turn in place.
PackedQuad MakeShards(TileGrid const& grid, std::vector<ShardImpulse> const& impulses, ShardDirection direction,
                      float aspect, float progress);

}  // namespace Kaltor::Ogl
