// Filters over a neighbourhood against their formulas, computed here in double precision with pixels clamped to the
// edge. Neighbours are weighted by alpha.

#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

Rgba const& AtClamped(Picture const& picture, long x, long y) {
    return picture.At(static_cast<unsigned>(std::clamp(x, 0L, static_cast<long>(picture.width) - 1)),
                      static_cast<unsigned>(std::clamp(y, 0L, static_cast<long>(picture.height) - 1)));
}

/// Each pixel by its place.
Picture MapPlaces(Picture const& input, std::function<Rgba(unsigned x, unsigned y)> const& at) {
    return Picture::Make(input.width, input.height, input.hasAlpha, at);
}

using FilterEffectsTest = EffectFixture;

TEST_F(FilterEffectsTest, SharpenAddsOneLimitedDeltaOfLuma) {
    constexpr std::array<std::array<int, 3>, 2> kWeights{{{2, 1, 0}, {6, 4, 1}}};
    for (int const kernel : {0, 1}) {
        for (double const strength : {0.6, 4.0}) {
            Expect(fmt::format("EffectSharpen kernel={} strength={} radius=0 threshold=0", kernel, strength),
                   [&](Picture const& input) {
                       return MapPlaces(input, [&](unsigned x, unsigned y) {
                           Rgba const& here = input.At(x, y);
                           double detail = 0.0;
                           double low = 0.0;
                           double high = 0.0;
                           for (int dy = -kernel - 1; dy <= kernel + 1; ++dy) {
                               for (int dx = -kernel - 1; dx <= kernel + 1; ++dx) {
                                   Rgba const& there = AtClamped(input, long{x} + dx, long{y} + dy);
                                   double const over = there[3] * (Luminance(there) - Luminance(here));
                                   detail -= over * kWeights[kernel][std::abs(dx)] * kWeights[kernel][std::abs(dy)] /
                                             (kernel == 0 ? 16.0 : 256.0);
                                   low = std::min(low, over);
                                   high = std::max(high, over);
                               }
                           }
                           double const margin = (high - low) / 2.0;
                           double const delta = std::clamp(strength * detail, low - margin, high + margin);
                           return EachColor(here, [&](std::size_t c) { return here[c] + delta; });
                       });
                   });
        }
    }
}

/// The mean over `side` pixels around each, along one axis after the other, in premultiplied alpha.
Picture AverageOver(Picture const& input, double side) {
    auto const along = [side](Picture const& from, bool isFirst) {
        return Picture::Make(from.width, from.height, from.hasAlpha, [&](unsigned x, unsigned y) {
            Rgba sum{};
            for (long i = -4; i <= 4; ++i) {
                double const weight = std::clamp(side / 2.0 + 0.5 - std::abs(i), 0.0, 1.0) / side;
                Rgba const& there = AtClamped(from, long{x} + (isFirst ? i : 0), long{y} + (isFirst ? 0 : i));
                for (std::size_t c = 0; c < 4; ++c) {
                    sum[c] += weight * there[c] * (isFirst && c < 3 ? there[3] : 1.0);
                }
            }
            return isFirst || sum[3] == 0.0 ? sum : Rgba{sum[0] / sum[3], sum[1] / sum[3], sum[2] / sum[3], sum[3]};
        });
    };
    return along(along(input, true), false);
}

/// How much ink there is, with the operator's cells `cell` pixels wide.
double FindInk(Picture const& averaged, unsigned x, unsigned y, double cell, double scale, double strength,
               double threshold) {
    auto const at = [&](int dx, int dy) {
        return averaged.Sample((x + 0.5 + dx * cell) / averaged.width, 1.0 - (y + 0.5 + dy * cell) / averaged.height);
    };
    double most = 0.0;
    for (std::size_t c = 0; c < 3; ++c) {
        double const here = averaged.At(x, y)[c];
        auto const tap = [&](int dx, int dy) { return (at(dx, dy)[c] - here) * at(dx, dy)[3]; };
        double gx = 0.0;
        double gy = 0.0;
        for (int i = -1; i <= 1; ++i) {
            double const weight = i == 0 ? 10.0 / 16.0 : 3.0 / 16.0;
            gx += weight * (tap(1, i) - tap(-1, i));
            gy += weight * (tap(i, 1) - tap(i, -1));
        }
        most = std::max(most, std::hypot(gx, gy));
    }
    double const over = std::max(most * scale / (0.35 + 0.9 * Luminance(averaged.At(x, y))) - threshold, 0.0);
    return 1.0 - std::exp(-10.0 * strength * (over == 0.0 ? 0.0 : over * over / (over + 0.5 * threshold)));
}

