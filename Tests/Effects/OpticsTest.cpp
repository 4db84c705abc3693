// What light, motion and edges do in effects whose pictures are no formula of one pixel: discs of light, motion blur,
// thickness, streaks.

#include <algorithm>
#include <cmath>
#include <numbers>

#include <fmt/format.h>

#include "Host/Plugin.h"
#include "Proc/Interfaces/IEffect.h"
#include "Tests/Support/Caught.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using OpticsTest = TransitionFixture;

TEST_F(OpticsTest, TiltShiftSpreadsLightOverDiscsAndLeavesEvenAreas) {
    // A white square of 4 pixels a side far outside of the band becomes a disc of 0.02 of the larger side.
    for (Size const& size : {Size{640, 360}, Size{360, 640}}) {
        unsigned const atX = size.width / 2;
        unsigned const atY = size.height / 8;
        Picture const point = Picture::Make(size.width, size.height, false, [&](unsigned x, unsigned y) {
            bool const isLit = x - atX + 2 < 4 && y - atY + 2 < 4;
            return isLit ? Rgba{1, 1, 1, 1} : Rgba{0, 0, 0, 1};
        });
        double const radius = 0.02 * 640;
        for (double const highlights : {0.0, 0.5}) {
            Picture const drawn =
                Run(fmt::format("EffectTiltShiftQEL size=0 feather=0.1 saturation=1 highlights={}", highlights), point);
            double const curve = 1.0 - std::exp2(-6.0 * highlights);
            double const light = 16.0 / (std::numbers::pi * radius * radius) / (1.0 - curve);
            double const expected = std::sqrt(light / (1.0 + curve * light));
            double inside = 0.0;
            double count = 0.0;
            for (int dy = -24; dy <= 24; ++dy) {
                for (int dx = -24; dx <= 24; ++dx) {
                    double const away = std::hypot(dx + 0.5, dy + 0.5) / radius;
                    double const value = drawn.At(atX + static_cast<unsigned>(dx), atY + static_cast<unsigned>(dy))[1];
                    if (away < 0.75) {
                        inside += value;
                        count += 1.0;
                    } else if (away > 1.6) {
                        // A Gaussian, or a mean of colours, would be above this out here.
                        ASSERT_LT(value, 0.02) << dx << ", " << dy;
                    }
                }
            }
            // Samples weigh a small point unevenly.
            EXPECT_NEAR(inside / count, expected, 0.12 * expected) << highlights << ", width " << size.width;
        }
    }
    Picture const even = Picture::Flat(64, 36, {0.9, 0.5, 0.02, 1});
    EXPECT_TRUE(IsNear(Run("EffectTiltShiftQEL size=0 highlights=1 saturation=1", even), even, kUnfiltered));
}

TEST_F(OpticsTest, PanAndZoomBlursAlongItsWay) {
    Picture const line = Picture::Make(320, 180, false, [](unsigned x, unsigned) {
        return x >= 158 && x < 162 ? Rgba{1, 1, 1, 1} : Rgba{0, 0, 0, 1};
    });
    // At twice the size, 0.8 of the width in the whole move; the shutter is open for a tenth of it.
    std::string const settings = "EffectPanAndZoom startX=0.3 endX=0.7 startZoom=2 endZoom=2 smooth=false blur=";
    Picture const drawn = Run(settings + "0.1", line, {.progress = 0.5});
    double sum = 0.0;
    double first = 0.0;
    for (unsigned x = 0; x < 320; ++x) {
        sum += drawn.At(x, 90)[0];
        first += drawn.At(x, 90)[0] * (x + 0.5);
    }
    EXPECT_NEAR(sum, 8.0, 0.5) << "light is neither lost nor made";
    EXPECT_NEAR(first / sum, 160.0, 0.5) << "around the middle of the time";
    for (unsigned x = 160 - 8; x < 160 + 8; ++x) {
        EXPECT_NEAR(drawn.At(x, 90)[0], 8.0 / 25.6, 0.06) << x;
    }
    EXPECT_LT(drawn.At(160 - 20, 90)[0] + drawn.At(160 + 20, 90)[0], 0.02);
}

