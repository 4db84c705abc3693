// The transitions whose pictures turn in space, against rays cast through plain numbers.

#include <algorithm>
#include <array>
#include <cmath>
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

}  // namespace
}  // namespace Kaltor::Tests
