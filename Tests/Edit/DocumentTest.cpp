#include "Edit/DocumentReader.h"
#include "Edit/DocumentWriter.h"
#include "Edit/JsonValidator.h"
#include "Edit/Schema.h"
#include "EditTest.h"

namespace Kaltor::Edit::Tests {
namespace {

Document ReadText(std::string const& text) {
    return ReadDocument(ParseJson(text, "edit.json", true), GetCatalog());
}

/// Something of every kind.
std::string const kFull = ReadAll(fs::path(KALTOR_SOURCE_DIR) / "Tests/Edit/everything.json");

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

TEST(DocumentTest, EveryErrorHasItsPlace) {
    JsonValidator const validator(MakeSchema());
    std::ifstream rows(fs::path(KALTOR_SOURCE_DIR) / "Tests/Edit/refusals.txt");
    int count = 0;
    for (std::string row; std::getline(rows, row); ++count) {
        if (!row.starts_with('#')) {
            std::size_t const message = row.find(" |") + 3;
            std::size_t const text = row.find(" |", message);
            EXPECT_THAT(Catch<std::invalid_argument>([&] { ReadText(row.substr(text + 3)); }).what,
                        StartsWith(row.substr(message, text - message)));
            std::string const error = validator.FindError(ParseJson(row.substr(text + 3), "edit.json"));
            EXPECT_EQ(!error.empty(), row.starts_with("true")) << row << "\n" << error;
        }
    }
    EXPECT_GT(count, 25);
    std::string const deep = R"({"version":1,"clips":)" + std::string(500'000, '[') + std::string(500'000, ']') + "}";
    EXPECT_THAT(Catch<std::runtime_error>([&] { ReadText(deep); }).what, HasSubstr("more than 64 levels"));
    std::string const zeros = R"({"version":1,"clips":[{"file":"a"}],"output":{"size":")" + std::string(500'000, '0');
    EXPECT_THAT(Catch<std::invalid_argument>([&] { ReadText(zeros + R"(64x48"}})"); }).what, StartsWith("output/size"));
    EXPECT_EQ(JsonValidator(MakeSchema()).FindError(ParseJson(kFull, "edit.json", true)), "");
}

TEST(DocumentTest, FilesOfOthersNeedTrust) {
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
