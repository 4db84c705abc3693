// Effects that show the picture from another place, turned, or on a part of the frame.

#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

/// Places in colours: from left to right, from bottom to top.
Picture MakePlaces(unsigned width, unsigned height, bool hasAlpha = false) {
    return ForEachPixel(Picture(width, height, hasAlpha), [](double s, double t) { return Rgba{s, t, 0, 1}; });
}

/// The view of a camera that shows 1 / `zoom` of the input's sides around (x, y), from the lower left.
struct Camera {
    double x, y, zoom;
};

class ViewEffectsTest : public EffectFixture {
protected:
    /// Over `around`, with a border as soft as a pixel is wide.
    static void ExpectView(std::string const& settings, Camera const& camera, Rgba const& around, double progress = 0) {
        for (auto const& [w, h] : {Size{160, 90}, Size{90, 160}}) {
            Picture const input = MakePlaces(w, h, around[3] < 1);
            // The share of a pixel that the picture covers along one axis, and where it shows the picture.
            auto const cover = [&](double at, double centre, unsigned side) {
                double const low = 0.5 - centre * camera.zoom;
                return std::clamp(
                    (std::min(at + 0.5 / side, low + camera.zoom) - std::max(at - 0.5 / side, low)) * side, 0.0, 1.0);
            };
            Picture const expected = ForEachPixel(input, [&, w = w, h = h](double s, double t) {
                double const u = camera.x + (s - 0.5) / camera.zoom;
                double const v = camera.y + (t - 0.5) / camera.zoom;
                double const share = cover(s, camera.x, w) * cover(t, camera.y, h);
                // Beyond the outermost texels' centres the ramps are flat, which affects filters a little earlier.
                double const reach = std::max(1.6, 1 / camera.zoom);
                bool const isTold = share == 0 || (std::min(u, 1 - u) * w > reach && std::min(v, 1 - v) * h > reach);
                return isTold ? Mix({around[0] * around[3], around[1] * around[3], around[2] * around[3], around[3]},
                                    {u, v, 0, 1}, share)
                              : kUndecided;
            });
            EXPECT_TRUE(IsNear(Premultiply(Run(settings, input, {.progress = progress})), expected, kUnfiltered))
                << settings << " at progress " << progress;
        }
    }
};

TEST_F(ViewEffectsTest, TransposeTurnsToTheByteAndSwapsPixelAspect) {
    for (int mode = 0; mode < 4; ++mode) {
        Expect(
            fmt::format("EffectTranspose mode={}", mode),
            [mode](Picture const& input) {
                auto const [w, h] = Size{input.width, input.height};
                return Picture::Make(h, w, input.hasAlpha, [&, w = w, h = h](unsigned x, unsigned y) {
                    // The other diagonal, and a turn one way, read columns from the right; the other way, rows.
                    return input.At(mode >= 2 ? w - 1 - y : y, mode % 2 == 1 ? h - 1 - x : x);
                });
            },
            0.0);
    }
    Conf::FrameInfo const wide{32, 18, 4, 3};
    Conf::FrameInfo const turned{18, 32, 3, 4};
    auto const effect = MakeEffect(*Typed("EffectTranspose"));
    intrusive_ptr<Proc::IDataVideo> frame = Proc::DataVideoFF::Create(PixFmt::Yuv420p, wide);
    effect->Process(frame);
    EXPECT_EQ(Download(frame)->GetFrameInfo(), turned);
    intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(PixFmt::Yuv420p, wide);
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
        for (double const position : {0.3, 0.77, 0.02}) {
            for (int axis = 0; axis < 5; ++axis) {
                std::string const settings = fmt::format("EffectMirror axis={} position={}", axis, position);
                Picture const expected = Picture::Make(w, h, true, [&, w = w, h = h](unsigned x, unsigned y) {
                    bool const isAlongX = axis == 0 || axis == 1 || axis == 4;
                    bool const isAlongY = axis >= 2;
                    // Rows count from the top, positions from the bottom.
                    return input.At(isAlongX ? reflect(x, w, position, axis == 1) : x,
                                    isAlongY ? reflect(y, h, 1 - position, axis == 2) : y);
                });
                EXPECT_TRUE(IsNear(Run(settings, input), expected, 0.0)) << settings;
            }
        }
    }
}

