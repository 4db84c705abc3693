#pragma once

#include <vector>

#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {

/// For one pixel along an axis of the target: the texel before its place, and the weights of that texel's neighbours:
/// the one before it, and the two behind. Its own is what they leave of 1.
struct CubicTaps {
    int first;
    double before, behind, last;
};

/// Draws an opaque picture, or a plane, with these taps for each column and each row of the target, on the processor's
/// threads.
void DrawCubicOnProcessor(Samples const& from, Samples const& to, std::vector<CubicTaps> const& columns,
                          std::vector<CubicTaps> const& rows, Processor& processor);

}  // namespace Kaltor::Ogl
