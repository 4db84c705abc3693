#pragma once

#include <cstdint>
#include <vector>

#include <glm/vec2.hpp>

#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"

namespace Kaltor::Ogl {

/// How a picture is cut into interlocking pieces: a grid of cells whose inner edges have one round tab each, to one
/// side or the other; no two are quite alike. Lengths are in units of a cell's shorter side.
class Jigsaw {
public:
    /// Each seed gives another cut. `width` and `height` are those of a cell; the shorter one is 1.
    Jigsaw(TileGrid const& pieces, double width, double height, std::uint32_t seed);

    /// The farthest that a tab reaches out of its cell.
    static constexpr double kTabReach = 0.33;

    /// The distances of (x, y), from the middle of the cell, to the nearer upright and the nearer level edge of this
    /// piece; positive towards the inside. A point is inside the piece where both are positive. Exact near the outline,
    /// approximate further away. Neighbours have opposite distances to their common edge.
    glm::dvec2 GetDistances(int column, int row, double x, double y) const;

private:
    /// A cut along u, from -length / 2 to length / 2, with the tab towards v > 0 where `side` is 1.
    struct Edge {
        double side = 0.0;  ///< 0: straight, the picture's border
        double offset = 0.0;
        double size = 1.0;
        double lean = 0.0;
        double bow = 0.0;
        double length = 1.0;

        /// Positive towards v < 0.
        double GetDistance(double u, double v) const;
    };

    Edge const& GetRight(int column, int row) const;
    Edge const& GetTop(int column, int row) const;

    TileGrid grid;
    double cellWidth;
    double cellHeight;
    std::vector<Edge> rights;  ///< edges on the right of each column, the picture's left border first; row by row
    std::vector<Edge> tops;    ///< edges above each row, the picture's lower border first
};

}  // namespace Kaltor::Ogl