TEST_F(FilterEffectsTest, FindEdgesDrawsTheScharrGradientOverItsCells) {
    for (bool const isInverted : {false, true}) {
        Expect(fmt::format("EffectFindEdges inverted={} strength=0.2 threshold=0.15 smoothing=0", isInverted),
               [isInverted](Picture const& input) {
                   return MapPlaces(input, [&](unsigned x, unsigned y) {
                       double const ink = FindInk(input, x, y, 1.0, 0.5, 0.2, 0.15);
                       return EachColor(input.At(x, y), [&](std::size_t) { return isInverted ? 1.0 - ink : ink; });
                   });
               });
    }
    for (unsigned const width : {1200U, 1920U, 3648U}) {
        Picture const input = Picture::Noise(width, 9, width == 1920);
        Picture const averaged = AverageOver(input, width / 960.0);
        Picture const expected = MapPlaces(input, [&](unsigned x, unsigned y) {
            double const ink = FindInk(averaged, x, y, width / 960.0, 1.0, 0.05, 0.05);
            return EachColor(input.At(x, y), [&](std::size_t) { return 1.0 - ink; });
        });
        // Averages have 8 bits; where alpha is small, their colours are less exact.
        EXPECT_TRUE(
            IsNear(Run("EffectFindEdges strength=0.05 threshold=0.05 smoothing=0", input), expected, 2.5 / 255.0))
            << width;
    }
}

TEST_F(FilterEffectsTest, ErosionIsTheExtremumOverSquareOrDisc) {
    auto const check = [](Picture const& input, long radius, int mode, int shape) {
        std::string const settings = fmt::format("EffectErosion mode={} shape={} size={} channels=true", mode, shape,
                                                 (radius + 0.4) / std::max(input.width, input.height));
        Picture const expected = MapPlaces(input, [&](unsigned x, unsigned y) {
            Rgba best = input.At(x, y);
            for (long dy = -radius; dy <= radius; ++dy) {
                for (long dx = -radius; dx <= radius; ++dx) {
                    if (shape == 0 || static_cast<double>(dx * dx + dy * dy) <= std::pow(radius + 0.5, 2)) {
                        Rgba const& there = AtClamped(input, x + dx, y + dy);
                        for (std::size_t c = 0; c < 3; ++c) {
                            best[c] = mode == 0 ? std::min(best[c], 1.0 - there[3] * (1.0 - there[c]))
                                                : std::max(best[c], there[3] * there[c]);
                        }
                    }
                }
            }
            return best;
        });
        for (Ogl::FrameStrategy const& strategy : {kSoftwareStrategy, kGpuStrategy}) {
            ScopedStrategy const scoped(strategy);
            EXPECT_TRUE(IsNear(Run(settings, input), expected, input.hasAlpha ? kUnfiltered : 0.0))
                << settings << " of radius " << radius << (strategy.areFetchesDear ? ", software" : ", GPU");
        }
    };
    for (int const mode : {0, 1}) {
        for (int const shape : {0, 1}) {
            // Few specks, so that every pixel of a neighbourhood counts.
            for (unsigned const radius : {1U, 2U, 3U, 8U, 24U, 25U, 44U}) {
                if (radius == 44 && (mode == 0 || shape == 0)) {
                    continue;  // one case with so many pixels is enough
                }
                // As long as the largest size needs it; along one axis and then along the other.
                unsigned const length = std::max(61U, 20U * radius + 8U);
                unsigned const breadth = radius > 8 ? 12 : 50;
                Picture const noise =
                    Picture::Noise(mode == 0 ? length : breadth, mode == 0 ? breadth : length, false, 5);
                Picture const specks = MapPlaces(noise, [&](unsigned x, unsigned y) {
                    long const number = std::lround(noise.At(x, y)[0] * 255 + noise.At(x, y)[1] * 65025);
                    bool const isSpeck = number % (4 * radius * radius) == 0;
                    return isSpeck == (mode == 0) ? Rgba{0.2, 0.4, 0.0, 1} : Rgba{0.8, 0.6, 1.0, 1};
                });
                check(specks, radius, mode, shape);
            }
            check(Picture::Noise(20, 61, true), 2, mode, shape);
        }
    }
}

