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

    /// Texels along s and t that one pixel covers; above 1 the quad makes the picture smaller.
    double s = 1.0;
    double t = 1.0;
    /// The part of the picture that shows, texture coordinates.
    double left = 0.0;
    double right = 1.0;
    double bottom = 0.0;
    double top = 1.0;
    /// Whether more than one texel falls on a pixel, by more than rounding.
    bool isMinified = false;
    /// Whether the pixels' columns are columns of the picture: not turned, and cut at whole pixels.
    bool isOnColumns = false;
    /// Whether each pixel's centre is a texel's, mirrored or not.
    bool isExact = false;
};

/// Draws a texture of straight alpha through a mesh so that each pixel is the mean of the texels that it covers,
/// weighed by how much of each lies in it, and by alpha. Along an axis where the picture is not made smaller it is
/// linear filtering. Into the attached target, under the current blend state.
void DrawMean(Texture const& texture, Footprint const& footprint, Mesh const& mesh, ShaderStorage const& storage);

}  // namespace Kaltor::Ogl
