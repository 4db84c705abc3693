#pragma once

#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {

/// Row y of `to` is column y of `from`. Both have one channel; `to` has the width and height of `from` exchanged. On
/// the processor's threads.
void TransposeOnProcessor(Samples const& from, Samples const& to, Processor& processor);

}  // namespace Kaltor::Ogl
