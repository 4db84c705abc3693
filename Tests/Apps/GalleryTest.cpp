#include "Apps/Kaltor/Gallery/Page.h"
#include "Tests/Support/Picture.h"

namespace Kaltor::Cli {
namespace {

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

}  // namespace
}  // namespace Kaltor::Cli
