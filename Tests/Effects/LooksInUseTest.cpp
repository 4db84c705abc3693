// What editors see of looks in use: how they begin and end, whether the time is used, what becomes of cut-outs.

#include <algorithm>
#include <cmath>
#include <set>

#include <fmt/format.h>

#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

class LooksInUseTest : public EffectFixture {
protected:
    static constexpr Rgba kClear{0, 0, 0, 0};

    /// Soft shapes, as in a picture out of doors: noise would show every pixel's move as a jump.
    static Picture MakeShapes(unsigned width, unsigned height, double turn) {
        return Picture::Make(width, height, false, [&](unsigned x, unsigned y) {
            double const s = 6.0 * (x + 0.5) / width;
            double const t = 4.0 * (y + 0.5) / height;
            return Rgba{0.5 + 0.4 * std::sin(s + turn), 0.5 + 0.4 * std::sin(t + 2 * turn),
                        0.5 + 0.4 * std::sin(s - t + 3 * turn), 1};
        });
    }
    /// Mean over all channels, 0 to 255.
    static double Differ(Picture const& a, Picture const& b) {
        double sum = 0.0;
        for (std::size_t i = 0; i < a.pixels.size(); ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                sum += std::fabs(a.pixels[i][c] - b.pixels[i][c]);
            }
        }
        return 255.0 * sum / (3.0 * static_cast<double>(a.pixels.size()));
    }
    template <std::size_t Channel>
    static double Mean(Picture const& picture) {
        double sum = 0.0;
        for (Rgba const& p : picture.pixels) {
            sum += p[Channel];
        }
        return sum / static_cast<double>(picture.pixels.size());
    }
};

TEST_F(LooksInUseTest, TransitionsBeginAndEndWithoutAJump) {
    Picture const from = MakeShapes(192, 108, 0.3);
    Picture const to = MakeShapes(192, 108, 1.7);
    for (char const* const name :
         {"Aperture", "Bokeh",      "Bounce",      "BurnAway",   "CardFlip",     "ColorStagger", "FilmBurn",
          "FilmSlip", "GodRays",    "GlowFlash",   "Hexagons",   "Kaleidoscope", "LensWarp",     "LightLeak",
          "Liquid",   "LumaMorph",  "LumaWipe",    "PaperTear",  "Raindrops",    "ReededGlass",  "SlitScan",
          "Smoke",    "SmoothPush", "SmoothSlide", "SmoothSpin", "SmoothZoom",   "Strips",       "TvSwitch",
          "Vortex",   "WhipPan",    "ZoomBlur"}) {
        std::string const settings = fmt::format("Transition{}", name);
        EXPECT_LT(Differ(Run(settings, from, to, {.progress = 0.01}), from), 2.0) << settings;
        EXPECT_LT(Differ(Run(settings, from, to, {.progress = 0.99}), to), 2.0) << settings;
    }
}

TEST_F(LooksInUseTest, RevealsUseTheTime) {
    for (bool const isPortrait : {false, true}) {
        Picture const black = Picture::Flat(isPortrait ? 90 : 160, isPortrait ? 160 : 90, {0, 0, 0, 1});
        Picture const white = Picture::Flat(black.width, black.height, {1, 1, 1, 1});
        for (char const* const settings : {"BurnAway sparks=0", "PaperTear", "LumaWipe", "LumaWipe map=hexagons",
                                           "LumaWipe map=diamonds", "LumaWipe map=clouds", "LumaWipe map=spiral"}) {
            std::string const name = fmt::format("Transition{}", settings);
            auto const shown = [&](double progress) {
                return Mean<1>(Run(name, black, white, {.progress = progress}));
            };
            EXPECT_GT(shown(0.25), 0.025) << name;
            EXPECT_LT(shown(0.7), 0.985) << name;
            EXPECT_GT(shown(0.97), 0.96) << name << ": the end is no jump";
        }
    }
}

TEST_F(LooksInUseTest, CutOutsStayCutOuts) {
    Picture const clear = Picture::Flat(80, 60, kClear, true);
    Picture const red = Picture::Flat(80, 60, {1, 0, 0, 1}, true);
    EXPECT_EQ(Mean<3>(Run("TransitionPaperTear", clear, clear, {.progress = 0.5})), 0.0) << "paper has its core";
    // Between a picture and nothing there is no side.
    for (auto const& [settings, progress] :
         {std::pair{"TransitionMosaic num=1 shadow=0", 0.5}, {"TransitionTwist", 0.5}}) {
        auto const cover = [&, settings = settings, progress = progress](double thickness) {
            return Mean<3>(
                Run(fmt::format("{} thickness={}", settings, thickness), red, clear, {.progress = progress}));
        };
        EXPECT_LT(cover(0.1), cover(0.0) + 0.002) << settings;
    }
    // A card in the middle of its turn is narrow, and there is nothing beside it.
    EXPECT_LT(Mean<3>(Run("TransitionCardFlip", red, red, {.progress = 0.42})), 0.8);
    // A television's tube is dark glass: nothing shines through it.
    EXPECT_GT(Mean<3>(Run("TransitionTvSwitch", clear, clear, {.progress = 0.3})), 0.99);
}

