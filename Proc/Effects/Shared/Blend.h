#pragma once

#include "Ogl/DataVideoOGL.h"
#include "Ogl/ShaderStorage.h"

namespace Kaltor::Ogl {

/// Makes `target`'s texture the drawing target.
void AttachTarget(DataVideoOGL& target, ShaderStorage const& storage);

/// Copies `source` to the target, exact to the byte.
void DrawUnchanged(DataVideoOGL& target, DataVideoOGL& source, ShaderStorage const& storage);

/// A frame of this size that shows the whole of an RGB picture. If the picture shrinks, each pixel is the mean of what
/// it covers.
Frame MakeScaled(Frame const& picture, std::uint32_t width, std::uint32_t height, ShaderStorage const& storage);

/// Lays `frame` over what the attached target holds: alpha * frame + (1 - alpha) * target, in all four channels.
void BlendConstantAlpha(Frame const& frame, double alpha, ShaderStorage const& storage);

/// Whether a transition is at rest: before its beginning, or from its end on. Then `target` shows the first or the
/// second picture, exact to the byte.
bool DrawAtRest(DataVideoOGL& target, DataVideoOGL& first, DataVideoOGL& second, double progress,
                ShaderStorage const& storage);

}  // namespace Kaltor::Ogl
