#include <algorithm>
#include <cmath>
#include <numbers>

#include "Proc/Settings/SettingsMotionTransitions.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

constexpr double kPi = std::numbers::pi;

/// The fast way of software GL to scale a picture is off by up to 3.3, and blending rounds once more.
constexpr double kFilteredAndBlended = kFiltered + 1.0 / 255.0;

/// s, t, x, y of the corners lower left, lower right, upper right, upper left.
using Corners = std::array<std::array<double, 4>, 4>;

Corners PlaceOn(double x0, double y0, double x1, double y1) {
    return {{{0, 0, x0, y0}, {1, 0, x1, y0}, {1, 1, x1, y1}, {0, 1, x0, y1}}};
}

/// What drawing the quad as two triangles that share the diagonal from corner 1 to corner 3 makes of `target`;
/// `shade` gives a pixel by the texture coordinates and by what was there before.
void DrawQuad(Picture& target, Corners const& quad,
              std::function<Rgba(double s, double t, Rgba const& before)> const& shade) {
    Picture const before = target;
    target = ForEachPixel(before, [&](double u, double v) {
        double const x = 2 * u - 1;
        double const y = 2 * v - 1;
        Rgba const old = before.SampleNearest(u, v);
        for (auto const& [i, j, k] : {std::array{0U, 1U, 3U}, {3U, 1U, 2U}}) {
            auto const& [a, b, c] = std::tie(quad[i], quad[j], quad[k]);
            double const area = (b[2] - a[2]) * (c[3] - a[3]) - (c[2] - a[2]) * (b[3] - a[3]);
            double const weightB = ((x - a[2]) * (c[3] - a[3]) - (c[2] - a[2]) * (y - a[3])) / area;
            double const weightC = ((b[2] - a[2]) * (y - a[3]) - (x - a[2]) * (b[3] - a[3])) / area;
            if (area != 0 && weightB >= 0 && weightC >= 0 && weightB + weightC <= 1) {
                return shade(a[0] + weightB * (b[0] - a[0]) + weightC * (c[0] - a[0]),
                             a[1] + weightB * (b[1] - a[1]) + weightC * (c[1] - a[1]), old);
            }
        }
        return old;
    });
}

/// `weight` 1 covers what was there before.
void DrawQuad(Picture& target, Corners const& quad, Picture const& picture, double weight = 1) {
    DrawQuad(target, quad,
             [&](double s, double t, Rgba const& before) { return Mix(before, picture.Sample(s, t), weight); });
}

/// What a frame holds before anything is drawn.
Picture Blank(Picture const& like) {
    return Picture::Flat(like.width, like.height, {0, 0, 0, like.hasAlpha ? 0.0 : 1.0}, like.hasAlpha);
}

class MotionTransitionsTest : public TransitionFixture {};

TEST_F(MotionTransitionsTest, PushMovesBothPicturesEdgeToEdge) {
    struct Way {
        std::int32_t direction;
        double x, y;
    };
    for (Way const& way :
         std::initializer_list<Way>{{0, -1, 0}, {1, 1, 0}, {2, 0, 1}, {3, 0, -1}, {4, 0, 0}, {-1, 0, 0}}) {
        Proc::SettingsTransitionPush settings;
        settings.SetDir(way.direction);
        auto const expectation = [&](Picture const& first, Picture const& second, double p) {
            Picture expected = Blank(first);
            auto const at = [](double x, double y) { return PlaceOn(x - 1, y - 1, x + 1, y + 1); };
            DrawQuad(expected, at(2 * p * way.x, 2 * p * way.y), first);
            DrawQuad(expected, at(-2 * (1 - p) * way.x, -2 * (1 - p) * way.y), second);
            return expected;
        };
        Expect(settings, {0.13, 0.4, 0.81}, expectation);
        // Halves, and an edge just before and just behind the centres of column 20 and row 11 from each side.
        ExpectSharpEdges(settings, {0.5, 20.4 / 64, 20.6 / 64, 11.4 / 36, 11.6 / 36}, expectation);
    }
}

TEST_F(MotionTransitionsTest, ScaleGrowsFromOrShrinksIntoTheCentre) {
    for (std::int32_t const type : {0, 1, 5}) {
        Proc::SettingsTransitionScale settings;
        settings.SetType(type);
        auto const expectation = [&](Picture const& first, Picture const& second, double p) {
            double const size = type == 0 ? p : 1 - p;
            Picture expected = type == 0 ? first : second;
            DrawQuad(expected, PlaceOn(-size, -size, size, size), type == 0 ? second : first);
            return expected;
        };
        Expect(settings, {0.17, 0.52, 0.93}, expectation);
        ExpectSharpEdges(settings, {20.9 / 64, 21.1 / 64}, expectation);
    }
}

