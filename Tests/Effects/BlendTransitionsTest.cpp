#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using BlendTransitionsTest = TransitionFixture;

TEST_F(BlendTransitionsTest, CrossfadeMixesAlphaToo) {
    Expect(
        "TransitionCrossfade", {0.25},
        [](Picture const& first, Picture const& second, double p) {
            return ForEachPixel(first, [&](double s, double t) {
                return Mix(first.SampleNearest(s, t), second.SampleNearest(s, t), p);
            });
        },
        kUnfiltered);
}

TEST_F(BlendTransitionsTest, FadeGoesThroughBlackOrThroughTransparency) {
    Expect(
        "TransitionFadeInFadeOut", {0.21, 0.499, 0.5, 0.84},
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
    // At 0.5 a channel may grow fivefold; it is clamped only after it is mixed.
    Expect(
        "TransitionFlash", {-0.1, 0.0625, 0.5, 0.8},
        [](Picture const& first, Picture const& second, double p) {
            double const gain = p < 0.5 ? 16 * p * p : 16 * (1 - p) * (1 - p);
            return ForEachPixel(first, [&](double s, double t) {
                Rgba bright = second.SampleNearest(s, t);
                double const missing = 1 - std::max({bright[0], bright[1], bright[2]});
                for (double& channel : bright) {
                    channel *= 1 + missing * gain;
                }
                return Mix(first.SampleNearest(s, t), bright, p < 0 ? 0 : std::pow(p, 0.25));
            });
        },
        kUnfiltered);
}

TEST_F(BlendTransitionsTest, BlurTakesPicturesOutOfFocusAndBack) {
    // What another number than 0 and 2 stands for is 1.
    for (int const mode : {0, 1, 2, 7}) {
        std::string const settings = fmt::format("TransitionBlur mode={}", mode);
        auto const blur = [](Picture const& picture, double strength) {
            double const scale = (5 * strength + 1.5) / std::max(picture.width, picture.height);
            return Run(fmt::format("EffectBlurGaussian scale={}", scale), picture);
        };
        auto const expectation = [&](Picture const& first, Picture const& second, double p) {
            Picture const outgoing = mode == 0 ? first : blur(first, p);
            Picture const incoming = mode == 0 || mode == 2 ? blur(second, 1 - p) : second;
            return ForEachPixel(first, [&](double s, double t) {
                return Mix(outgoing.SampleNearest(s, t), incoming.SampleNearest(s, t), p);
            });
        };
        Expect(settings, {0.3, 0.86}, expectation, kUnfiltered);
        Expect(settings, {0.0, 1.0}, expectation, 0);
    }
}

}  // namespace
}  // namespace Kaltor::Tests
