#include <cmath>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Apps/Kaltor/Gallery/Page.h"
#include "Apps/Kaltor/Gallery/Scenes.h"

namespace Kaltor::Cli {
namespace {

TEST(GalleryPage, TitlesAreWords) {
    EXPECT_EQ(MakeTitle("TransitionOrigamiValley"), "Origami valley");
    EXPECT_EQ(MakeTitle("EffectVideoFadeInFadeOut"), "Video fade in fade out");
    EXPECT_EQ(MakeTitle("EffectVHS"), "VHS");
    EXPECT_EQ(MakeTitle("EffectTiltShiftQEL"), "Tilt shift QEL");
    EXPECT_EQ(MakeTitle("FrameUploader"), "Frame uploader");
}

TEST(GalleryPage, ShowsDeclarationsEscaped) {
    GalleryItem const effect{{"EffectColorMixDistinguish", Kind::Effect, false, false},
                             {"v<1>.mp4", "p.jpg", "kaltor render --effect 'X:color=#FF4020' && \"more\""}};
    GalleryItem const service{{"Resizer", Kind::Service, false, false}, {"", "r.jpg", "kaltor apply Resizer"}};
    std::string const page = MakePage({effect, service}, {320, 180, 1, 1});
    std::unique_ptr<Proc::Settings> const settings = MakeSettings("EffectColorMixDistinguish", {});
    // Without the matchers' messages, which would print the page each time.
    auto const holds = [&page](std::string const& text) { return page.find(text) != std::string::npos; };
    for (Proc::Field const& field : settings->GetFields()) {
        EXPECT_TRUE(holds(fmt::format("<code>{}</code>", field.key))) << field.key;
        EXPECT_TRUE(holds(fmt::format("<code>{}</code>", field.Format(field.get(*settings))))) << field.key;
        EXPECT_TRUE(holds(field.DescribeRange()) && holds(std::string(field.help))) << field.key;
    }
    EXPECT_TRUE(holds(fmt::format("<p>{}</p>", settings->GetSummary())));
    EXPECT_TRUE(holds("v&lt;1&gt;.mp4") && holds("&amp;&amp; &quot;more&quot;"));
    EXPECT_FALSE(holds("<1>") || holds("{{") || holds("=\"http"));
    // The resizer's labels; only the effect has a video; no kind that is not there has a filter.
    EXPECT_TRUE(holds("stretch (0), fit (1) or fill (2)"));
    EXPECT_EQ(page.find("<video"), page.rfind("<video"));
    EXPECT_TRUE(holds("value=\"service\"") && !holds("value=\"transition\""));
}

/// Mean difference of two pictures' samples.
double DifferenceOf(Proc::DataVideoFF const& a, Proc::DataVideoFF const& b) {
    double sum = 0.0;
    Conf::FrameInfo const& info = a.GetFrameInfo();
    for (std::uint32_t y = 0; y < info.height; ++y) {
        for (std::uint32_t i = 0; i < info.width * 3; ++i) {
            sum += std::abs(a.GetFrame().data[0][y * static_cast<std::size_t>(a.GetFrame().linesize[0]) + i] -
                            b.GetFrame().data[0][y * static_cast<std::size_t>(b.GetFrame().linesize[0]) + i]);
        }
    }
    return sum / (info.width * info.height * 3.0);
}

TEST(GalleryScenes, MoveAndLoopWithoutASeam) {
    Conf::FrameInfo const size{96, 54, 1, 1};
    for (Scene const scene : {Scene::Lake, Scene::Beach}) {
        constexpr double kFrame = 0.01;
        auto const first = DrawScene(scene, size, 0.0);
        double const atSeam = DifferenceOf(*first, *DrawScene(scene, size, 1.0 - kFrame));
        double const inside = DifferenceOf(*first, *DrawScene(scene, size, kFrame));
        double const half = DifferenceOf(*first, *DrawScene(scene, size, 0.5));
        EXPECT_GT(inside, 0.0);
        EXPECT_LT(atSeam, 2.0 * inside);
        EXPECT_GT(half, 2.0 * inside);
    }
    EXPECT_GT(DifferenceOf(*DrawScene(Scene::Lake, size, 0.0), *DrawScene(Scene::Beach, size, 0.0)), 40.0);
}

}  // namespace
}  // namespace Kaltor::Cli
