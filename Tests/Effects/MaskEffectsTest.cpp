// Where masks lie and how wide their edges are, against distances measured on the CPU; how far a blur that grows from
// place to place damps a wave.

#include "Proc/Settings/SettingsFilterEffects.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using MaskEffects = GlTest;
constexpr double kTurn = 2.0 * std::numbers::pi;

/// Distance to an ellipse by a search along all of it, or to a rectangle; negative inside.
double GetDistance(bool isEllipse, double x, double y, double a, double b) {
    if (!isEllipse) {
        double const dx = std::fabs(x) - a;
        double const dy = std::fabs(y) - b;
        return std::hypot(std::max(dx, 0.0), std::max(dy, 0.0)) + std::min(std::max(dx, dy), 0.0);
    }
    // Searches a quarter of it, closer and closer around the nearest point so far.
    double at = kTurn / 8.0;
    double least = 1e9;
    constexpr int kPoints = 20;
    for (double reach = kTurn / 8.0; reach > 1e-5; reach *= 2.0 / kPoints) {
        double const middle = at;
        for (int i = -kPoints; i <= kPoints; ++i) {
            double const t = middle + reach * i / kPoints;
            double const distance = std::hypot(a * std::cos(t) - std::fabs(x), b * std::sin(t) - std::fabs(y));
            if (distance < least) {
                least = distance;
                at = t;
            }
        }
    }
    return std::hypot(x / a, y / b) < 1.0 ? -least : least;
}

/// How far each pixel is acted on, as grey.
Picture MakeShares(Proc::SettingsEffectMask const& mask, unsigned width, unsigned height) {
    double const edge = std::max(mask.feather * std::max(width, height), 1.5);
    double const angle = mask.rotation * kTurn / 360.0;
    return Picture::Make(width, height, false, [&](unsigned px, unsigned py) {
        double const x = px + 0.5 - mask.x * width;
        double const y = height - py - 0.5 - mask.y * height;
        double const distance = GetDistance(
            mask.shape == Proc::SettingsEffectMask::Shape::Ellipse, x * std::cos(angle) + y * std::sin(angle),
            y * std::cos(angle) - x * std::sin(angle), 0.5 * mask.width * width, 0.5 * mask.height * height);
        double const share = SmoothStep(-0.5, 0.5, (mask.inverted ? -distance : distance) / edge);
        return Rgba{share, share, share, 1.0};
    });
}

TEST_F(MaskEffects, LiesWhereItsShapeIs) {
    for (char const* const shape :
         {"", "x=0.3 y=0.6 width=0.7 height=0.12 rotation=30 feather=0.2", "height=1.5 width=0.1 rotation=-100 y=0.4",
          "shape=1 x=0.6 y=0.3 height=0.4 rotation=20 feather=0.1",
          "shape=1 x=0.2 y=0.9 width=1.2 height=0.3 rotation=-60 feather=0.4"}) {
        for (bool const isInverted : {false, true}) {
            std::string const settings = fmt::format("EffectMask feather=0 {} inverted={}", shape, isInverted);
            for (auto const& [width, height] : {Size{71, 40}, Size{40, 71}}) {
                std::unique_ptr<Proc::Settings> const mask = Typed(settings);
                Picture const shares = MakeShares(dynamic_cast<Proc::SettingsEffectMask&>(*mask), width, height);
                EXPECT_TRUE(
                    IsNear(Run(settings + " action=1 color=#FFFFFF", Picture::Flat(width, height, {0, 0, 0, 1})),
                           shares, kUnfiltered))
                    << settings;
                Picture const bare = Run(settings + " action=2", Picture::Flat(width, height, {0.2, 0.4, 0.6, 1}));
                Picture const expected = Picture::Make(width, height, true, [&shares](unsigned x, unsigned y) {
                    return Rgba{0.2, 0.4, 0.6, 1.0 - shares.At(x, y)[0]};
                });
                ASSERT_TRUE(bare.hasAlpha);
                EXPECT_TRUE(IsNear(bare, expected, kUnfiltered)) << settings;
            }
        }
    }
}

TEST_F(MaskEffects, BlursOnlyWhereItActs) {
    for (auto const& [width, height] : {std::pair{320U, 180U}, {180U, 320U}}) {
        Picture const picture = Picture::Noise(width, height);
        std::string const everywhere = "EffectMask inverted=true width=2 height=2 shape=1 blur=0.05";
        Picture const blurred = Run(everywhere, picture);
        for (bool const isInverted : {false, true}) {
            std::string const settings =
                fmt::format("{} x=0.3 width=0.3 height=0.25 inverted={}", everywhere, isInverted);
            std::unique_ptr<Proc::Settings> const typed = Typed(settings);
            auto const& mask = dynamic_cast<Proc::SettingsEffectMask&>(*typed);
            Picture const shares = MakeShares(mask, width, height);
            Picture const drawn = Run(settings, picture);
            // Where it acts fully, the result is the same as if it acted everywhere.
            for (double const share : {0.0, 1.0}) {
                Picture const& source = share == 0.0 ? picture : blurred;
                Picture const expected = Picture::Make(width, height, false, [&](unsigned x, unsigned y) {
                    return shares.At(x, y)[0] == share ? source.At(x, y) : drawn.At(x, y);
                });
                EXPECT_TRUE(IsNear(drawn, expected, share == 0.0 ? 0.0 : kUnfiltered)) << width << " " << isInverted;
            }
        }
    }
}

