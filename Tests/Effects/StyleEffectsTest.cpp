#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <vector>

#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsStyleEffects.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;

using StyleEffectsTest = GlTest;

struct Size {
    unsigned width, height;
};
constexpr std::array kSizes{Size{64, 36}, Size{36, 64}, Size{33, 33}};

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
        double angle, fill, softness, speed, seconds;
        int count;
    };
    for (Stripes const& stripes : {Stripes{30, 0.5, 0.5, 0, 0, 4},
                                   {-70, 0.3, 1, 0.5, 0.6, 3},
                                   {0, 0.7, 0, -1.5, 100.1, 5},
                                   {90, 0.25, 0, 1, 0.25, 40}}) {
        SettingsEffectStripes settings;
        settings.SetAngle(stripes.angle);
        settings.SetFill(stripes.fill);
        settings.SetSoftness(stripes.softness);
        settings.SetSpeed(stripes.speed);
        settings.SetCount(stripes.count);
        settings.SetColor({255, 51, 0, 204});
        for (Size const size : kSizes) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Corners(size.width, size.height, hasAlpha);
                double const radians = stripes.angle * M_PI / 180;
                double const period = std::hypot(size.width, size.height) / stripes.count;
                double const ramp = stripes.softness * std::min(stripes.fill, 1 - stripes.fill);
                auto const isCovered = [&](double x, double y) {
                    double const across =
                        (y - size.height / 2.0) * std::cos(radians) - (x - size.width / 2.0) * std::sin(radians);
                    double const d = std::fabs(std::remainder(across / period - stripes.speed * stripes.seconds, 1.0));
                    double const e = std::clamp(
                        ramp > 0 ? 0.5 + (stripes.fill / 2 - d) / ramp : 1.0 * (d < stripes.fill / 2), 0.0, 1.0);
                    return e * e * (3 - 2 * e);
                };
                Picture const expected = Picture::Make(size.width, size.height, hasAlpha, [&](unsigned x, unsigned y) {
                    double const weight = 0.8 * SampleArea(x, size.height - 1.0 - y, isCovered);
                    Rgba const& from = input.At(x, y);
                    return Rgba{from[0] + (1.0 - from[0]) * weight, from[1] + (0.2 - from[1]) * weight,
                                from[2] * (1 - weight), from[3]};
                });
                // Edges that hit sub-pixel samples differ by one column of 16.
                double const tolerance = stripes.softness > 0 ? kFiltered : 0.06;
                EXPECT_TRUE(IsNear(Run(settings, input, {.seconds = stripes.seconds}), expected, tolerance))
                    << size.width << "x" << size.height << " at " << stripes.angle;
            }
        }
    }
}

/// The number of the block that a point (x, y) from the top left lies in.
using Locate = std::function<std::pair<int, int>(double x, double y)>;

/// Each block's mean by brute force, and each pixel's from the blocks that it lies in. Pixels in several blocks may be
/// `border` off.
void ExpectMeans(Picture const& actual, Picture const& input, Locate const& locate, double tolerance, double border) {
    constexpr unsigned kSamples = 16;  // a side of a pixel
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

TEST_F(StyleEffectsTest, MosaicOfSquaresShowsTheirMeans) {
    for (int const count : {1, 8, 16}) {  // blocks' edges hit samples' edges
        SettingsEffectMosaic settings;
        settings.SetCount(count);
        for (Size const size : kSizes) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Noise(size.width, size.height, hasAlpha);
                double const side = std::min(size.width, size.height) / static_cast<double>(count);
                auto const number = [&](double x, unsigned length) {
                    double const odd = std::fmod(std::ceil(length / side - 1e-9), 2);
                    return static_cast<int>(std::floor((x - length / 2.0) / side + odd / 2 + 1e-9));
                };
                ExpectMeans(
                    Run(settings, input), input,
                    [&](double x, double y) {
                        return std::pair{number(x, size.width), number(y, size.height)};
                    },
                    kUnfiltered, kFiltered);
            }
        }
    }
}

TEST_F(StyleEffectsTest, MosaicOfHexagonsShowsTheirMeans) {
    for (int const count : {2, 5, 9}) {
        SettingsEffectMosaic settings;
        settings.SetCount(count);
        settings.SetShape(1);
        for (Size const size : kSizes) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Noise(size.width, size.height, hasAlpha);
                bool const isUpright = size.width >= size.height;  // hexagons touch one above the other
                double const pitch = std::min(size.width, size.height) / static_cast<double>(count);
                ExpectMeans(
                    Run(settings, input), input,
                    [&](double x, double y) {
                        double const a = (x - size.width / 2.0) / pitch;
                        double const b = (y - size.height / 2.0) / pitch;
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
                    },
                    2.0 / 255.0, 0.15);  // corners of three hexagons within a pixel are mixed by rule of thumb
            }
        }
    }
}

TEST_F(StyleEffectsTest, MosaicOfPixelsIsThePicture) {
    for (int const shape : {0, 1}) {
        SettingsEffectMosaic settings;
        settings.SetShape(shape);
        settings.SetCount(36);
        Picture const input = Picture::Noise(64, 36, true);
        EXPECT_TRUE(IsNear(Run(settings, input), input, 0.0));
    }
}

