#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using StyleEffectsTest = EffectFixture;

/// The mean of `at` over a pixel, y from the bottom.
double SampleArea(unsigned x, double y, std::function<double(double, double)> const& at) {
    constexpr int kSamples = 16;
    double sum = 0.0;
    for (int j = 0; j < kSamples; ++j) {
        for (int i = 0; i < kSamples; ++i) {
            sum += at(x + (i + 0.5) / kSamples, y + (j + 0.5) / kSamples);
        }
    }
    return sum / (kSamples * kSamples);
}

TEST_F(StyleEffectsTest, StripesCoverTheirShareAndDriftAcross) {
    struct Stripes {
        double angle, fill, softness, speed, seconds, count;
    };
    for (Stripes const& s : {Stripes{30, 0.5, 0.5, 0, 0, 4}, {-70, 0.3, 1, 0.5, 0.6, 3}, {0, 0.7, 0, -1.5, 100.1, 5}}) {
        Expect(fmt::format("EffectStripes angle={} fill={} softness={} speed={} count={} color=#FF3300CC blend=normal "
                           "gradient=0 variation=0",
                           s.angle, s.fill, s.softness, s.speed, s.count),
               [&](Picture const& input) {
                   double const radians = s.angle * M_PI / 180;
                   double const period = std::hypot(input.width, input.height) / s.count;
                   double const ramp = s.softness * std::min(s.fill, 1 - s.fill);
                   auto const isCovered = [&](double x, double y) {
                       double const across =
                           (y - input.height / 2.0) * std::cos(radians) - (x - input.width / 2.0) * std::sin(radians);
                       double const d = std::fabs(std::remainder(across / period - s.speed * s.seconds, 1.0));
                       return SmoothStep(-0.5, 0.5, (s.fill / 2 - d) / std::max(ramp, 1e-9));
                   };
                   return Picture::Make(input.width, input.height, input.hasAlpha, [&](unsigned x, unsigned y) {
                       double const weight = 0.8 * SampleArea(x, input.height - 1.0 - y, isCovered);
                       Rgba const color = Mix(input.At(x, y), {1, 0.2, 0, 1}, weight);
                       return Rgba{color[0], color[1], color[2], input.At(x, y)[3]};
                   });
               },
               // Edges that hit sub-pixel samples differ by one column of 16.
               s.softness > 0 ? kFiltered : 0.06, {.seconds = s.seconds});
    }
}

/// The number of the block that a point (x, y) from the top left lies in.
using Locate = std::function<std::pair<int, int>(double x, double y)>;

/// Each block's mean by brute force, and each pixel's from the blocks that it lies in. Pixels in several blocks may be
/// `border` off.
void ExpectMeans(Picture const& actual, Picture const& input, Locate const& locate, double tolerance, double border) {
    constexpr unsigned kSamples = 8;  // per side of a pixel
    using Block = std::array<double, 5>;
    std::map<std::pair<int, int>, Block> blocks;
    std::vector<Block*> samples;
    for (unsigned y = 0; y < input.height; ++y) {
        for (unsigned x = 0; x < input.width; ++x) {
            auto const& [red, green, blue, alpha] = input.At(x, y);
            for (unsigned i = 0; i < kSamples * kSamples; ++i) {
                Block& sum = blocks[locate(x + (i % kSamples + 0.5) / kSamples, y + (i / kSamples + 0.5) / kSamples)];
                std::array const terms{red * alpha, green * alpha, blue * alpha, alpha, 1.0};
                std::transform(sum.begin(), sum.end(), terms.begin(), sum.begin(), std::plus());
                samples.push_back(&sum);
            }
        }
    }
    Picture even = actual;  // without the pixels on borders
    auto sample = samples.begin();
    Picture const expected = Picture::Make(input.width, input.height, input.hasAlpha, [&](unsigned x, unsigned y) {
        Rgba mean{};
        auto const end = sample + kSamples * kSamples;
        bool const isOnBorder = std::any_of(sample, end, [first = *sample](Block* block) { return block != first; });
        for (; sample != end; ++sample) {
            for (std::size_t c = 0; c < mean.size(); ++c) {
                mean[c] += (**sample)[c] / (**sample)[4] / (kSamples * kSamples);
            }
        }
        Rgba const color{mean[0] / mean[3], mean[1] / mean[3], mean[2] / mean[3], mean[3]};
        if (isOnBorder) {
            even.At(x, y) = color;
        }
        return color;
    });
    EXPECT_TRUE(IsNear(even, expected, tolerance)) << input.width << "x" << input.height << ", within blocks";
    EXPECT_TRUE(IsNear(actual, expected, border)) << input.width << "x" << input.height << ", on borders";
}

