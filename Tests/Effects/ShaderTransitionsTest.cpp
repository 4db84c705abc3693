// Transitions drawn by programs over the whole frame: pictures by formula, what is random by what it promises.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "Proc/Effects/EffectsOgl/Transitions/Glyphs.h"
#include "Proc/Settings/SettingsMotionTransitions.h"
#include "Proc/Settings/SettingsWipeTransitions.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

class ShaderTransitionsTest : public TransitionFixture {
protected:
    /// Noise whose alpha, where there is one, hides no colour.
    static Picture MakeNoise(Size const& size, bool hasAlpha, std::uint32_t seed) {
        Picture picture = Picture::Noise(size.width, size.height, hasAlpha, seed);
        for (Rgba& pixel : picture.pixels) {
            pixel[3] = hasAlpha ? (128.0 + std::floor(pixel[3] * 127.0)) / 255.0 : 1.0;
        }
        return picture;
    }
};

/// Colours multiplied by alpha.
Picture Multiplied(Picture picture) {
    for (Rgba& pixel : picture.pixels) {
        std::for_each_n(pixel.begin(), 3, [&](double& channel) { channel *= pixel[3]; });
    }
    return picture;
}

Rgba Straight(Rgba color) {
    std::for_each_n(color.begin(), 3, [&](double& channel) { channel /= color[3]; });
    return color;
}

TEST_F(ShaderTransitionsTest, RippleRunsOutwardsInARing) {
    struct Case {
        Size size;
        double x, y;
        std::int32_t freq, ampl;
        double width;
    };
    for (Case const& tested : {Case{{160, 90}, 0.5, 0.5, 6, 30, 0.25}, Case{{90, 160}, 0.2, 0.9, 4, 120, 0.6},
                               Case{{64, 64}, 0.0, 0.3, 20, 60, 0.4}, Case{{81, 45}, 0.7, 0.1, 2, 40, 0.1}}) {
        Proc::SettingsTransitionRipple settings;
        settings.SetX(tested.x);
        settings.SetY(tested.y);
        settings.SetFreq(tested.freq);
        settings.SetAmpl(tested.ampl);
        settings.SetWidth(tested.width);
        bool const hasAlpha = tested.size.width % 2 != 0;
        Picture const first = MakeNoise(tested.size, hasAlpha, 1);
        Picture const second = MakeNoise(tested.size, hasAlpha, 2);
        Picture const from = Multiplied(first);
        Picture const to = Multiplied(second);
        double const longer = std::max(tested.size.width, tested.size.height);
        double const scaleX = tested.size.width / longer;
        double const scaleY = tested.size.height / longer;
        double const reach =
            std::hypot(std::max(tested.x, 1 - tested.x) * scaleX, std::max(tested.y, 1 - tested.y) * scaleY);
        double const length = std::min(1.0 / tested.freq, tested.width);
        double const shown = std::clamp(length * longer / 4 - 0.5, 0.0, 1.0);
        for (double const p : {0.1, 0.45, 0.8}) {
            double const front = p * (reach + tested.width);
            Picture const expected = ForEachPixel(first, [&](double s, double t) {
                double const x = (s - tested.x) * scaleX;
                double const y = (t - tested.y) * scaleY;
                double const radius = std::hypot(x, y);
                double const u = std::clamp((front - radius) / tested.width, 0.0, 1.0);
                double const packet = u * u * std::pow(1 - u, 3) / (0.16 * 0.216);
                double const height = shown * tested.ampl / 60.0 / std::sqrt(1 + 2 * front) * packet *
                                      std::sin(2 * std::numbers::pi / length * (radius - 1.3 * front)) /
                                      std::max(radius, length / 2);
                auto const mirror = [](double at) { return 1 - std::fabs(1 - std::fabs(at)); };
                double const atS = mirror(s - x * height * 0.3 * length / scaleX);
                double const atT = mirror(t - y * height * 0.3 * length / scaleY);
                double const step = std::clamp((u - 0.15) / 0.6, 0.0, 1.0);
                Rgba color = Mix(from.Sample(atS, atT), to.Sample(atS, atT), step * step * (3 - 2 * step));
                double const facing =
                    (x - y) * height / std::sqrt(2.0) / std::sqrt(1 + height * height * radius * radius);
                double const glint = 0.6 * std::pow(std::clamp(3 * facing - 0.3, 0.0, 1.0), 2);
                std::for_each_n(color.begin(), 3, [&](double& channel) {
                    channel *= 1 + 0.7 * facing;
                    channel += (color[3] - channel) * glint;
                });
                return Straight(color);
            });
            // Light brings out the filter's rounding by two thirds, division by alpha doubles it.
            EXPECT_TRUE(
                IsNear(Run(settings, first, second, {.progress = p}), expected, (hasAlpha ? 2 : 1.7) * kFiltered))
                << Describe(settings) << " at progress " << p;
        }
    }
}

