#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/FilmStrip.h"
#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Cli {
namespace {

using testing::AllOf;
using testing::HasSubstr;

Catalog MakeCatalog() {
    std::string const& ogl = Proc::ImplNames::OGL;
    return Catalog({{"ColorspaceConverter", Proc::ImplNames::DEFAULT, 1},
                    {"EffectZoom", ogl, 1},
                    {"EffectTwirl", ogl, 1},
                    {"Resizer", ogl, 1},
                    {"EffectImageBlender", ogl, 2},
                    {"TransitionZoom", ogl, 2},
                    {"TransitionCrossfade", ogl, 2}});
}

template <typename Action>
std::string RefusalOf(Action action) {
    try {
        action();
    } catch (UsageError const& error) {
        return error.what();
    }
    return "was not refused";
}

TEST(Catalog, KindsAndOrder) {
    Catalog const catalog = MakeCatalog();
    std::vector<std::string> shown;
    for (CatalogEntry const& entry : catalog.GetEntries()) {
        shown.push_back(entry.name + " " + GetName(entry.kind));
    }
    EXPECT_THAT(shown, testing::ElementsAre("EffectZoom effect", "EffectTwirl effect", "Resizer service",
                                            "EffectImageBlender service", "TransitionZoom transition",
                                            "TransitionCrossfade transition"));
    EXPECT_TRUE(catalog.Find("EffectImageBlender").takesMore);
    EXPECT_FALSE(catalog.Find("TransitionZoom").takesMore);
}

TEST(Catalog, NamesAreFoundWholeShortAndInAnyCase) {
    Catalog const catalog = MakeCatalog();
    EXPECT_EQ(catalog.Find("TransitionCrossfade").name, "TransitionCrossfade");
    EXPECT_EQ(catalog.Find("crossfade").name, "TransitionCrossfade");
    EXPECT_EQ(catalog.Find("effecttwirl").name, "EffectTwirl");
    EXPECT_EQ(catalog.Find("resizer").name, "Resizer");
    EXPECT_EQ(catalog.FindTransition("zoom").name, "TransitionZoom");  // two are called so, one is a transition
    EXPECT_EQ(catalog.FindEffect("zoom").name, "EffectZoom");
}

TEST(Catalog, RefusalsSayWhatWouldBeRight) {
    Catalog const catalog = MakeCatalog();
    EXPECT_THAT(RefusalOf([&] { catalog.Find("zoom"); }), AllOf(HasSubstr("EffectZoom"), HasSubstr("TransitionZoom")));
    EXPECT_THAT(RefusalOf([&] { catalog.Find("TransitonCrosfade"); }), HasSubstr("did you mean TransitionCrossfade?"));
    EXPECT_THAT(RefusalOf([&] { catalog.Find("crosfade"); }), HasSubstr("did you mean TransitionCrossfade?"));
    EXPECT_THAT(RefusalOf([&] { catalog.Find("somethingElse"); }), HasSubstr("kaltor list"));
    EXPECT_THAT(RefusalOf([&] { catalog.FindTransition("twirl"); }), HasSubstr("EffectTwirl is an effect"));
    EXPECT_THAT(RefusalOf([&] { catalog.FindEffect("Resizer"); }), HasSubstr("Resizer is a service"));
    EXPECT_THAT(RefusalOf([&] { MakeSettings("EffectBlurGaussian", {{"scal", "1"}}); }), HasSubstr("scale"));
    EXPECT_THAT(RefusalOf([&] {
                    MakeSettings("EffectBlurGaussian", {{"scale", "1.5"}});
                }),
                AllOf(HasSubstr("scale"), HasSubstr("1.5"), HasSubstr("0 to 1")));
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

boost::intrusive_ptr<Proc::DataVideoFF> MakeFlat(PixFmt format, Conf::FrameInfo const& info,
                                                 std::array<std::uint8_t, 4> const& color) {
    boost::intrusive_ptr<Proc::DataVideoFF> picture = Proc::DataVideoFF::Create(format, info);
    AVFrame& frame = picture->GetWritableFrame();
    std::size_t const bytes = format == PixFmt::Rgba ? 4 : 3;
    for (std::uint32_t y = 0; y < info.height; ++y) {
        std::uint8_t* const row = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
        for (std::size_t i = 0; i < info.width * bytes; ++i) {
            row[i] = color[i % bytes];
        }
    }
    return picture;
}

std::array<int, 3> PixelAt(Proc::DataVideoFF const& picture, std::uint32_t x, std::uint32_t y) {
    AVFrame const& frame = picture.GetFrame();
    std::uint8_t const* const pixel = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0] + x * 3;
    return {pixel[0], pixel[1], pixel[2]};
}

TEST(FilmStrip, PlacesScalesAndLabelsItsPictures) {
    constexpr std::uint32_t kWidth = 100;
    // Twice as wide as high on screen, through the pixels' shape.
    Conf::FrameInfo const info{300, 300, 2, 1};
    FilmStrip strip(3, kWidth, info);
    strip.Add(*MakeFlat(PixFmt::Rgb24, info, {255, 0, 0, 0}), "0");
    strip.Add(*MakeFlat(PixFmt::Rgb24, info, {0, 255, 0, 0}), "0.5");
    strip.Add(*MakeFlat(PixFmt::Rgba, info, {0, 0, 255, 128}), "1");
    Proc::DataVideoFF const& picture = *strip.GetPicture();
    std::uint32_t const gap = (picture.GetFrameInfo().width - 3 * kWidth) / 4;
    EXPECT_EQ(PixelAt(picture, gap, gap), (std::array{255, 0, 0}));
    EXPECT_EQ(PixelAt(picture, gap + kWidth - 1, gap + 49), (std::array{255, 0, 0}));
    EXPECT_EQ(PixelAt(picture, 2 * gap + kWidth, gap), (std::array{0, 255, 0}));
    EXPECT_NE(PixelAt(picture, gap + 50, gap + 50), (std::array{255, 0, 0}));  // below the picture
    // Half blue over the first, light square of the ground (0.8 of white).
    std::array<int, 3> const translucent = PixelAt(picture, 3 * gap + 2 * kWidth, gap);
    EXPECT_NEAR(translucent[0], 102, 1);
    EXPECT_NEAR(translucent[2], 230, 1);
    int lit = 0;
    for (std::uint32_t y = gap + 50; y < picture.GetFrameInfo().height; ++y) {
        for (std::uint32_t x = 0; x < kWidth; ++x) {
            lit += PixelAt(picture, gap + x, y)[0] > 200 ? 1 : 0;
        }
    }
    EXPECT_EQ(lit, 16 * 4);  // the dots of a nought, each 2 x 2 pixels
}

TEST(FilmStrip, WrapsAndRefusesWhatIsTooLarge) {
    Conf::FrameInfo const info{16, 9, 1, 1};
    FilmStrip const many(40, 240, info);
    EXPECT_LE(many.GetPicture()->GetFrameInfo().width, 1920U);
    EXPECT_GT(many.GetPicture()->GetFrameInfo().height, 5U * 135U);
    EXPECT_THROW(FilmStrip(200, 4096, info), std::invalid_argument);
    // One pixel wide: a cell does not become endlessly high.
    EXPECT_LT(FilmStrip(2, 240, {1, 4000, 1, 1}).GetPicture()->GetFrameInfo().height, 1100U);
}

}  // namespace
}  // namespace Kaltor::Cli
