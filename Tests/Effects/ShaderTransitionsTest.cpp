// Transitions drawn by programs over the whole frame: pictures are tested by formula, random ones by their promises.

#include "Proc/Effects/EffectsOgl/Transitions/Glyphs.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using ShaderTransitionsTest = TransitionFixture;

TEST_F(ShaderTransitionsTest, RippleRunsOutwardsInARing) {
    struct Case {
        Size size;
        double x, y, freq, ampl, width;
    };
    for (Case const& c : {Case{{161, 90}, 0.5, 0.5, 6, 30, 0.25},
                          {{91, 160}, 0.2, 0.9, 4, 120, 0.6},
                          {{64, 64}, 0.0, 0.3, 20, 60, 0.4}}) {
        std::string const settings =
            fmt::format("TransitionRipple x={} y={} freq={} ampl={} width={}", c.x, c.y, c.freq, c.ampl, c.width);
        double const longer = std::max(c.size.width, c.size.height);
        double const scaleX = c.size.width / longer;
        double const scaleY = c.size.height / longer;
        double const reach = std::hypot(std::max(c.x, 1 - c.x) * scaleX, std::max(c.y, 1 - c.y) * scaleY);
        double const length = std::min(1.0 / c.freq, c.width);
        double const shown = std::clamp(length * longer / 4 - 0.5, 0.0, 1.0);
        auto const expectation = [&](Picture const& first, Picture const& second, double p) {
            Picture const from = Premultiply(first);
            Picture const to = Premultiply(second);
            double const front = p * (reach + c.width);
            return ForEachPixel(first, [&](double s, double t) {
                double const x = (s - c.x) * scaleX;
                double const y = (t - c.y) * scaleY;
                double const radius = std::hypot(x, y);
                double const u = std::clamp((front - radius) / c.width, 0.0, 1.0);
                double const packet = u * u * std::pow(1 - u, 3) / (0.16 * 0.216);
                double const height = shown * c.ampl / 60.0 / std::sqrt(1 + 2 * front) * packet *
                                      std::sin(2 * std::numbers::pi / length * (radius - 1.3 * front)) /
                                      std::max(radius, length / 2);
                auto const mirror = [](double at) { return 1 - std::fabs(1 - std::fabs(at)); };
                double const atS = mirror(s - x * height * 0.6 * length / scaleX);
                double const atT = mirror(t - y * height * 0.6 * length / scaleY);
                Rgba const color = Mix(from.Sample(atS, atT), to.Sample(atS, atT), SmoothStep(0.15, 0.75, u));
                double const facing =
                    (x - y) * height / std::sqrt(2.0) / std::sqrt(1 + height * height * radius * radius);
                double const glint = 0.3 * std::pow(std::clamp(3 * facing - 0.3, 0.0, 1.0), 2);
                return Straight(EachColor(color, [&](std::size_t i) {
                    double const lit = color[i] * (1 + 0.55 * facing);
                    return lit + (color[3] - lit) * glint;
                }));
            });
        };
        // Light brings out the filter's rounding by two thirds, division by alpha doubles it.
        Expect(settings, {0.1, 0.45}, expectation, (c.size.width % 2 == 0 ? 2 : 1.7) * kFiltered, {c.size});
    }
}