TEST_F(OpticsTest, TilesHaveSidesAndThrowShadows) {
    Picture const first = Picture::Flat(120, 120, {1, 0.2, 0, 1});
    Picture const second = Picture::Flat(120, 120, {0, 0.2, 1, 1});
    auto const draw = [&](std::string const& settings) {
        return Run("TransitionMosaic num=1 " + settings, first, second, {.progress = 0.5});
    };
    // Seen edge-on. Its side is 0.8 in front of the middle of the turn: larger, as perspective has it.
    double const high = 60.0 * 0.2 * 2.0 * 4.0 / (4.0 - 0.8);
    for (auto const& [axis, isAcross] : {std::pair{"horizontal", true}, {"vertical", false}}) {
        for (bool const isThick : {false, true}) {
            Picture const drawn = draw(fmt::format("background=black axis={} thickness={}", axis, isThick ? 0.2 : 0.0));
            double rows = 0.0;
            double red = 0.0;
            double blue = 0.0;
            for (unsigned i = 0; i < 120; ++i) {
                Rgba const& pixel = isAcross ? drawn.At(60, i) : drawn.At(i, 60);
                rows += pixel[1] > 0.03 ? 1.0 : 0.0;
                red = std::max(red, pixel[0] - pixel[2]);
                blue = std::max(blue, pixel[2] - pixel[0]);
            }
            EXPECT_NEAR(rows, isThick ? high : 0.0, 2.0) << axis;
            EXPECT_EQ(std::min(red, blue) > 0.15, isThick) << axis << ": from one picture's colour to the other's";
        }
    }
    Picture const bare = draw("thickness=0 shadow=0");
    Picture const shaded = draw("thickness=0 shadow=1");
    EXPECT_LT(shaded.At(60, 78)[1], 0.6 * bare.At(60, 78)[1]) << "below the tile";
    EXPECT_NEAR(shaded.At(60, 8)[1], bare.At(60, 8)[1], kUnfiltered) << "far from it";
}

TEST_F(OpticsTest, BadTrackingTearsTheTapeIntoStreaks) {
    Picture const grey = Picture::Flat(960, 480, {0.4, 0.4, 0.4, 1});
    double lit = 0.0;
    double runs = 0.0;
    for (double const seconds : {2.0, 3.0, 4.0}) {
        Picture const drawn = Run("EffectVHS strength=0 noise=0 scanlines=0 tracking=1", grey, {.seconds = seconds});
        for (unsigned y = 0; y < drawn.height; ++y) {
            for (unsigned x = 1; x < drawn.width; ++x) {
                bool const isLit = std::fabs(drawn.At(x, y)[1] - 0.4) > 0.1;
                lit += isLit ? 1.0 : 0.0;
                runs += isLit && std::fabs(drawn.At(x - 1, y)[1] - 0.4) <= 0.1 ? 1.0 : 0.0;
            }
        }
    }
    ASSERT_GT(runs, 100.0);
    EXPECT_GT(lit / runs, 7.5) << "pixels a streak: pepper";
}

TEST_F(OpticsTest, FadedDyesTurnShadowsRed) {
    std::string const settings = "EffectRetroArtefacts scratches=0 dust=0 flicker=0 weave=0 vignette=0 grain=0 fade=";
    auto const fade = [&](double level, double amount) {
        return Run(settings + std::to_string(amount), Picture::Flat(8, 8, {level, level, level, 1})).At(4, 4);
    };
    Rgba const dark = fade(0.2, 0.8);
    EXPECT_NEAR(dark[0], (1.0 - 0.8 * 0.02) * std::pow(0.2, 1.0 - 0.8 * 0.5), kUnfiltered);
    EXPECT_GT(dark[0], dark[2] + 0.05);
    EXPECT_GT(dark[2], dark[1]) << "magenta is the stablest";
    Rgba const white = fade(1.0, 0.8);
    EXPECT_GT(white[0], white[1]);
    EXPECT_GT(white[1], white[2]) << "the base is stained yellow";
    EXPECT_GT(fade(0.0, 0.8)[0], 0.05) << "black is not deep any more";
}

