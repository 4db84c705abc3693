#include <cmath>
#include <functional>

#include "Proc/Settings/SettingsColorEffects.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;

double Luminance(Rgba const& p) {
    return 0.2126 * p[0] + 0.7152 * p[1] + 0.0722 * p[2];
}

/// Each channel but alpha by a function of the channel's number and value.
Rgba EachColor(Rgba const& p, std::function<double(std::size_t, double)> const& map) {
    return {map(0, p[0]), map(1, p[1]), map(2, p[2]), p[3]};
}

class ColorEffectsTest : public GlTest {
protected:
    using Formula = std::function<Rgba(Rgba const&)>;

    /// Noise, landscape and portrait, with and without alpha, against the formula. A pixel that it gives as not a
    /// number is undecided: rounding tips it over.
    static void ExpectPerPixel(Settings const& settings, Formula const& formula, double tolerance = kUnfiltered,
                               Moment const& moment = {}) {
        for (auto const& [width, height] : {std::pair{33U, 18U}, {18U, 33U}}) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Noise(width, height, hasAlpha);
                Picture const actual = Run(settings, input, moment);
                std::size_t undecided = 0;
                Picture const expected = Picture::Make(width, height, hasAlpha, [&](unsigned x, unsigned y) {
                    Rgba const pixel = formula(input.At(x, y));
                    undecided += std::isnan(pixel[0]) ? 1 : 0;
                    return std::isnan(pixel[0]) ? actual.At(x, y) : pixel;
                });
                EXPECT_TRUE(IsNear(actual, expected, tolerance)) << settings.GetClassId() << " alpha " << hasAlpha;
                EXPECT_EQ(actual.hasAlpha, hasAlpha);
                EXPECT_LE(undecided, 3U);
            }
        }
    }
    static Rgba Undecided() { return {std::nan(""), 0, 0, 0}; }
    static bool IsNearWhole(double value) { return std::fabs(value - std::round(value)) < 1e-4; }
};

TEST_F(ColorEffectsTest, BurnBendsEachChannelAlongASine) {
    for (double const strength : {0.0, 0.4, 1.0}) {
        SettingsEffectColorMixBurn settings;
        settings.SetStrength(strength);
        ExpectPerPixel(
            settings,
            [&](Rgba const& p) {
                return EachColor(
                    p, [&](std::size_t, double c) { return c + (std::sin((c - 0.5) * M_PI) - c) * strength; });
            },
            strength == 0.0 ? 0.0 : kUnfiltered);
    }
}

TEST_F(ColorEffectsTest, DistinguishKeepsChannelsNearTheColor) {
    for (auto const& [color, separation] : {std::pair<Color, Color>{{255, 64, 32, 255}, {4, 4, 4, 255}},
                                            {{200, 128, 0, 255}, {1, 0, 9, 255}},
                                            {{0, 255, 129, 255}, {0, 255, 3, 0}}}) {
        SettingsEffectColorMixDistinguish settings;
        settings.SetColor(color);
        settings.SetSeparation(separation);
        std::array const wanted{color.red, color.green, color.blue};
        std::array const sharpness{separation.red, separation.green, separation.blue};
        ExpectPerPixel(settings, [&](Rgba const& p) {
            return EachColor(p, [&](std::size_t i, double c) {
                double const cut = std::exp(-std::fabs(c - (wanted[i] - 128.0) / 128.0) * sharpness[i]);
                return Luminance(p) + (c * 1.1 - Luminance(p)) * cut;
            });
        });
    }
}

TEST_F(ColorEffectsTest, ExchangeInvertsEachChannelByItsOwnAmount) {
    SettingsEffectColorMixExchange settings;
    settings.SetColor({255, 40, 128, 9});
    std::array const amount{1.0, 40 / 255.0, 128 / 255.0};
    ExpectPerPixel(settings, [&](Rgba const& p) {
        return EachColor(p, [&](std::size_t i, double c) { return c + (1.0 - 2.0 * c) * amount[i]; });
    });
}

