#pragma once

#include <array>
#include <cstdint>

#include "Ogl/Mesh.h"
#include "Ogl/Texture.h"

namespace Kaltor::Ogl {

class ShaderStorage;

/// How a picture's texels meet the target's pixels when it is drawn through one quad.
struct Footprint {
    /// Of a picture of `width` x `height` texels through this quad into a viewport of these pixels.
    Footprint(Mesh::Corners const& corners, std::uint32_t width, std::uint32_t height,
              std::array<int, 4> const& viewport);

    /// Texels along s and t that one pixel covers; 1 where the quad does not make the picture smaller.
    double s = 1.0;
    double t = 1.0;
    /// Whether the quad makes the picture smaller.
    bool isMinified = false;
    /// Whether a whole number of texels falls on each pixel, edge on edge, mirrored or not.
    bool isOnTexels = false;
    /// Whether that number is one.
    bool isExact = false;
    /// Whether it is one or two: a linear sample between two texels is their mean, of pictures without alpha.
    bool isLinear = false;
};

/// Draws a texture of straight alpha through a mesh so that each pixel is the mean of the texels that it covers,
/// weighed by how much of each lies in it, and by alpha. Along an axis where the picture is not made smaller it is
/// linear filtering. Into the attached target, under the current blend state.
void DrawMean(Texture const& texture, Footprint const& footprint, Mesh const& mesh, ShaderStorage const& storage);

}  // namespace Kaltor::Ogl
