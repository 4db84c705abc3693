#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/FilmStrip.h"
#include "Proc/Interfaces/IEffectFactory.h"
#include "Tests/Support/Picture.h"

namespace Kaltor::Cli {
namespace {

class CatalogTest : public testing::Test {
protected:
    std::string const& ogl = Proc::ImplNames::OGL;
    Catalog const catalog{{{"ColorspaceConverter", Proc::ImplNames::DEFAULT, 1},
                           {"EffectZoom", ogl, 1},
                           {"EffectTwirl", ogl, 1},
                           {"Resizer", ogl, 1},
                           {"EffectImageBlender", ogl, 2},
                           {"TransitionZoom", ogl, 2},
                           {"TransitionCrossfade", ogl, 2}}};
};

TEST_F(CatalogTest, NamesAreFoundWholeShortAndInAnyCaseAndRefusalsSayWhatWouldBeRight) {
    EXPECT_EQ(catalog.Find("TransitionCrossfade").name, "TransitionCrossfade");
    EXPECT_EQ(catalog.Find("crossfade").name, "TransitionCrossfade");
    EXPECT_EQ(catalog.Find("effecttwirl").name, "EffectTwirl");
    EXPECT_EQ(catalog.Find("resizer").name, "Resizer");
    EXPECT_EQ(catalog.FindTransition("zoom").name, "TransitionZoom");  // two have this name, one is a transition
    EXPECT_EQ(catalog.FindEffect("zoom").name, "EffectZoom");
    EXPECT_EQ(catalog.Find("zoom", 1).name, "EffectZoom");
    EXPECT_EQ(catalog.Find("zoom", 2).name, "TransitionZoom");
    EXPECT_EQ(catalog.Find("crossfade", 1).name, "TransitionCrossfade");  // a wrong number is reported later
    auto const refusal = [](auto const& action) { return Catch<std::invalid_argument>(action).what; };
    EXPECT_THAT(refusal([&] { catalog.Find("zoom"); }), AllOf(HasSubstr("EffectZoom"), HasSubstr("TransitionZoom")));
    EXPECT_THAT(refusal([&] { catalog.Find("TransitonCrosfade"); }), HasSubstr("did you mean TransitionCrossfade?"));
    EXPECT_THAT(refusal([&] { catalog.Find("crosfade"); }), HasSubstr("did you mean TransitionCrossfade?"));
    EXPECT_THAT(refusal([&] { catalog.Find("somethingElse"); }), HasSubstr("kaltor list"));
    EXPECT_THAT(refusal([&] { catalog.FindTransition("twirl"); }), HasSubstr("EffectTwirl is an effect"));
    EXPECT_THAT(refusal([&] { catalog.FindEffect("Resizer"); }), HasSubstr("Resizer is a service"));
}

TEST(ProgressBar, ShowsFramesRateAndWhatIsLeft) {
    EXPECT_EQ(ProgressBar::Format(150, 600, 5.0, 79),
              "[########......................] 150/600 frames  30 fps  0:15 left");
    EXPECT_EQ(ProgressBar::Format(0, 600, 0.0, 79), "[..............................] 0/600 frames");
    EXPECT_THAT(ProgressBar::Format(1, 100000, 1.0, 79), HasSubstr("1.0 fps  27:46:39 left"));
    for (int columns = 0; columns < 100; ++columns) {
        EXPECT_LE(ProgressBar::Format(599, 600, 7.0, columns).size(), static_cast<std::size_t>(columns));
    }
}

TEST(FilmStrip, PlacesScalesAndLabelsItsPictures) {
    constexpr unsigned kWidth = 100;
    // Twice as wide as high on screen, through the pixels' shape.
    FilmStrip strip(3, kWidth, {300, 300, 2, 1});
    Rgba const red{1, 0, 0, 1};
    strip.Add(*Picture::Flat(300, 300, red).ToFrame(2, 1), "0");
    strip.Add(*Picture::Flat(300, 300, {0, 1, 0, 1}).ToFrame(2, 1), "0.5");
    strip.Add(*Picture::Flat(300, 300, {0, 0, 1, 0.5}, true).ToFrame(2, 1), "1");
    Picture const picture = Picture::FromFrame(*strip.GetPicture());
    unsigned const gap = (picture.width - 3 * kWidth) / 4;
    EXPECT_EQ(picture.At(gap, gap), red);
    EXPECT_EQ(picture.At(gap + kWidth - 1, gap + 49), red);
    EXPECT_EQ(picture.At(2 * gap + kWidth, gap), (Rgba{0, 1, 0, 1}));
    EXPECT_NE(picture.At(gap + 50, gap + 50), red);  // below the picture
    // Half blue over the first, light square of the ground (0.8 of white).
    EXPECT_NEAR(picture.At(3 * gap + 2 * kWidth, gap)[0], 0.4, 1.0 / 255.0);
    EXPECT_NEAR(picture.At(3 * gap + 2 * kWidth, gap)[2], 0.9, 1.0 / 255.0);
    int lit = 0;
    for (unsigned y = gap + 50; y < picture.height; ++y) {
        for (unsigned x = gap; x < gap + kWidth; ++x) {
            lit += picture.At(x, y)[0] > 0.8 ? 1 : 0;
        }
    }
    EXPECT_EQ(lit, 16 * 4);  // the dots of a zero, each 2 x 2 pixels
}

}  // namespace
}  // namespace Kaltor::Cli