TEST_F(ColorEffectsTest, FieldFillsWhatIsBrighterThanTheThreshold) {
    for (auto const& [threshold, contrast] : {std::pair{0.5, 0.5}, {0.3, 0.8}, {0.0, 0.2}}) {
        SettingsEffectColorMixField settings;
        settings.SetThreshold(threshold);
        settings.SetContrast(contrast);
        settings.SetColor({255, 200, 51, 255});
        ExpectPerPixel(settings, [&, threshold = threshold, contrast = contrast](Rgba const& p) -> Rgba {
            double const lum = Luminance(p);
            if (std::fabs(lum - threshold) < 1e-4) {
                return Undecided();
            }
            double const fill = std::clamp(lum + 2.0 * contrast - 1.0, 0.0, 1.0);
            return lum > threshold ? Rgba{fill, fill * 200 / 255, fill * 51 / 255, p[3]} : p;
        });
    }
    // Exactly at the threshold nothing is filled.
    SettingsEffectColorMixField settings;
    settings.SetThreshold(0.0);
    settings.SetContrast(1.0);
    Picture const black = Picture::Flat(4, 4, {0, 0, 0, 1});
    EXPECT_TRUE(IsNear(Run(settings, black), black, 0.0));
}

TEST_F(ColorEffectsTest, PosterizeScalesTheLuminanceToALevel) {
    for (int const levels : {1, 4, 255}) {
        SettingsEffectPosterize settings;
        settings.SetLevels(levels);
        ExpectPerPixel(settings, [&](Rgba const& p) -> Rgba {
            double const lum = Luminance(p);
            if (lum == 0.0 || IsNearWhole(lum * levels + 0.5)) {
                return Undecided();
            }
            return EachColor(
                p, [&](std::size_t, double c) { return c * std::floor(lum * levels + 0.5) / (levels * lum); });
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
    auto const byMatrix = [](std::size_t number) {
        return [number](Rgba const& p) {
            return EachColor(p, [&](std::size_t i, double) {
                Row const& row = kMatrices[number][i];
                return row[0] * p[0] + row[1] * p[1] + row[2] * p[2] + row[3];
            });
        };
    };
    auto const gray = [](Rgba const& p) {
        return EachColor(p, [&](std::size_t, double) { return 0.114 * p[0] + 0.587 * p[1] + 0.299 * p[2]; });
    };
    auto const sepia = [](Rgba const& p) {
        static constexpr std::array kPowers{1 - 90 / 255.0, 1 - 30 / 255.0, 1 + 150 / 255.0};
        double const y = 0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2];
        return EachColor(p, [&](std::size_t i, double) { return std::pow(y, kPowers[i]); });
    };
    std::array<std::pair<int, Formula>, 6> const modes{
        {{-3, byMatrix(0)}, {0, byMatrix(0)}, {1, byMatrix(1)}, {2, gray}, {3, sepia}, {4, sepia}}};
    for (auto const& [mode, formula] : modes) {
        SettingsEffectRetroColors settings;
        settings.SetMode(mode);
        SCOPED_TRACE(mode);
        ExpectPerPixel(settings, formula);
    }
}

TEST_F(ColorEffectsTest, InvertComplementsColorsAndKeepsAlpha) {
    ExpectPerPixel(
        SettingsEffectInvert(),
        [](Rgba const& p) { return EachColor(p, [](std::size_t, double c) { return 1.0 - c; }); }, 0.0);
}

TEST_F(ColorEffectsTest, OpacityScalesAlphaAndAlwaysGivesIt) {
    for (double const opacity : {0.0, 0.3, 1.0}) {
        SettingsEffectOpacity settings;
        settings.SetOpacity(opacity);
        for (bool const hasAlpha : {false, true}) {
            Picture const input = Picture::Noise(21, 34, hasAlpha);
            Picture expected = input;
            for (Rgba& pixel : expected.pixels) {
                pixel[3] *= opacity;
            }
            Picture const actual = Run(settings, input);
            EXPECT_TRUE(actual.hasAlpha);
            EXPECT_TRUE(IsNear(actual, expected, opacity == 1.0 ? 0.0 : kUnfiltered)) << opacity << " " << hasAlpha;
        }
    }
}

TEST_F(ColorEffectsTest, FadeScalesAlphaWhereThereIsOneElseTheColor) {
    for (double const progress : {-0.5, 0.0, 0.35, 1.0, 1.5}) {
        double const level = std::clamp(progress, 0.0, 1.0);  // a blend colour is clamped by the GL
        for (bool const hasAlpha : {false, true}) {
            Picture const input = Picture::Noise(30, 17, hasAlpha);
            Picture expected = input;
            for (Rgba& pixel : expected.pixels) {
                for (std::size_t i = hasAlpha ? 3 : 0; i < (hasAlpha ? 4U : 3U); ++i) {
                    pixel[i] *= level;
                }
            }
            Picture const actual = Run(SettingsEffectVideoFadeInFadeOut(), input, {.progress = progress});
            EXPECT_TRUE(IsNear(actual, expected, level == 1.0 || level == 0.0 ? 0.0 : kUnfiltered)) << progress;
        }
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
        double saturation, hue, offset;
        int levels, amount;
    };
    for (Print const& print : {Print{0.8, 0.0, 0.15, 3, 2}, {1.0, 0.7, 0.3, 5, 1}, {0.5, 0.25, 0.0, 2, 3}}) {
        SettingsEffectPopArt settings;
        settings.SetSaturation(print.saturation);
        settings.SetHue(print.hue);
        settings.SetOffset(print.offset);
        settings.SetLevels(print.levels);
        settings.SetAmount(print.amount);
        // Large enough for the blurs of 0.002 and 0.02 to be different ones.
        for (auto const& [width, height] : {std::pair{210U, 120U}, {120U, 210U}}) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Corners(width, height, hasAlpha);
                SettingsEffectBlurGaussian blur;
                blur.SetScale(0.002);
                Picture const blurred = Run(blur, input);
                Picture const actual = Run(settings, input);
                std::size_t undecided = 0;
                Picture const expected = Picture::Make(width, height, hasAlpha, [&](unsigned x, unsigned y) -> Rgba {
                    double const s = (x + 0.5) / width * print.amount;
                    double const t = (height - y - 0.5) / height * print.amount;
                    Rgba const orig = blurred.Sample(s - std::floor(s), t - std::floor(t));
                    double const step = (Luminance(orig) - print.offset) * print.levels;
                    if (std::fabs(step - std::round(step)) < 0.01 * print.levels) {
                        ++undecided;
                        return actual.At(x, y);
                    }
                    double hue = print.hue +
                                 (std::floor(s) * print.amount + std::floor(t)) * 3.5 / (print.amount * print.amount);
                    double lum = print.offset + (std::floor(step) + 0.5) / print.levels;
                    if (lum <= print.offset) {
                        hue += 0.2;
                        lum = print.offset * 1.5;
                    }
                    Rgba pixel = HsvToRgb(hue - std::floor(hue), print.saturation, std::min(1.0, lum));
                    pixel[3] = orig[3];
                    return pixel;
                });
                EXPECT_TRUE(IsNear(actual, expected, kFiltered)) << print.amount;
                EXPECT_LT(undecided, input.pixels.size() / 4);
            }
        }
    }
}

TEST_F(ColorEffectsTest, PopArtBlursByItsOwnScaleOnly) {
    // A line on grey: with little blur its luminance stays above the threshold's, with the embedding's 0.02 it drowns.
    Picture input = Picture::Flat(300, 60, {0.3, 0.3, 0.3, 1});
    for (unsigned y = 0; y < 60; ++y) {
        input.At(150, y) = {1, 1, 1, 1};
    }
    SettingsEffectPopArt settings;
    settings.SetSaturation(0.0);
    settings.SetOffset(0.0);
    settings.SetLevels(2);
    settings.SetAmount(1);
    Picture const actual = Run(settings, input);
    EXPECT_NEAR(actual.At(150, 30)[0], 0.75, kFiltered) << "the line is the upper of the two levels";
    EXPECT_NEAR(actual.At(10, 30)[0], 0.25, kFiltered);
}

}  // namespace
}  // namespace Kaltor::Tests
