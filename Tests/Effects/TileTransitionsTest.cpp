// Transitions of tiles and shards and the brush that paints: pictures by formula.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <numbers>
#include <optional>
#include <stdexcept>

#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"
#include "Proc/Effects/EffectsOgl/Transitions/TransitionShatter.h"
#include "Proc/Settings/SettingsMeshTransitions.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using Ogl::ShardImpulse;
using Ogl::TileGrid;

/// What a pixel shows at clip coordinates x, y; nothing where it lies too near to an edge to tell.
using Shade = std::function<std::optional<Rgba>(double x, double y)>;

/// Every pixel by `shade`; those that cannot be told are taken from `actual`, and are few.
Picture Expected(Picture const& actual, Shade const& shade) {
    std::size_t uncertain = 0;
    Picture const expected = Picture::Make(actual.width, actual.height, actual.hasAlpha, [&](unsigned x, unsigned y) {
        std::optional<Rgba> const color =
            shade((2.0 * x + 1.0) / actual.width - 1.0, 1.0 - (2.0 * y + 1.0) / actual.height);
        uncertain += color ? 0 : 1;
        return color.value_or(actual.At(x, y));
    });
    EXPECT_LE(uncertain * 6, actual.pixels.size()) << "pixels too near to an edge";
    return expected;
}

/// -1 outside of [-half, half], 1 inside, 0 on the edge.
int Side(double value, double half, double tolerance) {
    double const inside = half - std::fabs(value);
    return inside > tolerance ? 1 : (inside < -tolerance ? -1 : 0);
}

class TileTransitionsTest : public TransitionFixture {
protected:
    static constexpr std::array<Size, 4> kLargeSizes{{{64, 36}, {36, 64}, {24, 24}, {45, 31}}};

    /// Noise whose alpha, where there is one, hides no colour.
    static Picture MakeNoise(Size const& size, std::uint32_t seed) {
        Picture picture = Picture::Noise(size.width, size.height, size.width % 3 == 0, seed);
        for (Rgba& pixel : picture.pixels) {
            pixel[3] = picture.hasAlpha ? (128.0 + std::floor(pixel[3] * 127.0)) / 255.0 : 1.0;
        }
        return picture;
    }
};

TEST_F(TileTransitionsTest, TilesAreNearlySquareOnEveryPicture) {
    EXPECT_EQ(Ogl::MakeTileGrid(3.0F, 16.0F / 9.0F), (TileGrid{10, 6}));
    EXPECT_EQ(Ogl::MakeTileGrid(4.0, 16.0 / 9.0), (TileGrid{14, 8}));
    EXPECT_EQ(Ogl::MakeTileGrid(1.0F, 1.0F), (TileGrid{2, 2}));
    EXPECT_EQ(Ogl::MakeTileGrid(4.0, 9.0 / 16.0), (TileGrid{8, 14}));
    EXPECT_EQ(Ogl::MakeTileGrid(0.0, 2.0), (TileGrid{0, 0}));
    for (double const refused : {-1.0, 20000.0, 4.0e9}) {
        try {
            Ogl::MakeTileGrid(refused, 1.5);
            FAIL() << refused;
        } catch (std::length_error const& error) {
            EXPECT_STREQ(error.what(), "vector::reserve");
        }
    }
}

TEST_F(TileTransitionsTest, DisintegrateSpreadsAndShrinksTiles) {
    for (Size const& size : kLargeSizes) {
        double const aspect = static_cast<double>(size.width) / size.height;
        for (std::uint32_t const num : {1U, 3U}) {
            double const columns = 2 * (aspect > 1 ? std::floor(num * aspect + 0.5) : num);
            double const rows = 2 * (aspect < 1 ? std::floor(num / aspect + 0.5) : num);
            Proc::SettingsTransitionDisintegrate settings;
            settings.SetNum(num);
            Picture const first = MakeNoise(size, 1);
            Picture const second = MakeNoise(size, 2);
            for (double const p : {0.0, 0.03, 0.1, 0.37, 0.8, 1.0}) {
                Picture const actual = Run(settings, first, second, {.progress = p});
                Picture const expected = Expected(actual, [&](double x, double y) -> std::optional<Rgba> {
                    double const spread = std::min(columns, rows) * p + 1;
                    auto const find = [&](double value, double count, double pixels) {
                        // The nearest tile, and where in it: -1 to 1.
                        double const index = std::clamp(std::floor((value / spread + 1) * count / 2), 0.0, count - 1);
                        double const centre = ((2 * index + 1) / count - 1) * spread;
                        double const half = 1 / ((p + 1) * count);
                        return std::tuple{index, (value - centre) / half,
                                          p == 0 ? 1 : Side(value - centre, half, 0.02 / pixels)};
                    };
                    auto const [i, u, sideX] = find(x, columns, size.width);
                    auto const [j, v, sideY] = find(y, rows, size.height);
                    if (sideX < 0 || sideY < 0) {
                        return second.SampleNearest((x + 1) / 2, (y + 1) / 2);
                    }
                    if (sideX == 0 || sideY == 0) {
                        return std::nullopt;
                    }
                    return first.Sample((i + (u + 1) / 2) / columns, (j + (v + 1) / 2) / rows);
                });
                EXPECT_TRUE(IsNear(actual, expected, kFiltered)) << Describe(settings) << " at progress " << p;
            }
        }
    }
}

