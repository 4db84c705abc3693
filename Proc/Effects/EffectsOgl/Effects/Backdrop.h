#pragma once

#include "Proc/Effects/Shared/Algorithms.h"

namespace Kaltor::Ogl {

/// A small, strongly blurred copy of a picture, for what lies around or behind it: colours are multiplied by alpha. It
/// shows the picture without its outer eighths, so that it looks enlarged. `frame` is what the picture came in. Takes
/// the framebuffer's target. GL thread only.
Src MakeBackdrop(DataVideoOGL const& frame, Frame const& picture, ShaderStorage const& storage);

}  // namespace Kaltor::Ogl
