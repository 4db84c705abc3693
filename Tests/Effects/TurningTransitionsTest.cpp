// The transitions whose pictures turn in space, against rays cast through plain numbers.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <vector>

#include <fmt/format.h>
#include <glm/geometric.hpp>

#include "Proc/Effects/EffectsOgl/Transitions/Jigsaw.h"
#include "Proc/Settings/SettingsMeshTransitions.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kCamera = 4.0;

using TurningTransitionsTest = TransitionFixture;

/// What a ray meets: nothing, the outgoing picture or the incoming one.
enum class Hit { None, First, Second };

/// Casts 4 x 4 rays a pixel: where what is drawn covers, and which picture it shows. The pictures are red and green.
void ExpectShape(Picture const& drawn, std::function<Hit(double s, double t)> const& cast, std::string const& what) {
    constexpr int kRays = 4;
    double sum = 0.0;
    int wrongSides = 0;
    int ragged = 0;
    for (unsigned y = 0; y < drawn.height; ++y) {
        for (unsigned x = 0; x < drawn.width; ++x) {
            std::array<int, 3> hits{};
            for (int ray = 0; ray < kRays * kRays; ++ray) {
                double const s = (x + (ray % kRays + 0.5) / kRays) / drawn.width;
                double const t = 1.0 - (y + (ray / kRays + 0.5) / kRays) / drawn.height;
                ++hits[static_cast<std::size_t>(cast(s, t))];
            }
            Rgba const& pixel = drawn.At(x, y);
            double const missed = 1.0 - hits[0] / double{kRays * kRays} - pixel[3];
            sum += missed;
            ragged += std::abs(missed) > 0.3 ? 1 : 0;
            if (hits[0] + hits[1] == 0 || hits[0] + hits[2] == 0) {
                wrongSides += (pixel[0] > pixel[1]) == (hits[2] > 0) && pixel[3] > 0 ? 1 : 0;
            }
        }
    }
    EXPECT_EQ(wrongSides, 0) << what;
    // Tips of less than a pixel, and the insides of folds, lose a little.
    EXPECT_LT(ragged, 48) << what;
    EXPECT_LT(std::abs(sum) / (drawn.width * drawn.height), 6e-3) << what;
}

Picture const kRed = Picture::Flat(96, 54, {1, 0, 0, 1}, true);
Picture const kGreen = Picture::Flat(96, 54, {0, 1, 0, 1}, true);

TEST_F(TurningTransitionsTest, TheRibbonIsTwistedAboutItsAxis) {
    for (int direction = 0; direction < 4; ++direction) {
        for (int const turns : {1, 2}) {
            Proc::SettingsTransitionTwist settings;
            settings.SetDir(direction);
            settings.SetTurns(turns);
            double const length = direction < 2 ? 16.0 / 9 : 9.0 / 16;
            double const width = std::clamp((turns == 1 ? 1.1 : 2.0) / length, 0.35, 2.0);
            for (double const progress : {turns == 1 ? 0.3 : 0.6}) {
                auto const cast = [&](double s, double t) {
                    double along = 2 * (direction < 2 ? s : t) - 1;
                    along *= direction % 2 == 0 ? length : -length;
                    double const across = 2 * (direction < 2 ? t : s) - 1;
                    auto const turn = [&](double reach) {
                        double const c =
                            std::clamp((progress * (1 + width) - (along * reach / length + 1) / 2) / width, 0.0, 1.0);
                        return (turns | 1) * kPi * c * c * c * (10 + c * (6 * c - 15));
                    };
                    // Along the ray, over the ribbon where positive on its front.
                    auto const height = [&](double reach) {
                        double const theta = turn(reach);
                        return kCamera * (1 - reach) * std::cos(theta) - across * reach * std::sin(theta);
                    };
                    constexpr double kStep = 1.0 / 100;
                    double before = height(1 - 1 / kCamera - kStep);
                    for (double reach = 1 - 1 / kCamera; reach < 1 + 1 / kCamera + kStep; reach += kStep) {
                        double const after = height(reach);
                        if ((before > 0) != (after > 0)) {
                            double const at = reach - kStep * after / (after - before);
                            if (std::hypot(across * at, kCamera * (1 - at)) <= 1 && std::abs(along * at) <= length) {
                                return before > 0 ? Hit::First : Hit::Second;
                            }
                        }
                        before = after;
                    }
                    return Hit::None;
                };
                ExpectShape(Run(settings, kRed, kGreen, {.progress = progress}), cast,
                            fmt::format("{} at {}", Describe(settings), progress));
            }
        }
    }
}

