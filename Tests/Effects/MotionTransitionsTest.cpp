// Transitions whose pictures move as a whole or by a formula, against that formula.

#include "Tests/Support/Scene.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

constexpr double kPi = std::numbers::pi;

/// The fast way of software GL to scale a picture is off by up to 3.3, and blending rounds once more.
constexpr double kFilteredAndBlended = kFiltered + 1.0 / 255.0;

class MotionTransitionsTest : public TransitionFixture {
protected:
    /// On noise, and where edges lie just before and behind the centres of column 20 and row 11 from each side.
    static void ExpectMoved(std::string const& settings, Expectation const& expectation) {
        Expect(settings, {0.13, 0.81}, expectation);
        ExpectSharpEdges(settings, kEdgesAtCentres, expectation);
    }

    static inline std::vector<double> const kEdgesAtCentres{0.5, 20.4 / 64, 20.6 / 64, 11.4 / 36, 11.6 / 36};
};

TEST_F(MotionTransitionsTest, PushMovesBothPicturesEdgeToEdge) {
    for (auto const& [direction, x, y] :
         {std::tuple{0, -1, 0}, {1, 1, 0}, {2, 0, 1}, {3, 0, -1}, {4, 0, 0}, {-1, 0, 0}}) {
        ExpectMoved(fmt::format("TransitionPush dir={}", direction),
                    [x = x, y = y](Picture const& first, Picture const& second, double p) {
                        Scene scene;
                        double const q = p - 1;
                        scene.AddWhole(2 * p * x - 1, 2 * p * y - 1, 2 * p * x + 1, 2 * p * y + 1, first);
                        scene.AddWhole(2 * q * x - 1, 2 * q * y - 1, 2 * q * x + 1, 2 * q * y + 1, second);
                        return scene.DrawLike(first);
                    });
    }
}

TEST_F(MotionTransitionsTest, SlideShowsThePartThatIsOnTheScreen) {
    struct Way {
        int direction;
        int x = 0, y = 0;  ///< from the left and below: -1, stays: 0
    };
    for (Way const& way :
         {Way{-1}, {0, -1, 0}, {1}, {2}, {3, 0, -1}, {4, -1, -1}, {5, 1, -1}, {6, -1, 1}, {7, 1, 1}, {8}}) {
        ExpectMoved(fmt::format("TransitionSlide direction={}", way.direction), [way](Picture const& first,
                                                                                      Picture const& second, double k) {
            // Parts of a full-size picture outside the screen are clipped.
            double const x = 2 * (1 - k) * way.x;
            double const y = 2 * (1 - k) * way.y;
            Scene scene;
            scene.AddWhole(-1, -1, 1, 1, first);
            if (way.direction == 2) {
                scene.AddQuad(
                    {{{-1, 1 - 2 * k, 0, 0, 0}, {1, 1 - 2 * k, 0, 1, 0}, {1, -1, 0, 1, k}, {-1, -1, 0, 0, k}}}, second);
            } else if (way.direction != 1) {
                scene.AddWhole(x - 1, y - 1, x + 1, y + 1, second);
            }
            return scene.DrawLike(first);
        });
    }
}

TEST_F(MotionTransitionsTest, ScaleAndZoomAreCentred) {
    for (int const type : {0, 1, 5}) {
        ExpectSharpEdges(fmt::format("TransitionScale type={}", type), kEdgesAtCentres,
                         [type](Picture const& first, Picture const& second, double p) {
                             double const size = type == 0 ? p : 1 - p;
                             Scene scene;
                             scene.AddWhole(-1, -1, 1, 1, type == 0 ? first : second);
                             scene.AddWhole(-size, -size, size, size, type == 0 ? second : first);
                             return scene.DrawLike(first);
                         });
    }
    for (int const type : {0, 1, 2, 3}) {
        Expect(
            fmt::format("TransitionZoom type={}", type), {0.2, 0.9},
            [type](Picture const& first, Picture const& second, double p) {
                double const outgoing = type == 0 || type == 2 ? 1 + 2 * p : 1;
                double const incoming = type == 1 || type == 2 ? 3 - 2 * p : 1;
                Scene scene;
                scene.AddWhole(-outgoing, -outgoing, outgoing, outgoing, first);
                scene.AddWhole(-incoming, -incoming, incoming, incoming, second, MakeBlend(p));
                return scene.DrawLike(first);
            },
            kFilteredAndBlended);
    }
}