/// The picture as the means of columns x rows, each shown with an edge of one pixel.
std::function<Rgba(double s, double t)> MakeBlocks(Picture const& picture, unsigned columns, unsigned rows) {
    if (columns >= picture.width || rows >= picture.height) {
        return [&picture](double s, double t) { return picture.SampleNearest(s, t); };
    }
    auto const cover = [](unsigned block, unsigned blocks, unsigned texel, unsigned texels) {
        double const size = static_cast<double>(texels) / blocks;
        return std::max(0.0, std::min((block + 1) * size, texel + 1.0) - std::max(block * size, 1.0 * texel)) / size;
    };
    Picture const means = Picture::Make(columns, rows, picture.hasAlpha, [&](unsigned column, unsigned row) {
        Rgba sum{};
        for (unsigned y = 0; y < picture.height; ++y) {
            for (unsigned x = 0; x < picture.width; ++x) {
                double const weight = cover(column, columns, x, picture.width) * cover(row, rows, y, picture.height);
                for (std::size_t c = 0; c < sum.size(); ++c) {
                    sum[c] += weight * picture.At(x, y)[c];
                }
            }
        }
        return sum;
    });
    auto const snap = [](double at, unsigned blocks, unsigned pixels) {
        double const edge = std::floor(at * blocks + 0.5);
        double const ramp = (at * blocks - edge) * pixels / blocks;
        return (edge + std::clamp(ramp, -0.5, 0.5)) / blocks;
    };
    return [=, width = picture.width, height = picture.height](double s, double t) {
        return means.Sample(snap(s, columns, width), snap(t, rows, height));
    };
}

TEST_F(ShaderTransitionsTest, PixelsCoarsenAndRecover) {
    // Steps of halving to 1/540 of the shorter side; the largest stay for a third of that, 2 at least.
    struct Case {
        Size size;
        std::int32_t num;
        unsigned columns, rows;
        double steps, stay;
    };
    for (Case const& tested : {Case{{64, 36}, 5, 9, 5, 7, 7.0 / 3}, Case{{37, 64}, 2, 2, 3, 9, 3.0},
                               Case{{64, 64}, 200, 64, 64, 2, 2.0}, Case{{63, 20}, 4, 13, 4, 8, 8.0 / 3}}) {
        Proc::SettingsTransitionPixels settings;
        settings.SetNum(tested.num);
        bool const hasAlpha = tested.size.width % 2 != 0;
        Picture const first = MakeNoise(tested.size, hasAlpha, 1);
        Picture const second = MakeNoise(tested.size, hasAlpha, 2);
        Picture const from = Multiplied(first);
        Picture const to = Multiplied(second);
        for (double const p : {0.04, 0.2, 0.29, 0.34, 0.45, 0.5, 0.64, 0.7, 0.86}) {
            double const step = std::max(tested.steps - 2 * std::min(p, 1 - p) * (tested.steps + tested.stay), 0.0);
            auto const blocks = [&](Picture const& picture, double halvings) {
                auto const factor = static_cast<unsigned>(std::exp2(halvings < tested.steps ? halvings : 20));
                return MakeBlocks(picture, tested.columns * factor, tested.rows * factor);
            };
            double const low = std::floor(step);
            double const half = 0.5 * tested.stay / (tested.steps + tested.stay);
            double const x = std::clamp(step > 0 ? step - low : (p - 0.5 + half) / (2 * half), 0.0, 1.0);
            auto const a = step > 0 ? blocks(p < 0.5 ? from : to, low) : blocks(from, 0);
            auto const b = step > 0 ? blocks(p < 0.5 ? from : to, low + 1) : blocks(to, 0);
            Picture const expected = ForEachPixel(
                first, [&](double s, double t) { return Straight(Mix(a(s, t), b(s, t), x * x * (3 - 2 * x))); });
            EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = p}), expected, kFiltered + kUnfiltered))
                << Describe(settings) << " at progress " << p;
        }
    }
}

