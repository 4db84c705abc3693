// Effects that show the picture from another place, turned, or on a part of the frame.

#include <cmath>
#include <cstdlib>
#include <tuple>

#include <fmt/format.h>

#include "Proc/Settings/SettingsGeometryEffects.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;
using ViewEffectsTest = GlTest;

/// Settings of this class with some fields set.
std::unique_ptr<Settings> With(std::string const& name, std::vector<std::pair<std::string, double>> const& fields) {
    std::unique_ptr<Settings> settings = MakeSettings(name);
    for (auto const& [key, value] : fields) {
        settings->Set(key, fmt::format("{}", value));
    }
    return settings;
}

/// What a camera sees whose pictures are 1 / `zoom` of the input's sides around (x, y), counted from the lower left.
struct Camera {
    double x, y, zoom;
    Rgba around{0, 0, 0, 1};

    /// Along one axis: the texels at `first` and beyond that make up the point at `place`, and how much.
    struct Taps {
        long first = 0;
        std::vector<double> weights;
    };
    Taps Weigh(double place) const {
        double const footprint = std::max(1 / zoom, 1.0);
        double const share = std::min((footprint - 1) / 0.25, 1.0);
        long const reach = std::max(3L, std::lround(footprint) + 1);
        Taps taps{std::lround(std::floor(place)) - reach, {}};
        for (long texel = taps.first; texel <= taps.first + 2 * reach; ++texel) {
            double const d = std::fabs(static_cast<double>(texel) + 0.5 - place);
            double const keys = d < 1 ? (1.5 * d - 2.5) * d * d + 1 : d < 2 ? ((-0.5 * d + 2.5) * d - 4) * d + 2 : 0.0;
            double const mean = std::clamp(0.5 + 0.5 * footprint - d, 0.0, 1.0) / footprint;
            taps.weights.push_back((1 - share) * keys + share * mean);
        }
        return taps;
    }
    /// Premultiplied; the border is as soft as a pixel is wide.
    Picture Show(Picture const& input) const {
        auto const [w, h] = std::pair{static_cast<double>(input.width), static_cast<double>(input.height)};
        auto const clamp = [](long at, unsigned side) {
            return static_cast<unsigned>(std::clamp(at, 0L, static_cast<long>(side) - 1));
        };
        auto const cover = [this](double pixel, double side, double centre) {
            double const low = side * (0.5 - centre * zoom);
            return std::clamp(std::min(pixel + 1, low + side * zoom) - std::max(pixel, low), 0.0, 1.0);
        };
        return Picture::Make(input.width, input.height, input.hasAlpha, [&](unsigned px, unsigned py) {
            Taps const across = Weigh((x + ((px + 0.5) / w - 0.5) / zoom) * w);
            Taps const down = Weigh((1 - y + ((py + 0.5) / h - 0.5) / zoom) * h);
            Rgba sum{};
            for (std::size_t j = 0; j < down.weights.size(); ++j) {
                for (std::size_t i = 0; i < across.weights.size(); ++i) {
                    Rgba const& texel = input.At(clamp(across.first + static_cast<long>(i), input.width),
                                                 clamp(down.first + static_cast<long>(j), input.height));
                    double const weight = across.weights[i] * down.weights[j];
                    for (std::size_t c = 0; c < 4; ++c) {
                        sum[c] += weight * texel[c] * (c < 3 ? texel[3] : 1);
                    }
                }
            }
            double const share = cover(px, w, x) * cover(input.height - 1 - py, h, y);
            double const alpha = std::clamp(sum[3], 0.0, 1.0);
            Rgba seen{0, 0, 0, share * alpha + (1 - share) * around[3]};
            for (std::size_t c = 0; c < 3; ++c) {
                double const color = sum[3] > 0 ? std::clamp(sum[c] / sum[3], 0.0, 1.0) : 0.0;
                seen[c] = share * color * alpha + (1 - share) * around[c] * around[3];
            }
            return seen;
        });
    }
};