/// Cb and Cr after ITU-R BT.709.
std::array<double, 2> GetChroma(Rgba const& p) {
    return {(p[2] - Luminance(p)) / 1.8556, (p[0] - Luminance(p)) / 1.5748};
}

TEST_F(FilterEffectsTest, ChromakeyUnmixesTheKey) {
    for (auto const& [color, key] : {std::pair{"#00C040", Rgba{0, 192 / 255.0, 64 / 255.0, 1}},
                                     {"#141EFA", {20 / 255.0, 30 / 255.0, 250 / 255.0, 1}}}) {
        auto const [keyBlue, keyRed] = GetChroma(key);
        auto const clean = [&, key = key, keyBlue = keyBlue, keyRed = keyRed](Rgba const& p) {
            auto const [blue, red] = GetChroma(p);
            double const stays = SmoothStep(0.15, 0.55, std::hypot(blue - keyBlue, red - keyRed));
            double const share =
                std::clamp((blue * keyBlue + red * keyRed) / (keyBlue * keyBlue + keyRed * keyRed), 0.0, 1.0);
            double const mixed = std::min((1.0 - stays) * share, 0.9);
            double const taken = share * (1.0 - 0.3 * stays);
            Rgba cleaned = EachColor(p, [&](std::size_t c) {
                return p[c] - taken * (key[c] - Luminance(key)) +
                       (Luminance(p) - Luminance(key)) * mixed / (1.0 - mixed);
            });
            cleaned[3] *= stays;
            return cleaned;
        };
        ExpectColors(fmt::format("EffectChromakey color={} tolerance=0.15 softness=0.4 spill=0.7 unmix=false", color),
                     clean);
    }
}

TEST_F(FilterEffectsTest, ChromakeyTakesShadowsOfTheScreenAndLeavesWhatIsNotGreen) {
    std::array<Rgba, 4> const screen{Rgba{0, 192, 64, 255}, {0, 150, 50, 255}, {0, 100, 34, 255}, {40, 215, 90, 255}};
    std::array<Rgba, 4> const actor{
        Rgba{204, 153, 122, 255}, {30, 20, 15, 255}, {250, 250, 250, 255}, {180, 20, 30, 255}};
    Picture const input = Picture::Make(4, 2, false, [&](unsigned x, unsigned y) {
        Rgba const& p = y == 0 ? screen[x] : actor[x];
        return Rgba{p[0] / 255.0, p[1] / 255.0, p[2] / 255.0, 1.0};
    });
    Picture const keyed = Run("EffectChromakey unmix=false", input);
    for (unsigned x = 0; x < 4; ++x) {
        EXPECT_EQ(keyed.At(x, 0)[3], 0.0) << "screen " << x;
        EXPECT_EQ(keyed.At(x, 1), input.At(x, 1)) << "actor " << x;
    }
}