TEST_F(ShaderTransitionsTest, PixelsScatterOneByOne) {
    // 10 x 6 squares of 4 pixels, from black to white.
    Picture const first = Picture::Flat(40, 24, {0, 0, 0, 1});
    Picture const second = Picture::Flat(40, 24, {1, 1, 1, 1});
    Proc::SettingsTransitionPixels settings;
    settings.SetType(1);
    settings.SetNum(6);
    auto const draw = [&](unsigned seed, double progress) {
        std::srand(seed);
        return Run(settings, first, second, {.progress = progress});
    };
    Picture before = first;
    for (double const p : {0.07, 0.3, 0.55, 0.97}) {
        Picture const drawn = draw(1, p);
        std::vector<double> shown;
        std::vector<double> wanted;
        for (unsigned y = 0; y < drawn.height; ++y) {
            for (unsigned x = 0; x < drawn.width; ++x) {
                ASSERT_EQ(drawn.At(x, y), drawn.At(x / 4 * 4, y / 4 * 4)) << "a square of more than one colour";
                ASSERT_GE(drawn.At(x, y)[0], before.At(x, y)[0]) << "a pixel changes back";
                shown.push_back(drawn.At(x, y)[0]);
            }
        }
        for (int rank = 0; rank < 60; ++rank) {
            double const u = std::clamp((p - 0.9 * rank / 59) / 0.1, 0.0, 1.0);
            wanted.insert(wanted.end(), 16, u * u * (3 - 2 * u));
        }
        std::sort(shown.begin(), shown.end(), std::greater<>());
        for (std::size_t i = 0; i < shown.size(); ++i) {
            ASSERT_NEAR(shown[i], wanted[i], kUnfiltered) << "rank " << i / 16 << " at progress " << p;
        }
        EXPECT_FALSE(IsNear(draw(2, p), drawn, 0.1)) << "all objects have one order";
        before = drawn;
    }
}

/// Where a pixel lies along the way of a brush from the middle of the picture, in parts of the longer side.
double GetAlong(Picture const& like, double degrees, double s, double t) {
    double const longer = std::max(like.width, like.height);
    double const angle = degrees * std::numbers::pi / 180;
    return ((s - 0.5) * like.width * std::cos(angle) + (t - 0.5) * like.height * std::sin(angle)) / longer;
}

TEST_F(ShaderTransitionsTest, SmearWithoutStrengthIsASoftWipe) {
    for (double const degrees : {0.0, 90.0, -90.0, 180.0, 35.0, -120.0}) {
        for (double const softness : {0.02, 0.3, 1.0}) {
            Proc::SettingsTransitionSmear settings;
            settings.SetAngle(degrees);
            settings.SetStrength(0.0);
            settings.SetSoftness(softness);
            Expect(settings, {0.01, 0.3, 0.6}, [&](Picture const& first, Picture const& second, double p) {
                double const reach = std::max({GetAlong(first, degrees, 0, 0), GetAlong(first, degrees, 0, 1),
                                               GetAlong(first, degrees, 1, 0), GetAlong(first, degrees, 1, 1)});
                double const front = p * (2 * reach + softness) - reach;
                Picture const from = Multiplied(first);
                Picture const to = Multiplied(second);
                return ForEachPixel(first, [&](double s, double t) {
                    double const x = std::clamp((front - GetAlong(first, degrees, s, t)) / softness, 0.0, 1.0);
                    Rgba const color = Mix(from.SampleNearest(s, t), to.SampleNearest(s, t), x * x * (3 - 2 * x));
                    return color[3] < 0.5 / 255 ? Rgba{} : Straight(color);
                });
            });
        }
    }
}

