// What effects do beyond one formula for each pixel: edges taken apart, whole pixels, strokes, defocus.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include <fmt/format.h>

#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using EffectFormsTest = EffectFixture;

/// A disc with an edge of `soft` pixels and a thin bar, in a colour of their own, over an unevenly lit screen.
struct Composite {
    Composite(Rgba const& front, double soft) : truth(320, 180, true), shown(320, 180) {
        for (unsigned y = 0; y < shown.height; ++y) {
            for (unsigned x = 0; x < shown.width; ++x) {
                double const disc = 60.0 - std::hypot(x - 120.0, y - 95.0);
                double const bar = 3.0 - std::fabs(0.8 * (x - 250.0) + 0.6 * (y - 90.0));
                double const alpha = std::clamp(std::max(disc, bar) / soft + 0.5, 0.0, 1.0);
                double const light = 0.9 + 0.2 * x / shown.width;
                Rgba const screen{0.02 * light, 0.75 * light, 0.25 * light, 1};
                truth.At(x, y) = {front[0], front[1], front[2], alpha};
                shown.At(x, y) = Mix(screen, front, alpha);
            }
        }
    }
    Picture truth, shown;
};

TEST_F(EffectFormsTest, ChromakeyFindsAlphaAndColourOfEdges) {
    for (Rgba const& front :
         {Rgba{0.8, 0.6, 0.48, 1}, {0.9, 0.9, 0.9, 1}, {0.1, 0.08, 0.09, 1}, {0.2, 0.25, 0.7, 1}, {0.7, 0.1, 0.1, 1}}) {
        for (double const soft : {1.5, 4.0}) {
            Composite const composite(front, soft);
            Picture const keyed = Run("EffectChromakey color=#05C040", composite.shown);
            double error = 0.0;
            double rims = 0.0;
            std::array<double, 3> rim{};
            for (std::size_t i = 0; i < keyed.pixels.size(); ++i) {
                Rgba const& truth = composite.truth.pixels[i];
                Rgba const& found = keyed.pixels[i];
                error += std::fabs(found[3] - truth[3]);
                if (truth[3] > 0.05 && truth[3] < 0.95) {
                    for (std::size_t c = 0; c < 3; ++c) {
                        rim[c] += (found[c] - truth[c]) * found[3];
                    }
                    rims += found[3];
                }
            }
            std::string const of =
                fmt::format("front {:.2f} {:.2f} {:.2f}, edge {}", front[0], front[1], front[2], soft);
            EXPECT_LT(error / static_cast<double>(keyed.pixels.size()), 0.02) << of;
            for (std::size_t c = 0; c < 3; ++c) {
                EXPECT_NEAR(rim[c] / rims, 0.0, 6.0 / 255.0) << of << ", channel " << c;
            }
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
