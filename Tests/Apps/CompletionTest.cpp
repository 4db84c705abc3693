// What the Tab key offers, and the manual pages: both from the program's own description of its options.
#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <gmock/gmock.h>

#include "CommandTest.h"

namespace Kaltor {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class CompletionTest : public Tests::CommandTest {
protected:
    static std::vector<std::string> SplitLines(std::string text) {
        boost::trim_right(text);
        std::vector<std::string> lines;
        if (!text.empty()) {
            boost::split(lines, text, [](char c) { return c == '\n'; });
        }
        return lines;
    }
    /// The words that may stand in the place of the last one.
    std::vector<std::string> Offer(std::string const& words) {
        std::vector<std::string> lines = SplitLines(Succeed("--complete " + words));
        for (std::string& line : lines) {
            line.erase(std::min(line.find('\t'), line.size()));
        }
        return lines;
    }
};

TEST_F(CompletionTest, OffersWhatMayStandThere) {
    EXPECT_THAT(Offer("ren"), ElementsAre("render"));
    EXPECT_THAT(Offer("render a.mp4 --trans"), ElementsAre("--transition", "--transition-duration"));
    EXPECT_THAT(Offer("strip wip"), ElementsAre("Wipe"));
    EXPECT_THAT(Offer("strip transitionwip"), ElementsAre("TransitionWipe"));
    EXPECT_THAT(Offer("apply Wipe a.png --set dir"), ElementsAre("direction="));
    EXPECT_THAT(Offer("apply Wipe --set direction=from-top"),
                ElementsAre("direction=from-top-right", "direction=from-top-left"));
    // Three clips have two joints.
    EXPECT_THAT(Offer("render a b c --transition ''"),
                AllOf(Contains("none"), Contains("2:"), Not(Contains("3:")), Not(Contains("EffectInvert"))));
    EXPECT_THAT(Offer("render a b --effect 2:blur:sc"), ElementsAre("2:blur:scale="));
    EXPECT_THAT(Offer("render a -o b.webm --codec ''"), AllOf(Contains("libvpx-vp9"), Not(Contains("libx264"))));
    EXPECT_THAT(Offer("render a --fit=s"), ElementsAre("--fit=stretch"));
    EXPECT_THAT(Offer("gallery out --only Invert Twir"), ElementsAre("Twirl"));
    EXPECT_THAT(Offer("farm s"), ElementsAre("submit", "status"));
    EXPECT_THAT(Offer("farm submit a.mp4 --engine l"), ElementsAre("local"));
    EXPECT_THAT(Offer("farm submit a b --effect 2:blur:sc"), ElementsAre("2:blur:scale="));
    EXPECT_THAT(Offer("bench --depth ''"), ElementsAre("8", "16f"));
    // A file's name, or nothing that makes sense: left to the shell.
    for (char const* const words :
         {"apply Wipe a", "render ''", "render a -o ''", "nonsense ''",
          "apply Wipe --set nothing=", "apply Nothing --set ''", "farm nonsense ''", "apply Wipe --progress ''"}) {
        EXPECT_THAT(Offer(words), IsEmpty()) << words;
    }
}

TEST_F(CompletionTest, BashGetsWhatFollowsTheSignThatItBreaksWordsAt) {
    std::string const script = fmt::format(
        "PATH='{}':\"$PATH\"; . '{}/Apps/Kaltor/completion/kaltor.bash'; COMP_LINE='kaltor render a.mp4 --effect "
        "1:blur:sc'; "
        "COMP_WORDS=(kaltor render a.mp4 --effect 1 : blur : sc); COMP_CWORD=8; COMP_POINT=${{#COMP_LINE}}; "
        "_kaltor 2>/dev/null; printf '%s\\n' \"${{COMPREPLY[@]}}\"",
        fs::path(KALTOR_COMMAND).parent_path().string(), KALTOR_SOURCE_DIR);
    std::ofstream(In("script")) << script;
    ASSERT_EQ(std::system(fmt::format("bash '{0}' > '{0}.out'", In("script")).c_str()), 0);
    EXPECT_EQ(Tests::ReadAll(In("script.out")), "scale=\n");
}

TEST_F(CompletionTest, ManualPagesShowTheWholeHelp) {
    fs::create_directory(In("pages"));
    Succeed("--write-man-pages pages");
    auto const escaped = [](std::string const& text) { return boost::replace_all_copy(text, "-", "\\-"); };
    auto const check = [&](std::string const& above, std::string const& verb) {
        std::string const name = boost::replace_all_copy(verb, " ", "-");
        std::string const page = Tests::ReadAll(In("pages/kaltor-" + name + ".1"));
        EXPECT_THAT(page, HasSubstr("\\fBkaltor " + escaped(verb) + "\\fR"));
        for (std::string const& option : Offer(verb + " --")) {
            EXPECT_THAT(page, HasSubstr("\\fB" + escaped(option) + "\\fR")) << name;
        }
        EXPECT_THAT(Tests::ReadAll(In("pages/" + above)), HasSubstr("\\fBkaltor\\-" + escaped(name) + "\\fR(1)"));
    };
    for (std::string const& verb : Offer("''")) {
        check("kaltor.1", verb);
    }
    for (std::string const& verb : Offer("farm ''")) {
        check("kaltor-farm.1", "farm " + verb);
    }
    // A line that begins with a dot would be a request of roff.
    std::string const strip = Tests::ReadAll(In("pages/kaltor-render.1"));
    EXPECT_THAT(strip, AllOf(HasSubstr("\n.SH EXAMPLES\n"), HasSubstr(" \\e\n"), Not(HasSubstr("\n'"))));
}

}  // namespace
}  // namespace Kaltor