TEST_F(TurningTransitionsTest, TheTwistRunsItsWayAndLeavesPicturesInPlace) {
    for (bool const hasAlpha : {false, true}) {
        Picture const first = Picture::Noise(60, 60, hasAlpha, 1);
        Picture const second = Picture::Noise(60, 60, hasAlpha, 2);
        for (int direction = 0; direction < 4; ++direction) {
            Proc::SettingsTransitionTwist settings;
            settings.SetDir(direction);
            for (double const progress : {0.2, 0.8}) {
                Picture const drawn = Run(settings, first, second, {.progress = progress});
                // The twist, as long as the picture and a tenth of it, has come to 0.42 of the way, and has left 0.58
                // of it.
                Picture const& rest = progress < 0.5 ? first : second;
                for (unsigned i = 0; i < 34; ++i) {
                    unsigned const place = (direction % 2 == 0) == (progress < 0.5) ? 59 - i : i;
                    for (unsigned j = 0; j < 60; ++j) {
                        unsigned const x = direction < 2 ? place : j;
                        unsigned const y = direction < 2 ? j : 59 - place;
                        ASSERT_TRUE(rest.At(x, y) == drawn.At(x, y) || rest.At(x, y)[3] == 0)
                            << Describe(settings) << " at " << progress << ": " << x << ", " << y;
                    }
                }
            }
        }
    }
}

TEST_F(TurningTransitionsTest, BothSidesAreUprightWhereTheyComeToRest) {
    Picture const flat = Picture::Flat(60, 60, {0, 0, 0, 1});
    Picture const first = ForEachPixel(flat, [](double s, double t) { return Rgba{s, t, 0, 1}; });
    Picture const second = ForEachPixel(flat, [](double s, double t) { return Rgba{t, 0, s, 1}; });
    auto const expect = [&](Proc::Settings const& settings, double progress, bool isAcross, unsigned from,
                            unsigned to) {
        Picture const drawn = Run(settings, first, second, {.progress = progress});
        Picture const& wanted = progress < 0.5 ? first : second;
        for (unsigned i = from; i < to; ++i) {
            for (unsigned j = 4; j < 56; ++j) {
                unsigned const x = isAcross ? i : j;
                unsigned const y = isAcross ? j : 59 - i;
                for (std::size_t c = 0; c < 3; ++c) {
                    ASSERT_NEAR(drawn.At(x, y)[c], wanted.At(x, y)[c], 0.1)
                        << Describe(settings) << " at " << progress << ": " << x << ", " << y;
                }
            }
        }
    };
    for (int direction = 0; direction < 4; ++direction) {
        Proc::SettingsTransitionTwist twist;
        twist.SetDir(direction);
        // Just within the twist, where it has hardly begun, and where it is all but over.
        unsigned const begun = direction % 2 == 0 ? 22 : 37;
        unsigned const settling = 59 - begun;
        expect(twist, 0.2, direction < 2, begun, begun + 1);
        expect(twist, 0.8, direction < 2, settling, settling + 1);
    }
    for (int const axis : {0, 1, 2}) {
        Proc::SettingsTransitionMosaic mosaic;
        mosaic.SetNum(1);
        mosaic.SetAxis(axis);
        expect(mosaic, 0.04, true, 4, 56);
        expect(mosaic, 0.96, true, 4, 56);
    }
}

TEST_F(TurningTransitionsTest, TilesTurnInSpace) {
    // Three tiles side by side, one after another.
    constexpr double kDuration = 0.35 + 0.65 / 3;
    constexpr double kStep = (1 - kDuration) / 2;
    Picture const red = Picture::Flat(108, 36, {0.4, 0, 0, 1}, true);
    Picture const green = Picture::Flat(108, 36, {0, 0.4, 0, 1}, true);
    for (int const axis : {0, 1}) {
        Proc::SettingsTransitionMosaic settings;
        settings.SetNum(1);
        settings.SetAxis(axis);
        auto const draw = [&](double progress) {
            std::srand(4);
            return Run(settings, red, green, {.progress = progress});
        };
        std::array<double, 3> starts{};
        for (unsigned tile = 0; tile < 3; ++tile) {
            for (double const start : {0.0, kStep}) {
                starts.at(tile) += draw(start + 0.8 * kStep).At(18 + 36 * tile, 18) == red.At(0, 0) ? kStep : 0.0;
            }
        }
        for (double const progress : {0.3, 0.42, 0.8}) {
            auto const cast = [=](double s, double t) {
                double const x = 6 * s - 3;  // in halves of the height
                double const y = 2 * t - 1;
                double nearest = 2.0;
                Hit hit = Hit::None;
                for (unsigned tile = 0; tile < 3; ++tile) {
                    double const c = std::clamp((progress - starts.at(tile)) / kDuration, 0.0, 1.0);
                    double const theta = kPi * c * c * (3 - 2 * c);
                    double const middle = 2.0 * tile - 2.0;
                    // Where the ray meets the plane through the tile's axis.
                    double const slope = axis == 0 ? y : x;
                    double const offset = axis == 0 ? 0.0 : middle;
                    double const facing = kCamera * std::cos(theta) + offset * std::sin(theta);
                    double const at = facing / (kCamera * std::cos(theta) + slope * std::sin(theta));
                    double const across =
                        (slope * at - offset) * std::cos(theta) + kCamera * (1 - at) * std::sin(theta);
                    double const along = axis == 0 ? x * at - middle : y * at;
                    if (at > 0 && at < nearest && std::abs(along) <= 1 && std::abs(across) <= 1) {
                        nearest = at;
                        hit = facing > 0 ? Hit::First : Hit::Second;
                    }
                }
                return hit;
            };
            ExpectShape(draw(progress), cast, fmt::format("{} at {}", Describe(settings), progress));
        }
    }
}