/// By how much a wave along `isAlongRows` rows (else columns) of `length` pixels is damped in each row (column).
std::vector<double> GetAmplitudes(Picture const& picture, double length, bool isAlongRows) {
    unsigned const lines = isAlongRows ? picture.height : picture.width;
    unsigned const side = isAlongRows ? picture.width : picture.height;
    auto const margin = static_cast<unsigned>(length);  // samples near the border are affected by it
    std::vector<double> amplitudes;
    for (unsigned line = 0; line < lines; ++line) {
        double s = 0.0;
        double c = 0.0;
        for (unsigned i = margin; i < side - margin; ++i) {
            double const value = isAlongRows ? picture.At(i, line)[1] : picture.At(line, i)[1];
            s += value * std::sin(kTurn * i / length);
            c += value * std::cos(kTurn * i / length);
        }
        amplitudes.push_back(2.0 * std::hypot(s, c) / (side - 2 * margin));
    }
    return amplitudes;
}

TEST_F(MaskEffects, TiltShiftBlursByDistanceFromItsBand) {
    struct Case {
        unsigned width, height;
        double angle, position, blur, length;
    };
    // Waves along the band that the widest blur damps to a third. The band upright as well.
    for (Case const& c :
         {Case{480, 270, 0, 0.3, 0.03, 40}, Case{480, 270, 0, 0.6, 0.12, 160}, Case{270, 480, 0, 0.7, 0.0225, 30},
          Case{480, 270, 90, 0.3, 0.0225, 30}, Case{480, 270, -90, 0.3, 0.02, 27}}) {
        SCOPED_TRACE(fmt::format("{}x{}, angle {}, blur {}", c.width, c.height, c.angle, c.blur));
        bool const isAlongRows = c.angle == 0.0;
        Picture const waves = Picture::Make(c.width, c.height, false, [&](unsigned x, unsigned y) {
            double const v = 0.5 + 0.4 * std::sin(kTurn * (isAlongRows ? x : y) / c.length);
            return Rgba{v, v, v, 1.0};
        });
        std::string const settings =
            fmt::format("EffectTiltShiftQEL angle={} position={} blur={} size=0.2 feather=0.4 saturation=1 bokeh=soft",
                        c.angle, c.position, c.blur);
        ScopedStrategy const strategy(c.angle == 0.0 ? kSoftwareStrategy : kGpuStrategy);
        std::vector<double> const amplitudes = GetAmplitudes(Run(settings, waves), c.length, isAlongRows);
        for (std::size_t line = 0; line < amplitudes.size(); ++line) {
            double place = (static_cast<double>(line) + 0.5) / static_cast<double>(amplitudes.size());
            // From below; turned counter-clockwise by 90 degrees, from the right.
            place = c.angle < 0.0 ? place : 1.0 - place;
            double const amount = std::clamp((std::fabs(place - c.position) - 0.1) / 0.4, 0.0, 1.0);
            double const deviation = amount * c.blur * 2.0 / 3.0 * std::max(c.width, c.height);
            double const expected = 0.4 * std::exp(-0.5 * std::pow(kTurn / c.length * deviation, 2.0));
            // Between two Gaussians' mixture and one Gaussian; the picture's border.
            ASSERT_NEAR(amplitudes[line], expected, 0.02) << "line " << line;
        }
    }
}

TEST_F(MaskEffects, TiltShiftTurnsItsBandRoundOnScreenAndEnlivensColours) {
    // Sharp where a band through the middle, turned by 45 degrees, runs: from lower left to upper right.
    constexpr unsigned kSide = 240;
    Picture const noise = Picture::Noise(2 * kSide, kSide);
    Picture const drawn = Run("EffectTiltShiftQEL angle=45 size=0.1 feather=0.05 saturation=1", noise);
    auto const isSharp = [&](unsigned x, unsigned y) { return drawn.At(x, y) == noise.At(x, y); };
    for (unsigned const along : {10U, 60U, 230U}) {
        EXPECT_TRUE(isSharp(kSide / 2 + along, kSide - 1 - along)) << along;
        EXPECT_FALSE(isSharp(kSide / 2 + along, along)) << along;
    }
    Picture const colored = Picture::Flat(8, 8, {0.6, 0.4, 0.2, 1});
    double const lum = 0.2126 * 0.6 + 0.7152 * 0.4 + 0.0722 * 0.2;
    auto const live = [lum](double v) { return lum + 1.5 * (v - lum); };
    EXPECT_TRUE(IsNear(Run("EffectTiltShiftQEL saturation=1.5", colored),
                       Picture::Flat(8, 8, {live(0.6), live(0.4), live(0.2), 1}), kUnfiltered));
}

}  // namespace
}  // namespace Kaltor::Tests
