#pragma once

#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {

/// What the edges of an opaque picture are drawn with; see EffectFindEdges.cpp.
struct EdgeLook {
    double width;  ///< over which the picture is averaged, pixels, 1 or more
    int cell;      ///< between the operator's taps, pixels
    double scale, strength, threshold;
    bool isInverted;  ///< dark lines on white
};

/// Draws the edges of `picture` to `to`, on the processor's threads.
void DrawEdgesOnProcessor(Samples const& picture, Samples const& to, EdgeLook const& look, Processor& processor);

}  // namespace Kaltor::Ogl
