#include "Conf/IPreset.h"
#include "Ogl/DataVideoOGL.h"
#include "Proc/Effects/EffectsOgl/EffectResizer.h"
#include "Proc/Settings/IResize.h"
#include "Proc/Settings/SettingsColorEffects.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;
using Conf::FrameInfo;

/// "mode=1 width=400".
SettingsResizer Resizer(std::string const& fields = "") {
    return dynamic_cast<SettingsResizer const&>(*Typed("Resizer " + fields));
}

struct Roi {
    FrameInfo output;
    CropInfo source;
    CropInfo destination;

    Roi(std::string const& fields, FrameInfo const& input) {
        output = Resizer(fields).GetROI(input, source, destination);
    }
};

TEST(ResizerGeometry, TakesWhatIsNotGivenFromThePicture) {
    FrameInfo const input{720, 576, 16, 15};
    // The last: 576 lines of 4:3 are 768 wide; a crop first, then the shape of what remains.
    for (auto const& [fields, output] :
         {std::pair{"", input},
          {"height=288", FrameInfo{360, 288, 16, 15}},
          {"width=100", FrameInfo{100, 80, 16, 15}},
          {"height=576 pixelAspectX=1 pixelAspectY=1", FrameInfo{768, 576, 1, 1}},
          {"height=576 pixelAspectX=1 pixelAspectY=1 cropLeft=180 cropRight=180", FrameInfo{384, 576, 1, 1}},
          {"pixelAspectX=1 pixelAspectY=1 cropLeft=180 cropRight=180", FrameInfo{360, 576, 1, 1}}}) {
        EXPECT_EQ(Resizer(fields).GetOutputFrameSize(input), output) << fields;
    }
    EXPECT_EQ(Resizer("width=1").GetOutputFrameSize({4000, 10, 1, 1}), (FrameInfo{1, 1, 1, 1}));
}

TEST(ResizerGeometry, FitsCentredToThePixelAndFillsByCuttingTheSides) {
    struct Case {
        char const* fields;
        FrameInfo input;
        CropInfo cut, bars;
    };
    FrameInfo const wide{1920, 1080, 1, 1};
    for (Case const& c :
         {Case{"mode=1 width=400 height=400", wide, {}, {0, 0, 88, 87}},
          {"mode=1 width=1000 height=90", wide, {}, {420, 420, 0, 0}},
          {"mode=1 width=100 height=101", {50, 50, 1, 1}, {}, {0, 0, 1, 0}},
          {"mode=1 width=3 height=500", {5000, 1, 1, 1}, {}, {0, 0, 250, 249}},
          // The displayed shape counts: 720 x 576 with pixels of 16:15 is 4:3.
          {"mode=1 width=800 height=576 pixelAspectX=1 pixelAspectY=1", {720, 576, 16, 15}, {}, {16, 16, 0, 0}},
          {"mode=2 width=90 height=90", {160, 90, 1, 1}, {35, 35, 0, 0}, {}},
          {"mode=2 width=160 height=45", {160, 91, 1, 1}, {0, 0, 23, 23}, {}},
          {"mode=2 width=160 height=45", {160, 92, 1, 1}, {0, 0, 24, 23}, {}},
          {"mode=2 width=50 height=50 cropLeft=10 cropTop=40", {160, 90, 1, 1}, {60, 50, 40, 0}, {}},
          {"mode=2 width=1 height=5000", {40, 40, 1, 1}, {19, 20, 0, 0}, {}},
          {"mode=0 width=90 height=30", {160, 90, 1, 1}, {}, {}}}) {
        Roi const roi(c.fields, c.input);
        EXPECT_EQ(roi.source, c.cut) << c.fields;
        EXPECT_EQ(roi.destination, c.bars) << c.fields;
    }
    // 853.3 x 480: less than a pixel is no bar, whichever side is rounded.
    for (auto const& [width, height] : {std::pair{640U, 360U}, {853U, 480U}, {854U, 480U}, {1920U, 1080U}, {16U, 9U}}) {
        for (int const mode : {1, 2}) {
            Roi const roi(fmt::format("mode={} width={} height={}", mode, width, height), wide);
            EXPECT_EQ(roi.destination, CropInfo{}) << width;
            EXPECT_EQ(roi.source, CropInfo{}) << width;
        }
    }
}

TEST(ResizerGeometry, RefusesACropThatLeavesNothing) {
    FrameInfo const input{100, 50, 1, 1};
    EXPECT_EQ(Resizer("cropLeft=60 cropRight=39").GetOutputFrameSize(input).width, 1U);
    Caught const caught =
        Catch<std::invalid_argument>([&] { Resizer("cropLeft=60 cropRight=40").GetOutputFrameSize(input); });
    EXPECT_THAT(caught.what, testing::HasSubstr("cropLeft 60 and cropRight 40"));
    EXPECT_THROW(Resizer("cropTop=4294967295 cropBottom=60").GetOutputFrameSize(input), std::invalid_argument);
    EXPECT_THROW(Resizer("height=4000000000").GetOutputFrameSize({16384, 1, 1, 1}), std::invalid_argument);
}

