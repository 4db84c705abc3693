#include <cmath>
#include <functional>

#include "Proc/Settings/SettingsGeometryEffects.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;

class GeometryEffectsTest : public GlTest {
protected:
    /// Where the output's (s, t) shows the input, texture coordinates from the lower left.
    using Mapping = std::function<std::pair<double, double>(double s, double t, double aspect)>;

    /// A smooth picture, landscape, portrait and odd, with and without alpha. What is sampled within `seam` of the
    /// border may as well come from the opposite one.
    static void ExpectMapped(Settings const& settings, Mapping const& mapping, double seam, Moment const& moment = {}) {
        for (auto const& [width, height] : {std::pair{64U, 36U}, {36U, 64U}, {33U, 33U}}) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Corners(width, height, hasAlpha);
                Picture const actual = Run(settings, input, moment);
                Picture const expected = Picture::Make(width, height, hasAlpha, [&](unsigned x, unsigned y) {
                    auto const [s, t] =
                        mapping((x + 0.5) / width, (height - y - 0.5) / height, static_cast<double>(width) / height);
                    bool const isOnSeam = std::min({s, 1 - s, t, 1 - t}) < seam;
                    return isOnSeam ? actual.At(x, y) : input.Sample(s, t);
                });
                EXPECT_TRUE(IsNear(actual, expected, kFiltered)) << width << "x" << height << " alpha " << hasAlpha;
            }
        }
    }
};

TEST_F(GeometryEffectsTest, FlipMirrorsToTheByte) {
    for (auto const& [width, height] : {std::pair{64U, 36U}, {36U, 64U}, {31U, 17U}, {1U, 5U}, {1U, 1U}}) {
        for (bool const hasAlpha : {false, true}) {
            Picture const input = Picture::Noise(width, height, hasAlpha);
            for (bool const horizontal : {false, true}) {
                for (bool const vertical : {false, true}) {
                    SettingsEffectFlip settings;
                    settings.SetHorizontal(horizontal);
                    settings.SetVertical(vertical);
                    Picture const expected =
                        Picture::Make(width, height, hasAlpha, [&, w = width, h = height](unsigned x, unsigned y) {
                            return input.At(horizontal ? w - 1 - x : x, vertical ? h - 1 - y : y);
                        });
                    EXPECT_TRUE(IsNear(Run(settings, input), expected, 0.0)) << horizontal << vertical;
                }
            }
        }
    }
}

TEST_F(GeometryEffectsTest, FishEyeRemapsTheDistanceFromTheCentre) {
    struct Lens {
        double scale, sign, strength, radius;
    };
    for (Lens const& lens : {Lens{1, 1, 3, 0.5}, {1, 0, 3, 0.5}, {1.3, -1, 20, 0.7}, {0.8, 0.1, 0.5, 0.4}}) {
        SettingsEffectFishEye settings;
        settings.SetScale(lens.scale);
        settings.SetSign(lens.sign);
        settings.SetStrength(lens.strength);
        settings.SetReferenceRadius(lens.radius);
        double const opt = lens.radius / (std::log2(1 + lens.strength * lens.radius) * lens.scale * lens.scale);
        ExpectMapped(
            settings,
            [&](double s, double t, double) {
                double const radius = std::hypot(s - 0.5, t - 0.5);
                double const r = lens.sign > 0 ? (std::exp2(radius / opt) - 1) / lens.strength
                                               : opt * std::log2(1 + lens.strength * radius);
                double const ratio = radius > 0 ? r / radius : 1.0;
                return std::pair{0.5 + (s - 0.5) * ratio, 0.5 + (t - 0.5) * ratio};
            },
            -INFINITY);
    }
}

TEST_F(GeometryEffectsTest, TwirlTurnsByTheDistanceAndTheTime) {
    struct Swirl {
        double rotation, wobble, phase, rate, seconds;
    };
    for (Swirl const& swirl : {Swirl{0, 0, 0, 0.25, 0},
                               {0, 0, 0, 0.25, 0.4},
                               {0.1, 0, 0, 0, 3},
                               {0, 0.4, 0, 0, 0.9},
                               {-0.3, 0.2, 0.13, 0.1, 2.3}}) {
        SettingsEffectTwirl settings;
        settings.SetBaseRotation(swirl.rotation);
        settings.SetWobbleRate(swirl.wobble);
        settings.SetTwirlPhase(swirl.phase);
        settings.SetTwirlRate(swirl.rate);
        double const wave = std::fabs(std::fmod(4 * swirl.rate * swirl.seconds + 3 + swirl.phase, 4) - 2) - 1;
        double const turn = (std::fabs(std::cos(swirl.wobble * M_PI * swirl.seconds)) - 1 + swirl.rotation) * 2 * M_PI;
        ExpectMapped(settings,
                     [&](double s, double t, double aspect) {
                         double const x = s - 0.5;
                         double const y = t - 0.5;
                         double const fi = std::hypot(x, y / aspect) * wave * 8 * M_PI + turn;
                         double const u = 0.5 + x * std::cos(fi) - y * std::sin(fi) / aspect;
                         double const v = 0.5 + x * std::sin(fi) * aspect + y * std::cos(fi);
                         return std::pair{u - std::floor(u), v - std::floor(v)};
                     },
                     1e-4, {.seconds = swirl.seconds});
    }
}

}  // namespace
}  // namespace Kaltor::Tests
