// Filters over a neighbourhood against their formulas, computed here in double precision with pixels clamped to the
// edge. A neighbour counts as far as it covers.

#include <algorithm>
#include <cmath>
#include <functional>

#include <fmt/format.h>

#include "Proc/Settings/SettingsColorEffects.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsMeshTransitions.h"
#include "Proc/Settings/SettingsStyleEffects.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;

double Luminance(Rgba const& p) {
    return 0.2126 * p[0] + 0.7152 * p[1] + 0.0722 * p[2];
}

Rgba const& AtClamped(Picture const& picture, long x, long y) {
    return picture.At(static_cast<unsigned>(std::clamp(x, 0L, static_cast<long>(picture.width) - 1)),
                      static_cast<unsigned>(std::clamp(y, 0L, static_cast<long>(picture.height) - 1)));
}

/// Each channel but alpha by a function of its number.
Rgba EachColor(Rgba const& p, std::function<double(std::size_t)> const& map) {
    return {map(0), map(1), map(2), p[3]};
}

/// Runs a check on noise in landscape and portrait, with and without alpha.
void ForEachNoise(std::function<void(Picture const&)> const& check) {
    for (auto const& [width, height] : {std::pair{37U, 20U}, {20U, 37U}}) {
        for (bool const hasAlpha : {false, true}) {
            SCOPED_TRACE(fmt::format("{}x{}{}", width, height, hasAlpha ? " with alpha" : ""));
            check(Picture::Noise(width, height, hasAlpha));
        }
    }
}

using FilterEffectsTest = GlTest;

