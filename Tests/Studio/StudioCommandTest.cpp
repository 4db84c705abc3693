// The verb as a process, and the command lines that edits are written as.
#include <csignal>
#include <fstream>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <httplib.h>

#include "Apps/Kaltor/EditCommand.h"
#include "Edit/DocumentReader.h"
#include "Tests/Media/MediaTest.h"
#include "Tests/Support/EndlessShader.h"

namespace Kaltor::Cli {
namespace {

using Edit::Json;
using testing::HasSubstr;

class StudioCommandTest : public Media::Tests::MediaTest {};

TEST(EditCommand, SaysTheSameAsTheEditOrNothing) {
    Catalog const catalog = LoadCatalog();
    auto const write = [&](std::string const& rest) {
        Edit::Document document =
            Edit::ReadDocument(Edit::ParseJson("{\"version\": 1, " + rest + "}", "test"), catalog);
        Edit::ResolvePaths(document, "/videos", Edit::Trust::Everywhere);
        return WriteCommand(document, catalog, "/videos").value_or("nothing");
    };
    std::string const clips = R"("clips": [{"file": "a.mp4", "from": 5, "to": 12.5, "fit": "fill",
        "effects": [{"effect": "BlurGaussian", "scale": 0.05}],
        "joint": {"transition": "Wipe", "duration": "12f", "easing": "easeInOutCubic", "direction": "down"}},
        {"file": "it's b.mp4"}])";
    EXPECT_EQ(write(clips),
              "kaltor render a.mp4@5-12.5 'it'\\''s b.mp4' -o out.mp4 --transition none --fit 1:fill "
              "--effect 1:EffectBlurGaussian:scale=0.05 --transition "
              "1:TransitionWipe@12f,easeInOutCubic:direction=down");
    std::string const whole = write(
        clips + R"(, "joint": {"transition": "Crossfade", "duration": 0.5}, "output": {"size": "640x360", "crf": 20},
        "overlays": [{"title": {"text": "Hello", "style": "subtitle"}, "from": 1, "to": 4}],
        "sounds": [{"file": "song.mp3", "volume": -6, "loop": true}], "mix": {"loudness": -16})");
    EXPECT_THAT(whole, HasSubstr("--transition TransitionCrossfade@0.5 "));
    EXPECT_THAT(whole, HasSubstr("--title Hello:style=subtitle:from=1:to=4"));
    EXPECT_THAT(whole, HasSubstr("--music song.mp3:"));
    EXPECT_THAT(whole, AllOf(HasSubstr("--size 640x360"), HasSubstr("--crf 20"), HasSubstr("--loudness -16")));
    EXPECT_EQ(write(R"("clips": [{"file": "-a.mp4"}], "sounds": [{"file": "-b.mp3"}])"),
              "kaltor render ./-a.mp4 -o out.mp4 --transition none --music=-b.mp3");
    for (std::string const unsaid :
         {R"("clips": [{"file": "a.mp4", "speed": 2, "keepPitch": false}])", R"("clips": [{"color": "#FF0000"}])",
          R"("clips": [{"file": "a.mp4", "effects": [{"effect": "blur", "scale": {"from": 0, "to": 0.1}}]}])",
          R"("clips": [{"file": "a.mp4"}], "overlays": [{"title": {"text": "a:from=3"}}])",
          R"("clips": [{"file": "a.mp4"}], "effects": [{"effect": "Invert"}])"}) {
        EXPECT_EQ(write(unsaid), "nothing") << unsaid;
    }
}

