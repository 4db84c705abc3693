// What effects do beyond one formula for each pixel: edges taken apart, whole pixels, strokes, defocus.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string>
#include <tuple>

#include <fmt/format.h>

#include "Tests/Support/FrameSamples.h"
#include "Tests/Support/GlTools.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using EffectFormsTest = EffectFixture;

/// A disc with strands like hair, whose lower part may have another colour, and a thin bar, with edges of `soft`
/// pixels, of textured cloth, over an unevenly lit screen, with a camera's noise. With `glass` a white pane of that
/// alpha takes the bar's place.
struct Composite {
    Composite(Rgba const& front, Rgba const& screen, double soft) : Composite(front, front, screen, soft, 0.0) {}
    Composite(Rgba const& upper, Rgba const& lower, Rgba const& screen, double soft, double glass)
        : truth(640, 360, true), shown(640, 360) {
        Picture const noise = Picture::Noise(shown.width, shown.height);
        for (unsigned y = 0; y < shown.height; ++y) {
            for (unsigned x = 0; x < shown.width; ++x) {
                double const disc = 90.0 - std::hypot(x - 200.0, y - 190.0);
                double const bar = 5.0 - std::fabs(0.8 * (x - 480.0) + 0.6 * (y - 180.0));
                double const pane = glass * std::clamp(100.0 - std::hypot(x - 480.0, y - 180.0), 0.0, 1.0);
                double const solid = std::max(disc, glass > 0.0 ? disc : bar);
                double const alpha = std::max({std::clamp(solid / soft + 0.5, 0.0, 1.0), GetStrand(x, y), pane});
                Rgba const& front = pane > 0.0 ? Rgba{0.9, 0.9, 0.9, 1.0} : y < 190 ? upper : lower;
                double const cloth = 1.0 + 0.12 * std::sin(0.21 * x) * std::sin(0.17 * y);
                double const light = 0.88 + 0.24 * x / shown.width;
                for (std::size_t c = 0; c < 3; ++c) {
                    truth.At(x, y)[c] = std::min(front[c] * cloth, 1.0);
                    double const mixed = truth.At(x, y)[c] * alpha + screen[c] * light * (1.0 - alpha);
                    shown.At(x, y)[c] = std::clamp(mixed + 4.0 / 255.0 * (noise.At(x, y)[c] - 0.5), 0.0, 1.0);
                }
                shown.At(x, y)[3] = 1.0;
                truth.At(x, y)[3] = alpha;
            }
        }
    }

    /// Forty strands that stand out of the disc and end in a point.
    static double GetStrand(double x, double y) {
        constexpr double kStep = 2.0 * M_PI / 40.0;
        double const radius = std::hypot(x - 200.0, y - 190.0);
        double const off = std::remainder(std::atan2(y - 190.0, x - 200.0), kStep);
        double const half = 2.2 * std::min(1.0 - (radius - 90.0) / 60.0, 1.0);
        return radius < 80.0 || half <= 0.0
                   ? 0.0
                   : std::clamp(half - radius * std::fabs(std::sin(off)) + 0.5, 0.0, 1.0) * std::min(2.0 * half, 1.0);
    }

    Picture truth, shown;
};

/// How far a keyed picture is from the truth.
struct Rim {
    Rim(Picture const& keyed, Picture const& composite) {
        double pixels = 0.0;
        for (std::size_t i = 0; i < keyed.pixels.size(); ++i) {
            Rgba const& truth = composite.pixels[i];
            Rgba const& found = keyed.pixels[i];
            error += std::fabs(found[3] - truth[3]) / static_cast<double>(keyed.pixels.size());
            if (truth[3] < 0.1 || truth[3] > 0.95) {
                continue;
            }
            double here = 0.0;
            for (double const back : {0.0, 0.5, 1.0}) {
                for (std::size_t c = 0; c < 3; ++c) {
                    here += std::fabs((found[c] - back) * found[3] - (truth[c] - back) * truth[3]) / 9.0;
                }
            }
            off += here;
            good += here <= 12.0 / 255.0 ? 1.0 : 0.0;
            pixels += 1.0;
        }
        off /= pixels;
        good /= pixels;
    }

