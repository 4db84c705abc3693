// Names, shader files and tables of strangers: nothing of them reaches a terminal raw, and JSON stays JSON.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "CommandTest.h"

namespace Kaltor {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Tests::Outcome;

class HostileTest : public Tests::CommandTest {};

TEST_F(HostileTest, ShaderFilesSpeakOfThemselvesWithoutControlCharacters) {
    fs::create_directory(In("shaders"));
    Write("shaders/hostile.glsl",
          "// Clears \x1b[2J the screen \xff.\nuniform float x; // = 1.0; 0..2; rings \x07 \xfe\n"
          "uniform float x; // = 7.0\nvec4 effect(vec2 uv) { return x * getColor(uv); }\n");
    Write("shaders/hostile \x1b[2J.glsl", "vec4 effect(vec2 uv) { return getColor(uv); }\n");
    std::string const path = "KALTOR_SHADER_PATH=shaders";
    for (char const* const line :
         {"describe hostile", "describe shaders/hostile?*.glsl", "list hostile", "list hostile --long", "list --names",
          "list --json", "describe hostile --json", "--complete kaltor apply hos",
          "--complete kaltor apply hostile a.png --set ''",
          "render a.png@-0.2 -o x.mkv --dry-run --effect \"$(echo shaders/hostile?*.glsl)\""}) {
        Outcome const outcome = Run(line, path);
        EXPECT_EQ(outcome.status, 0) << line;
        EXPECT_THAT(outcome.out + outcome.err, AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\x07")),
                                                     Not(HasSubstr("\xff")), Not(HasSubstr("\xfe"))))
            << line;
    }
    EXPECT_THAT(Run("describe hostile", path).out, HasSubstr("\\x07"));
    json const described = json::parse(Run("describe hostile --json", path).out);
    EXPECT_EQ(described.at("name"), "hostile");
    // Declared twice, it is one field.
    ASSERT_EQ(described.at("fields").size(), 1U);
    EXPECT_EQ(described["fields"][0].at("default"), 1.0);
}

TEST_F(HostileTest, NamesThatAreNoUtf8AreShownAndWritten) {
    Write("n\xff.png", Tests::ReadAll(In("a.png")));
    Outcome const made = Run("render \"$(printf 'n\\377.png')\"@-0.2 -o \"$(printf 'o\\377.mkv')\" --json");
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(json::parse(made.out).at("output"), "o\xef\xbf\xbd.mkv");
    EXPECT_GT(fs::file_size(In("o\xff.mkv")), 0U);
    Outcome const planned = Run("render \"$(printf 'n\\377.png')\"@-0.2 -o x.mkv --dry-run --json");
    EXPECT_EQ(planned.status, 0) << planned.err;
    EXPECT_THAT(json::parse(planned.out).dump(), HasSubstr("n\xef\xbf\xbd.png"));
    EXPECT_THAT(Fail("farm submit a.png@-0.2 -o \"$(printf 'p\\377.mkv')\"", 1), HasSubstr("UTF-8"));
}

TEST_F(HostileTest, TablesHaveLimits) {
    Write("edit.json", R"({"version": 1, "clips": [{"color": "#FF0000", "duration": 1}]})");
    std::string names = "c0";
    for (int i = 1; i < 200'000; ++i) {
        names += fmt::format(",c{}", i);
    }
    Write("wide.csv", names + "\n1\n");
    EXPECT_THAT(Fail("farm submit edit.json --each wide.csv -o 'x{c0}.mp4'", 1), HasSubstr("more than 1000 columns"));
}

}  // namespace
}  // namespace Kaltor