TEST_F(ShaderTransitionsTest, SmearDrawsPaintAlongItsWayAndSettles) {
    Proc::SettingsTransitionSmear settings;
    settings.SetStrength(0.4);
    settings.SetSoftness(0.1);
    Picture const first = MakeNoise({90, 70}, false, 1);
    Picture const second = MakeNoise({90, 70}, false, 2);
    for (double const degrees : {0.0, 90.0, 180.0, 60.0}) {
        settings.SetAngle(degrees);
        auto const along = [&](double x, double y) {
            return GetAlong(first, degrees, (x + 0.5) / 90, 1 - (y + 0.5) / 70);
        };
        // Dark where the brush comes from.
        Picture const edge = Picture::Make(90, 70, false, [&](unsigned x, unsigned y) {
            return along(x, y) < 0 ? Rgba{0, 0, 0, 1} : Rgba{1, 1, 1, 1};
        });
        double const reach = std::max(std::fabs(along(89.5, -0.5)), std::fabs(along(89.5, 69.5)));
        for (double const p : {0.25, 0.5, 0.75}) {
            double const front = (reach + 0.1 + 0.064) * (p - 1) + p * (reach + 0.1 + 0.3);
            Picture const drawn = Run(settings, first, second, {.progress = p});
            Picture const edged = Run(settings, edge, edge, {.progress = p});
            Picture still = drawn;
            unsigned darkened = 0;
            for (unsigned y = 0; y < 70; ++y) {
                for (unsigned x = 0; x < 90; ++x) {
                    double const behind = front - along(x, y);
                    if (behind < -0.164 || behind > 0.4) {
                        still.At(x, y) = (behind < 0 ? first : second).At(x, y);
                    }
                    darkened += along(x, y) > 0 && edged.At(x, y)[0] < 0.2 ? 1 : 0;
                    ASSERT_TRUE(along(x, y) > -0.03 || edged.At(x, y)[0] == 0) << "drawn backwards " << x << ", " << y;
                }
            }
            EXPECT_TRUE(IsNear(drawn, still, kUnfiltered)) << Describe(settings) << " at progress " << p;
            EXPECT_EQ(darkened > 100, p == 0.5) << Describe(settings) << " at progress " << p;
        }
    }
}

/// What a column draws when a transition is made after `std::srand`.
struct FallingColumn {
    double begin, duration, trail;
};

std::vector<FallingColumn> DrawColumns(unsigned seed) {
    std::srand(seed);
    auto const draw = [](double low, double high) { return low + (high - low) * std::rand() / (RAND_MAX + 1.0); };
    std::vector<FallingColumn> columns(400);
    for (FallingColumn& column : columns) {
        column.duration = draw(0.4, 0.8);
        column.begin = draw(0, 1) * (1 - column.duration);
        column.trail = draw(0.25, 0.65);
    }
    return columns;
}

TEST_F(ShaderTransitionsTest, MatrixColumnsUncoverTheSecondPicture) {
    for (Size const& size : {Size{96, 60}, Size{60, 105}}) {
        bool const hasAlpha = size.width == 60;
        Picture const first = MakeNoise(size, hasAlpha, 1);
        Picture const second = MakeNoise(size, hasAlpha, 2);
        Proc::SettingsTransitionMatrix settings;
        settings.SetNum(12);
        settings.SetColor({255, 255, 255, 0});  // without light
        // 12 / aspect / 1.25
        double const rows = size.width == 96 ? 6 : 17;
        for (double const p : {0.1, 0.4, 0.6, 0.9}) {
            std::vector<FallingColumn> const columns = DrawColumns(5);
            std::srand(5);
            Picture const drawn = Run(settings, first, second, {.progress = p});
            Picture const expected = ForEachPixel(first, [&](double s, double t) {
                FallingColumn const& column = columns[static_cast<std::size_t>(s * 12)];
                double const trail = std::max(column.trail * rows, 3.0);
                double const head = (p - column.begin) / column.duration * (rows + trail);
                double const y = (1 - t) * rows;
                double const passed = std::clamp((head - y) / 0.5, 0.0, 1.0);
                // Darkness is told at the middles of cells.
                auto const dark = [&](double row) {
                    double const left = 1 - (head - std::clamp(row, 0.0, rows - 1)) / trail;
                    return std::clamp(1.5 * std::clamp(left, 0.0, 1.0), 0.0, 1.0);
                };
                double const low = std::floor(y - 0.5);
                double const f = y - 0.5 - low;
                double const shown = 1 - 0.85 * (dark(low) * (1 - f) + dark(low + 1) * f);
                Rgba from = first.SampleNearest(s, t);
                Rgba to = second.SampleNearest(s, t);
                for (std::size_t c = 0; c < 3; ++c) {
                    from[c] *= from[3];
                    to[c] *= to[3] * shown;
                }
                return Straight(Mix(from, to, passed * passed * (3 - 2 * passed)));
            });
            EXPECT_TRUE(IsNear(drawn, expected, kFiltered)) << Describe(settings) << " at progress " << p;
        }
    }
}