    double error = 0.0;  ///< of alpha, mean of all pixels
    double off = 0.0;    ///< of pixels with an alpha of 0.1 to 0.95, over black, grey and white
    double good = 0.0;   ///< the share of those that are off by no more than 12/255
};

/// Chroma after BT.709, a sample for each 2 x 2 pixels, enlarged linearly.
Picture WithSubsampledChroma(Picture const& picture) {
    auto const mean = [&](long x, long y, std::size_t c) {
        double sum = 0.0;
        for (long i = 0; i < 4; ++i) {
            auto const at = [](long pair, long offset, unsigned size) {
                return static_cast<unsigned>(std::clamp(2 * pair + offset, 0L, static_cast<long>(size) - 1));
            };
            Rgba const& p = picture.At(at(x, i % 2, picture.width), at(y, i / 2, picture.height));
            sum += (p[c] - Luminance(p)) / 4.0;
        }
        return sum;
    };
    return Picture::Make(picture.width, picture.height, false, [&](unsigned x, unsigned y) {
        auto const chroma = [&](std::size_t c) {
            long const left = (static_cast<long>(x) - 1) >> 1;
            long const top = (static_cast<long>(y) - 1) >> 1;
            double const right = x % 2 == 0 ? 0.75 : 0.25;
            double const below = y % 2 == 0 ? 0.75 : 0.25;
            return (mean(left, top, c) * (1.0 - right) + mean(left + 1, top, c) * right) * (1.0 - below) +
                   (mean(left, top + 1, c) * (1.0 - right) + mean(left + 1, top + 1, c) * right) * below;
        };
        double const luma = Luminance(picture.At(x, y));
        double const red = chroma(0);
        double const blue = chroma(2);
        double const green = -(0.2126 * red + 0.0722 * blue) / 0.7152;
        auto const limit = [luma](double difference) { return std::clamp(luma + difference, 0.0, 1.0); };
        return Rgba{limit(red), limit(green), limit(blue), 1.0};
    });
}

TEST_F(EffectFormsTest, ChromakeyFindsAlphaAndColourOfEdges) {
    struct Screen {
        char const* key;
        Rgba color;
    };
    Screen const dull{"#29A845", {0.16, 0.66, 0.27, 1}};
    Screen const vivid{"#05BF40", {0.02, 0.75, 0.25, 1}};
    Screen const blue{"#1A38B8", {0.10, 0.22, 0.72, 1}};
    for (auto const& [front, screen] : {std::pair{Rgba{0.8, 0.6, 0.48, 1}, dull},
                                        {{0.88, 0.88, 0.88, 1}, vivid},
                                        {{0.1, 0.08, 0.09, 1}, dull},
                                        {{0.62, 0.68, 0.18, 1}, dull},
                                        {{0.25, 0.62, 0.7, 1}, dull},
                                        {{0.2, 0.25, 0.7, 1}, vivid},
                                        {{0.7, 0.1, 0.1, 1}, blue}}) {
        for (double const soft : {1.5, 8.0}) {
            Composite const composite(front, screen.color, soft);
            Rim const rim(Run(fmt::format("EffectChromakey color={}", screen.key), composite.shown), composite.truth);
            SCOPED_TRACE(fmt::format("front {:.2f} {:.2f} {:.2f}, screen {}, edge {}", front[0], front[1], front[2],
                                     screen.key, soft));
            EXPECT_LE(rim.error, 0.002);
            EXPECT_LE(rim.off, 2.5 / 255.0);
            EXPECT_GE(rim.good, 0.95) << "pixels within 12/255";
        }
    }
}