TEST_F(StyleEffectsTest, MosaicShowsTheMeansOfItsBlocks) {
    for (auto const& [width, height, hasAlpha] : {std::tuple{64U, 36U, false}, {36U, 64U, true}, {33U, 33U, true}}) {
        Picture const input = Picture::Noise(width, height, hasAlpha);
        for (int const count : {1, 8}) {  // blocks' edges hit samples' edges
            double const side = std::min(width, height) / static_cast<double>(count);
            auto const number = [&](double x, unsigned length) {
                double const odd = std::fmod(std::ceil(length / side - 1e-9), 2);
                return static_cast<int>(std::floor((x - length / 2.0) / side + odd / 2 + 1e-9));
            };
            ExpectMeans(
                Run(fmt::format("EffectMosaic count={}", count), input), input,
                [&, w = width, h = height](double x, double y) {
                    return std::pair{number(x, w), number(y, h)};
                },
                kUnfiltered, kFiltered);
        }
        for (int const count : {2, 5}) {
            bool const isUpright = width >= height;  // hexagons touch one above the other
            double const pitch = std::min(width, height) / static_cast<double>(count);
            auto const locate = [&, width = width, height = height](double x, double y) {
                double const a = (x - width / 2.0) / pitch;
                double const b = (y - height / 2.0) / pitch;
                double const u = isUpright ? b : a;
                double const v = isUpright ? a : b;
                std::pair<int, int> nearest;
                double least = INFINITY;
                int const middle = static_cast<int>(std::lround(v / std::sqrt(0.75)));
                int const side = static_cast<int>(std::lround(2 * u));
                for (int row = middle - 1; row <= middle + 1; ++row) {
                    for (int half = side - 2; half <= side + 2; ++half) {  // pitches, doubled
                        double const distance = std::hypot(u - half / 2.0, v - row * std::sqrt(0.75));
                        if ((half + row + count + 1) % 2 == 0 && distance < least) {
                            least = distance;
                            nearest = {half, row};
                        }
                    }
                }
                return nearest;
            };
            // Pixels that contain a corner of three hexagons are mixed by approximation.
            ExpectMeans(Run(fmt::format("EffectMosaic shape=1 count={}", count), input), input, locate, 2.0 / 255.0,
                        0.15);
        }
    }
}

TEST_F(StyleEffectsTest, GlassBricksBendThePictureAndAreLitFromTheUpperLeft) {
    for (auto const& [width, height] : {Size{64, 36}, Size{36, 64}, Size{33, 33}}) {
        Picture const input = Picture::Corners(width, height, true);
        double const side = std::min(width, height) / 3.0;
        // The middle of the brick at a place, and where in it that is: -1 to 1.
        auto const find = [side](double at, unsigned length) {
            double const parity = std::fmod(std::ceil(length / side), 2.0) / 2.0;
            double const middle =
                length / 2.0 + (std::floor((at - length / 2.0) / side + parity) + 0.5 - parity) * side;
            return std::pair{middle, 2.0 * (at - middle) / side};
        };
        Picture const actual = Run("EffectGlassMosaic count=3 strength=0.7 bevel=0 variation=0 dispersion=0", input);
        Picture const expected = ForEachPixel(input, [&, width = width, height = height](double s, double t) {
            auto const [middleX, x] = find(s * width, width);
            auto const [middleY, y] = find(t * height, height);
            if (std::max(std::fabs(x), std::fabs(y)) > 1.0 - 1.0 / side) {
                return actual.SampleNearest(s, t);  // in two bricks
            }
            double const lens = side / 2.0 * (1.0 + 0.7 * (0.6 + x * x + y * y));
            auto const mirror = [](double at) { return 1.0 - std::fabs(1.0 - std::fabs(at)); };
            return input.Sample(mirror((middleX + x * lens) / width), mirror((middleY + y * lens) / height));
        });
        EXPECT_TRUE(IsNear(actual, expected, kFiltered)) << width << "x" << height;
    }
    // The middle one of three bricks of 100 pixels.
    Picture const lit = Run("EffectGlassMosaic count=2 variation=0", Picture::Flat(300, 200, {0.4, 0.4, 0.4, 1}));
    EXPECT_GT(std::min(lit.At(104, 50)[0], lit.At(150, 4)[0]), 0.44) << "left and top";
    EXPECT_LT(std::max(lit.At(195, 50)[0], lit.At(150, 95)[0]), 0.38) << "right and bottom";
    EXPECT_GT(lit.At(100, 50)[0], 0.45) << "the frosted joint";
    EXPECT_NEAR(lit.At(140, 40)[0], 0.42, 0.03);
}

