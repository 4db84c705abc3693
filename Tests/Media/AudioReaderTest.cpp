#include <array>
#include <fstream>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "Media/AudioReader.h"
#include "Media/SoundEncoder.h"
#include "MediaTest.h"

namespace Kaltor::Media::Tests {
namespace {

using AudioReaderTest = MediaTest;

/// Three seconds with a click at each of some samples.
ClipSpec Clicks(std::set<std::int64_t> const& clicks) {
    return {.frames = 90, .sound = SoundFormat{}, .wave = [clicks](std::int64_t n) {
                return clicks.contains(n) ? 0.9F : 0.0F;
            }};
}

/// Where the loudest sample between two places is, and how loud.
std::pair<std::int64_t, float> Peak(std::vector<float> const& plane, std::int64_t from, std::int64_t to) {
    auto const found = std::max_element(plane.begin() + from, plane.begin() + to,
                                        [](float a, float b) { return std::abs(a) < std::abs(b); });
    return {found - plane.begin(), std::abs(*found)};
}

TEST_F(AudioReaderTest, AClickStaysWhereItIs) {
    std::set<std::int64_t> const clicks{10000, 60000, 120000};
    for (std::string const name : {"clip.mp4", "clip.mkv", "clip.mov"}) {
        std::string const path = Make(name, Clicks(clicks));
        for (int const rate : {48000, 44100}) {
            for (int const startMs : {0, 100, 1100, 2000}) {
                std::int64_t const start = std::int64_t{startMs} * rate / 1000;
                auto const sound = ReadSound(path, {rate, 2}, static_cast<std::size_t>(3 * rate - start),
                                             std::chrono::milliseconds(startMs));
                for (std::int64_t const click : clicks) {
                    std::int64_t const expected = std::llround(static_cast<double>(click) * rate / 48000.0) - start;
                    if (expected > 2000) {
                        auto const [place, level] = Peak(sound[0], expected - 2000, expected + 2000);
                        // Matroska rounds times to milliseconds.
                        EXPECT_LE(std::abs(place - expected), name == "clip.mkv" ? rate / 1000 : 1)
                            << name << " " << rate << " from " << startMs << " ms";
                        EXPECT_GT(level, 0.2F);
                    }
                }
            }
        }
    }
}

TEST_F(AudioReaderTest, LateStartsAndGapsAreSilent) {
    // Sound begins 0.4 s late, and the part from 1 s to 1.5 s is missing.
    std::string const path =
        Remux(Make("even.mkv", Clicks({12000, 96000})), "clip.mkv", [](AVPacket& packet, AVStream const& stream) {
            if (stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
                return true;
            }
            bool const isGap = packet.pts >= 1000 && packet.pts < 1500;
            packet.pts += 400;
            packet.dts += 400;
            return !isGap;
        });
    // The writer's priming shifts picture and sound equally; the picture's start is time 0.
    std::vector<float> const plane = ReadSound(path, {48000, 2}, 48000 * 4)[0];
    for (std::int64_t const click : {12000 + 19200, 96000 + 19200}) {
        auto const [place, level] = Peak(plane, click - 15000, click + 15000);
        EXPECT_NEAR(static_cast<double>(place), static_cast<double>(click), 48);
        EXPECT_GT(level, 0.2F);
    }
    EXPECT_EQ(Peak(plane, 0, 18000).second, 0.0F) << "before it begins";
    EXPECT_EQ(Peak(plane, 48000 * 3 / 2, 48000 * 18 / 10).second, 0.0F) << "in the gap";
    EXPECT_EQ(Peak(plane, 48000 * 35 / 10, 48000 * 4).second, 0.0F) << "after its end";
}

TEST_F(AudioReaderTest, KeepsLevelsBetweenLayouts) {
    for (int const channels : {1, 2}) {
        std::string const path = Make(
            "clip.mp4", {.sound = SoundFormat{48000, channels}, .wave = [](std::int64_t n) {
                             return 0.5F * std::sin(2.0F * std::numbers::pi_v<float> * static_cast<float>(n) / 100);
                         }});
        for (std::vector<float> const& plane : ReadSound(path, {48000, 2}, 48000)) {
            double sum = 0.0;
            for (std::size_t i = 12000; i < 36000; ++i) {
                sum += static_cast<double>(plane[i]) * plane[i];
            }
            EXPECT_NEAR(std::sqrt(sum / 24000.0), 0.5 / std::sqrt(2.0), 0.01) << channels;
        }
    }
}

/// A file of sound only, in the container of its ending; FFmpeg's own or preferred encoder of a name.
std::string WriteSoundFile(std::string const& path, char const* encoderName, std::int64_t samples,
                           std::function<float(std::int64_t)> const& wave) {
    AVFormatContext* file = nullptr;
    EXPECT_GE(avformat_alloc_output_context2(&file, nullptr, nullptr, path.c_str()), 0);
    AVCodec const* const codec = avcodec_find_encoder_by_name(encoderName);
    EXPECT_NE(codec, nullptr) << encoderName;
    {
        SoundEncoder encoder(path, *codec, {48000, 1}, std::nullopt, *file);
        EXPECT_GE(avio_open(&file->pb, path.c_str(), AVIO_FLAG_WRITE), 0);
        EXPECT_GE(avformat_write_header(file, nullptr), 0);
        std::vector<float> plane;
        for (std::int64_t n = 0; n < samples; ++n) {
            plane.push_back(wave(n));
        }
        float const* const planes[] = {plane.data()};
        encoder.Write(planes, plane.size());
        encoder.Finish();
        EXPECT_GE(av_write_trailer(file), 0);
    }
    avio_closep(&file->pb);
    avformat_free_context(file);
    return path;
}

TEST_F(AudioReaderTest, TheEndBehindALongGapIsFoundAtOnce) {
    constexpr std::int64_t kGap = 20 * 3'600;  // seconds, after the first one
    std::string const path =
        Remux(Make("even.mkv", Clicks({12000})), "gap.mkv", [](AVPacket& packet, AVStream const& stream) {
            if (stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO && packet.pts >= 1000) {
                packet.pts += kGap * 1000;
                packet.dts += kGap * 1000;
            }
            return true;
        });
    AudioReader reader(path, {48'000, 1});
    std::vector<float> second(48'000);
    std::array<float*, 1> const plane{second.data()};
    int reads = 0;
    for (; reads < 20 && !reader.GetEnd(); ++reads) {
        reader.Read(plane.data(), second.size());
        reader.SkipSilence();
    }
    ASSERT_TRUE(reader.GetEnd()) << "after " << reads << " seconds";
    EXPECT_NEAR(static_cast<double>(*reader.GetEnd()) / 48'000, kGap + 3.0, 0.1);
    EXPECT_NEAR(static_cast<double>(ProbeSound(path).duration.count()) / 1e6, kGap + 3.0, 0.1);
}

TEST_F(AudioReaderTest, RatesThatNobodyRecordsAreRefused) {
    for (std::uint32_t const rate : {1U, 249'000'000U}) {
        // "RIFF", "WAVE", "fmt ": PCM of one channel and 16 bits; "data".
        std::vector<std::uint32_t> head{0x46464952, 36 + 8'192, 0x45564157, 0x20746D66, 16,   0x00010001,
                                        rate,       2 * rate,   0x00100002, 0x61746164, 8'192};
        head.resize(head.size() + 8'192 / 4);
        std::string const path = At("rate.wav");
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<char const*>(head.data()), static_cast<std::streamsize>(4 * head.size()));
        std::vector<float> samples(100);
        std::array<float*, 1> const plane{samples.data()};
        try {
            AudioReader reader(path, {48'000, 1});
            reader.Read(plane.data(), samples.size());
            ADD_FAILURE() << rate << " samples a second";
        } catch (MediaError const& e) {
            EXPECT_THAT(e.what(), testing::HasSubstr(fmt::format("has {} samples a second; 1000 to 10000000", rate)));
        }
    }
}

TEST_F(AudioReaderTest, AFileOfSoundOnlyBeginsWithItsSound) {
    struct Case {
        char const* name;
        char const* encoder;
        double slack;  ///< samples by which encoders fill up the last frame without saying so
    };
    for (Case const& c :
         {Case{"sound.m4a", "aac", 1024}, Case{"sound.mp3", "libmp3lame", 0}, Case{"sound.flac", "flac", 0},
          Case{"sound.ogg", "libopus", 0}, Case{"sound.ts", "mp2", 1152}, Case{"sound.mka", "flac", 48}}) {
        SCOPED_TRACE(c.name);
        ClipSpec const spec = Clicks({24000, 100000});
        std::string const path = WriteSoundFile(At(c.name), c.encoder, 145000, spec.wave);
        std::vector<float> const plane = ReadSound(path, {48000, 1}, 145000)[0];
        for (std::int64_t const click : {24000, 100000}) {
            // MPEG audio decoders give their delay, 481 samples, as sound.
            EXPECT_NEAR(static_cast<double>(Peak(plane, click - 5000, click + 5000).first), static_cast<double>(click),
                        c.slack > 1024 ? 482 : 1);
        }
        SoundInfo const info = ProbeSound(path);
        EXPECT_EQ(info.format, (SoundFormat{48000, 1}));
        EXPECT_NEAR(static_cast<double>(info.duration.count()) * 0.048, 145000.0, c.slack + 1.0);

        // From any sample on, and back again, as when it is read in one go.
        AudioReader reader(path, {48000, 1});
        for (std::int64_t const begin : {90000, 20000, 0, 99000}) {
            std::vector<float> part(10000);
            float* const planes[] = {part.data()};
            reader.Restart(begin);
            reader.Read(planes, part.size());
            auto const expected = plane.begin() + begin;
            double worst = 0.0;
            for (std::int64_t i = 0; i < 10000; ++i) {
                worst = std::max(worst, std::abs(static_cast<double>(part[static_cast<std::size_t>(i)]) -
                                                 static_cast<double>(expected[i])));
            }
            EXPECT_LT(worst, 0.02) << begin;
        }
    }
    EXPECT_THROW(ProbeSound(Make("clip.mkv", {})), MediaError);
}

}  // namespace
}  // namespace Kaltor::Media::Tests
