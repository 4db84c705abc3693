#include <gmock/gmock.h>

#include "Conf/IPreset.h"
#include "Ogl/DataVideoOGL.h"
#include "Proc/Effects/EffectsOgl/EffectResizer.h"
#include "Proc/Interfaces/IResize.h"
#include "Proc/Settings/SettingsColorEffects.h"
#include "Tests/Support/Caught.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;
using boost::intrusive_ptr;
using Conf::FrameInfo;

SettingsResizer MakeSettings(std::int32_t mode, std::uint32_t width, std::uint32_t height) {
    SettingsResizer settings;
    settings.SetMode(mode);
    settings.SetWidth(width);
    settings.SetHeight(height);
    return settings;
}

struct Roi {
    FrameInfo output;
    CropInfo source;
    CropInfo destination;

    Roi(SettingsResizer const& settings, FrameInfo const& input) {
        output = settings.GetROI(input, source, destination);
    }
};

TEST(ResizerGeometry, TakesWhatIsNotGivenFromThePicture) {
    FrameInfo const input{720, 576, 16, 15};
    EXPECT_EQ(SettingsResizer().GetOutputFrameSize(input), input);
    EXPECT_EQ(MakeSettings(0, 0, 288).GetOutputFrameSize(input), (FrameInfo{360, 288, 16, 15}));
    EXPECT_EQ(MakeSettings(0, 100, 0).GetOutputFrameSize(input), (FrameInfo{100, 80, 16, 15}));
    EXPECT_EQ(MakeSettings(0, 1, 0).GetOutputFrameSize({4000, 10, 1, 1}), (FrameInfo{1, 1, 1, 1}));

    // Square pixels: 576 lines of 4:3 are 768 wide; a crop first, then the shape of what remains.
    SettingsResizer square = MakeSettings(0, 0, 576);
    square.SetPixelAspectX(1);
    square.SetPixelAspectY(1);
    EXPECT_EQ(square.GetOutputFrameSize(input), (FrameInfo{768, 576, 1, 1}));
    square.SetCropLeft(180);
    square.SetCropRight(180);
    EXPECT_EQ(square.GetOutputFrameSize(input), (FrameInfo{384, 576, 1, 1}));
    square.SetHeight(0);
    EXPECT_EQ(square.GetOutputFrameSize(input), (FrameInfo{360, 576, 1, 1}));
}

TEST(ResizerGeometry, FitsCentredToThePixelAndWithoutBarsForTheSameShape) {
    FrameInfo const wide{1920, 1080, 1, 1};
    EXPECT_EQ(Roi(MakeSettings(1, 400, 400), wide).destination, (CropInfo{0, 0, 88, 87}));
    EXPECT_EQ(Roi(MakeSettings(1, 1000, 90), wide).destination, (CropInfo{420, 420, 0, 0}));
    EXPECT_EQ(Roi(MakeSettings(1, 100, 101), {50, 50, 1, 1}).destination, (CropInfo{0, 0, 1, 0}));
    // 853.3 x 480: less than a pixel is no bar, whichever side is rounded.
    for (auto const& [width, height] : {std::pair{640U, 360U}, {853U, 480U}, {854U, 480U}, {1920U, 1080U}, {16U, 9U}}) {
        EXPECT_EQ(Roi(MakeSettings(1, width, height), wide).destination, CropInfo{}) << width;
        EXPECT_EQ(Roi(MakeSettings(2, width, height), wide).source, CropInfo{}) << width;
    }
    // What is seen counts: 720 x 576 of 16:15 is 4:3.
    SettingsResizer square = MakeSettings(1, 800, 576);
    square.SetPixelAspectX(1);
    square.SetPixelAspectY(1);
    EXPECT_EQ(Roi(square, {720, 576, 16, 15}).destination, (CropInfo{16, 16, 0, 0}));
    EXPECT_EQ(Roi(MakeSettings(1, 3, 500), {5000, 1, 1, 1}).destination, (CropInfo{0, 0, 250, 249}));
}

