#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Proc/Effects/Shared/QuadBuilders.h"

namespace Kaltor::Ogl {
namespace {

std::size_t Count(TileGrid const& grid) {
    return static_cast<std::size_t>(grid.columns) * static_cast<std::size_t>(grid.rows);
}

template <typename Real>
TileGrid Make(Real count, Real aspect) {
    constexpr Real kHalf{0.5};
    constexpr double kIndicesPerTile = 6.0;
    auto const alongX = static_cast<double>(aspect > Real{1} ? std::floor(count * aspect + kHalf) : count);
    auto const alongY = static_cast<double>(aspect < Real{1} ? std::floor(count / aspect + kHalf) : count);
    double const indices = 4.0 * alongX * alongY * kIndicesPerTile;
    double const most = std::max({alongX, alongY, indices});
    if (count < Real{0} || most > static_cast<double>(std::numeric_limits<int>::max())) {
        Core::Throw(std::length_error("vector::reserve"));
    }
    return {2 * static_cast<int>(alongX), 2 * static_cast<int>(alongY)};
}

}  // namespace

TileGrid MakeTileGrid(double count, double aspect) {
    return Make(count, aspect);
}
TileGrid MakeTileGrid(float count, float aspect) {
    return Make(count, aspect);
}

TileGrid MakeSquareGrid(int count, double aspect, double mostColumns, double mostRows) {
    auto const along = [count](double ratio, double most) {
        return static_cast<int>(std::clamp(std::round(count * std::max(ratio, 1.0)), 1.0, std::max(most, 1.0)));
    };
    return {along(aspect, mostColumns), along(1.0 / aspect, mostRows)};
}

PackedQuad MakeSpreadTiles(TileGrid const& grid, double progress) {
    auto const columns = static_cast<double>(grid.columns);
    auto const rows = static_cast<double>(grid.rows);
    double const spread = std::min(rows, columns) * progress + 1.0;
    double const halfX = 1.0 / ((progress + 1.0) * columns);
    double const halfY = 1.0 / ((progress + 1.0) * rows);
    auto const texture = [](int index, int count) { return static_cast<float>(index) / static_cast<float>(count); };

    PackedQuad tiles = ReserveQuads(Count(grid));
    int counter = 0;
    for (int j = 0; j < grid.rows; ++j) {
        double const y = ((2 * j + 1) / rows - 1.0) * spread;
        for (int i = 0; i < grid.columns; ++i) {
            double const x = ((2 * i + 1) / columns - 1.0) * spread;
            MakeQuadIdx(counter, tiles.indices);
            MakeQuad(texture(i, grid.columns), texture(j, grid.rows), static_cast<float>(x - halfX),
                     static_cast<float>(y - halfY), texture(i + 1, grid.columns), texture(j + 1, grid.rows),
                     static_cast<float>(x + halfX), static_cast<float>(y + halfY), tiles.vertices);
        }
    }
    return tiles;
}

PackedQuad MakeSlidingPieces(float progress) {
    constexpr float kThird = 0.33333334F;
    constexpr float kTwoThirds = 0.6666667F;
    float const remaining = 1.0F - progress;
    float const cut = remaining / 3.0F;  // the part of the outer thirds that is still outside
    std::vector<Stretch> const stretches{{cut, kThird, -1.0F, -kThird - kTwoThirds * remaining},
                                         {kThird, kTwoThirds, -kThird, kThird},
                                         {kTwoThirds, 1.0F - cut, kTwoThirds * remaining + kThird, 1.0F}};
    return MakeLattice(stretches, stretches);
}

PackedQuad MakeShards(TileGrid const& grid, std::vector<ShardImpulse> const& impulses, ShardDirection direction,
                      float aspect, float progress) {
    auto const columns = static_cast<float>(grid.columns);
    auto const rows = static_cast<float>(grid.rows);
    // Shards turn in units that are the same length along both axes.
    float const unitX = aspect <= 1.0F ? 1.0F : aspect;
    float const unitY = aspect <= 1.0F ? 1.0F / aspect : 1.0F;

    PackedQuad shards = ReserveQuads(Count(grid));
    int counter = 0;
    auto impulse = impulses.begin();
    for (int j = 0; j < grid.rows; ++j) {
        for (int i = 0; i < grid.columns; ++i, ++impulse) {
            float x = static_cast<float>(2 * i + 1) / columns - 1.0F;
            float y = static_cast<float>(2 * j + 1) / rows - 1.0F;
            float growth = 1.0F;
            if (direction == ShardDirection::Rise) {
                y += 2.0F * impulse->travel * progress;
            } else if (direction == ShardDirection::Fall) {
                y -= 2.0F * impulse->travel * progress;
            } else if (direction == ShardDirection::Burst) {
                float const distance = impulse->travel * progress + 1.0F;
                x *= distance;
                y *= distance;
                growth = impulse->growth * progress + 1.0F;
            }
            float const cosine = std::cos(impulse->spin * progress);
            float const sine = std::sin(impulse->spin * progress);
            float const halfX = growth / columns * unitX;
            float const halfY = growth / rows * unitY;
            // The turned half sides; a corner lies one of each away from the centre.
            float const alongX = halfX * cosine;
            float const alongY = halfX * sine;
            float const acrossX = -halfY * sine;
            float const acrossY = halfY * cosine;
            float const s0 = static_cast<float>(i) / columns;
            float const s1 = static_cast<float>(i + 1) / columns;
            float const t0 = static_cast<float>(j) / rows;
            float const t1 = static_cast<float>(j + 1) / rows;
            MakeQuadIdx(counter, shards.indices);
            MakeQuad(s0, t0, x + (-alongX - acrossX) / unitX, y + (-alongY - acrossY) / unitY,  //
                     s1, t0, x + (alongX - acrossX) / unitX, y + (alongY - acrossY) / unitY,    //
                     s1, t1, x + (alongX + acrossX) / unitX, y + (alongY + acrossY) / unitY,    //
                     s0, t1, x + (-alongX + acrossX) / unitX, y + (-alongY + acrossY) / unitY, shards.vertices);
        }
    }
    return shards;
}

}  // namespace Kaltor::Ogl
