#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <vector>

#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsStyleEffects.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;

using StyleEffectsTest = GlTest;

struct Size {
    unsigned width, height;
};
constexpr std::array kSizes{Size{64, 36}, Size{36, 64}, Size{33, 33}};

/// The mean of `at` over a pixel, y from the bottom.
double SampleArea(unsigned x, double y, std::function<double(double, double)> const& at) {
    constexpr int kSamples = 16;
    double sum = 0.0;
    for (int j = 0; j < kSamples; ++j) {
        for (int i = 0; i < kSamples; ++i) {
            sum += at(x + (i + 0.5) / kSamples, y + (j + 0.5) / kSamples);
        }
    }
    return sum / (kSamples * kSamples);
}

TEST_F(StyleEffectsTest, StripesCoverTheirShareAndDriftAcross) {
    struct Stripes {
        double angle, fill, softness, speed, seconds;
        int count;
    };
    for (Stripes const& stripes : {Stripes{30, 0.5, 0.5, 0, 0, 4},
                                   {-70, 0.3, 1, 0.5, 0.6, 3},
                                   {0, 0.7, 0, -1.5, 100.1, 5},
                                   {90, 0.25, 0, 1, 0.25, 40}}) {
        SettingsEffectStripes settings;
        settings.SetAngle(stripes.angle);
        settings.SetFill(stripes.fill);
        settings.SetSoftness(stripes.softness);
        settings.SetSpeed(stripes.speed);
        settings.SetCount(stripes.count);
        settings.SetColor({255, 51, 0, 204});
        for (Size const size : kSizes) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Corners(size.width, size.height, hasAlpha);
                double const radians = stripes.angle * M_PI / 180;
                double const period = std::hypot(size.width, size.height) / stripes.count;
                double const ramp = stripes.softness * std::min(stripes.fill, 1 - stripes.fill);
                auto const isCovered = [&](double x, double y) {
                    double const across =
                        (y - size.height / 2.0) * std::cos(radians) - (x - size.width / 2.0) * std::sin(radians);
                    double const d = std::fabs(std::remainder(across / period - stripes.speed * stripes.seconds, 1.0));
                    double const e = std::clamp(
                        ramp > 0 ? 0.5 + (stripes.fill / 2 - d) / ramp : 1.0 * (d < stripes.fill / 2), 0.0, 1.0);
                    return e * e * (3 - 2 * e);
                };
                Picture const expected = Picture::Make(size.width, size.height, hasAlpha, [&](unsigned x, unsigned y) {
                    double const weight = 0.8 * SampleArea(x, size.height - 1.0 - y, isCovered);
                    Rgba const& from = input.At(x, y);
                    return Rgba{from[0] + (1.0 - from[0]) * weight, from[1] + (0.2 - from[1]) * weight,
                                from[2] * (1 - weight), from[3]};
                });
                // Edges that hit sub-pixel samples differ by one column of 16.
                double const tolerance = stripes.softness > 0 ? kFiltered : 0.06;
                EXPECT_TRUE(IsNear(Run(settings, input, {.seconds = stripes.seconds}), expected, tolerance))
                    << size.width << "x" << size.height << " at " << stripes.angle;
            }
        }
    }
}

/// The number of the block that a point (x, y) from the top left lies in.
using Locate = std::function<std::pair<int, int>(double x, double y)>;

/// Each block's mean by brute force, and each pixel's from the blocks that it lies in. Pixels in several blocks may be
/// `border` off.
void ExpectMeans(Picture const& actual, Picture const& input, Locate const& locate, double tolerance, double border) {
    constexpr unsigned kSamples = 16;  // a side of a pixel
    using Block = std::array<double, 5>;
    std::map<std::pair<int, int>, Block> blocks;
    std::vector<Block*> samples;
    for (unsigned y = 0; y < input.height; ++y) {
        for (unsigned x = 0; x < input.width; ++x) {
            auto const& [red, green, blue, alpha] = input.At(x, y);
            for (unsigned i = 0; i < kSamples * kSamples; ++i) {
                Block& sum = blocks[locate(x + (i % kSamples + 0.5) / kSamples, y + (i / kSamples + 0.5) / kSamples)];
                std::array const terms{red * alpha, green * alpha, blue * alpha, alpha, 1.0};
                std::transform(sum.begin(), sum.end(), terms.begin(), sum.begin(), std::plus());
                samples.push_back(&sum);
            }
        }
    }
    Picture even = actual;  // without the pixels on borders
    auto sample = samples.begin();
    Picture const expected = Picture::Make(input.width, input.height, input.hasAlpha, [&](unsigned x, unsigned y) {
        Rgba mean{};
        auto const end = sample + kSamples * kSamples;
        bool const isOnBorder = std::any_of(sample, end, [first = *sample](Block* block) { return block != first; });
        for (; sample != end; ++sample) {
            for (std::size_t c = 0; c < mean.size(); ++c) {
                mean[c] += (**sample)[c] / (**sample)[4] / (kSamples * kSamples);
            }
        }
        Rgba const color{mean[0] / mean[3], mean[1] / mean[3], mean[2] / mean[3], mean[3]};
        if (isOnBorder) {
            even.At(x, y) = color;
        }
        return color;
    });
    EXPECT_TRUE(IsNear(even, expected, tolerance)) << input.width << "x" << input.height << ", within blocks";
    EXPECT_TRUE(IsNear(actual, expected, border)) << input.width << "x" << input.height << ", on borders";
}