TEST_F(MotionTransitionsTest, ZoomEnlargesUpToThreeTimesAndFades) {
    for (std::int32_t const type : {0, 1, 2, 3}) {
        Proc::SettingsTransitionZoom settings;
        settings.SetType(type);
        Expect(
            settings, {0.2, 0.5, 0.9},
            [&](Picture const& first, Picture const& second, double p) {
                double const outgoing = type == 0 || type == 2 ? 1 + 2 * p : 1;
                double const incoming = type == 1 || type == 2 ? 3 - 2 * p : 1;
                Picture expected = Blank(first);
                DrawQuad(expected, PlaceOn(-outgoing, -outgoing, outgoing, outgoing), first);
                DrawQuad(expected, PlaceOn(-incoming, -incoming, incoming, incoming), second, p);
                return expected;
            },
            kFilteredAndBlended);
    }
}

TEST_F(MotionTransitionsTest, SlideShowsThePartThatIsOnTheScreen) {
    for (std::int32_t direction = -1; direction <= 8; ++direction) {
        Proc::SettingsTransitionSlide settings;
        settings.SetDirection(direction);
        auto const expectation = [&](Picture const& first, Picture const& second, double k) {
            // The lower left corner of a picture of full size; where it lies outside of the screen, it is clipped.
            auto const [x, y] = [&]() -> std::array<double, 2> {
                double const low = 2 * k - 3;
                double const high = 1 - 2 * k;
                switch (direction) {
                    case 0:
                        return {low, -1};
                    case 3:
                        return {-1, low};
                    case 4:
                        return {low, low};
                    case 5:
                        return {high, low};
                    case 6:
                        return {low, high};
                    case 7:
                        return {high, high};
                    default:
                        return {-1, -1};
                }
            }();
            Picture expected = first;
            if (direction == 2) {
                DrawQuad(expected, {{{0, 0, -1, 1 - 2 * k}, {1, 0, 1, 1 - 2 * k}, {1, k, 1, -1}, {0, k, -1, -1}}},
                         second);
            } else if (direction != 1) {
                DrawQuad(expected, PlaceOn(x, y, x + 2, y + 2), second);
            }
            return expected;
        };
        Expect(settings, {0.12, 0.43, 0.88}, expectation);
        ExpectSharpEdges(settings, {0.5, 20.4 / 64, 20.6 / 64, 11.4 / 36, 11.6 / 36}, expectation);
    }
}

TEST_F(MotionTransitionsTest, KenBurnsMovesCornersAndDissolvesAroundTheMiddle) {
    Proc::Reals8 const outwards{-1, -1, 1, -1, 1, 1, -1, 1};
    Proc::Reals8 const aside{1, 0, 1, 0, 1, 0, 1, 0};
    Proc::Reals8 const askew{-0.5, -0.2, 0.3, -0.1, 0.7, 0.9, -0.4, 0.6};
    for (Proc::Reals8 const& direction : {outwards, aside, askew}) {
        for (auto const& [fade, zoom] : {std::pair{0.0F, 0.7F}, {0.3F, 0.4F}, {1.0F, 1.3F}, {1.5F, 0.0F}}) {
            Proc::SettingsTransitionKenBurns settings;
            settings.SetDirection(direction);
            settings.SetFade(fade);
            settings.SetZoom(zoom);
            Expect(
                settings, {0.1, 0.41, 0.5, 0.63},
                [&](Picture const& first, Picture const& second, double p) {
                    auto const move = [&](double amount) {
                        Corners corners = PlaceOn(-1, -1, 1, 1);
                        for (std::size_t i = 0; i < direction.size(); ++i) {
                            corners[i / 2][2 + i % 2] += direction[i] * amount;
                        }
                        return corners;
                    };
                    double const g = 2 * p - 1;
                    double const alpha = fade > std::abs(g) ? (g + fade) / (2 * fade) : p < 0.5 ? 0 : 1;
                    Picture expected = Blank(first);
                    DrawQuad(expected, move(zoom * (1 - p)), second);
                    DrawQuad(expected, move(zoom * p), first, 1 - alpha);
                    return expected;
                },
                kFilteredAndBlended);
        }
    }
}