TEST_F(ViewEffectsTest, TransposeTurnsToTheByteAndSwapsPixelAspect) {
    for (auto const& [w, h] : {std::pair{64U, 36U}, {36U, 64U}, {31U, 17U}, {1U, 5U}}) {
        for (bool const hasAlpha : {false, true}) {
            Picture const input = Picture::Noise(w, h, hasAlpha);
            for (std::int32_t mode = 0; mode < 4; ++mode) {
                Picture const expected = Picture::Make(h, w, hasAlpha, [&, w = w, h = h](unsigned x, unsigned y) {
                    // The other diagonal, and a turn one way, read columns from the right; the other way, rows.
                    return input.At(mode >= 2 ? w - 1 - y : y, mode % 2 == 1 ? h - 1 - x : x);
                });
                EXPECT_TRUE(IsNear(Run(*With("EffectTranspose", {{"mode", mode}}), input), expected, 0.0))
                    << "mode " << mode;
            }
        }
    }
    Conf::FrameInfo const wide{32, 18, 4, 3};
    Conf::FrameInfo const turned{18, 32, 3, 4};
    auto const effect = MakeEffect(SettingsEffectTranspose());
    boost::intrusive_ptr<IDataVideo> frame = DataVideoFF::Create(PixFmt::Yuv420p, wide);
    effect->Process(frame);
    EXPECT_EQ(Download(frame)->GetFrameInfo(), turned);
    boost::intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(PixFmt::Yuv420p, wide);
    effect->UpdateFormatCodec(codec);
    EXPECT_EQ(codec->GetFrameInfo(), turned);
}

TEST_F(ViewEffectsTest, MirrorReflectsOneSideToTheByte) {
    // Where pixel `at` of a side comes from: reflected on the axis and on the border until it lies on the kept side.
    auto const reflect = [](unsigned at, unsigned side, double position, bool isFarKept) {
        long const axis = std::lround((isFarKept ? 1 - position : position) * 2 * side);  // in halves of a pixel
        long place = 2 * (isFarKept ? side - 1 - at : at) + 1;
        while (place < 0 || place > axis) {
            place = place < 0 ? -place : 2 * axis - place;
        }
        auto const pixel = static_cast<unsigned>(place / 2);
        return isFarKept ? side - 1 - pixel : pixel;
    };
    for (auto const& [w, h] : {std::pair{64U, 36U}, {36U, 64U}, {31U, 17U}}) {
        Picture const input = Picture::Noise(w, h, true);
        for (double const position : {0.5, 0.3, 0.77, 0.02}) {
            for (std::int32_t axis = 0; axis < 5; ++axis) {
                auto const settings = With("EffectMirror", {{"axis", axis}, {"position", position}});
                Picture const expected = Picture::Make(w, h, true, [&, w = w, h = h](unsigned x, unsigned y) {
                    bool const isAlongX = axis == 0 || axis == 1 || axis == 4;
                    bool const isAlongY = axis >= 2;
                    // Rows count from the top, positions from the bottom.
                    return input.At(isAlongX ? reflect(x, w, position, axis == 1) : x,
                                    isAlongY ? reflect(y, h, 1 - position, axis == 2) : y);
                });
                EXPECT_TRUE(IsNear(Run(*settings, input), expected, 0.0)) << "axis " << axis << " at " << position;
            }
        }
    }
}

