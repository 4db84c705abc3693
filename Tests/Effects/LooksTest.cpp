// The looks, each against its formula at a point that tells.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>

#include "Tests/Support/Caught.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

class LooksTest : public EffectFixture {
protected:
    /// What has no alpha loses its colour, too.
    static void ExpectVisible(std::string const& settings, std::function<Rgba(Rgba const&)> const& formula) {
        ExpectColors(settings, [&formula](Rgba const& p) { return p[3] == 0.0 ? Rgba{} : formula(p); });
    }
};

Rgba Mix(Rgba const& a, Rgba const& b, double share) {
    Rgba mixed{};
    for (std::size_t c = 0; c < 4; ++c) {
        mixed[c] = a[c] + (b[c] - a[c]) * share;
    }
    return mixed;
}

TEST_F(LooksTest, ComeWithTheirSettings) {
    for (char const* const name : {"EffectGrade", "TransitionWhipPan"}) {
        EXPECT_EQ(MakeDefaults(name)->GetClassId(), name);
        EXPECT_EQ(Proc::MakeSettings(name), nullptr) << "what a plug-in brings stays with the registry";
    }
}

TEST_F(LooksTest, PushesGoTheirWayAndOvershoot) {
    unsigned const side = 40;
    Picture const from = Picture::Noise(side, side, false, 1);
    Picture const to = Picture::Noise(side, side, false, 2);
    // A steady push is 10 pixels on after a quarter.
    for (auto const& [direction, dx, dy] :
         {std::tuple{"left", 10, 0}, {"right", -10, 0}, {"up", 0, 10}, {"down", 0, -10}}) {
        Picture const expected = Picture::Make(side, side, false, [&, dx = dx, dy = dy](unsigned x, unsigned y) {
            int const u = static_cast<int>(x) + dx;
            int const v = static_cast<int>(y) + dy;
            int const n = static_cast<int>(side);
            bool const isFrom = u >= 0 && v >= 0 && u < n && v < n;
            return (isFrom ? from : to).At(static_cast<unsigned>((u + n) % n), static_cast<unsigned>((v + n) % n));
        });
        std::string const settings = fmt::format("direction={} ease=1 overshoot=0 blur=0", direction);
        EXPECT_TRUE(IsNear(Run("TransitionSmoothPush " + settings, from, to, {.progress = 0.25}), expected, kFiltered))
            << settings;
        EXPECT_TRUE(
            IsNear(Run("TransitionSmoothSlide parallax=1 dim=0 shadow=0 " + settings, from, to, {.progress = 0.25}),
                   expected, kFiltered))
            << settings;
    }
    // With a tenth of overshoot the strip is 4 pixels too far after seven tenths; behind its end it is mirrored.
    Picture const beyond = Picture::Make(
        side, side, false, [&](unsigned x, unsigned y) { return to.At(x + 4 < side ? x + 4 : 2 * side - 5 - x, y); });
    EXPECT_TRUE(IsNear(Run("TransitionSmoothPush ease=1 overshoot=0.1 blur=0", from, to, {.progress = 0.7}), beyond,
                       kFiltered));
}

TEST_F(LooksTest, LumaWipeFollowsItsMap) {
    Picture const from = Picture::Noise(48, 27, false, 1);
    Picture const to = Picture::Noise(48, 27, false, 2);
    for (double const sense : {1.0, -1.0}) {
        Picture const expected = Picture::Make(48, 27, false, [&](unsigned x, unsigned y) {
            double const value = 0.5 + sense * ((x + 0.5) / 48 - 0.5);
            double const t = std::clamp((0.4 * 1.5 - value) / 0.5, 0.0, 1.0);
            return Mix(from.At(x, y), to.At(x, y), t * t * (3 - 2 * t));
        });
        EXPECT_TRUE(IsNear(Run(fmt::format("TransitionLumaWipe map=linear angle=0 softness=0.5 reverse={}",
                                           sense < 0 ? "true" : "false"),
                               from, to, {.progress = 0.4}),
                           expected, kFiltered))
            << sense;
    }
}

