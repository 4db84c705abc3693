#pragma once

#include <algorithm>
#include <cmath>

#include <glm/vec2.hpp>

#include "Conf/FrameInfo.h"
#include "Proc/Effects/EffectsOgl/Aspect.h"

namespace Kaltor::Ogl {

/// Blocks, square as they are seen, `count` of them along the shorter side of the picture, in a grid about its middle,
/// so that what is cut off at opposite edges is the same. None is smaller than a pixel.
struct BlockGrid {
    BlockGrid(Conf::FrameInfo const& info, int count) {
        double const aspect = GetDisplayAspect(info);
        blocks = {std::min(count * std::max(aspect, 1.0), static_cast<double>(info.width)),
                  std::min(count * std::max(1.0 / aspect, 1.0), static_cast<double>(info.height))};
        constexpr double kRounding = 1.0e-6;
        cells = {static_cast<int>(std::ceil(blocks.x - kRounding)), static_cast<int>(std::ceil(blocks.y - kRounding))};
        first = {0.5 * (cells.x - blocks.x), 0.5 * (cells.y - blocks.y)};
    }

    glm::dvec2 blocks;  ///< that fit along the picture's width and height
    glm::ivec2 cells;   ///< whole ones that cover it
    /// Of the lower left corner, counted in blocks from the first one's edges: a point (s, t) lies at
    /// `first` + (s, t) * `blocks`.
    glm::dvec2 first;
};

}  // namespace Kaltor::Ogl
