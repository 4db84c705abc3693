#include <cmath>
#include <set>
#include <stdexcept>

#include <gtest/gtest.h>

#include "Conf/IFormatCodecVideo.h"
#include "Conf/PixFmt.h"
#include "Proc/Data/AvFrame.h"
#include "Proc/Data/DataVideoFF.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Tests {
namespace {

constexpr std::array kAll{PixFmt::Yuv420p, PixFmt::Rgb24,     PixFmt::Yuv422p,   PixFmt::Yuv444p,
                          PixFmt::Gray8,   PixFmt::Nv12,      PixFmt::Rgba,      PixFmt::Bgra,
                          PixFmt::Bgrx,    PixFmt::Yuv420p10, PixFmt::Yuv422p10, PixFmt::Yuv444p10};

TEST(PixelFormats, NumbersAndTheRuleOfOutputFramesAreFixed) {
    EXPECT_EQ(static_cast<int>(PixFmt::Yuv420p), 0);
    EXPECT_EQ(static_cast<int>(PixFmt::Rgb24), 2);
    EXPECT_EQ(static_cast<int>(PixFmt::Rgba), 28);
    for (PixFmt const format : kAll) {
        PixFmtDescription const& description = PixFmtDescription::Find(format);
        EXPECT_EQ(static_cast<int>(OutputFormat(format)), (description.flags & 8U) != 0 ? 28 : 2) << description.name;
    }
    EXPECT_EQ(OutputFormat(PixFmt::Bgra), PixFmt::Rgba);
    EXPECT_EQ(OutputFormat(PixFmt::Bgrx), PixFmt::Rgb24);
    EXPECT_THROW(PixFmtDescription::Find(PixFmt::Unknown), std::invalid_argument);
    EXPECT_THROW(OutputFormat(static_cast<PixFmt>(1000)), std::invalid_argument);
}

TEST(PixelFormats, DescriptionsAgreeWithFfmpeg) {
    for (PixFmt const format : kAll) {
        PixFmtDescription const& ours = PixFmtDescription::Find(format);
        AVPixelFormat const av = Proc::ToAvPixelFormat(format);
        AVPixFmtDescriptor const* const theirs = av_pix_fmt_desc_get(av);
        ASSERT_NE(theirs, nullptr) << ours.name;
        EXPECT_STREQ(ours.name, theirs->name);
        EXPECT_EQ(ours.planes, av_pix_fmt_count_planes(av)) << ours.name;
        EXPECT_EQ(ours.bits, theirs->comp[0].depth) << ours.name;
        EXPECT_EQ(ours.chromaXLog2, theirs->log2_chroma_w) << ours.name;
        EXPECT_EQ(ours.chromaYLog2, theirs->log2_chroma_h) << ours.name;
        EXPECT_EQ(ours.HasAlpha(), (theirs->flags & AV_PIX_FMT_FLAG_ALPHA) != 0) << ours.name;
        EXPECT_EQ(ours.IsYuv(), (theirs->flags & AV_PIX_FMT_FLAG_RGB) == 0) << ours.name;
        if (format != PixFmt::Bgrx) {  // theirs leaves the fourth byte open, ours does not
            EXPECT_EQ(Proc::FromAvPixelFormat(av), format);
        }
    }
}

TEST(PixelFormats, ACodecsFormatKeepsWhatItIsTold) {
    boost::intrusive_ptr<Conf::IFormatCodecVideo> const codec =
        Conf::MakeFormatCodecVideo(PixFmt::Nv12, {720, 576, 16, 11});
    codec->SetPixFmt(PixFmt::Rgba);
    EXPECT_EQ(codec->GetPixFmt(), PixFmt::Rgba);
    EXPECT_EQ(codec->GetFrameInfo(), (Conf::FrameInfo{720, 576, 16, 11}));
    codec->InitByPixelAspect(4, 3, 2, 1);
    EXPECT_EQ(codec->GetFrameInfo(), (Conf::FrameInfo{4, 3, 2, 1}));
}

constexpr double kByte = 255.0;

/// R'G'B' of an 8-bit Y'CbCr code, 0..1.
std::array<double, 3> Decode(ColorSpec const& spec, std::array<int, 3> const& code) {
    ColorTransform const transform = YuvToRgb(spec);
    std::array<double, 3> rgb = transform.offset;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            rgb[row] += transform.matrix[row][column] * code[column] / kByte;
        }
    }
    return rgb;
}

