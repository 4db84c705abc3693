#include <algorithm>
#include <cmath>

#include "Proc/Settings/SettingsBlendTransitions.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

class BlendTransitionsTest : public TransitionFixture {};

TEST_F(BlendTransitionsTest, CrossfadeMixesAlphaToo) {
    Expect(
        Proc::SettingsTransitionCrossfade(), {0.25, 0.5, 0.9},
        [](Picture const& first, Picture const& second, double p) {
            return ForEachPixel(first, [&](double s, double t) {
                return Mix(first.SampleNearest(s, t), second.SampleNearest(s, t), p);
            });
        },
        kUnfiltered);
}

TEST_F(BlendTransitionsTest, FadeGoesThroughBlackOrThroughTransparency) {
    Expect(
        Proc::SettingsTransitionFadeInFadeOut(), {0.0, 0.21, 0.499, 0.5, 0.84, 1.0},
        [](Picture const& first, Picture const& second, double p) {
            double const level = std::abs(1 - 2 * p);
            return ForEachPixel(first, [&](double s, double t) {
                Rgba pixel = (p < 0.5 ? first : second).SampleNearest(s, t);
                if (first.hasAlpha) {
                    pixel[3] *= level;
                } else {
                    std::for_each_n(pixel.begin(), 3, [level](double& channel) { channel *= level; });
                }
                return pixel;
            });
        },
        kUnfiltered);
}

TEST_F(BlendTransitionsTest, FlashBrightensWhatIsDarkAndStartsFast) {
    Expect(
        Proc::SettingsTransitionFlash(), {-0.1, 0.0, 0.0625, 0.3, 0.5, 0.8, 1.0},
        [](Picture const& first, Picture const& second, double p) {
            double const gain = p < 0.5 ? 16 * p * p : 16 * (1 - p) * (1 - p);
            double const weight = p < 0 ? 0 : std::pow(p, 0.25);
            return ForEachPixel(first, [&](double s, double t) {
                Rgba bright = second.SampleNearest(s, t);
                double const missing = 1 - std::max({bright[0], bright[1], bright[2]});
                for (double& channel : bright) {
                    channel *= 1 + missing * gain;
                }
                return Mix(first.SampleNearest(s, t), bright, weight);
            });
        },
        kUnfiltered);
}

TEST_F(BlendTransitionsTest, FlashNeitherLightsBlackNorClampsBeforeItMixes) {
    Picture const first = Picture::Flat(4, 4, {0, 0, 0, 0}, true);
    auto const run = [&](Rgba const& color) {
        return Run(Proc::SettingsTransitionFlash(), first, Picture::Flat(4, 4, color, true), {.progress = 0.5})
            .At(1, 2);
    };
    double const weight = std::pow(0.5, 0.25);
    EXPECT_EQ(run({0, 0, 0, 1})[0], 0.0);
    // 0.4 becomes 0.4 * (1 + 4 * 0.6) = 1.36, of which 84 % is still white.
    Rgba const pixel = run({102.0 / 255, 51.0 / 255, 0, 0.2});
    EXPECT_EQ(pixel[0], 1.0);
    EXPECT_NEAR(pixel[1], 0.2 * 3.4 * weight, kUnfiltered);
    EXPECT_NEAR(pixel[3], 0.2 * 3.4 * weight, kUnfiltered);
}

TEST_F(BlendTransitionsTest, BlurTakesPicturesOutOfFocusAndBack) {
    // What another number than 0 and 2 stands for is 1.
    for (std::int32_t const mode : {0, 1, 2, 7}) {
        Proc::SettingsTransitionBlur settings;
        settings.SetMode(mode);
        auto const blur = [](Picture const& picture, double strength) {
            Proc::SettingsEffectBlurGaussian scale;
            scale.SetScale((5 * strength + 1.5) / std::max(picture.width, picture.height));
            return Run(scale, picture);
        };
        auto const expectation = [&](Picture const& first, Picture const& second, double p) {
            Picture const outgoing = mode == 0 ? first : blur(first, p);
            Picture const incoming = mode == 0 || mode == 2 ? blur(second, 1 - p) : second;
            return ForEachPixel(first, [&](double s, double t) {
                return Mix(outgoing.SampleNearest(s, t), incoming.SampleNearest(s, t), p);
            });
        };
        Expect(settings, {0.3, 0.5, 0.86}, expectation, kUnfiltered);
        Expect(settings, {0.0, 1.0}, expectation, 0);
    }
}

}  // namespace
}  // namespace Kaltor::Tests
