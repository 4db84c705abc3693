// Y'CbCr in and out, through the uploader and the downloader as video goes: colours, tags, alpha, the place of chroma.

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "Ogl/DataVideoOGL.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using boost::intrusive_ptr;
using Ogl::DataVideoOGL;
using Ogl::ShaderStorage;
using Proc::DataVideoFF;
using Proc::IDataVideo;

constexpr std::array kStrategies{kSoftwareStrategy, kGpuStrategy};
constexpr std::array kYuvFormats{PixFmt::Yuv420p, PixFmt::Yuv422p,   PixFmt::Yuv444p,   PixFmt::Nv12,
                                 PixFmt::Gray8,   PixFmt::Yuv420p10, PixFmt::Yuv422p10, PixFmt::Yuv444p10};
constexpr std::array kSpecs{
    ColorSpec{ColorMatrix::Bt601, ColorRange::Limited},  ColorSpec{ColorMatrix::Bt709, ColorRange::Limited},
    ColorSpec{ColorMatrix::Bt2020, ColorRange::Limited}, ColorSpec{ColorMatrix::Bt601, ColorRange::Full},
    ColorSpec{ColorMatrix::Bt709, ColorRange::Full},     ColorSpec{ColorMatrix::Bt2020, ColorRange::Full}};

/// Y', Cb, Cr in steps of 8 bits at a place of the picture, pixels from its left and top edge.
using Codes = std::array<double, 3>;
using CodesAt = std::function<Codes(double, double)>;

constexpr double kTop = 255.0;

std::array<double, 3> Apply(ColorTransform const& transform, std::array<double, 3> const& in) {
    std::array<double, 3> out = transform.offset;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            out[row] += transform.matrix[row][column] * in[column];
        }
    }
    return out;
}

/// Where the sample of a plane stands: chroma on the left luma column of its pair, between the rows of its pair.
std::pair<double, double> Place(PixFmtDescription const& description, int plane, int x, int y) {
    bool const isHalvedX = plane != 0 && description.chromaXLog2 != 0;
    bool const isHalvedY = plane != 0 && description.chromaYLog2 != 0;
    return {isHalvedX ? 2.0 * x + 0.5 : x + 0.5, isHalvedY ? 2.0 * y + 1.0 : y + 0.5};
}

/// Calls action(component, x, y, sample) for every sample of a frame; 10-bit samples as 16-bit ones.
template <typename Action>
void ForEachSample(DataVideoFF& frame, Action const& action) {
    PixFmtDescription const& description = PixFmtDescription::Find(frame.GetPixFmt());
    AVFrame& av = frame.GetWritableFrame();
    bool const isNv12 = description.planes == 2;
    for (int component = 0; component < (description.planes == 1 ? 1 : 3); ++component) {
        int const plane = isNv12 ? std::min(component, 1) : component;
        int const shiftX = component == 0 ? 0 : description.chromaXLog2;
        int const shiftY = component == 0 ? 0 : description.chromaYLog2;
        int const step = isNv12 && component != 0 ? 2 : 1;
        for (int y = 0; y < (av.height + (1 << shiftY) - 1) >> shiftY; ++y) {
            std::uint8_t* const row = av.data[plane] + std::ptrdiff_t{av.linesize[plane]} * y;
            for (int x = 0; x < (av.width + (1 << shiftX) - 1) >> shiftX; ++x) {
                int const at = x * step + (component == 2 && isNv12 ? 1 : 0);
                if (description.bits > 8) {
                    action(component, x, y, reinterpret_cast<std::uint16_t*>(row)[at]);
                } else {
                    action(component, x, y, row[at]);
                }
            }
        }
    }
}

intrusive_ptr<DataVideoFF> MakeYuv(PixFmt format, unsigned width, unsigned height, ColorSpec const& tags,
                                   CodesAt const& codesAt) {
    intrusive_ptr<DataVideoFF> const frame = DataVideoFF::Create(format, {width, height, 1, 1});
    frame->SetColorSpec(tags);
    PixFmtDescription const& description = PixFmtDescription::Find(format);
    ForEachSample(*frame, [&](int component, int x, int y, auto& sample) {
        auto const [atX, atY] = Place(description, component, x, y);
        double const code = codesAt(atX, atY)[static_cast<std::size_t>(component)];
        sample = static_cast<std::decay_t<decltype(sample)>>(std::lround(code * (1 << (description.bits - 8))));
    });
    return frame;
}

