// What scripts and edits name: nothing, names that no edit can hold, names as long as can be, files that are not there.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "CommandTest.h"

namespace Kaltor {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Tests::Outcome;

class OutsideTest : public Tests::CommandTest {};

TEST_F(OutsideTest, AnEmptyNameIsNoBlackClip) {
    for (char const* const line : {"render '' -o o.mkv", "render a.png '' -o o.mkv", "farm submit '' -o o.mkv"}) {
        EXPECT_THAT(Fail(line, 2), HasSubstr("no name")) << line;
    }
}

TEST_F(OutsideTest, AnEditHoldsNamesOrSaysThatItCannot) {
    fs::rename(In("a.png"), In("n\xff.png"));
    EXPECT_THAT(Fail("render \"$(printf 'n\\377.png')\" --save-edit e.json", 2), HasSubstr("not UTF-8"));
    Write("f.json", fmt::format(R"({{"version": 1, "clips": [{{"color": "#000000", "fit": "x{}"}}]}})",
                                fmt::join(std::vector<std::string>(50, "\xc3\xbc"), "")));
    EXPECT_THAT(Fail("check f.json", 2), AllOf(HasSubstr("\xc3\xbc"), Not(HasSubstr("\\xc3"))))
        << "a character is not cut";
}

TEST_F(OutsideTest, NamesMayBeAsLongAsFilesCanBe) {
    std::string const name(240, 'n');
    EXPECT_EQ(Succeed(fmt::format("render a.png@-0.1 -o {}%04d.png --fps 20", name)), "");
    EXPECT_TRUE(fs::exists(In(name + "0001.png")));
    EXPECT_TRUE(fs::exists(In(name + "0002.png")));
    EXPECT_EQ(Files().size(), 6U) << "nothing hidden is left";
    EXPECT_THAT(Fail(fmt::format("gallery {}/x --only Invert", std::string(300, 'g')), 1),
                AllOf(HasSubstr("File name too long"), Not(HasSubstr("filesystem error"))));
}

TEST_F(OutsideTest, FilesOfEffectsAreLookedForBeforeAnythingIsDrawn) {
    Write("map.glsl", "uniform sampler2D map;\nvec4 effect(vec2 uv) { return texture2D(map, uv) * getColor(uv); }\n");
    fs::create_directory(In("folder.png"));
    auto const edit = [this](std::string const& effect) {
        Write("e.json",
              fmt::format(R"({{"version": 1, "clips": [{{"file": "a.png", "effects": [{{{}}}]}}]}})", effect));
    };
    edit(R"("effect": "map.glsl", "map": "b.png")");
    EXPECT_EQ(Run("check e.json").status, 0);
    for (auto const& [effect, why] : {std::pair{R"("effect": "map.glsl")", "effects/0/map: ./map.glsl needs a picture"},
                                      {R"("effect": "map.glsl", "map": "gone.png")", "effects/0/map: gone.png: cannot"},
                                      {R"("effect": "map.glsl", "map": "folder.png")", "is not a plain file"},
                                      {R"("effect": "Lut", "file": "gone.cube")", "effects/0/file: gone.cube: cannot"},
                                      {R"("effect": "../map.glsl")", "0/effect: ../map.glsl lies outside"}}) {
        edit(effect);
        Outcome const checked = Run("check e.json");
        EXPECT_NE(checked.status, 0) << effect;
        EXPECT_THAT(checked.err, HasSubstr(why));
        EXPECT_EQ(checked.err.find("clips/"), checked.err.rfind("clips/")) << "the place stands there once";
    }
}

}  // namespace
}  // namespace Kaltor