TEST_F(ViewEffectsTest, ZoomShowsItsViewSharpOverTheBackground) {
    using Fixed = std::array<double, 3>;  // x, y, zoom
    for (auto const& [x, y, zoom] : {Fixed{0.5, 0.5, 1.5}, Fixed{0, 1, 2.7}, Fixed{0.3, 0.8, 20}, Fixed{0.6, 0.4, 0.9},
                                     Fixed{0.5, 0.5, 0.5}, Fixed{1, 0.25, 0.37}, Fixed{0.2, 0.7, 0.1}}) {
        for (auto const& [w, h] : {std::pair{64U, 36U}, {35U, 51U}}) {
            for (bool const hasAlpha : {false, true}) {
                auto const settings = With("EffectZoom", {{"x", x}, {"y", y}, {"zoom", zoom}});
                settings->Set("background", hasAlpha ? "#FF336699" : "#FF3366");
                Picture const input = Picture::Noise(w, h, hasAlpha);
                Rgba const around{1.0, 0.2, 0.4, hasAlpha ? 0.6 : 1.0};
                Camera const camera{x + (0.5 - x) / zoom, y + (0.5 - y) / zoom, zoom, around};
                EXPECT_TRUE(IsNear(Premultiply(Run(*settings, input)), camera.Show(input), kFiltered))
                    << w << "x" << h << " at " << x << " " << y << " zoom " << zoom << " alpha " << hasAlpha;
            }
        }
    }
    auto const settings = With("EffectZoom", {{"zoom", 0.5}});
    settings->Set("background", "#00000000");
    EXPECT_TRUE(Run(*settings, Picture::Corners(8, 8)).hasAlpha) << "a translucent background needs alpha";
}

TEST_F(ViewEffectsTest, PanAndZoomGlidesAboutAFixedPointAtAnEvenPace) {
    struct Case {
        std::vector<std::pair<std::string, double>> fields;
        Camera first, last;  ///< moved into the picture
    };
    for (Case const& c :
         {Case{{}, {0.5, 0.5, 1}, {0.5, 0.5, 1.5}},
          {{{"startX", 0}, {"startY", 0.9}, {"startZoom", 4}, {"endX", 1}, {"endZoom", 2}},
           {0.125, 0.875, 4},
           {0.75, 0.5, 2}},
          {{{"startX", 0.2}, {"startY", 0.3}, {"startZoom", 3}, {"endX", 0.7}, {"endY", 0.6}, {"endZoom", 3}},
           {0.2, 0.3, 3},
           {0.7, 0.6, 3}},
          {{{"startX", 0}, {"startZoom", 0.4}, {"endX", 0.1}, {"endZoom", 5}}, {0, 0.5, 0.4}, {0.1, 0.5, 5}},
          {{{"startX", 0}, {"startZoom", 0.8}, {"endY", 1}, {"endZoom", 0.8}}, {0.375, 0.5, 0.8}, {0.5, 0.625, 0.8}}}) {
        for (bool const isSmooth : {false, true}) {
            for (double const progress : {-0.5, 0.25, 0.4, 0.9, 1.0}) {
                double const held = std::clamp(progress, 0.0, 1.0);
                double const eased = isSmooth ? held * held * (3 - 2 * held) : held;
                double const zoom = c.first.zoom * std::pow(c.last.zoom / c.first.zoom, eased);
                // The point of the screen, from its middle, that shows one point of the picture all the way.
                auto const move = [&](double first, double last) {
                    double const sides = 1 / c.last.zoom - 1 / c.first.zoom;
                    return sides == 0 ? first + (last - first) * eased
                                      : first + (first - last) / sides * (1 / c.first.zoom - 1 / zoom);
                };
                Camera const camera{move(c.first.x, c.last.x), move(c.first.y, c.last.y), zoom};
                Picture const input = Picture::Noise(64, 36);
                std::unique_ptr<Settings> const settings = With("EffectPanAndZoom", c.fields);
                settings->Set("smooth", isSmooth ? "true" : "false");
                EXPECT_TRUE(IsNear(Run(*settings, input, {.progress = progress}), camera.Show(input), kFiltered))
                    << "from " << c.first.x << " to " << c.last.x << (isSmooth ? " smooth" : "") << " at " << progress;
            }
        }
    }
}