// Where colours meet, strands have either, and no mean of both. Glass has a solid part of its colour only far away.
TEST_F(EffectFormsTest, ChromakeyTellsColoursOfForegroundsApart) {
    Rgba const dull{0.16, 0.66, 0.27, 1};
    Rgba const blue{0.10, 0.22, 0.72, 1};
    Rgba const dark{0.06, 0.05, 0.05, 1};
    Rgba const skin{0.8, 0.6, 0.48, 1};
    for (auto const& [upper, lower, screen, glass] : {std::tuple{dark, Rgba{0.9, 0.7, 0.05, 1}, blue, 0.0},
                                                      {skin, Rgba{0.2, 0.25, 0.7, 1}, dull, 0.0},
                                                      {Rgba{0.9, 0.9, 0.9, 1}, skin, dull, 0.35},
                                                      {Rgba{0.9, 0.9, 0.9, 1}, dark, dull, 0.5}}) {
        std::string const key = screen == blue ? "#1A38B8" : "#29A845";
        Composite const composite(upper, lower, screen, 1.5, glass);
        Rim const rim(Run("EffectChromakey color=" + key, composite.shown), composite.truth);
        SCOPED_TRACE(
            fmt::format("upper {:.2f} {:.2f} {:.2f}, key {}, glass {}", upper[0], upper[1], upper[2], key, glass));
        EXPECT_LE(rim.error, 0.005);
        EXPECT_LE(rim.off, 3.5 / 255.0);
        EXPECT_GE(rim.good, 0.97) << "pixels within 12/255";
    }
}

// Between strands, most of what passes for bare screen is a mix with a strand. The key is duller than the screen, and
// so nearer to such a mix.
TEST_F(EffectFormsTest, ChromakeyFindsTheScreenBetweenStrands) {
    Picture const noise = Picture::Noise(1280, 60);
    auto const mix = [&](unsigned x, unsigned y, Rgba const& screen) {
        double const off = std::fabs(std::remainder(x + 0.3 * y - 4.0, 8.0));
        double const strand = x < 620 ? std::clamp(1.9 - off, 0.0, 1.0) : 0.0;
        double const alpha = x <= 300 ? 1.0 : strand;
        Rgba mixed{0.6, 0.68, 0.8, alpha};
        if (screen[3] > 0.0) {
            for (std::size_t c = 0; c < 3; ++c) {
                mixed[c] = mixed[c] * alpha + screen[c] * (1.0 - alpha) + 4.0 / 255.0 * (noise.At(x, y)[c] - 0.5);
            }
            mixed[3] = 1.0;
        }
        return mixed;
    };
    auto const make = [&](Rgba const& screen) {
        return Picture::Make(1280, 60, true, [&](unsigned x, unsigned y) { return mix(x, y, screen); });
    };
    Rim const rim(Run("EffectChromakey color=#2A43AE spill=0", make({0.1, 0.22, 0.72, 1.0})), make({}));
    EXPECT_LE(rim.off, 2.2 / 255.0);
    EXPECT_LE(rim.error, 0.0015);
}

// Half as many samples of chroma in each direction blur the edges of strands. Even with the true alpha and the true
// screen, what is left of them is off by 9/255; the foreground's chroma from a few pixels around is nearer.
TEST_F(EffectFormsTest, ChromakeyLosesNoMoreThanSubsampledChromaHasLost) {
    Rgba const screen{0.16, 0.66, 0.27, 1};
    Composite const composite({0.3, 0.2, 0.13, 1}, screen, 1.5);
    Picture const shown = WithSubsampledChroma(composite.shown);
    Picture unmixed = composite.truth;
    for (std::size_t i = 0; i < unmixed.pixels.size(); ++i) {
        double const light = 0.88 + 0.24 * static_cast<double>(i % unmixed.width) / unmixed.width;
        double const alpha = unmixed.pixels[i][3];
        for (std::size_t c = 0; c < 3; ++c) {
            double const own = shown.pixels[i][c] - screen[c] * light * (1.0 - alpha);
            unmixed.pixels[i][c] = std::clamp(own / std::max(alpha, 0.05), 0.0, 1.0);
        }
    }
    Rim const keyed(Run("EffectChromakey color=#29A845", shown), composite.truth);
    Rim const best(unmixed, composite.truth);
    EXPECT_LE(keyed.error, 0.007);
    EXPECT_LE(keyed.off, 0.8 * best.off) << "best " << best.off * 255.0;
}

