// kaltor convert, and timelines where edits are taken.

#include "CommandTest.h"

namespace Kaltor {
namespace {

using ConvertTest = Tests::CommandTest;

TEST_F(ConvertTest, ThereAndBackAndOnlyWholeFiles) {
    Succeed("render a.png@-1 b.png@-2 --transition Wipe@0.5 --fps 10 --save-edit edit.json");
    Succeed("convert edit.json t.otio");
    Succeed("convert t.otio again.json");
    EXPECT_EQ(ReadAll(In("again.json")), ReadAll(In("edit.json")));
    EXPECT_THAT(Succeed("render t.otio --dry-run"), HasSubstr("TransitionWipe"));
    EXPECT_THAT(Succeed("check t.otio"), HasSubstr("2.50 s"));

    EXPECT_THAT(Fail("convert edit.json t.otio", 1), HasSubstr("t.otio exists"));
    EXPECT_EQ(Run("convert edit.json t.otio -y").status, 0);
    EXPECT_THAT(Fail("convert edit.json t.mp4", 2), HasSubstr("writes an edit (.json) or a timeline (.otio)"));
    Write("bad.json5", "{clips: [{layers: [{type: 'video'}],\n}");
    EXPECT_THAT(Fail("convert bad.json5 new.json", 1), HasSubstr("bad.json5: line 2, column 2: "));
    Write("none.json", "{}");
    EXPECT_THAT(Fail("convert none.json new.json", 2), HasSubstr("none.json: it is no document of a video"));
    EXPECT_THAT(Fail("convert gone.otio new.json", 1), HasSubstr("gone.otio: no such file"));

    // A warning for each thing that is left out, and the file all the same.
    Write("e.json", "{\"fast\": true, \"clips\": [{\"layers\": [{\"type\": \"pause\", \"color\": \"red\"}]}]}");
    Tests::Outcome const outcome = Run("convert e.json new.json");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "kaltor: warning: e.json: fast: it has no counterpart and is left out\n");
    EXPECT_THAT(ReadAll(In("new.json")), HasSubstr("#FF0000"));
}

}  // namespace
}  // namespace Kaltor
