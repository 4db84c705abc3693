#include <cmath>
#include <fstream>

#include <gmock/gmock.h>

#include "Media/Conformer.h"
#include "Media/Picture.h"
#include "MediaTest.h"

extern "C" {
#include <libavutil/display.h>
}

namespace Kaltor::Media::Tests {
namespace {

using VideoReaderTest = MediaTest;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr ColorSpec kBt601{ColorMatrix::Bt601, ColorRange::Limited};
constexpr ColorSpec kBt709{ColorMatrix::Bt709, ColorRange::Limited};

VideoTarget Target(std::uint32_t width, std::uint32_t height, AVRational rate = {30, 1}, ColorSpec spec = kBt601) {
    return {{width, height, 1, 1}, rate, spec, PixFmt::Yuv420p};
}

/// Which frame of a clip with `LumaOf` this is.
int FrameOf(AVFrame const& picture) {
    double const luma = MeanOf(picture, 0);
    int best = 0;
    for (int k = 0; k < 28; ++k) {  // lumas repeat after that
        best = std::abs(LumaOf(k) - luma) < std::abs(LumaOf(best) - luma) ? k : best;
    }
    return best;
}

TEST_F(VideoReaderTest, StartsAtExactlyTheFrame) {
    // Long groups of pictures with B frames: a seek lands far before the wanted frame.
    for (AVRational const rate : {AVRational{30, 1}, AVRational{30000, 1001}, AVRational{24, 1}}) {
        ClipSpec spec;
        spec.frames = 120;
        spec.frameRate = rate;
        spec.color = [](int k) { return Yuv{30 + k, 128, 128}; };
        spec.codec = "libx264";
        for (char const* const name : {"clip.mp4", "clip.mkv", "clip.ts"}) {
            MakeClip(At(name), spec);
            for (int const first : {0, 1, 29, 31, 75, 119}) {
                Microseconds const start(std::llround(first * 1e6 * rate.den / rate.num));
                VideoReader reader(At(name), Target(64, 48, rate), start);
                EXPECT_NEAR(MeanOf(*reader.Read(), 0), 30 + first, 0.7) << name << " at " << first;
                EXPECT_NEAR(MeanOf(*reader.Read(), 0), 30 + std::min(first + 1, 119), 0.7) << name << " at " << first;
            }
        }
    }
}

TEST_F(VideoReaderTest, ConvertsTheRateEvenly) {
    struct Case {
        AVRational from, to;
        std::vector<int> expected;
    };
    Case const cases[] = {
        {{60, 1}, {30, 1}, {0, 2, 4, 6, 8, 10, 12, 14}},
        {{30, 1}, {60, 1}, {0, 0, 1, 1, 2, 2, 3, 3}},
        {{24, 1}, {30, 1}, {0, 1, 1, 2, 3, 4, 5, 5}},
        {{30, 1}, {30, 1}, {0, 1, 2, 3, 4, 5, 6, 7}},
        {{60000, 1001}, {30000, 1001}, {0, 2, 4, 6, 8, 10, 12, 14}},
    };
    for (Case const& c : cases) {
        ClipSpec spec;
        spec.frameRate = c.from;
        spec.frames = 28;
        MakeClip(At("clip.mkv"), spec);  // whose timestamps are rounded to milliseconds
        VideoReader reader(At("clip.mkv"), Target(64, 48, c.to));
        std::vector<int> found;
        while (found.size() < c.expected.size()) {
            Proc::AvFramePtr const picture = reader.Read();
            EXPECT_EQ(picture->pts, static_cast<std::int64_t>(found.size()));
            found.push_back(FrameOf(*picture));
        }
        EXPECT_EQ(found, c.expected) << av_q2d(c.from) << " to " << av_q2d(c.to);
    }
}

TEST_F(VideoReaderTest, FollowsVariableTimestamps) {
    ClipSpec spec;
    spec.frames = 10;
    MakeClip(At("even.mkv"), spec);
    // Frames 5 to 9 are late by a second: frame 4 stands that long.
    Remux(At("even.mkv"), At("clip.mkv"), [](AVPacket& packet, AVStream const&) {
        std::int64_t const shift = packet.pts > 150 ? 1000 : 0;
        packet.pts += shift;
        packet.dts += shift;
        return true;
    });
    VideoReader reader(At("clip.mkv"), Target(64, 48));
    for (int k = 0; k < 40; ++k) {
        EXPECT_EQ(FrameOf(*reader.Read()), k < 5 ? k : k < 35 ? 4 : k - 30) << "picture " << k;
    }
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_NEAR(std::chrono::duration<double>(Probe(At("clip.mkv")).duration).count(), 40 / 30.0, 0.002);
}

TEST_F(VideoReaderTest, TurnsAsTheDisplayMatrixSays) {
    ClipSpec spec;
    spec.frames = 3;
    spec.pixelAspectX = 4;
    spec.pixelAspectY = 3;
    spec.draw = [](AVFrame& picture, int) {  // a white corner at the top left
        for (int y = 0; y < 16; ++y) {
            std::fill_n(picture.data[0] + std::ptrdiff_t{y} * picture.linesize[0], 16, std::uint8_t{235});
        }
    };
    spec.color = [](int) { return Yuv{40, 128, 128}; };
    spec.codec = "libx264";
    MakeClip(At("plain.mp4"), spec);
    struct Case {
        int clockwise;
        bool isMirrored;  ///< left and right, after it is turned
        bool isRight, isBottom;
    };
    Case const cases[] = {{0, false, false, false},  {90, false, true, false}, {180, false, true, true},
                          {270, false, false, true}, {0, true, true, false},   {90, true, false, false},
                          {180, true, false, true},  {270, true, true, true}};
    for (Case const& c : cases) {
        std::int32_t matrix[9];
        av_display_rotation_set(matrix, c.clockwise);
        av_display_matrix_flip(matrix, c.isMirrored ? 1 : 0, 0);
        Remux(At("plain.mp4"), At("clip.mp4"), nullptr, matrix);
        bool const isPortrait = c.clockwise % 180 != 0;
        MediaInfo const info = Probe(At("clip.mp4"));
        EXPECT_EQ(info.frame, isPortrait ? (Conf::FrameInfo{48, 64, 3, 4}) : (Conf::FrameInfo{64, 48, 4, 3}));
        VideoReader reader(At("clip.mp4"), {info.frame, {30, 1}, kBt601, PixFmt::Yuv420p});
        Proc::AvFramePtr const picture = reader.Read();
        auto const corner = [&](bool isRight, bool isBottom) {
            return ColorAt(*picture, isRight ? picture->width - 6 : 6, isBottom ? picture->height - 6 : 6).y;
        };
        for (int i = 0; i < 4; ++i) {
            bool const isIt = (i % 2 == 1) == c.isRight && (i / 2 == 1) == c.isBottom;
            EXPECT_NEAR(corner(i % 2 == 1, i / 2 == 1), isIt ? 235 : 40, 8)
                << c.clockwise << (c.isMirrored ? " mirrored" : "") << " corner " << i;
        }
    }
}

TEST_F(VideoReaderTest, KeepsTheAspectWithBlackBars) {
    struct Case {
        std::uint32_t width, height, aspectX, aspectY;  ///< of the clip
        std::uint32_t targetWidth, targetHeight;
        int left, top;  ///< expected bars
    };
    Case const cases[] = {{64, 64, 1, 1, 128, 64, 32, 0},
                          {64, 32, 1, 1, 64, 64, 0, 16},
                          {32, 64, 2, 1, 128, 64, 32, 0},  // wide pixels make it a square
                          {64, 48, 1, 1, 128, 96, 0, 0},
                          {64, 48, 1, 1, 126, 96, 0, 0}};  // no bars of a pixel
    for (ColorRange const range : {ColorRange::Limited, ColorRange::Full}) {
        for (Case const& c : cases) {
            ClipSpec spec;
            spec.width = c.width;
            spec.height = c.height;
            spec.pixelAspectX = c.aspectX;
            spec.pixelAspectY = c.aspectY;
            spec.frames = 2;
            spec.colorSpec = {ColorMatrix::Bt601, range};
            spec.color = [](int) { return Yuv{200, 90, 150}; };
            MakeClip(At("clip.mkv"), spec);
            VideoReader reader(At("clip.mkv"), Target(c.targetWidth, c.targetHeight, {30, 1}, spec.colorSpec));
            Proc::AvFramePtr const picture = reader.Read();
            Yuv const black{range == ColorRange::Full ? 0 : 16, 128, 128};
            int const right = picture->width - c.left;
            int const bottom = picture->height - c.top;
            for (int y = 0; y < picture->height; ++y) {
                for (int x = 0; x < picture->width; ++x) {
                    bool const isInside = x >= c.left && x < right && y >= c.top && y < bottom;
                    Yuv const found = ColorAt(*picture, x, y);
                    Yuv const expected = isInside ? Yuv{200, 90, 150} : black;
                    ASSERT_TRUE(std::abs(found.y - expected.y) <= 1 && std::abs(found.u - expected.u) <= 1 &&
                                std::abs(found.v - expected.v) <= 1)
                        << c.width << "x" << c.height << " at " << x << "," << y << ": " << found.y << " " << found.u
                        << " " << found.v;
                }
            }
        }
    }
}

TEST_F(VideoReaderTest, BringsColorsToTheTargetsMatrixAndRange) {
    auto const toYuv = [](ColorSpec const& spec) {
        ColorTransform const t = RgbToYuv(spec);
        auto const code = [&t](std::size_t i) {
            double const level = t.offset[i] + t.matrix[i][0] * 0.8 + t.matrix[i][1] * 0.25 + t.matrix[i][2] * 0.4;
            return static_cast<int>(std::lround(level * 255.0));
        };
        return Yuv{code(0), code(1), code(2)};
    };
    ColorSpec const specs[] = {
        kBt601, kBt709, {ColorMatrix::Bt601, ColorRange::Full}, {ColorMatrix::Bt2020, ColorRange::Limited}};
    for (ColorSpec const& from : specs) {
        ClipSpec spec;
        spec.frames = 2;
        spec.colorSpec = from;
        spec.color = [&](int) { return toYuv(from); };
        MakeClip(At("clip.mkv"), spec);
        EXPECT_EQ(Probe(At("clip.mkv")).colorSpec, from);
        for (ColorSpec const& to : specs) {
            VideoReader reader(At("clip.mkv"), Target(64, 48, {30, 1}, to));
            Proc::AvFramePtr const picture = reader.Read();
            Yuv const found = ColorAt(*picture, 30, 20);
            Yuv const expected = toYuv(to);
            // Two roundings to 8 bits and the scaler's fixed-point arithmetic.
            EXPECT_NEAR(found.y, expected.y, 2);
            EXPECT_NEAR(found.u, expected.u, 2);
            EXPECT_NEAR(found.v, expected.v, 2);
            EXPECT_EQ(Proc::GetColorSpec(*picture), to);
        }
    }
}

TEST_F(VideoReaderTest, PassesOnBuffersThatNeedNoChange) {
    Conformer conformer("test", Target(64, 48));
    Proc::AvFramePtr const picture = MakePicture(64, 48, {100, 110, 120});
    Proc::SetColorSpec(*picture, kBt601);
    EXPECT_EQ(conformer.Convert(*picture)->data[0], picture->data[0]);
    // The full-range twin differs by its name only.
    picture->format = AV_PIX_FMT_YUVJ420P;
    Conformer full("test", Target(64, 48, {30, 1}, {ColorMatrix::Bt601, ColorRange::Full}));
    Proc::AvFramePtr const same = full.Convert(*picture);
    EXPECT_EQ(same->data[0], picture->data[0]);
    EXPECT_EQ(same->format, AV_PIX_FMT_YUV420P);
    EXPECT_NE(conformer.Convert(*picture)->data[0], picture->data[0]);  // another range
    picture->format = AV_PIX_FMT_YUV420P;
    Proc::SetColorSpec(*picture, kBt709);
    EXPECT_NE(conformer.Convert(*picture)->data[0], picture->data[0]);  // another matrix
    Proc::SetColorSpec(*picture, kBt601);
    picture->sample_aspect_ratio = {2, 1};
    EXPECT_NE(conformer.Convert(*picture)->data[0], picture->data[0]);  // another shape

    ClipSpec spec;
    spec.frames = 4;
    MakeClip(At("clip.mkv"), spec);
    VideoReader doubled(At("clip.mkv"), Target(128, 96, {60, 1}));
    Proc::AvFramePtr const first = doubled.Read();
    EXPECT_EQ(doubled.Read()->data[0], first->data[0]) << "a repeated picture is one picture";
    EXPECT_NE(doubled.Read()->data[0], first->data[0]);
}

TEST_F(VideoReaderTest, StillsAreEndlessAndComposedOverBlack) {
    auto const still = Proc::DataVideoFF::Create(PixFmt::Rgba, {64, 48, 1, 1});
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
            std::uint8_t* const p = still->GetWritableFrame().data[0] + y * still->GetFrame().linesize[0] + x * 4;
            p[0] = p[1] = p[2] = 255;
            p[3] = x < 32 ? 255 : 128;
        }
    }
    WritePng(At("still.png"), *still, false);
    EXPECT_TRUE(Probe(At("still.png")).isStill);
    VideoReader reader(At("still.png"), Target(64, 48));
    Proc::AvFramePtr const first = reader.Read();
    EXPECT_NEAR(ColorAt(*first, 8, 24).y, 235, 1);
    EXPECT_NEAR(ColorAt(*first, 56, 24).y, 16 + 219 * 128 / 255, 1);
    for (int k = 1; k < 500; ++k) {
        Proc::AvFramePtr const picture = reader.Read();
        ASSERT_EQ(picture->data[0], first->data[0]);
        ASSERT_EQ(picture->pts, k);
    }
    EXPECT_FALSE(reader.IsAtEnd());
}

