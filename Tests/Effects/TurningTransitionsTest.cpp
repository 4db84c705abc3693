// The transitions whose pictures turn in space, against a rasteriser of plain numbers.

#include <glm/geometric.hpp>

#include "Proc/Effects/EffectsOgl/Transitions/Jigsaw.h"
#include "Tests/Support/Scene.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kCamera = 4.0;

/// Without light and gloss, which add the same to all channels: these pictures have one that is 0.
Rgba Unlit(Rgba const& color) {
    double const gloss = std::min({color[0], color[1], color[2]});
    double const sum = color[0] + color[1] + color[2] - 3 * gloss;
    return EachColor(color, [&](std::size_t c) { return color[3] > 0.02 && sum > 0 ? (color[c] - gloss) / sum : 0; });
}

class TurningTransitionsTest : public TransitionFixture {
protected:
    /// Places in colours: from left to right, from bottom to top.
    static Picture MakePlaces(Size const& size, bool isSecond) {
        return ForEachPixel(Picture(size.width, size.height, true), [isSecond](double s, double t) {
            double const right = std::round(25 + 77 * s) / 255;
            double const up = std::round(25 + 77 * t) / 255;
            return isSecond ? Rgba{0, up, right, 1} : Rgba{right, up, 0, 1};
        });
    }
    /// Which side is seen, and which part of the picture. Edges are a pixel wide.
    static void ExpectScene(Picture const& drawn, Scene& scene, std::string const& what) {
        scene.margin = scene.hasDepth ? 0.75 : 1.0;
        Picture expected = scene.DrawLike(drawn);
        Picture unlit = drawn;
        for (std::size_t i = 0; i < drawn.pixels.size(); ++i) {
            unlit.pixels[i] = Unlit(drawn.pixels[i]);
            expected.pixels[i] = expected.pixels[i] == kUndecided ? kUndecided : Unlit(expected.pixels[i]);
        }
        EXPECT_TRUE(IsNear(unlit, expected, 0.04)) << what;
    }
};

TEST_F(TurningTransitionsTest, TheRibbonIsTwistedAboutItsAxis) {
    constexpr Size kSize{128, 72};
    Picture const first = MakePlaces(kSize, false);
    Picture const second = MakePlaces(kSize, true);
    for (int direction = 0; direction < 4; ++direction) {
        for (auto const& [turns, progress] : {std::pair{1, 0.3}, {4, 0.5}}) {
            bool const isAcross = direction < 2;
            double const sign = direction % 2 == 0 ? 1 : -1;
            double const length = isAcross ? 16.0 / 9 : 9.0 / 16;
            double const width = std::clamp((turns == 1 ? 1.1 : 2.9) / length, 0.35, 2.0);
            // Along the ribbon, 0 to 1, and across, -1 to 1.
            auto const bend = [&, turns = turns, progress = progress](double u, double v) {
                double const c = std::clamp((progress * (1 + width) - u) / width, 0.0, 1.0);
                double const theta = (turns | 1) * kPi * c * c * c * (10 + c * (6 * c - 15));
                double const along = sign * (2 * u - 1);
                double const y = v * std::cos(theta);
                return isAcross ? Vertex{along, y, v * std::sin(theta), 0.5 + along / 2, 0.5 + v / 2}
                                : Vertex{y, along, v * std::sin(theta), 0.5 + v / 2, 0.5 + along / 2};
            };
            Scene scene;
            scene.project = [](Vertex const& v) { return glm::dvec4(v.x, v.y, -1, 1 - v.z / kCamera); };
            auto const shade = [&](Fragment const& f) {
                if (f.isFront == (isAcross == (sign > 0))) {
                    return f.texel;
                }
                return isAcross ? second.Sample(f.s, 1 - f.t) : second.Sample(1 - f.s, f.t);
            };
            scene.hasDepth = true;
            constexpr int kStrips = 80;
            for (int i = 0; i < kStrips; ++i) {
                double const low = 1.0 * i / kStrips;
                double const high = (i + 1.0) / kStrips;
                for (double const v : {-1.0, -0.5, 0.0, 0.5}) {
                    scene.AddQuad({bend(low, v), bend(high, v), bend(high, v + 0.5), bend(low, v + 0.5)}, first, shade);
                }
            }
            std::string const settings =
                fmt::format("TransitionTwist dir={} turns={} background=black thickness=0", direction, turns);
            ExpectScene(Run(settings, first, second, {.progress = progress}), scene, settings);
        }
    }
}