TEST(ResizerGeometry, FillsByCuttingTheSidesOfWhatTheCropLeft) {
    EXPECT_EQ(Roi(MakeSettings(2, 90, 90), {160, 90, 1, 1}).source, (CropInfo{35, 35, 0, 0}));
    EXPECT_EQ(Roi(MakeSettings(2, 160, 45), {160, 91, 1, 1}).source, (CropInfo{0, 0, 23, 23}));
    SettingsResizer cropped = MakeSettings(2, 50, 50);
    cropped.SetCropLeft(10);
    cropped.SetCropTop(40);
    Roi const roi(cropped, {160, 90, 1, 1});
    EXPECT_EQ(roi.source, (CropInfo{60, 50, 40, 0}));
    EXPECT_EQ(roi.destination, CropInfo{});
    EXPECT_EQ(Roi(MakeSettings(2, 1, 5000), {40, 40, 1, 1}).source, (CropInfo{19, 20, 0, 0}));
    EXPECT_EQ(Roi(MakeSettings(0, 90, 30), {160, 90, 1, 1}).source, CropInfo{});
}

TEST(ResizerGeometry, RefusesACropThatLeavesNothing) {
    SettingsResizer settings;
    settings.SetCropLeft(60);
    settings.SetCropRight(39);
    EXPECT_EQ(settings.GetOutputFrameSize({100, 50, 1, 1}).width, 1U);
    settings.SetCropRight(40);
    Caught const caught = Catch<std::invalid_argument>([&] { settings.GetOutputFrameSize({100, 50, 1, 1}); });
    EXPECT_THAT(caught.what, testing::HasSubstr("cropLeft 60 and cropRight 40"));
    SettingsResizer tall;
    tall.SetCropTop(4294967295U);
    tall.SetCropBottom(60);
    EXPECT_THROW(tall.GetOutputFrameSize({100, 50, 1, 1}), std::invalid_argument);
    EXPECT_THROW(MakeSettings(0, 0, 4000000000U).GetOutputFrameSize({16384, 1, 1, 1}), std::invalid_argument);
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
    EXPECT_TRUE(IsNear(Run(SettingsResizer(), input), input, 0.0));
    EXPECT_TRUE(
        IsNear(Run(MakeSettings(0, 32, 9), input),
               Picture::Make(32, 9, false, [&](unsigned x, unsigned y) { return Mean(input, 3 * x, 6 * y, 3, 6); }),
               kFiltered));

    SettingsResizer fit = MakeSettings(1, 32, 25);
    fit.SetBackground({255, 128, 0, 255});
    EXPECT_TRUE(
        IsNear(Run(fit, input),
               Picture::Make(32, 25, false,
                             [&](unsigned x, unsigned y) {
                                 bool const isBar = y < 4 || y >= 22;  // the odd pixel is the top's
                                 return isBar ? Rgba{1, 128 / 255.0, 0, 1} : Mean(input, 3 * x, 3 * (y - 4), 3, 3);
                             }),
               kFiltered));

    EXPECT_TRUE(IsNear(
        Run(MakeSettings(2, 27, 27), input),
        Picture::Make(27, 27, false, [&](unsigned x, unsigned y) { return Mean(input, 21 + 2 * x, 2 * y, 2, 2); }),
        kFiltered));

    SettingsResizer crop;
    crop.SetCropLeft(10);
    crop.SetCropRight(3);
    crop.SetCropTop(1);
    crop.SetCropBottom(20);
    EXPECT_TRUE(IsNear(Run(crop, input),
                       Picture::Make(83, 33, false, [&](unsigned x, unsigned y) { return input.At(x + 10, y + 1); }),
                       0.0));

    Picture const tall = Picture::Noise(20, 50);
    EXPECT_TRUE(IsNear(
        Run(MakeSettings(1, 100, 100), tall),
        Picture::Make(
            100, 100, false,
            [&](unsigned x, unsigned y) {
                return x < 30 || x >= 70 ? Rgba{0, 0, 0, 1} : tall.Sample((x - 30 + 0.5) / 40, (99 - y + 0.5) / 100);
            }),
        kFiltered));
}

