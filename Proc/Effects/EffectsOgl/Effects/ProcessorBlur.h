#pragma once

#include "Proc/Effects/EffectsOgl/Effects/BlurKernel.h"
#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {

/// Blurs with the kernel's taps along both axes, on the processor's threads. The result is the same whatever their
/// number, and within 1/255 of the sum. `from` and `to` are of the same size and do not overlap.
void BlurOnProcessor(Samples const& from, Samples const& to, BlurKernel const& kernel, Processor& processor);

}  // namespace Kaltor::Ogl