TEST_F(TileTransitionsTest, PiecesSlideInWhileTheyFadeIn) {
    Proc::SettingsTransitionPieces const settings;
    for (Size const& size : kLargeSizes) {
        Picture const first = MakeNoise(size, 1);
        Picture const second = MakeNoise(size, 2);
        for (double const p : {0.0, 0.1, 0.5, 0.85, 1.0}) {
            Picture const actual = Run(settings, first, second, {.progress = p});
            Picture const expected = Expected(actual, [&](double x, double y) -> std::optional<Rgba> {
                Rgba const before = first.SampleNearest((x + 1) / 2, (y + 1) / 2);
                // How far a pixel of an outer third lies beyond what has come in, and what it shows.
                auto const find = [p](double value, double pixels) {
                    double const moved = (1 - p) * 2 / 3;
                    if (std::fabs(value) < 1.0 / 3) {
                        return std::pair{(value + 1) / 2, Side(value, 1.0 / 3, 0.02 / pixels)};
                    }
                    double const shown = std::fabs(value) - moved;
                    int const side = shown > 1.0 / 3 + 0.02 / pixels ? 1 : (shown < 1.0 / 3 - 0.02 / pixels ? -1 : 0);
                    return std::pair{(std::copysign(shown, value) + 1) / 2, side};
                };
                auto const [s, sideX] = find(x, size.width);
                auto const [t, sideY] = find(y, size.height);
                if (p > 0 && p < 1 && (sideX == 0 || sideY == 0)) {
                    return std::nullopt;
                }
                return sideX < 0 || sideY < 0 ? before : Mix(before, second.Sample(s, t), p);
            });
            EXPECT_TRUE(IsNear(actual, expected, kFiltered)) << "progress " << p;
        }
    }
}

/// The numbers that shards are drawn with from here on, as the C library's generator gives them.
std::vector<ShardImpulse> DrawImpulses(std::size_t count) {
    std::vector<ShardImpulse> impulses(count);
    auto const unit = [] { return std::rand() / 2147483648.0; };
    for (ShardImpulse& impulse : impulses) {
        impulse.spin = static_cast<float>(5 + 10 * unit());
        impulse.growth = static_cast<float>(4 * unit());
        impulse.travel = static_cast<float>(0.5 + unit());
    }
    return impulses;
}

TEST_F(TileTransitionsTest, ShardsKeepTheirImpulsesForAGrid) {
    Ogl::TransitionShatter::CacheImpl cache;
    auto const draw = [&cache](TileGrid const& grid) {
        std::vector<float> spins;
        for (ShardImpulse const& impulse : cache.Get(grid)) {
            spins.push_back(impulse.spin);
        }
        return spins;
    };
    std::vector<float> const six = draw({3, 2});
    EXPECT_EQ(six.size(), 6U);
    EXPECT_EQ(draw({3, 2}), six);
    std::vector<float> const others = draw({2, 3});
    EXPECT_NE(others, six) << "as many, but another grid";
    EXPECT_THROW(cache.Reset(-3, 2), std::length_error);
    EXPECT_NE(draw({2, 3}), others) << "what failed is not kept for good";
}

