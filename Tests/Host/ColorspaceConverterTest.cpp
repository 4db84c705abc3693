#include "Host/EffectRegistry.h"
#include "Proc/Effects/EffectsDefault/ColorspaceConverter.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/FrameSamples.h"

namespace Kaltor::Tests {
namespace {

using Proc::DataVideoFF;
using Proc::IDataVideo;
using Proc::SettingsColorspaceConverter;

class ColorspaceConverterTest : public testing::Test {
protected:
    void Accept(std::vector<PixFmt> formats, bool keepAlpha = true) {
        converter->SetSettings(SettingsColorspaceConverter(std::move(formats), keepAlpha));
    }

    intrusive_ptr<IDataVideo> Convert(intrusive_ptr<IDataVideo> data) {
        converter->Process(data);
        return data;
    }
    static Picture Show(intrusive_ptr<IDataVideo> const& data) {
        return Picture::FromFrame(dynamic_cast<DataVideoFF const&>(*data));
    }

    intrusive_ptr<Proc::IOneInputEffectVideo> converter = Proc::CreateColorspaceConverter(nullptr);
};

constexpr unsigned kWidth = 131;  // odd: the last column and row have chroma of their own
constexpr unsigned kHeight = 105;

/// 2 x 2 blocks, which every chroma layout holds exactly, of every corner and middle of the code cube, whole legal and
/// illegal range.
Codes CodesOfBlock(double x, double y) {
    constexpr std::array kSteps{0.0,   1.0,   16.0,  17.0,  50.0,  81.0,  127.0, 128.0,
                                129.0, 180.0, 220.0, 235.0, 240.0, 254.0, 255.0};
    auto const block = static_cast<std::size_t>(std::floor(y / 2) * 66 + std::floor(x / 2));
    std::size_t const n = kSteps.size();
    return {kSteps[block / n / n % n], kSteps[block / n % n], kSteps[block % n]};
}

TEST_F(ColorspaceConverterTest, YuvMatchesTheFormulaForEveryLayoutMatrixAndRangeOneAfterTheOther) {
    // One rounding of at most half a step, and a few cut-off products of 1/32 step.
    constexpr double kTolerance = 0.65 / 255.0;
    for (PixFmt const to : {PixFmt::Bgrx, PixFmt::Bgra, PixFmt::Rgba, PixFmt::Rgb24}) {
        Accept({to}, false);
        for (PixFmt const from : kYuvFormats) {
            for (ColorSpec const& spec : kSpecs) {
                for (auto const& [width, height] : {std::pair{kWidth, kHeight}, {8U, 64U}}) {
                    intrusive_ptr<IDataVideo> const result = Convert(MakeYuv(from, width, height, spec, CodesOfBlock));
                    ASSERT_EQ(result->GetPixFmt(), to);
                    EXPECT_EQ(result->GetColorSpec(), spec);
                    EXPECT_TRUE(IsNear(Show(result), Decode(width, height, from, spec, CodesOfBlock), kTolerance))
                        << Tell(from, spec) << " to " << PixFmtDescription::Find(to).name;
                    ForEachSample(dynamic_cast<DataVideoFF&>(*result), [to](int, int x, int, std::uint8_t sample) {
                        ASSERT_TRUE(to != PixFmt::Bgrx || x % 4 != 3 || sample == 255);
                    });
                }
            }
        }
    }
}

TEST_F(ColorspaceConverterTest, UntaggedFollowsPracticeAndTheResultTellsWhatWasUsed) {
    Accept({PixFmt::Bgrx});
    for (unsigned const height : {719U, 720U}) {
        CodesAt const red = [](double, double) { return Codes{81, 90, 240}; };
        ColorSpec const practice{height < 720 ? ColorMatrix::Bt601 : ColorMatrix::Bt709, ColorRange::Limited};
        intrusive_ptr<IDataVideo> const result = Convert(MakeYuv(PixFmt::Yuv420p, 16, height, {}, red));
        EXPECT_EQ(result->GetColorSpec(), practice);
        EXPECT_TRUE(IsNear(Show(result), Decode(16, height, PixFmt::Yuv420p, practice, red), kUnfiltered)) << height;
    }
}

TEST_F(ColorspaceConverterTest, AcceptedNullAndForeignDataPassUnchanged) {
    class Foreign final : public Proc::DataVideoBase<IDataVideo> {
    public:
        Foreign() : DataVideoBase(PixFmt::Yuv420p, {4, 4, 1, 1}) {}
    };
    Accept({PixFmt::Bgrx, PixFmt::Rgb24});
    for (intrusive_ptr<IDataVideo> const& data :
         {intrusive_ptr<IDataVideo>(Picture(4, 4).ToFrame()), intrusive_ptr<IDataVideo>(new Foreign), {}}) {
        EXPECT_EQ(Convert(data), data);
    }
    EXPECT_EQ(converter->GetStatistic().GetChild("Count").Get<std::uint64_t>(), 0U);
    EXPECT_THROW(converter->SetSettings(Proc::SettingsFrameUploader()), std::bad_cast);
}

TEST_F(ColorspaceConverterTest, AlphaDecidesTheTargetWhereItIsKept) {
    struct Case {
        std::vector<PixFmt> accepted;
        bool keepsAlpha;
        PixFmt from, to;
    };
    for (Case const& c : {Case{{PixFmt::Bgra, PixFmt::Bgrx}, true, PixFmt::Rgb24, PixFmt::Bgrx},
                          {{PixFmt::Bgra, PixFmt::Bgrx}, true, PixFmt::Yuv420p, PixFmt::Bgrx},
                          {{PixFmt::Bgra, PixFmt::Bgrx}, true, PixFmt::Rgba, PixFmt::Bgra},
                          {{PixFmt::Bgra, PixFmt::Bgrx}, false, PixFmt::Rgb24, PixFmt::Bgra},
                          {{PixFmt::Bgra}, true, PixFmt::Rgb24, PixFmt::Bgra}}) {  // there is no better format
        Accept(c.accepted, c.keepsAlpha);
        EXPECT_EQ(Convert(DataVideoFF::Create(c.from, {8, 8, 1, 1}))->GetPixFmt(), c.to);
        boost::intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(c.from, {8, 8, 1, 1});
        converter->UpdateFormatCodec(codec);
        EXPECT_EQ(codec->GetPixFmt(), c.to);
    }
}

TEST_F(ColorspaceConverterTest, RgbKeepsItsBytesTimingAndShape) {
    Accept({PixFmt::Bgra, PixFmt::Bgrx});
    for (bool const hasAlpha : {true, false}) {
        Picture const picture = Picture::Noise(33, 7, hasAlpha);
        intrusive_ptr<DataVideoFF> const source = picture.ToFrame(4, 3);
        source->SetTimestamp(123);
        source->SetDuration(456);
        intrusive_ptr<IDataVideo> const result = Convert(source);
        EXPECT_EQ(result->GetTimestamp(), 123);
        EXPECT_EQ(result->GetDuration(), 456);
        EXPECT_EQ(result->GetFrameInfo(), source->GetFrameInfo());
        EXPECT_TRUE(IsNear(Show(result), picture, 0.0));
    }
}

}  // namespace
}  // namespace Kaltor::Tests
