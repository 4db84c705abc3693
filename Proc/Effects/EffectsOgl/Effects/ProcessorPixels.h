#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "Proc/Effects/Shared/Planes.h"

namespace Kaltor::Ogl {

/// The means of a picture over a lattice of equal rectangles, for each plane row by row from the upper left one, with
/// 255 as 16320. A chroma sample counts by the pixels that it stands for.
struct BlockMeans {
    int columns = 0;
    int rows = 0;
    std::array<std::vector<std::int32_t>, 3> planes;
};

/// The lattice has fewer columns and rows than the picture has pixels. On the processor's threads.
BlockMeans FindMeans(Planes const& picture, int columns, int rows, Processor& processor);
/// Means over the lattice with half as many columns and rows, which are even.
BlockMeans JoinMeans(BlockMeans const& means);
/// `share(column, row)` of `above`, 0 to 1, and the rest of `below`, which has the same lattice.
BlockMeans MixMeans(BlockMeans const& below, BlockMeans const& above,
                    std::function<double(int column, int row)> const& share);

/// What is seen through means while they fade: finer ones, or the picture itself.
struct FinerMeans {
    BlockMeans const* means = nullptr;
    Planes const* picture = nullptr;
    double weight = 0.0;  ///< 0: neither is looked at
};

/// Shows means as rectangles whose edges are one pixel soft, on the processor's threads.
void ShowMeans(BlockMeans const& means, FinerMeans const& finer, Planes const& to, Processor& processor);

}  // namespace Kaltor::Ogl