TEST_F(TileTransitionsTest, ShatterFadesShardsOverTheIncomingPicture) {
    constexpr std::int32_t kNum = 2;
    for (Size const& size : kLargeSizes) {
        double const aspect = static_cast<double>(size.width) / size.height;
        auto const columns = static_cast<int>(2 * (aspect > 1 ? std::floor(kNum * aspect + 0.5) : kNum));
        auto const rows = static_cast<int>(2 * (aspect < 1 ? std::floor(kNum / aspect + 0.5) : kNum));
        double const unitX = std::max(aspect, 1.0);
        double const unitY = std::max(1 / aspect, 1.0);
        Picture const first = MakeNoise(size, 1);
        Picture const second = MakeNoise(size, 2);
        for (std::int32_t const direction : {0, 1, 2, 3}) {
            Proc::SettingsTransitionShatter settings;
            settings.SetNum(kNum);
            settings.SetDir(direction);
            constexpr unsigned kSeed = 11;
            std::srand(kSeed);
            std::vector<ShardImpulse> const impulses = DrawImpulses(static_cast<std::size_t>(columns * rows));
            for (double const p : {0.0, 0.07, 0.4, 1.0}) {
                std::srand(kSeed);
                Picture const actual = Run(settings, first, second, {.progress = p});
                auto const sample = [&](double x, double y) -> std::optional<Rgba> {
                    Rgba color = second.Sample((x + 1) / 2, (y + 1) / 2);
                    for (std::size_t shard = 0; shard < impulses.size(); ++shard) {
                        ShardImpulse const& impulse = impulses[shard];
                        int const i = static_cast<int>(shard) % columns;
                        int const j = static_cast<int>(shard) / columns;
                        double centreX = (2 * i + 1.0) / columns - 1;
                        double centreY = (2 * j + 1.0) / rows - 1;
                        double growth = 1;
                        if (direction == 0) {
                            centreX *= 1 + impulse.travel * p;
                            centreY *= 1 + impulse.travel * p;
                            growth += impulse.growth * p;
                        } else if (direction < 3) {
                            centreY += (direction == 1 ? -2 : 2) * impulse.travel * p;
                        }
                        // Back into the shard that has not been turned yet.
                        std::complex<double> const place =
                            std::complex<double>((x - centreX) * unitX, (y - centreY) * unitY) *
                            std::polar(1.0, -impulse.spin * p);
                        double const halfX = growth / columns * unitX;
                        double const halfY = growth / rows * unitY;
                        double const near = 0.02 / std::min(size.width, size.height);
                        int const sideX = Side(place.real(), halfX, near);
                        int const sideY = Side(place.imag(), halfY, near);
                        if (sideX < 0 || sideY < 0) {
                            continue;
                        }
                        if (sideX == 0 || sideY == 0) {
                            return std::nullopt;
                        }
                        color = Mix(color,
                                    first.Sample((i + (place.real() / halfX + 1) / 2) / columns,
                                                 (j + (place.imag() / halfY + 1) / 2) / rows),
                                    1 - p);
                    }
                    return color;
                };
                Picture const expected = Expected(actual, [&](double x, double y) -> std::optional<Rgba> {
                    // Four samples a pixel, what is transparent lends no colour.
                    Rgba sum{};
                    for (unsigned part = 0; part < 4; ++part) {
                        std::optional<Rgba> const color = sample(x + (part % 2 == 0 ? -0.5 : 0.5) / size.width,
                                                                 y + (part / 2 == 0 ? -0.5 : 0.5) / size.height);
                        if (!color) {
                            return std::nullopt;
                        }
                        for (std::size_t c = 0; c < 3; ++c) {
                            sum[c] += (*color)[c] * (*color)[3];
                        }
                        sum[3] += (*color)[3];
                    }
                    return Rgba{sum[0] / sum[3], sum[1] / sum[3], sum[2] / sum[3], sum[3] / 4};
                });
                // Blending rounds once a shard.
                EXPECT_TRUE(IsNear(actual, expected, kFiltered + 2.0 / 255.0)) << Describe(settings) << " at " << p;
            }
        }
    }
}

TEST_F(TileTransitionsTest, ShardsAtRestLeaveNoCracks) {
    for (Size const& size : kSizes) {
        Picture const first = Picture::Flat(size.width, size.height, {1, 0, 0, 1});
        Picture const second = Picture::Flat(size.width, size.height, {0, 0, 1, 1});
        for (std::int32_t const num : {1, 2, 3, 5, 7, 13}) {
            Proc::SettingsTransitionShatter settings;
            settings.SetNum(num);
            EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = 0}), first, 0)) << Describe(settings);
            EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = 1}), second, 0)) << Describe(settings);
        }
    }
}

