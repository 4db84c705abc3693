// Farm jobs at the command line, with processes of this machine. Slurm: scripts/test-farm.
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "CommandTest.h"

namespace Kaltor {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using Tests::ReadAll;

class FarmCommandTest : public Tests::CommandTest {
protected:
    FarmCommandTest() {
        std::ofstream(In("x.json"))
            << R"({"version": 1, "output": {"size": "64x36", "fps": 10, "seed": 3, "codec": "ffv1"},
                   "joint": {"transition": "Disintegrate", "duration": 0.4},
                   "clips": [{"file": "a.png", "duration": 1.5, "effects": [{"effect": "CameraShake"}]},
                             {"file": "b.png", "duration": 1.5, "effects": [{"effect": "map.glsl", "map": "small.png"}]}]})";
        std::ofstream(In("map.glsl")) << "uniform sampler2D map;\n"
                                         "vec4 effect(vec2 uv) { return 0.5 * (getColor(uv) + texture2D(map, uv)); }\n";
        std::ofstream(In("form.json")) << R"({"version": 1, "output": {"size": "64x36", "fps": 10},
                   "clips": [{"file": "{clip}.png", "duration": "{seconds:number}"}, {"title": {"text": "{name}"}}]})";
        std::ofstream(In("people.csv")) << "name,clip,seconds\n\"O'Neil; touch gone\",a,0.5\nBo,b,1\nCy,c,0.2\n";
    }

    static constexpr char kSubmit[] = "farm submit x.json -o out.mkv --engine local --part-seconds 0.5 ";
};

TEST_F(FarmCommandTest, AJobThatIsKilledIsGoneOnWith) {
    std::string const script = fmt::format(
        "cd '{}' && {{ '{}' {} -j 1 --keep-parts & }} 2> /dev/null; p=$!\n"
        "for i in $(seq 30000); do [ -e out.mkv.farm/parts/00001.json ] && break; sleep 0.02; done\n"
        "kill -9 $p; wait $p 2> /dev/null; [ -e out.mkv.farm/parts/00001.json ] && [ ! -e out.mkv ]",
        (folder / "work").string(), KALTOR_COMMAND, kSubmit);
    ASSERT_EQ(std::system(script.c_str()), 0);
    std::string const first = ReadAll(In("out.mkv.farm/parts/00001.json"));
    EXPECT_THAT(Fail(kSubmit, 1), HasSubstr("a job is there already; --resume"));
    Succeed(std::string(kSubmit) + "-j 2 --resume --keep-parts");
    EXPECT_EQ(ReadAll(In("out.mkv.farm/parts/00001.json")), first);
    json const status = json::parse(Succeed("farm status out.mkv.farm --json"));
    EXPECT_TRUE(status.at("done"));
    EXPECT_EQ(status.at("framesDone"), 26);
    Succeed("farm wait out.mkv.farm");
    Succeed("render x.json -o whole.mkv");
    for (char const* const time : {"0", "0.7", "1.3", "2.5"}) {
        Succeed(fmt::format("render out.mkv -o is.png -y --frame {}", time));
        Succeed(fmt::format("render whole.mkv -o should.png -y --frame {}", time));
        EXPECT_TRUE(ReadAll(In("is.png")) == ReadAll(In("should.png"))) << time;
    }
    // What effects read has to be what it was, too.
    fs::remove(In("out.mkv.farm/parts/00001.json"));
    fs::remove(In("out.mkv.farm/parts/00005.json"));
    std::ofstream(In("map.glsl"), std::ios::app) << "\n";
    EXPECT_THAT(Fail("farm run out.mkv.farm --part 5", 1), HasSubstr("map.glsl: has changed since"));
    Shell(fmt::format("cd / && '{}' farm run '{}' --part 1", KALTOR_COMMAND, In("out.mkv.farm")));
}

