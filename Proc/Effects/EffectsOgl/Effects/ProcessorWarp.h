#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "Proc/Effects/Shared/Planes.h"

namespace Kaltor::Ogl {

/// Writes, for each pixel of row `y`, the place that it shows, in pixels: 0.5 is the middle of the first column and of
/// the uppermost row. Beyond its border the picture shows its edge.
using WarpRow = std::function<void(int y, float* placesX, float* placesY)>;

/// Where each pixel of a picture comes from, for many pictures of one size.
class WarpTable {
public:
    WarpTable(int pictureWidth, int pictureHeight, WarpRow const& row, Processor& processor);

    int GetWidth() const { return width; }
    int GetHeight() const { return height; }
    /// Draws `from` with linear filter, on the processor's threads. Both have the table's size.
    void Draw(Planes const& from, Planes const& to, Processor& processor) const;

private:
    friend struct WarpJob;

    int width;
    int height;
    /// For each pixel: the left one of the upper two samples that it shows, in a plane with padding, and how far it is
    /// from there, in 1 / 256, down in the upper byte. Then the same for chroma.
    std::vector<std::int32_t> lumaAt;
    std::vector<std::uint16_t> lumaShare;
    std::vector<std::int32_t> chromaAt;
    std::vector<std::uint16_t> chromaShare;
};

}  // namespace Kaltor::Ogl
