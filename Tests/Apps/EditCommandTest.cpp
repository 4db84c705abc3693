// Edits at the command line: options that stand for one, documents, the example edits.

#include <nlohmann/json.hpp>

#include "CommandTest.h"
#include "Edit/Schema.h"

namespace Kaltor {
namespace {

using nlohmann::json;
using Tests::CommandTest;

using EditCommandTest = CommandTest;

TEST_F(EditCommandTest, WhatACommandLineMeansCanBeSavedShownAndRendered) {
    std::string const line =
        "a.png@-0.6 b.png@-0.6 a.png@-0.6 --size 64x36 --fps 10 --seed 3 --codec mjpeg "
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

    json const part = json::parse(Succeed("render x.json --dry-run --json --range 1.0-1.2"));
    EXPECT_EQ(part.at("frames"), 13);
    EXPECT_EQ(part.at("piece").at("frames"), 2);
    EXPECT_EQ(part.at("piece").at("firstFrame"), 10);
    EXPECT_EQ(part.at("clips").size(), 1U);  // the one before ends at 1 s
    EXPECT_THAT(Succeed("render x.json --dry-run --range 1.0-1.2"), HasSubstr("of it: 1.00 to 1.20 s, 2 frames"));

    // A piece begins with the picture that the whole shows there.
    Succeed("render x.json -o whole.png --frame 0.5");
    Succeed("render x.json -o piece.avi --range 0.5-0.8");
    Succeed("render piece.avi -o piece.png --frame 0");
    EXPECT_TRUE(Tests::IsNear(Read("piece.png"), Read("whole.png"), 0.1));  // JPEG lies between
    EXPECT_EQ(json::parse(Succeed("render piece.avi --dry-run --json")).at("frames"), 3);
}

TEST_F(EditCommandTest, ADocumentReachesBeyondItsFolderOnlyWithTrust) {
    fs::create_directory(In("edits"));
    fs::create_symlink("../a.png", In("edits/shot1.png"));
    Write("edits/x.json", R"({"version": 1, "clips": [{"file": "../a.png", "duration": 0.2}]})");
    Write("edits/z.json", R"({"version": 1, "clips": [{"file": "shot%d.png"}]})");
    EXPECT_THAT(Fail("render edits/x.json -o x.mp4", 2),
                HasSubstr("edits/x.json: clips/0/file: ../a.png lies outside"));
    EXPECT_THAT(Fail("check edits/z.json", 2), HasSubstr("edits/z.json: clips/0/file: shot1.png lies outside"));
    EXPECT_THAT(Succeed("check --trust edits/x.json"), HasSubstr("right, 0.20 s"));
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