class FlyingObjectsTest : public GlTest {
protected:
    /// The same objects each time.
    static Picture Fly(std::string const& settings, Picture const& input, double seconds) {
        std::srand(3);
        return Run("EffectFlyingObjects " + settings, input, {.seconds = seconds});
    }
    static Picture Black(unsigned width, unsigned height) { return Picture::Flat(width, height, {0, 0, 0, 1}); }
};

/// What is bright in a picture, and its middle in picture heights, y up.
struct Bright {
    explicit Bright(Picture const& picture) {
        for (unsigned i = 0; i < picture.pixels.size(); ++i) {
            double const value = picture.pixels[i][0];
            sum += value;
            x += value * (i % picture.width + 0.5) / picture.height;
            y += value * (picture.height - (i / picture.width) - 0.5) / picture.height;
        }
        x /= sum;
        y /= sum;
    }
    double sum = 0.0, x = 0.0, y = 0.0;
};

TEST_F(FlyingObjectsTest, DriftWhereTheyShould) {
    constexpr double kSpeed = 0.5;
    constexpr double kStep = 0.25;
    for (auto const& [direction, x, y] : {std::tuple{0, 0, -1}, {1, 0, 1}, {2, -1, 0}, {3, 1, 0}}) {
        // A kind of object that does not turn.
        std::string const settings = fmt::format(
            "kind=5 count=1 size=0.2 speed={} moveDirection={} gust=0 depth=0 streaks=0", kSpeed, direction);
        auto const look = [&](double at) { return Bright(Fly(settings, Black(128, 72), at)); };
        auto const isWithin = [](Bright const& place) {
            return place.sum > 1.5 && place.x > 0.4 && place.x < 1.4 && place.y > 0.3 && place.y < 0.7;
        };
        double seconds = 0.0;  // when the one object is in the picture
        while (seconds < 60.0 && !isWithin(look(seconds))) {
            seconds += kStep;
        }
        Bright const before = look(seconds);
        Bright const after = look(seconds + kStep);
        double const way = x * (after.x - before.x) + y * (after.y - before.y);
        EXPECT_GT(way, kSpeed * kStep / 3.0 * 0.95) << settings << " at " << seconds;
        EXPECT_LT(way, kSpeed * kStep * 1.05) << settings << " at " << seconds;
    }
}

TEST_F(FlyingObjectsTest, MoveWithoutAJump) {
    for (int kind = 0; kind < 7; ++kind) {
        std::string const settings = fmt::format("kind={} moveDirection={} count=150 size=0.15", kind, kind % 4);
        auto const look = [&](double at) { return Fly(settings + " speed=2", Black(96, 54), at); };
        for (double const seconds : {7.3, 59.9999, 61.7, 119.9999}) {
            Picture const now = look(seconds);
            // The teeth of the smallest leaves are finer than pixels.
            EXPECT_TRUE(IsNear(look(seconds + 0.0002), now, 0.2)) << settings << " at " << seconds;
            EXPECT_FALSE(IsNear(look(seconds + 0.2), now, 0.2)) << settings << " at " << seconds;
        }
        EXPECT_TRUE(IsNear(Fly(settings + " speed=0", Black(96, 54), 71.0),
                           Fly(settings + " speed=0", Black(96, 54), 11.0), kFiltered))
            << "a minute later";
    }
}

TEST_F(FlyingObjectsTest, AreAsManyAsWantedAndLieOverThePicture) {
    Picture const few = Fly("size=0.024 count=100 gust=0 depth=0", Black(320, 180), 4.0);
    Picture const many = Fly("size=0.024 count=400 gust=0 depth=0", Black(320, 180), 4.0);
    EXPECT_NEAR(Bright(many).sum / Bright(few).sum, 4.0, 1.3);
    for (std::size_t i = 0; i < few.pixels.size(); ++i) {
        ASSERT_GE(many.pixels[i][0], few.pixels[i][0] - kUnfiltered) << "a larger count adds to the same objects";
    }
    std::string const settings = "kind=3 size=0.2 depth=0 color=#FFFFFF80";
    Picture const alone = Fly(settings, Picture::Flat(64, 36, {1, 1, 1, 0}, true), 2.0);
    for (bool const hasAlpha : {false, true}) {
        Picture expected = Picture::Corners(64, 36, hasAlpha);
        Picture const drawn = Fly(settings, expected, 2.0);
        for (std::size_t i = 0; i < alone.pixels.size(); ++i) {
            Rgba const& above = alone.pixels[i];
            Rgba const below = expected.pixels[i];
            double const rest = below[3] * (1.0 - above[3]);
            expected.pixels[i] = EachColor(
                below, [&](std::size_t c) { return (above[c] * above[3] + below[c] * rest) / (above[3] + rest); });
            expected.pixels[i][3] = above[3] + rest;
        }
        EXPECT_TRUE(IsNear(drawn, expected, kFiltered));
    }
    EXPECT_TRUE(std::any_of(alone.pixels.begin(), alone.pixels.end(), [](Rgba const& c) { return c[3] > 0.5; }))
        << "where objects overlap";
}