TEST_F(TileTransitionsTest, AnotherDirectionKeepsTheShards) {
    Picture const first = Picture::Flat(60, 40, {1, 0.2, 0, 1});
    Picture const second = Picture::Flat(60, 40, {0, 0.4, 1, 1});
    Proc::SettingsTransitionShatter settings;
    std::srand(5);
    auto const transition = MakeTransition(settings);
    DrawNext(*transition, first, second, 0.3);
    settings.SetDir(2);
    transition->SetSettings(settings);
    Picture const changed = DrawNext(*transition, first, second, 0.3);
    std::srand(5);
    EXPECT_TRUE(IsNear(changed, Run(settings, first, second, {.progress = 0.3}), 0));
    std::srand(6);
    EXPECT_FALSE(IsNear(changed, Run(settings, first, second, {.progress = 0.3}), kFiltered)) << "all seeds alike";
}

/// The stroke table by another way: strokes from clipping a line to the area, noise in arithmetic of 64 bits.
struct Brush {
    Brush(double w, double h, double degrees, int strokes, double margin, double rough)
        : cosine(std::cos(degrees * std::numbers::pi / 180)),
          sine(std::sin(degrees * std::numbers::pi / 180)),
          offset(degrees < 0 ? -h * sine : 0),
          count(static_cast<std::size_t>(std::ceil(std::hypot(w, h)))) {
        // How far the area reaches to each side of its middle, in the turned frame.
        double const middle = (w * cosine + h * sine) / 2;
        double const reach = (0.5 - margin) * (w * cosine + h * std::fabs(sine));
        std::vector<std::array<double, 3>> laid;
        for (int k = 0; k < strokes; ++k) {
            double const x = middle - reach + (k + 0.5) * 2 * reach / strokes;
            double low = -1e9;
            double high = 1e9;
            auto const clip = [&](double at0, double at1, double from, double to) {
                if (std::fabs(at1) > 1e-12) {
                    auto const [a, b] = std::minmax({(from - at0) / at1, (to - at0) / at1});
                    low = std::max(low, a);
                    high = std::min(high, b);
                }
            };
            clip(x * cosine, -sine, margin * w, (1 - margin) * w);
            clip(x * sine, cosine, margin * h, (1 - margin) * h);
            laid.push_back({low, high, pathLength});
            pathLength += high - low;
        }
        for (std::size_t i = 0; i < count; ++i) {
            double const stroke = (static_cast<double>(i) - offset - (middle - reach)) / (2 * reach) * strokes;
            bool const isOnEdge = std::fabs(stroke - std::round(stroke)) < 1e-5;
            if (stroke < 0 || stroke >= strokes || isOnEdge) {
                columns.push_back({{-1, -1, 0, 0, 0}, isOnEdge});
                continue;
            }
            auto const k = static_cast<std::size_t>(stroke);
            double const noise = Noise(static_cast<double>(i) / 20 + static_cast<double>(k) * 1000);
            auto const& [low, high, start] = laid[k];
            double const begin = low + 20 * noise;
            double const end = high + 20 * noise;
            columns.push_back({{begin, end, k % 2 == 0 ? start - begin : end + start, k % 2 == 0 ? 1.0 : -1.0,
                                rough * (noise / 2 + 1) / 2 + 1 - rough},
                               false});
        }
    }

    static double Noise(double x) {
        auto const at = [](std::uint64_t m) {
            constexpr std::uint64_t kMask = 0xffffffffULL;
            std::uint64_t const q = ((m << 13U) & kMask) ^ m;
            std::uint64_t const inner = (((q * q) & kMask) * 15731 + 789221) & kMask;
            return 1.0 - static_cast<double>((q * inner + 1376312589) % 2147483648ULL) / 1073741824.0;
        };
        double sum = 0;
        for (int octave = 0; octave < 8; ++octave) {
            double const place = x * std::pow(2, octave);
            double const f = place - std::floor(place);
            auto const cell = static_cast<std::uint64_t>(place);
            double const blend = 6 * std::pow(f, 5) - 15 * std::pow(f, 4) + 10 * std::pow(f, 3);
            sum += std::pow(0.5, octave) * (at(cell) * (1 - blend) + at(cell + 1) * blend);
        }
        return sum;
    }

    struct Column {
        std::array<double, 5> rows;
        bool isOnEdge;
    };
    double cosine, sine, offset;
    std::size_t count;
    double pathLength = 0;
    std::vector<Column> columns;
};