/// What `codesAt` shows, by the formula.
Picture Decode(unsigned width, unsigned height, PixFmt format, ColorSpec const& spec, CodesAt const& codesAt) {
    unsigned const bits = PixFmtDescription::Find(format).bits;
    ColorTransform const transform = YuvToRgb(spec, bits);
    double const one = static_cast<double>(1U << (bits - 8U)) / static_cast<double>((1U << bits) - 1U);
    return Picture::Make(width, height, false, [&](unsigned x, unsigned y) {
        Codes codes = codesAt(x + 0.5, y + 0.5);
        if (format == PixFmt::Gray8) {
            codes[1] = codes[2] = 128.0;
        }
        std::array<double, 3> const rgb = Apply(transform, {codes[0] * one, codes[1] * one, codes[2] * one});
        return Rgba{rgb[0], rgb[1], rgb[2], 1};
    });
}

class YuvTest : public GlTest {
protected:
    static intrusive_ptr<IDataVideo> Upload(intrusive_ptr<IDataVideo> data) {
        MakeEffect(Proc::SettingsFrameUploader())->Process(data);
        return data;
    }
    /// A CPU frame as the GPU shows it.
    static Picture Show(intrusive_ptr<DataVideoFF> const& frame) {
        intrusive_ptr<IDataVideo> const data = Upload(frame);
        auto* const gpu = dynamic_cast<DataVideoOGL*>(data.get());
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

std::string Tell(PixFmt format, ColorSpec const& spec, Ogl::FrameStrategy const& strategy) {
    return fmt::format("{}, matrix {}, range {}, {}", PixFmtDescription::Find(format).name,
                       static_cast<int>(spec.matrix), static_cast<int>(spec.range),
                       strategy.convertsOnCpu ? "software" : "GPU");
}

TEST_F(YuvTest, FlatColoursDecodeByTheFormula) {
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
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
                    CodesAt const at = [&](double, double) { return codes; };
                    EXPECT_TRUE(
                        IsNear(Show(MakeYuv(format, 7, 5, spec, at)), Decode(7, 5, format, spec, at), kUnfiltered))
                        << Tell(format, spec, strategy) << ", " << codes[0] << " " << codes[1] << " " << codes[2];
                }
            }
        }
    }
}

TEST_F(YuvTest, SmoothPicturesDecodeByTheFormulaAtEverySize) {
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        for (PixFmt const format : kYuvFormats) {
            for (auto const& [width, height] : {std::pair{64U, 36U}, {36U, 64U}, {33U, 17U}, {1U, 9U}, {1U, 1U}}) {
                // One chroma step in eight pixels: repeating chroma and interpolating it hardly differ.
                CodesAt const at = [](double x, double y) {
                    return Codes{60 + 1.5 * x + 0.75 * y, 120 + x / 8 - y / 16, 136 - x / 16 + y / 8};
                };
                ColorSpec const spec{ColorMatrix::Bt709, ColorRange::Limited};
                EXPECT_TRUE(IsNear(Show(MakeYuv(format, width, height, spec, at)),
                                   Decode(width, height, format, spec, at), 2.5 / kTop))  // codes are rounded before
                    << Tell(format, spec, strategy);
            }
        }
    }
}

/// Whether all samples of a frame are within `tolerance` steps of 8 bits of `codesAt`; tells the worst one.
testing::AssertionResult HasCodes(DataVideoFF& frame, CodesAt const& codesAt, double tolerance = 1.5) {
    PixFmtDescription const& description = PixFmtDescription::Find(frame.GetPixFmt());
    double worst = -1.0;
    std::string where;
    ForEachSample(frame, [&](int component, int x, int y, auto const& sample) {
        auto const [atX, atY] = Place(description, component, x, y);
        double const wanted = codesAt(atX, atY)[static_cast<std::size_t>(component)];
        if (std::abs(sample - wanted) > worst) {
            worst = std::abs(sample - wanted);
            where = fmt::format("component {} x {} y {}: {} instead of {:.2f}", component, x, y, sample, wanted);
        }
    });
    return (worst <= tolerance ? testing::AssertionSuccess() : testing::AssertionFailure()) << where;
}