TEST_F(TurningTransitionsTest, TilesTurnInSpace) {
    // Three tiles side by side, one after another; lengths are in halves of the height.
    constexpr Size kSize{150, 50};
    constexpr double kDuration = 0.35 + 0.65 / 3;
    constexpr double kStep = (1 - kDuration) / 2;
    Picture const first = MakePlaces(kSize, false);
    Picture const second = MakePlaces(kSize, true);
    for (int const axis : {0, 1}) {
        std::string const settings =
            fmt::format("TransitionMosaic num=1 axis={} background=black order=random thickness=0", axis);
        auto const draw = [&](double progress) {
            std::srand(4);
            return Run(settings, first, second, {.progress = progress});
        };
        std::array<double, 3> starts{};
        for (unsigned tile = 0; tile < 3; ++tile) {
            for (double const start : {0.0, kStep}) {
                unsigned const x = 2 + 50 * tile;
                starts.at(tile) += draw(start + 0.8 * kStep).At(x, 2) == first.At(x, 2) ? kStep : 0.0;
            }
        }
        for (double const progress : {0.3, 0.42, 0.8}) {
            Scene scene;
            scene.project = [](Vertex const& v) { return glm::dvec4(v.x / 3, v.y, -1, 1 - v.z / kCamera); };
            for (unsigned const tile : {0U, 2U, 1U}) {  // from the outer ones to the middle
                double const c = std::clamp((progress - starts.at(tile)) / kDuration, 0.0, 1.0);
                double const theta = kPi * c * c * (3 - 2 * c);
                double const middle = 2.0 * tile - 2.0;
                auto const turn = [&](double u, double v) {
                    double const across = axis == 0 ? v : u;
                    double const turned = across * std::cos(theta);
                    return Vertex{middle + (axis == 0 ? u : turned), axis == 0 ? turned : v, across * std::sin(theta),
                                  (tile + 0.5 + u / 2) / 3, 0.5 + v / 2};
                };
                scene.AddQuad({turn(-1, -1), turn(1, -1), turn(1, 1), turn(-1, 1)}, first,
                              [&, tile](Fragment const& f) {
                                  return f.isFront   ? f.texel
                                         : axis == 0 ? second.Sample(f.s, 1 - f.t)
                                                     : second.Sample((2.0 * tile + 1) / 3 - f.s, f.t);
                              });
            }
            ExpectScene(draw(progress), scene, fmt::format("{} at {}", settings, progress));
        }
    }
}

/// Whether a square of a picture shows another one to the byte.
bool IsPart(Picture const& drawn, Picture const& picture, unsigned x, unsigned y, unsigned side) {
    for (unsigned i = 0; i < side * side; ++i) {
        if (drawn.At(x + i % side, y + i / side) != picture.At(x + i % side, y + i / side)) {
            return false;
        }
    }
    return true;
}

