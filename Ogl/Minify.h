#pragma once

#include <array>
#include <cstdint>

#include "Ogl/Mesh.h"
#include "Ogl/Texture.h"

namespace Kaltor::Ogl {

class ShaderStorage;

/// How a picture's texels meet the target's pixels when it is drawn through one quad.
struct Footprint {
    /// For a picture of `width` x `height` texels, drawn through this quad into this viewport (pixels).
    Footprint(Mesh::Corners const& corners, std::uint32_t width, std::uint32_t height,
              std::array<int, 4> const& viewport);

    /// Texels along s and t that one pixel covers; 1 where the quad does not make the picture smaller.
    double s = 1.0;
    double t = 1.0;
    /// Whether the quad makes the picture smaller.
    bool isMinified = false;
    /// Whether each pixel covers a whole number of texels, with edges aligned, mirrored or not.
    bool isOnTexels = false;
    /// Whether that number is one.
    bool isExact = false;
    /// Whether that number is one or two: without alpha, a linear sample between two texels is their mean.
    bool isLinear = false;
};

/// Draws a texture with straight alpha through a mesh into the attached target, under the current blend state. Each
/// pixel is the mean of the texels that it covers, weighted by the covered area and by alpha. Along an axis where the
/// picture does not shrink, filtering is linear.
void DrawMean(Texture const& texture, Footprint const& footprint, Mesh const& mesh, ShaderStorage const& storage);

}  // namespace Kaltor::Ogl
