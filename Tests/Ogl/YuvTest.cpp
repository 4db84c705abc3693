// Y'CbCr in and out, through the uploader and the downloader as video goes: colours, tags, alpha, the place of chroma.

#include "Ogl/DataVideoOGL.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/FrameSamples.h"
#include "Tests/Support/FrameTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::DataVideoOGL;
using Ogl::ShaderStorage;
using Proc::DataVideoFF;
using Proc::IDataVideo;

constexpr double kTop = 255.0;
constexpr ColorSpec kBt709{ColorMatrix::Bt709, ColorRange::Limited};

class YuvTest : public StrategyTest {
protected:
    static intrusive_ptr<DataVideoOGL> Upload(intrusive_ptr<IDataVideo> data) {
        MakeEffect(Proc::SettingsFrameUploader())->Process(data);
        return boost::dynamic_pointer_cast<DataVideoOGL>(data);
    }
    /// A CPU frame as the GPU shows it.
    static Picture Show(intrusive_ptr<DataVideoFF> const& frame) {
        intrusive_ptr<DataVideoOGL> const gpu = Upload(frame);
        gpu->Execute();
        Picture seen;
        OnGl([&](ShaderStorage const& storage) {
            seen = ReadTexture(gpu->FrameData().ConvertToRGBA(storage).GetFirstTexture(), storage);
        });
        return seen;
    }
    /// An RGB picture as planar 4:2:0, tagged beforehand.
    static intrusive_ptr<DataVideoFF> ToYuv420(Picture const& picture, ColorSpec const& tags) {
        intrusive_ptr<DataVideoFF> const frame = picture.ToFrame();
        frame->SetColorSpec(tags);
        return Download(Upload(frame), 1);
    }
};
INSTANTIATE_TEST_SUITE_P(On, YuvTest, kEachStrategy, NameStrategy);

CodesAt Flat(Codes const& codes) {
    return [codes](double, double) { return codes; };
}

/// Whether a 4:2:0 frame holds these codes, each rounded once more on the way.
testing::AssertionResult HasCodes(DataVideoFF& frame, CodesAt const& codesAt, int tolerance = 1) {
    Conf::FrameInfo const& info = frame.GetFrameInfo();
    return HaveSameSamples(frame, *MakeYuv(PixFmt::Yuv420p, info.width, info.height, {}, codesAt), tolerance);
}

TEST_P(YuvTest, FlatColoursDecodeByTheFormula) {
    for (PixFmt const format : kYuvFormats) {
        for (ColorSpec const& spec : kSpecs) {
            // Inside the gamut, at its corners and far outside, where it must clamp and not wrap round.
            for (Codes const& codes : {Codes{126, 128, 128},
                                       {81, 90, 240},
                                       {145, 54, 34},
                                       {41, 240, 110},
                                       {200, 100, 150},
                                       {235, 16, 240},
                                       {255, 255, 255},
                                       {0, 0, 0},
                                       {16, 240, 16}}) {
                EXPECT_TRUE(IsNear(Show(MakeYuv(format, 7, 5, spec, Flat(codes))),
                                   Decode(7, 5, format, spec, Flat(codes)), kUnfiltered))
                    << Tell(format, spec) << ", " << testing::PrintToString(codes);
            }
        }
    }
}

TEST_P(YuvTest, SmoothPicturesDecodeByTheFormulaAtEverySize) {
    // One chroma step in eight pixels: repeating chroma and interpolating it hardly differ.
    CodesAt const at = [](double x, double y) {
        return Codes{60 + 1.5 * x + 0.75 * y, 120 + x / 8 - y / 16, 136 - x / 16 + y / 8};
    };
    for (PixFmt const format : kYuvFormats) {
        for (auto const& [width, height] : {std::pair{64U, 36U}, {36U, 64U}, {33U, 17U}, {1U, 9U}, {1U, 1U}}) {
            EXPECT_TRUE(IsNear(Show(MakeYuv(format, width, height, kBt709, at)),
                               Decode(width, height, format, kBt709, at), 2.5 / kTop))  // codes are rounded before
                << Tell(format, kBt709);
        }
    }
}

