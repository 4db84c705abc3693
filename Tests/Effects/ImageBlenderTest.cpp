#include "Conf/IPreset.h"
#include "Proc/Settings/IBlend.h"
#include "Proc/Settings/SettingsColorEffects.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;

SettingsEffectImageBlender MakeSettings(int opacity, int x, int y) {
    SettingsEffectImageBlender settings;
    settings.opacity = opacity;
    settings.x = x;
    settings.y = y;
    return settings;
}

class ImageBlenderTest : public GlTest {
protected:
    using Items = std::vector<intrusive_ptr<IData>>;

    static Items ToItems(std::vector<Picture> const& pictures) {
        Items items;
        for (Picture const& picture : pictures) {
            items.emplace_back(picture.ToFrame());
        }
        return items;
    }
    static Picture Blend(Settings const& settings, std::vector<Picture> const& pictures) {
        intrusive_ptr<IData> const result = MakeTransition(settings)->ProcessData(ToItems(pictures));
        return Picture::FromFrame(*Download(boost::dynamic_pointer_cast<IDataVideo>(result)));
    }
    /// By the definition: overlay pixel (0, 0) from the lower left lies on the base's (x, y).
    static Picture Expect(SettingsEffectImageBlender const& settings, std::vector<Picture> const& pictures) {
        Picture result = pictures.front();
        for (auto overlay = pictures.begin() + 1; overlay != pictures.end(); ++overlay) {
            for (unsigned row = 0; row < result.height; ++row) {
                for (unsigned column = 0; column < result.width; ++column) {
                    int const x = static_cast<int>(column) - settings.x;
                    int const y = static_cast<int>(result.height - 1 - row) - settings.y;
                    if (x < 0 || y < 0 || x >= static_cast<int>(overlay->width) ||
                        y >= static_cast<int>(overlay->height)) {
                        continue;
                    }
                    Rgba source = overlay->At(static_cast<unsigned>(x), overlay->height - 1 - static_cast<unsigned>(y));
                    source[3] *= settings.opacity / 255.0;
                    Rgba& target = result.At(column, row);
                    for (std::size_t i = 0; i < (result.hasAlpha ? 4U : 3U); ++i) {
                        target[i] = source[i] * source[3] + target[i] * (1 - source[3]);
                    }
                }
            }
        }
        return result;
    }
};

TEST_F(ImageBlenderTest, LaysOverlaysAtTheirPlaceWithAlphaAndOpacity) {
    for (bool const hasAlpha : {false, true}) {
        Picture const base = Picture::Noise(40, 24, hasAlpha, 1);
        // Smaller, larger, portrait.
        for (auto const& [width, height] : {std::pair{13U, 9U}, {60U, 37U}, {7U, 50U}}) {
            Picture const overlay = Picture::Noise(width, height, true, 2);
            for (auto const& [x, y, opacity] :
                 {std::tuple{0, 0, 255}, {5, 3, 128}, {-10, 4, 1}, {4, -7, 200}, {35, 20, 255}, {-3, -2, 77}}) {
                SettingsEffectImageBlender const settings = MakeSettings(opacity, x, y);
                EXPECT_TRUE(IsNear(Blend(settings, {base, overlay}), Expect(settings, {base, overlay}), 2 / 255.0))
                    << Describe(settings);  // alpha is rounded in between
            }
        }
    }
}

TEST_F(ImageBlenderTest, WhatIsOpaqueCoversToTheByteAndWhatIsOutsideDrawsNothing) {
    Picture const base = Picture::Noise(40, 24, false, 1);
    Picture const overlay = Picture::Noise(16, 12, false, 2);
    SettingsEffectImageBlender const inside = MakeSettings(255, 21, 9);
    EXPECT_TRUE(IsNear(Blend(inside, {base, overlay}), Expect(inside, {base, overlay}), 0.0));
    for (auto const& [x, y] : {std::pair{40, 0}, {0, 24}, {-16, 0}, {0, -12}, {32767, -32768}, {-32768, 32767}}) {
        EXPECT_TRUE(IsNear(Blend(MakeSettings(100, x, y), {base, overlay}), base, 0.0)) << x << ", " << y;
    }
}

TEST_F(ImageBlenderTest, TakesAnyNumberOfOverlaysInOrder) {
    std::vector<Picture> const pictures{Picture::Noise(30, 30, false, 1), Picture::Noise(20, 9, true, 2),
                                        Picture::Noise(9, 20, true, 3), Picture::Noise(12, 12, true, 4)};
    SettingsEffectImageBlender const settings = MakeSettings(200, 4, 6);
    EXPECT_TRUE(IsNear(Blend(settings, pictures), Expect(settings, pictures), 3 / 255.0));
    EXPECT_TRUE(IsNear(Blend(settings, {pictures[0]}), pictures[0], 0.0));
}