TEST_F(LooksInUseTest, ALampOutOfFocusIsOneEvenDisc) {
    Picture const night = Picture::Make(640, 360, false, [](unsigned x, unsigned y) {
        bool const isLamp = x >= 319 && x <= 320 && y >= 179 && y <= 180;
        return isLamp ? Rgba{1, 1, 1, 1} : Rgba{0, 0, 0, 1};
    });
    Picture const drawn = Run("EffectLensBlur blades=0 boost=1 radius=0.04", night);
    double least = 1.0;
    double most = 0.0;
    double outside = 0.0;
    for (unsigned y = 100; y < 260; ++y) {
        for (unsigned x = 240; x < 400; ++x) {
            double const r = std::hypot(x + 0.5 - 320, y + 0.5 - 180) / (0.04 * 640);
            double const light = drawn.At(x, y)[1];
            if (r < 0.75) {
                least = std::min(least, light);
                most = std::max(most, light);
            } else if (r > 1.35) {
                outside = std::max(outside, light);
            }
        }
    }
    EXPECT_GT(most, 0.03);
    EXPECT_GT(least, 0.3 * most) << "copies of the lamp are seen, not a disc";
    EXPECT_LT(outside, 0.01);
}

TEST_F(LooksInUseTest, LinesAreSortedInPiecesOfTheirOwn) {
    // As many samples as pixels, all of which take part: two pieces in each column at most.
    Picture const input = Picture::Noise(16, 48);
    Picture const sorted = Run("EffectPixelSort length=1 threshold=0", input);
    std::set<unsigned> cuts;
    for (unsigned x = 0; x < 16; ++x) {
        std::multiset<double> before;
        std::multiset<double> after;
        unsigned falls = 0;
        for (unsigned y = 0; y < 48; ++y) {
            before.insert(std::round(255 * input.At(x, y)[1]));
            after.insert(std::round(255 * sorted.At(x, y)[1]));
            if (y > 0 && Luminance(sorted.At(x, y)) > Luminance(sorted.At(x, y - 1)) + kUnfiltered) {
                ++falls;
                cuts.insert(y);
            }
        }
        EXPECT_LE(falls, 1U) << x;
        ASSERT_EQ(before, after) << "column " << x << " has other pixels";
    }
    EXPECT_GE(cuts.size(), 4U) << "columns are cut at one height, which shows as a line";
}

TEST_F(LooksInUseTest, LightKeepsTheShapesOfAPicture) {
    // All of it shines: a haze, no white-out.
    Picture const bright = Picture::Flat(160, 90, {0.75, 0.75, 0.75, 1});
    double const hazy = Run("EffectGodRays", bright).At(80, 20)[1];
    EXPECT_GT(hazy, 0.76);
    EXPECT_LT(hazy, 0.9);
    // One bright bar in the dark still casts its shaft.
    Picture const bar = Picture::Make(160, 90, false, [](unsigned x, unsigned y) {
        double const v = x >= 76 && x < 84 && y < 40 ? 1.0 : 0.1;
        return Rgba{v, v, v, 1};
    });
    Picture const shaft = Run("EffectGodRays", bar);
    EXPECT_GT(shaft.At(80, 60)[1], shaft.At(110, 60)[1] + 0.2);
    // Gravel of the contrast of a contour is no contour.
    auto const glow = [](auto const& at) {
        Picture const drawn = Run("EffectEdgeGlow dim=1 glow=0", Picture::Make(320, 180, false, at));
        return Mean<1>(drawn);
    };
    double const contour = glow([](unsigned x, unsigned) {
        double const v = x < 160 ? 0.4 : 0.7;
        return Rgba{v, v, v, 1};
    });
    Picture const noise = Picture::Noise(320, 180);
    double const gravel = glow([&](unsigned x, unsigned y) {
        double const v = noise.At(x, y)[0] < 0.5 ? 0.4 : 0.7;
        return Rgba{v, v, v, 1};
    });
    EXPECT_GT(contour, 0.004);
    EXPECT_LT(gravel, 0.35) << contour;
}

TEST_F(LooksInUseTest, LightDriftsOnInLongClips) {
    Picture const grey = Picture::Flat(96, 54, {0.3, 0.3, 0.3, 1});
    // Where the noise under the clouds comes round, and where all octaves of the clouds do.
    for (auto const& [settings, time] : {std::pair{"EffectLightLeak speed=1 seed=1", 512.0},
                                         {"EffectLightLeak speed=1 seed=1", 102382.3},
                                         {"EffectFilmBurn speed=1 seed=1 flicker=0.1", 512.0},
                                         {"EffectFilmBurn speed=1 seed=1 flicker=0.1", 51197.0}}) {
        Picture const before = Run(settings, grey, {.seconds = time - 0.01});
        Picture const after = Run(settings, grey, {.seconds = time + 0.01});
        EXPECT_GT(Differ(before, grey), 5.0) << settings << " at " << time;
        EXPECT_LT(Differ(before, after), 3.0) << settings << " at " << time;
    }
}

TEST_F(LooksInUseTest, NeonLinesOfSharpAndSoftContoursAreOfOneWidth) {
    struct Line {
        double peak = 0.0;
        unsigned width = 0;
    };
    auto const draw = [&](double soft) {
        Picture const drawn =
            Run("EffectEdgeGlow dim=1 glow=0 width=0.005", Picture::Make(640, 40, false, [soft](unsigned x, unsigned) {
                    double const v = 0.1 + 0.8 * SmoothStep(320.0 - 0.5 * soft, 320.0 + 0.5 * soft, x);
                    return Rgba{v, v, v, 1.0};
                }));
        Line line;
        for (unsigned x = 0; x < 640; ++x) {
            line.peak = std::max(line.peak, drawn.At(x, 20)[2]);
        }
        for (unsigned x = 0; x < 640; ++x) {
            line.width += drawn.At(x, 20)[2] > 0.5 * line.peak ? 1U : 0U;
        }
        return line;
    };
    Line const sharp = draw(1.0);
    Line const softer = draw(8.0);
    EXPECT_GT(sharp.peak, 0.7);
    EXPECT_GT(softer.peak, 0.5 * sharp.peak);
    EXPECT_GE(sharp.width, 2U);
    EXPECT_LE(softer.width, sharp.width + 3U);
}

}  // namespace
}  // namespace Kaltor::Tests
