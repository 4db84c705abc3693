// Transitions drawn by programs over the whole frame: pictures by formula, what is random by what it promises.

#include <algorithm>
#include <cmath>
#include <numbers>

#include "Proc/Settings/SettingsMotionTransitions.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

class ShaderTransitionsTest : public TransitionFixture {
protected:
    /// Noise whose alpha, where there is one, hides no colour.
    static Picture MakeNoise(Size const& size, bool hasAlpha, std::uint32_t seed) {
        Picture picture = Picture::Noise(size.width, size.height, hasAlpha, seed);
        for (Rgba& pixel : picture.pixels) {
            pixel[3] = hasAlpha ? (128.0 + std::floor(pixel[3] * 127.0)) / 255.0 : 1.0;
        }
        return picture;
    }
};

/// Colours multiplied by alpha.
Picture Multiplied(Picture picture) {
    for (Rgba& pixel : picture.pixels) {
        std::for_each_n(pixel.begin(), 3, [&](double& channel) { channel *= pixel[3]; });
    }
    return picture;
}

Rgba Straight(Rgba color) {
    std::for_each_n(color.begin(), 3, [&](double& channel) { channel /= color[3]; });
    return color;
}

TEST_F(ShaderTransitionsTest, RippleRunsOutwardsInARing) {
    struct Case {
        Size size;
        double x, y;
        std::int32_t freq, ampl;
        double width;
    };
    for (Case const& tested : {Case{{160, 90}, 0.5, 0.5, 6, 30, 0.25}, Case{{90, 160}, 0.2, 0.9, 4, 120, 0.6},
                               Case{{64, 64}, 0.0, 0.3, 20, 60, 0.4}, Case{{81, 45}, 0.7, 0.1, 2, 40, 0.1}}) {
        Proc::SettingsTransitionRipple settings;
        settings.SetX(tested.x);
        settings.SetY(tested.y);
        settings.SetFreq(tested.freq);
        settings.SetAmpl(tested.ampl);
        settings.SetWidth(tested.width);
        bool const hasAlpha = tested.size.width % 2 != 0;
        Picture const first = MakeNoise(tested.size, hasAlpha, 1);
        Picture const second = MakeNoise(tested.size, hasAlpha, 2);
        Picture const from = Multiplied(first);
        Picture const to = Multiplied(second);
        double const longer = std::max(tested.size.width, tested.size.height);
        double const scaleX = tested.size.width / longer;
        double const scaleY = tested.size.height / longer;
        double const reach =
            std::hypot(std::max(tested.x, 1 - tested.x) * scaleX, std::max(tested.y, 1 - tested.y) * scaleY);
        double const length = std::min(1.0 / tested.freq, tested.width);
        double const shown = std::clamp(length * longer / 2 - 1, 0.0, 1.0);
        for (double const p : {0.1, 0.45, 0.8}) {
            double const front = p * (reach + tested.width);
            Picture const expected = ForEachPixel(first, [&](double s, double t) {
                double const x = (s - tested.x) * scaleX;
                double const y = (t - tested.y) * scaleY;
                double const radius = std::hypot(x, y);
                double const u = std::clamp((front - radius) / tested.width, 0.0, 1.0);
                double const packet = u * u * std::pow(1 - u, 3) / (0.16 * 0.216);
                double const height = shown * tested.ampl / 60.0 / std::sqrt(1 + 2 * front) * packet *
                                      std::sin(2 * std::numbers::pi / length * (radius - 1.3 * front)) /
                                      std::max(radius, length / 2);
                auto const mirror = [](double at) { return 1 - std::fabs(1 - std::fabs(at)); };
                double const atS = mirror(s - x * height * 0.3 * length / scaleX);
                double const atT = mirror(t - y * height * 0.3 * length / scaleY);
                double const step = std::clamp((u - 0.15) / 0.6, 0.0, 1.0);
                Rgba color = Mix(from.Sample(atS, atT), to.Sample(atS, atT), step * step * (3 - 2 * step));
                double const facing =
                    (x - y) * height / std::sqrt(2.0) / std::sqrt(1 + height * height * radius * radius);
                double const glint = 0.6 * std::pow(std::clamp(3 * facing - 0.3, 0.0, 1.0), 2);
                std::for_each_n(color.begin(), 3, [&](double& channel) {
                    channel *= 1 + 0.7 * facing;
                    channel += (color[3] - channel) * glint;
                });
                return Straight(color);
            });
            // Light brings out the filter's rounding by two thirds, division by alpha doubles it.
            EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = p}), expected, (hasAlpha ? 2 : 1.7) * kFiltered))
                << Describe(settings) << " at progress " << p;
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
