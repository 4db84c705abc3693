#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <unistd.h>

#include "Edit/DocumentReader.h"
#include "Edit/DocumentWriter.h"
#include "Edit/JsonValidator.h"
#include "Edit/Schema.h"
#include "Tests/Support/Caught.h"

namespace Kaltor::Edit::Tests {
namespace {

using Kaltor::Tests::Catch;
using testing::HasSubstr;
using testing::StartsWith;

Host::Catalog const& GetCatalog() {
    static Host::Catalog const catalog = Host::Catalog::Load();
    return catalog;
}

Document ReadText(std::string const& text) {
    return ReadDocument(ParseJson(text, "edit.json", true), GetCatalog());
}

/// Something of every kind.
constexpr char kFull[] = R"json({
  "version": 1, // what this form is called
  "output": {"size": "640x360", "fps": "30000/1001", "background": "#101820", "seed": 3, "crf": 20, "stillDuration": 2},
  "clips": [
    {"file": "a.mp4", "from": 1, "to": "50%", "speed": 2, "keepPitch": false, "reversed": true, "holdLast": "10f",
     "fit": "fill", "focusX": 0.25, "volume": {"keys": [[0, -6], ["100%", 0, "smooth"]]}, "fadeIn": 0.5,
     "effects": [
       {"effect": "blur", "scale": {"keys": [[0, 0.03], ["50%", 0.01, "easeOutCubic"], ["00:00:01:10", 0]]}, "to": 1.5},
       {"effect": "EffectColorMixExchange", "color": {"from": "#FF0080", "to": "#00000000"}, "muted": true, "on": "frame"},
       {"effect": "FishEye"}],
     "joint": {"transition": "Wipe", "duration": "15f", "easing": "cubic-bezier(0.3, 0, 0.2, 1)",
               "direction" : "down", "progress" : {
    "from" : 1, "to" : 0
}
}
},
    {"title": {"text": "Ein\nTitel", "animation": "rise", "size": 0.1, "boxColor": "#00000080"}, "duration": 2},
    {"color": "#FFFFFF", "background": "#FF0000"}
  ],
  "joint": {"transition": "none"},
  "opening": {"transition": "fade", "duration": 0.5, "background": "#FFFFFF"},
  "effects": [{"effect": "Invert", "from": -1}],
  "overlays": [{"file": "logo.png", "anchor": "top-right", "x": -0.02, "width": "120px", "radius": 0.5, "blend": "screen",
                "rotation": {"from": 0, "to": 90}, "enter": {"transition": "Circle"}}],
  "subtitles": [{"file": "a.srt", "offset": -0.5, "style": {"size": 0.05}}],
  "sounds": [{"file": "m.mp3", "loop": true, "duck": {"by": 9}}],
  "mix": {
    "loudness" : -16, "channels" : "stereo"
}
})json";

TEST(DocumentTest, WhatIsWrittenReadsAsTheSameDocument) {
    Document const document = ReadText(kFull);
    ASSERT_EQ(document.clips.size(), 3U);
    Clip const& clip = document.clips[0];
    EXPECT_EQ(clip.from, Time::Seconds(1.0));
    EXPECT_EQ(clip.to, Time::Share(0.5));
    EXPECT_EQ(clip.holdLast, (Time{0.0, 10.0, 0.0}));
    EXPECT_EQ(document.subtitles.at(0).style.value().style, Title::Style::Caption);  // at the bottom
    EXPECT_EQ(clip.fit, Clip::Fit::Fill);
    ASSERT_EQ(clip.effects.size(), 3U);
    EXPECT_EQ(clip.effects[0].settings->GetClassId(), "EffectBlurGaussian");
    ASSERT_EQ(clip.effects[0].keyed.size(), 1U);
    EXPECT_EQ(clip.effects[0].keyed[0].curve.keys[2].time, (Time{1.0, 10.0, 0.0}));
    EXPECT_EQ(clip.effects[1].keyed[0].curve.keys[0].value, (std::vector<double>{255, 0, 128, 255}));
    EXPECT_TRUE(clip.effects[1].isMuted);
    EXPECT_EQ(clip.joint->easing.GetName(), "cubic-bezier(0.3, 0, 0.2, 1)");
    EXPECT_EQ(document.clips[1].source.title->text, "Ein\nTitel");
    EXPECT_FALSE(document.joint.settings) << "none: a cut";

    Json const written = WriteDocument(document);
    EXPECT_EQ(WriteDocument(ReadDocument(written, GetCatalog())), written);
    EXPECT_EQ(written["clips"][0]["effects"][0]["scale"]["keys"][1], (Json{"50%", 0.01, "easeOutCubic"}));
    EXPECT_EQ(written["clips"][0]["effects"][1]["color"]["keys"][1][1], "#00000000");
    EXPECT_EQ(written["clips"][0]["joint"]["direction"], "down");
    EXPECT_EQ(written["overlays"][0]["width"], "120px");
    EXPECT_FALSE(written["clips"][0].contains("muted")) << "defaults are left out";
    EXPECT_FALSE(written["clips"][2].contains("duration"));
    for (char const* const key : {"opening", "effects", "overlays", "subtitles", "sounds", "mix", "output"}) {
        EXPECT_TRUE(written.contains(key)) << key;
    }
}

