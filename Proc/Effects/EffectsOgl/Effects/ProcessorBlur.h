#pragma once

#include <vector>

#include "Proc/Effects/EffectsOgl/Effects/BlurKernel.h"
#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {

/// Blurs with the kernel's taps along both axes, on the processor's threads. The result is the same whatever their
/// number, and within 1/255 of the sum. `from` and `to` are of the same size and do not overlap. `spacing`, where there
/// is one channel: texels between taps, 1 or 2.
void BlurOnProcessor(Samples const& from, Samples const& to, BlurKernel const& kernel, Processor& processor,
                     int spacing = 2);

/// Sums along both axes, with these weights, each less than a half, for pairs of taps 1, 2, ... times `spacing` texels
/// to either side of a texel, which has what they leave of 1. There are 1 to `kMostPairsOnProcessor` pairs.
void SumOnProcessor(Samples const& from, Samples const& to, std::vector<double> const& weights, int spacing,
                    Processor& processor);
constexpr int kMostPairsOnProcessor = 14;

}  // namespace Kaltor::Ogl
