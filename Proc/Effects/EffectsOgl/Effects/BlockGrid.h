#pragma once

#include <algorithm>
#include <cmath>

#include <glm/vec2.hpp>

#include "Conf/FrameInfo.h"
#include "Proc/Effects/Shared/Aspect.h"

namespace Kaltor::Ogl {

/// A grid of blocks that look square, `count` of them along the picture's shorter side. It is centred, so that blocks
/// at opposite edges are cut off equally. No block is smaller than a pixel.
struct BlockGrid {
    BlockGrid(Conf::FrameInfo const& info, int count) {
        double const aspect = GetDisplayAspect(info);
        blocks = {std::min(count * std::max(aspect, 1.0), static_cast<double>(info.width)),
                  std::min(count * std::max(1.0 / aspect, 1.0), static_cast<double>(info.height))};
        constexpr double kRounding = 1.0e-6;
        cells = {static_cast<int>(std::ceil(blocks.x - kRounding)), static_cast<int>(std::ceil(blocks.y - kRounding))};
        first = {0.5 * (cells.x - blocks.x), 0.5 * (cells.y - blocks.y)};
    }

    glm::dvec2 blocks;  ///< how many fit along the picture's width and height
    glm::ivec2 cells;   ///< how many whole blocks cover the picture
    /// The picture's lower left corner, in blocks from the edges of the first block: a point (s, t) lies at `first` +
    /// (s, t) * `blocks`.
    glm::dvec2 first;
};

}  // namespace Kaltor::Ogl
