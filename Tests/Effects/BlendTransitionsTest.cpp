#include "Proc/Settings/SettingsBlendTransitions.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using CrossfadeTest = GlTest;

TEST_F(CrossfadeTest, MixesChannelByChannelAtEverySize) {
    for (auto const& [width, height] : {std::pair{64U, 36U}, {36U, 64U}, {1U, 48U}, {33U, 1U}, {1U, 1U}, {31U, 17U}}) {
        for (bool const hasAlpha : {false, true}) {
            Picture const first = Picture::Noise(width, height, hasAlpha, 1);
            Picture const second = Picture::Noise(width, height, hasAlpha, 2);
            for (double const progress : {0.0, 0.25, 0.5, 0.9, 1.0}) {
                Picture const expected = Picture::Make(width, height, hasAlpha, [&](unsigned x, unsigned y) {
                    Rgba pixel{};
                    for (std::size_t c = 0; c < pixel.size(); ++c) {
                        pixel[c] = (1 - progress) * first.At(x, y)[c] + progress * second.At(x, y)[c];
                    }
                    return pixel;
                });
                bool const isEnd = progress == 0.0 || progress == 1.0;
                Picture const actual =
                    Run(Proc::SettingsTransitionCrossfade(), first, second, {.progress = progress});
                EXPECT_TRUE(IsNear(actual, expected, isEnd ? 0.0 : kUnfiltered)) << "progress " << progress;
            }
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
