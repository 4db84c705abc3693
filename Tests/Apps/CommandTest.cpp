// The command as its users meet it: as a process.
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Media/Picture.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using Picture = boost::intrusive_ptr<Proc::DataVideoFF>;

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

std::string ReadAll(fs::path const& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

class CommandTest : public testing::Test {
protected:
    CommandTest() {
        std::string pattern = (fs::path(testing::TempDir()) / "kaltor-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        fs::create_directory(folder / "work");
        fs::create_directory(folder / "log");
        WritePicture("a.png", PixFmt::Rgb24, 0);
        WritePicture("b.png", PixFmt::Rgb24, 91);
        WritePicture("c.png", PixFmt::Rgba, 40);
        WritePicture("small.png", PixFmt::Rgb24, 3, 8, 8);
    }
    ~CommandTest() override { fs::remove_all(folder); }

    /// Runs it in the folder of the pictures; `line` and `environment` are a shell's words.
    Outcome Run(std::string const& line, std::string const& environment = "") const {
        fs::path const out = folder / "log" / "out";
        fs::path const err = folder / "log" / "err";
        std::string const command =
            fmt::format("cd '{}' && env NO_COLOR=1 {} '{}' {} > '{}' 2> '{}'", (folder / "work").string(), environment,
                        KALTOR_COMMAND, line, out.string(), err.string());
        int const status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadAll(out), ReadAll(err)};
    }

    fs::path In(std::string const& name) const { return folder / "work" / name; }

    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (fs::directory_entry const& entry : fs::directory_iterator(folder / "work")) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    /// A picture of which no two corners, rows or channels are alike.
    void WritePicture(std::string const& name, PixFmt format, unsigned seed, std::uint32_t width = 24,
                      std::uint32_t height = 14) const {
        Picture const picture = Proc::DataVideoFF::Create(format, {width, height, 1, 1});
        AVFrame& frame = picture->GetWritableFrame();
        unsigned const bytes = format == PixFmt::Rgba ? 4 : 3;
        for (unsigned y = 0; y < height; ++y) {
            for (unsigned i = 0; i < width * bytes; ++i) {
                frame.data[0][static_cast<std::ptrdiff_t>(y) * frame.linesize[0] + i] =
                    static_cast<std::uint8_t>(seed + y * 13 + i * 5 + (i % bytes) * 50);
            }
        }
        Media::WritePng(In(name).string(), *picture, true);
    }

    /// All samples, the top row first.
    std::vector<int> Samples(std::string const& name) const {
        Picture const picture = Media::ReadPicture(In(name).string());
        std::vector<int> samples;
        unsigned const bytes = picture->GetPixFmt() == PixFmt::Rgba ? 4 : 3;
        for (unsigned y = 0; y < picture->GetFrameInfo().height; ++y) {
            std::uint8_t const* const row =
                picture->GetFrame().data[0] + static_cast<std::ptrdiff_t>(y) * picture->GetFrame().linesize[0];
            samples.insert(samples.end(), row, row + picture->GetFrameInfo().width * bytes);
        }
        return samples;
    }

    fs::path folder;
};

void ExpectNear(std::vector<int> const& got, std::vector<int> const& first, std::vector<int> const& second,
                double share, double tolerance) {
    ASSERT_EQ(got.size(), first.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        ASSERT_NEAR(got[i], first[i] * (1.0 - share) + second[i] * share, tolerance) << "sample " << i;
    }
}

TEST_F(CommandTest, ListJsonIsWholeAndItsDefaultsAreAccepted) {
    Outcome const outcome = Run("list --json");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    json const all = json::parse(outcome.out);
    std::vector<std::string> names;
    for (json const& entry : all) {
        names.push_back(entry.at("name"));
        std::unique_ptr<Proc::Settings> const settings = Proc::MakeSettings(names.back());
        ASSERT_TRUE(settings) << names.back();
        ASSERT_EQ(entry.at("fields").size(), settings->GetFields().size());
        for (json const& field : entry.at("fields")) {
            Proc::Field const& declared = settings->FindField(field.at("name").get<std::string>());
            std::string const text =
                field.at("default").is_string() ? field.at("default").get<std::string>() : field.at("default").dump();
            if (declared.type != Proc::FieldType::Reals8) {
                EXPECT_EQ(declared.Parse(text), declared.get(*settings)) << declared.key;
            }
            EXPECT_EQ(field.at("labels").size(), declared.labels.size());
            EXPECT_FALSE(field.at("help").get<std::string>().empty());
        }
    }
    EXPECT_THAT(names, testing::IsSupersetOf({"EffectBlurGaussian", "TransitionCrossfade", "FrameUploader"}));
    EXPECT_EQ(Run("list").err, "");
    EXPECT_THAT(Run("describe blurgaussian").out, HasSubstr("scale"));
}

TEST_F(CommandTest, ApplyRunsATransitionByProgressAndByTime) {
    std::vector<int> const a = Samples("a.png");
    std::vector<int> const b = Samples("b.png");
    for (auto const& [how, share] : std::vector<std::pair<std::string, double>>{
             {"", 0.0}, {"--progress 1", 1.0}, {"--progress 0.25", 0.25}, {"--time 0.25", 0.25}}) {
        Outcome const outcome = Run("apply TransitionCrossfade a.png b.png -o x.png " + how);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out + outcome.err, "");
        // The mix is of 8 bits and drawn by blending.
        ExpectNear(Samples("x.png"), a, b, share, share == 0.0 || share == 1.0 ? 0.0 : 1.5);
    }
}

