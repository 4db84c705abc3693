// Edits at the command line: options that stand for one, documents, the example edits.
#include <algorithm>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "CommandTest.h"
#include "Edit/Schema.h"

namespace Kaltor {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using Tests::CommandTest;
using Tests::ReadAll;

class EditCommandTest : public CommandTest {
protected:
    void Write(std::string const& name, std::string const& text) const { std::ofstream(In(name)) << text; }
};

TEST_F(EditCommandTest, WrongOptionsGetOneLineAndNoOutput) {
    Write("good.json", R"({"version": 1, "clips": [{"file": "a.png", "duration": 0.5}]})");
    Write("key.json", R"({"version": 1, "clips": [{"file": "a.png", "duratoin": 1}]})");
    Write("far.json", R"({"version": 1, "clips": [{"file": "../log/out"}]})");
    Write("gone.json", R"({"version": 1, "clips": [{"file": "a.png"}, {"file": "gone.mp4"}]})");
    Write("long.json",
          R"({"version": 1, "clips": [{"file": "a.png"}], "closing": {"transition": "fade", "duration": 9}})");
    Write("list.json", "[1]");
    Write("mark.json", R"({"version": 1, "clips": [{"title": {"text": "<b>x", "markup": true}}]})");
    Write("lines.json", R"({"version": 1, "clips": [{"file": "a.png"}], "subtitles": [{"file": "b.png"}]})");
    std::string const two = "render a.png@-1 b.png@-1 -o x.mp4 ";
    struct Case {
        std::string line;
        int status;
        char const* message;
    };
    for (Case const& wrong : std::vector<Case>{
             {two + "--transition 2:fade@0.5", 2, "no joint 2"},
             {two + "--transition fade@0.5,easeOutCubik", 2, "did you mean easeOutCubic?"},
             {two + "--transition fade@x", 2, "is not a time"},
             {two + "--transition-duration 1:0.5", 2, "--transition 1:NAME@0.5"},
             {two + "--transition-duration -1", 2, "it takes seconds"},
             {two + "--fit 1:fil", 2, "whole, fill, stretch or blur"},
             {two + "--fit 3:fill", 2, "there are 2 clips"},
             {two + "--fit x:fill", 2, "begins with no index"},
             {two + "--speed 0:2", 2, "clip 0"},
             {two + "--speed 1:40", 2, "0.05 to 20"},
             {two + "--volume loud", 2, "-120 to 40"},
             {two + "--loudness 3", 2, "-70 to -5 LUFS"},
             {two + "--title Hi:animtion=fade", 2, "did you mean \"animation\"?"},
             {two + "--title Hi:style=headline", 2, "lower-third"},
             {two + "--overlay a.png:width=-", 2, "is not a length"},
             {two + "--overlay gone.png", 1, "gone.png: no such file"},
             {two + "--music a.png", 1, "a.png"},
             {two + "--music gone.mp3:duck={", 2, "is no JSON"},
             {two + "--subtitles gone.srt", 1, "gone.srt"},
             {two + "--fade-in 1f:2", 2, "--fade-in"},
             {two + "--background blue", 2, "--background"},
             {two + "--range 5-", 2, "no frame: the video lasts 1 s"},
             {two + "--range 2-1", 2, "ends before it has started"},
             {two + "--range x", 2, "START-END"},
             {"render a.png@-1 -o x.png --frame 5", 2, "no frame at 5 s: the video lasts 1 s"},
             {"render a.png@-1 -o x.png --frame 0 --range 0-1", 2, "--range"},
             {"render a.png@-1 -o x.mp4 --frame 0", 2, ".png"},
             {"render good.json b.png -o x.mp4", 2, "no other clips beside it"},
             {"render key.json -o x.mp4", 2,
              "key.json: clips/0/duratoin: there is no such key; did you mean \"duration\"?"},
             {"render far.json -o x.mp4", 2, "far.json: clips/0/file: ../log/out lies outside"},
             {"render gone.json -o x.mp4", 1, "gone.json: clips/1/file: gone.mp4: no such file"},
             {"render long.json -o x.mp4", 2, "long.json: closing: it is longer than the video"},
             {"render list.json -o x.mp4", 2, "list.json: "},
             {"render nowhere.json -o x.mp4", 1, "nowhere.json: no such file"},
             {"render a.png --save-edit good.json", 1, "good.json exists; --overwrite"},
             {"render a.png --save-edit nowhere/x.json", 1, "nowhere"},
             {"check key.json", 2, "key.json: clips/0/duratoin"},
             {"check gone.json", 1, "gone.json: clips/1/file"},
             {"check mark.json", 2, "mark.json: clips/0/title: "},
             {"check lines.json", 1, "lines.json: subtitles/0: "},
             {two + "--title Hi:from=1:to=9", 2, "overlays/0: its span from 1 s to 9 s"},
             {"check a.png", 2, "takes the name of one document"},
             {"check", 2, "takes the name of one document"},
             {"check good.json --schema", 2, "--schema takes no document"},
         }) {
        EXPECT_THAT(Fail(wrong.line, wrong.status), HasSubstr(wrong.message)) << wrong.line;
    }
}

TEST_F(EditCommandTest, WhatACommandLineMeansCanBeSavedShownAndRendered) {
    std::string const line =
        "a.png@-0.6 b.png@-0.6 c.png@-0.6 --size 64x36 --fps 10 --seed 3 --codec mjpeg "
        "--transition 2:Wipe@0.3,easeOutCubic:direction=down --transition-duration 0.2 --fit 2:blur "
        "--effect 1:CameraShake --title 'A: b:from=0.2:animation=fade' --overlay small.png:anchor=top-right:width=0.2 "
        "--fade-out 0.2 --background '#102030'";
    Succeed("render " + line + " -o x.avi --save-edit x.json");
    Succeed("render x.json -o y.avi");
    EXPECT_GT(ReadAll(In("x.avi")).size(), 5000U);
    EXPECT_TRUE(ReadAll(In("x.avi")) == ReadAll(In("y.avi")));
    EXPECT_THAT(Succeed("check x.json"), HasSubstr("x.json: right, 1.30 s"));

    std::vector<std::string> const before = Files();
    EXPECT_THAT(Succeed("render x.json -o z.avi --dry-run"),
                AllOf(HasSubstr("64x36, 10 fps, 1.30 s, 13 frames"), HasSubstr("TransitionWipe into the next")));
    json const plan = json::parse(Succeed("render x.json -o z.avi --dry-run --json"));
    EXPECT_EQ(Files(), before);
    EXPECT_EQ(plan.at("frames"), 13);
    EXPECT_EQ(plan.at("clips").at(1).at("joint").at("name"), "TransitionWipe");
    EXPECT_EQ(plan.at("clips").at(1).at("joint").at("frames"), 3);
    EXPECT_EQ(plan.at("overlays").size(), 2U);

    // A piece begins with the picture that the whole shows there.
    Succeed("render x.json -o whole.png --frame 0.5");
    Succeed("render x.json -o piece.avi --range 0.5-0.8");
    Succeed("render piece.avi -o piece.png --frame 0");
    EXPECT_TRUE(Tests::IsNear(Read("piece.png"), Read("whole.png"), 0.1));  // JPEG lies between
    EXPECT_EQ(json::parse(Succeed("render piece.avi --dry-run --json")).at("frames"), 3);
}

TEST_F(EditCommandTest, ADocumentReachesBeyondItsFolderOnlyWithTrust) {
    fs::create_directory(In("edits"));
    Write("edits/x.json", R"({"version": 1, "clips": [{"file": "../a.png", "duration": 0.2}]})");
    EXPECT_THAT(Fail("check edits/x.json", 2), HasSubstr("edits/x.json: clips/0/file: ../a.png lies outside"));
    fs::create_symlink("../a.png", In("edits/link.png"));
    Write("edits/y.json", R"({"version": 1, "clips": [{"color": "#000000"}], "overlays": [{"file": "link.png"}]})");
    EXPECT_THAT(Fail("render edits/y.json -o x.mp4", 2),
                HasSubstr("edits/y.json: overlays/0/file: link.png lies outside"));
    fs::create_symlink("../a.png", In("edits/shot1.png"));
    Write("edits/z.json", R"({"version": 1, "clips": [{"file": "shot%d.png"}]})");
    EXPECT_THAT(Fail("check edits/z.json", 2), HasSubstr("edits/z.json: clips/0/file: shot1.png lies outside"));
    EXPECT_THAT(Succeed("check --trust edits/x.json"), HasSubstr("right, 0.20 s"));
    Succeed("render --trust edits/x.json -o x.mp4");
}

TEST_F(EditCommandTest, ThePublishedSchemaIsTheProgramsOwn) {
    std::string const printed = Succeed("check --schema");
    EXPECT_EQ(printed, Edit::MakeSchema().dump(2) + "\n");
    EXPECT_TRUE(ReadAll(fs::path(KALTOR_SOURCE_DIR) / "docs" / "edit.schema.json") == printed)
        << "after a change: kaltor check --schema > docs/edit.schema.json";
}

TEST_F(EditCommandTest, TheExamplesAreRightAndRender) {
    if (std::system("ffmpeg -version > /dev/null 2>&1") != 0) {
        GTEST_SKIP() << "ffmpeg makes their media";
    }
    fs::path const examples = fs::path(KALTOR_SOURCE_DIR) / "examples" / "edits";
    for (fs::directory_entry const& entry : fs::directory_iterator(examples)) {
        if (!entry.is_directory()) {
            fs::copy(entry.path(), In(entry.path().filename().string()));
        }
    }
    ASSERT_EQ(std::system(fmt::format("'{}'", In("make-media")).c_str()), 0);
    int count = 0;
    for (std::string const& file : Files()) {
        if (fs::path(file).extension() != ".json") {
            continue;
        }
        ++count;
        SCOPED_TRACE(file);
        EXPECT_THAT(Succeed("check " + file), HasSubstr(": right, "));
        Succeed(fmt::format("render {} -o x.mp4 --size 320x180 --overwrite", file));
        json const made = json::parse(Succeed("render x.mp4 --dry-run --json"));
        json const plan = json::parse(Succeed(fmt::format("render {} --size 320x180 --dry-run --json", file)));
        EXPECT_EQ(made.at("frames"), plan.at("frames"));
        EXPECT_EQ(made.at("sound").is_null(), plan.at("sound").is_null());
    }
    EXPECT_GE(count, 4);
    // The title stands in the middle of the tour's first clip, and the sunset's window in the corner: both are bright.
    Succeed("render tour.json -o with.png --frame 1.6 --size 320x180");
    Tests::Picture const with = Read("with.png");
    double brightest = 0.0;
    for (unsigned x = 120; x < 200; ++x) {
        brightest = std::max(brightest, static_cast<double>(with.At(x, 82)[2]));
    }
    EXPECT_GT(brightest, 0.9);
}

}  // namespace
}  // namespace Kaltor