TEST_F(LooksTest, GradeLosesNothingBetweenItsSteps) {
    // Each of these takes back what it did before, so that all 256 steps of a ramp are there again. With 8 bits in
    // between, a half or two thirds of them would be gone.
    Picture const ramp = Picture::Make(256, 2, false, [](unsigned x, unsigned) {
        return Rgba{x / 255.0, x / 255.0, x / 255.0, 1.0};
    });
    for (auto const& [settings, power] : {std::pair{"exposure=-4 gain=3.1748021", 1.0},
                                          {"lift=0.5 contrast=2 pivot=1", 1.0},
                                          {"exposure=-2.4 gamma=0.5 contrast=4 pivot=0", 2.0}}) {
        Picture const expected = Picture::Make(256, 2, false, [power = power](unsigned x, unsigned) {
            double const v = std::pow(x / 255.0, power);
            return Rgba{v, v, v, 1.0};
        });
        // Rounded once: half a step, and what floats are off.
        EXPECT_TRUE(IsNear(Run(fmt::format("EffectGrade {}", settings), ramp), expected, 0.6 / 255.0)) << settings;
    }
}

TEST_F(LooksTest, GradeFollowsItsFormulas) {
    auto const each = [](auto function) {
        return [=](Rgba const& p) { return EachColor(p, [&](std::size_t c) { return function(p[c]); }); };
    };
    ExpectVisible("EffectGrade exposure=1", each([](double v) { return std::pow(2.0 * std::pow(v, 2.4), 1 / 2.4); }));
    ExpectVisible("EffectGrade contrast=1.6 pivot=0.3", each([](double v) { return (v - 0.3) * 1.6 + 0.3; }));
    ExpectVisible("EffectGrade lift=0.2 gain=0.7", each([](double v) { return v * 0.7 + 0.2 * (1 - v * 1.0); }));
    ExpectVisible("EffectGrade gamma=2", each([](double v) { return std::sqrt(v); }));
    ExpectVisible("EffectGrade curve=1,0.857142857,0.714285714,0.571428571,0.428571429,0.285714286,0.142857143,0",
                  each([](double v) { return 1 - v; }));
    ExpectVisible("EffectGrade saturation=0.4", [](Rgba const& p) {
        return EachColor(p, [&](std::size_t c) { return Luminance(p) + 0.4 * (p[c] - Luminance(p)); });
    });
    Picture const red = Picture::Flat(4, 4, {0.6, 0.4, 0.4, 1});  // so dull that green of the same luma exists
    Picture const grey = Picture::Flat(4, 4, {0.5, 0.5, 0.5, 1});
    // Red turned by a third of the circle is green of the same luma; grey has no hue.
    Rgba const green = Run("EffectGrade hueHue=120,0,0,0,0,0,0,0", red).At(1, 1);
    double const luma = 0.2126 * 0.6 + 0.7874 * 0.4;
    EXPECT_NEAR(green[1] - green[0], 0.2, kFiltered);
    EXPECT_NEAR(green[0], green[2], kFiltered);
    EXPECT_NEAR(0.2126 * green[0] + 0.7152 * green[1] + 0.0722 * green[2], luma, kFiltered);
    EXPECT_TRUE(
        IsNear(Run("EffectGrade hueSaturation=0,0,0,0,0,0,0,0 hueLuma=3,3,3,3,3,3,3,3", grey), grey, kUnfiltered));
    Rgba const warm = Run("EffectGrade temperature=0.5", grey).At(0, 0);
    EXPECT_GT(warm[0], 0.53);
    EXPECT_LT(warm[2], 0.47);
}