TEST_F(StyleEffectsTest, MosaicOfSquaresShowsTheirMeans) {
    for (int const count : {1, 8, 16}) {  // blocks' edges hit samples' edges
        SettingsEffectMosaic settings;
        settings.SetCount(count);
        for (Size const size : kSizes) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Noise(size.width, size.height, hasAlpha);
                double const side = std::min(size.width, size.height) / static_cast<double>(count);
                auto const number = [&](double x, unsigned length) {
                    double const odd = std::fmod(std::ceil(length / side - 1e-9), 2);
                    return static_cast<int>(std::floor((x - length / 2.0) / side + odd / 2 + 1e-9));
                };
                ExpectMeans(
                    Run(settings, input), input,
                    [&](double x, double y) {
                        return std::pair{number(x, size.width), number(y, size.height)};
                    },
                    kUnfiltered, kFiltered);
            }
        }
    }
}

TEST_F(StyleEffectsTest, MosaicOfHexagonsShowsTheirMeans) {
    for (int const count : {2, 5, 9}) {
        SettingsEffectMosaic settings;
        settings.SetCount(count);
        settings.SetShape(1);
        for (Size const size : kSizes) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Noise(size.width, size.height, hasAlpha);
                bool const isUpright = size.width >= size.height;  // hexagons touch one above the other
                double const pitch = std::min(size.width, size.height) / static_cast<double>(count);
                ExpectMeans(
                    Run(settings, input), input,
                    [&](double x, double y) {
                        double const a = (x - size.width / 2.0) / pitch;
                        double const b = (y - size.height / 2.0) / pitch;
                        double const u = isUpright ? b : a;
                        double const v = isUpright ? a : b;
                        std::pair<int, int> nearest;
                        double least = INFINITY;
                        int const middle = static_cast<int>(std::lround(v / std::sqrt(0.75)));
                        int const side = static_cast<int>(std::lround(2 * u));
                        for (int row = middle - 1; row <= middle + 1; ++row) {
                            for (int half = side - 2; half <= side + 2; ++half) {  // pitches, doubled
                                double const distance = std::hypot(u - half / 2.0, v - row * std::sqrt(0.75));
                                if ((half + row + count + 1) % 2 == 0 && distance < least) {
                                    least = distance;
                                    nearest = {half, row};
                                }
                            }
                        }
                        return nearest;
                    },
                    2.0 / 255.0, 0.15);  // corners of three hexagons within a pixel are mixed by rule of thumb
            }
        }
    }
}

TEST_F(StyleEffectsTest, MosaicOfPixelsIsThePicture) {
    for (int const shape : {0, 1}) {
        SettingsEffectMosaic settings;
        settings.SetShape(shape);
        settings.SetCount(36);
        Picture const input = Picture::Noise(64, 36, true);
        EXPECT_TRUE(IsNear(Run(settings, input), input, 0.0));
    }
}

TEST_F(StyleEffectsTest, GlassBricksBendThePicture) {
    SettingsEffectGlassMosaic settings;
    settings.SetCount(3);
    settings.SetStrength(0.7);
    settings.SetBevel(0.0);
    for (Size const size : kSizes) {
        Picture const input = Picture::Corners(size.width, size.height, true);
        Picture const actual = Run(settings, input);
        double const side = std::min(size.width, size.height) / 3.0;
        Picture const expected = Picture::Make(size.width, size.height, true, [&](unsigned x, unsigned y) {
            struct Place {
                double middle, q;
            };
            auto const find = [side](double at, unsigned length) {
                double const parity = std::fmod(std::ceil(length / side), 2.0) / 2.0;
                double const brick = std::floor((at - length / 2.0) / side + parity) + 0.5 - parity;
                double const middle = length / 2.0 + brick * side;
                return Place{middle, 2.0 * (at - middle) / side};
            };
            Place const h = find(x + 0.5, size.width);
            Place const v = find(size.height - y - 0.5, size.height);
            if (std::max(std::fabs(h.q), std::fabs(v.q)) > 1.0 - 1.0 / side) {
                return actual.At(x, y);  // in two bricks
            }
            double const lens = side / 2.0 * (1.0 + 0.7 * (0.7 + 0.8 * (h.q * h.q + v.q * v.q)));
            auto const mirror = [](double at) { return 1.0 - std::fabs(1.0 - std::fabs(at)); };
            return input.Sample(mirror((h.middle + h.q * lens) / size.width),
                                mirror((v.middle + v.q * lens) / size.height));
        });
        EXPECT_TRUE(IsNear(actual, expected, kFiltered)) << size.width << "x" << size.height;
    }
}

TEST_F(StyleEffectsTest, GlassBricksAreLitFromTheUpperLeft) {
    SettingsEffectGlassMosaic settings;
    settings.SetCount(2);
    Picture const lit = Run(settings, Picture::Flat(300, 200, {0.4, 0.4, 0.4, 1}));
    // The middle one of three bricks of 100 pixels.
    double const left = lit.At(104, 50)[0];
    double const right = lit.At(195, 50)[0];
    double const top = lit.At(150, 4)[0];
    double const bottom = lit.At(150, 95)[0];
    EXPECT_GT(std::min(left, top), 0.44);
    EXPECT_LT(std::max(right, bottom), 0.38);
    EXPECT_LT(lit.At(100, 50)[0], 0.3) << "the joint";
    EXPECT_NEAR(lit.At(140, 40)[0], 0.42, 0.03);
}

}  // namespace
}  // namespace Kaltor::Tests
