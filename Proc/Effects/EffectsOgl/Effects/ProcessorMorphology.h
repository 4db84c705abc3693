#pragma once

#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {

/// The neighbourhood of an erosion or a dilation; see EffectErosion.cpp.
struct Neighbourhood {
    int radius;  ///< pixels, 1 or more
    bool isDisc;
    bool isDilation;
};

/// For each pixel of an opaque picture the whole pixel with the least (dilation: the greatest) luma around it, on the
/// processor's threads.
void PickOnProcessor(Samples const& from, Samples const& to, Neighbourhood const& around, Processor& processor);

/// The same for each channel by itself.
void FindExtremaOnProcessor(Samples const& from, Samples const& to, Neighbourhood const& around, Processor& processor);

}  // namespace Kaltor::Ogl