TEST_F(TurningTransitionsTest, TilesTurnInAnOrderOfTheirOwnAndRestInPlace) {
    constexpr unsigned kTiles = 4;
    constexpr unsigned kTile = 20;
    constexpr unsigned kSide = kTiles * kTile;
    Picture const first = Picture::Noise(kSide, kSide, false, 1);
    Picture const second = Picture::Noise(kSide, kSide, false, 2);
    // For each tile: '1' the outgoing picture in its place, '2' the incoming one, '-' neither.
    auto const draw = [&](int axis, unsigned seed, double progress) {
        std::srand(seed);
        Picture const drawn =
            Run(fmt::format("TransitionMosaic num=4 axis={} background=black order=random thickness=0", axis), first,
                second, {.progress = progress});
        std::string states;
        for (unsigned tile = 0; tile < kTiles * kTiles; ++tile) {
            unsigned const x = tile % kTiles * kTile + 6;
            unsigned const y = tile / kTiles * kTile + 6;
            states += IsPart(drawn, first, x, y, 8) ? '1' : IsPart(drawn, second, x, y, 8) ? '2' : '-';
        }
        return states;
    };
    constexpr double kDuration = 0.35 + 0.65 / 16;
    constexpr double kStep = (1 - kDuration) / 15;
    auto const countBegun = [&](double progress) {
        return std::clamp(static_cast<int>(std::floor(progress / kStep + 1)), 0, 16);
    };
    for (int const axis : {0, 1, 2}) {
        std::string before(16, '1');
        for (int const step : {4, 10, 13, 17, 22}) {
            double const progress = (step + 0.81) * kStep;  // no tile has just begun or is about to arrive
            std::string const states = draw(axis, 1, progress);
            EXPECT_EQ(std::count(states.begin(), states.end(), '1'), 16 - countBegun(progress)) << states;
            EXPECT_EQ(std::count(states.begin(), states.end(), '2'), countBegun(progress - kDuration)) << states;
            for (std::size_t i = 0; i < states.size(); ++i) {
                EXPECT_TRUE(before[i] != '2' || states[i] == '2') << before << " to " << states;
            }
            before = states;
        }
        EXPECT_NE(draw(axis, 1, 0.5), draw(axis, 2, 0.5));
    }
}

/// The distance to the outline; positive inside.
double GetInside(Ogl::Jigsaw const& jigsaw, int column, int row, double x, double y) {
    glm::dvec2 const d = jigsaw.GetDistances(column, row, x, y);
    return std::max(d.x, d.y) < 0 ? -glm::length(d) : std::min(d.x, d.y);
}

TEST_F(TurningTransitionsTest, PuzzlePiecesInterlock) {
    constexpr double kWidth = 1.1;
    Ogl::TileGrid const grid{5, 4};
    Ogl::Jigsaw const jigsaw(grid, kWidth, 1.0, 7);
    int tabsOut = 0;
    int tabsIn = 0;
    double furthest = 0.0;
    for (int j = 0; j < 4 * 60; ++j) {
        for (int i = 0; i < 5 * 60; ++i) {
            double const x = (i + 0.5) / 60 * kWidth;
            double const y = (j + 0.5) / 60;
            std::vector<double> distances;
            for (int row = 0; row < grid.rows; ++row) {
                for (int column = 0; column < grid.columns; ++column) {
                    double const dx = x - (column + 0.5) * kWidth;
                    double const dy = y - (row + 0.5);
                    double const distance = GetInside(jigsaw, column, row, dx, dy);
                    double const moved = GetInside(jigsaw, column, row, dx + 0.003, dy - 0.004);
                    ASSERT_LT(std::abs(moved - distance), 0.005 * 1.25) << "no distance at " << dx << ", " << dy;
                    if (distance > 0) {
                        double const beyond = std::max(std::abs(dx) - kWidth / 2, std::abs(dy) - 0.5);
                        furthest = std::max(furthest, beyond);
                        tabsOut += beyond > 0.2 && dx + dy > 0 ? 1 : 0;
                        tabsIn += beyond > 0.2 && dx + dy < 0 ? 1 : 0;
                    }
                    distances.push_back(distance);
                }
            }
            std::sort(distances.rbegin(), distances.rend());
            // A point that lies in one piece only, and as far inside it as outside its neighbour.
            ASSERT_TRUE(distances[0] > 0 && distances[1] <= 0) << x << ", " << y;
            ASSERT_TRUE(distances[0] > 0.05 || distances[0] + distances[1] < 1e-9 || std::abs(x / kWidth - 2.5) > 2.4 ||
                        std::abs(y - 2) > 1.9)
                << x << ", " << y;
        }
    }
    EXPECT_GT(furthest, 0.22);
    EXPECT_LT(furthest, Ogl::Jigsaw::kTabReach);
    EXPECT_GT(tabsOut, 0);
    EXPECT_GT(tabsIn, 0);
    EXPECT_NE(GetInside(Ogl::Jigsaw(grid, kWidth, 1.0, 8), 2, 2, 0.3, 0.3), GetInside(jigsaw, 2, 2, 0.3, 0.3));
}

