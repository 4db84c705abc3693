// Effects that map each pixel's colour, against their formulas.

#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using ColorEffectsTest = EffectFixture;

TEST_F(ColorEffectsTest, BurnBendsEachChannelAlongASine) {
    for (double const strength : {0.4, 1.0}) {
        ExpectColors(fmt::format("EffectColorMixBurn strength={}", strength), [&](Rgba const& p) {
            return EachColor(p,
                             [&](std::size_t c) { return p[c] + (std::sin((p[c] - 0.5) * M_PI) - p[c]) * strength; });
        });
    }
}

TEST_F(ColorEffectsTest, DistinguishKeepsChannelsNearTheColor) {
    for (auto const& [color, wanted, separation, sharpness] :
         {std::tuple{"#FF4020", std::array{255, 64, 32}, "#040404", std::array{4, 4, 4}},
          {"#C88000", {200, 128, 0}, "#010009", {1, 0, 9}}}) {
        ExpectColors(fmt::format("EffectColorMixDistinguish color={} separation={}", color, separation),
                     [wanted = wanted, sharpness = sharpness](Rgba const& p) {
                         return EachColor(p, [&](std::size_t i) {
                             double const cut = std::exp(-std::fabs(p[i] - (wanted[i] - 128.0) / 128.0) * sharpness[i]);
                             return Luminance(p) + (p[i] * 1.1 - Luminance(p)) * cut;
                         });
                     });
    }
}

TEST_F(ColorEffectsTest, ExchangeAndInvertInvertEachChannel) {
    std::array const amount{1.0, 40 / 255.0, 128 / 255.0};
    ExpectColors("EffectColorMixExchange color=#FF288009", [&](Rgba const& p) {
        return EachColor(p, [&](std::size_t i) { return p[i] + (1.0 - 2.0 * p[i]) * amount[i]; });
    });
    ExpectColors(
        "EffectInvert", [](Rgba const& p) { return EachColor(p, [&p](std::size_t c) { return 1.0 - p[c]; }); }, 0.0);
}

TEST_F(ColorEffectsTest, FieldFillsWhatIsBrighterThanTheThreshold) {
    for (auto const& [threshold, contrast] : {std::pair{0.5, 0.5}, {0.3, 0.8}}) {
        ExpectColors(fmt::format("EffectColorMixField threshold={} contrast={} color=#FFC833", threshold, contrast),
                     [threshold = threshold, contrast = contrast](Rgba const& p) {
                         double const lum = Luminance(p);
                         double const fill = std::clamp(lum + 2.0 * contrast - 1.0, 0.0, 1.0);
                         return std::fabs(lum - threshold) < 1e-4 ? kUndecided
                                : lum > threshold                 ? Rgba{fill, fill * 200 / 255, fill * 51 / 255, p[3]}
                                                                  : p;
                     });
    }
    Picture const black = Picture::Flat(4, 4, {0, 0, 0, 1});
    EXPECT_TRUE(IsNear(Run("EffectColorMixField threshold=0 contrast=1", black), black, 0.0)) << "at the threshold";
}

TEST_F(ColorEffectsTest, PosterizeScalesTheLuminanceToALevel) {
    for (int const levels : {1, 4, 255}) {
        ExpectColors(fmt::format("EffectPosterize levels={}", levels), [&](Rgba const& p) {
            double const lum = Luminance(p);
            double const level = std::floor(lum * levels + 0.5);
            bool const isTold = lum > 0 && std::fabs(std::remainder(lum * levels + 0.5, 1.0)) > 1e-4;
            return isTold ? EachColor(p, [&](std::size_t c) { return p[c] * level / (levels * lum); }) : kUndecided;
        });
    }
}

TEST_F(ColorEffectsTest, RetroColorsFollowTheirTables) {
    using Row = std::array<double, 4>;
    static constexpr std::array<std::array<Row, 3>, 2> kMatrices{
        {{Row{1.066, 0.083, -0.056, -0.026129}, Row{-0.047, 0.943, -0.015, 0.084137},
          Row{-0.022, 0.034, 0.496, 0.239627}},
         {Row{0.785, 0.017, 0.011, 0.100941}, Row{-0.007, 0.867, 0.008, 0.055247},
          Row{-0.005, -0.010, 0.854, 0.018427}}}};
    for (int const mode : {-3, 0, 1, 2, 3, 4}) {
        ExpectColors(fmt::format("EffectRetroColors mode={}", mode), [mode](Rgba const& p) {
            return EachColor(p, [&](std::size_t i) {
                if (mode == 2) {
                    return 0.114 * p[0] + 0.587 * p[1] + 0.299 * p[2];
                }
                if (mode > 2) {
                    static constexpr std::array kPowers{1 - 90 / 255.0, 1 - 30 / 255.0, 1 + 150 / 255.0};
                    return std::pow(0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2], kPowers[i]);
                }
                Row const& row = kMatrices[mode == 1 ? 1 : 0][i];
                return row[0] * p[0] + row[1] * p[1] + row[2] * p[2] + row[3];
            });
        });
    }
}