TEST_F(ViewEffectsTest, ZoomShowsItsViewOverTheBackground) {
    for (auto const& [x, y, zoom] : {Camera{0.5, 0.5, 1.5}, Camera{0, 1, 2.7}, Camera{0.3, 0.8, 20},
                                     Camera{0.6, 0.4, 0.9}, Camera{0.2, 0.7, 0.4}}) {
        std::string const settings =
            fmt::format("EffectZoom x={} y={} zoom={} fill=color background=#FF3366", x, y, zoom);
        Camera const camera{x + (0.5 - x) / zoom, y + (0.5 - y) / zoom, zoom};
        ExpectView(settings, camera, {1.0, 0.2, 0.4, 1.0});
        ExpectView(settings + "99", camera, {1.0, 0.2, 0.4, 0.6});
    }
    EXPECT_TRUE(Run("EffectZoom zoom=0.5 fill=color background=#00000000", Picture::Corners(8, 8)).hasAlpha);
    // At half the size each pixel is the mean of four; at twice the size weights are those of a sharp cubic.
    for (bool const hasAlpha : {false, true}) {
        Picture const input = Picture::Noise(64, 36, hasAlpha);
        Picture const half = Halve(Premultiply(input));
        Picture const drawn = Premultiply(Run("EffectZoom zoom=0.5 fill=color", input));
        Picture expected = drawn;
        for (unsigned i = 0; i < 32 * 18; ++i) {
            expected.At(16 + i % 32, 9 + i / 32) = half.At(i % 32, i / 32);
        }
        EXPECT_TRUE(IsNear(drawn, expected, kFiltered));
    }
    Picture const line = ForEachPixel(Picture(64, 36), [](double s, double) {
        return s > 0.5 && s < 33.0 / 64 ? Rgba{1, 1, 1, 1} : Rgba{0.2, 0.2, 0.2, 1};
    });
    Picture const large = Run("EffectZoom zoom=2", line);
    for (auto const& [x, weight] :
         {std::pair{29U, -0.0234375}, {30U, -0.0703125}, {31U, 0.2265625}, {32U, 0.8671875}}) {
        EXPECT_NEAR(large.At(x, 18)[0], 0.2 + 0.8 * weight, kUnfiltered) << x;
        EXPECT_NEAR(large.At(65 - x, 18)[0], 0.2 + 0.8 * weight, kUnfiltered) << 65 - x;
    }
}

TEST_F(ViewEffectsTest, PanAndZoomGlidesAboutAFixedPointAtAnEvenPace) {
    struct Case {
        char const* fields;
        Camera first, last;  ///< moved into the picture
    };
    for (Case const& c :
         {Case{"", {0.5, 0.5, 1}, {0.5, 0.5, 1.5}},
          {"startX=0 startY=0.9 startZoom=4 endX=1 endZoom=2", {0.125, 0.875, 4}, {0.75, 0.5, 2}},
          {"startX=0.2 startY=0.3 startZoom=3 endX=0.7 endY=0.6 endZoom=3", {0.2, 0.3, 3}, {0.7, 0.6, 3}},
          {"startX=0 startZoom=0.4 endX=0.1 endZoom=5", {0, 0.5, 0.4}, {0.1, 0.5, 5}},
          {"startX=0 startZoom=0.8 endY=1 endZoom=0.8", {0.375, 0.5, 0.8}, {0.5, 0.625, 0.8}}}) {
        for (bool const isSmooth : {false, true}) {
            for (double const progress : {-0.5, 0.25, 0.9}) {
                double const held = std::clamp(progress, 0.0, 1.0);
                double const eased = isSmooth ? SmoothStep(0, 1, held) : held;
                double const zoom = c.first.zoom * std::pow(c.last.zoom / c.first.zoom, eased);
                // The point of the screen, from its middle, that shows one point of the picture all the way.
                auto const move = [&](double first, double last) {
                    double const sides = 1 / c.last.zoom - 1 / c.first.zoom;
                    return sides == 0 ? first + (last - first) * eased
                                      : first + (first - last) / sides * (1 / c.first.zoom - 1 / zoom);
                };
                ExpectView(fmt::format("EffectPanAndZoom smooth={} background=black blur=0 {}", isSmooth, c.fields),
                           {move(c.first.x, c.last.x), move(c.first.y, c.last.y), zoom}, {0, 0, 0, 1}, progress);
            }
        }
    }
}

/// How a camera has moved: right, up (larger sides), roll (degrees); zoom and skew of what it sees.
struct Motion {
    explicit Motion(Picture const& drawn) {
        double const larger = std::max(drawn.width, drawn.height);
        std::array const sides{drawn.width / larger, drawn.height / larger};
        // The place in the middle and the change along x and y, by least squares.
        std::array<std::array<double, 3>, 2> fit{};
        ForEachPixel(drawn, [&](double s, double t) {
            for (std::size_t c = 0; c < 2; ++c) {
                double const place = drawn.SampleNearest(s, t)[c];
                double const part = (place - 0.5) * sides[c] / (drawn.width * drawn.height);
                border = std::min(border, std::min(place, 1 - place) * sides[c] * larger);
                fit[c][0] += part;
                fit[c][1] += 12 * part * (s - 0.5) / sides[0];
                fit[c][2] += 12 * part * (t - 0.5) / sides[1];
            }
            return Rgba{};
        });
        zoom = 1 / std::hypot(fit[0][1], fit[1][1]);
        skew = std::fabs(fit[1][1] + fit[0][2]);
        moved = {fit[0][0] * zoom, fit[1][0] * zoom,
                 std::atan2(fit[1][1] - fit[0][2], fit[0][1] + fit[1][2]) * 180 / M_PI};
    }
    std::array<double, 3> moved{};
    double zoom = 0, skew = 0;
    double border = 1e9;  ///< texels to the picture's nearest border
};