/// Video with a sample of chroma for each 2 x 2 pixels, on the left column between the rows.
boost::intrusive_ptr<Proc::DataVideoFF> ToVideo(Picture const& picture) {
    ColorSpec const spec{ColorMatrix::Bt709, ColorRange::Limited};
    auto const at = [&](long x, long y) {
        return Encode(spec, picture.At(static_cast<unsigned>(std::clamp(x, 0L, picture.width - 1L)),
                                       static_cast<unsigned>(std::clamp(y, 0L, picture.height - 1L))));
    };
    return MakeYuv(PixFmt::Yuv420p, picture.width, picture.height, spec, [&](double x, double y) {
        long const left = std::lround(std::floor(x));
        long const row = std::lround(std::floor(y));
        if (y > static_cast<double>(row)) {
            return at(left, row);
        }
        Codes mean{};
        for (long i = 0; i < 8; ++i) {  // 1 : 2 : 1
            Codes const code = at(left + (i % 4 + 1) / 2 - 1, row - i / 4);
            for (std::size_t c = 0; c < 3; ++c) {
                mean[c] += code[c] / 8.0;
            }
        }
        return mean;
    });
}

// Chroma has lost what is finer than two pixels, but luma has not. Red before blue and cyan before green hardly differ
// in luma.
TEST_F(EffectFormsTest, ChromakeyTakesTheEdgesOfVideoFromLuma) {
    Rgba const dull{0.16, 0.66, 0.27, 1};
    Rgba const vivid{0.02, 0.75, 0.25, 1};
    Rgba const blue{0.10, 0.22, 0.72, 1};
    Rgba const skin{0.8, 0.6, 0.48, 1};
    Rgba const white{0.9, 0.9, 0.9, 1};
    Rgba const dark{0.06, 0.05, 0.05, 1};
    struct Case {
        Rgba upper, lower, screen;
        double glass, off;
    };
    for (Case const& shot : {Case{skin, skin, dull, 0.0, 7.0},
                             {white, white, vivid, 0.0, 4.7},
                             {dark, dark, dull, 0.0, 4.9},
                             {{0.62, 0.68, 0.18, 1}, {0.62, 0.68, 0.18, 1}, dull, 0.0, 7.0},
                             {{0.2, 0.25, 0.7, 1}, {0.2, 0.25, 0.7, 1}, vivid, 0.0, 5.7},
                             {dark, {0.9, 0.7, 0.05, 1}, blue, 0.0, 7.6},
                             {skin, {0.2, 0.25, 0.7, 1}, dull, 0.0, 6.6},
                             {{0.25, 0.62, 0.7, 1}, {0.25, 0.62, 0.7, 1}, dull, 0.0, 10.2},
                             {{0.7, 0.1, 0.1, 1}, {0.7, 0.1, 0.1, 1}, blue, 0.0, 14.6},
                             {white, skin, dull, 0.35, 4.6},
                             {white, dark, dull, 0.5, 3.3}}) {
        std::string const key = shot.screen == blue ? "#1A38B8" : shot.screen == vivid ? "#05BF40" : "#29A845";
        Composite const composite(shot.upper, shot.lower, shot.screen, 1.5, shot.glass);
        for (Ogl::FrameStrategy const& strategy : {kSoftwareStrategy, kGpuStrategy}) {
            ScopedStrategy const scoped(strategy);
            boost::intrusive_ptr<Proc::IDataVideo> data = ToVideo(composite.shown);
            MakeEffect(*Typed("EffectChromakey color=" + key))->Process(data);
            Rim const rim(Picture::FromFrame(*Download(data)), composite.truth);
            EXPECT_LE(rim.off, shot.off / 255.0)
                << fmt::format("lower {:.2f} {:.2f} {:.2f}, key {}, glass {}: {:.2f} of 255", shot.lower[0],
                               shot.lower[1], shot.lower[2], key, shot.glass, 255.0 * rim.off);
        }
    }
}