TEST_F(ColorEffectsTest, OpacityScalesAlphaAndAlwaysGivesIt) {
    Picture const opaque = Run("EffectOpacity opacity=0.3", Picture::Noise(21, 34));
    EXPECT_TRUE(opaque.hasAlpha);
    EXPECT_NEAR(opaque.At(3, 3)[3], 0.3, kUnfiltered);
    Picture const input = Picture::Noise(21, 34, true);
    Picture expected = input;
    for (Rgba& pixel : expected.pixels) {
        pixel[3] *= 0.3;
    }
    EXPECT_TRUE(IsNear(Run("EffectOpacity opacity=0.3", input), expected, kUnfiltered));
}

TEST_F(ColorEffectsTest, FadeScalesAlphaWhereThereIsOneElseTheColor) {
    for (double const progress : {-0.5, 0.0, 0.35, 1.0, 1.5}) {
        double const level = std::clamp(progress, 0.0, 1.0);  // a blend colour is clamped by the GL
        Expect("EffectVideoFadeInFadeOut",
               [&](Picture input) {
                   for (Rgba& p : input.pixels) {
                       p = input.hasAlpha ? Rgba{p[0], p[1], p[2], p[3] * level}
                                          : EachColor(p, [&](std::size_t c) { return p[c] * level; });
                   }
                   return input;
               },
               level == 1.0 || level == 0.0 ? 0.0 : kUnfiltered, {.progress = progress});
    }
}

Rgba HsvToRgb(double hue, double saturation, double value) {
    static constexpr std::array kShifts{1.0, 2.0 / 3.0, 1.0 / 3.0};
    Rgba result{};
    for (std::size_t i = 0; i < 3; ++i) {
        double const turn = hue + kShifts[i];
        double const ramp = std::fabs((turn - std::floor(turn)) * 6.0 - 3.0) - 1.0;
        result[i] = value * (1.0 + (std::clamp(ramp, 0.0, 1.0) - 1.0) * saturation);
    }
    return result;
}

TEST_F(ColorEffectsTest, PopArtPrintsTilesOfFewLevels) {
    struct Print {
        double saturation, hue, offset, levels, amount;
    };
    for (Print const& print : {Print{0.8, 0.0, 0.15, 3, 2}, {1.0, 0.7, 0.3, 5, 1}, {0.5, 0.25, 0.0, 2, 3}}) {
        std::string const settings = fmt::format("EffectPopArt saturation={} hue={} offset={} levels={} amount={}",
                                                 print.saturation, print.hue, print.offset, print.levels, print.amount);
        // Large enough that the blurs of 0.002 and 0.02 differ.
        for (auto const& [width, height] : {Size{210, 120}, Size{120, 210}}) {
            Picture const input = Picture::Corners(width, height, width < height);
            Picture const blurred = Run("EffectBlurGaussian scale=0.002", input);
            Picture const expected = ForEachPixel(input, [&](double left, double up) {
                double const s = left * print.amount;
                double const t = up * print.amount;
                Rgba const orig = blurred.Sample(s - std::floor(s), t - std::floor(t));
                double const step = (Luminance(orig) - print.offset) * print.levels;
                if (std::fabs(std::remainder(step, 1.0)) < 0.008 * print.levels) {
                    return kUndecided;
                }
                double hue =
                    print.hue + (std::floor(s) * print.amount + std::floor(t)) * 3.5 / (print.amount * print.amount);
                double lum = print.offset + (std::floor(step) + 0.5) / print.levels;
                if (lum <= print.offset) {
                    hue += 0.2;
                    lum = print.offset * 1.5;
                }
                Rgba pixel = HsvToRgb(hue - std::floor(hue), print.saturation, std::min(1.0, lum));
                pixel[3] = orig[3];
                return pixel;
            });
            EXPECT_TRUE(IsNear(Run(settings, input), expected, kFiltered)) << settings;
        }
    }
    // A line on grey: with little blur it stays above the threshold; with 0.02, the embedded blur's default, it does
    // not.
    Picture line = Picture::Flat(300, 60, {0.3, 0.3, 0.3, 1});
    for (unsigned y = 0; y < 60; ++y) {
        line.At(150, y) = {1, 1, 1, 1};
    }
    Picture const printed = Run("EffectPopArt saturation=0 offset=0 levels=2 amount=1", line);
    EXPECT_NEAR(printed.At(150, 30)[0], 0.75, kFiltered) << "the line is the upper of the two levels";
    EXPECT_NEAR(printed.At(10, 30)[0], 0.25, kFiltered);
}

}  // namespace
}  // namespace Kaltor::Tests