TEST_F(TurningTransitionsTest, TilesTurnInAnOrderOfTheirOwnAndRestInPlace) {
    constexpr unsigned kTiles = 4;
    constexpr unsigned kTile = 20;
    constexpr unsigned kSide = kTiles * kTile;
    Picture const first = Picture::Noise(kSide, kSide, false, 1);
    Picture const second = Picture::Noise(kSide, kSide, false, 2);
    // Of each tile: '1' the outgoing picture in its place, '2' the incoming one, '-' neither.
    auto const draw = [&](int axis, unsigned seed, double progress) {
        Proc::SettingsTransitionMosaic settings;
        settings.SetNum(kTiles);
        settings.SetAxis(axis);
        std::srand(seed);
        Picture const drawn = Run(settings, first, second, {.progress = progress});
        std::string states;
        for (unsigned tile = 0; tile < kTiles * kTiles; ++tile) {
            auto const shows = [&](Picture const& picture) {
                for (unsigned i = 0; i < 64; ++i) {
                    unsigned const x = tile % kTiles * kTile + 6 + i % 8;
                    unsigned const y = tile / kTiles * kTile + 6 + i / 8;
                    if (drawn.At(x, y) != picture.At(x, y)) {
                        return false;
                    }
                }
                return true;
            };
            states += shows(first) ? '1' : shows(second) ? '2' : '-';
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
        EXPECT_EQ(draw(axis, 1, 0.5), draw(axis, 1, 0.5));
        EXPECT_NE(draw(axis, 1, 0.5), draw(axis, 2, 0.5));
    }
}

/// To the outline; positive inside.
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
            // One piece alone, and as far inside it as outside its neighbour.
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
    Picture const drawn = Run(Proc::SettingsTransitionPuzzle(), white, black, {.progress = 0.85});
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
    Proc::SettingsTransitionPuzzle settings;
    settings.SetNum(1);
    Picture const first = Picture::Noise(96, 54, false, 1);
    Picture const second = Picture::Noise(96, 54, false, 2);
    auto const isIn = [](Picture const& drawn, Picture const& picture, unsigned x, unsigned y) {
        for (unsigned i = 0; i < 100; ++i) {
            if (drawn.At(x + i % 10, y + i / 10) != picture.At(x + i % 10, y + i / 10)) {
                return false;
            }
        }
        return true;
    };
    // Of two pieces side by side one has lifted off, and the other has not.
    Picture const lifted = Run(settings, first, second, {.progress = 0.1});
    EXPECT_NE(isIn(lifted, first, 10, 20), isIn(lifted, first, 76, 20));

    // A single piece that leaves nothing behind, not even a shadow.
    Picture const red = Picture::Flat(48, 48, {1, 0, 0, 1}, true);
    Picture const clear = Picture::Flat(48, 48, {0, 0, 0, 0}, true);
    auto const sumAlpha = [](Picture const& picture, unsigned from, unsigned to) {
        double sum = 0;
        for (std::size_t i = std::size_t{from} * picture.width; i < std::size_t{to} * picture.width; ++i) {
            sum += picture.pixels[i][3];
        }
        return sum;
    };
    for (int const direction : {0, 1, 2}) {
        settings.SetDir(direction);
        Picture const flown = Run(settings, red, clear, {.progress = 0.7});
        double const upper = sumAlpha(flown, 0, 12);
        double const lower = sumAlpha(flown, 36, 48);
        EXPECT_TRUE(direction == 0 ? upper == 0 && lower > 200 : direction == 1 || (lower == 0 && upper > 200))
            << direction << ": " << upper << ", " << lower;
        settings.SetNum(5);
        Picture const begun = Run(settings, red, clear, {.progress = 0.3});
        EXPECT_TRUE(std::none_of(begun.pixels.begin(), begun.pixels.end(), [](Rgba const& c) {
            return c[3] > 0.05 && c[0] < 0.1;
        })) << "a shadow on nothing";
        double const early = sumAlpha(begun, 0, 48);
        double const late = sumAlpha(Run(settings, red, clear, {.progress = 0.7}), 0, 48);
        EXPECT_LT(early, 48 * 48);
        EXPECT_LT(late, 0.7 * early);
        EXPECT_LT(sumAlpha(Run(settings, red, clear, {.progress = 0.995}), 0, 48), 12);
        settings.SetNum(1);
    }
    // What is lifted throws its shadow down to the right.
    settings.SetDir(0);
    settings.SetNum(3);
    Picture const grey = Picture::Flat(96, 96, {0.5, 0.5, 0.5, 1});
    Picture const shaded = Run(settings, grey, grey, {.progress = 0.2});
    EXPECT_TRUE(std::any_of(shaded.pixels.begin(), shaded.pixels.end(), [](Rgba const& c) { return c[0] < 0.35; }));
}

}  // namespace
}  // namespace Kaltor::Tests