/// A .cube file that is removed again.
class CubeFile {
public:
    explicit CubeFile(std::string const& text) { std::ofstream(path) << text; }
    ~CubeFile() { std::filesystem::remove(path); }
    CubeFile(CubeFile const&) = delete;
    CubeFile& operator=(CubeFile const&) = delete;
    std::string const& GetPath() const { return path; }
    std::string GetSettings() const { return "EffectLut file=" + path; }

private:
    std::string path = fmt::format("{}looks_test-{}.cube", testing::TempDir(), getpid());
};

TEST_F(LooksTest, LutsInterpolateInTetrahedra) {
    // A lattice of 2 points a side whose corners are not on a plane.
    Picture const corners = Picture::Noise(8, 1, false, 5);
    std::string text = "TITLE \"x\"\r\n# a remark\n\nLUT_3D_SIZE 2\n";
    for (Rgba const& p : corners.pixels) {
        text += fmt::format("{:.6f} {:.6f} {:.6f}\n", p[0], p[1], p[2]);
    }
    CubeFile const file(text);
    ExpectVisible(file.GetSettings(), [&corners](Rgba const& p) {
        std::array<std::size_t, 3> order{0, 1, 2};
        std::stable_sort(order.begin(), order.end(), [&p](std::size_t a, std::size_t b) { return p[a] > p[b]; });
        Rgba result = corners.pixels[0];
        std::size_t corner = 0;
        for (std::size_t const axis : order) {
            std::size_t const next = corner + (std::size_t{1} << axis);
            for (std::size_t c = 0; c < 3; ++c) {
                result[c] += p[axis] * (corners.pixels[next][c] - corners.pixels[corner][c]);
            }
            corner = next;
        }
        result[3] = p[3];
        return result;
    });
    CubeFile const curve("LUT_1D_SIZE 3\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 2 2 2\n0 1 0\n1 0 0.25\n1 1 1\n");
    ExpectVisible(curve.GetSettings() + " mix=0.5", [](Rgba const& p) {
        return Rgba{0.5 * (p[0] + p[0]), 0.5 * (p[1] + 1 - p[1]), 0.5 * (p[2] + 0.25 * p[2]), p[3]};
    });
    // Points beyond black and white: what lies between them is not cut off.
    CubeFile const steep("LUT_1D_SIZE 2\n-0.5 -1 0\n1.5 1 2\n");
    ExpectVisible(steep.GetSettings(), [](Rgba const& p) {
        return Rgba{std::clamp(2 * p[0] - 0.5, 0.0, 1.0), std::clamp(2 * p[1] - 1, 0.0, 1.0),
                    std::clamp(2 * p[2], 0.0, 1.0), p[3]};
    });
}

TEST_F(LooksTest, HostileLutsAreRefused) {
    for (std::string const& text :
         {std::string(), std::string("LUT_3D_SIZE 2\n0 0 0\n"), std::string("LUT_3D_SIZE 4000000000\n0 0 0\n"),
          std::string("LUT_1D_SIZE 1\n0 0 0\n"), std::string("0 0 0\n"), std::string("LUT_1D_SIZE 2\n0 0 0\n1 1\n"),
          std::string("LUT_1D_SIZE 2\n0 0 0\n1 1 nan\n"), std::string("LUT_1D_SIZE 2\n0 0 0\n1 1 1\n1 1 1\n"),
          std::string("LUT_1D_SIZE 2\nDOMAIN_MAX 0 0 0\n0 0 0\n1 1 1\n"), std::string(100000, '\0'),
          std::string("LUT_1D_SIZE 2\nLUT_3D_SIZE 2\n0 0 0\n1 1 1\n"), std::string("LUT_1D_SIZE -2\n")}) {
        CubeFile const file(text);
        Caught const caught = Catch<std::invalid_argument>([&] { MakeEffect(*Typed(file.GetSettings())); });
        EXPECT_NE(caught.what.find(file.GetPath()), std::string::npos) << text.substr(0, 60);
    }
    EXPECT_THROW(MakeEffect(*Typed("EffectLut file=/dev/zero")), std::invalid_argument);
    EXPECT_THROW(MakeEffect(*Typed("EffectLut file=/nowhere/a.cube")), std::invalid_argument);
}

