#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {

struct Size {
    unsigned width;
    unsigned height;
};

/// Landscape, portrait, square, odd and as thin as can be.
constexpr std::array<Size, 6> kSizes{{{64, 36}, {36, 64}, {24, 24}, {31, 17}, {1, 23}, {19, 1}}};

Rgba Mix(Rgba const& a, Rgba const& b, double weight);

/// A picture of the size and kind of `like` by the texture coordinates of each pixel's centre.
Picture ForEachPixel(Picture const& like, std::function<Rgba(double s, double t)> const& at);

/// "TransitionWipe width=0 direction=down".
std::string Describe(Proc::Settings const& settings);

/// What a transition makes of two pictures, computed on the processor.
using Expectation = std::function<Picture(Picture const& first, Picture const& second, double progress)>;

class TransitionFixture : public GlTest {
protected:
    /// White noise shows every displacement.
    static void Expect(Proc::Settings const& settings, std::vector<double> const& progresses,
                       Expectation const& expectation, double tolerance = kFiltered);
    /// Flat pictures show to the byte on which side of an edge a pixel lies.
    static void ExpectSharpEdges(Proc::Settings const& settings, std::vector<double> const& progresses,
                                 Expectation const& expectation);
    /// One more frame of a transition.
    static Picture DrawNext(Proc::ITwoInputEffectVideo& transition, Picture const& first, Picture const& second,
                            double progress);
};

}  // namespace Kaltor::Tests
