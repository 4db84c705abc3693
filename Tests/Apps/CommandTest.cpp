// The command as its users run it: as a process.
#include "CommandTest.h"

#include <boost/algorithm/string/replace.hpp>
#include <nlohmann/json.hpp>

#include "Host/Catalog.h"
#include "Proc/Settings/Settings.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor {
namespace {

using nlohmann::json;
using Tests::CommandTest;
using Tests::Outcome;

TEST_F(CommandTest, ListJsonIsWholeAndItsDefaultsAreAccepted) {
    Host::Catalog const catalog = Host::Catalog::Load();
    std::vector<std::string> names;
    for (json const& entry : json::parse(Succeed("list --json"))) {
        names.push_back(entry.at("name"));
        if (!entry.at("file").is_null()) {
            continue;  // a shader file
        }
        std::unique_ptr<Proc::Settings> const settings = Host::MakeSettings(catalog.Find(names.back()), {});
        ASSERT_TRUE(settings) << names.back();
        ASSERT_EQ(entry.at("fields").size(), settings->GetFields().size());
        for (json const& field : entry.at("fields")) {
            Proc::Field const& declared = settings->FindField(field.at("name").get<std::string>());
            json const& value = field.at("default");
            if (!value.is_array()) {
                EXPECT_EQ(declared.Parse(value.is_string() ? value.get<std::string>() : value.dump()),
                          declared.get(*settings))
                    << declared.key;
            }
            EXPECT_EQ(field.at("labels").size(), declared.labels.size());
            EXPECT_FALSE(field.at("help").get<std::string>().empty());
        }
    }
    EXPECT_THAT(names, testing::IsSupersetOf({"EffectBlurGaussian", "TransitionCrossfade", "FrameUploader"}));
    std::string const brief = Succeed("list");
    EXPECT_EQ(static_cast<std::size_t>(std::count(brief.begin(), brief.end(), '\n')), names.size());
    EXPECT_THAT(brief, testing::ContainsRegex("EffectBlurGaussian +effect +Blurs.*gaussian-blur"));
    EXPECT_THAT(Succeed("list green-screen --long"), AllOf(HasSubstr("EffectChromakey"), HasSubstr("tolerance")));
    EXPECT_THAT(Succeed("describe blurgaussian"), HasSubstr("scale"));
    EXPECT_THAT(Succeed("describe DISSOLVE"), AllOf(HasSubstr("TransitionCrossfade"), HasSubstr("cross-dissolve")));
    EXPECT_THAT(Succeed("describe blur"), AllOf(HasSubstr("TransitionBlur"), HasSubstr("blur is EffectBlurGaussian")));
    EXPECT_THAT(Fail("describe miniature", 2), HasSubstr("EffectTiltShiftQEL may be meant"));
}

TEST_F(CommandTest, ApplyRunsATransitionByProgressAndByTime) {
    for (auto const& [how, share] :
         {std::pair{"", 0.0}, {"--progress 1", 1.0}, {"--progress 0.25", 0.25}, {"--time 0.25", 0.25}}) {
        EXPECT_EQ(Succeed(fmt::format("apply TransitionCrossfade a.png b.png -o x.png {}", how)), "");
        Picture const mixed = Picture::Make(24, 14, false, [&, weight = share](unsigned x, unsigned y) {
            return Tests::Mix(first.At(x, y), second.At(x, y), weight);
        });
        // The mix is of 8 bits and drawn by blending.
        EXPECT_TRUE(IsNear(Read("x.png"), mixed, share == 0.0 || share == 1.0 ? 0.0 : Tests::kUnfiltered)) << how;
    }
}

TEST_F(CommandTest, ApplyKeepsAlphaAndTakesStandardStreams) {
    Succeed("apply EffectBlurGaussian c.png -o x.png --set scale=0.2");
    EXPECT_TRUE(Read("x.png").hasAlpha);
    EXPECT_FALSE(IsNear(Read("x.png"), translucent, 0.1));
    std::ofstream(In("y.png"), std::ios::binary) << Succeed("apply EffectBlurGaussian - -o - --set scale=0.2 < c.png");
    EXPECT_TRUE(IsNear(Read("y.png"), Read("x.png"), 0.0));
    for (std::string const service : {"FrameUploader", "FrameDownloader"}) {
        Succeed("apply " + service + " c.png -o x.png");
        EXPECT_TRUE(IsNear(Read("x.png"), translucent, 0.0)) << service;
    }
}

TEST_F(CommandTest, WhatIsWrongGetsOneLineAndNoOutput) {
    std::string const begin = R"({"version": 1, "clips": [)";
    for (auto const& [name, text] : std::map<std::string, std::string>{
             {"empty.png", ""},
             {"text.png", "this is no picture at all, only some words"},
             {"cut.png", ReadAll(In("c.png")).substr(0, 40)},
             {"list.json", "[1]"},
             {"good.json", begin + R"({"file": "a.png", "duration": 0.5}]})"},
             {"key.json", begin + R"({"file": "a.png", "duratoin": 1}]})"},
             {"far.json", begin + R"({"file": "../log/out"}]})"},
             {"gone.json", begin + R"({"file": "a.png"}, {"file": "gone.mp4"}]})"},
             {"long.json", begin + R"({"file": "a.png"}], "closing": {"transition": "fade", "duration": 9}})"},
             {"mark.json", begin + R"({"title": {"text": "<b>x", "markup": true}}]})"},
             {"lines.json", begin + R"({"file": "a.png"}], "subtitles": [{"file": "b.png"}]})"}}) {
        Write(name, text);
    }
    std::ifstream rows(fs::path(KALTOR_SOURCE_DIR) / "Tests/Apps/refusals.txt");
    int count = 0;
    for (std::string row; std::getline(rows, row);) {
        if (!row.starts_with('#')) {
            std::size_t const message = row.find(" |") + 3;
            std::size_t const line = row.find(" |", message);
            EXPECT_THAT(Fail(row.substr(std::min(line + 3, row.size())), std::stoi(row)),
                        HasSubstr(row.substr(message, line - message)))
                << row;
            ++count;
        }
    }
    EXPECT_GT(count, 80);
}

TEST_F(CommandTest, AGallerysCommandsReproduceItsPreviews) {
    // libx264's decisions depend on memory that it does not set: both find the same there.
    std::string const memory = "MALLOC_PERTURB_=1";
    Tests::Outcome const made = Run("gallery out/ --size 32x18 --input a.png --only pixels chromakey resizer", memory);
    EXPECT_EQ(made.status, 0);
    EXPECT_EQ(made.out + made.err, "");
    std::string const page = ReadAll(In("out/index.html"));
    int commands = 0;
    std::string const mark = "\"><code>kaltor ";
    for (std::size_t at = page.find(mark); at != std::string::npos; at = page.find(mark, at + 1), ++commands) {
        std::size_t const begin = at + mark.size();
        std::string command = page.substr(begin, page.find('<', begin) - begin);
        boost::replace_all(command, "&apos;", "'");
        std::size_t const output = command.find(" -o ") + 4;
        fs::path const file(command.substr(output, command.find(' ', output) - output));
        Shell(fmt::format("cd out && {} '{}' {}", memory, KALTOR_COMMAND, command));
        if (file.extension() == ".mp4") {
            EXPECT_TRUE(ReadAll(fs::path(In("out")) / file) == ReadAll(fs::path(In("out/previews")) / file)) << command;
        }
        EXPECT_TRUE(fs::exists(fs::path(In("out/previews")) / fs::path(file).replace_extension(".jpg")));
    }
    EXPECT_EQ(commands, 3);
    for (std::string const file : {"gallery.css", "gallery.js", "pictures/first.mp4", "pictures/second.mp4"}) {
        EXPECT_GT(ReadAll(In("out/" + file)).size(), 500U) << file;
    }
    EXPECT_THAT(Fail("gallery out --size 32x18 --only invert", 1), HasSubstr("--overwrite"));
    fs::create_directory(In(".out.999-3.partial"));
    EXPECT_THAT(Run("gallery out --size 32x18 --input a.png --input b.png --only invert --overwrite").err,
                AllOf(HasSubstr("warning: removed "), HasSubstr(".out.999-3.partial")));
    EXPECT_FALSE(fs::exists(In("out/previews/TransitionPixels.mp4")));
    EXPECT_THAT(Files(), ElementsAre("a.png", "b.png", "c.png", "out", "small.png"));
}

TEST_F(CommandTest, BenchReportsAndComparesWithAnOlderReport) {
    std::string const bench = "bench --size 32x18 --seconds 0.01 ";
    // A copy is the unit. These are medians of few rounds, which on a busy machine may have nothing in common.
    json report;
    bool isPlausible = false;
    for (int attempt = 0; attempt < 10 && !isPlausible; ++attempt) {
        EXPECT_THAT(Run(bench + "crossfade FrameDownloader --size 64x36 --json new.json").out,
                    AllOf(HasSubstr("32x18"), HasSubstr("64x36"), HasSubstr("TransitionCrossfade  ")));
        report = json::parse(ReadAll(In("new.json")));
        ASSERT_EQ(report.at("rows").size(), 4U);
        isPlausible = true;
        for (json const& row : report.at("rows")) {
            for (json const& figure : {row.at("processing"), row.at("endToEnd")}) {
                double const ratio = figure.at("ms").get<double>() / figure.at("copyMs").get<double>();
                double const off = figure.at("copies").get<double>() / ratio;
                isPlausible = isPlausible && off > 0.3 && off < 3.0;
            }
        }
    }
    EXPECT_TRUE(isPlausible) << report;
    report["rows"][1]["processing"]["copies"] = 1e6;
    std::ofstream(In("old.json")) << report;
    json const printed = json::parse(Run(bench + "crossfade FrameDownloader --json - --compare old.json").out);
    EXPECT_EQ(printed.at("rows").size(), 2U);
    EXPECT_THAT(Run(bench + "FrameDownloader --compare old.json").out,
                HasSubstr("FrameDownloader 32x18 processing: 1000000 -> "));
    EXPECT_THAT(Run(bench + "FrameUploader --compare old.json").out, HasSubstr("has none of these"));
}

TEST_F(CommandTest, ASignalLeavesNothingBehindAndAKillIsSweptUpAfter) {
    Tests::WriteTone(In("song.wav"));
    std::vector<std::string> const before = Files();
    std::string const input = In("a.png") + "@-36000";
    std::string const output = In("x.mp4");
    std::string const music = In("song.wav") + ":loop=true";
    // With one frame in a thousand seconds it is the sound's encoder that works.
    for (auto const& [signal, rate] :
         {std::pair{SIGINT, "0.001"}, {SIGTERM, "30"}, {SIGPIPE, "30"}, {SIGXCPU, "30"}, {SIGKILL, "30"}}) {
#ifdef __SANITIZE_THREAD__
        // ThreadSanitizer takes a SIGPIPE for the fault of the thread that gets it and runs the handler at once, which
        // crashes it where that thread has only just begun. Others it keeps for later.
        if (signal == SIGPIPE) {
            continue;
        }
#endif
        Tests::Child process(
            {KALTOR_COMMAND, "render", input, "-o", output, "--size", "640x360", "--fps", rate, "--music", music});
        EXPECT_TRUE(Tests::WaitUntil([&] { return Files() != before || process.HasEnded(); })) << "nothing is written";
        std::this_thread::sleep_for(std::chrono::milliseconds(signal == SIGINT ? 1000 : 0));  // until sound is written
        process.Send(signal);
        process.Send(signal);  // as timers do: to the process and to its group
        rusage used{};
        int const status = process.Wait(&used);
        EXPECT_LT(used.ru_utime.tv_sec, 60) << signal;  // to the end it would be some minutes
        if (signal != SIGKILL) {
            ASSERT_TRUE(WIFEXITED(status)) << signal;
            EXPECT_EQ(WEXITSTATUS(status), 128 + signal);
            EXPECT_EQ(Files(), before);
        }
    }
    EXPECT_EQ(Files().size(), before.size() + 1);
    Outcome const next = Run("render a.png@-0.2 -o x.mp4");
    EXPECT_EQ(next.status, 0);
    EXPECT_THAT(next.err, AllOf(HasSubstr("warning: x.mp4: removed "), HasSubstr("left behind")));
    EXPECT_THAT(Files(), ElementsAre("a.png", "b.png", "c.png", "small.png", "song.wav", "x.mp4"));

    // Without standard streams, what is said goes nowhere, and not into the output.
    Write(".y.avi.999-3.partial", "left");
    Run(fmt::format("--version; '{}' render a.png@-0.2 -o y.avi <&- >&- 2>&-; true", KALTOR_COMMAND));
    EXPECT_TRUE(ReadAll(In("y.avi")).starts_with("RIFF"));
}

TEST_F(CommandTest, AFileThatMayNotGrowIsAnError) {
    EXPECT_THAT(Fail("render a.png@-2 -o x.mp4 --codec mjpeg --size 320x240", 1, "sh -c 'ulimit -f 1; exec \"$@\"' sh"),
                HasSubstr("cannot be written (File too large)"));
}

TEST_F(CommandTest, HostileNamesAndDocumentsGetOneShortLine) {
    std::ofstream(In("deep.json")) << std::string(100'000, '[');
    std::ofstream(In("nested.json")) << R"({"scale": )" << std::string(100, '[') << std::string(100, ']') << '}';
    std::ofstream wide(In("wide.json"));
    std::ofstream(In("long.json")) << R"({"scale": ")" << std::string(3'000'000, 'x') << "\"}";
    for (int i = 0; i < 200'000; ++i) {
        wide << (i == 0 ? '{' : ',') << fmt::format("\"key{}\": 1", i);
    }
    wide << '}' << std::flush;
    for (auto const& [file, message] : {std::pair{"deep.json", "deep.json: has more than 64 levels"},
                                        {"nested.json", "nested.json: has more than 64 levels"},
                                        {"wide.json", "wide.json: has an object with more than 10000 members"},
                                        {"/dev/zero", "is larger than 16 MiB"},
                                        {"long.json", "xxx [...] xxx"}}) {
        std::string const line = Fail(fmt::format("apply EffectBlurGaussian a.png -o x.png --set @{}", file), 2);
        EXPECT_THAT(line, HasSubstr(message));
        EXPECT_LT(line.size(), 1100U);
        if (std::string_view(file) != "long.json") {
            EXPECT_THAT(Fail(fmt::format("bench crossfade --compare {}", file), 1), HasSubstr(message));
        }
    }
    EXPECT_THAT(Fail("apply invert \"$(printf 'a\\033[2J\\377')\" -o x.png", 1),
                HasSubstr("a\\x1b[2J\\xff: no such file"));
    EXPECT_LT(Fail("apply " + std::string(100'000, 'n') + " a.png -o x.png", 2).size(), 1100U);

    std::ofstream(In("list.png")) << "ffconcat version 1.0\nfile a.png\n";
    EXPECT_THAT(Fail("apply invert list.png -o x.png", 1), HasSubstr("is a playlist (concat)"));
    EXPECT_THAT(Fail("apply invert - -o x.png < list.png", 1), HasSubstr("is a playlist (concat)"));
    EXPECT_THAT(Fail("render list.png -o x.mp4", 1), HasSubstr("--allow-playlists"));
    Succeed("render list.png -o x.mp4 --allow-playlists");
}

TEST_F(CommandTest, DoctorTellsWhatIsThereAndWhatIsMissing) {
    json const report = json::parse(Run("doctor --json", "HOME=/nowhere").out);
    EXPECT_TRUE(report.at("ok"));
    EXPECT_GE(report.at("gl").at("limits").at("maxTextureSize"), 1024);
    EXPECT_FALSE(report.at("gl").at("renderer").get<std::string>().empty());
    EXPECT_TRUE(fs::exists(report.at("plugin").at("path").get<std::string>()));

    std::string const home = fs::path(KALTOR_COMMAND).parent_path().parent_path().string();
    EXPECT_THAT(json::parse(Run("doctor --json", "HOME='" + home + "/'").out).dump(),
                AllOf(HasSubstr("\"~/lib/"), testing::Not(HasSubstr(home))));
    // What hosts find: FREI0R_PATH alone, where it is set, but with FFmpeg, which has its own folders besides.
    fs::path const doors = In("doors");
    fs::create_directory(doors);
    fs::copy(In("a.png"), doors / "kaltor_invert.so");
    json const found =
        json::parse(Run("doctor --json", "PATH= HOME=/nowhere FREI0R_PATH=/nowhere:" + doors.string()).out);
    ASSERT_EQ(found["doors"]["hosts"].size(), 3U);
    for (json const& host : found["doors"]["hosts"]) {
        EXPECT_EQ(host["folder"], doors.string());
        EXPECT_EQ(host["installed"], false) << "with an empty path";
    }
    json const lost = json::parse(Run("doctor --json", "FREI0R_PATH=/nowhere").out);
    EXPECT_EQ(lost["doors"]["hosts"][1]["folder"], nullptr);
    EXPECT_THAT(Run("doctor --json", "KALTOR_PLUGIN=/nowhere/$(printf '\\377').so").status, 1);

    std::string const noPlugin = "KALTOR_PLUGIN=/nowhere/plugin.so";
    Outcome const broken = Run("doctor --json", noPlugin);
    EXPECT_EQ(broken.status, 1);
    EXPECT_THAT(json::parse(broken.out).at("plugin").at("error").get<std::string>(), HasSubstr("/nowhere/plugin.so"));
    EXPECT_THAT(Fail("list", 1, noPlugin), HasSubstr("/nowhere/plugin.so"));

    // EGL finds no vendor's library under this name.
    std::string const noGl = "__EGL_VENDOR_LIBRARY_FILENAMES=/nowhere.json";
    EXPECT_THAT(Fail("apply EffectBlurGaussian a.png -o x.png", 1, noGl), HasSubstr("install"));
    Outcome const doctor = Run("doctor", noGl);
    EXPECT_EQ(doctor.status, 1);
    EXPECT_THAT(doctor.out, HasSubstr("install"));
}

}  // namespace
}  // namespace Kaltor
