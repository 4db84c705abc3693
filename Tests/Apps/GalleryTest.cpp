#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Apps/Kaltor/Gallery/Page.h"
#include "Apps/Kaltor/Gallery/Scenes.h"
#include "Tests/Support/Picture.h"

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
    GalleryItem const effect{
        {"EffectColorMixDistinguish", Kind::Effect, false, false, Proc::MakeSettings("EffectColorMixDistinguish")},
        {"v<1>.mp4", "p.jpg", "kaltor render --effect 'X:color=#FF4020' && \"more\""}};
    GalleryItem const service{{"Resizer", Kind::Service, false, false, Proc::MakeSettings("Resizer")},
                              {"", "r.jpg", "kaltor apply Resizer"}};
    std::string const page = MakePage({effect, service}, {320, 180, 1, 1});
    std::unique_ptr<Proc::Settings> const settings = MakeSettings(effect.entry, {});
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
    // The resizer's labels; only the effect has a video; there is no filter for a missing kind.
    EXPECT_TRUE(holds("stretch (0), fit (1) or fill (2)"));
    EXPECT_EQ(page.find("<video"), page.rfind("<video"));
    EXPECT_TRUE(holds("value=\"service\"") && !holds("value=\"transition\""));
}

TEST(GalleryScenes, MoveAndLoopWithoutASeam) {
    auto const draw = [](Scene scene, double time) {
        return Tests::Picture::FromFrame(*DrawScene(scene, {96, 54, 1, 1}, time));
    };
    /// The mean over all pixels and channels.
    auto const difference = [](Tests::Picture const& a, Tests::Picture const& b) {
        double sum = 0.0;
        for (std::size_t i = 0; i < a.pixels.size() * 3; ++i) {
            sum += std::abs(a.pixels[i / 3][i % 3] - b.pixels[i / 3][i % 3]);
        }
        return sum / static_cast<double>(a.pixels.size() * 3);
    };
    for (Scene const scene : {Scene::Lake, Scene::Beach}) {
        constexpr double kFrame = 0.01;
        Tests::Picture const first = draw(scene, 0.0);
        double const inside = difference(first, draw(scene, kFrame));
        EXPECT_GT(inside, 0.0);
        EXPECT_LT(difference(first, draw(scene, 1.0 - kFrame)), 2.0 * inside) << "at the seam";
        EXPECT_GT(difference(first, draw(scene, 0.5)), 2.0 * inside);
    }
    EXPECT_GT(difference(draw(Scene::Lake, 0.0), draw(Scene::Beach, 0.0)), 0.15);
}

}  // namespace
}  // namespace Kaltor::Cli