TEST_F(FarmCommandTest, WhatCannotBeGetsOneLine) {
    struct Case {
        std::string line;
        int status;
        char const* message;
    };
    std::string const submit = std::string(kSubmit) + "-j 2 ";
    std::string const each = "farm submit form.json --each people.csv --engine local ";
    std::ofstream(In("wrong.csv")) << "name,clip,seconds\nBo,b,x\n";
    for (Case const& wrong : std::vector<Case>{
             {"farm", 2, "say what to do: submit, status, "},
             {"farm sumbit", 2, "did you mean submit?"},
             {"farm submit x.json", 2, "--output is required"},
             {submit + "--partition p", 2, "are for Slurm"},
             {"farm submit x.json -o out.mkv --engine local --part-seconds 0", 2, "0 s is too short"},
             {submit + "--codec gif", 2, "gif"},
             {"farm submit x.json -o out.mkv --engine pbs", 2, "slurm or local"},
             {"farm submit x.json -o out.mkv --job-option array=1", 2, "sets sbatch's option array itself"},
             {"farm submit x.json -o out.mkv --job-option '--wrap=x'", 2, "is not the name of one of"},
             {"farm submit x.json -o out.gif --engine local", 2, "cannot be joined"},
             {"farm submit x.json -o nowhere/out.mkv --engine local", 1, "there is no folder"},
             {each + "-o x.mkv", 2, "both would be written to"},
             {each + "-o '{nam}.mkv'", 2, "did you mean name?"},
             {each + "-o '{clip}.mkv' --size 32x18", 2, "write them into the document"},
             {"farm submit form.json --each wrong.csv -o '{name}.mkv' --engine local", 2,
              "row 1: clips/0/duration: column seconds: \"x\" is not a number"},
             {"farm status work", 1, "does not see it"},
             {"farm run . --part 1", 1, "there is no farm job"},
             {"farm run .", 2, "--part K"},
         }) {
        EXPECT_THAT(Fail(wrong.line, wrong.status), HasSubstr(wrong.message)) << wrong.line;
    }
    EXPECT_THAT(Fail("farm submit x.json -o out.mkv", 1, "PATH=/nowhere"), HasSubstr("--engine local needs none"));
    // A folder that is no job would be in the way of the next attempt.
    EXPECT_THAT(Fail(kSubmit, 1, "sh -c 'ulimit -f 1; exec \"$@\"' sh"),
                HasSubstr("cannot be written (File too large)"));
}

TEST_F(FarmCommandTest, ABatchMakesAVideoOfEachRow) {
    std::string const table = Succeed("farm submit form.json --each people.csv -o 'v-{name}.mkv' --engine local");
    EXPECT_THAT(table, AllOf(HasSubstr("/v-Bo.mkv\n"), HasSubstr("3 videos\n")));
    EXPECT_THAT(Files(), AllOf(testing::Contains("v-O'Neil; touch gone.mkv"), testing::Contains("v-Bo.mkv"),
                               testing::Contains("v-Cy.mkv"), testing::Not(testing::Contains("gone")),
                               testing::Not(testing::Contains("form.json.farm"))));
    for (auto const& [name, frames] : {std::pair{"O'Neil; touch gone", 35}, {"Bo", 40}, {"Cy", 32}}) {
        EXPECT_EQ(json::parse(Succeed(fmt::format("render \"v-{}.mkv\" --dry-run --json", name))).at("frames"), frames);
    }
    // What effects read belongs to the edit's folder, whatever folder the command is run in.
    fs::create_directory(In("edit"));
    fs::copy(In("map.glsl"), In("edit/map.glsl"));
    std::ofstream(In("edit/rows.csv")) << "name,map\nin,map.png\nout,../small.png\n";
    fs::copy(In("small.png"), In("edit/map.png"));
    std::ofstream(In("edit/form.json")) << R"({"version": 1, "output": {"size": "64x36", "fps": 10}, "clips": [
        {"color": "#808080", "duration": 0.2, "effects": [{"effect": "map.glsl", "map": "{map}"}]}]})";
    std::string const rows = "farm submit edit/form.json --each edit/rows.csv -o 'w-{name}.mkv' --engine local";
    EXPECT_THAT(Fail(rows, 2), HasSubstr("row 2: clips/0/effects/0/map: ../small.png lies outside"));
    Succeed(rows + " --trust");
    json const plan = json::parse(Succeed("farm submit x.json -o y.mkv --part-seconds 0.5 --dry-run --json"));
    EXPECT_EQ(plan.at("parts").size(), 5U);
    EXPECT_GT(plan.at("forecast").at(0).at("seconds"), plan.at("forecast").at(1).at("seconds"));
}

}  // namespace
}  // namespace Kaltor
