#pragma once

#include <algorithm>
#include <functional>

#include "Proc/Effects/Shared/Planes.h"

namespace Kaltor::Ogl {

/// Writes, for each pixel of row `y` from the top, the share of the picture above. Below 0 it counts as 0, above 1
/// as 1.
using MaskRow = std::function<void(int y, float* shares)>;

/// Mixes two pictures by a mask, on the processor's threads.
void MixOnProcessor(Planes const& below, Planes const& above, Planes const& to, MaskRow const& mask,
                    Processor& processor);

/// Shares of the pixels from `begin` to `end` of a row, by a function of the pixel that mostly is far from 0 and 1
/// and changes by `slope` at most from one pixel to the next: it is computed only near the border.
template <typename Share>
void FillShares(int begin, int end, float slope, Share const& share, float* shares) {
    constexpr int kCell = 16;
    float const reach = slope * kCell;
    for (int x = begin; x < end; x += kCell) {
        int const count = std::min(kCell, end - x);
        float const here = share(x + count / 2);
        if (here < -reach || here > 1.0F + reach) {
            std::fill_n(shares + x, count, here);
            continue;
        }
        for (int i = x; i < x + count; ++i) {
            shares[i] = share(i);
        }
    }
}

}  // namespace Kaltor::Ogl