TEST_F(ShaderTransitionsTest, MatrixShowsGlyphsWhereColumnsFall) {
    // 10 x 4 cells of 24 x 30 pixels.
    Picture const black = Picture::Flat(240, 120, {0, 0, 0, 1});
    Proc::SettingsTransitionMatrix settings;
    settings.SetNum(10);
    settings.SetColor({255, 255, 255, 255});
    std::vector<FallingColumn> const columns = DrawColumns(9);
    unsigned heads = 0;
    for (double const p : {0.2, 0.35, 0.5, 0.65, 0.8}) {
        std::srand(9);
        Picture const drawn = Run(settings, black, black, {.progress = p});
        for (unsigned i = 0; i < 40; ++i) {
            FallingColumn const& column = columns[i % 10];
            double const trail = std::max(column.trail * 4, 3.0);
            double const age = (p - column.begin) / column.duration * (4 + trail) - i / 10;
            double most = 0;
            std::array<unsigned, 64> wrong{};
            for (unsigned pixel = 0; pixel < 24 * 30; ++pixel) {
                unsigned const x = pixel % 24;
                unsigned const y = pixel / 24;
                double const light = drawn.At(i % 10 * 24 + x, i / 10 * 30 + y)[0];
                most = std::max(most, light);
                for (std::size_t glyph = 0; glyph < wrong.size(); ++glyph) {
                    double const inside =
                        Ogl::GetGlyphDistance(static_cast<int>(glyph), (x + 0.5) / 24, 1 - (y + 0.5) / 30) * 24;
                    wrong[glyph] += std::fabs(inside) > 0.7 && (light > 0.9) != (inside > 0) ? 1 : 0;
                }
            }
            if (age <= 0 || age >= trail) {
                EXPECT_LT(most, 0.6) << "strokes before the head or behind the trail";
            } else if (age > 0.5 && age < 1) {
                ++heads;
                EXPECT_LT(*std::min_element(wrong.begin(), wrong.end()), 8) << "no glyph in cell " << i << " at " << p;
            }
        }
    }
    EXPECT_GE(heads, 5U);
}

TEST_F(ShaderTransitionsTest, GlyphsDifferAndKeepToTheirCells) {
    constexpr int kSide = 40;
    std::vector<std::vector<bool>> shapes;
    for (int glyph = 0; glyph < Ogl::kGlyphsASide * Ogl::kGlyphsASide; ++glyph) {
        std::vector<bool> shape;
        for (int i = 0; i < kSide * kSide; ++i) {
            double const inside = Ogl::GetGlyphDistance(glyph, (i % kSide + 0.5) / kSide, (i / kSide + 0.5) / kSide);
            bool const isRim = i % kSide % (kSide - 1) == 0 || i / kSide % (kSide - 1) == 0;
            ASSERT_TRUE(!isRim || inside < 0.02 - Ogl::kGlyphReach) << "glyph " << glyph;
            shape.push_back(inside > 0);
        }
        EXPECT_EQ(std::count(shapes.begin(), shapes.end(), shape), 0) << "glyph " << glyph << " comes again";
        shapes.push_back(shape);
    }
}

}  // namespace
}  // namespace Kaltor::Tests