TEST_F(StyleEffectsTest, GlassBricksBendThePicture) {
    SettingsEffectGlassMosaic settings;
    settings.SetCount(3);
    settings.SetStrength(0.7);
    settings.SetBevel(0.0);
    for (Size const size : kSizes) {
        Picture const input = Picture::Corners(size.width, size.height, true);
        Picture const actual = Run(settings, input);
        double const side = std::min(size.width, size.height) / 3.0;
        Picture const expected = Picture::Make(size.width, size.height, true, [&](unsigned x, unsigned y) {
            struct Place {
                double middle, q;
            };
            auto const find = [side](double at, unsigned length) {
                double const parity = std::fmod(std::ceil(length / side), 2.0) / 2.0;
                double const brick = std::floor((at - length / 2.0) / side + parity) + 0.5 - parity;
                double const middle = length / 2.0 + brick * side;
                return Place{middle, 2.0 * (at - middle) / side};
            };
            Place const h = find(x + 0.5, size.width);
            Place const v = find(size.height - y - 0.5, size.height);
            if (std::max(std::fabs(h.q), std::fabs(v.q)) > 1.0 - 1.0 / side) {
                return actual.At(x, y);  // in two bricks
            }
            double const lens = side / 2.0 * (1.0 + 0.7 * (0.7 + 0.8 * (h.q * h.q + v.q * v.q)));
            auto const mirror = [](double at) { return 1.0 - std::fabs(1.0 - std::fabs(at)); };
            return input.Sample(mirror((h.middle + h.q * lens) / size.width),
                                mirror((v.middle + v.q * lens) / size.height));
        });
        EXPECT_TRUE(IsNear(actual, expected, kFiltered)) << size.width << "x" << size.height;
    }
}

TEST_F(StyleEffectsTest, GlassBricksAreLitFromTheUpperLeft) {
    SettingsEffectGlassMosaic settings;
    settings.SetCount(2);
    Picture const lit = Run(settings, Picture::Flat(300, 200, {0.4, 0.4, 0.4, 1}));
    // The middle one of three bricks of 100 pixels.
    double const left = lit.At(104, 50)[0];
    double const right = lit.At(195, 50)[0];
    double const top = lit.At(150, 4)[0];
    double const bottom = lit.At(150, 95)[0];
    EXPECT_GT(std::min(left, top), 0.44);
    EXPECT_LT(std::max(right, bottom), 0.38);
    EXPECT_LT(lit.At(100, 50)[0], 0.3) << "the joint";
    EXPECT_NEAR(lit.At(140, 40)[0], 0.42, 0.03);
}

class FlyingObjectsTest : public GlTest {
protected:
    /// The same objects each time.
    Picture Fly(Picture const& input, double seconds) const {
        std::srand(3);
        return Run(settings, input, {.seconds = seconds});
    }
    static Picture Black(unsigned width, unsigned height) { return Picture::Flat(width, height, {0, 0, 0, 1}); }

    SettingsEffectFlyingObjects settings;
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
    constexpr std::array<std::array<double, 2>, 4> kHeadings{{{0, -1}, {0, 1}, {-1, 0}, {1, 0}}};
    settings.SetKind(5);  // does not turn
    settings.SetCount(1);
    settings.SetSize(0.2);
    settings.SetSpeed(0.5);
    for (std::int32_t direction = 0; direction < 4; ++direction) {
        settings.SetMoveDirection(direction);
        auto const& [headingX, headingY] = kHeadings.at(static_cast<std::size_t>(direction));
        double const step = 0.25;
        double seconds = 0.0;  // when the one object is in the picture
        auto const isWithin = [](Bright const& place) {
            return place.sum > 5.0 && place.x > 0.4 && place.x < 1.4 && place.y > 0.3 && place.y < 0.7;
        };
        while (seconds < 60.0 && !isWithin(Bright(Fly(Black(128, 72), seconds)))) {
            seconds += step;
        }
        Bright const before(Fly(Black(128, 72), seconds));
        Bright const after(Fly(Black(128, 72), seconds + step));
        double const way = headingX * (after.x - before.x) + headingY * (after.y - before.y);
        EXPECT_GT(way, settings.GetSpeed() * step / 3.0 * 0.95) << "direction " << direction << " at " << seconds;
        EXPECT_LT(way, settings.GetSpeed() * step * 1.05) << "direction " << direction << " at " << seconds;
    }
}