class ResizerTest : public GlTest {
protected:
    /// Pixels of the picture, a box of them for each pixel of the result.
    static Rgba Mean(Picture const& picture, unsigned left, unsigned top, unsigned width, unsigned height) {
        Rgba sum{};
        for (unsigned y = top; y < top + height; ++y) {
            for (unsigned x = left; x < left + width; ++x) {
                for (std::size_t i = 0; i < sum.size(); ++i) {
                    sum[i] += picture.At(x, y)[i] / (width * height);
                }
            }
        }
        return sum;
    }
};

TEST_F(ResizerTest, StretchesFitsFillsAndCrops) {
    Picture const input = Picture::Noise(96, 54);
    auto const expect = [&](char const* fields, unsigned width, unsigned height, bool hasAlpha, auto const& at,
                            double tolerance = kFiltered) {
        Picture const actual = Run(Resizer(fields), input);
        EXPECT_EQ(actual.hasAlpha, hasAlpha) << fields;
        EXPECT_TRUE(IsNear(actual, Picture::Make(width, height, hasAlpha, at), tolerance)) << fields;
    };
    expect(
        "", 96, 54, false, [&](unsigned x, unsigned y) { return input.At(x, y); }, 0.0);
    expect("width=32 height=9", 32, 9, false, [&](unsigned x, unsigned y) { return Mean(input, 3 * x, 6 * y, 3, 6); });
    auto const fit = [&](Rgba const& bar) {
        return [&input, bar](unsigned x, unsigned y) {  // the odd pixel is the top's
            return y < 4 || y >= 22 ? bar : Mean(input, 3 * x, 3 * (y - 4), 3, 3);
        };
    };
    expect("mode=1 width=32 height=25 background=#FF8000", 32, 25, false, fit({1, 128 / 255.0, 0, 1}));
    expect("mode=1 width=32 height=25 background=#00FF0080", 32, 25, true, fit({0, 1, 0, 128 / 255.0}));
    expect("mode=2 width=27 height=27", 27, 27, false,
           [&](unsigned x, unsigned y) { return Mean(input, 21 + 2 * x, 2 * y, 2, 2); });
    expect(  // three lines too many: two of them on top
        "mode=2 width=96 height=51", 96, 51, false, [&](unsigned x, unsigned y) { return input.At(x, y + 2); }, 0.0);
    expect(
        "cropLeft=10 cropRight=3 cropTop=1 cropBottom=20", 83, 33, false,
        [&](unsigned x, unsigned y) { return input.At(x + 10, y + 1); }, 0.0);

    Picture const tall = Picture::Noise(20, 50);
    Picture const larger = Picture::Make(100, 100, false, [&](unsigned x, unsigned y) {
        return x < 30 || x >= 70 ? Rgba{0, 0, 0, 1} : tall.Sample((x - 30 + 0.5) / 40, (99 - y + 0.5) / 100);
    });
    EXPECT_TRUE(IsNear(Run("Resizer mode=1 width=100 height=100", tall), larger, kFiltered));
    Picture const clear = Picture::Noise(40, 20, true);
    Picture const kept = Run("Resizer mode=1 width=40 height=30", clear);
    EXPECT_TRUE(kept.hasAlpha);
    EXPECT_EQ(kept.At(7, 2), (Rgba{0, 0, 0, 1}));
    EXPECT_EQ(kept.At(7, 12), clear.At(7, 7)) << "the picture replaces the background, alpha and all";
}

TEST_F(ResizerTest, TheFrameAndTheCodecTellTheNewForm) {
    intrusive_ptr<IOneInputEffectVideo> const effect =
        MakeEffect(Resizer("mode=1 height=288 pixelAspectX=1 pixelAspectY=1 background=#00000000"));
    intrusive_ptr<IDataVideo> data = DataVideoFF::Create(PixFmt::Yuv420p, {720, 576, 16, 15});
    data->SetTimestamp(7);
    data->SetDuration(9);
    effect->Process(data);
    EXPECT_EQ(data->GetFrameInfo(), (FrameInfo{384, 288, 1, 1}));
    EXPECT_EQ(data->GetPixFmt(), PixFmt::Rgba);
    EXPECT_EQ(data->GetTimestamp(), 7);
    EXPECT_EQ(data->GetDuration(), 9);
    intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(PixFmt::Yuv420p, {720, 576, 16, 15});
    effect->UpdateFormatCodec(codec);
    EXPECT_EQ(codec->GetFrameInfo(), (FrameInfo{384, 288, 1, 1}));
    EXPECT_EQ(codec->GetPixFmt(), PixFmt::Rgb24);
}

