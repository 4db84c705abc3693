#include <cmath>

#include "Tests/Media/MediaTest.h"

namespace Kaltor::Media::Tests {
namespace {

using std::chrono::milliseconds;

class RenderTest : public MediaTest {
protected:
    RenderResult Run(RenderJob const& job) { return Render(job, MakeFakeFactory(log)); }

    FakeLog log;
};

TEST_F(RenderTest, JoinsClipsFrameByFrame) {
    ClipSpec spec;
    MakeClip(At("a.mkv"), spec);
    spec.frames = 25;
    spec.color = [](int k) { return Yuv{220 - k, 128, 128}; };
    MakeClip(At("b.mkv"), spec);
    RenderJob job = MakeJob({At("a.mkv"), At("b.mkv")}, At("out.mkv"));
    job.codec = "ffv1";
    RenderResult const result = Run(job);
    EXPECT_EQ(result.frames, 30 + 25 - 15);
    EXPECT_EQ(result.processedFrames, 15);

    auto const pictures = ReadAll(At("out.mkv"));
    ASSERT_EQ(pictures.size(), 40U);
    for (int k = 0; k < 40; ++k) {
        double const a = LumaOf(k);
        double const b = 220 - (k - 15);
        double const expected = k < 15 ? a : k < 30 ? std::lround(a + (b - a) * (k - 15) / 15.0) : b;
        EXPECT_EQ(MeanOf(*pictures[static_cast<std::size_t>(k)], 0), expected) << "frame " << k;
    }
}

}  // namespace
}  // namespace Kaltor::Media::Tests