TEST_F(FlyingObjectsTest, MoveWithoutAJump) {
    settings.SetCount(150);
    settings.SetSize(0.15);
    settings.SetSpeed(2.0);
    for (std::int32_t kind = 0; kind < 7; ++kind) {
        settings.SetKind(kind);
        settings.SetMoveDirection(kind % 4);
        for (double const seconds : {0.0, 7.3, 59.9999, 61.7, 119.9999, 86399.9999}) {
            Picture const now = Fly(Black(96, 54), seconds);
            // The teeth of the smallest leaves are finer than pixels.
            EXPECT_TRUE(IsNear(Fly(Black(96, 54), seconds + 0.0002), now, 0.2))
                << "kind " << kind << " at " << seconds;
            EXPECT_FALSE(IsNear(Fly(Black(96, 54), seconds + 0.2), now, 0.2)) << "kind " << kind << " at " << seconds;
        }
        settings.SetSpeed(0.0);
        EXPECT_TRUE(IsNear(Fly(Black(96, 54), 71.0), Fly(Black(96, 54), 11.0), kFiltered)) << "a minute later";
        settings.SetSpeed(2.0);
    }
}

TEST_F(FlyingObjectsTest, AreAsManyAsWanted) {
    settings.SetSize(0.012);
    auto const fly = [this](std::int32_t count) {
        settings.SetCount(count);
        return Fly(Black(320, 180), 4.0);
    };
    Picture const few = fly(100);
    Picture const many = fly(400);
    EXPECT_NEAR(Bright(many).sum / Bright(few).sum, 4.0, 0.8);
    for (std::size_t i = 0; i < few.pixels.size(); ++i) {
        ASSERT_GE(many.pixels[i][0], few.pixels[i][0] - kUnfiltered) << "a larger count adds to the same objects";
    }
}

TEST_F(FlyingObjectsTest, LieOverThePicture) {
    settings.SetKind(3);
    settings.SetSize(0.2);
    settings.SetColor({255, 255, 255, 128});
    Picture const alone = Fly(Picture::Flat(64, 36, {1, 1, 1, 0}, true), 2.0);
    for (bool const hasAlpha : {false, true}) {
        Picture const input = Picture::Corners(64, 36, hasAlpha);
        Picture expected = input;
        for (std::size_t i = 0; i < input.pixels.size(); ++i) {
            Rgba const& above = alone.pixels[i];
            Rgba& color = expected.pixels[i];
            double const rest = color[3] * (1.0 - above[3]);
            for (std::size_t c = 0; c < 3; ++c) {
                color[c] = (above[c] * above[3] + color[c] * rest) / (above[3] + rest);
            }
            color[3] = above[3] + rest;
        }
        EXPECT_TRUE(IsNear(Fly(input, 2.0), expected, kFiltered));
    }
    double most = 0.0;
    for (Rgba const& pixel : alone.pixels) {
        most = std::max(most, pixel[3]);
    }
    EXPECT_GT(most, 0.5) << "where objects overlap";
}

TEST_F(StyleEffectsTest, FilmStripRunsWhereItShould) {
    constexpr std::array<std::array<double, 2>, 4> kHeadings{{{0, 1}, {0, -1}, {-1, 0}, {1, 0}}};
    SettingsEffectFilmStrip settings;
    settings.SetSpeed(0.4);
    settings.SetColor({0, 0, 0, 255});
    for (Size const size : {Size{160, 90}, Size{90, 160}}) {
        // A white spot in the middle, alone where only what is bright counts.
        Picture const input = Picture::Make(size.width, size.height, false, [size](unsigned x, unsigned y) {
            bool const isSpot = std::hypot(x + 0.5 - size.width / 2.0, y + 0.5 - size.height / 2.0) < 12.0;
            return isSpot ? Rgba{1, 1, 1, 1} : Rgba{0, 0, 0, 1};
        });
        auto const run = [&](double seconds) {
            Picture picture = Run(settings, input, {.seconds = seconds});
            for (Rgba& pixel : picture.pixels) {
                pixel[0] = pixel[0] < 0.5 ? 0.0 : pixel[0];
            }
            return picture;
        };
        for (std::int32_t direction = 0; direction < 4; ++direction) {
            settings.SetDirection(direction);
            auto const& [headingX, headingY] = kHeadings.at(static_cast<std::size_t>(direction));
            Bright const start(run(0.0));
            Bright const later(run(0.2));
            double const across = 0.7 * (direction < 2 ? size.width : size.height) / 0.72;
            double const along = 0.7 * (direction < 2 ? size.height : size.width) + 0.05 * across;
            double const way = 0.4 * 0.2 * along / size.height;
            EXPECT_NEAR(start.x, 0.5 * size.width / size.height, 0.005) << direction;
            EXPECT_NEAR(start.y, 0.5, 0.005) << direction;
            EXPECT_NEAR(later.x - start.x, headingX * way, 0.006) << direction;
            EXPECT_NEAR(later.y - start.y, headingY * way, 0.006) << direction;
            EXPECT_TRUE(IsNear(run(2.7), run(0.2), kFiltered)) << "one picture later";
        }
    }
}

TEST_F(StyleEffectsTest, FilmStripShowsWholePicturesInTheFilm) {
    SettingsEffectFilmStrip settings;
    settings.SetSize(0.5);
    settings.SetColor({0, 255, 0, 255});
    Picture const input = Picture::Make(320, 180, false, [](unsigned x, unsigned y) {
        return (x + y) % 2 == 0 ? Rgba{1, 0, 0, 1} : Rgba{0, 0, 1, 1};
    });
    Picture const drawn = Run(settings, input, {.seconds = 0.123});
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
