#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

class GeometryEffectsTest : public EffectFixture {
protected:
    /// Where the output's (s, t) shows the input, texture coordinates from the lower left. A sample exactly on the
    /// border may come from the opposite border.
    using Mapping = std::function<std::pair<double, double>(double s, double t, double aspect)>;

    static void ExpectMapped(std::string const& settings, Mapping const& mapping, double seconds = 0) {
        for (auto const& [width, height] : {Size{64, 36}, Size{36, 64}, Size{33, 33}}) {
            Picture const input = Picture::Corners(width, height, width == 33);
            Picture const expected = ForEachPixel(input, [&](double x, double y) {
                auto const [s, t] = mapping(x, y, static_cast<double>(input.width) / input.height);
                return std::fabs(std::min({s, 1 - s, t, 1 - t})) < 1e-4 ? kUndecided : input.Sample(s, t);
            });
            EXPECT_TRUE(IsNear(Run(settings, input, {.seconds = seconds}), expected, kFiltered)) << settings;
        }
    }
};

TEST_F(GeometryEffectsTest, FlipMirrorsToTheByte) {
    for (auto const& [horizontal, vertical] : {std::pair{true, false}, {false, true}, {true, true}}) {
        Expect(
            fmt::format("EffectFlip horizontal={} vertical={}", horizontal, vertical),
            [h = horizontal, v = vertical](Picture const& input) {
                return ForEachPixel(
                    input, [&](double s, double t) { return input.SampleNearest(h ? 1 - s : s, v ? 1 - t : t); });
            },
            0.0);
    }
}

TEST_F(GeometryEffectsTest, FishEyeRemapsTheDistanceFromTheCentre) {
    struct Lens {
        double scale, sign, strength, radius;
    };
    for (Lens const& lens : {Lens{1, 1, 3, 0.5}, {1, 0, 3, 0.5}, {1.3, -1, 20, 0.7}, {0.8, 0.1, 0.5, 0.4}}) {
        double const opt = lens.radius / (std::log2(1 + lens.strength * lens.radius) * lens.scale * lens.scale);
        ExpectMapped(fmt::format("EffectFishEye scale={} sign={} strength={} referenceRadius={}", lens.scale, lens.sign,
                                 lens.strength, lens.radius),
                     [&](double s, double t, double) {
                         double const radius = std::hypot(s - 0.5, t - 0.5);
                         double const r = lens.sign > 0 ? (std::exp2(radius / opt) - 1) / lens.strength
                                                        : opt * std::log2(1 + lens.strength * radius);
                         double const ratio = radius > 0 ? r / radius : 1.0;
                         return std::pair{0.5 + (s - 0.5) * ratio, 0.5 + (t - 0.5) * ratio};
                     });
    }
}

TEST_F(GeometryEffectsTest, TwirlTurnsByTheDistanceAndTheTime) {
    struct Swirl {
        double rotation, wobble, phase, rate, seconds;
    };
    for (Swirl const& swirl :
         {Swirl{0, 0, 0, 0.25, 0.4}, {0.1, 0, 0, 0, 3}, {0, 0.4, 0, 0, 0.9}, {-0.3, 0.2, 0.13, 0.1, 2.3}}) {
        double const wave = std::fabs(std::fmod(4 * swirl.rate * swirl.seconds + 3 + swirl.phase, 4) - 2) - 1;
        double const turn = (std::fabs(std::cos(swirl.wobble * M_PI * swirl.seconds)) - 1 + swirl.rotation) * 2 * M_PI;
        ExpectMapped(
            fmt::format("EffectTwirl baseRotation={} wobbleRate={} twirlPhase={} twirlRate={}", swirl.rotation,
                        swirl.wobble, swirl.phase, swirl.rate),
            [&](double s, double t, double aspect) {
                double const x = s - 0.5;
                double const y = t - 0.5;
                double const fi = std::hypot(x, y / aspect) * wave * 8 * M_PI + turn;
                double const u = 0.5 + x * std::cos(fi) - y * std::sin(fi) / aspect;
                double const v = 0.5 + x * std::sin(fi) * aspect + y * std::cos(fi);
                return std::pair{u - std::floor(u), v - std::floor(v)};
            },
            swirl.seconds);
    }
}

}  // namespace
}  // namespace Kaltor::Tests