TEST_F(EffectFormsTest, ErosionTakesWholePixelsByLuma) {
    for (auto const& [mode, shape, radius] : {std::tuple{0, 0, 2L}, {1, 1, 2L}, {0, 1, 5L}, {1, 0, 9L}}) {
        Picture const input = Picture::Noise(200, 30);
        auto const luma = [](Rgba const& c) { return Luminance(c) + 3.0e-5 * c[0] - 2.0e-5 * c[2]; };
        Picture const expected =
            Picture::Make(200, 30, false, [&, mode = mode, shape = shape, radius = radius](unsigned x, unsigned y) {
                Rgba best = input.At(x, y);
                for (long dy = -radius; dy <= radius; ++dy) {
                    for (long dx = -radius; dx <= radius; ++dx) {
                        Rgba const& there = input.At(static_cast<unsigned>(std::clamp(x + dx, 0L, 199L)),
                                                     static_cast<unsigned>(std::clamp(y + dy, 0L, 29L)));
                        bool const isWithin = shape == 0 || dx * dx + dy * dy <= radius * radius + radius;
                        if (isWithin && (mode == 0 ? luma(there) < luma(best) : luma(there) > luma(best))) {
                            best = there;
                        }
                    }
                }
                return best;
            });
        std::string const settings = fmt::format("EffectErosion mode={} shape={} size={}", mode, shape,
                                                 (static_cast<double>(radius) + 0.3) / 200.0);
        for (Ogl::FrameStrategy const& strategy : {kSoftwareStrategy, kGpuStrategy}) {
            ScopedStrategy const scoped(strategy);
            EXPECT_TRUE(IsNear(Run(settings, input), expected, 0.0)) << settings;
        }
    }
}

TEST_F(EffectFormsTest, StrokesPaintThePictureWithoutAFade) {
    Picture const input = Picture::Flat(192, 108, {0.2, 0.5, 0.8, 1});
    double before = 0.0;
    for (double const progress : {0.15, 0.3, 0.6, 0.97}) {
        Picture const drawn = Run("EffectColorBrush wet=0 paper=0", input, {.progress = progress});
        double painted = 0.0;
        double between = 0.0;
        for (Rgba const& pixel : drawn.pixels) {  // the drawing of a flat picture is white
            painted += pixel[0] < 0.6 ? 1.0 : 0.0;
            between += pixel[0] > 0.3 && pixel[0] < 0.9 ? 1.0 : 0.0;
        }
        auto const count = static_cast<double>(drawn.pixels.size());
        EXPECT_LT(between / count, 0.15) << "a fade at " << progress;
        EXPECT_GT(painted / count, before) << progress;
        before = painted / count;
    }
    EXPECT_EQ(before, 1.0) << "before the end";
}

TEST_F(EffectFormsTest, StripesOfGlassShowThePictureItself) {
    // Where all is the same, glass is not seen; blends act on what is below.
    Picture const flat = Picture::Flat(64, 36, {0.3, 0.6, 0.2, 0.5}, true);
    for (char const* const blend : {"displace", "blur"}) {
        EXPECT_TRUE(IsNear(Run(fmt::format("EffectStripes blend={} gradient=0 color=#FFFFFF00", blend), flat), flat,
                           kFiltered + kUnfiltered))
            << blend;
    }
    auto const blended = [&](char const* blend) {
        return Run(fmt::format("EffectStripes fill=1 variation=0 gradient=0 color=#FF8000 blend={}", blend), flat)
            .At(30, 20);
    };
    Rgba const top{1, 128 / 255.0, 0, 1};
    auto const expect = [&](char const* blend, std::function<double(double, double)> const& mix) {
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(blended(blend)[c], mix(flat.pixels[0][c], top[c]), kUnfiltered) << blend << " " << c;
        }
    };
    expect("multiply", [](double a, double b) { return a * b; });
    expect("screen", [](double a, double b) { return a + b - a * b; });
    expect("overlay", [](double a, double b) { return a < 0.5 ? 2 * a * b : 1 - 2 * (1 - a) * (1 - b); });
    expect("soft-light", [](double a, double b) {
        double const d = a > 0.25 ? std::sqrt(a) : ((16 * a - 12) * a + 4) * a;
        return b <= 0.5 ? a - (1 - 2 * b) * a * (1 - a) : a + (2 * b - 1) * (d - a);
    });
    expect("invert", [](double a, double b) { return std::fabs(b - a); });
}

