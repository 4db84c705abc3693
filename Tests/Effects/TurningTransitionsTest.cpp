// The transitions whose pictures turn in space, against rays cast through plain numbers.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include <fmt/format.h>

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

TEST_F(TurningTransitionsTest, TilesTurnInSpace) {
    // Two tiles side by side, the second one to turn after a third of the time.
    constexpr double kDuration = 0.35 + 0.65 / 2;
    for (int const axis : {0, 1}) {
        Proc::SettingsTransitionMosaic settings;
        settings.SetNum(1);
        settings.SetAxis(axis);
        for (double const progress : {0.3, 0.42, 0.8}) {
            auto const castFor = [&](bool isLeftFirst) {
                return [=](double s, double t) {
                    constexpr double kWidth = 16.0 / 9;  // of both, in halves of their height
                    double const x = kWidth * (2 * s - 1);
                    double const y = 2 * t - 1;
                    double nearest = 2.0;
                    Hit hit = Hit::None;
                    for (int const tile : {0, 1}) {
                        double const start = (tile == 0) == isLeftFirst ? 0.0 : 1 - kDuration;
                        double const c = std::clamp((progress - start) / kDuration, 0.0, 1.0);
                        double const theta = kPi * c * c * (3 - 2 * c);
                        double const middle = (tile - 0.5) * kWidth;
                        // Where the ray meets the plane through the tile's axis.
                        double const slope = axis == 0 ? y : x;
                        double const offset = axis == 0 ? 0.0 : middle;
                        double const facing = kCamera * std::cos(theta) + offset * std::sin(theta);
                        double const at = facing / (kCamera * std::cos(theta) + slope * std::sin(theta));
                        double const across =
                            (slope * at - offset) * std::cos(theta) + kCamera * (1 - at) * std::sin(theta);
                        double const along = axis == 0 ? x * at - middle : y * at;
                        bool const isInside = std::abs(along) <= (axis == 0 ? kWidth / 2 : 1.0) &&
                                              std::abs(across) <= (axis == 0 ? 1.0 : kWidth / 2);
                        if (at > 0 && at < nearest && isInside) {
                            nearest = at;
                            hit = facing > 0 ? Hit::First : Hit::Second;
                        }
                    }
                    return hit;
                };
            };
            std::srand(4);
            Picture const begun = Run(settings, kRed, kGreen, {.progress = 0.2});
            bool const isLeftFirst = begun.At(24, 27)[0] < 1.0;
            std::srand(4);
            ExpectShape(Run(settings, kRed, kGreen, {.progress = progress}), castFor(isLeftFirst),
                        fmt::format("{} at {}", Describe(settings), progress));
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

}  // namespace
}  // namespace Kaltor::Tests