TEST_F(TileTransitionsTest, WaterbrushPaintsAlongItsPath) {
    for (Size const& size : {Size{160, 90}, Size{90, 160}, Size{121, 121}}) {
        Picture const first = MakeNoise(size, 1);
        Picture const second = MakeNoise(size, 2);
        for (auto const& [type, degrees, strokes, rough] : {std::tuple{1, 30, 5, 50U},
                                                            {1, -60, 4, 100U},
                                                            {0, 30, 6, 30U},
                                                            {1, 0, 3, 0U},
                                                            {0, -90, 5, 50U},
                                                            {2, 90, 2, 80U}}) {
            Proc::SettingsTransitionWaterbrush settings;
            settings.SetType(type);
            settings.SetAngle(degrees);
            settings.SetSize(strokes);
            settings.SetRough(rough);
            Brush const brush(size.width, size.height, degrees, strokes, type == 0 ? -0.15 : 0.01, rough / 100.0);
            for (double const progress : {0.0, 0.15, 0.5, 0.93, 1.0}) {
                double const p = type == 0 ? 0.05 + 0.825 * progress : progress;
                double const fade = p > 0.9 ? (p - 0.9) * 10 : 0;
                double const time = std::min(1.0, p / 0.9) * brush.pathLength;
                Picture const actual = Run(settings, first, second, {.progress = progress});
                Picture const expected = Expected(actual, [&](double u, double v) -> std::optional<Rgba> {
                    double const s = (u + 1) / 2;
                    double const t = (v + 1) / 2;
                    Rgba const from = first.SampleNearest(s, t);
                    Rgba const to = second.SampleNearest(s, t);
                    double const x = brush.cosine * s * size.width + brush.sine * t * size.height;
                    double const y = brush.cosine * t * size.height - brush.sine * s * size.width;
                    auto const find = [&](double place) -> Brush::Column const* {
                        bool const isBetween = std::fabs(place - std::round(place)) < 0.01;
                        double const last = static_cast<double>(brush.count) - 1;
                        Brush::Column const& column =
                            brush.columns[static_cast<std::size_t>(std::clamp(std::floor(place), 0.0, last))];
                        return isBetween || column.isOnEdge ? nullptr : &column;
                    };
                    Brush::Column const* const straight = find(x + brush.offset);
                    if (straight == nullptr) {
                        return std::nullopt;
                    }
                    double const bend = (straight->rows[1] - y) * (y - straight->rows[0]) / (6.0 * size.width);
                    Brush::Column const* const column = find(x + brush.offset + bend);
                    if (column == nullptr) {
                        return std::nullopt;
                    }
                    auto const& [begin, end, offset, sign, density] = column->rows;
                    double const since = time - offset - sign * y;
                    bool const isPure = fade > 0.9999;
                    bool const isOutside = y < begin || y > end;
                    double const near = std::min({std::fabs(y - begin), std::fabs(end - y), std::fabs(since)});
                    if (!isPure && near < 0.01 && !(isOutside && begin == end)) {
                        return std::nullopt;
                    }
                    return Mix(from, to, !isOutside && since > 0 ? density * (1 - fade) + fade : fade);
                });
                EXPECT_TRUE(IsNear(actual, expected, kUnfiltered)) << Describe(settings) << " at " << progress;
            }
        }
    }
}

TEST_F(TileTransitionsTest, TheBrushIsLaidOutAnewForAnotherSizeOnly) {
    Proc::SettingsTransitionWaterbrush settings;
    auto const transition = MakeTransition(settings);
    auto const picture = [](unsigned width, std::uint32_t seed) { return Picture::Noise(width, 70, false, seed); };
    Picture const before = DrawNext(*transition, picture(110, 1), picture(110, 2), 0.4);
    settings.SetAngle(-40);
    settings.SetSize(5);
    settings.SetRough(90);
    transition->SetSettings(settings);
    EXPECT_TRUE(IsNear(DrawNext(*transition, picture(110, 1), picture(110, 2), 0.4), before, 0));
    EXPECT_TRUE(IsNear(DrawNext(*transition, picture(111, 1), picture(111, 2), 0.4),
                       Run(settings, picture(111, 1), picture(111, 2), {.progress = 0.4}), 0));
}

TEST_F(TileTransitionsTest, RefuseNegativeCounts) {
    Picture const picture = Picture::Noise(8, 4);
    Proc::SettingsTransitionShatter shatter;
    shatter.SetNum(-3);
    EXPECT_THROW(Run(shatter, picture, picture), std::length_error);
    Proc::SettingsTransitionWaterbrush brush;
    brush.SetSize(-3);
    EXPECT_THROW(Run(brush, picture, picture), std::length_error);
}

}  // namespace
}  // namespace Kaltor::Tests