TEST_F(MotionTransitionsTest, AReducedPictureLeavesNoTexelOut) {
    Picture const ground = Picture::Flat(64, 40, {0, 0, 1, 1});
    Picture const noise = Picture::Noise(64, 40);
    Picture const expected = Picture::Make(64, 40, false, [&](unsigned x, unsigned y) {
        if (x < 24 || x >= 40 || y < 15 || y >= 25) {
            return ground.At(x, y);
        }
        Rgba mean{};
        for (unsigned i = 0; i < 16; ++i) {
            mean = Mix(mean, noise.At(4 * (x - 24) + i % 4, 4 * (y - 15) + i / 4), 1.0 / (i + 1));
        }
        return mean;
    });
    EXPECT_TRUE(IsNear(Run("TransitionScale type=0", ground, noise, {.progress = 0.25}), expected, kFiltered));
    EXPECT_TRUE(IsNear(Run("TransitionScale type=1", noise, ground, {.progress = 0.75}), expected, kFiltered));
}

/// A whole picture.
constexpr std::array<Vertex, 4> kWhole{{{-1, -1, 0, 0, 0}, {1, -1, 0, 1, 0}, {1, 1, 0, 1, 1}, {-1, 1, 0, 0, 1}}};

TEST_F(MotionTransitionsTest, KenBurnsMovesCornersAndDissolvesAroundTheMiddle) {
    for (Proc::Reals8 const& direction : {Proc::Reals8{-1, -1, 1, -1, 1, 1, -1, 1},
                                          {1, 0, 1, 0, 1, 0, 1, 0},
                                          {-0.5, -0.2, 0.3, -0.1, 0.7, 0.9, -0.4, 0.6}}) {
        for (auto const& [fade, zoom] : {std::pair{0.0, 0.7}, {0.3, 0.4}, {1.5, 1.3}}) {
            Expect(
                fmt::format("TransitionKenBurns direction={} fade={} zoom={}", fmt::join(direction, ","), fade, zoom),
                {0.41, 0.63},
                [&, fade = fade, zoom = zoom](Picture const& first, Picture const& second, double p) {
                    auto const move = [&](double amount) {
                        std::array<Vertex, 4> corners = kWhole;
                        for (std::size_t i = 0; i < corners.size(); ++i) {
                            corners[i].x += direction[2 * i] * amount;
                            corners[i].y += direction[2 * i + 1] * amount;
                        }
                        return corners;
                    };
                    double const g = 2 * p - 1;
                    double const alpha = fade > std::abs(g) ? (g + fade) / (2 * fade) : p < 0.5 ? 0 : 1;
                    Scene scene;
                    scene.AddQuad(move(zoom * (1 - p)), second);
                    scene.AddQuad(move(zoom * p), first, MakeBlend(1 - alpha));
                    return scene.DrawLike(first);
                },
                kFilteredAndBlended);
        }
    }
}