TEST_F(MotionTransitionsTest, SpinTurnsAndGrowsWithASoftBorder) {
    for (std::int32_t const mode : {0, 1}) {
        Proc::SettingsTransitionSpin settings;
        settings.SetMode(mode);
        Expect(settings, {0.05, 0.3, 0.62, 0.97}, [&](Picture const& first, Picture const& second, double p) {
            double const size = mode == 0 ? p : 1 - p;
            double const angle = (size - 1) * kPi / 4;
            double const slope = 200 - 100 * p * p;
            Corners corners = PlaceOn(-1, -1, 1, 1);
            for (auto& [s, t, x, y] : corners) {
                std::tie(x, y) = std::pair(size * (x * std::cos(angle) - y * std::sin(angle)),
                                           size * (x * std::sin(angle) + y * std::cos(angle)));
            }
            Picture const& spinning = mode == 0 ? second : first;
            Picture expected = mode == 0 ? first : second;
            DrawQuad(expected, corners, [&](double s, double t, Rgba const& before) {
                Rgba pixel = spinning.Sample(s, t);
                pixel[3] = std::min({slope * std::min(s, 1 - s), slope * std::min(t, 1 - t), 1.0});
                return Mix(before, pixel, pixel[3]);
            });
            return expected;
        });
    }
}

/// The sheet, what is under it and the roll between, along `u` towards 1.
Rgba RollAt(double u, double progress, double thickness, std::function<Rgba(double)> const& sheet,
            Rgba const& underneath) {
    double const length = 0.5 * (2 + thickness + std::sqrt((4 + thickness) * thickness));
    double const axis = progress * length;
    double const radius = std::sqrt(axis * thickness);
    double const turn = axis / radius;
    bool const isFirstQuarter = turn < kPi / 2;
    double const begin = isFirstQuarter ? axis - radius * std::sin(turn) : axis - radius;
    double const end = isFirstQuarter     ? axis
                       : turn < 1.5 * kPi ? std::max(axis - radius * std::sin(turn), axis)
                                          : axis + radius;
    if (radius == 0 || u < begin || u > end) {
        return u < (radius == 0 ? axis : begin) ? underneath : sheet(u);
    }
    double const fi = std::asin((u - axis) / radius);
    double const wound = axis - radius * (kPi + fi);
    double const shade = 0.2 + 0.8 * std::cos(fi);
    Rgba pixel = sheet(wound < 0 ? wound + radius * (kPi + 2 * fi) : wound);
    for (std::size_t c = 0; c < 3; ++c) {
        pixel[c] = (pixel[c] + (wound < 0 ? 0 : 0.3 / (16 * (1 - shade) + shade))) * shade;
    }
    pixel[3] = wound < 0 ? pixel[3] : 1;
    return pixel;
}

TEST_F(MotionTransitionsTest, RollWindsTheSheetUp) {
    for (std::int32_t const type : {0, 1}) {
        for (std::int32_t const direction : {0, 1, 2, 3}) {
            for (auto const& [size, progress] : {std::pair{100U, 0.08},
                                                 {100U, 0.35},
                                                 {100U, 0.62},
                                                 {100U, 0.94},
                                                 {350U, 0.04},
                                                 {350U, 0.31},
                                                 {350U, 0.57},
                                                 {600U, 0.46},
                                                 {0U, 0.37}}) {
                Proc::SettingsTransitionRoll settings;
                settings.SetDir(direction);
                settings.SetType(type);
                settings.SetSize(size);
                for (auto const& [width, height] : {Size{64, 36}, Size{36, 64}, Size{31, 17}}) {
                    // The arcsine of a GL may be off by thousandths: the sheet is smooth. What is under it is not bent.
                    Picture const smooth = Picture::Corners(width, height, width == 64);
                    Picture const noise = Picture::Noise(width, height, width == 64);
                    double const p = type == 1 ? 1 - progress : progress;
                    Picture const expected = ForEachPixel(smooth, [&](double s, double t) {
                        bool const isAcross = direction < 2;
                        // Type 0 travels in its direction; type 1 comes back on that way with time reversed.
                        bool const isMirrored = (direction % 2 == 0) != (type == 1);
                        double const along = isAcross ? s : t;
                        auto const sheet = [&](double u) {
                            double const at = isMirrored ? 1 - u : u;
                            return isAcross ? smooth.Sample(at, t) : smooth.Sample(s, at);
                        };
                        return RollAt(isMirrored ? 1 - along : along, progress, size * 0.4 / 600, sheet,
                                      noise.SampleNearest(s, t));
                    });
                    EXPECT_TRUE(IsNear(type == 0 ? Run(settings, smooth, noise, {.progress = p})
                                                 : Run(settings, noise, smooth, {.progress = p}),
                                       expected, kFiltered))
                        << Describe(settings) << " at progress " << p;
                }
            }
        }
    }
}

