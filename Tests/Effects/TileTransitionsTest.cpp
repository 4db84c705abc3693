// Transitions of tiles and shards and the brush that paints: pictures by formula.

#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"
#include "Proc/Effects/EffectsOgl/Transitions/TransitionShatter.h"
#include "Tests/Support/Scene.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using Ogl::ShardImpulse;
using Ogl::TileGrid;
using TileTransitionsTest = TransitionFixture;

/// As many tiles as the default rule gives, `num` across half of the shorter side.
TileGrid MakeGrid(Picture const& like, int num) {
    double const aspect = static_cast<double>(like.width) / like.height;
    return {static_cast<int>(2 * std::floor(num * std::max(aspect, 1.0) + 0.5)),
            static_cast<int>(2 * std::floor(num * std::max(1 / aspect, 1.0) + 0.5))};
}

TEST_F(TileTransitionsTest, DisintegrateSpreadsAndShrinksTiles) {
    for (int const num : {1, 3}) {
        Expect(fmt::format("TransitionDisintegrate num={}", num), {0.03, 0.1, 0.37},
               [num](Picture const& first, Picture const& second, double p) {
                   auto const [columns, rows] = MakeGrid(first, num);
                   double const spread = std::min(columns, rows) * p + 1;
                   Scene scene;
                   scene.AddWhole(-1, -1, 1, 1, second);
                   for (double i = 0; i < columns; ++i) {
                       for (double j = 0; j < rows; ++j) {
                           double const x = ((2 * i + 1) / columns - 1) * spread;
                           double const y = ((2 * j + 1) / rows - 1) * spread;
                           double const halfX = 1 / ((p + 1) * columns);
                           double const halfY = 1 / ((p + 1) * rows);
                           scene.AddRectangle({i / columns, j / rows, (i + 1) / columns, (j + 1) / rows},
                                              {x - halfX, y - halfY, 0, x + halfX, y + halfY, 0}, first);
                       }
                   }
                   return scene.DrawLike(first);
               },
               kFiltered, {{64, 36}, {36, 64}, {45, 31}});
    }
}

