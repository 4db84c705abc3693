#include <algorithm>
#include <cmath>
#include <numbers>

#include "Media/AudioReader.h"
#include "MediaTest.h"

namespace Kaltor::Media::Tests {
namespace {

class AudioReaderTest : public MediaTest {
protected:
    /// Three seconds with a click at each of some samples.
    void MakeClicks(std::string const& path, std::vector<std::int64_t> const& clicks, SoundFormat const& format) {
        ClipSpec spec;
        spec.frames = 90;
        spec.sound = format;
        spec.wave = [&](std::int64_t n) {
            return std::find(clicks.begin(), clicks.end(), n) != clicks.end() ? 0.9F : 0.0F;
        };
        MakeClip(path, spec);
    }

    /// Where the loudest sample between two places is, and how loud.
    static std::pair<std::int64_t, float> Peak(std::vector<float> const& plane, std::int64_t from, std::int64_t to) {
        auto const found = std::max_element(plane.begin() + from, plane.begin() + to,
                                            [](float a, float b) { return std::abs(a) < std::abs(b); });
        return {found - plane.begin(), std::abs(*found)};
    }

    static std::vector<float> ReadFrom(std::string const& path, SoundFormat const& format, Microseconds start,
                                       std::size_t count, std::size_t step) {
        AudioReader reader(path, format, start);
        std::vector<std::vector<float>> planes(static_cast<std::size_t>(format.channels), std::vector<float>(count));
        for (std::size_t done = 0; done < count; done += step) {
            std::vector<float*> pointers;
            for (auto& plane : planes) {
                pointers.push_back(plane.data() + done);
            }
            reader.Read(pointers.data(), std::min(step, count - done));
        }
        return planes[0];
    }
};

TEST_F(AudioReaderTest, AClickStaysWhereItIs) {
    std::vector<std::int64_t> const clicks{10000, 60000, 120000};
    for (char const* const name : {"clip.mp4", "clip.mkv", "clip.mov"}) {
        MakeClicks(At(name), clicks, {48000, 2});
        for (int const rate : {48000, 44100}) {
            for (int const startMs : {0, 100, 1100, 2000}) {
                std::int64_t const start = std::int64_t{startMs} * rate / 1000;
                std::vector<float> const plane = ReadFrom(At(name), {rate, 2}, std::chrono::milliseconds(startMs),
                                                          static_cast<std::size_t>(3 * rate - start), 1001);
                for (std::int64_t const click : clicks) {
                    std::int64_t const expected = std::llround(static_cast<double>(click) * rate / 48000.0) - start;
                    if (expected > 2000) {
                        auto const [place, level] = Peak(plane, expected - 2000, expected + 2000);
                        // Matroska rounds times to milliseconds.
                        EXPECT_LE(std::abs(place - expected), std::string(name) == "clip.mkv" ? rate / 1000 : 1)
                            << name << " " << rate << " from " << startMs << " ms";
                        EXPECT_GT(level, 0.2F);
                    }
                }
            }
        }
    }
}

TEST_F(AudioReaderTest, LateStartsAndGapsAreSilent) {
    MakeClicks(At("even.mkv"), {12000, 96000}, {48000, 2});
    // Sound begins 0.4 s late; of what was the second from 1 to 1.5 nothing is there.
    Remux(At("even.mkv"), At("clip.mkv"), [](AVPacket& packet, AVStream const& stream) {
        if (stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
            return true;
        }
        bool const isGap = packet.pts >= 1000 && packet.pts < 1500;
        packet.pts += 400;
        packet.dts += 400;
        return !isGap;
    });
    // The writer's own priming moves picture and sound alike; the picture's start is time 0.
    std::vector<float> const plane = ReadFrom(At("clip.mkv"), {48000, 2}, {}, 48000 * 4, 4800);
    auto const [first, firstLevel] = Peak(plane, 0, 48000);
    auto const [second, secondLevel] = Peak(plane, 96000, 144000);
    EXPECT_NEAR(static_cast<double>(first), 12000 + 19200, 48);
    EXPECT_NEAR(static_cast<double>(second), 96000 + 19200, 48);
    EXPECT_GT(firstLevel, 0.2F);
    EXPECT_GT(secondLevel, 0.2F);
    EXPECT_EQ(Peak(plane, 0, 18000).second, 0.0F) << "before it begins";
    EXPECT_EQ(Peak(plane, 48000 * 3 / 2, 48000 * 18 / 10).second, 0.0F) << "in the gap";
    EXPECT_EQ(Peak(plane, 48000 * 35 / 10, 48000 * 4).second, 0.0F) << "after its end";
}

TEST_F(AudioReaderTest, KeepsLevelsBetweenLayouts) {
    auto const level = [](std::vector<float> const& plane) {
        double sum = 0.0;
        for (std::size_t i = 12000; i < 36000; ++i) {
            sum += static_cast<double>(plane[i]) * plane[i];
        }
        return std::sqrt(sum / 24000.0);
    };
    for (int const channels : {1, 2}) {
        ClipSpec spec;
        spec.sound = SoundFormat{48000, channels};
        spec.wave = [](std::int64_t n) {
            return 0.5F * std::sin(2.0F * std::numbers::pi_v<float> * 440.0F * static_cast<float>(n) / 48000.0F);
        };
        MakeClip(At("clip.mp4"), spec);
        auto const stereo = ReadSound(At("clip.mp4"), {48000, 2}, 48000);
        EXPECT_NEAR(level(stereo[0]), 0.5 / std::sqrt(2.0), 0.01) << channels;
        EXPECT_NEAR(level(stereo[1]), 0.5 / std::sqrt(2.0), 0.01) << channels;
    }
}

TEST_F(AudioReaderTest, RefusesAClipWithoutSound) {
    MakeClip(At("clip.mkv"), {});
    EXPECT_THROW(AudioReader(At("clip.mkv"), {48000, 2}), MediaError);
}

}  // namespace
}  // namespace Kaltor::Media::Tests