TEST_F(VideoReaderTest, HoldsTheLastGoodPictureOverDamage) {
    ClipSpec spec;
    spec.frames = 20;
    spec.codec = "mjpeg";  // each picture stands for itself
    spec.colorSpec = {ColorMatrix::Bt601, ColorRange::Full};
    MakeClip(At("good.mkv"), spec);
    int number = 0;
    Remux(At("good.mkv"), At("clip.mkv"), [&](AVPacket& packet, AVStream const&) {
        if (number >= 7 && number < 10) {
            std::fill_n(packet.data, packet.size, std::uint8_t{0});
        }
        ++number;
        return true;
    });
    std::vector<std::string> warnings;
    MediaInfo const info = Probe(At("clip.mkv"));
    VideoReader reader(At("clip.mkv"), {info.frame, {30, 1}, info.resolvedColorSpec, PixFmt::Yuv420p}, {},
                       [&](std::string const& text) { warnings.push_back(text); });
    for (int k = 0; k < 20; ++k) {
        EXPECT_EQ(FrameOf(*reader.Read()), k >= 7 && k < 10 ? 6 : k) << "picture " << k;
    }
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_THAT(warnings[0], HasSubstr("clip.mkv: damaged from 0.23 s"));

    // Nothing at all that could be shown.
    Remux(At("good.mkv"), At("none.mkv"), [](AVPacket& packet, AVStream const&) {
        std::fill_n(packet.data, packet.size, std::uint8_t{0});
        return true;
    });
    EXPECT_THROW(VideoReader(At("none.mkv"), Target(64, 48)), MediaError);
}