TEST_F(TileTransitionsTest, PiecesSlideInWhileTheyFadeIn) {
    Expect("TransitionPieces", {0.1, 0.85}, [](Picture const& first, Picture const& second, double p) {
        Scene scene;
        scene.AddWhole(-1, -1, 1, 1, first);
        for (double i = 0; i < 3; ++i) {
            for (double j = 0; j < 3; ++j) {
                // The outer pieces come from outside, each from its own side.
                double const x = (2 * i - 3) / 3 + (i - 1) * (1 - p) * 2 / 3;
                double const y = (2 * j - 3) / 3 + (j - 1) * (1 - p) * 2 / 3;
                scene.AddRectangle({i / 3, j / 3, (i + 1) / 3, (j + 1) / 3}, {x, y, 0, x + 2.0 / 3, y + 2.0 / 3, 0},
                                   second, MakeBlend(p));
            }
        }
        return scene.DrawLike(first);
    });
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

TEST_F(TileTransitionsTest, ShatterFadesShardsOverTheIncomingPicture) {
    for (int const direction : {0, 1, 2, 3}) {
        Expect(fmt::format("TransitionShatter num=2 dir={}", direction), {0.07, 0.4},
               [&](Picture const& first, Picture const& second, double p) {
                   double const aspect = static_cast<double>(first.width) / first.height;
                   auto const [columns, rows] = MakeGrid(first, 2);
                   std::srand(kSeed);
                   std::vector<ShardImpulse> const impulses = DrawImpulses(static_cast<std::size_t>(columns * rows));
                   Scene scene;
                   scene.AddWhole(-1, -1, 1, 1, second);
                   for (int shard = 0; shard < columns * rows; ++shard) {
                       ShardImpulse const& impulse = impulses[static_cast<std::size_t>(shard)];
                       double const i = shard % columns;
                       double const j = shard / columns;
                       double const away = direction == 0 ? 1 + impulse.travel * p : 1;
                       double const growth = direction == 0 ? 1 + impulse.growth * p : 1;
                       double const drop = direction == 1 ? -2 : direction == 2 ? 2 : 0;
                       std::array<Vertex, 4> corners{};
                       for (std::size_t k = 0; k < 4; ++k) {
                           double const u = k == 1 || k == 2 ? 1 : -1;
                           double const v = k > 1 ? 1 : -1;
                           // Turned on screen, not in the frame's coordinates.
                           double const x = u * growth / columns * aspect;
                           double const y = v * growth / rows;
                           double const turn = impulse.spin * p;
                           corners[k] = {
                               ((2 * i + 1) / columns - 1) * away + (x * std::cos(turn) - y * std::sin(turn)) / aspect,
                               ((2 * j + 1) / rows - 1) * away + drop * impulse.travel * p + x * std::sin(turn) +
                                   y * std::cos(turn),
                               0, (i + (u + 1) / 2) / columns, (j + (v + 1) / 2) / rows};
                       }
                       scene.AddQuad(corners, first, MakeBlend(1 - p));
                   }
                   // Four samples per pixel; transparent ones add no colour.
                   Picture fine = scene.Draw(2 * first.width, 2 * first.height, first.hasAlpha);
                   for (Rgba& pixel : fine.pixels) {
                       pixel = pixel == kUndecided
                                   ? pixel
                                   : EachColor(pixel, [&](std::size_t c) { return pixel[c] * pixel[3]; });
                   }
                   Picture expected = Halve(fine);
                   for (Rgba& pixel : expected.pixels) {
                       pixel = pixel == kUndecided ? pixel : Straight(pixel);
                   }
                   return expected;
               },
               // Blending rounds once per shard.
               kFiltered + 2.0 / 255.0, {{64, 36}, {31, 46}});
    }
}

TEST_F(TileTransitionsTest, ShardsAtRestLeaveNoCracks) {
    for (Size const& size : kSizes) {
        Picture const first = Picture::Flat(size.width, size.height, {1, 0, 0, 1});
        Picture const second = Picture::Flat(size.width, size.height, {0, 0, 1, 1});
        for (int const num : {1, 2, 3, 5, 7, 13}) {
            std::string const settings = fmt::format("TransitionShatter num={}", num);
            EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = 0}), first, 0)) << settings;
            EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = 1}), second, 0)) << settings;
        }
    }
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
    for (auto const& [type, degrees, strokes, rough] :
         {std::tuple{1, 30, 5, 50}, {1, -60, 4, 100}, {0, 30, 6, 30}, {0, -90, 5, 50}, {2, 90, 2, 80}}) {
        Expect(fmt::format("TransitionWaterbrush type={} angle={} size={} rough={}", type, degrees, strokes, rough),
               {0.4, 0.93},
               [&, type = type, degrees = degrees, strokes = strokes, rough = rough](
                   Picture const& first, Picture const& second, double progress) {
                   Size const size{first.width, first.height};
                   Brush const brush(size.width, size.height, degrees, strokes, type == 0 ? -0.15 : 0.01,
                                     rough / 100.0);
                   double const p = type == 0 ? 0.05 + 0.825 * progress : progress;
                   double const fade = p > 0.9 ? (p - 0.9) * 10 : 0;
                   double const time = std::min(1.0, p / 0.9) * brush.pathLength;
                   return ForEachPixel(first, [&](double s, double t) {
                       double const x = brush.cosine * s * size.width + brush.sine * t * size.height;
                       double const y = brush.cosine * t * size.height - brush.sine * s * size.width;
                       auto const find = [&](double place) -> Brush::Column const* {
                           bool const isBetween = std::fabs(place - std::round(place)) < 0.01;
                           double const last = static_cast<double>(brush.count) - 1;
                           Brush::Column const& column =
                               brush.columns[static_cast<std::size_t>(std::clamp(std::floor(place), 0.0, last))];
                           return isBetween || column.isOnEdge ? nullptr : &column;
                       };
                       Brush::Column const* column = find(x + brush.offset);
                       if (column != nullptr) {
                           double const bend = (column->rows[1] - y) * (y - column->rows[0]) / (6.0 * size.width);
                           column = find(x + brush.offset + bend);
                       }
                       if (column == nullptr) {
                           return kUndecided;
                       }
                       auto const& [begin, end, offset, sign, density] = column->rows;
                       double const since = time - offset - sign * y;
                       bool const isOutside = y < begin || y > end;
                       double const near = std::min({std::fabs(y - begin), std::fabs(end - y), std::fabs(since)});
                       if (near < 0.01 && !(isOutside && begin == end)) {
                           return kUndecided;
                       }
                       return Mix(first.SampleNearest(s, t), second.SampleNearest(s, t),
                                  !isOutside && since > 0 ? density * (1 - fade) + fade : fade);
                   });
               },
               kUnfiltered, {{160, 90}, {91, 160}});
    }
}

TEST_F(TileTransitionsTest, TheBrushIsLaidOutAnewForAnotherSizeOnly) {
    auto const transition = MakeTransition(*Typed("TransitionWaterbrush"));
    auto const picture = [](unsigned width, std::uint32_t seed) { return Picture::Noise(width, 70, false, seed); };
    Picture const before = DrawNext(*transition, picture(110, 1), picture(110, 2), 0.4);
    std::string const settings = "TransitionWaterbrush angle=-40 size=5 rough=90";
    transition->SetSettings(*Typed(settings));
    EXPECT_TRUE(IsNear(DrawNext(*transition, picture(110, 1), picture(110, 2), 0.4), before, 0));
    EXPECT_TRUE(IsNear(DrawNext(*transition, picture(111, 1), picture(111, 2), 0.4),
                       Run(settings, picture(111, 1), picture(111, 2), {.progress = 0.4}), 0));
}

TEST_F(TileTransitionsTest, RefuseNegativeCounts) {
    Picture const picture = Picture::Noise(8, 4);
    EXPECT_THROW(Run("TransitionShatter num=-3", picture, picture), std::length_error);
    EXPECT_THROW(Run("TransitionWaterbrush size=-3", picture, picture), std::length_error);
}

}  // namespace
}  // namespace Kaltor::Tests
