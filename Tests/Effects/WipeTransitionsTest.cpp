#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

#include "Proc/Settings/SettingsWipeTransitions.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

constexpr double kPi = std::numbers::pi;

class WipeTransitionsTest : public TransitionFixture {
protected:
    /// `weight(s, t, aspect)` is how much of the second picture is seen; sampled at the pixels' centres.
    using Weight = std::function<double(double s, double t, double aspect, double progress)>;

    static void ExpectMix(Proc::Settings const& settings, std::vector<double> const& progresses, Weight const& weight) {
        auto const mix = [&](Picture const& first, Picture const& second, double progress, double aspect) {
            return ForEachPixel(first, [&](double s, double t) {
                return Mix(first.SampleNearest(s, t), second.SampleNearest(s, t), weight(s, t, aspect, progress));
            });
        };
        Expect(
            settings, progresses,
            [&](Picture const& first, Picture const& second, double progress) {
                return mix(first, second, progress, static_cast<double>(first.width) / first.height);
            },
            kUnfiltered);
        Picture const first = Picture::Noise(48, 48, true, 3);
        Picture const second = Picture::Noise(48, 48, true, 4);
        for (double const progress : progresses) {
            boost::intrusive_ptr<Proc::IDataVideo> data = first.ToFrame(16, 11);
            MakeTransition(settings, {.progress = progress})->Process(data, second.ToFrame(16, 11));
            EXPECT_TRUE(
                IsNear(Picture::FromFrame(*Download(data)), mix(first, second, progress, 16.0 / 11.0), kUnfiltered))
                << Describe(settings) << " of 16:11 pixels at progress " << progress;
        }
    }
};

TEST_F(WipeTransitionsTest, WipeStartsWhereItSaysAndRunsAt45DegreesFromCorners) {
    for (std::int32_t direction = 0; direction < 10; ++direction) {
        for (std::int32_t const step : {0, 3}) {
            Proc::SettingsTransitionWipe settings;
            settings.SetDirection(direction);
            settings.SetWidth(step);
            ExpectMix(settings, {0.0, 0.22, 0.5, 0.83, 1.0}, [&](double s, double t, double aspect, double p) {
                // Distances on screen, in heights of the picture, from where the wipe starts to where it ends.
                double const fromLeft = s * aspect;
                double const fromRight = (1 - s) * aspect;
                double const fromTop = 1 - t;
                auto const wedge = [&](double along) {  // opens to half the height at the far side
                    double const off = std::abs(t - 0.5);
                    return along * aspect + off + (0.5 - off) * along;
                };
                std::array<double, 10> const distances{fromTop,
                                                       t,
                                                       fromRight,
                                                       fromLeft,
                                                       fromRight + fromTop,
                                                       fromRight + t,
                                                       fromLeft + fromTop,
                                                       fromLeft + t,
                                                       wedge(s),
                                                       wedge(1 - s)};
                double const unit = direction < 2 ? 1 : direction < 4 ? aspect : aspect + 1;
                double const reach = direction < 8 ? 1 : (aspect + 0.5) / (aspect + 1);
                double const width = (step + 1) * 0.2;
                double const front = p * (reach + width);
                return std::clamp((front - distances[static_cast<std::size_t>(direction)] / unit) / width, 0.0, 1.0);
            });
        }
    }
}

/// Where a door's picture comes from along one axis; nothing between the doors.
std::optional<double> BehindDoor(double at, double opening) {
    if (at < (1 - opening) / 2) {
        return at + opening / 2;
    }
    return at > (1 + opening) / 2 ? std::optional(at - opening / 2) : std::nullopt;
}

TEST_F(WipeTransitionsTest, BarnDoorsCarryTheirPicture) {
    for (std::int32_t mode = -1; mode <= 6; ++mode) {
        Proc::SettingsTransitionBarnDoor settings;
        settings.SetMode(mode);
        auto const expectation = [&](Picture const& first, Picture const& second, double p) {
            if (mode < 0 || mode > 5) {
                return second;
            }
            bool const opens = mode == 1 || mode == 3 || mode == 5;
            double const opening = opens ? p : 1 - p;
            return ForEachPixel(first, [&](double s, double t) {
                std::optional<double> const u = mode <= 1 ? s : BehindDoor(s, opening);
                std::optional<double> const v = mode == 2 || mode == 3 ? t : BehindDoor(t, opening);
                return u && v ? (opens ? first : second).Sample(*u, *v) : (opens ? second : first).SampleNearest(s, t);
            });
        };
        Expect(settings, {0.11, 0.37, 0.84}, expectation);
        // Just before and behind the centres of column 20 and row 11 from the edge, and of those from the middle.
        ExpectSharpEdges(settings, {0.5, 20.9 / 64, 21.1 / 64, 1 - 10.9 / 36, 1 - 11.1 / 36}, expectation);
    }
}