TEST_F(EffectFormsTest, BackdropsAreOfThePictureAndLeaveCutOutsAlone) {
    Rgba const color{0.8, 0.4, 0.2, 1};
    for (auto const& [settings, at, dark] : {std::tuple{"EffectZoom zoom=0.5", std::array{4U, 18U}, 0.6},
                                             {"EffectPanAndZoom startZoom=0.5 endZoom=0.5", {4U, 18U}, 0.6},
                                             {"TransitionTwist thickness=0", {32U, 2U}, 0.42}}) {
        for (bool const hasAlpha : {false, true}) {
            Picture const input = Picture::Flat(64, 36, color, hasAlpha);
            bool const isTransition = settings[0] == 'T';
            Picture const drawn = isTransition ? Run(settings, input, input, {.progress = 0.5}) : Run(settings, input);
            Rgba const& pixel = drawn.At(at[0], at[1]);
            for (std::size_t c = 0; c < 3; ++c) {
                EXPECT_NEAR(hasAlpha ? pixel[3] : pixel[c], hasAlpha ? 0.0 : dark * color[c], kFiltered) << settings;
            }
        }
    }
}

TEST_F(EffectFormsTest, KaleidoscopeReflectsASectorAllAround) {
    Picture const drawn = Run("EffectMirror axis=kaleidoscope segments=8 turn=20", Picture::Corners(64, 64));
    for (unsigned y = 0; y < 64; ++y) {
        for (unsigned x = 0; x < 64; ++x) {
            for (Rgba const& twin : {drawn.At(63 - x, y), drawn.At(x, 63 - y), drawn.At(y, x)}) {
                for (std::size_t c = 0; c < 3; ++c) {
                    ASSERT_NEAR(drawn.At(x, y)[c], twin[c], 2 * kFiltered) << x << ", " << y;
                }
            }
        }
    }
    EXPECT_FALSE(
        IsNear(Run("EffectMirror axis=kaleidoscope segments=12 turn=20", Picture::Corners(64, 64)), drawn, 0.1));
}

TEST_F(EffectFormsTest, SharpenLeavesFaintDetailAndWidensWithThePicture) {
    for (unsigned const width : {100U, 200U}) {
        // A step of 0.4 and one of 0.02.
        Picture const input = Picture::Make(width, 16, false, [&](unsigned x, unsigned) {
            double const value = x < width / 4 ? 0.30 : x < width * 3 / 4 ? 0.32 : 0.72;
            return Rgba{value, value, value, 1};
        });
        Picture const drawn = Run("EffectSharpen radius=0.03 strength=1 threshold=0.03", input);
        unsigned const reach = width * 3 / 100;
        EXPECT_NEAR(drawn.At(width / 4, 8)[0], 0.32, kUnfiltered) << "the faint step";
        EXPECT_LT(drawn.At(width * 3 / 4 - 1, 8)[0], 0.25) << "before the step";
        EXPECT_GT(drawn.At(width * 3 / 4, 8)[0], 0.78) << "behind it";
        EXPECT_GT(drawn.At(width * 3 / 4 + reach / 4, 8)[0], 0.73) << "as far as the radius";
        EXPECT_NEAR(drawn.At(width * 3 / 4 + 3 * reach, 8)[0], 0.72, kUnfiltered) << "and no farther";
    }
}

}  // namespace
}  // namespace Kaltor::Tests