TEST_F(ShaderTransitionsTest, PixelsCoarsenAndRecover) {
    // Four blocks across the shorter side are halved eight times on the way to a 540th of it; they stay for 0.4 of
    // that. Here they are single pixels after the third halving. Sizes mix in the last 0.3 of a step.
    constexpr double kSteps = 8;
    constexpr double kStay = 0.4 * kSteps;
    for (Size const& size : {Size{64, 32}, Size{32, 64}}) {
        Picture const first = MakeCoveringNoise(size, size.width == 32, 1);
        Picture const second = MakeCoveringNoise(size, size.width == 32, 2);
        auto const blocks = [](Picture const& picture, int halvings) {
            Picture means = Premultiply(picture);
            for (int i = halvings; i < 3; ++i) {
                means = Halve(means);
            }
            return means;
        };
        auto const check = [&](double p, Picture const& a, Picture const& b, double share, char const* growth) {
            Picture const expected = ForEachPixel(first, [&](double s, double t) {
                return Straight(Mix(a.SampleNearest(s, t), b.SampleNearest(s, t), SmoothStep(0.7, 1, share)));
            });
            ExpectDrawn(fmt::format("TransitionPixels num=4 growth={}", growth), first, second, p, expected,
                        kFiltered + kUnfiltered);
        };
        for (int halvings = 0; halvings < 4; ++halvings) {
            for (double const share : {1e-9, 0.5, 0.8}) {
                double const p = 0.5 * (kSteps - halvings - share) / (kSteps + kStay);
                check(p, blocks(first, halvings), blocks(first, halvings + 1), share, "steps");
                check(1 - p, blocks(second, halvings), blocks(second, halvings + 1), share, "steps");
            }
            double const p = 0.5 * (kSteps - halvings - 1e-9) / (kSteps + kStay);
            check(p, blocks(first, halvings), blocks(first, halvings), 0, "steady");
        }
        // Before and after all of the largest have changed, and in between some have.
        double const begin = 0.5 * kSteps / (kSteps + kStay);
        check(begin + 1e-6, blocks(first, 0), blocks(first, 0), 0, "steps");
        check(1 - begin - 1e-6, blocks(second, 0), blocks(second, 0), 0, "steps");
        Picture const half = Run("TransitionPixels num=4", Picture::Flat(size.width, size.height, {0, 0, 0, 1}),
                                 Picture::Flat(size.width, size.height, {1, 1, 1, 1}), {.progress = 0.5});
        auto const changed =
            std::count_if(half.pixels.begin(), half.pixels.end(), [](Rgba const& c) { return c[0] > 0.99; });
        auto const waiting =
            std::count_if(half.pixels.begin(), half.pixels.end(), [](Rgba const& c) { return c[0] < 0.01; });
        EXPECT_GT(std::min(changed, waiting), 64 * 32 / 4) << "one by one";
    }
}

// 17 pixels are halved four times, and then have 4 pixels of this picture. That the picture's own ones come next would
// be a leap: there are some of 2 in between.
TEST_F(ShaderTransitionsTest, PixelsOfLargePicturesBeginSmall) {
    constexpr unsigned kSide = 1088;
    Picture const first = Picture::Noise(kSide, kSide);
    Picture const second = Picture::Flat(kSide, kSide, {0, 0, 0, 1});
    Picture const fine = Halve(first);
    Picture const coarse = Halve(fine);
    for (auto const& [step, means] : {std::pair{0.35, &fine}, {0.9, &coarse}}) {
        double const progress = 0.5 * step / (5.0 + 2.0);
        Picture const drawn = Run("TransitionPixels num=17", first, second, {.progress = progress});
        double worst = 0.0;
        for (unsigned i = 0; i < kSide * kSide; i += 7) {
            unsigned const x = i % kSide;
            unsigned const y = i / kSide;
            unsigned const size = kSide / means->width;
            worst = std::max(worst, std::fabs(drawn.At(x, y)[0] - means->At(x / size, y / size)[0]));
        }
        EXPECT_LT(worst, kFiltered + kUnfiltered) << "after " << step << " of the first step";
    }
}