TEST_F(WipeTransitionsTest, BlindsRiseInTheirPlace) {
    Proc::SettingsTransitionBlinds settings;
    for (std::int32_t const count : {4, 9}) {
        settings.SetCount(count);
        auto const expectation = [](Picture const& first, Picture const& second, double p) {
            return ForEachPixel(first, [&](double s, double t) {
                return (4 * t - std::floor(4 * t) < p ? second : first).SampleNearest(s, t);
            });
        };
        // Progresses that lie on no row's centre.
        Expect(settings, {0.113, 0.5 + 1e-3, 0.771}, expectation, kUnfiltered);
        ExpectSharpEdges(settings, {0.5, 3.4 / 9, 3.6 / 9}, expectation);
    }
}

TEST_F(WipeTransitionsTest, SlidingDoorBlendsInABand) {
    for (std::int32_t const orientation : {0, 1}) {
        Proc::SettingsTransitionSlidingDoor settings;
        settings.SetOrientation(orientation);
        ExpectMix(settings, {0.113, 0.362, 0.501, 0.743, 0.907}, [&](double s, double t, double, double p) {
            double const indent = std::abs((orientation == 0 ? s : t) - 0.5);
            if (indent < p && indent < 1 - p) {
                return 2 * indent;
            }
            return indent > p ? 0.0 : 1.0;
        });
    }
}

TEST_F(WipeTransitionsTest, SlidingDoorTurnsOutermostColumnsFirstAtHalfTime) {
    Picture const first = Picture::Flat(8, 2, {1, 0, 0, 1});
    Picture const second = Picture::Flat(8, 2, {0, 0, 1, 1});
    EXPECT_TRUE(IsNear(Run(Proc::SettingsTransitionSlidingDoor(), first, second, {.progress = 0}), first, 0));
    for (double const progress : {0.5624, 0.5626}) {  // the outermost centres are 7 / 16 from the line
        Picture const actual = Run(Proc::SettingsTransitionSlidingDoor(), first, second, {.progress = progress});
        EXPECT_NEAR(actual.At(0, 0)[0], progress < 0.5625 ? 0.125 : 0.0, kUnfiltered) << progress;
        EXPECT_NEAR(actual.At(7, 1)[0], progress < 0.5625 ? 0.125 : 0.0, kUnfiltered) << progress;
    }
}

TEST_F(WipeTransitionsTest, CircleIsRoundOnScreen) {
    for (std::int32_t const sense : {0, 1}) {
        Proc::SettingsTransitionCircle settings;
        settings.SetSense(sense);
        ExpectMix(settings, {0.08, 0.4, 0.77}, [&](double s, double t, double aspect, double p) {
            double const radius = (sense == 1 ? p : 1 - p) * std::hypot(aspect, 1) / 2 * 1.005;
            double const inside = radius - std::hypot((s - 0.5) * aspect, t - 0.5);
            double const weight = std::clamp(inside / 0.005, 0.0, 1.0);
            return sense == 1 ? weight : 1 - weight;
        });
    }
}

TEST_F(WipeTransitionsTest, CircleLeavesTheCornersOfLargePictures) {
    // The rim reaches half a percent beyond the corners: in a tall picture less than its own width.
    for (auto const& [width, height] : {Size{700, 700}, Size{9, 1600}}) {
        Picture const first = Picture::Flat(width, height, {1, 0, 0, 1});
        Picture const second = Picture::Flat(width, height, {0, 0, 1, 1});
        Proc::SettingsTransitionCircle settings;
        EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = 1}), second, 0));
        settings.SetSense(0);
        EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = 0}), first, 0));
    }
}

TEST_F(WipeTransitionsTest, RadialSweepsOnceAroundFromBelow) {
    for (std::int32_t const sense : {0, 1}) {
        Proc::SettingsTransitionRadial settings;
        settings.SetSense(sense);
        ExpectMix(settings, {0.07, 0.31, 0.613, 0.97}, [&](double s, double t, double aspect, double p) {
            double const x = s - 0.5;
            double const y = t - 0.5;
            double angle = std::atan2(x * aspect, -y);  // the middle column belongs to the left half
            angle += angle < 0 || (std::abs(x) < 1e-9 && y < 0) ? 2 * kPi : 0;
            // The screen's true angle, but the edge's width goes by the texture's distance.
            angle = std::abs(x) < 1e-9 && std::abs(y) < 1e-9 ? 0 : angle;
            double const hand = 2 * kPi * (sense == 0 ? p : 1 - p);
            double const swept = 1 - std::clamp((angle - hand) * std::hypot(x, y) * 100 * kPi, 0.0, 1.0);
            return sense == 0 ? swept : 1 - swept;
        });
    }
}

