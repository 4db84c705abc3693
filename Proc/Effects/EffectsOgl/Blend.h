#pragma once

#include "Ogl/DataVideoOGL.h"
#include "Ogl/ShaderStorage.h"

namespace Kaltor::Ogl {

/// Makes `target`'s texture what is drawn to.
void AttachTarget(DataVideoOGL& target, ShaderStorage const& storage);

/// Shows `source` in the target as it is, to the byte.
void DrawUnchanged(DataVideoOGL& target, DataVideoOGL& source, ShaderStorage const& storage);

/// A frame of this size with the whole of an RGB picture; made smaller, each pixel is the mean of what it covers.
Frame MakeScaled(Frame const& picture, std::uint32_t width, std::uint32_t height, ShaderStorage const& storage);

/// Lays `frame` over what the attached target holds: alpha * frame + (1 - alpha) * target, in all four channels.
void BlendConstantAlpha(Frame const& frame, double alpha, ShaderStorage const& storage);

/// Whether a transition is at rest, before its beginning or from its end on; `target` shows the first picture then, or
/// the second, to the byte.
bool DrawAtRest(DataVideoOGL& target, DataVideoOGL& first, DataVideoOGL& second, double progress,
                ShaderStorage const& storage);

}  // namespace Kaltor::Ogl
