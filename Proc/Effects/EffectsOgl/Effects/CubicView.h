#pragma once

#include <glm/mat2x2.hpp>
#include <glm/vec2.hpp>

#include "Ogl/DataVideoOGL.h"
#include "Ogl/Frame.h"
#include "Ogl/ShaderStorage.h"

namespace Kaltor::Ogl {

/// Maps the points of a target to a picture: matrix * (s, t) + origin, both in texture coordinates.
struct Placement {
    glm::mat2 matrix{1.0F};
    glm::vec2 origin{0.0F};
};

/// Places a picture of this display aspect in the frame: enlarged by `zoom` about the middle, turned there
/// counter-clockwise by `roll` radians (as seen on the screen), then moved by `shift`, in fractions of the larger side.
Placement Move(double aspect, glm::dvec2 const& shift, double roll, double zoom);

/// The least zoom with which no border of a picture of this display aspect shows, for all shifts and rolls up to
/// `shift` and `roll` as in `Move`.
double HideBorders(double aspect, double shift, double roll);

/// The smallest scale that `DrawCubic` takes.
constexpr double kLeastCubicScale = 0.8;

/// Draws an RGB picture all over a target. The result is sharper than linear filtering, and equally sharp at every
/// shift by a fraction of a pixel. Colours are weighted by alpha. Beyond its border the picture shows its edge. `scale`
/// is the number of target pixels per texel. At 1 and above the kernel is Catmull and Rom's (R. Keys, "Cubic
/// Convolution Interpolation for Digital Image Processing", 1981). Below 1 it changes gradually into the mean over each
/// pixel, which it reaches at `kLeastCubicScale`.
void DrawCubic(Frame const& picture, Placement const& placement, double scale, Texture const& target,
               ShaderStorage const& storage);
/// The same on planes; the placement turns nothing, and the picture, of the target's size, is not made smaller.
void DrawCubicOnPlanes(DataVideoOGL& picture, Placement const& placement, DataVideoOGL& target,
                       ShaderStorage const& storage);

}  // namespace Kaltor::Ogl
