#include "Media/Conformer.h"
#include "Media/Deinterlacer.h"
#include "MediaTest.h"

extern "C" {
#include <libavutil/display.h>
}

namespace Kaltor::Media::Tests {
namespace {

using VideoReaderTest = MediaTest;

constexpr ColorSpec kBt601{ColorMatrix::Bt601, ColorRange::Limited};
constexpr ColorSpec kBt709{ColorMatrix::Bt709, ColorRange::Limited};
constexpr ColorSpec kBt601Full{ColorMatrix::Bt601, ColorRange::Full};

VideoTarget Target(std::uint32_t width, std::uint32_t height, AVRational rate = {30, 1}, ColorSpec spec = kBt601) {
    return {{width, height, 1, 1}, rate, spec, PixFmt::Yuv420p};
}

/// Which frames of a clip with `LumaOf` the next pictures are.
std::vector<int> ReadFrames(VideoReader& reader, int count) {
    std::vector<int> frames;
    for (int number = 0; number < count; ++number) {
        Proc::AvFramePtr const picture = reader.Read();
        EXPECT_EQ(picture->pts, number);
        double const luma = MeanLuma(*picture);
        int best = 0;
        for (int k = 0; k < 28; ++k) {
            best = std::abs(LumaOf(k) - luma) < std::abs(LumaOf(best) - luma) ? k : best;
        }
        frames.push_back(best);
    }
    return frames;
}

bool Blank(AVPacket& packet, AVStream const&) {
    std::fill_n(packet.data, packet.size, std::uint8_t{0});
    return true;
}

TEST_F(VideoReaderTest, AFileThatBecomesShorterIsNoWholeOne) {
    // MKV has no index that would miss the rest.
    std::string const path = Make("clip.mkv", {.frames = 120, .draw = DrawNoise});
    auto const size = static_cast<std::int64_t>(std::filesystem::file_size(path));
    ASSERT_GT(size, 400'000) << "more than what is read ahead";
    std::vector<std::string> warnings;
    VideoReader reader(path, Target(64, 48), Microseconds(0),
                       [&warnings](std::string const& text) { warnings.push_back(text); });
    reader.Read();
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(size / 2));
    for (int i = 0; i < 120; ++i) {
        reader.Read();
    }
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_THAT(warnings[0], testing::HasSubstr("damaged from"));
}

TEST_F(VideoReaderTest, StartsAtExactlyTheFrame) {
    for (AVRational const rate : {AVRational{30, 1}, AVRational{30000, 1001}, AVRational{24, 1}}) {
        // Of long groups of pictures with B frames, where a seek lands far before the wanted frame; of short ones in a
        // stream without an index, where it lands behind.
        for (auto const& [name, codec] : {std::pair{"clip.mp4", "libx264"},
                                          {"clip.mkv", "libx264"},
                                          {"clip.ts", "libx264"},
                                          {"clip.ts", "mpeg2video"}}) {
            std::string const path = Make(name, {.frameRate = rate, .frames = 120, .codec = codec});
            for (int const first : {0, 1, 29, 31, 75, 119}) {
                VideoReader reader(path, Target(64, 48, rate),
                                   Microseconds(std::llround(first * 1e6 * rate.den / rate.num)));
                EXPECT_NEAR(MeanLuma(*reader.Read()), LumaOf(first), 3) << name << " at " << first;
                EXPECT_NEAR(MeanLuma(*reader.Read()), LumaOf(std::min(first + 1, 119)), 3) << name << " at " << first;
            }
        }
    }
}

TEST_F(VideoReaderTest, ConvertsTheRateEvenly) {
    struct Case {
        AVRational from, to;
        std::vector<int> expected;
        int last;  ///< number of the last picture that the clip itself gives
    };
    for (Case const& c : {Case{{60, 1}, {30, 1}, {0, 2, 4, 6, 8, 10, 12, 14}, 14},
                          {{30, 1}, {60, 1}, {0, 0, 1, 1, 2, 2, 3, 3}, 55},
                          {{24, 1}, {30, 1}, {0, 1, 1, 2, 3, 4, 5, 5}, 34},
                          {{30, 1}, {30, 1}, {0, 1, 2, 3, 4, 5, 6, 7}, 27},
                          {{60000, 1001}, {30000, 1001}, {0, 2, 4, 6, 8, 10, 12, 14}, 14}}) {
        // Its timestamps are rounded to milliseconds.
        std::string const path = Make("clip.mkv", {.frameRate = c.from, .frames = 28});
        VideoReader reader(path, Target(64, 48, c.to));
        EXPECT_EQ(ReadFrames(reader, 8), c.expected) << av_q2d(c.from) << " to " << av_q2d(c.to);
        std::int64_t last = 7;
        while (!reader.IsAtEnd()) {
            last = reader.Read()->pts;
        }
        EXPECT_EQ(last, c.last) << av_q2d(c.from) << " to " << av_q2d(c.to);
    }
}

TEST_F(VideoReaderTest, FollowsVariableTimestamps) {
    // Frames 5 to 9 are late by a second: frame 4 stands that long.
    std::string const path = Remux(Make("even.mkv", {.frames = 10}), "clip.mkv", [](AVPacket& packet, AVStream const&) {
        std::int64_t const shift = packet.pts > 150 ? 1000 : 0;
        packet.pts += shift;
        packet.dts += shift;
        return true;
    });
    std::vector<int> expected;
    for (int k = 0; k < 40; ++k) {
        expected.push_back(k < 5 ? k : k < 35 ? 4 : k - 30);
    }
    VideoReader reader(path, Target(64, 48));
    EXPECT_EQ(ReadFrames(reader, 40), expected);
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_NEAR(std::chrono::duration<double>(Probe(path).duration).count(), 40 / 30.0, 0.002);
}

TEST_F(VideoReaderTest, TurnsAsTheDisplayMatrixSays) {
    ClipSpec spec{.frame = {64, 48, 4, 3}, .frames = 3, .codec = "libx264"};
    spec.draw = [](AVFrame& picture, int) {
        std::fill_n(picture.data[0], picture.linesize[0] * 16, std::uint8_t{235});
    };
    std::int32_t matrix[9];
    av_display_rotation_set(matrix, 90);
    std::string const path = Remux(Make("plain.mp4", spec), "clip.mp4", nullptr, matrix);
    Conf::FrameInfo const frame{48, 64, 3, 4};
    EXPECT_EQ(Probe(path).frame, frame);
    for (bool const keepsSize : {false, true}) {
        Conf::FrameInfo const target = keepsSize ? Conf::FrameInfo{10, 10, 1, 1} : frame;
        Proc::AvFramePtr const picture =
            VideoReader(path, {target, {30, 1}, kBt601, PixFmt::Yuv420p, keepsSize}).Read();
        EXPECT_EQ(Proc::GetFrameInfo(*picture), frame);
        auto const expected = [](double x, double) { return Grey(x < 32 ? LumaOf(0) : 235); };
        EXPECT_TRUE(Shows(*picture, expected, 8)) << "the white stripe on top comes to the right";
    }
}

TEST_F(VideoReaderTest, BringsColorsToTheTargetsMatrixAndRange) {
    auto const encode = [](ColorSpec const& spec) { return Kaltor::Tests::Encode(spec, {0.8, 0.25, 0.4, 1}); };
    std::array const specs{kBt601, kBt709, kBt601Full, ColorSpec{ColorMatrix::Bt2020, ColorRange::Limited}};
    for (ColorSpec const& from : specs) {
        std::string const path =
            Make("clip.mkv", {.frames = 2, .color = [&](int) { return encode(from); }, .colorSpec = from});
        EXPECT_EQ(Probe(path).colorSpec, from);
        for (ColorSpec const& to : specs) {
            if ((from.matrix == ColorMatrix::Bt2020) != (to.matrix == ColorMatrix::Bt2020)) {
                continue;  // the primaries differ, too
            }
            Proc::AvFramePtr const picture = VideoReader(path, Target(64, 48, {30, 1}, to)).Read();
            auto const expected = [color = encode(to)](auto...) { return color; };
            EXPECT_TRUE(Shows(*picture, expected, 2));  // two roundings and the scaler's fixed-point arithmetic
            EXPECT_EQ(Proc::GetColorSpec(*picture), to);
        }
    }
    // Grey pictures without a tag are stills and masks.
    EXPECT_EQ(Conformer::ReadAs(*Proc::AllocateAvFrame(AV_PIX_FMT_GRAY8, 4, 4)).range, ColorRange::Full);
}

TEST_F(VideoReaderTest, MakesWholePicturesOfFields) {
    // A bright bar moves 4 columns a field: each field alone shows it 8 columns wide.
    constexpr int kPictures = 5;
    Deinterlacer deinterlacer("test", {1, 25});
    Proc::AvFramePtr const plain = MakePicture({64, 48, 1, 1}, {30, 128, 128});
    plain->pts = 3;
    deinterlacer.Push(Proc::ShareAvFrame(*plain));
    Proc::AvFramePtr const same = deinterlacer.Pull();
    ASSERT_TRUE(same);
    EXPECT_EQ(same->data[0], plain->data[0]) << "progressive pictures pass";
    for (int k = 0; k < kPictures; ++k) {
        Proc::AvFramePtr picture = MakePicture({64, 48, 1, 1}, {30, 128, 128});
        picture->interlaced_frame = picture->top_field_first = 1;
        picture->pts = 4 + k;
        for (int y = 0; y < 48; ++y) {
            std::fill_n(picture->data[0] + y * picture->linesize[0] + 8 * k + 4 * (y % 2), 8, std::uint8_t{210});
        }
        deinterlacer.Push(std::move(picture));
    }
    deinterlacer.Push(nullptr);
    for (int k = 0; k < kPictures; ++k) {
        Proc::AvFramePtr const picture = deinterlacer.Pull();
        ASSERT_TRUE(picture) << k;
        EXPECT_EQ(picture->pts, 4 + k);
        EXPECT_EQ(picture->interlaced_frame, 0);
        for (int y = 8; y < 40; ++y) {
            std::uint8_t const* const row = picture->data[0] + y * picture->linesize[0] + 8 * k;
            // As in the field that is shown first; the rows of the other field are made from it.
            EXPECT_GT(row[1], 150) << k << ", row " << y;
            EXPECT_LT(row[10], 90) << k << ", row " << y;
        }
    }
    EXPECT_FALSE(deinterlacer.Pull());
}

TEST_F(VideoReaderTest, PassesOnBuffersThatNeedNoChange) {
    struct Case {
        char const* what;
        AVPixelFormat format;
        ColorSpec spec;
        AVRational aspect;
        ColorSpec target;
        bool passes;
    };
    for (Case const& c : {Case{"the same", AV_PIX_FMT_YUV420P, kBt601, {0, 1}, kBt601, true},
                          {"the full-range twin", AV_PIX_FMT_YUVJ420P, kBt601, {0, 1}, kBt601Full, true},
                          {"another range", AV_PIX_FMT_YUVJ420P, kBt601, {0, 1}, kBt601, false},
                          {"another matrix", AV_PIX_FMT_YUV420P, kBt709, {0, 1}, kBt601, false},
                          {"another shape", AV_PIX_FMT_YUV420P, kBt601, {2, 1}, kBt601, false}}) {
        Proc::AvFramePtr const picture = MakePicture({64, 48, 1, 1}, {100, 110, 120});
        picture->format = c.format;
        picture->sample_aspect_ratio = c.aspect;
        Proc::SetColorSpec(*picture, c.spec);
        Proc::AvFramePtr const result = Conformer("test", Target(64, 48, {30, 1}, c.target)).Convert(*picture);
        EXPECT_EQ(result->data[0] == picture->data[0], c.passes) << c.what;
        EXPECT_EQ(result->format, AV_PIX_FMT_YUV420P) << c.what;
    }
    VideoReader doubled(Make("clip.mkv", {.frames = 4}), Target(128, 96, {60, 1}));
    Proc::AvFramePtr const first = doubled.Read();
    EXPECT_EQ(doubled.Read()->data[0], first->data[0]) << "a repeated picture is one picture";
    EXPECT_NE(doubled.Read()->data[0], first->data[0]);
}

TEST_F(VideoReaderTest, HoldsTheLastGoodPictureOverDamage) {
    // Each picture stands for itself.
    std::string const good =
        Make("good.mkv", {.frameRate = {30000, 1001}, .frames = 20, .colorSpec = kBt601Full, .codec = "mjpeg"});
    int number = 0;
    std::string const path = Remux(good, "clip.mkv", [&](AVPacket& packet, AVStream const& stream) {
        bool const isDamaged = number >= 7 && number < 10;
        ++number;
        return !isDamaged || Blank(packet, stream);
    });
    std::vector<std::string> warnings;
    VideoReader reader(path, Target(64, 48, {30000, 1001}, kBt601Full), {},
                       [&](std::string const& text) { warnings.push_back(text); });
    EXPECT_THAT(ReadFrames(reader, 20),
                ElementsAre(0, 1, 2, 3, 4, 5, 6, 6, 6, 6, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19));
    EXPECT_THAT(warnings, ElementsAre(HasSubstr("clip.mkv: damaged from 0.23 s")));
    EXPECT_EQ(av_cmp_q(Probe(path).frameRate, {30000, 1001}), 0) << "from times of whole milliseconds";
    EXPECT_THROW(VideoReader(Remux(good, "none.mkv", Blank), Target(64, 48)), MediaError);
}

TEST_F(VideoReaderTest, ProbeFindsWhereACutOffFileEnds) {
    for (char const* const name : {"clip.mp4", "clip.mkv"}) {
        std::string const path =
            Make(name, {.frame = {320, 240, 1, 1}, .frames = 90, .draw = DrawNoise, .codec = "mjpeg"});
        MediaInfo const whole = Probe(path);
        EXPECT_NEAR(static_cast<double>(whole.duration.count()), 3e6, 2e3) << name;
        EXPECT_FALSE(whole.declaredDuration) << name;
        Truncate(path, 0.5);
        MediaInfo const half = Probe(path);
        EXPECT_NEAR(static_cast<double>(half.duration.count()), 1.5e6, 5e4) << name;
        ASSERT_TRUE(half.declaredDuration) << name;
        EXPECT_NEAR(static_cast<double>(half.declaredDuration->count()), 3e6, 2e4) << name;
    }
}

TEST_F(VideoReaderTest, SaysWhatIsWrongWithAFile) {
    std::string noise(20000, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i) {
        noise[i] = static_cast<char>((i * 2654435761U) >> 13U);
    }
    Remux(Make("both.mkv", {.sound = SoundFormat{}}), "sound.mkv",
          [](AVPacket&, AVStream const& s) { return s.codecpar->codec_type == AVMEDIA_TYPE_AUDIO; });
    struct Case {
        char const* name;
        std::optional<std::string> content;
        char const* message;
    };
    for (Case const& c : {Case{"missing.mp4", {}, "missing.mp4: no such file"},
                          {"empty.mp4", "", "empty.mp4: is empty"},
                          {"notes.txt", std::string(500, 'n'), "not a video or picture that can be read (it is text)"},
                          {"noise.mp4", noise, "noise.mp4: not a video or picture that can be read ("},
                          {"noise.png", noise, "noise.png: "},
                          {"noise.mkv", noise, "noise.mkv: "},
                          {"sound.mkv", {}, "sound.mkv: "},
                          {".", {}, "is a directory"}}) {
        if (c.content) {
            std::ofstream(At(c.name), std::ios::binary) << *c.content;
        }
        std::string const what = Catch<MediaError>([&] { Probe(At(c.name)); }).what;
        EXPECT_THAT(what, AllOf(HasSubstr(c.message), Not(HasSubstr("\n"))));
    }
}

}  // namespace
}  // namespace Kaltor::Media::Tests