TEST_F(MotionTransitionsTest, SpinTurnsAndGrowsWithASoftBorder) {
    for (int const mode : {0, 1}) {
        std::string const settings = fmt::format("TransitionSpin mode={}", mode);
        auto const expectation = [mode](Picture const& first, Picture const& second, double p) {
            double const size = mode == 0 ? p : 1 - p;
            double const angle = (size - 1) * kPi / 4;
            double const slope = 200 - 100 * p * p;
            std::array<Vertex, 4> corners = kWhole;
            for (Vertex& v : corners) {
                std::tie(v.x, v.y) = std::pair(size * (v.x * std::cos(angle) - v.y * std::sin(angle)),
                                               size * (v.x * std::sin(angle) + v.y * std::cos(angle)));
            }
            Scene scene;
            scene.AddWhole(-1, -1, 1, 1, mode == 0 ? first : second);
            scene.AddQuad(corners, mode == 0 ? second : first, [slope](Fragment const& f) {
                Rgba pixel = f.texel;
                pixel[3] = std::min({slope * std::min(f.s, 1 - f.s), slope * std::min(f.t, 1 - f.t), 1.0});
                return Mix(f.before, pixel, pixel[3]);
            });
            return scene.DrawLike(first);
        };
        // GPUs move corners to 1/256 of a pixel, and the border rises by up to 200 across a few pixels.
        Expect(settings, {0.3, 0.97}, expectation, 2 * kFiltered);
        Expect(settings, {0.1, 1.0}, expectation, kFiltered, {{200, 200}});  // the border is a pixel or two wide
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
    for (int const type : {0, 1}) {
        for (int const direction : {0, 1, 2, 3}) {
            for (auto const& [size, progress] :
                 {std::pair{100, 0.08}, {100, 0.62}, {350, 0.04}, {350, 0.31}, {600, 0.46}, {0, 0.37}}) {
                std::string const settings =
                    fmt::format("TransitionRoll dir={} type={} size={}", direction, type, size);
                for (auto const& [width, height] : {Size{64, 36}, Size{31, 47}}) {
                    // The arcsine of a GL may be off by thousandths: the sheet is smooth. What is under it is not bent.
                    Picture const smooth = Picture::Corners(width, height, width == 64);
                    Picture const noise = Picture::Noise(width, height, width == 64);
                    double const p = type == 1 ? 1 - progress : progress;
                    auto const draw = [&, size = size, progress = progress](double s, double t) {
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
                    };
                    Picture const expected = ForEachPixel(smooth, draw);
                    ExpectDrawn(settings, type == 0 ? smooth : noise, type == 0 ? noise : smooth, p, expected);
                }
            }
        }
    }
}

TEST_F(MotionTransitionsTest, LensAndSmoothRippleDisplaceByTheDistanceOnScreen) {
    auto const measure = [](Meeting const& at, double x, double y) {
        return std::hypot((at.s - x) * std::min(at.aspect, 1.0), (at.t - y) * std::min(1 / at.aspect, 1.0));
    };
    for (auto const& [type, x, y] : {std::tuple{0, 0.0, 0.0}, {1, 0.0, 1.0}, {2, 0.5, 0.5}}) {
        auto const formula = [&, x = x, y = y](Meeting const& at) {
            double const reach = at.progress * std::hypot(std::max(1 - x, x), std::max(1 - y, y));
            double const beyond = measure(at, x, y) - reach;
            double const pull = (1 - at.progress) * std::clamp(10 * beyond, 0.0, 1.0);
            return Mix(at.to, at.first.Sample((at.s - x) * pull + x, (at.t - y) * pull + y),
                       std::clamp(20 * beyond * (1 - at.progress), 0.0, 1.0));
        };
        ExpectPixels(fmt::format("TransitionLens type={}", type), {0.1, 0.7}, formula, kFiltered);
    }
    for (auto const& [freq, ampl] : {std::pair{50, 20}, {12, 80}, {7, 200}}) {
        auto const formula = [&, freq = freq, ampl = ampl](Meeting const& at) {
            double const amplitude = (1 - std::abs(1 - 2 * at.progress)) * ampl / 200;
            double const phase = measure(at, 0.5, 0.5) * freq * 0.4 * kPi - at.progress * 6 * kPi;
            double const a = 1 - amplitude * (1 + std::sin(phase));
            double const u = (at.s - 0.5) * a + 0.5;
            double const v = (at.t - 0.5) * a + 0.5;
            return Mix(at.first.Sample(u, v), at.second.Sample(u, v), at.progress);
        };
        ExpectPixels(fmt::format("TransitionRippleSmooth freq={} ampl={}", freq, ampl), {0.08, 0.71}, formula,
                     kFiltered);
    }
}

}  // namespace
}  // namespace Kaltor::Tests