/// One colour all over.
CodesAt Encode(ColorSpec const& spec, double red, double green, double blue) {
    std::array<double, 3> const codes = Apply(RgbToYuv(spec), {red, green, blue});
    return [codes](double, double) { return Codes{codes[0] * kTop, codes[1] * kTop, codes[2] * kTop}; };
}

TEST_F(YuvTest, FlatColoursEncodeByTheFormulaAndAreTagged) {
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
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
                    EXPECT_TRUE(HasCodes(*yuv, Encode(spec, color[0], color[1], color[2])))
                        << Tell(PixFmt::Yuv420p, spec, strategy) << ", " << width << "x" << height;
                }
            }
        }
    }
}

TEST_F(YuvTest, ComeBackAsTheyWentAtEverySize) {
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        for (ColorSpec const& spec : kSpecs) {
            for (auto const& [width, height] : {std::pair{64U, 36U}, {36U, 64U}, {33U, 17U}, {5U, 1U}}) {
                CodesAt const at = [](double x, double y) {
                    return Codes{70 + x + y, 122 + x / 8 - y / 16, 134 - x / 16 + y / 8};
                };
                intrusive_ptr<IDataVideo> data = Upload(MakeYuv(PixFmt::Yuv420p, width, height, spec, at));
                // Drawn once, as an effect would: RGB in between.
                intrusive_ptr<DataVideoOGL> const source(dynamic_cast<DataVideoOGL*>(data.get()));
                intrusive_ptr<DataVideoOGL> const drawn = DataVideoOGL::Create(PixFmt::Rgb24, data->GetFrameInfo());
                drawn->ConcatenateTasks(source);
                drawn->AttachTask(LambdaTask::Make([source, raw = drawn.get()](ShaderStorage const& storage) {
                    storage.FBO().Attach(raw->FrameData().GetFirstTexture());
                    source->FrameData().Draw(storage.Quad(), storage);
                }));
                intrusive_ptr<DataVideoFF> const back = Download(drawn, 1);
                EXPECT_EQ(back->GetColorSpec(), spec);
                EXPECT_TRUE(HasCodes(*back, at, 2.5))  // codes were rounded, then 8-bit RGB, then codes again
                    << Tell(PixFmt::Yuv420p, spec, strategy) << ", " << width << "x" << height;
            }
        }
    }
}

TEST_F(YuvTest, UntaggedFramesAreReadAndWrittenByTheSamePractice) {
    Rgba const color{0.9, 0.2, 0.1, 1};
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        for (unsigned const height : {576U, 720U}) {
            ColorSpec const practice{height == 720 ? ColorMatrix::Bt709 : ColorMatrix::Bt601, ColorRange::Limited};
            intrusive_ptr<DataVideoFF> const yuv = ToYuv420(Picture::Flat(8, height, color), {});
            EXPECT_EQ(yuv->GetColorSpec(), practice);
            EXPECT_TRUE(HasCodes(*yuv, Encode(practice, color[0], color[1], color[2])));
            yuv->SetColorSpec({});
            EXPECT_TRUE(
                IsNear(Show(yuv), Picture::Flat(8, height, color), 3.0 / kTop));  // a code is up to 2.1 steps of RGB
        }
    }
}

TEST_F(YuvTest, WhatIsTransparentLiesOverBlack) {
    ColorSpec const spec{ColorMatrix::Bt709, ColorRange::Limited};
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        for (double const alpha : {0.0, 0.4, 1.0}) {
            Picture const picture = Picture::Flat(6, 4, {1, 0.6, 0.2, alpha}, true);
            EXPECT_TRUE(HasCodes(*ToYuv420(picture, spec), Encode(spec, alpha, 0.6 * alpha, 0.2 * alpha)))
                << "alpha " << alpha;
        }
        // The colour under what is transparent must not bleed into what is beside it.
        auto const striped = [](Rgba const& hidden) {
            return Picture::Make(16, 8, true, [&](unsigned x, unsigned y) {
                return (x + y) % 2 == 0 ? Rgba{0, 0, 1, 1} : hidden;
            });
        };
        intrusive_ptr<DataVideoFF> const overBlack = ToYuv420(striped({0, 0, 0, 0}), spec);
        intrusive_ptr<DataVideoFF> const overRed = ToYuv420(striped({1, 0, 0, 0}), spec);
        ForEachSample(*overBlack, [&](int component, int x, int y, auto const& sample) {
            AVFrame const& other = overRed->GetFrame();
            int const seen = other.data[component][std::ptrdiff_t{other.linesize[component]} * y + x];
            EXPECT_NEAR(seen, sample, 1) << "component " << component << " x " << x << " y " << y
                                         << (strategy.convertsOnCpu ? ", software" : ", GPU");
        });
    }
}