TEST_F(ViewEffectsTest, CameraShakeWandersAboutItsRestAndNeverShowsABorder) {
    constexpr double kAmplitude = 0.08;
    constexpr double kFrequency = 1.0;
    constexpr double kStep = 1.0 / 50;
    constexpr int kFrames = 1000;
    int crossings = 0;
    for (auto const& [width, height, rotation] : {std::tuple{64U, 36U, 9.0}, {36U, 64U, 0.0}}) {
        GetFactory();  // seeds
        std::srand(height);
        auto const effect = MakeEffect(
            *With("EffectCameraShake", {{"amplitude", kAmplitude}, {"rotation", rotation}, {"frequency", kFrequency}}));
        // Colours tell where a pixel comes from.
        Picture const input = Picture::Make(width, height, false, [w = width, h = height](unsigned x, unsigned y) {
            return Rgba{(x + 0.5) / w, 1 - (y + 0.5) / h, 0.0};
        });
        double const larger = std::max(width, height);
        std::array<double, 2> const sides{width / larger, height / larger};
        std::array<std::vector<double>, 3> motions;  // right, up, roll
        std::vector<double> zooms;
        double skew = 0;
        double border = width;  // texels to the picture's nearest border
        for (int frame = 0; frame < kFrames; ++frame) {
            boost::intrusive_ptr<IDataVideo> data = input.ToFrame();
            data->SetTimestamp(std::llround(1e6 * frame * kStep));
            effect->Process(data);
            Picture const drawn = Picture::FromFrame(*Download(data));
            // The place in the middle and the change along x and y, by least squares, in larger sides.
            std::array<std::array<double, 3>, 2> fit{};
            for (unsigned y = 0; y < height; ++y) {
                for (unsigned x = 0; x < width; ++x) {
                    for (std::size_t c = 0; c < 2; ++c) {
                        double const place = drawn.At(x, y)[c];
                        border = std::min(border, std::min(place, 1 - place) * (c == 0 ? width : height));
                        double const part = (place - 0.5) * sides[c] / (width * height);
                        fit[c][0] += part;
                        fit[c][1] += 12 * part * ((x + 0.5) / width - 0.5) / sides[0];
                        fit[c][2] += 12 * part * (0.5 - (y + 0.5) / height) / sides[1];
                    }
                }
            }
            double const zoom = 1 / std::hypot(fit[0][1], fit[1][1]);
            zooms.push_back(zoom);
            skew = std::max(skew, std::fabs(fit[1][1] + fit[0][2]));
            motions[0].push_back(fit[0][0] * zoom);
            motions[1].push_back(fit[1][0] * zoom);
            motions[2].push_back(std::atan2(fit[1][1] - fit[0][2], fit[0][1] + fit[1][2]) * 180 / M_PI);
        }
        auto const [least, most] = std::minmax_element(zooms.begin(), zooms.end());
        EXPECT_LT(*most - *least, 0.01) << "the picture pumps";
        EXPECT_LT(skew, 0.01) << "circles are not round";
        EXPECT_GT(border, 0.6) << "a border shows";
        for (std::size_t m = 0; m < (rotation > 0 ? 3 : 2); ++m) {
            double const limit = m == 2 ? rotation : kAmplitude;
            std::vector<double> const& at = motions[m];
            double sum = 0, far = 0, bend = 0;
            for (std::size_t i = 2; i < kFrames; ++i) {
                sum += at[i];
                far = std::max(far, std::fabs(at[i]));
                bend = std::max(bend, std::fabs(at[i] - 2 * at[i - 1] + at[i - 2]));
                crossings += at[i] * at[i - 1] < 0 ? 1 : 0;
            }
            EXPECT_LT(std::fabs(sum / kFrames), 0.15 * limit) << "motion " << m << " drifts";
            EXPECT_GT(far, 0.6 * limit) << "motion " << m;
            EXPECT_LT(far, 1.03 * limit) << "motion " << m;
            EXPECT_LT(bend, 2.5 * std::pow(2 * M_PI * 1.5 * kFrequency * kStep, 2) * limit)
                << "motion " << m << " jumps";
        }
    }
    constexpr int kMotions = 5;
    EXPECT_NEAR(crossings / (2 * kMotions * kFrames * kStep), kFrequency, 0.2 * kFrequency);
}