TEST_F(ViewEffectsTest, CameraShakeWandersAboutItsRestAndNeverShowsABorder) {
    constexpr double kAmplitude = 0.08;
    constexpr double kRotation = 9.0;
    constexpr int kFrames = 1500;
    std::array<double, 3> sum{}, squares{};  // of motions, parts of the limit
    int crossings = 0;
    for (auto const& [width, height] : {Size{32, 18}, Size{18, 32}}) {
        GetFactory();  // seeds
        std::srand(height);
        auto const effect = MakeEffect(*Typed(
            fmt::format("EffectCameraShake amplitude={} rotation={} frequency=1 drift=0", kAmplitude, kRotation)));
        auto const draw = [&, input = MakePlaces(width, height)](double seconds) {
            intrusive_ptr<Proc::IDataVideo> data = input.ToFrame();
            data->SetTimestamp(std::llround(1e6 * seconds));
            effect->Process(data);
            Motion motion(Picture::FromFrame(*Download(data)));
            for (std::size_t m = 0; m < 3; ++m) {
                motion.moved[m] /= m == 2 ? kRotation : kAmplitude;
            }
            return motion;
        };
        double const zoom = draw(0).zoom;
        for (int frame = 0; frame < kFrames; ++frame) {
            double const seconds = 1.77 * frame;
            Motion const now = draw(seconds);
            Motion const next = frame % 4 == 0 ? draw(seconds + 0.02) : now;
            Motion const later = frame % 4 == 0 ? draw(seconds + 0.1) : now;
            EXPECT_NEAR(now.zoom, zoom, 0.015) << "the picture pumps";
            EXPECT_LT(now.skew, 0.01) << "circles are not round";
            EXPECT_GT(now.border, 0.6) << "a border shows";
            for (std::size_t m = 0; m < 3; ++m) {
                EXPECT_LT(std::fabs(now.moved[m]), 1.03) << "motion " << m;
                EXPECT_LT(std::fabs(next.moved[m] - now.moved[m]), 0.4) << "motion " << m << " jumps";
                crossings += now.moved[m] * later.moved[m] < 0 ? 1 : 0;
                sum[m] += now.moved[m];
                squares[m] += now.moved[m] * now.moved[m];
            }
        }
    }
    // Enlarged by what the farthest shift needs along the shorter side.
    EXPECT_NEAR(Motion(Run("EffectCameraShake rotation=0 amplitude=0.2", MakePlaces(320, 180))).zoom, 1 + 0.4 * 16 / 9,
                0.01);
    double const count = 2 * kFrames;
    for (double const one : sum) {
        EXPECT_NEAR(one / count, 0, 0.03) << "it drifts";
    }
    // The deviations of 0.6 x / sqrt(1 + 0.36 x x), and where two of them limit each other, integrated over the
    // splines.
    EXPECT_NEAR(std::sqrt((squares[0] + squares[1]) / (2 * count)), 0.418, 0.006);
    EXPECT_NEAR(std::sqrt(squares[2] / count), 0.453, 0.008);
    // Twice a period, seen every tenth of one.
    EXPECT_NEAR(4 * crossings / (3 * count), 0.2, 0.02);
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
    std::string const settings = fmt::format(
        "EffectSubFrame x={} y={} size={} border={} shadow={} background=1 color=#3399FF66 borderColor=#FFCC0099", kX,
        kY, kSize, kBorder, kShadow);
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
        EXPECT_TRUE(IsNear(Premultiply(Run(settings, Picture::Flat(w, h, card, true))), expected, kUnfiltered));
    }
}