TEST_P(YuvTest, FlatColoursEncodeByTheFormulaAndAreTagged) {
    for (ColorSpec const& spec : kSpecs) {
        for (Rgba const& color : {Rgba{0, 0, 0, 1},
                                  {1, 1, 1, 1},
                                  {1, 0, 0, 1},
                                  {0, 1, 0, 1},
                                  {0, 0, 1, 1},
                                  {0.2, 0.4, 0.8, 1},
                                  {0.6, 0.6, 0.6, 1}}) {
            for (auto const& [width, height] : {std::pair{8U, 6U}, {7U, 5U}, {1U, 1U}}) {
                intrusive_ptr<DataVideoFF> const yuv = ToYuv420(Picture::Flat(width, height, color), spec);
                ASSERT_EQ(yuv->GetPixFmt(), PixFmt::Yuv420p);
                EXPECT_EQ(yuv->GetColorSpec(), spec);
                EXPECT_TRUE(HasCodes(*yuv, Flat(Encode(spec, color))))
                    << Tell(PixFmt::Yuv420p, spec) << ", " << width << "x" << height;
            }
        }
    }
}

TEST_P(YuvTest, ComeBackAsTheyWentAtEverySize) {
    CodesAt const at = [](double x, double y) { return Codes{70 + x + y, 122 + x / 8 - y / 16, 134 - x / 16 + y / 8}; };
    for (ColorSpec const& spec : kSpecs) {
        for (auto const& [width, height] : {std::pair{64U, 36U}, {36U, 64U}, {33U, 17U}, {5U, 1U}}) {
            // Drawn once, as an effect would: RGB in between.
            intrusive_ptr<DataVideoOGL> const source = Upload(MakeYuv(PixFmt::Yuv420p, width, height, spec, at));
            intrusive_ptr<DataVideoOGL> const drawn = DataVideoOGL::Create(PixFmt::Rgb24, source->GetFrameInfo());
            drawn->ConcatenateTasks(source);
            drawn->AttachTask(LambdaTask::Make([source, raw = drawn.get()](ShaderStorage const& storage) {
                storage.FBO().Attach(raw->FrameData().GetFirstTexture());
                source->FrameData().Draw(storage.Quad(), storage);
            }));
            intrusive_ptr<DataVideoFF> const back = Download(drawn, 1);
            EXPECT_EQ(back->GetColorSpec(), spec);
            EXPECT_TRUE(HasCodes(*back, at, 2))  // codes were rounded, then 8-bit RGB, then codes again
                << Tell(PixFmt::Yuv420p, spec) << ", " << width << "x" << height;
        }
    }
}

TEST_P(YuvTest, UntaggedFramesAreReadAndWrittenByTheSamePractice) {
    Rgba const color{0.9, 0.2, 0.1, 1};
    for (unsigned const height : {576U, 720U}) {
        ColorSpec const practice{height == 720 ? ColorMatrix::Bt709 : ColorMatrix::Bt601, ColorRange::Limited};
        intrusive_ptr<DataVideoFF> const yuv = ToYuv420(Picture::Flat(8, height, color), {});
        EXPECT_EQ(yuv->GetColorSpec(), practice);
        EXPECT_TRUE(HasCodes(*yuv, Flat(Encode(practice, color))));
        yuv->SetColorSpec({});
        EXPECT_TRUE(
            IsNear(Show(yuv), Picture::Flat(8, height, color), 3.0 / kTop));  // a code is up to 2.1 steps of RGB
    }
}