TEST_F(ViewEffectsTest, SubFrameLaysACardOverItsShadow) {
    struct Span {
        double low, high;
        double Cover(double pixel) const {
            return std::clamp(std::min(pixel + 1, high) - std::max(pixel, low), 0.0, 1.0);
        }
        double Shade(double pixel, double sigma) const {
            return 0.5 *
                   (std::erf((high - pixel - 0.5) / sigma / M_SQRT2) - std::erf((low - pixel - 0.5) / sigma / M_SQRT2));
        }
    };
    constexpr double kX = 0.87;  // beyond the frame's right side
    constexpr double kY = 0.6;
    constexpr double kSize = 0.55;
    constexpr double kBorder = 0.05;
    constexpr double kShadow = 0.8;
    Rgba const color{0.2, 0.6, 1.0, 0.4};
    Rgba const frame{1.0, 0.8, 0.0, 0.6};
    Rgba const card{0.2, 0.8, 0.4, 0.6};
    std::unique_ptr<Settings> const settings =
        With("EffectSubFrame",
             {{"x", kX}, {"y", kY}, {"size", kSize}, {"border", kBorder}, {"shadow", kShadow}, {"background", 1}});
    settings->Set("color", "#3399FF66");
    settings->Set("borderColor", "#FFCC0099");
    for (auto const& [w, h] : {std::pair{64U, 36U}, {37U, 65U}}) {
        double const larger = std::max(w, h);
        double const sigma = 0.03 * kSize * larger;
        auto const span = [&](double at, double side, double wider, double shift) {
            return Span{(at - kSize / 2) * side + (shift * kSize - wider) * larger,
                        (at + kSize / 2) * side + (shift * kSize + wider) * larger};
        };
        Picture const expected = Picture::Make(w, h, true, [&, w = w, h = h](unsigned px, unsigned fromTop) {
            double const py = h - 1.0 - fromTop;
            double const inner = span(kX, w, 0, 0).Cover(px) * span(kY, h, 0, 0).Cover(py);
            double const outer = span(kX, w, kBorder, 0).Cover(px) * span(kY, h, kBorder, 0).Cover(py);
            double const shade =
                span(kX, w, kBorder, 0.006).Shade(px, sigma) * span(kY, h, kBorder, -0.02).Shade(py, sigma);
            double const lit = 1 - kShadow * shade * (1 - outer);
            double const shown = card[3] * inner;
            double const framed = frame[3] * (outer - inner);
            double const rest = 1 - shown - framed;
            Rgba sum{0, 0, 0, shown + framed + rest * (1 - lit + lit * color[3])};
            for (std::size_t c = 0; c < 3; ++c) {
                sum[c] = shown * card[c] + framed * frame[c] + rest * lit * color[c] * color[3];
            }
            return sum;
        });
        EXPECT_TRUE(IsNear(Premultiply(Run(*settings, Picture::Flat(w, h, card, true))), expected, kUnfiltered));
    }
}