TEST_F(ResizerTest, SettingsTravelAsATreeAndStatisticsNameTheMethod) {
    SettingsResizer settings = Resizer("mode=2 width=320 cropBottom=5 background=#01020304");
    settings.SetImplName("mine");
    intrusive_ptr<IOneInputEffectVideo> const effect = MakeEffect(settings);
    auto const& typed = dynamic_cast<SettingsResizer const&>(*effect->GetSettingsBase());
    EXPECT_EQ(typed.width, 320U);

    Core::Property const tree = effect->GetSettings();
    EXPECT_EQ(tree.GetClassId(), SettingsResizer::CLASS_ID);
    EXPECT_EQ(tree.GetChild(Conf::IPreset::KEY_TYPE_ID).Get<std::string>(), ImplNames::OGL);
    EXPECT_EQ(tree.GetChild("width").Get<std::uint64_t>(), 320U);
    SettingsResizer const back = IResize::Property2Settings(tree);
    EXPECT_EQ(IResize::Settings2Property(back), IResize::Settings2Property(settings));
    intrusive_ptr<IOneInputEffectVideo> const other = MakeEffect(SettingsResizer());
    other->SetSettings(tree);
    EXPECT_EQ(other->GetSettings(), tree);

    EXPECT_THROW(other->SetSettings(Core::Property("EffectInvert")), std::invalid_argument);
    Core::Property bad = tree;
    bad.SetChild("width", Core::Property::Of(std::uint64_t{1} << 40U));
    EXPECT_THROW(other->SetSettings(bad), std::invalid_argument);
    bad.SetChild("width", Core::Property::Of(std::string("wide")));
    EXPECT_THROW(other->SetSettings(bad), Core::MethodIsNotApplicable);
    EXPECT_THROW(other->SetSettings(SettingsEffectInvert()), std::bad_cast);
    EXPECT_EQ(other->GetSettings(), tree);

    Core::Property const statistics = other->GetStatistic();
    EXPECT_EQ(statistics.GetChild("Interpolation method").Get<std::string>(), IResize::ResizeMethods2String(1));
    EXPECT_EQ(statistics.GetChild("Impl ID").Get<std::string>(), ImplNames::OGL);
    EXPECT_EQ(statistics.GetChild("Count").Get<std::uint64_t>(), 0U);
    EXPECT_THROW(IResize::ResizeMethods2String(99), std::invalid_argument);
}

TEST_F(ResizerTest, SeveralThreadsSeeSettingsThatBelongTogether) {
    // They differ in everything, so that a mixture shows.
    std::array const settings{
        Resizer("mode=1 width=300 height=200 pixelAspectX=2 cropLeft=1 background=#01010101"),
        Resizer("mode=2 width=44 height=55 pixelAspectX=3 cropLeft=9 cropTop=4 background=#FEFEFEFE")};
    FrameInfo const input{100, 100, 1, 1};
    std::array<Core::Property, 2> trees;
    std::array<FrameInfo, 2> outputs;
    for (std::size_t i = 0; i < 2; ++i) {
        trees[i] = MakeEffect(settings[i])->GetSettings();
        trees[i].SetChild("implName", Core::Property::Of(std::string(100, static_cast<char>('a' + i))));
        outputs[i] = settings[i].GetOutputFrameSize(input);
    }
    intrusive_ptr<IOneInputEffectVideo> const effect = MakeEffect(settings[0]);
    effect->SetSettings(trees[0]);
    constexpr std::size_t kRounds = 2000;
    std::atomic<int> mixed = 0;
    std::vector<std::jthread> threads;
    for (std::size_t thread = 0; thread < 2; ++thread) {
        threads.emplace_back([&, thread] {
            for (std::size_t round = 0; round < kRounds; ++round) {
                effect->SetSettings(trees[(round + thread) % 2]);
            }
        });
        threads.emplace_back([&] {
            for (std::size_t round = 0; round < kRounds; ++round) {
                Core::Property const seen = effect->GetSettings();
                intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(PixFmt::Rgb24, input);
                effect->UpdateFormatCodec(codec);
                FrameInfo const size = codec->GetFrameInfo();
                mixed += seen != trees[0] && seen != trees[1] ? 1 : 0;
                mixed += size != outputs[0] && size != outputs[1] ? 1 : 0;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(mixed, 0);
}

TEST_F(ResizerTest, WhatCannotBeMadeIsRefused) {
    EXPECT_THROW(Run("Resizer cropTop=10", Picture(10, 10)), std::invalid_argument);
    auto const limit = static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    // A side that follows from the other.
    Caught const caught = Catch<std::runtime_error>([&] { Run("Resizer height=1000", Picture(limit / 1000 + 1, 1)); });
    EXPECT_THAT(caught.what, testing::HasSubstr("1 to " + std::to_string(limit)));
}

}  // namespace
}  // namespace Kaltor::Tests