struct Bad {
    char const* text;
    char const* message;
    bool isKnownToSchema;  ///< whether the schema alone refuses it, too
};

TEST(DocumentTest, EveryErrorHasItsPlace) {
    for (
        Bad const& bad : std::initializer_list<Bad>{
            {R"({"version":1,"clips":[{"file":"a","effects":[{"effect":"blur","scale":3}]}]})",
             "clips/0/effects/0/scale: 3 is above 1", false},
            {R"({"version":1,"clips":[{"file":"a","efects":[]}]})",
             "clips/0/efects: there is no such key; did you mean \"effects\"?", true},
            {R"({"version":1,"clips":[{"file":"a","effects":[{"effect":"blur","scal":1}]}]})",
             "clips/0/effects/0/scal: there is no such key; did you mean \"scale\"?", false},
            {R"({"version":1,"clips":[{"file":"a","effects":[{"effect":"blurr"}]}]})",
             "clips/0/effects/0/effect: there is no effect \"blurr\"; did you mean blur?", false},
            {R"({"version":1,"clips":[{"file":"a","effects":[{"effect":"Wipe"}]}]})",
             "clips/0/effects/0/effect: TransitionWipe is a transition, no effect", false},
            {R"({"version":1,"clips":[{"file":"a","effects":[{"scale":1}]}]})",
             "clips/0/effects/0: it needs the key \"effect\"", true},
            {R"({"version":2,"clips":[{"file":"a"}]})", "version: 2 is not known here", true},
            {R"({"clips":[{"file":"a"}]})", "version: it is missing", true},
            {R"({"version":1,"clips":[]})", "clips: there is no clip", false},
            {R"({"version":1,"clips":"a"})", "clips: \"a\" is not a list", true},
            {R"({"version":1,"clips":[7]})", "clips/0: 7 is not an object", true},
            {R"({"version":1,"clips":[{"file":7}]})", "clips/0/file: 7 is not a text", true},
            {R"({"version":1,"clips":[{"file":"a","speed":"fast"}]})", "clips/0/speed: \"fast\" is not a number", true},
            {R"({"version":1,"clips":[{"file":"a","speed":0.01}]})", "clips/0/speed: 0.01 is below 0.05", true},
            {R"({"version":1,"clips":[{"file":"a","fit":"fil"}]})",
             "clips/0/fit: \"fil\" is none of whole, fill, stretch, blur", true},
            {R"({"version":1,"clips":[{"file":"a","color":"#000000"}]})", "clips/0: it takes only one of", false},
            {R"({"version":1,"clips":[{}]})", "clips/0: it needs one of", false},
            {R"({"version":1,"clips":[{"color":"red"}]})", "clips/0/color: \"red\" is not accepted", true},
            {R"({"version":1,"clips":[{"file":"a","from":"soon"}]})", "clips/0/from: \"soon\" is not a time", false},
            {R"({"version":1,"clips":[{"file":"a","volume":{"keys":[[0,1],[2,3],[1,4]]}}]})",
             "clips/0/volume/keys/2/0: 1 does not come after the key before, at 2", false},
            {R"({"version":1,"clips":[{"file":"a","volume":{"keys":[]}}]})", "clips/0/volume/keys: it takes a list",
             true},
            {R"({"version":1,"clips":[{"file":"a","volume":{"keys":[[0]]}}]})", "clips/0/volume/keys/0: ", true},
            {R"({"version":1,"clips":[{"file":"a","volume":{"from":1}}]})", "clips/0/volume: it takes {\"keys\"", true},
            {R"({"version":1,"clips":[{"file":"a","effects":[{"effect":"Flip","horizontal":{"from":true,"to":false}}]}]})",
             "clips/0/effects/0/horizontal: a flag or a choice cannot change", false},
            {R"({"version":1,"clips":[{"file":"a","joint":{"transition":"Wipe","easing":"easeOutCubik"}}]})",
             "clips/0/joint/easing: \"easeOutCubik\" is not an easing; did you mean easeOutCubic?", false},
            {R"({"version":1,"clips":[{"file":"a"}],"overlays":[{"file":"b","cropLeft":0.5,"cropRight":0.5}]})",
             "overlays/0: the crops leave nothing", false},
            {R"({"version":1,"clips":[{"file":"a"}],"output":{"size":"641x360"}})",
             "output/size: \"641x360\" is not a size", false},
            {R"({"version":1,"clips":[{"file":"a"}],"sounds":[{"loop":true}]})", "sounds/0: it needs the key \"file\"",
             false}}) {
        EXPECT_THAT(Catch<std::invalid_argument>([&] { ReadText(bad.text); }).what, StartsWith(bad.message))
            << bad.text;
        static JsonValidator const validator(MakeSchema());
        std::string const error = validator.FindError(ParseJson(bad.text, "edit.json"));
        EXPECT_EQ(!error.empty(), bad.isKnownToSchema) << bad.text << "\n" << error;
    }
    std::string const deep = R"({"version":1,"clips":)" + std::string(500'000, '[') + std::string(500'000, ']') + "}";
    EXPECT_THAT(Catch<std::runtime_error>([&] { ReadText(deep); }).what, HasSubstr("more than 64 levels"));
    EXPECT_EQ(JsonValidator(MakeSchema()).FindError(ParseJson(kFull, "edit.json", true)), "");
}

TEST(DocumentTest, FilesOfOthersNeedTrust) {
    namespace fs = std::filesystem;
    fs::path const base = fs::temp_directory_path() / fs::path("kaltor-document-" + std::to_string(getpid()));
    fs::path const folder = base / "edit";
    fs::create_directories(folder);
    std::ofstream(base / "secret.mp4") << "x";
    fs::create_symlink(base / "secret.mp4", folder / "link.mp4");
    auto const read = [&](std::string const& file, Trust trust) {
        std::ofstream(folder / "edit.json") << R"({"version":1,"clips":[{"file":")" << file << R"("}]})";
        return ReadDocumentFile((folder / "edit.json").string(), GetCatalog(), trust).clips[0].source.file;
    };
    EXPECT_EQ(read("sub/a.mp4", Trust::OwnFolder), (folder / "sub/a.mp4").string());
    EXPECT_EQ(read("sub/../a.mp4", Trust::OwnFolder), (folder / "a.mp4").string());
    for (std::string const& file : {std::string("../secret.mp4"), (base / "secret.mp4").string(),
                                    std::string("link.mp4"), std::string("sub/../../secret.mp4")}) {
        EXPECT_THAT(Catch<std::invalid_argument>([&] { read(file, Trust::OwnFolder); }).what,
                    HasSubstr("clips/0/file: " + file + " lies outside of the document's folder"));
        EXPECT_TRUE(fs::exists(read(file, Trust::Everywhere))) << file;
    }
    // Written relative to the folder, as far as it lies below it.
    Document document;
    document.clips.resize(2);
    document.clips[0].source.file = (folder / "sub/a.mp4").string();
    document.clips[1].source.file = (base / "b.mp4").string();
    Json const written = ParseJson(FormatDocument(document, folder.string()), "");
    EXPECT_EQ(written["clips"][0]["file"], "sub/a.mp4");
    EXPECT_EQ(written["clips"][1]["file"], (base / "b.mp4").string());
    fs::remove_all(base);
}

}  // namespace
}  // namespace Kaltor::Edit::Tests