TEST_F(LooksTest, TransformPlacesThePicture) {
    Picture const input = Picture::Noise(40, 20);
    Rgba const white{1, 1, 1, 1};
    auto const expect = [&](std::string const& settings, auto const& at) {
        Picture const expected = Picture::Make(40, 20, false, [&](unsigned x, unsigned y) {
            auto const [u, v] = at(static_cast<int>(x), static_cast<int>(y));
            bool const isIn = u >= 0 && v >= 0 && u < 40 && v < 20;
            return isIn ? input.At(static_cast<unsigned>(u), static_cast<unsigned>(v)) : white;
        });
        EXPECT_TRUE(IsNear(Run("EffectTransform color=#FFFFFF " + settings, input), expected, kFiltered)) << settings;
    };
    expect("x=0.25 y=0.5", [](int x, int y) { return std::pair(x - 10, y + 10); });
    expect("rotation=180 x=-0.25", [](int x, int y) { return std::pair(39 - (x + 10), 19 - y); });
    expect("cropLeft=0.25 cropTop=0.5", [](int x, int y) { return std::pair(x < 10 ? -1 : x, y < 10 ? -1 : y); });
    // Pulled to the right half; a picture of a quarter of the size is the mean of what it covers.
    Picture const blue = Picture::Flat(40, 20, {0, 0, 1, 1});
    Picture const pulled = Run("EffectTransform color=#FFFFFF corners=0.5,0,0,0,0.5,0,0,0", blue);
    EXPECT_TRUE(IsNear(
        pulled, Picture::Make(40, 20, false, [&](unsigned x, unsigned) { return x < 20 ? white : blue.At(0, 0); }),
        kFiltered));
    EXPECT_NEAR(Run("EffectTransform scale=0.25", Picture::ZonePlate(40, 40)).At(17, 17)[0], 0.5, 0.25);
    Picture const clear = Run("EffectTransform background=transparent x=0.5", input);
    EXPECT_TRUE(clear.hasAlpha);
    EXPECT_EQ(clear.At(5, 5)[3], 0.0);
    EXPECT_EQ(clear.At(30, 5)[3], 1.0);
}

TEST_F(LooksTest, PlainEffectsFollowTheirFormulas) {
    ExpectVisible("EffectDuotone shadows=#102030 highlights=#FFC080 contrast=1", [](Rgba const& p) {
        std::array const dark{16 / 255.0, 32 / 255.0, 48 / 255.0};
        std::array const light{1.0, 192 / 255.0, 128 / 255.0};
        double const share = Luminance(p) * Luminance(p);
        return EachColor(p, [&](std::size_t c) {
            return std::sqrt(dark[c] * dark[c] + (light[c] * light[c] - dark[c] * dark[c]) * share);
        });
    });
    // A square picture of aspect 2 keeps its middle half.
    Picture const input = Picture::Noise(24, 24);
    Picture const barred = Picture::Make(24, 24, false, [&](unsigned x, unsigned y) {
        return y < 6 || y >= 18 ? Rgba{0, 0, 0, 1} : input.At(x, y);
    });
    EXPECT_TRUE(IsNear(Run("EffectLetterbox aspect=2", input), barred, kUnfiltered));
    // Lines along the blur stay as they are, lines across it become grey.
    Picture const columns = Picture::Make(24, 24, false, [](unsigned x, unsigned) {
        double const v = x / 3 % 2;
        return Rgba{v, v, v, 1};
    });
    EXPECT_TRUE(IsNear(Run("EffectDirectionalBlur angle=90 length=0.5", columns), columns, kFiltered));
    EXPECT_NEAR(Run("EffectDirectionalBlur angle=0 length=0.5", columns).At(12, 12)[0], 0.5, 0.1);
    // Light falls to 2^(-4 amount) of itself in the corners of a square, and stays in the middle.
    Picture const grey = Picture::Flat(201, 201, {0.6, 0.6, 0.6, 1});
    Picture const dimmed = Run("EffectVignette amount=0.5 size=0.3 softness=0.6", grey);
    EXPECT_NEAR(dimmed.At(100, 100)[0], 0.6, kUnfiltered);
    EXPECT_NEAR(dimmed.At(0, 0)[0], 0.6 * std::sqrt(std::exp2(-2.0)), 4 * kUnfiltered);
}