TEST(ColorMatrices, HaveThePublishedCoefficients) {
    struct Published {
        ColorSpec spec;
        double luma, crToRed, cbToGreen, crToGreen, cbToBlue;
    };
    using enum ColorMatrix;
    constexpr ColorRange kLimited = ColorRange::Limited;
    constexpr ColorRange kFull = ColorRange::Full;
    for (Published const& p : {Published{{Bt601, kLimited}, 1.164383, 1.596027, -0.391762, -0.812968, 2.017232},
                               Published{{Bt709, kLimited}, 1.164384, 1.792741, -0.213249, -0.532909, 2.112402},
                               Published{{Bt2020, kLimited}, 1.164384, 1.678674, -0.187326, -0.650424, 2.141772},
                               Published{{Bt601, kFull}, 1.0, 1.402, -0.344136, -0.714136, 1.772},
                               Published{{Bt709, kFull}, 1.0, 1.5748, -0.187324, -0.468124, 1.8556}}) {
        auto const m = YuvToRgb(p.spec).matrix;
        constexpr double kDigits = 2e-6;
        for (std::size_t row = 0; row < 3; ++row) {
            EXPECT_NEAR(m[row][0], p.luma, kDigits);
        }
        EXPECT_EQ(m[0][1], 0.0);
        EXPECT_EQ(m[2][2], 0.0);
        EXPECT_NEAR(m[0][2], p.crToRed, kDigits);
        EXPECT_NEAR(m[1][1], p.cbToGreen, kDigits);
        EXPECT_NEAR(m[1][2], p.crToGreen, kDigits);
        EXPECT_NEAR(m[2][1], p.cbToBlue, kDigits);
    }
}

TEST(ColorMatrices, DecodeThePublishedColourBars) {
    struct Bar {
        ColorMatrix matrix;
        std::array<int, 3> code;
        std::array<double, 3> rgb;
    };
    using enum ColorMatrix;
    for (Bar const& bar : {Bar{Bt601, {16, 128, 128}, {0, 0, 0}}, Bar{Bt601, {235, 128, 128}, {1, 1, 1}},
                           Bar{Bt601, {162, 44, 142}, {.75, .75, 0}}, Bar{Bt601, {131, 156, 44}, {0, .75, .75}},
                           Bar{Bt601, {112, 72, 58}, {0, .75, 0}}, Bar{Bt601, {84, 184, 198}, {.75, 0, .75}},
                           Bar{Bt601, {65, 100, 212}, {.75, 0, 0}}, Bar{Bt601, {35, 212, 114}, {0, 0, .75}},
                           Bar{Bt709, {63, 102, 240}, {1, 0, 0}}, Bar{Bt709, {173, 42, 26}, {0, 1, 0}},
                           Bar{Bt709, {32, 240, 118}, {0, 0, 1}}, Bar{Bt709, {219, 16, 138}, {1, 1, 0}}}) {
        std::array<double, 3> const rgb = Decode({bar.matrix, ColorRange::Limited}, bar.code);
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(rgb[c], bar.rgb[c], 1.5 / kByte) << "code " << bar.code[0] << " channel " << c;
        }
    }
    // Full range: the codes' own ends.
    EXPECT_NEAR(Decode({Bt601, ColorRange::Full}, {0, 128, 128})[0], 0.0, 1e-9);
    EXPECT_NEAR(Decode({Bt601, ColorRange::Full}, {255, 128, 128})[1], 1.0, 1e-9);
    // 10 bits: black is 64, white 940, no colour 512.
    ColorTransform const ten = YuvToRgb({Bt709, ColorRange::Limited}, 10);
    for (std::size_t row = 0; row < 3; ++row) {
        auto const at = [&](double luma) {
            double const chroma = 512.0 / 1023.0;
            return ten.matrix[row][0] * luma / 1023.0 + (ten.matrix[row][1] + ten.matrix[row][2]) * chroma +
                   ten.offset[row];
        };
        EXPECT_NEAR(at(64), 0.0, 1e-9);
        EXPECT_NEAR(at(940), 1.0, 1e-9);
    }
}