TEST_F(StyleEffectsTest, FilmStripRunsWhereItShould) {
    for (auto const& [width, height] : {Size{160, 90}, Size{90, 160}}) {
        // A white spot in the middle, the only bright part.
        Picture const input = ForEachPixel(Picture(width, height), [w = width, h = height](double s, double t) {
            return std::hypot((s - 0.5) * w, (t - 0.5) * h) < 12.0 ? Rgba{1, 1, 1, 1} : Rgba{0, 0, 0, 1};
        });
        for (auto const& [direction, x, y] : {std::tuple{0, 0, 1}, {1, 0, -1}, {2, -1, 0}, {3, 1, 0}}) {
            std::string const settings = fmt::format("EffectFilmStrip speed=0.4 color=#000000 direction={}", direction);
            auto const run = [&](double seconds) {
                Picture picture = Run(settings, input, {.seconds = seconds});
                for (Rgba& pixel : picture.pixels) {
                    pixel[0] = pixel[0] < 0.5 ? 0.0 : pixel[0];
                }
                return picture;
            };
            Bright const start(run(0.0));
            Bright const later(run(0.2));
            double const across = 0.7 * (direction < 2 ? width : height) / 0.72;
            double const along = 0.7 * (direction < 2 ? height : width) + 0.05 * across;
            double const way = 0.4 * 0.2 * along / height;
            EXPECT_NEAR(start.x, 0.5 * width / height, 0.005) << settings;
            EXPECT_NEAR(start.y, 0.5, 0.005) << settings;
            EXPECT_NEAR(later.x - start.x, x * way, 0.006) << settings;
            EXPECT_NEAR(later.y - start.y, y * way, 0.006) << settings;
            EXPECT_TRUE(IsNear(run(2.7), run(0.2), kFiltered)) << "one picture later";
        }
    }
}

TEST_F(StyleEffectsTest, FilmStripShowsWholePicturesInTheFilm) {
    Picture const input = Picture::Make(320, 180, false, [](unsigned x, unsigned y) {
        return (x + y) % 2 == 0 ? Rgba{1, 0, 0, 1} : Rgba{0, 0, 1, 1};
    });
    Picture const drawn = Run("EffectFilmStrip size=0.5 color=#00FF00", input, {.seconds = 0.123});
    unsigned const middle = 82;  // a row through the picture nearest to the middle
    unsigned const left = 80;    // of the picture
    unsigned const edge = 49;    // of the strip: 0.5 * 320 / 0.72 pixels wide
    for (unsigned x = left; x < 320 - left; ++x) {
        ASSERT_NEAR(drawn.At(x, middle)[0], 0.5, 0.03) << "the mean of fine detail, at " << x;
        ASSERT_NEAR(drawn.At(x, middle)[2], 0.5, 0.03) << "the mean of fine detail, at " << x;
        ASSERT_LT(drawn.At(x, middle)[1], 0.05) << x;
    }
    for (unsigned const x : {left - 3, 320 - left + 2, edge + 2, 320 - edge - 3}) {
        EXPECT_GT(drawn.At(x, middle)[1], 0.8) << "film, at " << x;
    }
    for (unsigned const x : {edge - 2, 320 - edge + 1}) {
        EXPECT_LT(drawn.At(x, middle)[1], 0.1) << "beside the strip, at " << x;
        EXPECT_GT(drawn.At(x, middle)[0], 0.05) << "beside the strip, at " << x;
    }
    // Three holes on the 101.1 pixels of a picture and its gap; 187.7 pixels of bent film.
    unsigned changes = 0;
    unsigned const hole = 65;  // 0.43 strip widths from the middle
    for (unsigned y = 1; y < 180; ++y) {
        changes += (drawn.At(hole, y)[1] > 0.4) != (drawn.At(hole, y - 1)[1] > 0.4) ? 1 : 0;
    }
    EXPECT_NEAR(changes, 2 * 187.7 / (101.1 / 3.0), 1.5);
}

}  // namespace
}  // namespace Kaltor::Tests
