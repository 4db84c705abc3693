#pragma once

#include <optional>
#include <vector>

#include "Edit/Titles/Canvas.h"
#include "Edit/Titles/TitlePicture.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Edit {

/// Layers over each other, the first one at the bottom, as one picture with straight alpha. Sums are kept as real
/// numbers, so that faint pixels keep their colour.
class StraightPicture {
public:
    explicit StraightPicture(PixelRect const& area);

    /// One colour where there is coverage, which is one of the whole area.
    void Over(Coverage const& coverage, Proc::Color const& color);
    /// A CAIRO_FORMAT_ARGB32 canvas of the same area.
    void Over(Canvas const& colors);
    /// The same for 8-bit coverage of some pixels that lie within the area.
    void Over(PixelRect const& place, unsigned char const* coverage, std::ptrdiff_t stride, Proc::Color const& color);

    /// The part within `frame` that is not transparent; empty where all of it is. `hasBorder`: with one transparent
    /// pixel around it, for pictures that move by parts of pixels.
    std::optional<TitlePicture> Finish(PixelRect const& frame, bool hasBorder = false) const;

private:
    /// Premultiplied.
    struct Pixel {
        float red = 0.0F;
        float green = 0.0F;
        float blue = 0.0F;
        float alpha = 0.0F;

        void Over(Pixel const& upper) {
            float const rest = 1.0F - upper.alpha;
            *this = {upper.red + red * rest, upper.green + green * rest, upper.blue + blue * rest,
                     upper.alpha + alpha * rest};
        }
        /// What is left of it in 8 bits.
        bool IsVisible() const { return alpha * 255.0F >= 0.5F; }
    };

    static Pixel ToPixel(Proc::Color const& color, float coverage);
    Pixel& At(int x, int y) { return pixels[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)]; }
    Pixel const& At(int x, int y) const {
        return pixels[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)];
    }
    PixelRect FindVisible(PixelRect const& frame) const;
    /// The mean of the visible pixels around a transparent one, with alpha 0.
    Proc::Color Surroundings(int x, int y, PixelRect const& within) const;

    PixelRect area;
    std::size_t width;
    std::vector<Pixel> pixels;
};

}  // namespace Kaltor::Edit