TEST_F(ViewEffectsTest, SubFrameIsSharpOverItsBlurredSelf) {
    std::string const settings = "EffectSubFrame size=0.5 x=0.45 y=0.55 shadow=0";
    for (auto const& [w, h] : {Size{400, 226}, Size{226, 400}}) {
        Picture const input = MakePlaces(w, h);
        Picture const drawn = Run(settings, input);
        Picture const expected = ForEachPixel(input, [&](double s, double t) {
            bool const isCard = std::fabs(s - 0.45) < 0.24 && std::fabs(t - 0.55) < 0.24;
            return isCard ? Rgba{0.5 + 2 * (s - 0.45), 0.5 + 2 * (t - 0.55), 0, 1} : drawn.SampleNearest(s, t);
        });
        EXPECT_TRUE(IsNear(drawn, expected, kUnfiltered)) << "the card";

        // Behind: an edge of 4/3 of the size, blurred with a sigma of a thirtieth of the larger side.
        Picture const halves = ForEachPixel(input, [](double s, double) {
            return s < 1.0 / 3 ? Rgba{1, 1, 1, 1} : Rgba{0, 0, 0, 1};
        });
        Picture const behind = Run(settings, halves);
        double const edge = 0.5 + (std::round(w / 3.0) / w - 0.5) / 0.75;
        for (unsigned px = 0; px < w; ++px) {
            double const away = (edge - (px + 0.5) / w) * w / std::max(w, h) * 30;
            EXPECT_NEAR(behind.At(px, h - 2)[0], 0.5 * (1 + std::erf(away / M_SQRT2)), 0.02) << px << " of " << w;
        }
    }
    Rgba const clear{0.2, 0.8, 0.4, 0.4};
    Rgba const corner = Run(settings, Picture::Flat(16, 9, clear, true)).At(0, 0);
    for (std::size_t c = 0; c < 4; ++c) {
        EXPECT_NEAR(corner[c], clear[c], 4.0 / 255) << "colour over alpha, both of 8 bits; channel " << c;
    }
}

/// Where a picture's light is, in pixels from its middle.
struct Light {
    explicit Light(Picture const& picture) {
        double squares = 0.0;
        for (unsigned py = 0; py < picture.height; ++py) {
            for (unsigned px = 0; px < picture.width; ++px) {
                double const light = std::pow(picture.At(px, py)[1], 2);
                double const right = px + 0.5 - 0.5 * picture.width;
                double const up = 0.5 * picture.height - py - 0.5;
                most = std::max(most, light);
                sum += light;
                x += light * right;
                y += light * up;
                squares += light * (right * right + up * up);
            }
        }
        x /= sum;
        y /= sum;
        spread = squares / sum - x * x - y * y;
    }

    double sum = 0.0;
    double most = 0.0;
    double x = 0.0;
    double y = 0.0;
    double spread = 0.0;  ///< variance along both axes
};

TEST_F(ViewEffectsTest, VertigoGhostsCircleBehindThePictureAndKeepItsColour) {
    Picture const flat = Picture::Flat(16, 9, {0.2, 0.8, 0.4, 0.6}, true);
    EXPECT_TRUE(IsNear(Run("EffectVertigo strength=1 ghosts=8 zoom=0", flat, {.seconds = 0.3}), flat, kUnfiltered));

    // A dot in the middle, which turns do not move: where its light is, in pixels from there.
    for (auto const& [w, h] : {Size{161, 91}, Size{91, 161}}) {
        Picture const dot = ForEachPixel(Picture(w, h), [w = w, h = h](double s, double t) {
            double const value = std::hypot((s - 0.5) * w, (t - 0.5) * h) < 3 ? 1 : 0;
            return Rgba{value, value, value, 1};
        });
        for (double const seconds : {0.0, 0.45, 1.3}) {
            auto const draw = [&](double blur) {
                return Run(fmt::format("EffectVertigo strength=1 ghosts=1 speed=0.5 zoom=0 blur={}", blur), dot,
                           {.seconds = seconds});
            };
            constexpr double kBlur = 0.012;  // not reduced
            Light const sharp(draw(0.0));
            Light const soft(draw(kBlur));
            constexpr double kGhost = 2.4 * 0.85;
            double const phase = M_PI * seconds;
            double const growth = 0.1 * (0.6 + 0.4 * std::sin(0.45 * (phase - 0.55)));
            double const ghost = kGhost * std::pow(1 + growth, 2);  // a larger dot has more light
            double const longer = std::max(w, h);
            auto const place = [&](auto const& wave) {
                return 0.07 * longer * (0.25 * wave(phase) + ghost * wave(phase - 0.55)) / (1 + ghost);
            };
            // Between pixels a sharp ghost loses light, as encoded values are interpolated, and a soft one less.
            for (auto const& [light, off] : {std::pair{sharp, 0.25}, {soft, 0.5}}) {
                EXPECT_NEAR(light.x, place([](double at) { return std::cos(at); }), off) << seconds;
                EXPECT_NEAR(light.y, place([](double at) { return std::sin(at); }), off) << seconds;
            }
            EXPECT_NEAR(std::sqrt(sharp.most), std::sqrt(kGhost / (1 + kGhost)), kUnfiltered) << "the ghost's light";
            double const spread = 2 * std::pow(kBlur * longer * (1 + growth), 2) * ghost / (1 + ghost);
            EXPECT_NEAR(soft.spread - sharp.spread, spread, 0.2 * spread) << seconds;
            EXPECT_NEAR(soft.sum, sharp.sum, 0.15 * sharp.sum) << seconds;
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