TEST_F(ShaderTransitionsTest, PixelsScatterOneByOne) {
    // 10 x 6 squares of 4 pixels, from black to white.
    Picture const first = Picture::Flat(40, 24, {0, 0, 0, 1});
    Picture const second = Picture::Flat(40, 24, {1, 1, 1, 1});
    auto const draw = [&](unsigned seed, double progress) {
        std::srand(seed);
        return Run("TransitionPixels type=1 num=6", first, second, {.progress = progress});
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
            wanted.insert(wanted.end(), 16, SmoothStep(0, 0.1, p - 0.9 * rank / 59));
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
    for (double const degrees : {0.0, -90.0, 180.0, 35.0}) {
        for (double const softness : {0.02, 0.3}) {
            Expect(
                fmt::format("TransitionSmear angle={} strength=0 softness={}", degrees, softness), {0.3},
                [&](Picture const& first, Picture const& second, double p) {
                    double const reach = std::max({GetAlong(first, degrees, 0, 0), GetAlong(first, degrees, 0, 1),
                                                   GetAlong(first, degrees, 1, 0), GetAlong(first, degrees, 1, 1)});
                    double const front = p * (2 * reach + softness) - reach;
                    Picture const from = Premultiply(first);
                    Picture const to = Premultiply(second);
                    return ForEachPixel(first, [&](double s, double t) {
                        double const behind = front - GetAlong(first, degrees, s, t);
                        if (behind < 0 || behind > softness) {  // unchanged, including colours under transparent pixels
                            return (behind < 0 ? first : second).SampleNearest(s, t);
                        }
                        return Straight(
                            Mix(from.SampleNearest(s, t), to.SampleNearest(s, t), SmoothStep(0, softness, behind)));
                    });
                });
        }
    }
}

TEST_F(ShaderTransitionsTest, SmearDrawsPaintAlongItsWayAndSettles) {
    Picture const first = MakeCoveringNoise({90, 70}, false, 1);
    Picture const second = MakeCoveringNoise({90, 70}, false, 2);
    for (double const degrees : {0.0, 90.0, 60.0}) {
        std::string const settings = fmt::format("TransitionSmear strength=0.4 softness=0.1 angle={}", degrees);
        auto const along = [&](double s, double t) { return GetAlong(first, degrees, s, t); };
        // Dark where the brush comes from.
        Picture const edge = ForEachPixel(first, [&](double s, double t) {
            return along(s, t) < 0 ? Rgba{0, 0, 0, 1} : Rgba{1, 1, 1, 1};
        });
        double const reach = std::max(std::fabs(along(1, 1)), std::fabs(along(1, 0)));
        for (double const p : {0.25, 0.5, 0.75}) {
            double const front = (reach + 0.1 + 0.064) * (p - 1) + p * (reach + 0.1 + 0.3);
            Picture const drawn = Run(settings, first, second, {.progress = p});
            Picture const edged = Run(settings, edge, edge, {.progress = p});
            unsigned darkened = 0;
            Picture const still = ForEachPixel(first, [&](double s, double t) {
                double const behind = front - along(s, t);
                double const light = edged.SampleNearest(s, t)[0];
                darkened += along(s, t) > 0 && light < 0.3 ? 1 : 0;
                EXPECT_TRUE(along(s, t) > -0.03 || light == 0) << "drawn backwards at " << s << ", " << t;
                return (behind < -0.164 ? first : behind > 0.4 ? second : drawn).SampleNearest(s, t);
            });
            EXPECT_TRUE(IsNear(drawn, still, kUnfiltered)) << settings << " at progress " << p;
            EXPECT_EQ(darkened > 100, p == 0.5) << settings << " at progress " << p;
        }
    }
}

TEST_F(ShaderTransitionsTest, SmearDrawsTheIncomingPictureOutBehindItsFront) {
    // In the incoming picture blue is even and green begins at an edge. Their quotient shows how far the paint before
    // the edge was drawn over it, whatever the light is and however much of the outgoing picture is left.
    Picture const first = Picture::Flat(192, 160, {0.5, 0, 0, 1});
    constexpr double kPull = 0.2;   // half the strength
    constexpr double kBlur = 0.02;  // the paint's blur: a twelfth of the pull, and a pixel
    for (double const degrees : {0.0, 90.0, 60.0}) {
        SCOPED_TRACE(degrees);
        auto const along = [&](double s, double t) { return GetAlong(first, degrees, s, t); };
        double const reach = std::max(std::fabs(along(1, 1)), std::fabs(along(1, 0)));
        double const p = 0.6;
        double const front = (reach + 0.1 + 0.064) * (p - 1) + p * (reach + 0.1 + 0.3);
        // The mean length of the paint that is drawn over an edge at this distance behind the front.
        auto const measure = [&](double behind) {
            double const edge = front - behind;
            Picture const second = ForEachPixel(first, [&](double s, double t) {
                return Rgba{0, along(s, t) < edge ? 0 : 0.5, 0.5, 1};
            });
            Picture const drawn = Run(fmt::format("TransitionSmear strength=0.4 softness=0.1 angle={}", degrees), first,
                                      second, {.progress = p});
            double covered = 0.0;
            double seen = 0.0;
            ForEachPixel(first, [&](double s, double t) {
                Rgba const color = drawn.SampleNearest(s, t);
                double const beyond = along(s, t) - edge;
                if (color[2] > 0.1) {
                    double const share = 1 - color[1] / color[2];
                    EXPECT_TRUE(beyond > -kBlur || share == 1) << "drawn backwards at " << s << ", " << t;
                    EXPECT_TRUE(beyond < kPull + kBlur || share < 0.05) << "drawn too far at " << s << ", " << t;
                    bool const counts = beyond > 0 && beyond < 0.1;
                    covered += counts ? share : 0;
                    seen += counts ? 1 : 0;
                }
                return color;
            });
            return 0.1 * covered / seen;
        };
        // On average a bristle draws by half of the pull, and a sample comes from half as far. Both shrink with the
        // distance from the front, to zero where everything has settled.
        EXPECT_NEAR(measure(0.15), 0.038, 0.007);
        EXPECT_NEAR(measure(0.28), 0.0045, 0.003);
        EXPECT_EQ(measure(0.45), 0);
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
    std::vector<FallingColumn> const columns = DrawColumns(kSeed);
    for (auto const& [size, rows] : {std::pair{Size{96, 60}, 6.0}, {Size{60, 105}, 17.0}}) {  // 12 / aspect / 1.25
        // Without light.
        Expect("TransitionMatrix num=12 color=#FFFFFF00", {0.4, 0.6},
               [&, rows = rows](Picture const& first, Picture const& second, double p) {
                   Picture const from = Premultiply(first);
                   Picture const to = Premultiply(second);
                   // Of a cell: how far it is uncovered, and how dark it is.
                   auto const look = [&](double x, double y) {
                       FallingColumn const& column = columns[static_cast<std::size_t>(std::clamp(x, 0.0, 11.0))];
                       double const trail = std::max(column.trail * rows, 3.0);
                       double const age = (p - column.begin) / column.duration * (rows + trail) -
                                          (rows - 1 - std::clamp(y, 0.0, rows - 1));
                       double const left = std::clamp(1 - age / trail, 0.0, 1.0);
                       return std::pair{SmoothStep(0, 3, age), std::min(1.5 * left, 1.0)};
                   };
                   return ForEachPixel(first, [&](double s, double t) {
                       // Smoothly from cell to cell.
                       double const x = s * 12 - 0.5;
                       double const y = t * rows - 0.5;
                       double shown = 0;
                       double dark = 0;
                       for (int i = 0; i < 4; ++i) {
                           double const u = std::floor(x) + i % 2;
                           double const v = std::floor(y) + i / 2;
                           auto const [uncovered, darkness] = look(u, v);
                           double const weight = (1 - std::fabs(x - u)) * (1 - std::fabs(y - v));
                           shown += weight * uncovered;
                           dark += weight * darkness;
                       }
                       Rgba const lit = to.SampleNearest(s, t);
                       return Straight(Mix(from.SampleNearest(s, t),
                                           EachColor(lit, [&](std::size_t c) { return lit[c] * (1 - 0.45 * dark); }),
                                           shown));
                   });
               },
               kFiltered, {size});
    }
}

TEST_F(ShaderTransitionsTest, MatrixShowsGlyphsWhereColumnsFall) {
    // 10 x 4 cells of 24 x 30 pixels.
    Picture const black = Picture::Flat(240, 120, {0, 0, 0, 1});
    std::vector<FallingColumn> const columns = DrawColumns(9);
    unsigned heads = 0;
    for (double const p : {0.2, 0.35, 0.5, 0.65, 0.8}) {
        std::srand(9);
        Picture const drawn = Run("TransitionMatrix num=10 color=#FFFFFF", black, black, {.progress = p});
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