TEST_F(CommandTest, ApplyKeepsAlphaAndTakesStandardStreams) {
    ASSERT_EQ(Run("apply EffectBlurGaussian c.png -o x.png --set scale=0.05").status, 0);
    EXPECT_EQ(Samples("x.png").size(), Samples("c.png").size());  // four channels
    EXPECT_NE(Samples("x.png"), Samples("c.png"));
    Outcome const piped = Run("apply EffectBlurGaussian - -o - --set scale=0.05 < c.png");
    ASSERT_EQ(piped.status, 0) << piped.err;
    std::ofstream(In("y.png"), std::ios::binary) << piped.out;
    EXPECT_EQ(Samples("y.png"), Samples("x.png"));
    for (std::string const service : {"FrameUploader", "FrameDownloader"}) {
        ASSERT_EQ(Run("apply " + service + " c.png -o x.png").status, 0);
        EXPECT_EQ(Samples("x.png"), Samples("c.png")) << service;
    }
}

TEST_F(CommandTest, StripShowsTheFirstAndTheLastPicture) {
    Outcome const outcome = Run("strip crossfade a.png b.png -o x.png --steps 3 --width 96");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    Picture const strip = Media::ReadPicture(In("x.png").string());
    EXPECT_GT(strip->GetFrameInfo().width, 3U * 96U);
    EXPECT_LT(strip->GetFrameInfo().width, 4U * 96U);
    EXPECT_GT(strip->GetFrameInfo().height, 56U + 14U);
}

TEST_F(CommandTest, BadInputGetsOneLineAndNoOutput) {
    struct Case {
        char const* line;
        int status;
        char const* message;
    };
    std::ofstream(In("empty.png")).close();
    std::ofstream(In("text.png")) << "this is no picture at all, only some words";
    std::string const whole = ReadAll(In("c.png"));
    std::ofstream(In("cut.png"), std::ios::binary) << whole.substr(0, 40);
    std::vector<std::string> const before = Files();
    for (Case const& wrong : std::vector<Case>{
             {"", 2, "list, describe"},
             {"aply", 2, "did you mean apply?"},
             {"apply", 2, "--help"},
             {"gallery out --only BlurGausian", 2, "did you mean EffectBlurGaussian?"},
             {"gallery out --only invert --size 33x18", 2, "even"},
             {"gallery out --only invert --input a.png --input b.png --input c.png", 2, "two clips"},
             {"gallery out --only invert --size 32x18 --input text.png", 1, "text.png"},
             {"gallery nowhere/out --only invert --size 32x18", 1, "nowhere/out"},
             {"gallery . --only invert --size 32x18", 1, "is no gallery"},
             {"bench BlurGausian", 2, "did you mean EffectBlurGaussian?"},
             {"bench crossfade --size 9", 2, "9"},
             {"bench crossfade --size 999999x2", 2, "too large"},
             {"bench crossfade --compare text.png", 1, "no report"},
             {"bench crossfade --json nowhere/x.json", 1, "nowhere"},
             {"apply BlurGausian a.png -o x.png", 2, "did you mean EffectBlurGaussian?"},
             {"apply EffectCrossfade a.png b.png -o x.png", 2, "did you mean TransitionCrossfade?"},
             {"apply EffectBlurGaussian a.png -o x.png --seed x", 2, "\"x\" is not accepted for --seed"},
             {"list blurr", 1, "blurr"},
             {"apply EffectBlurGaussian a.png -o x.png --set scal=1", 2, "did you mean \"scale\"?"},
             {"apply EffectBlurGaussian a.png -o x.png --set scale=1.01", 2, "0 to 1"},
             {"apply EffectBlurGaussian a.png -o x.png --set scale", 2, "field=value"},
             {"apply FrameDownloader a.png -o x.png --set downloadMode=yuv", 2, "yuv420p"},
             {"apply EffectBlurGaussian a.png -o x.png --progres 1", 2, "did you mean --progress?"},
             {"apply EffectBlurGaussian a.png -o x.png --progress nan", 2, "--progress"},
             {"apply EffectBlurGaussian a.png -o x.jpg", 2, ".png"},
             {"apply EffectBlurGaussian a.png b.png -o x.png", 2, "one picture"},
             {"strip TransitionCrossfade a.png -o x.png", 2, "two pictures"},
             {"strip TransitionCrossfade a.png b.png -o x.png --steps 1", 2, "--steps"},
             {"apply TransitionCrossfade a.png small.png -o x.png", 1, "8x8"},
             {"apply EffectBlurGaussian missing.png -o x.png", 1, "missing.png"},
             {"apply EffectBlurGaussian empty.png -o x.png", 1, "empty.png"},
             {"apply EffectBlurGaussian text.png -o x.png", 1, "text.png"},
             {"apply EffectBlurGaussian cut.png -o x.png", 1, "cut.png"},
             {"apply EffectBlurGaussian a.png -o nowhere/x.png", 1, "nowhere"},
             {"render a.png -o x.mp4 --effect 2:EffectBlurGaussian", 2, "clip 2"},
             {"render a.png -o x.mp4 --effect EffectBlurGaussian:scale", 2, "field=value"},
             {"render a.png b.png -o x.mp4 --transition EffectBlurGaussian", 2, "is an effect"},
             {"render a.png@0-1 b.png@0-1 -o x.mp4 --transition-duration 5", 1, "a.png"},
             {"render a.png missing.mp4 -o x.mp4", 1, "missing.mp4"},
             {"render a.png -o x.unheardof", 2, "unheardof"},
         }) {
        Outcome const outcome = Run(wrong.line);
        EXPECT_EQ(outcome.status, wrong.status) << wrong.line << "\n" << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr(wrong.message)) << wrong.line;
        EXPECT_EQ(outcome.err.rfind("kaltor: ", 0), 0U) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(outcome.out, "") << wrong.line;
        EXPECT_EQ(Files(), before) << wrong.line;
    }
}

