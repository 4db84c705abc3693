#include "Proc/Effects/EffectsOgl/Transitions/Jigsaw.h"

#include <algorithm>
#include <cmath>

#include "Ogl/Noise.h"

namespace Kaltor::Ogl {
namespace {

// The tab: a disc on the edge's line, with two arcs that round the corners between the disc and the line.
constexpr double kHead = 0.105;        // radius
constexpr double kHeadHeight = 0.155;  // of its middle
constexpr double kFillet = 0.05;       // radius

/// The distance to the outline of everything below the line v = 0 and of a tab on it at u = 0; positive inside.
double GetTabDistance(double u, double v) {
    double const a = std::abs(u);
    static double const filletPlace =
        std::sqrt((kHead + kFillet) * (kHead + kFillet) - (kHeadHeight - kFillet) * (kHeadHeight - kFillet));
    double const head = kHead - std::hypot(a, v - kHeadHeight);
    double const du = a - filletPlace;
    double const dv = v - kFillet;
    if (du >= 0.0) {
        return std::max(head, -v);
    }
    // On which side of the line from the arc's middle to the head's the point is.
    bool const isBelow = du * (kHeadHeight - kFillet) + dv * filletPlace < 0.0;
    return isBelow ? std::hypot(du, dv) - kFillet : head;
}

}  // namespace

double Jigsaw::Edge::GetDistance(double u, double v) const {
    if (side == 0.0) {
        return -v;
    }
    double const place = std::clamp(2.0 * u / length, -1.0, 1.0);
    double const bent = side * v - bow * (1.0 - place * place);
    double const along = u - offset - lean * std::clamp(bent, 0.0, kTabReach);
    return side * size * GetTabDistance(along / size, bent / size);
}

Jigsaw::Jigsaw(TileGrid const& pieces, double width, double height, std::uint32_t seed)
    : grid(pieces), cellWidth(width), cellHeight(height) {
    auto const make = [seed](int column, int row, std::uint32_t kind, double length) {
        auto const x = static_cast<std::uint32_t>(column);
        auto const y = static_cast<std::uint32_t>(row);
        // -1 to 1.
        auto const random = [&](std::uint32_t number) {
            return 2.0 * HashToUnit(x, y, seed ^ (0x9e3779b9U * (2 * number + kind + 1))) - 1.0;
        };
        return Edge{random(0) < 0.0 ? -1.0 : 1.0,
                    0.07 * random(1),
                    1.0 + 0.12 * random(2),
                    0.2 * random(3),
                    0.03 * random(4),
                    length};
    };
    rights.reserve(static_cast<std::size_t>(grid.columns + 1) * static_cast<std::size_t>(grid.rows));
    for (int row = 0; row < grid.rows; ++row) {
        for (int column = -1; column < grid.columns; ++column) {
            bool const isBorder = column < 0 || column + 1 == grid.columns;
            rights.push_back(isBorder ? Edge{} : make(column, row, 0, cellHeight));
        }
    }
    tops.reserve(static_cast<std::size_t>(grid.columns) * static_cast<std::size_t>(grid.rows + 1));
    for (int row = -1; row < grid.rows; ++row) {
        for (int column = 0; column < grid.columns; ++column) {
            bool const isBorder = row < 0 || row + 1 == grid.rows;
            tops.push_back(isBorder ? Edge{} : make(column, row, 1, cellWidth));
        }
    }
}

Jigsaw::Edge const& Jigsaw::GetRight(int column, int row) const {
    return rights[static_cast<std::size_t>(row * (grid.columns + 1) + column + 1)];
}

Jigsaw::Edge const& Jigsaw::GetTop(int column, int row) const {
    return tops[static_cast<std::size_t>((row + 1) * grid.columns + column)];
}

glm::dvec2 Jigsaw::GetDistances(int column, int row, double x, double y) const {
    double const right = GetRight(column, row).GetDistance(y, x - cellWidth / 2.0);
    double const left = -GetRight(column - 1, row).GetDistance(y, x + cellWidth / 2.0);
    double const top = GetTop(column, row).GetDistance(x, y - cellHeight / 2.0);
    double const bottom = -GetTop(column, row - 1).GetDistance(x, y + cellHeight / 2.0);
    return {std::min(left, right), std::min(bottom, top)};
}

}  // namespace Kaltor::Ogl