TEST_F(MotionTransitionsTest, RollWithoutThicknessHasASharpEdge) {
    Proc::SettingsTransitionRoll settings;
    settings.SetSize(0);
    settings.SetDir(1);
    // At 0.5 the edge lies on the centre of the middle column, which may show either picture but nothing else.
    for (double const progress : {0.5, 10.4 / 21, 10.6 / 21}) {
        Picture const first = Picture::Noise(21, 5, true, 1);
        Picture const second = Picture::Noise(21, 5, true, 2);
        Picture const actual = Run(settings, first, second, {.progress = progress});
        auto const withEdgeAt = [&](double edge) {
            return ForEachPixel(first,
                                [&](double s, double t) { return (s < edge ? second : first).SampleNearest(s, t); });
        };
        bool const isEither = progress == 0.5 && IsNear(actual, withEdgeAt(0.51), 0);
        EXPECT_TRUE(isEither || IsNear(actual, withEdgeAt(progress), 0)) << progress;
    }
}

TEST_F(MotionTransitionsTest, LensOpensAroundItsPoint) {
    for (auto const& [type, x, y] : {std::tuple{0, 0.0, 0.0}, {1, 0.0, 1.0}, {2, 0.5, 0.5}}) {
        Proc::SettingsTransitionLens settings;
        settings.SetType(type);
        Expect(settings, {0.0, 0.1, 0.4, 0.7}, [x = x, y = y](Picture const& first, Picture const& second, double p) {
            double const width = first.width;
            double const height = first.height;
            double const reach = p * std::hypot(std::max(1 - x, x), std::max(1 - y, y));
            return ForEachPixel(first, [&](double s, double t) {
                double const beyond =
                    std::hypot((s - x) * std::min(width / height, 1.0), (t - y) * std::min(height / width, 1.0)) -
                    reach;
                double const pull = (1 - p) * std::clamp(10 * beyond, 0.0, 1.0);
                return Mix(second.SampleNearest(s, t), first.Sample((s - x) * pull + x, (t - y) * pull + y),
                           std::clamp(20 * beyond * (1 - p), 0.0, 1.0));
            });
        });
    }
}

TEST_F(MotionTransitionsTest, RippleSmoothDisplacesBothPicturesAlike) {
    for (auto const& [freq, ampl] : {std::pair{50, 20}, {12, 80}, {0, 100}, {7, 200}}) {
        Proc::SettingsTransitionRippleSmooth settings;
        settings.SetFreq(freq);
        settings.SetAmpl(ampl);
        Expect(settings, {0.08, 0.5, 0.71, 1.1},
               [freq = freq, ampl = ampl](Picture const& first, Picture const& second, double p) {
                   double const width = first.width;
                   double const height = first.height;
                   double const amplitude = (1 - std::abs(1 - 2 * p)) * ampl / 200;
                   return ForEachPixel(first, [&](double s, double t) {
                       double const distance = std::hypot((s - 0.5) * std::min(width / height, 1.0),
                                                          (t - 0.5) * std::min(height / width, 1.0));
                       double const a = 1 - amplitude * (1 + std::sin(distance * freq * 0.4 * kPi - p * 6 * kPi));
                       double const u = (s - 0.5) * a + 0.5;
                       double const v = (t - 0.5) * a + 0.5;
                       return Mix(first.Sample(u, v), second.Sample(u, v), p);
                   });
               });
    }
}

TEST_F(MotionTransitionsTest, SpunPictureIsWholeWithinItsBorder) {
    // At rest its border is 1 / 100 of the picture wide: less than half a pixel here, so that nothing of it is left.
    for (bool const isOut : {false, true}) {
        Proc::SettingsTransitionSpin settings;
        settings.SetMode(isOut ? 1 : 0);
        Picture const first = Picture::Noise(40, 30, false, 1);
        Picture const second = Picture::Noise(40, 30, false, 2);
        EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = isOut ? 0.0 : 1.0}), isOut ? first : second, 0));
    }
    // Here the outermost pixels weigh 100 * 0.5 / 200, the next ones three times that, and so on.
    Picture const black = Picture::Flat(200, 200, {0, 0, 0, 1});
    Picture const white = Picture::Flat(200, 200, {1, 1, 1, 1});
    Picture const spun = Run(Proc::SettingsTransitionSpin(), black, white, {.progress = 1.0});
    for (unsigned const side : {0U, 1U}) {
        EXPECT_NEAR(spun.At(side, 100)[0], 0.25 + 0.5 * side, kUnfiltered);
        EXPECT_NEAR(spun.At(100, 199 - side)[0], 0.25 + 0.5 * side, kUnfiltered);
    }
    EXPECT_EQ(spun.At(2, 100)[0], 1.0);
}

}  // namespace
}  // namespace Kaltor::Tests
