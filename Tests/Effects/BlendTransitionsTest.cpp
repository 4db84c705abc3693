#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using BlendTransitionsTest = TransitionFixture;

TEST_F(BlendTransitionsTest, CrossfadeMixesAlphaToo) {
    ExpectPixels("TransitionCrossfade", {0.25}, [](Meeting const& at) { return at.Mix(at.progress); });
}

TEST_F(BlendTransitionsTest, FadeGoesThroughBlackOrThroughTransparency) {
    ExpectPixels("TransitionFadeInFadeOut", {0.21, 0.499, 0.5, 0.84}, [](Meeting const& at) {
        double const level = std::abs(1 - 2 * at.progress);
        Rgba const color = at.progress < 0.5 ? at.from : at.to;
        return at.first.hasAlpha ? Rgba{color[0], color[1], color[2], color[3] * level}
                                 : EachColor(color, [&](std::size_t c) { return color[c] * level; });
    });
}

TEST_F(BlendTransitionsTest, FlashBrightensWhatIsDarkAndStartsFast) {
    // At 0.5 a channel may grow fivefold; it is clamped only after it is mixed.
    ExpectPixels("TransitionFlash", {-0.1, 0.0625, 0.5, 0.8}, [](Meeting const& at) {
        double const gain = 16 * std::pow(std::min(at.progress, 1 - at.progress), 2);
        double const missing = 1 - std::max({at.to[0], at.to[1], at.to[2]});
        Rgba bright = at.to;
        for (double& channel : bright) {
            channel *= 1 + missing * gain;
        }
        return Mix(at.from, bright, std::pow(std::max(at.progress, 0.0), 0.25));
    });
}

TEST_F(BlendTransitionsTest, BlurTakesPicturesOutOfFocusAndBack) {
    // Numbers other than 0 and 2 count as 1.
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
        // Before and after its span it stays as it is there; the radius does not grow on.
        using Limits = std::numeric_limits<double>;
        for (auto const& [end, beyond] : {std::pair{0.0, std::vector{-3.6e4, -Limits::infinity(), Limits::quiet_NaN()}},
                                          {1.0, {3.6e4, Limits::infinity()}}}) {
            auto const atEnd = [&, p = end](Picture const& first, Picture const& second, double) {
                return expectation(first, second, p);
            };
            Expect(settings, beyond, atEnd, 0, {{64, 36}});
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