TEST_F(FilterEffectsTest, ColorBrushPaintsFromTheDrawingToThePicture) {
    std::string const brush = " angle=-20 size=5 rough=30";
    for (double const progress : {0.0, 0.6, 1.0}) {
        Expect("EffectColorBrush style=sweep" + brush,
               [&](Picture const& input) {
                   Picture const drawing = Run("EffectFindEdges", input);
                   return progress == 0.0   ? drawing
                          : progress == 1.0 ? input
                                            : Run("TransitionWaterbrush type=1" + brush, drawing, input, {progress});
               },
               progress == 0.6 ? kUnfiltered : 0.0, {.progress = progress});
    }
}

TEST_F(FilterEffectsTest, OilPaintKeepsEdgesCrispAndEvensOutNoise) {
    Rgba const left{0.8, 0.3, 0.2, 1.0};
    Rgba const right{0.2, 0.5, 0.4, 1.0};
    // A radius below one lattice pixel, one whose lattice has every pixel, and radii with coarser lattices.
    for (double const radius : {0.4, 4.0, 36.0}) {
        for (double const angle : {0.0, 0.6, M_PI / 2.0}) {
            auto const width = static_cast<unsigned>(std::max(299.0, std::ceil(radius / 0.03)));
            auto const distance = [&](unsigned x, unsigned y) {
                return (x - 0.5 * (width - 1.0)) * std::cos(angle) + (y - 80.0) * std::sin(angle);
            };
            Picture const noise = Picture::Noise(width, 161);
            Picture const input = Picture::Make(width, 161, false, [&](unsigned x, unsigned y) {
                Rgba const& side = distance(x, y) < 0.0 ? left : right;
                return EachColor(side, [&](std::size_t c) { return side[c] + 0.1 * (noise.At(x, y)[c] - 0.5); });
            });
            Picture const painted = Run(fmt::format("EffectOilPaint size={}", radius / width), input);
            double const soft = 1.0 + 0.06 * radius;
            // Beyond the border the edge continues straight outwards, so it is a different edge there.
            auto const margin = static_cast<unsigned>(1.6 * radius);
            double worst = 0.0;
            double before = 0.0;
            double after = 0.0;
            for (unsigned y = margin; y < 161 - margin; ++y) {
                for (unsigned x = margin; x < width - margin; ++x) {
                    Rgba const& side = distance(x, y) < 0.0 ? left : right;
                    double const off = std::fabs(painted.At(x, y)[0] - side[0]);
                    worst = std::fabs(distance(x, y)) > soft ? std::max(worst, off) : worst;
                    if (std::fabs(distance(x, y)) > 0.5 * radius) {
                        before += std::pow(input.At(x, y)[0] - side[0], 2.0);
                        after += off * off;
                    }
                }
            }
            SCOPED_TRACE(fmt::format("radius {}, angle {}", radius, angle));
            EXPECT_LT(worst, 0.06) << "noise alone is within 0.05";
            if (radius > 1.0) {
                EXPECT_LT(after, before / 16.0);
            }
        }
    }
}

TEST_F(FilterEffectsTest, OilPaintFollowsLinesAndItsSharpness) {
    // How much is left of a line two thirds of the radius wide.
    auto const paint = [](double sharpness, double angle) {
        Picture const input = Picture::Make(301, 121, false, [&](unsigned x, unsigned y) {
            double const distance = (x - 150.0) * std::cos(angle) + (y - 60.0) * std::sin(angle);
            double const ink = std::clamp(3.5 - std::fabs(distance), 0.0, 1.0);
            return Rgba{ink, ink, ink, 1.0};
        });
        return Run(fmt::format("EffectOilPaint size={} sharpness={}", 9.0 / 301, sharpness), input).At(150, 60)[0];
    };
    for (double const angle : {0.0, 0.5, 1.6, 2.5}) {
        SCOPED_TRACE(angle);
        EXPECT_GT(paint(8.0, angle), 0.6) << "0.07 with sectors across the line";
        EXPECT_LT(paint(1.0, angle), paint(8.0, angle) - 0.03);
        EXPECT_GT(paint(32.0, angle), paint(8.0, angle) + 0.05);
    }
}

}  // namespace
}  // namespace Kaltor::Tests
