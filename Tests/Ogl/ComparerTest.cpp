// The comparer itself: which pictures it must distinguish, and which it must accept.

#include "Tests/Support/Picture.h"

namespace Kaltor::Tests {
namespace {

TEST(Comparer, TellsOneChannelOfOnePixel) {
    for (bool const hasAlpha : {false, true}) {
        Picture const picture = Picture::Noise(31, 17, hasAlpha);
        for (std::size_t channel = 0; channel < (hasAlpha ? 4U : 3U); ++channel) {
            for (auto const& [x, y] : {std::pair{0U, 0U}, {30U, 0U}, {0U, 16U}, {30U, 16U}, {13U, 5U}}) {
                Picture off = picture;
                EXPECT_TRUE(IsNear(off, picture, 0.0));
                double& value = off.At(x, y)[channel];
                double const step = (value > 0.5 ? -1.0 : 1.0) / 255.0;
                value += step;
                EXPECT_FALSE(IsNear(off, picture, 0.0));
                EXPECT_TRUE(IsNear(off, picture, kUnfiltered));
                value += step;
                testing::AssertionResult const result = IsNear(off, picture, kUnfiltered);
                ASSERT_FALSE(result);
                EXPECT_THAT(result.message(), AllOf(HasSubstr("1 of 527 pixels"), HasSubstr("by 2.00/255"),
                                                    HasSubstr(fmt::format("x = {}, y = {}", x, y))));
            }
        }
    }
}

TEST(Comparer, TellsSizesAndWhatIsNoNumberAndClampsWhatNoFrameCanHold) {
    Picture const black = Picture::Flat(4, 3, {0, 0, 0, 1});
    EXPECT_THAT(IsNear(Picture::Noise(3, 4), black, 1.0).message(), HasSubstr("3x4, expected 4x3"));
    Picture broken = black;
    broken.At(2, 1)[1] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(IsNear(broken, black, 1.0)) << "in what was drawn";
    EXPECT_FALSE(IsNear(black, broken, 1.0)) << "in what was expected";
    EXPECT_TRUE(IsNear(black, Picture::Flat(4, 3, {-3, -0.1, 0, 1}), 0.0));
    EXPECT_FALSE(IsNear(black, Picture::Flat(4, 3, {0, 2, 0, 1}), kFiltered));
    // Alpha counts if the drawn picture has it.
    Picture const half = Picture::Flat(4, 3, {0, 0, 0, 0.5}, true);
    EXPECT_FALSE(IsNear(half, black, kFiltered));
    EXPECT_TRUE(IsNear(black, half, 0.0));
}

TEST(Pictures, SampleAsLinearAndNearestTexturesDo) {
    Picture const picture = Picture::Make(2, 2, false, [](unsigned x, unsigned y) {
        return Rgba{x == 1 ? 1.0 : 0.0, y == 0 ? 1.0 : 0.0, 0, 1};  // red on the right, green on top
    });
    EXPECT_EQ(picture.Sample(0.5, 0.5), (Rgba{0.5, 0.5, 0, 1}));
    EXPECT_EQ(picture.Sample(0.75, 0.75), (Rgba{1, 1, 0, 1}));  // t = 1 is the top
    EXPECT_EQ(picture.Sample(-7.0, 9.0), (Rgba{0, 1, 0, 1}));   // clamped to the edge
    EXPECT_EQ(picture.SampleNearest(0.51, 0.99), (Rgba{1, 1, 0, 1}));
    EXPECT_EQ(picture.SampleNearest(2.0, -1.0), (Rgba{1, 0, 0, 1}));
}

}  // namespace
}  // namespace Kaltor::Tests