TEST_F(YuvTest, SteepChromaShowsWhereItsSamplesStand) {
    constexpr unsigned kWidth = 33;
    constexpr unsigned kHeight = 17;
    ColorSpec const spec{ColorMatrix::Bt709, ColorRange::Limited};
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        bool const isInterpolated = !strategy.convertsOnCpu;  // else a sample is repeated over its columns and rows
        for (bool const isAlongX : {true, false}) {
            // Decoding: four steps of red difference a pixel, to a pixel's half is three steps of red.
            CodesAt const at = [&](double x, double y) { return Codes{126, 128, 64 + 4 * (isAlongX ? x : 2 * y)}; };
            CodesAt const seen = [&](double x, double y) {
                return isInterpolated ? at(x, y) : at(2 * std::floor(x / 2) + 0.5, 2 * std::floor(y / 2) + 1);
            };
            for (PixFmt const format : {PixFmt::Yuv420p, PixFmt::Nv12, PixFmt::Yuv420p10}) {
                Picture expected = Decode(kWidth, kHeight, format, spec, seen);
                Picture const shown = Show(MakeYuv(format, kWidth, kHeight, spec, at));
                for (unsigned i = 0; i < kWidth * kHeight; ++i) {  // at the rim there is nothing to interpolate with
                    unsigned const x = i % kWidth;
                    unsigned const y = i / kWidth;
                    if (x < 2 || y < 2 || x + 3 >= kWidth || y + 3 >= kHeight) {
                        expected.At(x, y) = shown.At(x, y);
                    }
                }
                EXPECT_TRUE(IsNear(shown, expected, kUnfiltered)) << Tell(format, spec, strategy);
            }
            // Encoding: red grows along one axis, and so does chroma.
            // One step of 8 bits after the other, so that the picture itself is not rounded.
            auto const red = [&](double x, double y) {
                return (20 + (isAlongX ? 6 * (x - 0.5) : 12 * (y - 0.5))) / kTop;
            };
            intrusive_ptr<DataVideoFF> const yuv =
                ToYuv420(Picture::Make(kWidth, kHeight, false,
                                       [&](unsigned x, unsigned y) {
                                           return Rgba{red(x + 0.5, y + 0.5), 0.5, 0.5, 1};
                                       }),
                         spec);
            PixFmtDescription const& description = PixFmtDescription::Find(PixFmt::Yuv420p);
            ForEachSample(*yuv, [&](int component, int x, int y, auto const& sample) {
                bool const isAtRim = x < 2 || y < 2 || x > 13 || y > 5;
                if (component == 2 && !isAtRim) {
                    auto const [atX, atY] = Place(description, component, x, y);
                    // The mean of two columns lies between them.
                    double const wanted =
                        Apply(RgbToYuv(spec), {red(isInterpolated ? atX : atX + 0.5, atY), 0.5, 0.5})[2] * kTop;
                    EXPECT_NEAR(sample, wanted, 1.5)
                        << "x " << x << " y " << y << ", " << Tell(PixFmt::Yuv420p, spec, strategy);
                }
            });
        }
    }
}

TEST_F(YuvTest, AFrameThatNothingChangesIsNotConverted) {
    ScopedStrategy const scoped(kGpuStrategy);
    CodesAt const at = [](double x, double y) { return Codes{x * 7, 255 - y * 9, x * y}; };
    intrusive_ptr<DataVideoFF> const source = MakeYuv(PixFmt::Yuv420p, 21, 13, kSpecs[1], at);
    for (int const mode : {0, 1}) {
        intrusive_ptr<DataVideoFF> const back = Download(Upload(source), mode);
        ASSERT_EQ(back->GetPixFmt(), PixFmt::Yuv420p);
        ForEachSample(*back, [&](int component, int x, int y, auto const& sample) {
            AVFrame const& av = source->GetFrame();
            ASSERT_EQ(sample, av.data[component][std::ptrdiff_t{av.linesize[component]} * y + x]);
        });
    }
}

}  // namespace
}  // namespace Kaltor::Tests