// At full speed the samples of what the shutter sees are tens of pixels apart.
TEST_F(LooksTest, LayersOfColourMoveWithoutDither) {
    auto const columns = [](double phase) {
        return Picture::Make(320, 12, false, [phase](unsigned x, unsigned) {
            double const v = std::sin(0.8 * x + phase) > 0.0 ? 1.0 : 0.0;
            return Rgba{v, 1.0 - v, v, 1.0};
        });
    };
    for (double const progress : {0.3, 0.42, 0.55}) {
        Picture const drawn =
            Run("TransitionColorStagger direction=left", columns(0.0), columns(2.0), {.progress = progress});
        Picture const first = Picture::Make(320, 12, false, [&](unsigned x, unsigned) { return drawn.At(x, 6); });
        EXPECT_TRUE(IsNear(drawn, first, kUnfiltered)) << "rows alike at " << progress;
    }
}

TEST_F(LooksTest, SpinningBarsDrawEvenArcs) {
    constexpr double kRadius = 300.0;
    Picture const bar = Picture::Make(800, 800, false, [](unsigned x, unsigned y) {
        double const v = std::fabs(x - 400.0 - kRadius) < 30.0 && std::fabs(y - 400.0) < 2.5 ? 1.0 : 0.0;
        return Rgba{v, v, v, 1.0};
    });
    for (double const degrees : {30.0, 45.0, 60.0}) {
        Picture const drawn = Run(fmt::format("EffectSpinBlur angle={}", degrees), bar);
        double const half = 0.4 * degrees * M_PI / 180.0;
        double sum = 0.0;
        double squares = 0.0;
        double count = 0.0;
        for (double at = -half; at < half; at += 1.0 / kRadius) {
            double light = 0.0;
            for (double off = -20.0; off <= 20.0; off += 1.0) {
                light += drawn.At(static_cast<unsigned>(400.5 + (kRadius + off) * std::cos(at)),
                                  static_cast<unsigned>(400.5 + (kRadius + off) * std::sin(at)))[0];
            }
            sum += light;
            squares += light * light;
            count += 1.0;
        }
        double const deviation = std::sqrt(std::max(squares / count - sum * sum / count / count, 0.0));
        EXPECT_LT(deviation, 0.0175 * sum / count) << degrees << " degrees";
    }
}

// Clipped channel by channel, orange would turn yellow first.
TEST_F(LooksTest, AFlashPalesToWhite) {
    Picture const orange = Picture::Flat(64, 36, {1.0, 0.6, 0.1, 1});
    for (double const progress : {0.3, 0.36, 0.5}) {
        Rgba const shown = Run("TransitionGlowFlash", orange, orange, {.progress = progress}).At(32, 18);
        EXPECT_GT(shown[2], 0.75 * shown[1]) << progress;
        EXPECT_GE(shown[0], shown[1]) << progress;
    }
    Rgba const early = Run("TransitionGlowFlash", orange, orange, {.progress = 0.02}).At(32, 18);
    EXPECT_NEAR(early[1], 0.6, 0.03) << "and begins with the picture's colours";
    EXPECT_NEAR(early[2], 0.1, 0.03);
}

}  // namespace
}  // namespace Kaltor::Tests
