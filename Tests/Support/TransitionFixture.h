#pragma once

#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {

struct Size {
    unsigned width;
    unsigned height;
};

/// Landscape, portrait, square, odd and as thin as can be.
constexpr std::array<Size, 6> kSizes{{{64, 36}, {36, 64}, {24, 24}, {31, 17}, {1, 23}, {19, 1}}};

Rgba Mix(Rgba const& a, Rgba const& b, double weight);
/// Colour from premultiplied one.
Rgba Straight(Rgba color);
/// After ITU-R BT.709.
double Luminance(Rgba const& color);
/// Each channel but alpha by a function of its number.
Rgba EachColor(Rgba const& color, std::function<double(std::size_t)> const& map);
/// As GLSL's `smoothstep`.
double SmoothStep(double low, double high, double x);

/// A picture of the size and kind of `like` by the texture coordinates of each pixel's centre.
Picture ForEachPixel(Picture const& like, std::function<Rgba(double s, double t)> const& at);

/// Noise whose alpha, where there is one, hides no colour.
Picture MakeCoveringNoise(Size const& size, bool hasAlpha, std::uint32_t seed = 1);

/// A transition's result for two pictures, computed on the processor.
using Expectation = std::function<Picture(Picture const& first, Picture const& second, double progress)>;

/// One pixel of a transition: where it is, and what the pictures have there.
struct Meeting {
    Picture const& first;
    Picture const& second;
    double s, t, progress, aspect;
    Rgba from, to;

    Rgba Mix(double weight) const { return Tests::Mix(from, to, weight); }
};
using PixelFormula = std::function<Rgba(Meeting const& at)>;
/// The whole picture; `aspect` is that of what is seen.
Picture DrawPixels(Picture const& first, Picture const& second, double progress, double aspect,
                   PixelFormula const& formula);

/// An effect's result for a picture.
using EffectExpectation = std::function<Picture(Picture const& input)>;

class TransitionFixture : public GlTest {
protected:
    /// The source of random numbers.
    static constexpr unsigned kSeed = 11;

    static void ExpectDrawn(std::string const& settings, Picture const& first, Picture const& second, double progress,
                            Picture const& expected, double tolerance = kFiltered);
    /// White noise shows every displacement.
    static void Expect(std::string const& settings, std::vector<double> const& progresses,
                       Expectation const& expectation, double tolerance = kFiltered,
                       std::vector<Size> const& sizes = {kSizes.begin(), kSizes.end()});
    /// Pixel by pixel.
    static void ExpectPixels(std::string const& settings, std::vector<double> const& progresses,
                             PixelFormula const& formula, double tolerance = kUnfiltered);
    /// Flat pictures show to the byte on which side of an edge a pixel lies.
    static void ExpectSharpEdges(std::string const& settings, std::vector<double> const& progresses,
                                 Expectation const& expectation);
    /// One more frame of a transition.
    static Picture DrawNext(Proc::ITwoInputEffectVideo& transition, Picture const& first, Picture const& second,
                            double progress);
};

class EffectFixture : public GlTest {
protected:
    /// On noise, opaque in landscape and with alpha in portrait, the other way round, and square.
    static void Expect(std::string const& settings, EffectExpectation const& expectation,
                       double tolerance = kUnfiltered, Moment const& moment = {});
    /// Pixel by pixel.
    static void ExpectColors(std::string const& settings, std::function<Rgba(Rgba const&)> const& formula,
                             double tolerance = kUnfiltered, Moment const& moment = {});
};

}  // namespace Kaltor::Tests
