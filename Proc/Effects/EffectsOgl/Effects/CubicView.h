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

/// Places a picture of this display aspect in the frame: enlarged by `zoom` about the middle and turned there
/// counter-clockwise by `roll` radians as it is shown, then moved by `shift`, fractions of the larger side.
Placement Move(double aspect, glm::dvec2 const& shift, double roll, double zoom);

/// The least zoom of a picture of this display aspect with which no border shows wherever it is moved and turned up to
/// `shift` and `roll`, as `Move` has them.
double HideBorders(double aspect, double shift, double roll);

/// The smallest scale that `DrawCubic` takes.
constexpr double kLeastCubicScale = 0.8;

/// Draws an RGB picture all over a target, sharper than linear filtering and, as it moves by parts of a pixel, evenly
/// so; colours are weighed by alpha. Beyond its border the picture shows its edge. `scale` is the target's pixels to
/// one texel: at 1 and above the kernel is Catmull and Rom's (R. Keys, "Cubic Convolution Interpolation for Digital
/// Image Processing", 1981), which below 1 passes, by `kLeastCubicScale`, into the mean over each pixel.
void DrawCubic(Frame const& picture, Placement const& placement, double scale, Texture const& target,
               ShaderStorage const& storage);

}  // namespace Kaltor::Ogl
