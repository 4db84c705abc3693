#include <cstdio>
#include <fstream>
#include <iterator>

#include "Media/Ffmpeg.h"
#include "Media/Picture.h"
#include "MediaTest.h"

namespace Kaltor::Media::Tests {
namespace {

class PictureTest : public MediaTest {
protected:
    using Bytes = std::vector<std::uint8_t>;

    /// One picture, encoded as a still of some format.
    static Bytes Encode(AVCodecID id, AVFrame& frame) {
        CodecContextPtr const codec(avcodec_alloc_context3(avcodec_find_encoder(id)));
        codec->width = frame.width;
        codec->height = frame.height;
        codec->pix_fmt = static_cast<AVPixelFormat>(frame.format);
        codec->color_range = frame.color_range;
        codec->time_base = {1, 1};
        PacketPtr const packet = MakePacket();
        if (avcodec_open2(codec.get(), nullptr, nullptr) < 0 || avcodec_send_frame(codec.get(), &frame) < 0 ||
            avcodec_send_frame(codec.get(), nullptr) < 0 || avcodec_receive_packet(codec.get(), packet.get()) < 0) {
            ADD_FAILURE() << "no " << avcodec_get_name(id);
            return {};
        }
        return {packet->data, packet->data + packet->size};
    }

    static Proc::AvFramePtr Allocate(AVPixelFormat format, int width, int height) {
        Proc::AvFramePtr frame = Proc::MakeAvFrame();
        frame->format = format;
        frame->width = width;
        frame->height = height;
        av_frame_get_buffer(frame.get(), 0);
        return frame;
    }

    static std::vector<int> PixelAt(Proc::DataVideoFF const& picture, int x, int y) {
        int const size = picture.GetPixFmt() == PixFmt::Rgba ? 4 : 3;
        std::uint8_t const* const p =
            picture.GetFrame().data[0] + std::ptrdiff_t{y} * picture.GetFrame().linesize[0] + x * size;
        return {p, p + size};
    }
};

TEST_F(PictureTest, BringsEveryStorageToRgb) {
    auto const rgb48 = Allocate(AV_PIX_FMT_RGB48BE, 5, 3);
    for (int y = 0; y < 3; ++y) {
        for (int i = 0; i < 15; ++i) {
            std::uint8_t* const p = rgb48->data[0] + y * rgb48->linesize[0] + i * 2;
            p[0] = static_cast<std::uint8_t>(i % 3 == 0 ? 200 : i % 3 == 1 ? 100 : 50);
            p[1] = 0x10;
        }
    }
    auto picture = DecodePicture(Encode(AV_CODEC_ID_PNG, *rgb48), "16 bit");
    EXPECT_EQ(picture->GetPixFmt(), PixFmt::Rgb24);
    EXPECT_EQ(picture->GetFrameInfo().width, 5U);
    EXPECT_EQ(PixelAt(*picture, 4, 2), (std::vector<int>{200, 100, 50}));

    auto const gray = Allocate(AV_PIX_FMT_GRAY8, 4, 4);
    auto const grayAlpha = Allocate(AV_PIX_FMT_YA8, 4, 4);
    auto const palette = Allocate(AV_PIX_FMT_PAL8, 4, 4);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            gray->data[0][y * gray->linesize[0] + x] = static_cast<std::uint8_t>(x * 80);
            grayAlpha->data[0][y * grayAlpha->linesize[0] + x * 2] = static_cast<std::uint8_t>(x * 80);
            grayAlpha->data[0][y * grayAlpha->linesize[0] + x * 2 + 1] = static_cast<std::uint8_t>(y * 80);
            palette->data[0][y * palette->linesize[0] + x] = static_cast<std::uint8_t>(x);
        }
    }
    picture = DecodePicture(Encode(AV_CODEC_ID_PNG, *gray), "grey");
    EXPECT_EQ(picture->GetPixFmt(), PixFmt::Rgb24);
    EXPECT_EQ(PixelAt(*picture, 3, 1), (std::vector<int>{240, 240, 240})) << "grey is full range";
    picture = DecodePicture(Encode(AV_CODEC_ID_PNG, *grayAlpha), "grey with alpha");
    EXPECT_EQ(picture->GetPixFmt(), PixFmt::Rgba);
    EXPECT_EQ(PixelAt(*picture, 2, 1), (std::vector<int>{160, 160, 160, 80}));

    auto* const entries = reinterpret_cast<std::uint32_t*>(palette->data[1]);
    for (std::uint32_t i = 0; i < 256; ++i) {
        entries[i] = 0xFF000000U | (i * 60 % 256) << 16U | 0x2010U;
    }
    picture = DecodePicture(Encode(AV_CODEC_ID_PNG, *palette), "palette");
    EXPECT_EQ(picture->GetPixFmt(), PixFmt::Rgb24);
    EXPECT_EQ(PixelAt(*picture, 3, 1), (std::vector<int>{180, 0x20, 0x10}));
    entries[2] = 0x40FFFFFFU;
    picture = DecodePicture(Encode(AV_CODEC_ID_PNG, *palette), "palette with alpha");
    EXPECT_EQ(picture->GetPixFmt(), PixFmt::Rgba);
    EXPECT_EQ(PixelAt(*picture, 2, 1), (std::vector<int>{255, 255, 255, 0x40}));
}