TEST_F(FilterEffectsTest, SharpenAddsOneLimitedDeltaOfLuma) {
    constexpr std::array<std::array<int, 3>, 2> kWeights{{{2, 1, 0}, {6, 4, 1}}};
    for (int const kernel : {0, 1}) {
        for (double const strength : {0.6, 4.0}) {
            SettingsEffectSharpen settings;
            settings.SetKernel(kernel);
            settings.SetStrength(strength);
            ForEachNoise([&](Picture const& input) {
                auto const sharpen = [&](unsigned x, unsigned y) {
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
                };
                EXPECT_TRUE(IsNear(Run(settings, input),
                                   Picture::Make(input.width, input.height, input.hasAlpha, sharpen), kUnfiltered))
                    << "kernel " << kernel << ", strength " << strength;
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
double FindInk(Picture const& averaged, unsigned x, unsigned y, double cell, double scale,
               SettingsEffectFindEdges const& settings) {
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
    double const over = std::max(most * scale - settings.GetThreshold(), 0.0);
    double const soft = over == 0.0 ? 0.0 : over * over / (over + 0.5 * settings.GetThreshold());
    return 1.0 - std::exp(-10.0 * settings.GetStrength() * soft);
}

TEST_F(FilterEffectsTest, FindEdgesDrawsTheScharrGradient) {
    ForEachNoise([](Picture const& input) {
        for (bool const isInverted : {false, true}) {
            SettingsEffectFindEdges settings;
            settings.SetInverted(isInverted);
            settings.SetStrength(0.2);
            settings.SetThreshold(0.15);
            auto const draw = [&](unsigned x, unsigned y) {
                double const ink = FindInk(input, x, y, 1.0, 0.5, settings);
                return EachColor(input.At(x, y), [&](std::size_t) { return isInverted ? 1.0 - ink : ink; });
            };
            EXPECT_TRUE(IsNear(Run(settings, input), Picture::Make(input.width, input.height, input.hasAlpha, draw),
                               kUnfiltered));
        }
    });
}

TEST_F(FilterEffectsTest, FindEdgesAveragesLargePicturesOverItsCells) {
    SettingsEffectFindEdges settings;
    settings.SetStrength(0.05);
    for (unsigned const width : {1200U, 1920U, 3648U}) {
        for (bool const hasAlpha : {false, true}) {
            Picture const input = Picture::Noise(width, 9, hasAlpha);
            Picture const averaged = AverageOver(input, width / 960.0);
            auto const draw = [&](unsigned x, unsigned y) {
                double const ink = FindInk(averaged, x, y, width / 960.0, 1.0, settings);
                return EachColor(input.At(x, y), [&](std::size_t) { return 1.0 - ink; });
            };
            // Averages are kept in 8 bits; where little covers, so do their colours.
            EXPECT_TRUE(IsNear(Run(settings, input), Picture::Make(width, 9, hasAlpha, draw), 2.5 / 255.0))
                << width << (hasAlpha ? " with alpha" : "");
        }
    }
}

TEST_F(FilterEffectsTest, ErosionIsTheExtremumOverSquareOrDisc) {
    auto const check = [](Picture const& input, int radius, int mode, int shape) {
        SettingsEffectErosion settings;
        settings.SetMode(mode);
        settings.SetShape(shape);
        settings.SetSize((radius + 0.4) / std::max(input.width, input.height));
        auto const search = [&](unsigned x, unsigned y) {
            Rgba best = input.At(x, y);
            for (long dy = -radius; dy <= radius; ++dy) {
                for (long dx = -radius; dx <= radius; ++dx) {
                    bool const isInside =
                        shape == 0 || static_cast<double>(dx * dx + dy * dy) <= std::pow(radius + 0.5, 2);
                    if (!isInside || x + dx < 0 || y + dy < 0 || x + dx >= input.width || y + dy >= input.height) {
                        continue;
                    }
                    Rgba const& there = AtClamped(input, x + dx, y + dy);
                    for (std::size_t c = 0; c < 3; ++c) {
                        best[c] = mode == 0 ? std::min(best[c], 1.0 - there[3] * (1.0 - there[c]))
                                            : std::max(best[c], there[3] * there[c]);
                    }
                }
            }
            return best;
        };
        Picture const expected = Picture::Make(input.width, input.height, input.hasAlpha, search);
        for (Ogl::FrameStrategy const& strategy : {kSoftwareStrategy, kGpuStrategy}) {
            ScopedStrategy const scoped(strategy);
            EXPECT_TRUE(IsNear(Run(settings, input), expected, input.hasAlpha ? kUnfiltered : 0.0))
                << "radius " << radius << ", mode " << mode << ", shape " << shape
                << (strategy.areFetchesDear ? ", software" : ", GPU");
        }
    };
    for (int const mode : {0, 1}) {
        for (int const shape : {0, 1}) {
            // Few specks, so that every pixel of a neighbourhood counts.
            auto const specks = [mode](unsigned width, unsigned height, unsigned every) {
                Picture const noise = Picture::Noise(width, height, false, 5);
                return Picture::Make(width, height, false, [&noise, every, mode](unsigned x, unsigned y) {
                    bool const isSpeck =
                        std::lround(noise.At(x, y)[0] * 255.0 + noise.At(x, y)[1] * 65025.0) % every == 0;
                    return isSpeck == (mode == 0) ? Rgba{0.2, 0.4, 0.0, 1} : Rgba{0.8, 0.6, 1.0, 1};
                });
            };
            for (int const radius : {1, 2, 3, 4, 8, 21, 24}) {
                check(specks(61, 50, static_cast<unsigned>(4 * radius * radius)), radius, mode, shape);
            }
            for (int const radius : {25, 44}) {
                check(specks(90, 141, static_cast<unsigned>(4 * radius * radius)), radius, mode, shape);
            }
            ForEachNoise([&](Picture const& input) { check(input, 2, mode, shape); });
        }
    }
}

/// Cb and Cr after ITU-R BT.709.
std::array<double, 2> GetChroma(Rgba const& p) {
    return {(p[2] - Luminance(p)) / 1.8556, (p[0] - Luminance(p)) / 1.5748};
}

TEST_F(FilterEffectsTest, ChromakeyUnmixesTheKey) {
    for (Color const& color : {Color{0, 192, 64, 255}, Color{20, 30, 250, 255}}) {
        SettingsEffectChromakey settings;
        settings.SetColor(color);
        settings.SetTolerance(0.15);
        settings.SetSoftness(0.4);
        settings.SetSpill(0.7);
        Rgba const key{color.red / 255.0, color.green / 255.0, color.blue / 255.0, 1.0};
        auto const [keyBlue, keyRed] = GetChroma(key);
        auto const clean = [&](Rgba const& p) {
            auto const [blue, red] = GetChroma(p);
            double const ramp = std::clamp((std::hypot(blue - keyBlue, red - keyRed) - 0.15) / 0.4, 0.0, 1.0);
            double const stays = ramp * ramp * (3.0 - 2.0 * ramp);
            double const share =
                std::clamp((blue * keyBlue + red * keyRed) / (keyBlue * keyBlue + keyRed * keyRed), 0.0, 1.0);
            double const mixed = std::min((1.0 - stays) * share, 0.9);
            double const taken = share * (1.0 - 0.3 * stays);
            auto const channel = [&](std::size_t c) {
                return p[c] - taken * (key[c] - Luminance(key)) +
                       (Luminance(p) - Luminance(key)) * mixed / (1.0 - mixed);
            };
            return Rgba{channel(0), channel(1), channel(2), p[3] * stays};
        };
        ForEachNoise([&](Picture const& input) {
            Picture const keyed = Run(settings, input);
            EXPECT_TRUE(keyed.hasAlpha);
            EXPECT_TRUE(IsNear(keyed,
                               Picture::Make(input.width, input.height, true,
                                             [&](unsigned x, unsigned y) { return clean(input.At(x, y)); }),
                               kUnfiltered));
        });
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
    Picture const keyed = Run(SettingsEffectChromakey(), input);
    for (unsigned x = 0; x < 4; ++x) {
        EXPECT_EQ(keyed.At(x, 0)[3], 0.0) << "screen " << x;
        EXPECT_EQ(keyed.At(x, 1), input.At(x, 1)) << "actor " << x;
    }
}

TEST_F(FilterEffectsTest, ColorBrushPaintsFromTheDrawingToThePicture) {
    auto const set = [](auto settings) {
        settings.SetAngle(-20);
        settings.SetSize(5);
        settings.SetRough(30);
        return settings;
    };
    auto const settings = set(SettingsEffectColorBrush());
    auto brush = set(SettingsTransitionWaterbrush());
    brush.SetType(1);
    ForEachNoise([&](Picture const& input) {
        Picture const drawing = Run(SettingsEffectFindEdges(), input);
        EXPECT_TRUE(IsNear(Run(settings, input, {.progress = 0.0}), drawing, 0.0));
        EXPECT_TRUE(IsNear(Run(settings, input, {.progress = 1.0}), input, 0.0));
        Picture const painted = Run(brush, drawing, input, {.progress = 0.6});
        EXPECT_FALSE(IsNear(painted, drawing, kUnfiltered));
        EXPECT_TRUE(IsNear(Run(settings, input, {.progress = 0.6}), painted, kUnfiltered));
    });
}

TEST_F(FilterEffectsTest, OilPaintKeepsEdgesCrispAndEvensOutNoise) {
    Rgba const left{0.8, 0.3, 0.2, 1.0};
    Rgba const right{0.2, 0.5, 0.4, 1.0};
    // A radius below a pixel of the lattice, one that the lattice has every pixel for, and coarser ones.
    for (double const radius : {0.4, 4.0, 12.0, 36.0}) {
        for (double const angle : {0.0, 0.6, M_PI / 2.0}) {
            SettingsEffectOilPaint settings;
            settings.SetSize(radius / 299.0);
            auto const distance = [&](unsigned x, unsigned y) {
                return (x - 149.0) * std::cos(angle) + (y - 80.0) * std::sin(angle);
            };
            Picture const noise = Picture::Noise(299, 161);
            Picture const input = Picture::Make(299, 161, false, [&](unsigned x, unsigned y) {
                Rgba const& side = distance(x, y) < 0.0 ? left : right;
                return EachColor(side, [&](std::size_t c) { return side[c] + 0.1 * (noise.At(x, y)[c] - 0.5); });
            });
            Picture const painted = Run(settings, input);
            double const soft = 1.0 + 0.06 * radius;
            // Beyond the border the edge goes on straight outwards: it is another one there.
            auto const margin = static_cast<unsigned>(1.6 * radius);
            double worst = 0.0;
            double before = 0.0;
            double after = 0.0;
            for (unsigned y = margin; y < 161 - margin; ++y) {
                for (unsigned x = margin; x < 299 - margin; ++x) {
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
        SettingsEffectOilPaint settings;
        settings.SetSize(9.0 / 121.0);
        settings.SetSharpness(sharpness);
        Picture const input = Picture::Make(121, 121, false, [&](unsigned x, unsigned y) {
            double const distance = (x - 60.0) * std::cos(angle) + (y - 60.0) * std::sin(angle);
            double const ink = std::clamp(3.5 - std::fabs(distance), 0.0, 1.0);
            return Rgba{ink, ink, ink, 1.0};
        });
        return Run(settings, input).At(60, 60)[0];
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