TEST_P(YuvTest, WhatIsTransparentLiesOverBlack) {
    for (double const alpha : {0.0, 0.4, 1.0}) {
        Picture const picture = Picture::Flat(6, 4, {1, 0.6, 0.2, alpha}, true);
        Codes const expected = Encode(kBt709, {alpha, 0.6 * alpha, 0.2 * alpha, 1});
        EXPECT_TRUE(HasCodes(*ToYuv420(picture, kBt709), Flat(expected))) << "alpha " << alpha;
    }
    // Colours under transparent pixels must not bleed into their neighbours.
    auto const striped = [](Rgba const& hidden) {
        return Picture::Make(16, 8, true, [&](unsigned x, unsigned y) {
            return (x + y) % 2 == 0 ? Rgba{0, 0, 1, 1} : hidden;
        });
    };
    EXPECT_TRUE(HaveSameSamples(*ToYuv420(striped({1, 0, 0, 0}), kBt709), *ToYuv420(striped({0, 0, 0, 0}), kBt709), 1));
}

TEST_P(YuvTest, SteepChromaShowsWhereItsSamplesStand) {
    constexpr unsigned kWidth = 33;
    constexpr unsigned kHeight = 17;
    bool const isInterpolated = !GetParam().convertsOnCpu;  // else a sample is repeated over its columns and rows
    for (bool const isAlongX : {true, false}) {
        // Decoding: four steps of red difference a pixel, to a pixel's half is three steps of red.
        CodesAt const at = [&](double x, double y) { return Codes{126, 128, 64 + 4 * (isAlongX ? x : 2 * y)}; };
        CodesAt const seen = [&](double x, double y) {
            return isInterpolated ? at(x, y) : at(2 * std::floor(x / 2) + 0.5, 2 * std::floor(y / 2) + 1);
        };
        auto const inner = [](Picture const& picture) {  // at the rim there is nothing to interpolate with
            return Picture::Make(kWidth - 5, kHeight - 5, false,
                                 [&](unsigned x, unsigned y) { return picture.At(x + 2, y + 2); });
        };
        for (PixFmt const format : {PixFmt::Yuv420p, PixFmt::Nv12, PixFmt::Yuv420p10}) {
            EXPECT_TRUE(IsNear(inner(Show(MakeYuv(format, kWidth, kHeight, kBt709, at))),
                               inner(Decode(kWidth, kHeight, format, kBt709, seen)), kUnfiltered))
                << Tell(format, kBt709);
        }
        // Encoding: red grows along one axis, and so does chroma; by whole steps, so that the picture is not rounded.
        auto const redAt = [&](double x, double y) {
            double const red = 20 + (isAlongX ? 6 * (x - 0.5) : 12 * (y - 0.5));
            return Rgba{red / kTop, 0.5, 0.5, 1};
        };
        intrusive_ptr<DataVideoFF> const yuv = ToYuv420(
            Picture::Make(kWidth, kHeight, false, [&](unsigned x, unsigned y) { return redAt(x + 0.5, y + 0.5); }),
            kBt709);
        ForEachSample(*yuv, [&](int component, int x, int y, auto const& sample) {
            bool const isAtRim = x < 2 || y < 2 || x > 13 || y > 5;
            if (component == 2 && !isAtRim) {
                auto const [atX, atY] = Place(PixFmtDescription::Find(PixFmt::Yuv420p), component, x, y);
                // The mean of two columns lies between them.
                Codes const wanted = Encode(kBt709, redAt(isInterpolated ? atX : atX + 0.5, atY));
                EXPECT_NEAR(sample, wanted[2], 1.5) << "x " << x << " y " << y;
            }
        });
    }
}

TEST_P(YuvTest, AFrameThatNothingChangesIsNotConverted) {
    if (GetParam().convertsOnCpu) {
        GTEST_SKIP() << "is RGB on the GPU";
    }
    CodesAt const at = [](double x, double y) { return Codes{x * 7, 255 - y * 9, x * y}; };
    intrusive_ptr<DataVideoFF> const source = MakeYuv(PixFmt::Yuv420p, 21, 13, kBt709, at);
    for (int const mode : {0, 1}) {
        intrusive_ptr<DataVideoFF> const back = Download(Upload(source), mode);
        ASSERT_EQ(back->GetPixFmt(), PixFmt::Yuv420p);
        EXPECT_TRUE(HaveSameSamples(*back, *source));
    }
}

}  // namespace
}  // namespace Kaltor::Tests