TEST_F(CommandTest, AGallerysCommandsReproduceItsPreviews) {
    Outcome const outcome = Run("gallery out/ --size 32x18 --input a.png --only pixels chromakey resizer");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out + outcome.err, "");
    std::string const page = ReadAll(In("out/index.html"));
    std::vector<std::string> commands;
    std::regex const pattern("\"><code>kaltor (.* -o (\\S+)[^<]*)<");
    for (std::sregex_iterator at(page.begin(), page.end(), pattern); at != std::sregex_iterator(); ++at) {
        commands.push_back(std::regex_replace((*at)[1].str(), std::regex("&apos;"), "'"));
        fs::path const made((*at)[2].str());
        Outcome const again = Run("--version && cd out && '" KALTOR_COMMAND "' " + commands.back());
        EXPECT_EQ(again.status, 0) << commands.back() << "\n" << again.err;
        if (made.extension() == ".mp4") {
            EXPECT_TRUE(ReadAll(In("out") / made) == ReadAll(In("out/previews") / made)) << commands.back();
        }
        EXPECT_TRUE(fs::exists(In("out/previews") / fs::path(made).replace_extension(".jpg")));
    }
    EXPECT_EQ(commands.size(), 3U);
    for (std::string const file : {"gallery.css", "gallery.js", "pictures/first.mp4", "pictures/second.mp4"}) {
        EXPECT_GT(ReadAll(In("out") / file).size(), 500U) << file;
    }
    Outcome const refused = Run("gallery out --size 32x18 --only invert");
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("--overwrite"));
    EXPECT_EQ(Run("gallery out --size 32x18 --input a.png --input b.png --only invert --overwrite").status, 0);
    EXPECT_FALSE(fs::exists(In("out/previews/TransitionPixels.mp4")));
    EXPECT_THAT(Files(), testing::ElementsAre("a.png", "b.png", "c.png", "out", "small.png"));
}

TEST_F(CommandTest, BenchReportsAndComparesWithAnOlderReport) {
    Outcome const outcome =
        Run("bench crossfade FrameDownloader --size 32x18 --size 64x36 --seconds 0.01 --json new.json");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("32x18"), HasSubstr("64x36"), HasSubstr("TransitionCrossfade  ")));
    json report = json::parse(ReadAll(In("new.json")));
    ASSERT_EQ(report.at("rows").size(), 4U);
    for (json const& row : report.at("rows")) {
        for (char const* const figure : {"processing", "endToEnd"}) {
            double const ratio = row.at(figure).at("ms").get<double>() / row.at(figure).at("copyMs").get<double>();
            EXPECT_GT(row.at(figure).at("copies"), 0.2 * ratio) << row;
            EXPECT_LT(row.at(figure).at("copies"), 5.0 * ratio) << row;  // medians, of noisy rounds
        }
    }
    report["rows"][1]["processing"]["copies"] = 1e6;
    std::ofstream(In("old.json")) << report;
    Outcome const again =
        Run("bench crossfade FrameDownloader --size 32x18 --seconds 0.01 --json - --compare old.json");
    EXPECT_EQ(json::parse(again.out).at("rows").size(), 2U);
    EXPECT_THAT(Run("bench FrameDownloader --size 32x18 --seconds 0.01 --compare old.json").out,
                HasSubstr("FrameDownloader 32x18 processing: 1000000 -> "));
    EXPECT_THAT(Run("bench FrameUploader --size 32x18 --seconds 0.01 --compare old.json").out,
                HasSubstr("has none of these"));
}