TEST_F(ViewEffectsTest, SubFrameIsSharpOverItsBlurredSelf) {
    auto const settings = With("EffectSubFrame", {{"size", 0.5}, {"x", 0.45}, {"y", 0.55}, {"shadow", 0}});
    for (auto const& [w, h] : {std::pair{400U, 226U}, {226U, 400U}}) {
        Picture const input = Picture::Noise(w, h);
        Picture const sharp = Camera{0.6, 0.4, 0.5}.Show(input);
        Picture const drawn = Run(*settings, input);
        auto const isInside = [](double at, double centre) { return std::fabs(at - centre) < 0.24; };
        Picture const expected = Picture::Make(w, h, false, [&, w = w, h = h](unsigned px, unsigned py) {
            bool const isCard = isInside((px + 0.5) / w, 0.45) && isInside((py + 0.5) / h, 0.45);
            return isCard ? sharp.At(px, py) : drawn.At(px, py);
        });
        EXPECT_TRUE(IsNear(drawn, expected, kFiltered));

        // Behind: an edge of 4/3 of the size, blurred with a sigma of a thirtieth of the larger side.
        Picture const halves = Picture::Make(w, h, false, [w = w](unsigned px, unsigned) {
            double const value = 3 * px < w ? 1 : 0;
            return Rgba{value, value, value};
        });
        Picture const behind = Run(*settings, halves);
        double const edge = 0.5 + ((w + 2) / 3 / static_cast<double>(w) - 0.5) / 0.75;
        double worst = 0;
        for (unsigned px = 0; px < w; ++px) {
            double const away = (edge - (px + 0.5) / w) * w / std::max(w, h) / (0.05 * 2 / 3);
            worst = std::max(worst, std::fabs(behind.At(px, h - 2)[0] - 0.5 * (1 + std::erf(away / M_SQRT2))));
        }
        EXPECT_LT(worst, 0.02) << w << "x" << h;
    }
    Rgba const clear{0.2, 0.8, 0.4, 0.4};
    Rgba const corner = Run(*settings, Picture::Flat(16, 9, clear, true)).At(0, 0);
    for (std::size_t c = 0; c < 4; ++c) {
        EXPECT_NEAR(corner[c], clear[c], 4.0 / 255) << "colour over alpha, both of 8 bits; channel " << c;
    }
}

TEST_F(ViewEffectsTest, VertigoGhostsCircleBehindThePictureAndKeepItsColour) {
    Picture const flat = Picture::Flat(16, 9, {0.2, 0.8, 0.4, 0.6}, true);
    EXPECT_TRUE(IsNear(Run(*With("EffectVertigo", {{"strength", 1}, {"ghosts", 8}}), flat, {.seconds = 0.3}), flat,
                       kUnfiltered));

    // A dot in the middle, which turns do not move: where its light is, in pixels from there.
    auto const settings = With("EffectVertigo", {{"strength", 1}, {"ghosts", 1}, {"speed", 0.5}});
    for (auto const& [w, h] : {std::pair{161U, 91U}, {91U, 161U}}) {
        Picture const dot = Picture::Make(w, h, false, [w = w, h = h](unsigned x, unsigned y) {
            double const value = std::hypot(x + 0.5 - w / 2.0, y + 0.5 - h / 2.0) < 3 ? 1 : 0;
            return Rgba{value, value, value, 1};
        });
        for (double const seconds : {0.0, 0.45, 1.3}) {
            Picture const drawn = Run(*settings, dot, {.seconds = seconds});
            std::array<double, 3> sum{};  // of light, and of its places
            for (unsigned y = 0; y < h; ++y) {
                for (unsigned x = 0; x < w; ++x) {
                    double const light = std::pow(drawn.At(x, y)[1], 2);
                    sum[0] += light;
                    sum[1] += light * (x + 0.5 - w / 2.0);
                    sum[2] += light * (h / 2.0 - y - 0.5);
                }
            }
            double const phase = M_PI * seconds;
            double const growth = 0.1 * (0.6 + 0.4 * std::sin(0.45 * (phase - 0.55)));
            double const ghost = 2.4 * 0.85 * std::pow(1 + growth, 2);  // a larger dot has more light
            auto const place = [&](auto const& wave) {
                return 0.07 * std::max(w, h) * (0.25 * wave(phase) + ghost * wave(phase - 0.55)) / (1 + ghost);
            };
            EXPECT_NEAR(sum[1] / sum[0], place([](double at) { return std::cos(at); }), 0.25) << seconds;
            EXPECT_NEAR(sum[2] / sum[0], place([](double at) { return std::sin(at); }), 0.25) << seconds;
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