TEST(ColorMatrices, GoBackTheWayTheyCame) {
    for (ColorMatrix const matrix : {ColorMatrix::Bt601, ColorMatrix::Bt709, ColorMatrix::Bt2020}) {
        for (ColorRange const range : {ColorRange::Limited, ColorRange::Full}) {
            for (unsigned const bits : {8U, 10U}) {
                ColorTransform const there = RgbToYuv({matrix, range}, bits);
                ColorTransform const back = YuvToRgb({matrix, range}, bits);
                for (std::size_t row = 0; row < 3; ++row) {
                    double offset = back.offset[row];
                    for (std::size_t k = 0; k < 3; ++k) {
                        offset += back.matrix[row][k] * there.offset[k];
                    }
                    EXPECT_NEAR(offset, 0.0, 1e-12);
                    for (std::size_t column = 0; column < 3; ++column) {
                        double product = 0.0;
                        for (std::size_t k = 0; k < 3; ++k) {
                            product += back.matrix[row][k] * there.matrix[k][column];
                        }
                        EXPECT_NEAR(product, row == column ? 1.0 : 0.0, 1e-12);
                    }
                }
            }
        }
    }
}

TEST(ColorTags, UntaggedFramesFollowPractice) {
    ColorSpec const none;
    EXPECT_EQ(none.Resolved(719), (ColorSpec{ColorMatrix::Bt601, ColorRange::Limited}));
    EXPECT_EQ(none.Resolved(720), (ColorSpec{ColorMatrix::Bt709, ColorRange::Limited}));
    ColorSpec const tagged{ColorMatrix::Bt2020, ColorRange::Full};
    EXPECT_EQ(tagged.Resolved(100), tagged);
    ColorSpec const half{ColorMatrix::Unspecified, ColorRange::Full};
    EXPECT_EQ(half.Resolved(1080), (ColorSpec{ColorMatrix::Bt709, ColorRange::Full}));
}

TEST(CpuFrames, ReadTagsAndAspectOfFfmpegsAndWriteThemBack) {
    Proc::AvFramePtr picture = Proc::AllocateAvFrame(AV_PIX_FMT_YUVJ420P, 6, 4);
    picture->colorspace = AVCOL_SPC_BT709;
    picture->sample_aspect_ratio = {0, 1};  // unknown
    boost::intrusive_ptr<Proc::DataVideoFF> const frame = Proc::DataVideoFF::Wrap(std::move(picture));
    EXPECT_EQ(frame->GetPixFmt(), PixFmt::Yuv420p);
    EXPECT_EQ(frame->GetColorSpec(), (ColorSpec{ColorMatrix::Bt709, ColorRange::Full}));
    EXPECT_EQ(frame->GetFrameInfo(), (Conf::FrameInfo{6, 4, 1, 1}));
    frame->SetColorSpec({ColorMatrix::Bt2020, ColorRange::Limited});
    Proc::AvFramePtr const shared = frame->Share();
    EXPECT_EQ(shared->colorspace, AVCOL_SPC_BT2020_NCL);
    EXPECT_EQ(shared->color_range, AVCOL_RANGE_MPEG);
    EXPECT_EQ(shared->data[0], frame->GetFrame().data[0]);  // no copy

    EXPECT_THROW(Proc::DataVideoFF::Create(PixFmt::Rgb24, {0, 4, 1, 1}), std::invalid_argument);
    Proc::AvFramePtr odd = Proc::AllocateAvFrame(AV_PIX_FMT_YUV410P, 8, 8);
    EXPECT_THROW(Proc::DataVideoFF::Wrap(std::move(odd)), std::invalid_argument);
}

}  // namespace
}  // namespace Kaltor::Tests