TEST_F(WipeTransitionsTest, SpiralTwistsAroundItsDisc) {
    for (auto const& [type, centre] : {std::pair{0, 0.0}, {1, 1.0}, {2, 0.5}, {7, 0.0}}) {
        Proc::SettingsTransitionSpiral settings;
        settings.SetType(type);
        Expect(settings, {0.0, 0.13, 0.48, 0.8},
               [centre = centre](Picture const& first, Picture const& second, double p) {
                   double const scaleX = std::min(1.0, static_cast<double>(first.width) / first.height);
                   double const scaleY = std::min(1.0, static_cast<double>(first.height) / first.width);
                   double const farthest = std::max(centre, 1 - centre) * std::numbers::sqrt2;
                   return ForEachPixel(first, [&](double s, double t) {
                       double const x = (s - centre) * scaleX;
                       double const y = (t - centre) * scaleY;
                       double const lens = std::max(std::hypot(x, y) - p * farthest, 0.0);
                       double const angle = std::pow(20 * std::max(0.2 * p - (lens - 0.05) * (1 - p), 0.0), 2);
                       double const u = (x * std::cos(angle) - y * std::sin(angle)) / scaleX + centre;
                       double const v = (x * std::sin(angle) + y * std::cos(angle)) / scaleY + centre;
                       return Mix(second.SampleNearest(s, t), first.Sample(u, v), std::min(300 * lens, 1.0));
                   });
               });
    }
}

TEST_F(WipeTransitionsTest, SnakeRunsToAndFroUpwards) {
    for (auto const& [bands, smoothness] : {std::pair{0, 4}, {2, 7}, {1, 40}, {5, 1}, {3, 0}}) {
        Proc::SettingsTransitionSnake settings;
        settings.SetBands(bands);
        settings.SetSmoothness(smoothness);
        Expect(settings, {0.0, 0.21, 0.493, 0.87, 1.0},
               [bands = bands, smoothness = smoothness](Picture const& first, Picture const& second, double p) {
                   unsigned const count = 2U << static_cast<unsigned>(bands);
                   double const front = smoothness / 7.0;
                   return ForEachPixel(first, [&](double s, double t) {
                       auto const row = static_cast<unsigned>(t * first.height);
                       unsigned const band = row * count / first.height;
                       double const along = band + (band % 2 == 0 ? s : 1 - s);
                       double const left = along + front - (count + front) * p;
                       double const snapped = static_cast<double>(row) / first.height;
                       return Mix(second.Sample(s, snapped), first.Sample(s, snapped),
                                  front == 0 ? (left > 0 ? 1.0 : 0.0) : std::clamp(left / front, 0.0, 1.0));
                   });
               });
    }
}

TEST_F(WipeTransitionsTest, PinwheelFillsEachBladeFromItsLeadingEdge) {
    struct Case {
        std::int32_t num, freq, ampl, smoothness;
    };
    for (auto const& [num, freq, ampl, smoothness] :
         std::initializer_list<Case>{{6, 20, 40, 10}, {1, 5, 90, 30}, {17, 3, 25, 100}}) {
        Proc::SettingsTransitionPinwheel settings;
        settings.SetNum(num);
        settings.SetFreq(freq);
        settings.SetAmpl(ampl);
        settings.SetSmoothness(smoothness);
        Expect(
            settings, {0.12, 0.5, 0.86},
            [num = num, freq = freq, ampl = ampl, smoothness = smoothness](Picture const& first, Picture const& second,
                                                                           double p) {
                double const side = std::max(first.width, first.height) / 4.0;
                double const blade = 2 * kPi / num;
                return ForEachPixel(first, [&](double s, double t) {
                    double const x = (s - 0.5) * first.width / side;
                    double const y = (t - 0.5) * first.height / side;
                    double const distance = std::max(std::hypot(x, y), 1e-4);
                    double const bent =
                        std::atan2(y, x) + ampl / 400.0 * std::sin(freq * kPi / 25 * distance) / distance;
                    double const behind = bent - blade * std::floor(bent / blade);
                    double const soft = smoothness / 100.0;
                    return Mix(first.SampleNearest(s, t), second.SampleNearest(s, t),
                               std::clamp(((1 + soft) * p - behind / blade) / soft, 0.0, 1.0));
                });
            },
            kUnfiltered);
    }
}

TEST_F(WipeTransitionsTest, CrossFliesApartAlongTheDiagonals) {
    for (bool const scrolls : {false, true}) {
        Proc::SettingsTransitionCross settings;
        settings.SetScroll(scrolls);
        Expect(
            settings, {0.0, 0.21, 0.583, 0.9},
            [&](Picture const& first, Picture const& second, double p) {
                return ForEachPixel(first, [&](double s, double t) {
                    Rgba pixel = scrolls ? second.Sample(s, t < p ? t - p + 1 : t - p) : second.SampleNearest(s, t);
                    // Where a pixel of each piece came from: left, right, lower, upper.
                    for (auto const& [x, y] : {std::pair{-1, 0}, {1, 0}, {0, -1}, {0, 1}}) {
                        double const u = s - x * p / 2;
                        double const v = t - y * p / 2;
                        double const outwards = (u - 0.5) * x + (v - 0.5) * y;
                        double const aside = (u - 0.5) * y + (v - 0.5) * x;
                        if (outwards >= std::abs(aside)) {
                            Rgba piece = first.Sample(u, v);
                            piece[3] = std::min({200 * std::abs(u - v), 200 * std::abs(u + v - 1), 1.0});
                            pixel = Mix(pixel, piece, piece[3]);
                        }
                    }
                    return pixel;
                });
            },
            kFiltered + 1.0 / 255.0);
    }
}

}  // namespace
}  // namespace Kaltor::Tests
