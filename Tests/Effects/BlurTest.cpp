// The Gaussian blur against its sum, computed here in double precision with texels clamped to the edge.

#include "Proc/Effects/EffectsOgl/Effects/BlurKernel.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

/// The taps.
struct Taps {
    int size;
    double sigma;
    double norm;

    Taps(unsigned width, unsigned height, double scale) {
        auto const radius = std::max(static_cast<float>(std::max(width, height) * scale / 3.0), 0.34F);
        size = static_cast<int>(radius * 3.0);
        double const s = size * 0.333333;
        sigma = -0.5 / (s * s);
        double sum = 1.0;
        for (int i = 1; i <= size; ++i) {
            sum += 2.0 * std::exp(sigma * i * i);
        }
        norm = 1.0 / sum;
    }
};

Picture BlurAlong(Picture const& picture, Taps const& taps, bool isVertical) {
    std::vector<double> weights;
    for (int i = 0; i <= taps.size; ++i) {
        weights.push_back(std::exp(taps.sigma * i * i) * taps.norm);
    }
    int const side = static_cast<int>(isVertical ? picture.height : picture.width);
    return Picture::Make(picture.width, picture.height, picture.hasAlpha, [&](unsigned x, unsigned y) {
        auto const at = [&](int along) -> Rgba const& {
            auto const clamped = static_cast<unsigned>(std::clamp(along, 0, side - 1));
            return isVertical ? picture.At(x, clamped) : picture.At(clamped, y);
        };
        int const here = static_cast<int>(isVertical ? y : x);
        Rgba sum{};
        for (int i = -taps.size; i <= taps.size; ++i) {
            Rgba const& pixel = at(here + 2 * i);
            for (std::size_t c = 0; c < sum.size(); ++c) {
                sum[c] += pixel[c] * weights[static_cast<std::size_t>(std::abs(i))];
            }
        }
        return sum;
    });
}

Picture Blur(Picture const& picture, double scale) {
    Taps const taps(picture.width, picture.height, scale);
    return BlurAlong(BlurAlong(picture, taps, false), taps, true);
}

/// Between the two passes of the sum a picture has 8 bits: half a step more error than in a single pass.
constexpr double kTwoPasses = 1.5 / 255.0;
/// Reduced pictures have 16 bits.
constexpr double kReduced = 1.0 / 255.0;
constexpr int kMostSummed = 14;

using BlurTest = GlTest;

TEST_F(BlurTest, IsTheSumOnEveryPictureAndStrategy) {
    std::vector<std::pair<double, Picture>> cases;
    // A size of 1, sizes on both sides of the switch between two ways of drawing, and taps beyond the whole picture.
    for (auto const& [width, height, scale] : {std::tuple{96U, 54U, 0.0},
                                               {54U, 96U, 0.05},
                                               {100U, 60U, 0.1455},
                                               {60U, 100U, 0.1555},
                                               {97U, 31U, 0.3},
                                               {1U, 64U, 0.5},
                                               {64U, 1U, 0.1},
                                               {1U, 1U, 1.0},
                                               {2U, 3U, 1.0},
                                               {33U, 17U, 0.7}}) {
        cases.emplace_back(scale, Picture::Noise(width, height));
        cases.emplace_back(scale, Picture::Noise(width, height, true));
    }
    cases.emplace_back(0.08, Picture::ZonePlate(480, 270));
    // On impulses and edges, the error of a slightly wrong kernel does not average out.
    for (double const scale : {0.05, 0.2}) {
        cases.emplace_back(
            scale, Picture::Make(96, 54, false, [](unsigned x, unsigned y) {
                return Rgba{x > 50 ? 1.0 : 0.0, x % 24 == 7 && y % 18 == 5 ? 1.0 : 0.0, y > 20 ? 1.0 : 0.0, 1};
            }));
    }
    for (auto const& [scale, picture] : cases) {
        Picture const expected = Blur(picture, scale);
        int const size = Taps(picture.width, picture.height, scale).size;
        for (Ogl::FrameStrategy const& strategy : {kSoftwareStrategy, kGpuStrategy}) {
            ScopedStrategy const scoped(strategy);
            bool const isReduced = strategy.areFetchesDear && size > kMostSummed;
            EXPECT_TRUE(IsNear(Run(fmt::format("EffectBlurGaussian scale={}", scale), picture), expected,
                               isReduced ? kReduced : kTwoPasses))
                << "scale " << scale << ", size " << size << (strategy.areFetchesDear ? ", software" : ", GPU");
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