TEST_F(TurningTransitionsTest, PuzzleLeavesNoSpecksWherePiecesMet) {
    Picture const white = Picture::Flat(640, 360, {1, 1, 1, 1});
    Picture const black = Picture::Flat(640, 360, {0, 0, 0, 1});
    std::srand(1);
    Picture const drawn = Run("TransitionPuzzle", white, black, {.progress = 0.85});
    constexpr unsigned kAway = 5;
    for (unsigned y = kAway; y < drawn.height - kAway; ++y) {
        for (unsigned x = kAway; x < drawn.width - kAway; ++x) {
            if (drawn.At(x, y)[0] > 0.05) {
                EXPECT_TRUE(drawn.At(x - kAway, y)[0] > 0 || drawn.At(x + kAway, y)[0] > 0 ||
                            drawn.At(x, y - kAway)[0] > 0 || drawn.At(x, y + kAway)[0] > 0)
                    << "alone at " << x << ", " << y;
            }
        }
    }
}

TEST_F(TurningTransitionsTest, PuzzlePiecesRestLeaveAndThrowShadows) {
    Picture const first = Picture::Noise(96, 54, false, 1);
    Picture const second = Picture::Noise(96, 54, false, 2);
    // One of two neighbouring pieces has lifted off, the other has not.
    Picture const lifted = Run("TransitionPuzzle num=1", first, second, {.progress = 0.1});
    EXPECT_NE(IsPart(lifted, first, 10, 20, 10), IsPart(lifted, first, 76, 20, 10));

    // Pieces that leave nothing behind, not even a shadow.
    Picture const red = Picture::Flat(48, 48, {1, 0, 0, 1}, true);
    Picture const clear = Picture::Flat(48, 48, {0, 0, 0, 0}, true);
    for (int const direction : {0, 1, 2}) {
        auto const draw = [&](int num, double progress) {
            return Run(fmt::format("TransitionPuzzle num={} dir={}", num, direction), red, clear,
                       {.progress = progress});
        };
        auto const sumAlpha = [](Picture const& picture, std::ptrdiff_t from, std::ptrdiff_t to) {
            return std::accumulate(picture.pixels.begin() + 48 * from, picture.pixels.begin() + 48 * to, 0.0,
                                   [](double sum, Rgba const& pixel) { return sum + pixel[3]; });
        };
        Picture const flown = draw(1, 0.7);
        double const upper = sumAlpha(flown, 0, 12);
        double const lower = sumAlpha(flown, 36, 48);
        EXPECT_TRUE(direction == 0 ? upper == 0 && lower > 200 : direction == 1 || (lower == 0 && upper > 200))
            << direction << ": " << upper << ", " << lower;
        Picture const begun = draw(5, 0.3);
        EXPECT_TRUE(std::none_of(begun.pixels.begin(), begun.pixels.end(), [](Rgba const& c) {
            return c[3] > 0.05 && c[0] < 0.1;
        })) << "a shadow on nothing";
        EXPECT_LT(sumAlpha(begun, 0, 48), 48 * 48);
        EXPECT_LT(sumAlpha(draw(5, 0.7), 0, 48), 0.7 * sumAlpha(begun, 0, 48));
        EXPECT_LT(sumAlpha(draw(5, 0.995), 0, 48), 12);
    }
    // What is lifted throws its shadow.
    Picture const grey = Picture::Flat(96, 96, {0.5, 0.5, 0.5, 1});
    Picture const shaded = Run("TransitionPuzzle num=3", grey, grey, {.progress = 0.2});
    EXPECT_TRUE(std::any_of(shaded.pixels.begin(), shaded.pixels.end(), [](Rgba const& c) { return c[0] < 0.35; }));
}

}  // namespace
}  // namespace Kaltor::Tests