TEST_F(CommandTest, RenderJoinsStillsAndSparesAnOutputThatExists) {
    std::string const line = "render a.png@-0.4 b.png@-0.4 -o x.mp4 --transition-duration 0.2 --fps 10";
    Outcome const outcome = Run(line);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out + outcome.err, "");  // no bar where there is no terminal
    std::string const made = ReadAll(In("x.mp4"));
    EXPECT_GT(made.size(), 500U);
    Outcome const again = Run(line);
    EXPECT_EQ(again.status, 1);
    EXPECT_THAT(again.err, HasSubstr("--overwrite"));
    EXPECT_EQ(ReadAll(In("x.mp4")), made);
    EXPECT_EQ(Run(line + " --overwrite --quiet").status, 0);
}

TEST_F(CommandTest, ASignalLeavesNothingBehind) {
    std::vector<std::string> const before = Files();
    std::string const input = In("a.png").string() + "@-3600";
    std::string const output = In("x.mp4").string();
    std::vector<char const*> const words{KALTOR_COMMAND, "render", input.c_str(), "-o",
                                         output.c_str(), "--size", "640x360",     nullptr};
    pid_t process = 0;
    ASSERT_EQ(posix_spawn(&process, KALTOR_COMMAND, nullptr, nullptr, const_cast<char* const*>(words.data()), environ),
              0);
    for (int i = 0; i < 400 && Files() == before; ++i) {  // until it has begun to write
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    kill(process, SIGTERM);
    kill(process, SIGTERM);  // as timers do: to the process and to its group
    int status = 0;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGTERM);
    EXPECT_EQ(Files(), before);
}

TEST_F(CommandTest, DoctorTellsWhatIsThereAndWhatIsMissing) {
    Outcome const outcome = Run("doctor --json");
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    json const report = json::parse(outcome.out);
    EXPECT_TRUE(report.at("ok"));
    EXPECT_GE(report.at("gl").at("limits").at("maxTextureSize"), 1024);
    EXPECT_FALSE(report.at("gl").at("renderer").get<std::string>().empty());
    EXPECT_TRUE(fs::exists(report.at("plugin").at("path").get<std::string>()));

    Outcome const broken = Run("doctor --json", "KALTOR_PLUGIN=/nowhere/plugin.so");
    EXPECT_EQ(broken.status, 1);
    EXPECT_THAT(json::parse(broken.out).at("plugin").at("error").get<std::string>(), HasSubstr("/nowhere/plugin.so"));
    Outcome const list = Run("list", "KALTOR_PLUGIN=/nowhere/plugin.so");
    EXPECT_EQ(list.status, 1);
    EXPECT_THAT(list.err, HasSubstr("/nowhere/plugin.so"));
}

TEST_F(CommandTest, WithoutUsableGlItSaysWhatToInstall) {
    // No vendor's library is found under this name, so EGL has none.
    std::string const noGl = "__EGL_VENDOR_LIBRARY_FILENAMES=/nowhere.json";
    Outcome const apply = Run("apply EffectBlurGaussian a.png -o x.png", noGl);
    EXPECT_EQ(apply.status, 1);
    EXPECT_THAT(apply.err, HasSubstr("install"));
    EXPECT_EQ(std::count(apply.err.begin(), apply.err.end(), '\n'), 1) << apply.err;
    EXPECT_FALSE(fs::exists(In("x.png")));
    Outcome const doctor = Run("doctor", noGl);
    EXPECT_EQ(doctor.status, 1);
    EXPECT_THAT(doctor.out, HasSubstr("install"));
}

TEST_F(CommandTest, VersionAndHelp) {
    EXPECT_THAT(Run("--version").out, testing::StartsWith("kaltor "));
    for (std::string const verb : {"", "list", "describe", "apply", "strip", "render", "gallery", "bench", "doctor"}) {
        Outcome const outcome = Run(verb + " --help");
        EXPECT_EQ(outcome.status, 0) << verb;
        EXPECT_THAT(outcome.out, HasSubstr("Usage: kaltor")) << verb;
        EXPECT_EQ(outcome.err, "");
    }
}

}  // namespace
}  // namespace Kaltor
