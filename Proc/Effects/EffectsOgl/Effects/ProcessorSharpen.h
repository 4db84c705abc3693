#pragma once

#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {

/// Adds what `from`, an opaque picture, has more luma than `soft`, its blurred copy, as EffectSharpen.cpp describes it,
/// on the processor's threads.
void SharpenOnProcessor(Samples const& from, Samples const& soft, Samples const& to, double strength, double threshold,
                        Processor& processor);

}  // namespace Kaltor::Ogl