TEST_F(ImageBlenderTest, PixelAspectsScaleTheOverlay) {
    // A pixel of the overlay is twice as long as one of the base: 8 of them cover 16 pixels from 3 on.
    intrusive_ptr<IData> const result = MakeTransition(MakeSettings(255, 3, 0))
                                            ->ProcessData(Items{Picture::Flat(40, 10, {0, 0, 1, 1}).ToFrame(),
                                                                Picture::Flat(8, 10, {1, 0, 0, 1}).ToFrame(2, 1)});
    Picture const actual = Picture::FromFrame(*Download(boost::dynamic_pointer_cast<IDataVideo>(result)));
    Picture const expected = Picture::Make(40, 10, false, [](unsigned x, unsigned) {
        return x >= 3 && x < 19 ? Rgba{1, 0, 0, 1} : Rgba{0, 0, 1, 1};
    });
    EXPECT_TRUE(IsNear(actual, expected, kUnfiltered));
}

TEST_F(ImageBlenderTest, KeepsTimesAndTheBaseItselfAtNoOpacity) {
    intrusive_ptr<ITwoInputEffectVideo> const effect = MakeTransition(MakeSettings(90, 0, 0));
    intrusive_ptr<IDataVideo> base = Picture::Noise(8, 8, true).ToFrame();
    base->SetTimestamp(123);
    base->SetDuration(45);
    intrusive_ptr<IDataVideo> const overlay = Picture::Noise(4, 4).ToFrame();
    intrusive_ptr<IDataVideo> const before = base;
    effect->Process(base, overlay);
    EXPECT_NE(base, before);
    EXPECT_EQ(base->GetTimestamp(), 123);
    EXPECT_EQ(base->GetDuration(), 45);
    EXPECT_EQ(base->GetPixFmt(), PixFmt::Rgba);

    effect->SetSettings(MakeSettings(0, 0, 0));
    base = before;
    effect->Process(base, overlay);
    EXPECT_EQ(base, before);
    EXPECT_EQ(effect->GetStatistic().GetChild("Count").Get<std::uint64_t>(), 1U);
}

TEST_F(ImageBlenderTest, QueuedFramesKeepTheSettingsOfTheirTime) {
    Picture const base = Picture::Noise(20, 20, false, 1);
    Picture const overlay = Picture::Noise(6, 6, false, 2);
    SettingsEffectImageBlender const then = MakeSettings(255, 2, 3);
    intrusive_ptr<ITwoInputEffectVideo> const effect = MakeTransition(then);
    intrusive_ptr<IDataVideo> data = base.ToFrame();
    effect->Process(data, overlay.ToFrame());
    effect->SetSettings(MakeSettings(10, 9, 9));
    EXPECT_TRUE(IsNear(Picture::FromFrame(*Download(data)), Expect(then, {base, overlay}), 0.0));
}

TEST_F(ImageBlenderTest, TakesItsSettingsFromATree) {
    std::vector<Picture> const pictures{Picture::Noise(20, 20, false, 1), Picture::Noise(6, 6, false, 2)};
    SettingsEffectImageBlender const wanted = MakeSettings(100, 7, -3);
    intrusive_ptr<ITwoInputEffectVideo> const effect = MakeTransition(MakeSettings(255, 1, 2));
    effect->SetSettings(IBlend::Settings2Property(wanted));
    EXPECT_EQ(IBlend::Property2Settings(effect->GetSettings()), wanted);
    intrusive_ptr<IData> const result = effect->ProcessData(ToItems(pictures));
    EXPECT_TRUE(IsNear(Picture::FromFrame(*Download(boost::dynamic_pointer_cast<IDataVideo>(result))),
                       Expect(wanted, pictures), 2 / 255.0));  // alpha is rounded in between
}

TEST_F(ImageBlenderTest, RefusesMissingItemsAndForeignSettings) {
    intrusive_ptr<ITwoInputEffectVideo> const effect = MakeTransition(MakeSettings(255, 1, 2));
    intrusive_ptr<IData> const picture = Picture(4, 4).ToFrame();
    for (Items const& items : {Items{picture, nullptr}, Items{nullptr, picture}, Items{picture, picture, nullptr}}) {
        Caught const caught = Catch<std::invalid_argument>([&] { effect->ProcessData(items); });
        EXPECT_EQ(caught.what, "All data must be present");
        EXPECT_EQ(caught.file, "Proc/Effects/EffectsOgl/ImageBlender");
        EXPECT_EQ(caught.line, 126);
        EXPECT_GT(caught.stackDepth, 0U);
    }
    EXPECT_THROW(effect->ProcessData(Items{}), std::logic_error);
    EXPECT_EQ(effect->ProcessData(Items{nullptr}), nullptr);

    Core::Property const tree = effect->GetSettings();
    EXPECT_EQ(tree.GetChild(Conf::IPreset::KEY_TYPE_ID).Get<std::string>(), ImplNames::OGL);
    EXPECT_THROW(effect->SetSettings(SettingsEffectInvert()), std::bad_cast);
    EXPECT_THROW(effect->SetSettings(Core::Property("Resizer")), std::invalid_argument);
    EXPECT_EQ(effect->GetSettings(), tree);
    EXPECT_EQ(IBlend::Property2Settings(tree), MakeSettings(255, 1, 2));
}

}  // namespace
}  // namespace Kaltor::Tests
