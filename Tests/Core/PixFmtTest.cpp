#include "Tests/Support/FrameSamples.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Tests {
namespace {

using enum ColorMatrix;
constexpr ColorRange kLimited = ColorRange::Limited;
constexpr ColorRange kFull = ColorRange::Full;

TEST(PixelFormats, DescriptionsAgreeWithFfmpegAndDecideTheOutputsFormat) {
    EXPECT_EQ(static_cast<int>(PixFmt::Yuv420p), 0);
    for (PixFmt const format :
         {PixFmt::Yuv420p, PixFmt::Rgb24, PixFmt::Yuv422p, PixFmt::Yuv444p, PixFmt::Gray8, PixFmt::Nv12, PixFmt::Rgba,
          PixFmt::Bgra, PixFmt::Bgrx, PixFmt::Yuv420p10, PixFmt::Yuv422p10, PixFmt::Yuv444p10}) {
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
        EXPECT_EQ(static_cast<int>(OutputFormat(format)), (ours.flags & 8U) != 0 ? 28 : 2) << ours.name;
        if (format != PixFmt::Bgrx) {  // FFmpeg leaves the fourth byte undefined, this format does not
            EXPECT_EQ(Proc::FromAvPixelFormat(av), format);
        }
    }
    EXPECT_THROW(PixFmtDescription::Find(PixFmt::Unknown), std::invalid_argument);
    EXPECT_THROW(OutputFormat(static_cast<PixFmt>(1000)), std::invalid_argument);
}

TEST(ColorMatrices, HaveThePublishedCoefficients) {
    struct Published {
        ColorSpec spec;
        double luma, crToRed, cbToGreen, crToGreen, cbToBlue;
    };
    for (Published const& p : {Published{{Bt601, kLimited}, 1.164383, 1.596027, -0.391762, -0.812968, 2.017232},
                               Published{{Bt709, kLimited}, 1.164384, 1.792741, -0.213249, -0.532909, 2.112402},
                               Published{{Bt2020, kLimited}, 1.164384, 1.678674, -0.187326, -0.650424, 2.141772},
                               Published{{Bt601, kFull}, 1.0, 1.402, -0.344136, -0.714136, 1.772},
                               Published{{Bt709, kFull}, 1.0, 1.5748, -0.187324, -0.468124, 1.8556}}) {
        double const expected[3][3] = {
            {p.luma, 0.0, p.crToRed}, {p.luma, p.cbToGreen, p.crToGreen}, {p.luma, p.cbToBlue, 0.0}};
        for (std::size_t i = 0; i < 9; ++i) {
            EXPECT_NEAR(YuvToRgb(p.spec).matrix[i / 3][i % 3], expected[i / 3][i % 3], 2e-6)
                << Tell(PixFmt::Yuv420p, p.spec) << ", " << i;
        }
    }
}

TEST(ColorMatrices, DecodeThePublishedLevelsAndColours) {
    struct Case {
        ColorSpec spec;
        unsigned bits;
        Codes code;
        Codes rgb;
        double tolerance = 1e-9;
    };
    constexpr double kRounded = 1.5 / 255.0;  // the colour's codes are
    for (Case const& c : {Case{{Bt709, kLimited}, 8, {16, 128, 128}, {0, 0, 0}},
                          {{Bt709, kLimited}, 8, {235, 128, 128}, {1, 1, 1}},
                          {{Bt709, kLimited}, 10, {64, 512, 512}, {0, 0, 0}},
                          {{Bt709, kLimited}, 10, {940, 512, 512}, {1, 1, 1}},
                          {{Bt601, kFull}, 8, {0, 128, 128}, {0, 0, 0}},
                          {{Bt601, kFull}, 8, {255, 128, 128}, {1, 1, 1}},
                          {{Bt601, kLimited}, 8, {81, 90, 240}, {1, 0, 0}, kRounded},
                          {{Bt709, kLimited}, 8, {63, 102, 240}, {1, 0, 0}, kRounded},
                          {{Bt709, kLimited}, 10, {4 * 63, 4 * 102, 4 * 240}, {1, 0, 0}, kRounded},
                          {{Bt709, kLimited}, 10, {4 * 32, 4 * 240, 4 * 118}, {0, 0, 1}, kRounded}}) {
        Codes levels = c.code;
        for (double& level : levels) {
            level /= (1U << c.bits) - 1U;
        }
        Codes const rgb = Apply(YuvToRgb(c.spec, c.bits), levels);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(rgb[i], c.rgb[i], c.tolerance) << testing::PrintToString(c.code) << i;
        }
    }
}

TEST(ColorMatrices, GoBackTheWayTheyCame) {
    for (ColorSpec const& spec : kSpecs) {
        for (unsigned const bits : {8U, 10U}) {
            for (Codes const& rgb : {Codes{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}) {
                Codes const back = Apply(YuvToRgb(spec, bits), Apply(RgbToYuv(spec, bits), rgb));
                for (std::size_t c = 0; c < 3; ++c) {
                    EXPECT_NEAR(back[c], rgb[c], 1e-12);
                }
            }
        }
    }
}

TEST(CpuFrames, ReadTagsAndAspectOfFfmpegsAndWriteThemBack) {
    Proc::AvFramePtr picture = Proc::AllocateAvFrame(AV_PIX_FMT_YUVJ420P, 6, 4);
    picture->colorspace = AVCOL_SPC_BT709;
    picture->sample_aspect_ratio = {0, 1};  // unknown
    boost::intrusive_ptr<Proc::DataVideoFF> const frame = Proc::DataVideoFF::Wrap(std::move(picture));
    EXPECT_EQ(frame->GetPixFmt(), PixFmt::Yuv420p);
    EXPECT_EQ(frame->GetColorSpec(), (ColorSpec{Bt709, kFull}));
    EXPECT_EQ(frame->GetFrameInfo(), (Conf::FrameInfo{6, 4, 1, 1}));
    frame->SetColorSpec({Bt2020, kLimited});
    Proc::AvFramePtr const shared = frame->Share();
    EXPECT_EQ(shared->colorspace, AVCOL_SPC_BT2020_NCL);
    EXPECT_EQ(shared->color_range, AVCOL_RANGE_MPEG);
    EXPECT_EQ(shared->data[0], frame->GetFrame().data[0]);  // no copy

    EXPECT_THROW(Proc::DataVideoFF::Create(PixFmt::Rgb24, {0, 4, 1, 1}), std::invalid_argument);
    EXPECT_THROW(Proc::DataVideoFF::Wrap(Proc::AllocateAvFrame(AV_PIX_FMT_YUV410P, 8, 8)), std::invalid_argument);
}

}  // namespace
}  // namespace Kaltor::Tests