TEST_F(ResizerTest, ATranslucentBackgroundGivesAlpha) {
    Picture const opaque = Picture::Noise(40, 20);
    SettingsResizer settings = MakeSettings(1, 20, 20);
    settings.SetBackground({0, 255, 0, 128});
    Picture const actual = Run(settings, opaque);
    EXPECT_TRUE(actual.hasAlpha);
    EXPECT_TRUE(
        IsNear(actual,
               Picture::Make(20, 20, true,
                             [&](unsigned x, unsigned y) {
                                 bool const isBar = y < 5 || y >= 15;
                                 return isBar ? Rgba{0, 1, 0, 128 / 255.0} : Mean(opaque, 2 * x, 2 * (y - 5), 2, 2);
                             }),
               kFiltered));
    EXPECT_FALSE(Run(MakeSettings(1, 20, 20), opaque).hasAlpha);
    Picture const clear = Picture::Noise(40, 20, true);
    Picture const kept = Run(MakeSettings(1, 40, 30), clear);
    EXPECT_TRUE(kept.hasAlpha);
    EXPECT_EQ(kept.At(7, 2), (Rgba{0, 0, 0, 1}));
    EXPECT_EQ(kept.At(7, 12), clear.At(7, 7)) << "the picture replaces the background, alpha and all";
}

TEST_F(ResizerTest, TheFrameAndTheCodecTellTheNewForm) {
    SettingsResizer settings = MakeSettings(1, 0, 288);
    settings.SetPixelAspectX(1);
    settings.SetPixelAspectY(1);
    settings.SetBackground({0, 0, 0, 0});
    intrusive_ptr<IOneInputEffectVideo> const effect = MakeEffect(settings);
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

TEST_F(ResizerTest, TheQuadIsRewrittenOnlyWhenTheGeometryChanges) {
    OnGl([](Ogl::ShaderStorage const&) {
        Ogl::EffectResizer::CacheImpl cache;
        FrameInfo const input{64, 32, 1, 1};
        SettingsResizer settings = MakeSettings(1, 20, 20);
        // Whether the quad's buffer still holds what is put there behind the cache's back.
        auto const isKept = [&](FrameInfo const& info) {
            float const mark = 77.0F;
            cache.GetQuad().GetVertexBuffer().UpdateBuffer(0, sizeof(mark), &mark);
            cache.Initialize(info, settings);
            float found = 0.0F;
            cache.GetQuad().GetVertexBuffer().Bind();
            glGetBufferSubData(GL_ARRAY_BUFFER, 0, sizeof(found), &found);
            return found == mark;
        };
        cache.Initialize(input, settings);
        EXPECT_THAT(*cache.GetQuad().GetCorners(),
                    testing::ElementsAre(0, 0, -1, -0.5F, 1, 0, 1, -0.5F, 1, 1, 1, 0.5F, 0, 1, -1, 0.5F));
        EXPECT_TRUE(isKept(input));
        settings.SetBackground({1, 2, 3, 4});
        EXPECT_TRUE(isKept(input));
        settings.SetCropLeft(4);
        EXPECT_FALSE(isKept(input));
        EXPECT_TRUE(isKept(input));
        EXPECT_FALSE(isKept({65, 32, 1, 1}));
        settings.SetWidth(21);
        EXPECT_FALSE(isKept({65, 32, 1, 1}));
    });
}

TEST_F(ResizerTest, SettingsTravelAsATreeAndStatisticsNameTheMethod) {
    SettingsResizer settings = MakeSettings(2, 320, 0);
    settings.SetCropBottom(5);
    settings.SetBackground({1, 2, 3, 4});
    settings.SetImplName("mine");
    intrusive_ptr<IOneInputEffectVideo> const effect = MakeEffect(settings);
    auto const& typed = dynamic_cast<SettingsResizer const&>(*effect->GetSettingsBase());
    EXPECT_EQ(typed.GetWidth(), 320U);

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

TEST_F(ResizerTest, WhatCannotBeMadeIsRefused) {
    SettingsResizer cropped;
    cropped.SetCropTop(10);
    EXPECT_THROW(Run(cropped, Picture(10, 10)), std::invalid_argument);
    auto const limit = static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    Caught const caught = Catch<std::runtime_error>([&] { Run(MakeSettings(0, limit + 1, 4), Picture(10, 10)); });
    EXPECT_THAT(caught.what, testing::HasSubstr("1 to " + std::to_string(limit)));
    SettingsResizer changed = MakeSettings(0, 5, 5);  // the effect lives on
    EXPECT_EQ(Run(changed, Picture(10, 10)).width, 5U);
}

}  // namespace
}  // namespace Kaltor::Tests
