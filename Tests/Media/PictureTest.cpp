#include "Media/Conformer.h"
#include "Media/Ffmpeg.h"
#include "Media/Picture.h"
#include "MediaTest.h"
#include "Tests/Support/Picture.h"

extern "C" {
#include <libavutil/display.h>
}

namespace Kaltor::Media::Tests {
namespace {

using Bytes = std::vector<std::uint8_t>;
using PictureTest = MediaTest;

/// A still whose rows are written by `fill(row, y)`, plane by plane, encoded.
Bytes Encode(AVCodecID id, AVPixelFormat format, int width, int height,
             std::function<void(AVFrame& frame, int y)> const& fill, AVRational aspect = {1, 1}) {
    Proc::AvFramePtr const frame = Proc::MakeAvFrame();
    CodecContextPtr const codec(avcodec_alloc_context3(avcodec_find_encoder(id)));
    frame->format = codec->pix_fmt = format;
    frame->width = codec->width = width;
    frame->height = codec->height = height;
    codec->sample_aspect_ratio = aspect;
    codec->time_base = {1, 1};
    av_frame_get_buffer(frame.get(), 0);
    for (int y = 0; y < height; ++y) {
        fill(*frame, y);
    }
    PacketPtr const packet = MakePacket();
    if (avcodec_open2(codec.get(), nullptr, nullptr) < 0 || avcodec_send_frame(codec.get(), frame.get()) < 0 ||
        avcodec_send_frame(codec.get(), nullptr) < 0 || avcodec_receive_packet(codec.get(), packet.get()) < 0) {
        ADD_FAILURE() << "no " << avcodec_get_name(id);
        return {};
    }
    return {packet->data, packet->data + packet->size};
}

TEST_F(PictureTest, WebpEndsWhereItsHeadSaysAndDamageDoesNotEndTheProgram) {
    Bytes const plain = Encode(AV_CODEC_ID_WEBP, AV_PIX_FMT_YUV420P, 16, 16, [](AVFrame& frame, int y) {
        for (int plane = 0; plane < 3; ++plane) {
            int const rows = plane == 0 ? 16 : 8;
            std::fill_n(frame.data[plane] + (y % rows) * frame.linesize[plane], rows, 100 + plane);
        }
    });
    // A part of an impossible size. FFmpeg's threads would end the program at it.
    Bytes inside = plain;
    inside.insert(inside.end(), 200, 0xFF);
    Bytes const behind = inside;
    std::size_t const size = inside.size() - 8;
    for (unsigned byte = 0; byte < 4; ++byte) {
        inside[4 + byte] = static_cast<std::uint8_t>(size >> 8 * byte);
    }
    Picture const expected = Picture::FromFrame(*DecodePicture(plain, "plain"));
    EXPECT_TRUE(IsNear(Picture::FromFrame(*DecodePicture(behind, "behind")), expected, 0.0));
    try {
        EXPECT_TRUE(IsNear(Picture::FromFrame(*DecodePicture(inside, "inside")), expected, 0.0));
    } catch (MediaError const&) {  // versions of FFmpeg differ in whether they hand out the picture
    }
}

TEST_F(PictureTest, ReportsWhatFfmpegEndsTheProgramFor) {
    CaptureFfmpegLog();
    testing::internal::CaptureStderr();
    av_log(nullptr, AV_LOG_ERROR, "an error\n");
    av_log(nullptr, AV_LOG_PANIC, "Assertion %s failed\n", "a > b");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "kaltor: a fault in FFmpeg ends the program: Assertion a > b failed\n");
    ClearFfmpegLog();
}

TEST_F(PictureTest, BringsEveryStorageToRgb) {
    struct Case {
        AVPixelFormat format;
        Bytes texel;
        std::uint32_t entry;  ///< of the palette, at 3
        Rgba expected;        ///< steps of 8 bits
        bool hasAlpha;
    };
    for (Case const& c : {Case{AV_PIX_FMT_RGB48BE, {200, 16, 100, 16, 50, 16}, 0, {200, 100, 50, 255}, false},
                          {AV_PIX_FMT_GRAY8, {240}, 0, {240, 240, 240, 255}, false},  // grey is full range
                          {AV_PIX_FMT_YA8, {160, 80}, 0, {160, 160, 160, 80}, true},
                          {AV_PIX_FMT_PAL8, {3}, 0xFFB42010U, {180, 32, 16, 255}, false},
                          {AV_PIX_FMT_PAL8, {3}, 0x40FFFFFFU, {255, 255, 255, 64}, true}}) {
        Bytes const file = Encode(AV_CODEC_ID_PNG, c.format, 5, 3, [&](AVFrame& frame, int y) {
            for (std::size_t i = 0; i < 5 * c.texel.size(); ++i) {
                frame.data[0][y * frame.linesize[0] + static_cast<int>(i)] = c.texel[i % c.texel.size()];
            }
            if (c.format == AV_PIX_FMT_PAL8) {
                auto* const entries = reinterpret_cast<std::uint32_t*>(frame.data[1]);
                std::fill_n(entries, 256, 0xFF000000U);
                entries[3] = c.entry;
            }
        });
        boost::intrusive_ptr<Proc::DataVideoFF> const picture = DecodePicture(file, "storage");
        EXPECT_EQ(picture->GetPixFmt(), c.hasAlpha ? PixFmt::Rgba : PixFmt::Rgb24) << c.format;
        Rgba expected = c.expected;
        for (double& channel : expected) {
            channel /= 255.0;
        }
        EXPECT_TRUE(IsNear(Picture::FromFrame(*picture), Picture::Flat(5, 3, expected), 0.0)) << c.format;
    }
}

TEST_F(PictureTest, ReadsJpegUprightWithItsOwnMatrix) {
    // BT.601, full range: red is (76, 85, 255). The left half is red, the right one black. Pixels are 4:3.
    Bytes const plain = Encode(AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P, 32, 16,
                               [](AVFrame& frame, int y) {
                                   for (int x = 0; x < 32; ++x) {
                                       frame.data[0][y * frame.linesize[0] + x] = x < 16 ? 76 : 0;
                                       frame.data[1][y * frame.linesize[1] + x] = x < 16 ? 85 : 128;
                                       frame.data[2][y * frame.linesize[2] + x] = x < 16 ? 255 : 128;
                                   }
                               },
                               {4, 3});
    // Orientation: 1 as stored, 6 the top is at the right side.
    struct Case {
        std::uint8_t orientation;
        Conf::FrameInfo frame;
        bool isRedFirst;  ///< on the left, or on top
    };
    for (Case const& c : {Case{1, {32, 16, 4, 3}, true}, {6, {16, 32, 3, 4}, true}}) {
        Bytes const exif{0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'M', 'M',           0, 42, 0, 0, 0, 8,
                         0,    1,    1, 18, 0,   3,   0,   0,   0, 1, 0,   c.orientation, 0, 0,  0, 0, 0, 0};
        Bytes file = plain;
        file.insert(file.begin() + 2, exif.begin(), exif.end());
        boost::intrusive_ptr<Proc::DataVideoFF> const picture = DecodePicture(file, "photo.jpg");
        EXPECT_EQ(picture->GetFrameInfo(), c.frame) << static_cast<int>(c.orientation);
        Picture const expected = Picture::Make(c.frame.width, c.frame.height, false, [&](unsigned x, unsigned y) {
            return ((c.frame.width == 32 ? x : y) < 16) == c.isRedFirst ? Rgba{1, 0, 0, 1} : Rgba{0, 0, 0, 1};
        });
        EXPECT_TRUE(IsNear(Picture::FromFrame(*picture), expected, 4.0 / 255.0)) << static_cast<int>(c.orientation);
        // As a clip.
        std::ofstream(At("photo.jpg"), std::ios::binary)
            .write(reinterpret_cast<char const*>(file.data()), static_cast<std::streamsize>(file.size()));
        EXPECT_EQ(Probe(At("photo.jpg")).frame, c.frame) << static_cast<int>(c.orientation);
        VideoTarget target;
        target.keepsSize = true;
        EXPECT_EQ(Proc::GetFrameInfo(*VideoReader(At("photo.jpg"), target).Read()), c.frame)
            << static_cast<int>(c.orientation);
    }
}

TEST_F(PictureTest, TurnsAsEveryExifNumberAndEveryDisplayMatrixSays) {
    struct Case {
        int clockwise;
        bool isMirrored;                 ///< left and right, after it is turned
        bool isFromRight, isFromBottom;  ///< where the first shown row and column are read, in what is stored
    };
    Picture const stored = Picture::Corners(6, 4);
    int number = 0;
    for (Case const& c : {Case{0, false, false, false},
                          {0, true, true, false},
                          {180, false, true, true},
                          {180, true, false, true},
                          {90, true, false, false},
                          {90, false, false, true},
                          {270, true, true, true},
                          {270, false, true, false}}) {
        bool const isTurned = c.clockwise % 180 != 0;
        Picture const expected = Picture::Make(isTurned ? 4 : 6, isTurned ? 6 : 4, false, [&](unsigned x, unsigned y) {
            unsigned const u = isTurned ? y : x;
            unsigned const v = isTurned ? x : y;
            return stored.At(c.isFromRight ? 5 - u : u, c.isFromBottom ? 3 - v : v);
        });
        Proc::AvFramePtr const frame = stored.ToFrame()->Share();
        av_dict_set_int(&frame->metadata, "Orientation", ++number, 0);  // of decoders that hand on the number only
        std::int32_t matrix[9];
        av_display_rotation_set(matrix, c.clockwise);
        av_display_matrix_flip(matrix, c.isMirrored ? 1 : 0, 0);
        VideoTarget const target{{expected.width, expected.height, 1, 1}, {1, 1}, {}, PixFmt::Rgb24};
        for (Orientation const& orientation : {Orientation::Of(*frame), Orientation::FromMatrix(matrix)}) {
            Proc::AvFramePtr upright = Conformer("photo", target).Convert(*frame, orientation);
            EXPECT_TRUE(IsNear(Picture::FromFrame(*Proc::DataVideoFF::Wrap(std::move(upright))), expected, 0.0))
                << number;
            EXPECT_EQ(orientation.rotation, c.isMirrored && !isTurned ? 0 : c.clockwise) << number;
        }
    }
}

TEST_F(PictureTest, WritesPngAsItIs) {
    for (bool const hasAlpha : {false, true}) {
        for (std::uint32_t const width : {1U, 7U, 64U}) {
            Picture const picture = Picture::Noise(width, 5, hasAlpha);
            WritePng(At("out.png"), *picture.ToFrame(), true);
            Picture const again = Picture::FromFrame(*ReadPicture(At("out.png")));
            EXPECT_EQ(again.hasAlpha, hasAlpha);
            EXPECT_TRUE(IsNear(again, picture, 0.0));
        }
    }
    EXPECT_THAT(ListFolder(), testing::ElementsAre("out.png")) << "no partial file stays";
}

TEST_F(PictureTest, StillsAreEndlessAndComposedOverBlack) {
    Picture const still = Picture::Make(64, 48, true, [](unsigned x, unsigned) {
        return Rgba{1, 1, 1, x < 32 ? 1.0 : 128.0 / 255.0};
    });
    WritePng(At("still.png"), *still.ToFrame(), false);
    EXPECT_TRUE(Probe(At("still.png")).isStill);
    VideoReader reader(At("still.png"), {{64, 48, 1, 1}, {30, 1}, {ColorMatrix::Bt601, ColorRange::Limited}});
    Proc::AvFramePtr const first = reader.Read();
    auto const expected = [](double x, double) { return Grey(x < 32 ? 235.0 : 16.0 + 219.0 * 128.0 / 255.0); };
    EXPECT_TRUE(Shows(*first, expected, 1));
    for (int k = 1; k < 500; ++k) {
        Proc::AvFramePtr const picture = reader.Read();
        ASSERT_EQ(picture->data[0], first->data[0]);
        ASSERT_EQ(picture->pts, k);
    }
    EXPECT_FALSE(reader.IsAtEnd());
}

TEST_F(PictureTest, RefusesClearly) {
    boost::intrusive_ptr<Proc::DataVideoFF> const picture = Picture(8, 8).ToFrame();
    WritePng(At("out.png"), *picture, false);
    Bytes half = EncodePng(*picture);
    half.resize(half.size() / 2);
    Bytes thin = EncodeJpeg(*picture);
    constexpr std::array<std::uint8_t, 2> kStartOfFrame{0xFF, 0xC0};
    auto const frame = std::search(thin.begin(), thin.end(), kStartOfFrame.begin(), kStartOfFrame.end());
    ASSERT_GT(thin.end() - frame, 9);
    std::fill_n(frame + 7, 2, std::uint8_t{0});  // its width
    for (auto const& [action, message] : std::initializer_list<std::pair<std::function<void()>, char const*>>{
             {[&] { WritePng(At("out.png"), *picture, false); }, "out.png: exists already"},
             {[&] { WritePng(At("none/out.png"), *picture, false); }, "there is no folder"},
             {[&] { WritePng(folder.string(), *picture, true); }, "is a directory"},
             {[&] { ReadPicture(At("out.png"), 7); }, "8x8 is too large"},
             {[&] { ReadPicture(At("none.png")); }, "none.png: no such file"},
             {[&] { DecodePicture({}, "-"); }, "-: is empty"},
             {[&] { DecodePicture(Bytes(5000, 'x'), "-"); }, "-: not a"},
             {[&] { DecodePicture(half, "half.png"); }, "half.png: "},
             {[&] { DecodePicture(thin, "thin.jpg"); }, "thin.jpg: is damaged"}}) {
        EXPECT_THAT(Catch<MediaError>(action).what, HasSubstr(message));
    }
}

}  // namespace
}  // namespace Kaltor::Media::Tests
