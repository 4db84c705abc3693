// Timelines of other programs: what they mean in whole frames, and the way there and back.

#include "Edit/Convert/AnyDocument.h"
#include "Edit/Convert/Editly.h"
#include "Edit/Convert/Json5.h"
#include "Edit/Convert/Otio.h"
#include "Edit/DocumentWriter.h"
#include "EditTest.h"
#include "Media/Picture.h"
#include "Tests/Media/MediaTest.h"
#include "Tests/Support/Picture.h"

namespace Kaltor::Edit::Tests {
namespace {

/// Converts with files that are only described, and keeps the warnings.
class Converter {
public:
    Converter() {
        files["a.mov"] = files["b.mov"] = {10.0, false, true, true, 0, 1.5};
        files["silent.mov"] = {10.0, false, true, false, 0, 0.5};
        files["still.png"] = {0.0, true, true, false, 0, 1.5};
        files["m.wav"] = {8.0, false, false, true, 0, 0.0};
    }
    Json Otio(Json const& timeline) {
        warnings.clear();
        return WriteDocument(ReadOtio(timeline, conversion));
    }
    Json Editly(std::string const& text) {
        warnings.clear();
        return WriteDocument(ReadEditly(ParseJson5(text, "e.json5"), conversion));
    }

    std::map<std::string, FileFacts> files;
    std::vector<std::string> warnings;

private:
    Conversion conversion{GetCatalog(),
                          {},
                          [this](std::string const& file) {
                              auto const found = files.find(file);
                              return found == files.end() ? std::nullopt : std::optional(found->second);
                          },
                          [this](std::string const& message) { warnings.push_back(message); }};
};

/// Without an order of the members.
using Unordered = nlohmann::json;

// The forms that OpenTimelineIO writes.

Json At(double value, double rate = 25) {
    return {{"OTIO_SCHEMA", "RationalTime.1"}, {"rate", rate}, {"value", value}};
}
Json Range(double start, double length, double rate = 25) {
    return {{"OTIO_SCHEMA", "TimeRange.1"}, {"start_time", At(start, rate)}, {"duration", At(length, rate)}};
}
Json File(std::string const& url, Json const& available = nullptr) {
    return {{"OTIO_SCHEMA", "ExternalReference.1"}, {"target_url", url}, {"available_range", available}};
}
Json ClipOf(Json const& reference, Json const& range, Json const& effects = Json::array()) {
    return {{"OTIO_SCHEMA", "Clip.2"},
            {"source_range", range},
            {"effects", effects},
            {"markers", Json::array()},
            {"media_references", {{"DEFAULT_MEDIA", reference}}},
            {"active_media_reference_key", "DEFAULT_MEDIA"}};
}
Json GapOf(double length) {
    return {{"OTIO_SCHEMA", "Gap.1"}, {"source_range", Range(0, length)}};
}
Json Transition(double before, double after, std::string const& type = "SMPTE_Dissolve") {
    return {{"OTIO_SCHEMA", "Transition.1"},
            {"transition_type", type},
            {"in_offset", At(before)},
            {"out_offset", At(after)}};
}
Json Warp(double scalar) {
    Json const warp{{"OTIO_SCHEMA", scalar == 0 ? "FreezeFrame.1" : "LinearTimeWarp.1"}, {"time_scalar", scalar}};
    return Json::array({warp});
}
Json TrackOf(std::vector<Json> const& children, char const* kind = "Video", char const* schema = "Track.1") {
    return {{"OTIO_SCHEMA", schema}, {"kind", kind}, {"children", children}};
}
Json Stack(std::vector<Json> const& children, Json const& range = nullptr) {
    return {{"OTIO_SCHEMA", "Stack.1"}, {"children", children}, {"source_range", range}};
}
Json Timeline(std::vector<Json> const& tracks) {
    return {{"OTIO_SCHEMA", "Timeline.1"}, {"global_start_time", At(90000)}, {"tracks", Stack(tracks)}};
}

/// Frames of a document at a rate: of each clip, and of the whole.
std::vector<long> Frames(Json const& document, double rate = 25.0) {
    std::vector<long> frames;
    long total = 0;
    Json const& clips = document["clips"];
    for (std::size_t i = 0; i < clips.size(); ++i) {
        Json const& clip = clips[i];
        double const seconds = clip.contains("duration")
                                   ? clip["duration"].get<double>()
                                   : (clip["to"].get<double>() - clip.value("from", 0.0)) / clip.value("speed", 1.0);
        double const holds = clip.value("holdFirst", 0.0) + clip.value("holdLast", 0.0);
        frames.push_back(std::lround(seconds * rate) + std::lround(holds * rate));
        total += frames.back();
        if (i + 1 < clips.size() && clip.contains("joint")) {
            total -= std::lround(clip["joint"].value("duration", 1.0) * rate);
        }
    }
    frames.push_back(total);
    return frames;
}

TEST(OtioTest, ATransitionTakesTheHandlesOfBothClips) {
    Converter converter;
    Json const cut =
        Timeline({TrackOf({ClipOf(File("a.mov"), Range(50, 100)), Transition(10, 5),
                           ClipOf(File("b.mov", Range(86400, 250)), Range(86420, 60)), Transition(5, 5), GapOf(25)})});
    Json const document = converter.Otio(cut);
    EXPECT_THAT(converter.warnings, IsEmpty());
    EXPECT_EQ(document["output"], (Json{{"fps", 25}}));
    EXPECT_EQ(Unordered(document["clips"]), Unordered::parse(R"([
        {"file": "a.mov", "from": 2, "to": 6.2, "joint": {"transition": "TransitionCrossfade", "duration": 0.6}},
        {"file": "b.mov", "from": 0.4, "to": 3.4, "joint": {"transition": "TransitionCrossfade", "duration": 0.4}},
        {"color": "#000000", "duration": 1.2}])"))
        << document.dump(1);
    EXPECT_THAT(Frames(document), ElementsAre(105, 75, 30, 185));

    // Too little material before the second clip and after the first one.
    Json const tight =
        Timeline({TrackOf({ClipOf(File("a.mov"), Range(100, 147)), Transition(10, 5),
                           ClipOf(File("b.mov"), Range(4, 60)), Transition(2, 0, "Custom_Transition")})});
    Json const shortened = converter.Otio(tight);
    EXPECT_THAT(Frames(shortened), ElementsAre(150, 64, 207));
    EXPECT_THAT(converter.warnings,
                ElementsAre(AllOf(StartsWith("tracks/children/0/children/1: "), HasSubstr("from 15 to 7 frames"),
                                  HasSubstr("a.mov after its end and b.mov before its beginning")),
                            StartsWith("tracks/children/0/children/3: the transition Custom_Transition has no")));
    EXPECT_EQ(shortened["closing"]["duration"], 0.08);

    // Two that meet within one clip.
    Json const crowded = Timeline(
        {TrackOf({ClipOf(File("a.mov"), Range(50, 50)), Transition(5, 15), ClipOf(File("b.mov"), Range(50, 20)),
                  Transition(15, 5), ClipOf(File("a.mov"), Range(150, 50))})});
    EXPECT_THAT(Frames(converter.Otio(crowded)), ElementsAre(65, 30, 55, 120));
    EXPECT_THAT(converter.warnings, ElementsAre(HasSubstr("shortened from 20 to 10 frames")));
}

TEST(OtioTest, OtherRatesSpeedsAndFreezesKeepEveryCutOnItsFrame) {
    Converter converter;
    // 10 frames of 24 fps are 10.42 of 25: cuts at 10.4, 20.8, 31.25, 41.7.
    Json const foreign = ClipOf(File("a.mov"), Range(24, 10, 24));
    EXPECT_THAT(Frames(converter.Otio(Timeline({TrackOf({foreign, foreign, foreign, foreign})}))),
                ElementsAre(10, 11, 10, 11, 42));

    Json const document = converter.Otio(
        Timeline({TrackOf({ClipOf(File("a.mov"), Range(25, 50), Warp(2)), Transition(5, 5),
                           ClipOf(File("a.mov"), Range(50, 50), Warp(-0.5)),
                           ClipOf(File("b.mov"), Range(75, 25), Warp(0)), ClipOf(File("b.mov"), Range(240, 25))})}));
    EXPECT_EQ(Unordered(document["clips"]), Unordered::parse(R"([
        {"file": "a.mov", "from": 1, "to": 5.4, "speed": 2,
         "joint": {"transition": "TransitionCrossfade", "duration": 0.4}},
        {"file": "a.mov", "from": 2, "to": 3.1, "speed": 0.5, "reversed": true},
        {"file": "b.mov", "from": 3, "to": 3.04, "holdLast": 0.96, "muted": true},
        {"file": "b.mov", "from": 9.6, "to": 10, "holdLast": 0.6}])"))
        << document.dump(1);
    EXPECT_THAT(Frames(document), ElementsAre(55, 55, 25, 25, 150));
    EXPECT_THAT(converter.warnings, ElementsAre(HasSubstr("b.mov is 15 frames too short")));

    Json timeline = Timeline({TrackOf({ClipOf(File("a.mov"), Range(0, 24, 23.976023976))})});
    timeline["global_start_time"] = nullptr;
    Json const ntsc = converter.Otio(timeline);
    EXPECT_EQ(ntsc["output"]["fps"], "24000/1001");
    EXPECT_NEAR(ntsc["clips"][0]["to"].get<double>(), 1.001, 1e-9);
}

TEST(OtioTest, UpperTracksAreOverlaysAndSoundTracksBeds) {
    Converter converter;
    Json const document =
        converter.Otio(Timeline({TrackOf({ClipOf(File("a.mov"), Range(0, 50))}),
                                 TrackOf({GapOf(20), Transition(5, 5), ClipOf(File("silent.mov"), Range(25, 30)),
                                          Transition(0, 10), ClipOf(File("still.png"), Range(0, 50))}),
                                 TrackOf({GapOf(10), ClipOf(File("m.wav"), Range(25, 50)), Transition(5, 5),
                                          ClipOf(File("m.wav"), Range(100, 40))},
                                         "Audio")}));
    EXPECT_THAT(converter.warnings, IsEmpty());
    EXPECT_EQ(Unordered(document["clips"]), Unordered::parse(R"([{"file": "a.mov", "to": 2, "muted": true},
                                                 {"color": "#000000", "duration": 2}])"))
        << document.dump(1);
    EXPECT_EQ(Unordered(document["overlays"]), Unordered::parse(R"([
        {"file": "silent.mov", "from": 0.6, "to": 2.4, "start": 0.8, "height": 1,
         "enter": {"transition": "TransitionCrossfade", "duration": 0.4}},
        {"file": "still.png", "from": 2, "to": "100%", "width": 1,
         "enter": {"transition": "TransitionCrossfade", "duration": 0.4}}])"))
        << document.dump(1);
    EXPECT_EQ(Unordered(document["sounds"]), Unordered::parse(R"([
        {"file": "m.wav", "from": 0.4, "to": 2.6, "start": 1, "fadeOut": 0.4},
        {"file": "m.wav", "from": 2.2, "to": "100%", "start": 3.8, "fadeIn": 0.4}])"))
        << document.dump(1);
    // Without a sound track the clips keep their own.
    EXPECT_FALSE(
        converter.Otio(Timeline({TrackOf({ClipOf(File("a.mov"), Range(0, 5))})}))["clips"][0].contains("muted"));
}

TEST(OtioTest, NestedOldAndUnknownThings) {
    Converter converter;
    Json const old{
        {"OTIO_SCHEMA", "Clip.1"}, {"source_range", nullptr}, {"media_reference", File("a.mov", Range(100, 40))}};
    Json nested = TrackOf(
        {ClipOf(File("a.mov"), Range(0, 50)), Transition(5, 5), ClipOf(File("b.mov"), Range(50, 50)), Transition(5, 5)},
        "Video", "Sequence.1");
    nested["source_range"] = Range(30, 40);
    Json off = ClipOf(File("b.mov"), Range(0, 10));
    off["enabled"] = false;
    Json const color{{"OTIO_SCHEMA", "GeneratorReference.1"},
                     {"generator_kind", "SolidColor"},
                     {"parameters", {{"color", "#FF0000"}}}};
    Json const bars{{"OTIO_SCHEMA", "GeneratorReference.1"}, {"generator_kind", "SMPTEBars"}};
    Json const missing{{"OTIO_SCHEMA", "MissingReference.1"}};
    Json sequence{{"OTIO_SCHEMA", "ImageSequenceReference.1"},
                  {"target_url_base", "file:///shots/my%20shot"},
                  {"name_prefix", "f."},
                  {"name_suffix", ".png"},
                  {"frame_zero_padding", 4},
                  {"rate", 50},
                  {"frame_step", 1}};
    converter.files["/shots/my shot/f.%04d.png"] = {0.0, false, true, false, 100, 1.0};
    Json const blur = Json::array({Json{{"OTIO_SCHEMA", "Effect.1"}, {"effect_name", "Gloom"}}});
    Json timeline =
        Timeline({Stack({TrackOf({old, nested, off})}, Range(20, 70)), TrackOf({ClipOf(color, Range(0, 10)),
                                                                                ClipOf(bars, Range(0, 10)),
                                                                                ClipOf(missing, Range(0, 10), blur),
                                                                                ClipOf(sequence, Range(50, 10, 50)),
                                                                                {{"OTIO_SCHEMA", "Marvel.7"}}})});
    Json const collection{{"OTIO_SCHEMA", "SerializableCollection.1"}, {"children", {timeline}}};
    Json const document = converter.Otio(collection);
    EXPECT_EQ(Unordered(document["clips"]), Unordered::parse(R"([
        {"file": "a.mov", "from": 0.8, "to": 1.6},
        {"file": "a.mov", "from": 1.2, "to": 2.2, "joint": {"transition": "TransitionCrossfade", "duration": 0.4}},
        {"file": "b.mov", "from": 1.8, "to": 2.8},
        {"color": "#000000", "duration": 0.4}])"))
        << document.dump(1);
    EXPECT_EQ(Unordered(document["overlays"]), Unordered::parse(R"([
        {"color": "#FF0000", "to": 0.4},
        {"file": "/shots/my shot/f.%04d.png", "fps": 50, "from": 1.2, "to": 1.4, "start": 1, "height": 1}])"))
        << document.dump(1);
    EXPECT_THAT(converter.warnings,
                ElementsAre(HasSubstr("Marvel has no counterpart"), HasSubstr("\"SMPTEBars\" has no counterpart"),
                            HasSubstr("Gloom has no counterpart"), HasSubstr("media are missing")));
}

TEST(OtioTest, UpperTracksOfNestedStacksAreOverlaysInTheirPlace) {
    Converter converter;
    Json noted = ClipOf(File("b.mov"), Range(0, 60));
    noted["markers"] = Json::array({{{"OTIO_SCHEMA", "Marker.2"}}});
    // Ten frames before the stack, of which 20 to 70 are shown; in it another one, from its frame 30 on.
    Json const inner = Stack({TrackOf({ClipOf(File("a.mov"), Range(100, 50))}),
                              TrackOf({GapOf(5), ClipOf(File("still.png"), Range(0, 20))})});
    Json const outer = Stack({TrackOf({noted, inner}), TrackOf({ClipOf(File("silent.mov"), Range(0, 40))}),
                              TrackOf({ClipOf(File("m.wav"), Range(0, 40))}, "Audio")},
                             Range(20, 70));
    Json const document = converter.Otio(Timeline({TrackOf({ClipOf(File("a.mov"), Range(0, 10)), outer})}));
    EXPECT_THAT(Frames(document), ElementsAre(10, 40, 30, 80));
    ASSERT_EQ(document["overlays"].size(), 2U);
    EXPECT_EQ(document["overlays"][0]["file"], "silent.mov");
    EXPECT_EQ(document["overlays"][0]["from"], 0.4);
    EXPECT_EQ(document["overlays"][0]["to"], 1.2);
    EXPECT_EQ(document["overlays"][0]["start"], 0.8);
    EXPECT_EQ(document["overlays"][1]["file"], "still.png");
    EXPECT_EQ(document["overlays"][1]["from"], 2.2);  // 10 + 60 - 20 + 5 frames
    EXPECT_EQ(document["overlays"][1]["to"], 3);
    EXPECT_THAT(converter.warnings, ElementsAre(HasSubstr("markers have no counterpart"),
                                                HasSubstr("its sound tracks are left out")));
}

TEST(OtioTest, AddressesAreFilesOfThisComputer) {
    Converter converter;
    converter.files["/a b/100%.mov"] = converter.files["half%20.mov"] = converter.files["a.mov"];
    auto const file = [&](std::string const& url) {
        return converter.Otio(Timeline({TrackOf({ClipOf(File(url), Range(0, 5))})}))["clips"][0]["file"];
    };
    EXPECT_EQ(file("file:///a%20b/100%25.mov"), "/a b/100%.mov");
    EXPECT_EQ(file("FILE://localhost/x/y.mov"), "/x/y.mov");
    EXPECT_EQ(file("media/x.mov"), "media/x.mov");
    EXPECT_EQ(file("half%20.mov"), "half%20.mov") << "there is a file of that name";
    EXPECT_EQ(file("a%20b.mov"), "a b.mov");
    for (auto const& [url, reason] : {std::pair{"file:///C:/x.mov", "a drive of another system"},
                                      {"D:\\x.mov", "a drive of another system"},
                                      {"file://server/x.mov", "another computer"},
                                      {"https://example.org/x.mov", "only files are read"},
                                      {"file://", "names no file"}}) {
        EXPECT_THAT(Catch<std::invalid_argument>([&, &address = url] { file(address); }).what,
                    AllOf(StartsWith("tracks/children/0/children/0/media_references/DEFAULT_MEDIA/target_url: "),
                          HasSubstr(reason)));
    }
}

TEST(OtioTest, DamagedTimelinesNameThePlace) {
    Converter converter;
    Json const good = Timeline(
        {TrackOf({ClipOf(File("a.mov"), Range(0, 50)), Transition(5, 5), ClipOf(File("b.mov"), Range(50, 50))})});
    ASSERT_NO_THROW(converter.Otio(good));
    std::string const clip = "tracks/children/0/children/0";
    std::string const transition = "tracks/children/0/children/1";
    Json::json_pointer const inClip("/tracks/children/0/children/0");
    Json::json_pointer const inTransition("/tracks/children/0/children/1");
    auto const expect = [&](Json::json_pointer const& at, Json const& value, std::string const& place,
                            std::string const& reason) {
        Json damaged = good;
        damaged[at] = value;
        EXPECT_THAT(Catch<std::invalid_argument>([&] { converter.Otio(damaged); }).what,
                    AllOf(StartsWith(place + ": "), HasSubstr(reason), testing::Not(HasSubstr("\n"))));
    };
    expect(inClip / "source_range" / "duration" / "rate", 0, clip + "/source_range/duration/rate", "above 0");
    expect(inClip / "source_range" / "duration" / "value", -1, clip + "/source_range/duration", "negative");
    expect(inClip / "source_range" / "duration" / "value", "5", clip + "/source_range/duration/value", "no number");
    expect(inClip / "source_range" / "start_time" / "value", 1e300, clip + "/source_range/start_time/value",
           "no number");
    expect(inClip / "source_range" / "start_time", nullptr, clip + "/source_range", "start_time");
    expect(inClip / "OTIO_SCHEMA", 3, clip + "/OTIO_SCHEMA", "no text");
    expect(inClip / "effects", 3, clip + "/effects", "no list");
    expect(inTransition / "in_offset" / "value", -2, transition, "negative");
    expect(Json::json_pointer("/tracks/children"), 7, "tracks/children", "no list");
    Json empty = Timeline({});
    EXPECT_EQ(Catch<std::invalid_argument>([&] { converter.Otio(empty); }).what, "there is nothing on the timeline");
    Json unknown = good;
    unknown[inClip / "source_range"] = nullptr;
    unknown[inClip / "media_references" / "DEFAULT_MEDIA" / "target_url"] = "gone.mov";
    EXPECT_THAT(Catch<std::invalid_argument>([&] { converter.Otio(unknown); }).what,
                StartsWith(clip + ": how long it is"));
}

class RoundTripTest : public Media::Tests::MediaTest {
protected:
    RoundTripTest() {
        Media::Tests::ClipSpec spec;
        spec.frameRate = {25, 1};
        spec.frames = 100;
        spec.sound = Media::SoundFormat{48000, 2};
        Make("a b.mkv", spec);
        spec.sound.reset();
        Make("c.mkv", spec);
        for (int i = 7; i < 40; ++i) {
            Media::WritePng(At(fmt::format("f.{:03}.png", i)), *Kaltor::Tests::Picture::Noise(8, 6).ToFrame(), false);
        }
    }
    void Write(std::string const& name, std::string const& text) const { WriteText(At(name), text); }
    Document Read(std::string const& name) {
        warnings.clear();
        return ReadAnyDocument(At(name), GetCatalog(), {Trust::OwnFolder, false, [this](std::string const& message) {
                                                            warnings.push_back(message);
                                                        }});
    }
    std::string Text(Document const& document) const { return FormatDocument(document, At("")); }

