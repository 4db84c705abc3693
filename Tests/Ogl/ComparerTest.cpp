// The comparer itself: what it must tell apart, and what it must let pass.

#include <cmath>
#include <limits>

#include <gmock/gmock.h>

#include "Tests/Support/Picture.h"

namespace Kaltor::Tests {
namespace {

using testing::HasSubstr;

constexpr double kStep = 1.0 / 255.0;

TEST(Comparer, TellsOneChannelOfOnePixel) {
    for (bool const hasAlpha : {false, true}) {
        Picture const picture = Picture::Noise(31, 17, hasAlpha);
        EXPECT_TRUE(IsNear(picture, picture, 0.0));
        for (std::size_t channel = 0; channel < (hasAlpha ? 4U : 3U); ++channel) {
            for (auto const& [x, y] : {std::pair{0U, 0U}, {30U, 0U}, {0U, 16U}, {30U, 16U}, {13U, 5U}}) {
                Picture off = picture;
                double& value = off.At(x, y)[channel];
                double const sign = value > 0.5 ? -1.0 : 1.0;
                value += sign * kStep;
                EXPECT_FALSE(IsNear(off, picture, 0.0));
                EXPECT_TRUE(IsNear(off, picture, kUnfiltered));
                value += sign * kStep;
                testing::AssertionResult const result = IsNear(off, picture, kUnfiltered);
                ASSERT_FALSE(result);
                EXPECT_THAT(result.message(), HasSubstr("1 of 527 pixels"));
                EXPECT_THAT(result.message(), HasSubstr("by 2.00/255"));
                EXPECT_THAT(result.message(), HasSubstr("x = " + std::to_string(x) + ", y = " + std::to_string(y)));
            }
        }
    }
}

TEST(Comparer, TellsFlipsSwapsAndShifts) {
    Picture const corners = Picture::Corners(24, 16, true);
    auto const changed = [&](auto const& from) { return Picture::Make(24, 16, true, from); };
    Picture const flipped = changed([&](unsigned x, unsigned y) { return corners.At(x, 15 - y); });
    Picture const mirrored = changed([&](unsigned x, unsigned y) { return corners.At(23 - x, y); });
    Picture const turned = changed([&](unsigned x, unsigned y) { return corners.At(23 - x, 15 - y); });
    Picture const shifted = changed([&](unsigned x, unsigned y) { return corners.At(x == 23 ? 23 : x + 1, y); });
    for (Picture const* const other : {&flipped, &mirrored, &turned, &shifted}) {
        EXPECT_FALSE(IsNear(*other, corners, kFiltered));
    }
    for (auto const& [a, b] : {std::pair{0U, 1U}, {1U, 2U}, {0U, 2U}, {2U, 3U}}) {
        Picture const swapped = changed([&](unsigned x, unsigned y) {
            Rgba pixel = corners.At(x, y);
            std::swap(pixel[a], pixel[b]);
            return pixel;
        });
        EXPECT_FALSE(IsNear(swapped, corners, kFiltered)) << "channels " << a << " and " << b;
    }
    Picture const square = Picture::Corners(16, 16);
    EXPECT_FALSE(IsNear(Picture::Make(16, 16, false, [&](unsigned x, unsigned y) { return square.At(y, x); }), square,
                        kFiltered))
        << "a transposition";
}

TEST(Comparer, TellsSizesAndWhatIsNoNumber) {
    Picture const picture = Picture::Noise(4, 3);
    EXPECT_THAT(IsNear(Picture::Noise(3, 4), picture, 1.0).message(), HasSubstr("3x4, expected 4x3"));
    for (Picture const& base : {picture, Picture::Flat(4, 3, {0, 0, 0, 1})}) {
        Picture broken = base;
        broken.At(2, 1)[1] = std::numeric_limits<double>::quiet_NaN();
        EXPECT_FALSE(IsNear(broken, base, kFiltered)) << "in what was drawn";
        EXPECT_FALSE(IsNear(base, broken, kFiltered)) << "in what was expected";
        EXPECT_FALSE(IsNear(base, broken, 1.0));
    }
}

TEST(Comparer, ClampsWhatNoFrameCanHold) {
    Picture const black = Picture::Flat(2, 2, {0, 0, 0, 1});
    EXPECT_TRUE(IsNear(black, Picture::Flat(2, 2, {-3, -0.1, 0, 1}), 0.0));
    EXPECT_FALSE(IsNear(black, Picture::Flat(2, 2, {0, 2, 0, 1}), kFiltered));
    // Alpha counts where the picture that was drawn has it.
    Picture const half = Picture::Flat(2, 2, {0, 0, 0, 0.5}, true);
    EXPECT_FALSE(IsNear(half, black, kFiltered));
    EXPECT_TRUE(IsNear(black, half, 0.0));
}

TEST(Pictures, SampleAsLinearAndNearestTexturesDo) {
    Picture const picture = Picture::Make(2, 2, false, [](unsigned x, unsigned y) {
        return Rgba{x == 1 ? 1.0 : 0.0, y == 0 ? 1.0 : 0.0, 0, 1};  // red on the right, green on top
    });
    EXPECT_EQ(picture.Sample(0.5, 0.5), (Rgba{0.5, 0.5, 0, 1}));
    EXPECT_EQ(picture.Sample(0.75, 0.75), (Rgba{1, 1, 0, 1}));  // t = 1 is the top
    EXPECT_EQ(picture.Sample(0.0, 0.0), (Rgba{0, 0, 0, 1}));
    EXPECT_EQ(picture.Sample(-7.0, 9.0), (Rgba{0, 1, 0, 1}));  // clamped to the edge
    EXPECT_EQ(picture.SampleNearest(0.51, 0.99), (Rgba{1, 1, 0, 1}));
    EXPECT_EQ(picture.SampleNearest(2.0, -1.0), (Rgba{1, 0, 0, 1}));
}

TEST(Pictures, PassThroughCpuFramesUnchanged) {
    for (bool const hasAlpha : {false, true}) {
        Picture const picture = Picture::Noise(13, 7, hasAlpha);
        Picture const back = Picture::FromFrame(*picture.ToFrame());
        EXPECT_EQ(back.hasAlpha, hasAlpha);
        EXPECT_TRUE(IsNear(back, picture, 0.0));
    }
}

}  // namespace
}  // namespace Kaltor::Tests