TEST_F(VideoReaderTest, ProbeFindsWhereACutOffFileEnds) {
    ClipSpec spec;
    spec.frames = 90;
    spec.width = 320;
    spec.height = 240;
    spec.draw = DrawNoise;
    spec.codec = "mjpeg";
    for (char const* const name : {"clip.mp4", "clip.mkv"}) {
        MakeClip(At(name), spec);
        MediaInfo const whole = Probe(At(name));
        EXPECT_NEAR(static_cast<double>(whole.duration.count()), 3e6, 2e3) << name;
        EXPECT_FALSE(whole.declaredDuration) << name;
        Truncate(At(name), 0.5);
        MediaInfo const half = Probe(At(name));
        EXPECT_NEAR(static_cast<double>(half.duration.count()), 1.5e6, 5e4) << name;
        ASSERT_TRUE(half.declaredDuration) << name;
        EXPECT_NEAR(static_cast<double>(half.declaredDuration->count()), 3e6, 2e4) << name;
    }
}

TEST_F(VideoReaderTest, SaysWhatIsWrongWithAFile) {
    auto const write = [&](char const* name, std::string const& content) {
        std::ofstream(At(name), std::ios::binary) << content;
    };
    std::string noise(20000, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i) {
        noise[i] = static_cast<char>((i * 2654435761U) >> 13U);
    }
    write("empty.mp4", "");
    write("notes.txt", "These are some notes.\nThey are no video.\n");
    write("noise.mp4", noise);
    write("noise.png", noise);
    write("noise.mkv", noise);
    ClipSpec spec;
    spec.sound = SoundFormat{};
    MakeClip(At("both.mkv"), spec);
    Remux(At("both.mkv"), At("sound.mkv"),
          [](AVPacket&, AVStream const& s) { return s.codecpar->codec_type == AVMEDIA_TYPE_AUDIO; });
    std::pair<char const*, char const*> const cases[] = {
        {"missing.mp4", "missing.mp4: no such file"},
        {"empty.mp4", "empty.mp4: is empty"},
        {"notes.txt", "notes.txt: not a video or picture that can be read ("},
        {"noise.mp4", "noise.mp4: not a video or picture that can be read ("},
        {"noise.png", "noise.png: "},
        {"noise.mkv", "noise.mkv: "},
        {"sound.mkv", "sound.mkv: "},
        {".", "is a directory"},
    };
    for (auto const& [name, text] : cases) {
        try {
            Probe(At(name));
            ADD_FAILURE() << name << " was taken for a clip";
        } catch (MediaError const& error) {
            EXPECT_THAT(error.what(), AllOf(HasSubstr(text), Not(HasSubstr("\n"))));
        }
    }
}

}  // namespace
}  // namespace Kaltor::Media::Tests
