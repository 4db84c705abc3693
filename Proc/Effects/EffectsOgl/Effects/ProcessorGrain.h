#pragma once

#include "Proc/Effects/EffectsOgl/Effects/FilmGrain.h"
#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {

/// Adds grey grain to an opaque picture, as EffectAddNoize.cpp describes it, on the processor's threads. `strength`:
/// how much of a grain is added where the tone is 1/2, in 1/2.
void AddGrainOnProcessor(Samples const& from, Samples const& to, GrainLayout const& layout, double strength,
                         Processor& processor);

}  // namespace Kaltor::Ogl
