#pragma once

#include <glm/mat2x2.hpp>
#include <glm/vec2.hpp>

#include "Ogl/Frame.h"
#include "Ogl/ShaderStorage.h"

namespace Kaltor::Ogl {

/// Where the points of a target lie in a picture: matrix * (s, t) + origin, texture coordinates both.
struct Placement {
    glm::mat2 matrix{1.0F};
    glm::vec2 origin{0.0F};
};

/// The smallest scale that `DrawCubic` takes.
constexpr double kLeastCubicScale = 0.8;

/// Draws an RGB picture all over a target, sharper than linear filtering and, as it moves by parts of a pixel, evenly
/// so; colours are weighed by alpha. Beyond its border the picture shows its edge. `scale` is the target's pixels to
/// one texel: at 1 and above the kernel is Catmull and Rom's (R. Keys, "Cubic Convolution Interpolation for Digital
/// Image Processing", 1981), which below 1 passes, by `kLeastCubicScale`, into the mean over each pixel.
void DrawCubic(Frame const& picture, Placement const& placement, double scale, Texture const& target,
               ShaderStorage const& storage);

}  // namespace Kaltor::Ogl
