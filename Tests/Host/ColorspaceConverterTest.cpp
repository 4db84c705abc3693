#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Host/EffectRegistry.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Effects/EffectsDefault/ColorspaceConverter.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor {
namespace {

using boost::intrusive_ptr;
using Proc::DataVideoFF;
using Proc::IDataVideo;
using Proc::SettingsColorspaceConverter;

class ColorspaceConverterTest : public testing::Test {
protected:
    ColorspaceConverterTest() {
        Proc::RegisterDefaultEffects(registry);
        converter = registry.GetFactory()->CreateOneInputEffect(SettingsColorspaceConverter::CLASS_ID,
                                                                Proc::ImplNames::DEFAULT);
    }

    void Accept(std::vector<PixFmt> formats, bool keepAlpha = true) {
        converter->SetSettings(SettingsColorspaceConverter(std::move(formats), keepAlpha));
    }

    intrusive_ptr<IDataVideo> Convert(intrusive_ptr<IDataVideo> data) {
        converter->Process(data);
        return data;
    }

    Host::EffectRegistry registry;
    intrusive_ptr<Proc::IOneInputEffectVideo> converter;
};

struct Yuv {
    unsigned y, u, v;
};

/// Writes one sample of any planar, semi-planar or packed format.
void Put(DataVideoFF& picture, int plane, int row, int index, unsigned value) {
    AVFrame& frame = picture.GetWritableFrame();
    std::uint8_t* const at = frame.data[plane] + row * frame.linesize[plane];
    if (PixFmtDescription::Find(picture.GetPixFmt()).bits > 8) {
        reinterpret_cast<std::uint16_t*>(at)[index] = static_cast<std::uint16_t>(value);
    } else {
        at[index] = static_cast<std::uint8_t>(value);
    }
}

unsigned Get(IDataVideo const& picture, int row, int index) {
    AVFrame const& frame = dynamic_cast<DataVideoFF const&>(picture).GetFrame();
    return frame.data[0][row * frame.linesize[0] + index];
}

void FillChroma(DataVideoFF& picture, int row, int column, Yuv const& color) {
    PixFmtDescription const& format = PixFmtDescription::Find(picture.GetPixFmt());
    if (format.planes == 3) {
        Put(picture, 1, row, column, color.u);
        Put(picture, 2, row, column, color.v);
    } else if (format.planes == 2) {
        Put(picture, 1, row, 2 * column, color.u);
        Put(picture, 1, row, 2 * column + 1, color.v);
    }
}

/// A picture whose 2 x 2 blocks show `colors` one after the other, so that every chroma layout holds them exactly.
intrusive_ptr<DataVideoFF> MakeBlocks(PixFmt pixFmt, std::vector<Yuv> const& colors, std::uint32_t width,
                                      std::uint32_t height) {
    intrusive_ptr<DataVideoFF> const picture = DataVideoFF::Create(pixFmt, {width, height, 1, 1});
    PixFmtDescription const& format = PixFmtDescription::Find(pixFmt);
    int const columns = static_cast<int>(width);
    int const blocks = (columns + 1) / 2;
    for (int y = 0; y < static_cast<int>(height); ++y) {
        for (int x = 0; x < columns; ++x) {
            Yuv const& color = colors[static_cast<std::size_t>(y / 2 * blocks + x / 2) % colors.size()];
            Put(*picture, 0, y, x, color.y);
            FillChroma(*picture, y >> format.chromaYLog2, x >> format.chromaXLog2, color);
        }
    }
    return picture;
}

/// Every corner and middle of the code cube, whole legal and illegal range.
std::vector<Yuv> ColorGrid(unsigned bits) {
    std::vector<Yuv> colors;
    unsigned const scale = 1U << (bits - 8U);
    std::vector<unsigned> const steps{0, 1, 16, 17, 50, 81, 127, 128, 129, 180, 220, 235, 240, 254, 255};
    for (unsigned const y : steps) {
        for (unsigned const u : steps) {
            for (unsigned const v : steps) {
                colors.push_back({y * scale, u * scale, v * scale});
            }
        }
    }
    return colors;
}

TEST_F(ColorspaceConverterTest, YuvMatchesTheFormulaForEveryLayoutMatrixAndRange) {
    // One rounding of at most half a step, and a few cut-off products of 1/32 step.
    constexpr double kTolerance = 0.65;
    for (PixFmt const from : {PixFmt::Yuv420p, PixFmt::Yuv422p, PixFmt::Yuv444p, PixFmt::Nv12, PixFmt::Gray8,
                              PixFmt::Yuv420p10, PixFmt::Yuv422p10, PixFmt::Yuv444p10}) {
        PixFmtDescription const& format = PixFmtDescription::Find(from);
        std::vector<Yuv> const colors = ColorGrid(format.bits);
        double const top = static_cast<double>((1U << format.bits) - 1U);
        for (PixFmt const to : {PixFmt::Bgrx, PixFmt::Bgra, PixFmt::Rgba, PixFmt::Rgb24}) {
            bool const isRedFirst = to == PixFmt::Rgba || to == PixFmt::Rgb24;
            int const bytes = to == PixFmt::Rgb24 ? 3 : 4;
            Accept({to}, false);
            for (ColorMatrix const matrix : {ColorMatrix::Bt601, ColorMatrix::Bt709, ColorMatrix::Bt2020}) {
                for (ColorRange const range : {ColorRange::Limited, ColorRange::Full}) {
                    // An odd width and height: the last column and row have chroma of their own.
                    intrusive_ptr<DataVideoFF> const source = MakeBlocks(from, colors, 131, 105);
                    source->SetColorSpec({matrix, range});
                    intrusive_ptr<IDataVideo> const result = Convert(source);
                    ASSERT_EQ(result->GetPixFmt(), to);
                    ColorTransform const transform = YuvToRgb({matrix, range}, format.bits);
                    double worst = 0.0;
                    std::string where;
                    for (int y = 0; y < 105; ++y) {
                        for (int x = 0; x < 131; ++x) {
                            Yuv color = colors[static_cast<std::size_t>(y / 2 * 66 + x / 2) % colors.size()];
                            if (format.planes == 1) {
                                color.u = color.v = 128;
                            }
                            for (int c = 0; c < 3; ++c) {
                                auto const& m = transform.matrix[static_cast<std::size_t>(c)];
                                double const exact = (m[0] * color.y + m[1] * color.u + m[2] * color.v) / top +
                                                     transform.offset[static_cast<std::size_t>(c)];
                                double const expected = 255.0 * std::clamp(exact, 0.0, 1.0);
                                double const got = Get(*result, y, x * bytes + (isRedFirst ? c : 2 - c));
                                if (std::abs(got - expected) > worst) {
                                    worst = std::abs(got - expected);
                                    where = fmt::format("at ({}, {}) channel {}: {} for {:.2f}, from ({}, {}, {})", x,
                                                        y, c, got, expected, color.y, color.u, color.v);
                                }
                            }
                            if (bytes == 4) {
                                ASSERT_EQ(Get(*result, y, x * 4 + 3), 255U);
                            }
                        }
                    }
                    EXPECT_LE(worst, kTolerance)
                        << format.name << " to " << PixFmtDescription::Find(to).name << ", matrix "
                        << static_cast<int>(matrix) << ", range " << static_cast<int>(range) << ", " << where;
                }
            }
        }
    }
}

TEST_F(ColorspaceConverterTest, UntaggedFollowsPracticeAndTheResultTellsWhatWasUsed) {
    Accept({PixFmt::Bgrx});
    std::vector<Yuv> const red{{81, 90, 240}};  // full red of BT.601, limited
    for (std::uint32_t const height : {719U, 720U}) {
        intrusive_ptr<IDataVideo> const result = Convert(MakeBlocks(PixFmt::Yuv420p, red, 16, height));
        bool const isHigh = height >= 720;
        EXPECT_EQ(result->GetColorSpec(),
                  (ColorSpec{isHigh ? ColorMatrix::Bt709 : ColorMatrix::Bt601, ColorRange::Limited}));
        EXPECT_NEAR(Get(*result, 0, 1), isHigh ? 24 : 0, 2) << "green of a picture of " << height << " lines";
    }
}

TEST_F(ColorspaceConverterTest, AcceptedNullAndForeignDataPassUnchanged) {
    class Foreign final : public Proc::DataVideoBase<IDataVideo> {
    public:
        Foreign() : DataVideoBase(PixFmt::Yuv420p, {4, 4, 1, 1}) {}
    };
    Accept({PixFmt::Bgrx, PixFmt::Yuv420p});
    intrusive_ptr<IDataVideo> const accepted = DataVideoFF::Create(PixFmt::Yuv420p, {4, 4, 1, 1});
    EXPECT_EQ(Convert(accepted), accepted);
    Accept({PixFmt::Bgrx});
    intrusive_ptr<IDataVideo> const foreign(new Foreign);
    EXPECT_EQ(Convert(foreign), foreign);
    EXPECT_EQ(Convert(nullptr), nullptr);
    EXPECT_EQ(converter->GetStatistic().GetChild("Count").Get<std::uint64_t>(), 0U);
}

TEST_F(ColorspaceConverterTest, AlphaDecidesTheTargetWhereItIsKept) {
    auto const target = [this](PixFmt from) { return Convert(DataVideoFF::Create(from, {8, 8, 1, 1}))->GetPixFmt(); };
    Accept({PixFmt::Bgra, PixFmt::Bgrx}, true);
    EXPECT_EQ(target(PixFmt::Rgb24), PixFmt::Bgrx);
    EXPECT_EQ(target(PixFmt::Yuv420p), PixFmt::Bgrx);
    EXPECT_EQ(target(PixFmt::Rgba), PixFmt::Bgra);
    Accept({PixFmt::Bgra, PixFmt::Bgrx}, false);
    EXPECT_EQ(target(PixFmt::Rgb24), PixFmt::Bgra);
    Accept({PixFmt::Bgra}, true);
    EXPECT_EQ(target(PixFmt::Rgb24), PixFmt::Bgra);  // there is nothing better

    boost::intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(PixFmt::Yuv420p, {8, 8, 1, 1});
    converter->UpdateFormatCodec(codec);
    EXPECT_EQ(codec->GetPixFmt(), PixFmt::Bgra);
}

TEST_F(ColorspaceConverterTest, RgbKeepsItsBytesTimingAndShape) {
    Accept({PixFmt::Bgra, PixFmt::Bgrx});
    for (PixFmt const from : {PixFmt::Rgba, PixFmt::Rgb24}) {
        int const bytes = from == PixFmt::Rgba ? 4 : 3;
        intrusive_ptr<DataVideoFF> const source = DataVideoFF::Create(from, {33, 7, 4, 3});
        for (int y = 0; y < 7; ++y) {
            for (int i = 0; i < 33 * bytes; ++i) {
                Put(*source, 0, y, i, static_cast<unsigned>(y * 37 + i * 11) & 255U);
            }
        }
        source->SetTimestamp(123);
        source->SetDuration(456);
        intrusive_ptr<IDataVideo> const result = Convert(source);
        EXPECT_EQ(result->GetTimestamp(), 123);
        EXPECT_EQ(result->GetDuration(), 456);
        EXPECT_EQ(result->GetFrameInfo(), source->GetFrameInfo());
        for (int y = 0; y < 7; ++y) {
            for (int x = 0; x < 33; ++x) {
                for (int c = 0; c < 3; ++c) {
                    ASSERT_EQ(Get(*result, y, x * 4 + 2 - c), Get(*source, y, x * bytes + c)) << x << ", " << y;
                }
                if (from == PixFmt::Rgba) {
                    ASSERT_EQ(Get(*result, y, x * 4 + 3), Get(*source, y, x * 4 + 3)) << x << ", " << y;
                }
            }
        }
    }
}

TEST_F(ColorspaceConverterTest, FollowsChangesOfSizeFormatAndTags) {
    Accept({PixFmt::Bgrx});
    std::vector<Yuv> const colors{{81, 90, 240}};
    for (std::uint32_t const side : {8U, 64U, 9U}) {
        for (PixFmt const from : {PixFmt::Yuv420p, PixFmt::Yuv444p}) {
            for (ColorMatrix const matrix : {ColorMatrix::Bt601, ColorMatrix::Bt709}) {
                intrusive_ptr<DataVideoFF> const source = MakeBlocks(from, colors, side, side);
                source->SetColorSpec({matrix, ColorRange::Limited});
                intrusive_ptr<IDataVideo> const result = Convert(source);
                int const last = static_cast<int>(side) - 1;
                EXPECT_NEAR(Get(*result, last, last * 4 + 1), matrix == ColorMatrix::Bt601 ? 0 : 24, 2);
            }
        }
    }
}

TEST_F(ColorspaceConverterTest, RefusesForeignSettings) {
    EXPECT_THROW(converter->SetSettings(Proc::SettingsFrameUploader()), std::bad_cast);
}

}  // namespace
}  // namespace Kaltor