TEST_F(OpticsTest, FilmLeavesTheSurroundingsOfCutOutsTransparent) {
    for (bool const hasAlpha : {false, true}) {
        Picture const input = Picture::Flat(160, 90, {0.8, 0.5, 0.2, 1}, hasAlpha);
        Rgba const corner = Run("EffectFilmStrip size=0.3", input).At(1, 45);
        EXPECT_EQ(corner[3], hasAlpha ? 0.0 : 1.0);
        EXPECT_EQ(corner[0] > 0.1, !hasAlpha) << "the picture itself, blurred and dark";
    }
}

TEST_F(OpticsTest, LumaWipesFollowAPicturesGrey) {
    // Dark first: from the lower left on; the file's own size does not matter.
    Picture const map = Picture::Make(40, 20, false, [](unsigned x, unsigned y) {
        double const v = (x / 39.0 + (19 - y) / 19.0) / 2.0;
        return Rgba{v, v, v, 1};
    });
    std::vector<std::string> read;
    auto const registry = Host::MakeRegistry([&](std::string const& path) {
        read.push_back(path);
        return map.ToFrame();
    });
    auto const transition = registry->GetFactory()->CreateTwoInputEffect("TransitionLumaWipe", Proc::ImplNames::OGL);
    Picture const first = Picture::Flat(120, 60, {1, 0, 0, 1});
    Picture const second = Picture::Flat(120, 60, {0, 0, 1, 1});
    for (bool const isReverse : {false, true}) {
        transition->SetSettings(
            *Typed(fmt::format("TransitionLumaWipe file=grey.png softness=0.1 reverse={}", isReverse)));
        Picture const drawn = DrawNext(*transition, first, second, 0.4);
        for (auto const& [x, y] : {std::pair{10U, 55U}, {60U, 30U}, {40U, 40U}, {100U, 5U}}) {
            double const grey = Luminance(map.Sample((x + 0.5) / 120, 1 - (y + 0.5) / 60));
            double const late = isReverse ? 1.0 - grey : grey;
            double const share = SmoothStep(late, late + 0.1, 0.4 * 1.1);
            EXPECT_NEAR(drawn.At(x, y)[2], share, 0.06) << x << ", " << y << (isReverse ? " reverse" : "");
        }
    }
    EXPECT_EQ(read, std::vector<std::string>{"grey.png"}) << "once";
    // Here nobody reads pictures.
    EXPECT_THROW(MakeTransition(*Typed("TransitionLumaWipe file=grey.png")), std::invalid_argument);
}

TEST_F(OpticsTest, TransformBlendsWithItsBackground) {
    double const under = 0.8;
    auto const expect = [&](std::string const& blend, auto const& meet) {
        Picture const drawn =
            Run("EffectTransform color=#CC3300 blend=" + blend, Picture::Make(16, 9, true, [](unsigned x, unsigned) {
                    return Rgba{0.3, 0.6, 0.9, x < 8 ? 1.0 : 0.5};
                }));
        std::array const below{under, 0.2, 0.0};
        for (std::size_t c = 0; c < 3; ++c) {
            double const over = std::array{0.3, 0.6, 0.9}[c];
            double const met = std::clamp(meet(over, below[c]), 0.0, 1.0);
            EXPECT_NEAR(drawn.At(3, 4)[c], met, 2.0 * kUnfiltered) << blend << ", channel " << c;
            EXPECT_NEAR(drawn.At(12, 4)[c], 0.5 * (met + below[c]), 2.0 * kUnfiltered) << blend << ", channel " << c;
        }
    };
    expect("normal", [](double over, double) { return over; });
    expect("add", [](double over, double below) { return over + below; });
    expect("multiply", [](double over, double below) { return over * below; });
    expect("screen", [](double over, double below) { return over + below - over * below; });
    expect("overlay", [](double over, double below) {
        return below < 0.5 ? 2.0 * over * below : 1.0 - 2.0 * (1.0 - over) * (1.0 - below);
    });
}

}  // namespace
}  // namespace Kaltor::Tests