    std::vector<std::string> warnings;
};

TEST_F(RoundTripTest, AnEditComesBackTheSame) {
    Write("edit.json", ReadAll(fs::path(KALTOR_SOURCE_DIR) / "Tests/Edit/round-trip.json"));
    Document const document = Read("edit.json");
    std::vector<std::string> told;
    PlanOptions options;
    options.warn = [&told](std::string const& message) { told.push_back(message); };
    Json const timeline = WriteOtio(document, At(""), options);
    EXPECT_THAT(told, testing::Contains("clips/0: kept for this program only: fit, volume, effects"));
    Write("timeline.otio", timeline.dump());
    EXPECT_EQ(Text(Read("timeline.otio")), Text(document));
    EXPECT_THAT(warnings, IsEmpty());

    // Another program reads the same cuts: without our metadata the times are still those of the edit's plan.
    std::string bare = timeline.dump();
    for (std::size_t at = bare.find("\"kaltor\""); at != std::string::npos; at = bare.find("\"kaltor\"", at + 1)) {
        bare.replace(at, 8, "\"others\"");
    }
    Write("bare.otio", bare);
    Plan const plan = MakePlan(document, {});
    Plan const barePlan = MakePlan(Read("bare.otio"), {});
    EXPECT_EQ(barePlan.frames, plan.frames);
    ASSERT_EQ(barePlan.clips.size(), plan.clips.size());
    for (std::size_t i = 0; i < plan.clips.size(); ++i) {
        EXPECT_EQ(barePlan.clips[i].feed.path, plan.clips[i].feed.path);
        // Transitions of a clip that only stands have no handles, so they may be shorter.
        EXPECT_LE(std::abs(barePlan.clips[i].GetEnd() - plan.clips[i].GetEnd()), plan.clips[i].fadeOut) << i;
    }
    EXPECT_EQ(barePlan.clips[0].feed.start, plan.clips[0].feed.start);
    EXPECT_EQ(barePlan.clips[0].frames, plan.clips[0].frames);
    EXPECT_EQ(barePlan.overlays[0].first, plan.overlays[0].first);

    // What another program has moved counts more than what this one has written.
    Json moved = timeline;
    Json& clip = moved["tracks"]["children"][0]["children"][1];
    ASSERT_EQ(clip["OTIO_SCHEMA"], "Clip.2");
    Json& value = clip["source_range"]["start_time"]["value"];
    value = value.get<double>() + 2;
    Write("timeline.otio", moved.dump());
    Document const changed = Read("timeline.otio");
    EXPECT_NEAR(changed.clips[0].from.seconds, 12 / 25.0, 1e-9);
    EXPECT_EQ(changed.clips[0].effects.size(), 1U);
    EXPECT_EQ(changed.clips[0].fit, Clip::Fit::Fill);
    EXPECT_EQ(MakePlan(changed, {}).frames, plan.frames);
}

TEST_F(RoundTripTest, WhatIsReadIsKnownByItsContent) {
    Write("e.json5", "{outPath: 'x.mp4', clips: [{layers: [{type: 'video', path: 'c.mkv'}]}],}");
    EXPECT_EQ(Read("e.json5").clips.size(), 1U);
    Write("t.json", Timeline({TrackOf({ClipOf(File("c.mkv"), Range(0, 5))})}).dump());
    EXPECT_EQ(Read("t.json").clips[0].source.file, At("c.mkv"));
    for (auto const& [name, text, reason] : std::vector<std::array<std::string, 3>>{
             {"x.json", "[]", "it is no document of a video"},
             {"x.otio", R"({"version": 1, "clips": []})", "it is no document of a video"},
             {"x.json", R"({"clips": [{"file": "c.mkv"}]})", "version: it is missing"},
             {"y.json", Timeline({TrackOf({ClipOf(File("../c.mkv"), Range(0, 5))})}).dump(),
              "outside of the document's folder"}}) {
        Write(name, text);
        EXPECT_THAT(Catch<std::invalid_argument>([&, n = name] { Read(n); }).what,
                    AllOf(StartsWith(At(name) + ": "), HasSubstr(reason)));
    }
}

TEST(Json5Test, TakesAllFormsAndRefusesTheOthers) {
    auto const parse = [](std::string const& text) { return ParseJson5(text, "e.json5"); };
    EXPECT_EQ(
        parse("\xEF\xBB\xBF// c\r\n{/* * / */ a: 'it\\'s \"x\"', $b_1: [1, .5, 5., +2, -0x1F, 1e+2,], \"c\": null,\n"
              "\\u0064: '\\x41\\u00e9\\uD83D\\uDE00\\\nz\\v\\q', \xC3\xA9: {}, n: -9223372036854775808}"),
        (Json{{"a", "it's \"x\""},
              {"$b_1", {1, 0.5, 5.0, 2, -31, 100.0}},
              {"c", nullptr},
              {"d", "A\xC3\xA9\xF0\x9F\x98\x80z\vq"},
              {"\xC3\xA9", Json::object()},
              {"n", -9223372036854775808.0}}));
    EXPECT_EQ(parse("[-Infinity]")[0].get<double>(), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(parse(" NaN ").get<double>()));

    for (auto const& [text, reason] : std::vector<std::pair<std::string, std::string>>{
             {"{a: 1,\n  b 2}", "e.json5: line 2, column 5: there should be a \":\""},
             {"[1 2]", "line 1, column 4: there should be a \",\" or \"]\""},
             {"[,]", "there should be a value"},
             {"{a: x}", "x is no value"},
             {"", "ends where a value should follow"},
             {"1 2", "more after the end"},
             {"'a\nb'", "no end on its line"},
             {"'abc", "no end"},
             {"/* x", "a comment has no end"},
             {"012", "012 is no number"},
             {"1e", "1e is no number"},
             {"0x", "0x is no number"},
             {"- 1", "is no number"},
             {".", "is no number"},
             {"1e999", "is no number"},
             {"'\\1'", "no such escape"},
             {"'\\uD800x'", "surrogate"},
             {"'\\x4g'", "2 hexadecimal digits"},
             {"{1a: 2}", "there should be a key"},
             {"'\xC0\xAF'", "not UTF-8"},
             {std::string(65, '['), "more than 64 levels"}}) {
        EXPECT_THAT(Catch<std::runtime_error>([&, t = text] { parse(t); }).what, HasSubstr(reason)) << text;
    }
    EXPECT_NO_THROW(parse(std::string(64, '[') + std::string(64, ']')));
    std::string many = "{";
    for (int i = 0; i <= 10'000; ++i) {
        many += fmt::format("k{}:0,", i);
    }
    EXPECT_THAT(Catch<std::runtime_error>([&] { parse(many + "}"); }).what, HasSubstr("more than 10000 members"));

    // As many as an object may have, in three of them: each key is compared with all before it.
    std::string full = "{";
    for (int i = 0; i < 10'000; ++i) {
        full += fmt::format("{}\"k{}\":0", i == 0 ? "" : ",", i);
    }
    full += "}";
    std::string const three = fmt::format("[{0},{0},{0}]", full);
    for (bool const isJson5 : {false, true}) {
        auto const read = [&](std::string const& text) { isJson5 ? parse(text) : ParseJson(text, "x.json"); };
        EXPECT_NO_THROW(read(full));
        EXPECT_THAT(Catch<std::runtime_error>([&] { read(three); }).what, HasSubstr("too many objects"));
    }
    // Time grows with the length only: the square of it would be a quarter of an hour.
    std::string const list = fmt::format("[{}]", fmt::join(std::vector<char const*>(1'000'000, "{}"), ","));
    EXPECT_EQ(ParseJson(list, "x.json").size(), 1'000'000U);
    EXPECT_EQ(parse(list).size(), 1'000'000U);
}

TEST(EditlyTest, ConvertsWhatHasACounterpart) {
    Converter converter;
    Json const document = converter.Editly(R"({
      width: 720, fps: 25, outPath: './out.mp4', audioFilePath: 'm.wav', loopAudio: true, keepSourceAudio: true,
      clipsAudioVolume: 0.5, outputVolume: '6dB',
      defaults: {duration: 3, transition: {name: 'wipeLeft', duration: 0.4}, layer: {resizeMode: 'cover'},
                 layerType: {title: {textColor: '#f00'}}},
      clips: [
        {layers: [{type: 'video', path: 'a.mov', cutFrom: 1, cutTo: 5}, {type: 'title', text: 'Hi', position: 'top-left', start: 1}]},
        {duration: 2, transition: {name: 'fade', duration: 5, easing: 'easeOutExpo'},
         layers: {type: 'video', path: 'b.mov', cutTo: 8, resizeMode: 'contain', mixVolume: 0}},
        {transition: null, layers: [{type: 'image', path: 'still.png', zoomDirection: 'out', zoomAmount: 0.2},
                  {type: 'image-overlay', path: 'still.png', position: {x: 0.75, y: 0.5, originX: 'center', originY: 'center'}, width: 0.1},
                  {type: 'detached-audio', path: 'm.wav', start: 1, cutFrom: 2, cutTo: 4}]},
        {duration: 1, layers: [{type: 'fill-color', color: 'white'}]}],
      audioTracks: [{path: 'm.wav', mixVolume: 2, cutFrom: 1, cutTo: 3, start: 5}]})");
    EXPECT_EQ(Unordered(document["output"]), Unordered::parse(R"({"size": "720x480", "fps": 25})"));
    EXPECT_EQ(Unordered(document["clips"]), Unordered::parse(R"([
        {"file": "a.mov", "from": 1, "to": 5, "fit": "fill", "volume": -0.021,
         "joint": {"transition": "TransitionWipe", "duration": 0.4, "direction": "left"}},
        {"file": "b.mov", "to": 8, "speed": 4, "volume": -120,
         "joint": {"transition": "TransitionCrossfade", "easing": "easeOutExpo"}},
        {"file": "still.png", "duration": 3, "fit": "fill",
         "effects": [{"effect": "EffectPanAndZoom", "startZoom": 1.2, "endZoom": 1, "smooth": false}]},
        {"color": "#FFFFFF", "duration": 1}])"))
        << document.dump(1);
    // The third clip begins at 4 - 0.4 + 2 - 1 s; the whole takes 8.6 s.
    EXPECT_EQ(Unordered(document["overlays"]), Unordered::parse(R"([
        {"title": {"text": "Hi", "color": "#FF0000", "anchor": "top-left"}, "from": 1, "to": 4},
        {"file": "still.png", "from": 4.6, "to": 7.6, "x": 0.25, "width": 0.1}])"))
        << document.dump(1);
    EXPECT_EQ(Unordered(document["sounds"]), Unordered::parse(R"([
        {"file": "m.wav", "from": 5.6, "to": 7.6, "start": 2, "volume": 6},
        {"file": "m.wav", "loop": true, "volume": 6},
        {"file": "m.wav", "from": 5, "to": 7, "start": 1, "volume": 12.021}])"))
        << document.dump(1);
    EXPECT_THAT(
        converter.warnings,
        ElementsAre("clips/1/transition/duration: a transition of 5 s is shortened to 1 s, half of the shorter clip"));
}

TEST(EditlyTest, TheRestIsAWarningEachOrAnError) {
    Converter converter;
    Json const document = converter.Editly(R"({
      allowRemoteRequests: true, defaults: {transition: {params: {x: 1}}},
      clips: [{layers: [{type: 'gl', fragmentPath: 'x.frag'}]},
              {layers: [{type: 'linear-gradient', colors: ['#02aab0', '#00cdac']}, {type: 'subtitle', text: 'x', wobble: 1}],
               transition: {name: 'InvertedPageCurl', duration: 0.2}},
              {layers: [{type: 'pause'}]}],
      audioNorm: {enable: true}})");
    EXPECT_EQ(
        document["clips"][0],
        Json::parse(
            R"({"color": "#000000", "duration": 4, "joint": {"transition": "TransitionCrossfade", "duration": 0.5}})"));
    EXPECT_EQ(Unordered(document["clips"][1]["joint"]),
              Unordered::parse(R"({"transition": "TransitionPageturn", "duration": 0.2})"));
    EXPECT_EQ(document["mix"]["loudness"], -16);
    EXPECT_THAT(
        converter.warnings,
        testing::UnorderedElementsAre(
            StartsWith("clips/0/layers/0: a layer of type gl"), HasSubstr("the transition random has no counterpart"),
            StartsWith("defaults/transition/params: "), StartsWith("clips/1/layers/0: a gradient"),
            StartsWith("clips/1/layers/1/wobble: "), HasSubstr("InvertedPageCurl becomes TransitionPageturn"),
            StartsWith("clips/2/layers/0: a random colour"), StartsWith("audioNorm: "),
            StartsWith("allowRemoteRequests: ")));
    for (auto const& [text, reason] : std::vector<std::pair<char const*, char const*>>{
             {"{clips: [{layers: [{type: 'video'}]}]}", "clips/0/layers/0: it needs the key \"path\""},
             {"{clips: [{layers: [{type: 'video', path: 'http://x/a.mov'}]}]}",
              "clips/0/layers/0/path: http://x/a.mov: only files"},
             {"{clips: [{layers: [{type: 'video', path: 'gone.mov'}]}]}", "clips/0/layers/0: how long it is"},
             {"{clips: [{duration: -1, layers: []}]}", "clips/0/duration: "},
             {"{clips: [{layers: [{type: 'pause'}], duration: 'x'}]}", "clips/0/duration: it is no number"},
             {"{clips: [{layers: [{type: 'pause'}]}], outputVolume: 'loud'}", "outputVolume: it is no volume"},
             {"{clips: 3}", "clips: it is no list"}}) {
        EXPECT_THAT(Catch<std::invalid_argument>([&, t = text] { converter.Editly(t); }).what, StartsWith(reason))
            << text;
    }
}

TEST(EditlyTest, DefaultsDoNotMultiply) {
    Converter converter;
    auto const refusal = [&](std::string const& layer, std::string const& types, std::size_t layers) {
        std::string const text =
            fmt::format("{{defaults: {{layer: {{{}}}, layerType: {{{}}}}}, clips: [{{layers: [{}]}}]}}", layer, types,
                        fmt::join(std::vector<std::string>(layers, "{type: 'title', text: 'x', duration: 1}"), ","));
        return Catch<std::invalid_argument>([&] { converter.Editly(text); }).what;
    };
    std::string keys;
    for (int i = 0; i <= 100; ++i) {
        keys += fmt::format("k{}: 0,", i);
    }
    std::string const longText = fmt::format("text: '{}'", std::string(20'000, 'x'));
    EXPECT_THAT(refusal(keys, "", 1), StartsWith("defaults/layer: the defaults of a layer have 30 keys"));
    EXPECT_THAT(refusal("", fmt::format("title: {{{}}}", longText), 1), StartsWith("defaults/layerType/title: "));
    EXPECT_THAT(refusal("", "", 1001), StartsWith("clips/0/layers: a clip has 1000 layers"));
}

}  // namespace
}  // namespace Kaltor::Edit::Tests
