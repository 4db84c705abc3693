#pragma once

#include "Proc/Data/DataVideoFF.h"
#include "Tests/Support/Common.h"

namespace Kaltor::Tests {

/// Red, green, blue, alpha, 0 to 1.
using Rgba = std::array<double, 4>;

/// A picture as plain numbers. Pixel (x, y) counts from the left and from the TOP.
class Picture {
public:
    Picture() = default;
    Picture(unsigned pictureWidth, unsigned pictureHeight, bool hasAlphaChannel = false)
        : width(pictureWidth),
          height(pictureHeight),
          hasAlpha(hasAlphaChannel),
          pixels(std::size_t{pictureWidth} * pictureHeight, Rgba{0, 0, 0, 1}) {}
    /// Each pixel by a function of x, y.
    static Picture Make(unsigned width, unsigned height, bool hasAlpha,
                        std::function<Rgba(unsigned, unsigned)> const& at);

    /// White noise of 8-bit values, the same for the same seed; alpha noisy too where there is one.
    static Picture Noise(unsigned width, unsigned height, bool hasAlpha = false, std::uint32_t seed = 1);
    /// A different colour in each corner, so that a flip or a transposition shows.
    static Picture Corners(unsigned width, unsigned height, bool hasAlpha = false);
    /// Rings that grow finer outwards up to the Nyquist frequency.
    static Picture ZonePlate(unsigned width, unsigned height);
    static Picture Flat(unsigned width, unsigned height, Rgba const& color, bool hasAlpha = false);

    Rgba& At(unsigned x, unsigned y) { return pixels[std::size_t{y} * width + x]; }
    Rgba const& At(unsigned x, unsigned y) const { return pixels[std::size_t{y} * width + x]; }
    /// What a texture with linear filter gives, clamped to the edge; s from the left, t from the BOTTOM, 0 to 1.
    Rgba Sample(double s, double t) const;
    /// The same with the nearest texel.
    Rgba SampleNearest(double s, double t) const;

    /// A CPU frame of format Rgb24, or Rgba where there is alpha; the aspect is that of its pixels.
    boost::intrusive_ptr<Proc::DataVideoFF> ToFrame(std::uint32_t aspectX = 1, std::uint32_t aspectY = 1) const;
    static Picture FromFrame(Proc::DataVideoFF const& frame);

    unsigned width = 0;
    unsigned height = 0;
    bool hasAlpha = false;
    std::vector<Rgba> pixels;
};

/// The visible part of a picture: colours multiplied by alpha.
Picture Premultiply(Picture picture);
/// The mean of each 2 x 2 pixels; undecided where one of them is.
Picture Halve(Picture const& picture);

/// In an expected picture: a pixel that lies on an edge, where rounding decides.
constexpr Rgba kUndecided{-9, -9, -9, -9};

/// Nothing is filtered: half a step of rounding in, half out, half for the GL's freedom.
constexpr double kUnfiltered = 1.5 / 255.0;
/// Linear filtering on software GL weights texels with 8 bits.
constexpr double kFiltered = 3.5 / 255.0;

/// Whether each channel of each pixel is within `tolerance` (0: to the byte); a failure shows the size, how many pixels
/// are off and the worst one. Expected values beyond 0..1 count as clamped. Alpha counts where `actual` has it. A sixth
/// of the pixels may be undecided.
testing::AssertionResult IsNear(Picture const& actual, Picture const& expected, double tolerance);

}  // namespace Kaltor::Tests

namespace Kaltor {
using Tests::IsNear;
using Tests::kUndecided;
using Tests::Picture;
using Tests::Rgba;
}  // namespace Kaltor