TEST_F(PictureTest, ReadsJpegUprightWithItsOwnMatrix) {
    // BT.601, full range: red is (76, 85, 255). The left half is red, the right one black.
    auto const yuv = Allocate(AV_PIX_FMT_YUVJ444P, 32, 16);
    yuv->color_range = AVCOL_RANGE_JPEG;
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 32; ++x) {
            yuv->data[0][y * yuv->linesize[0] + x] = x < 16 ? 76 : 0;
            yuv->data[1][y * yuv->linesize[1] + x] = x < 16 ? 85 : 128;
            yuv->data[2][y * yuv->linesize[2] + x] = x < 16 ? 255 : 128;
        }
    }
    Bytes const plain = Encode(AV_CODEC_ID_MJPEG, *yuv);
    // Orientation: 1 as stored, 3 upside down, 6 the top is at the right side, 8 at the left.
    struct Case {
        std::uint8_t orientation;
        std::uint32_t width, height;
        int redX, redY, blackX, blackY;
    };
    for (Case const& c : {Case{1, 32, 16, 4, 8, 28, 8}, Case{3, 32, 16, 28, 8, 4, 8}, Case{6, 16, 32, 8, 4, 8, 28},
                          Case{8, 16, 32, 8, 28, 8, 4}, Case{2, 32, 16, 28, 8, 4, 8}}) {
        Bytes const exif{0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'M', 'M',           0, 42, 0, 0, 0, 8,
                         0,    1,    1, 18, 0,   3,   0,   0,   0, 1, 0,   c.orientation, 0, 0,  0, 0, 0, 0};
        Bytes file = plain;
        file.insert(file.begin() + 2, exif.begin(), exif.end());
        auto const picture = DecodePicture(file, "photo.jpg");
        ASSERT_EQ(picture->GetFrameInfo().width, c.width) << static_cast<int>(c.orientation);
        ASSERT_EQ(picture->GetFrameInfo().height, c.height);
        auto const red = PixelAt(*picture, c.redX, c.redY);
        EXPECT_NEAR(red[0], 254, 4) << static_cast<int>(c.orientation);
        EXPECT_NEAR(red[1], 0, 4);
        EXPECT_NEAR(red[2], 0, 4);
        EXPECT_NEAR(PixelAt(*picture, c.blackX, c.blackY)[0], 0, 4);
        std::ofstream(At("photo.jpg"), std::ios::binary)
            .write(reinterpret_cast<char const*>(file.data()), static_cast<std::streamsize>(file.size()));
        EXPECT_EQ(Probe(At("photo.jpg")).frame.width, c.width) << "as a clip";
    }
}

TEST_F(PictureTest, WritesPngAsItIs) {
    for (PixFmt const format : {PixFmt::Rgb24, PixFmt::Rgba}) {
        for (std::uint32_t const width : {1U, 7U, 64U}) {
            auto const picture = Proc::DataVideoFF::Create(format, {width, 5, 1, 1});
            int const bytes = static_cast<int>(width) * (format == PixFmt::Rgba ? 4 : 3);
            for (int y = 0; y < 5; ++y) {
                for (int i = 0; i < bytes; ++i) {
                    picture->GetWritableFrame().data[0][y * picture->GetFrame().linesize[0] + i] =
                        static_cast<std::uint8_t>(y * 53 + i * 11);
                }
            }
            WritePng(At("out.png"), *picture, true);
            auto const again = ReadPicture(At("out.png"));
            ASSERT_EQ(again->GetPixFmt(), format);
            for (int y = 0; y < 5; ++y) {
                EXPECT_TRUE(std::equal(picture->GetFrame().data[0] + y * picture->GetFrame().linesize[0],
                                       picture->GetFrame().data[0] + y * picture->GetFrame().linesize[0] + bytes,
                                       again->GetFrame().data[0] + y * again->GetFrame().linesize[0]))
                    << "row " << y;
            }
        }
    }
    EXPECT_EQ(ListFolder(), std::vector<std::string>{"out.png"}) << "no partial file stays";
}

TEST_F(PictureTest, RefusesClearly) {
    auto const picture = Proc::DataVideoFF::Create(PixFmt::Rgb24, {8, 8, 1, 1});
    WritePng(At("out.png"), *picture, false);
    auto const messageOf = [](auto const& action) -> std::string {
        try {
            action();
        } catch (MediaError const& error) {
            return error.what();
        }
        return "no error";
    };
    EXPECT_NE(messageOf([&] { WritePng(At("out.png"), *picture, false); }).find("out.png: exists already"),
              std::string::npos);
    EXPECT_NE(messageOf([&] { WritePng(At("none/out.png"), *picture, false); }).find("there is no folder"),
              std::string::npos);
    EXPECT_NE(messageOf([&] { WritePng(folder.string(), *picture, true); }).find("is a directory"), std::string::npos);
    EXPECT_NE(messageOf([&] { ReadPicture(At("out.png"), 7); }).find("8x8 is too large"), std::string::npos);
    EXPECT_NE(messageOf([&] { ReadPicture(At("none.png")); }).find("none.png: no such file"), std::string::npos);
    EXPECT_NE(messageOf([&] { DecodePicture({}, "-"); }).find("-: is empty"), std::string::npos);
    EXPECT_NE(messageOf([&] { DecodePicture(Bytes(5000, 'x'), "-"); }).find("-: not a"), std::string::npos);
    Bytes content = EncodePng(*picture);
    content.resize(content.size() / 2);
    EXPECT_NE(messageOf([&] { DecodePicture(content, "half.png"); }).find("half.png: "), std::string::npos);
}

}  // namespace
}  // namespace Kaltor::Media::Tests
