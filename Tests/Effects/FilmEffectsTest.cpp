// Grain and its kin, by their statistics; what runs at a film's rate, by when it changes.

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsStyleEffects.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using FilmEffects = GlTest;

struct Moments {
    double mean = 0.0;
    double deviation = 0.0;
    double kurtosis = 0.0;  ///< 3 of a normal distribution
};

Moments GetMoments(Picture const& picture, std::size_t channel) {
    auto const mean = [&](auto const& value) {
        double sum = 0.0;
        for (Rgba const& pixel : picture.pixels) {
            sum += value(pixel[channel]);
        }
        return sum / static_cast<double>(picture.pixels.size());
    };
    double const middle = mean([](double v) { return v; });
    double const variance = mean([middle](double v) { return std::pow(v - middle, 2.0); });
    double const fourth = mean([middle](double v) { return std::pow(v - middle, 4.0); });
    return {middle, std::sqrt(variance), fourth / (variance * variance)};
}

/// Of one channel with another one of another picture, `shift` pixels to the right.
double GetCorrelation(Picture const& a, std::size_t aChannel, Picture const& b, std::size_t bChannel, unsigned shift) {
    Moments const ofA = GetMoments(a, aChannel);
    Moments const ofB = GetMoments(b, bChannel);
    double sum = 0.0;
    for (unsigned y = 0; y < a.height; ++y) {
        for (unsigned x = 0; x + shift < a.width; ++x) {
            sum += (a.At(x, y)[aChannel] - ofA.mean) * (b.At(x + shift, y)[bChannel] - ofB.mean);
        }
    }
    return sum / (ofA.deviation * ofB.deviation * (a.width - shift) * a.height);
}

constexpr unsigned kWidth = 400;
constexpr unsigned kHeight = 240;

Proc::SettingsEffectAddNoize Grain(double strength, double pixels) {
    Proc::SettingsEffectAddNoize settings;
    settings.SetStrength(strength);
    settings.SetSize(pixels / kWidth);
    return settings;
}

TEST_F(FilmEffects, GrainIsNormalAndFollowsTone) {
    constexpr double kStrength = 0.5;
    // How far the deviation of so many grains may lie from the true one; 8-bit rounding is far below.
    constexpr double kTolerance = 0.04;
    for (double const pixels : {1.0, 1.7, 3.0}) {
        for (double const tone : {0.2, 0.5, 0.7}) {
            SCOPED_TRACE(fmt::format("{} pixels, tone {}", pixels, tone));
            Picture const drawn = Run(Grain(kStrength, pixels), Picture::Flat(kWidth, kHeight, {tone, tone, tone, 1}));
            Moments const moments = GetMoments(drawn, 1);
            double const expected = 0.4 * kStrength * std::sqrt(tone * (1.0 - tone));
            EXPECT_NEAR(moments.deviation, expected, kTolerance * expected);
            EXPECT_NEAR(moments.mean, tone, 0.003);
            EXPECT_NEAR(moments.kurtosis, 3.0, 0.35);
        }
    }
    // A quarter of a pixel would average away to a quarter; half is the least.
    EXPECT_NEAR(GetMoments(Run(Grain(kStrength, 0.25), Picture::Flat(kWidth, kHeight, {0.5, 0.5, 0.5, 1})), 0).deviation,
                0.05, 0.002);
    for (double const end : {0.0, 1.0}) {
        Picture const flat = Picture::Flat(kWidth, kHeight, {end, end, end, 1});
        EXPECT_TRUE(IsNear(Run(Grain(1.0, 2.0), flat), flat, 0.0)) << end;
    }
}

TEST_F(FilmEffects, GrainHasItsSizeAndIsGreyOrColoured) {
    Picture const grey = Picture::Flat(kWidth, kHeight, {0.5, 0.5, 0.5, 1});
    constexpr unsigned kPixels = 5;
    Proc::SettingsEffectAddNoize settings = Grain(0.4, kPixels);
    Picture const mono = Run(settings, grey);
    EXPECT_GT(GetCorrelation(mono, 0, mono, 0, kPixels / 2), 0.4);
    EXPECT_NEAR(GetCorrelation(mono, 0, mono, 0, 2 * kPixels), 0.0, 0.05);
    EXPECT_NEAR(GetCorrelation(mono, 0, mono, 2, 0), 1.0, 1e-9);
    settings.SetMonochrome(false);
    Picture const colored = Run(settings, grey);
    for (std::size_t channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(GetCorrelation(colored, channel, colored, (channel + 1) % 3, 0), 0.0, 0.06) << channel;
        EXPECT_NEAR(GetMoments(colored, channel).deviation, 0.08, 0.005) << channel;
    }
}

TEST_F(FilmEffects, GrainIsNewEveryTwentyFifthOfASecond) {
    Picture const grey = Picture::Flat(kWidth, kHeight, {0.5, 0.5, 0.5, 1});
    Proc::SettingsEffectAddNoize settings = Grain(0.4, 1.5);
    auto const at = [&](double seconds) { return Run(settings, grey, {.seconds = seconds}); };
    Picture const first = at(0.28);  // 0.28 * 25 is just below 7 in some roundings
    EXPECT_TRUE(IsNear(at(0.3199), first, 0.0));
    EXPECT_NEAR(GetCorrelation(at(0.32), 0, first, 0, 0), 0.0, 0.05);
    EXPECT_NEAR(GetCorrelation(at(0.2799), 0, first, 0, 0), 0.0, 0.05);
    settings.SetAnimated(false);
    EXPECT_TRUE(IsNear(at(0.32), at(7.0), 0.0));
}

TEST_F(FilmEffects, DiffusePicksEvenlyFromADisc) {
    constexpr unsigned kSide = 1920;  // from here on a pixel is one grain
    constexpr unsigned kRows = 200;
    constexpr double kReach = 0.02 * kSide;
    Picture const places = Picture::Make(kSide, kRows, false, [](unsigned x, unsigned y) {
        return Rgba{(x % 256) / 255.0, y / 255.0, x / 256 / 255.0, 1.0};
    });
    Proc::SettingsEffectDiffuse settings;
    settings.SetSize(0.02);
    Picture const drawn = Run(settings, places);
    double farthest = 0.0;
    std::array<double, 2> sum{};
    std::array<double, 2> squares{};
    unsigned count = 0;
    constexpr unsigned kMargin = 40;
    for (unsigned y = kMargin; y < kRows - kMargin; ++y) {
        for (unsigned x = kMargin; x < kSide - kMargin; ++x) {
            Rgba const& pixel = drawn.At(x, y);
            std::array<double, 2> const moved{std::round(255.0 * pixel[0]) + 256.0 * std::round(255.0 * pixel[2]) - x,
                                              std::round(255.0 * pixel[1]) - y};
            farthest = std::max(farthest, std::hypot(moved[0], moved[1]));
            for (std::size_t axis = 0; axis < 2; ++axis) {
                sum[axis] += moved[axis];
                squares[axis] += moved[axis] * moved[axis];
            }
            ++count;
        }
    }
    EXPECT_GT(farthest, kReach - 1.0);
    EXPECT_LT(farthest, kReach + std::sqrt(0.5)) << "a place, to its pixel's centre";
    for (std::size_t axis = 0; axis < 2; ++axis) {
        EXPECT_NEAR(sum[axis] / count, 0.0, 0.01 * kReach) << axis;
        EXPECT_NEAR(squares[axis] / count, kReach * kReach / 4.0, 0.01 * kReach * kReach) << axis;
    }
}

}  // namespace
}  // namespace Kaltor::Tests