TEST_F(StudioCommandTest, ServesUntilItIsStopped) {
    Media::Tests::Watchdog const watchdog;
    Make("a.mkv", {});
    for (bool const quits : {true, false}) {
        std::string const line =
            fmt::format("cd '{}' && echo $$ && exec '{}' studio a.mkv --no-browser", folder.string(), KALTOR_COMMAND);
        FILE* const program = ::popen(line.c_str(), "r");
        ASSERT_NE(program, nullptr);
        std::array<char, 200> text{};
        ASSERT_NE(std::fgets(text.data(), text.size(), program), nullptr);
        int const process = std::stoi(text.data());
        ASSERT_NE(std::fgets(text.data(), text.size(), program), nullptr);
        std::string const address = text.data();
        ASSERT_THAT(address, testing::MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/[0-9a-f]{32}/\n"));
        std::size_t const slash = address.find('/', std::string("http://").size());
        std::string const path = address.substr(slash, address.size() - slash - 1);
        httplib::Client client(address.substr(0, slash));
        client.set_read_timeout(300);
        httplib::Result const session = client.Get(path + "api/session");
        ASSERT_TRUE(session);
        EXPECT_EQ(Json::parse(session->body).at("document").at("clips").at(0).at("file"), "a.mkv");
        EXPECT_THAT(client.Get(path)->body, HasSubstr("<html"));
        httplib::Result const card = client.Get(path + "api/card/TransitionWipe");
        ASSERT_TRUE(card);
        EXPECT_EQ(card->status, 200);
        EXPECT_GT(card->body.size(), 2000U);
        if (quits) {
            EXPECT_EQ(client.Post(path + "api/quit", "{}", "application/json")->status, 204);
        } else {
            ::kill(process, SIGINT);
        }
        EXPECT_EQ(::pclose(program), 0);
    }
}

/// `kaltor studio` as a process, with a client of its own.
class RunningStudio {
public:
    RunningStudio(std::string const& folder, std::string const& line) {
        std::string const command = fmt::format("cd '{}' && echo $$ && exec {} --no-browser 2> log", folder, line);
        program = ::popen(command.c_str(), "r");
        process = std::stoi(ReadLine());
        std::string const address = ReadLine();
        std::size_t const slash = address.find('/', std::string("http://").size());
        host = address.substr(0, slash);
        path = address.substr(slash);
    }
    ~RunningStudio() {
        if (program != nullptr) {
            Stop();
        }
    }
    RunningStudio(RunningStudio const&) = delete;
    RunningStudio& operator=(RunningStudio const&) = delete;

    int Stop() {
        ::kill(process, SIGINT);
        return ::pclose(std::exchange(program, nullptr));
    }
    httplib::Client Connect() const {
        httplib::Client client(host);
        client.set_read_timeout(300);
        return client;
    }

    std::string path;

private:
    std::string ReadLine() const {
        std::array<char, 200> text{};
        EXPECT_NE(std::fgets(text.data(), text.size(), program), nullptr);
        std::string line = text.data();
        return line.substr(0, line.find('\n'));
    }

    FILE* program = nullptr;
    int process = 0;
    std::string host;
};

TEST_F(StudioCommandTest, AShaderThatNeverEndsEndsTheDrawingProcessOnly) {
    Media::Tests::Watchdog const watchdog;
    std::string loops = "2000000000";
    auto const write = [this, &loops] { std::ofstream(At("x.glsl")) << Kaltor::Tests::MakeEndlessShader(loops); };
    write();
    RunningStudio studio(folder.string(), fmt::format("env KALTOR_SHADER_SECONDS=6 '{}' studio", KALTOR_COMMAND));
    std::string const document = R"({"version": 1, "output": {"size": "1920x1080"}, "clips": [{"color": "#FF0000",
        "duration": 1, "effects": [{"effect": "x.glsl"}]}]})";
    // As the page does it: a plan that is forgotten is made again.
    auto const draw = [&] {
        httplib::Client client = studio.Connect();
        for (;;) {
            httplib::Result const plan = client.Post(studio.path + "api/plan", document, "application/json");
            if (plan && plan->status == 200) {
                std::string const id = Json::parse(plan->body).at("plan");
                return client.Get(studio.path + "api/plan/" + id + "/frame/0?width=0");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    };
    EXPECT_FALSE(draw()) << "the process has ended";
    httplib::Result const again = draw();
    ASSERT_TRUE(again);
    EXPECT_EQ(again->status, 422);
    EXPECT_THAT(again->body, HasSubstr("x.glsl: its first frame was not drawn in time"));
    // On a busy machine the time may be too short for this one, too: the next one is another file.
    int status = 0;
    loops = "0";
    for (int attempt = 0; attempt < 3 && status != 200; ++attempt) {
        loops += " + 0";
        write();
        httplib::Result const changed = draw();
        status = changed ? changed->status : 0;
    }
    EXPECT_EQ(status, 200);
    EXPECT_EQ(studio.Stop(), 0);
    std::ifstream log(At("log"));
    EXPECT_THAT(
        std::string(std::istreambuf_iterator<char>(log), {}),
        AllOf(HasSubstr("x.glsl: its first frame is not drawn after 6 seconds"), HasSubstr("another one takes over")));
}

}  // namespace
}  // namespace Kaltor::Cli
