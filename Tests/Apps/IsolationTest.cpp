// Drawing in a process of its own: what comes out, and what becomes of a driver that dies or never ends. The processes
// are ended by real signals.
#include <csignal>
#include <fstream>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "CommandTest.h"
#include "Tests/Support/EndlessShader.h"

namespace Kaltor {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Tests::Outcome;

class IsolationTest : public Tests::CommandTest {
protected:
    /// A render in the folder of the pictures, with its processes.
    class Running {
    public:
        Running(IsolationTest const& owner, std::string const& line)
            : test(owner),
              process({"/bin/sh", "-c",
                       fmt::format("cd '{}' && exec env NO_COLOR=1 '{}' {} 2> '{}'", (test.folder / "work").string(),
                                   KALTOR_COMMAND, line, test.Log().string())}) {}

        /// The processes that it has made, once the output has grown to so many bytes.
        std::vector<pid_t> WaitForOutput(std::uintmax_t bytes) const {
            auto const hasGrown = [&] {
                std::vector<std::string> const names = test.Files();
                return std::any_of(names.begin(), names.end(), [&](std::string const& name) {
                    std::error_code error;
                    return name.ends_with(".partial") && fs::file_size(test.In(name), error) >= bytes && !error;
                });
            };
            if (!Tests::WaitUntil([&] { return hasGrown() || process.HasEnded(); }) || !hasGrown()) {
                ADD_FAILURE() << "nothing is written: " << Tests::ReadAll(test.Log());
                return {};
            }
            return GetChildren();
        }
        std::vector<pid_t> GetChildren() const {
            std::ifstream file(fmt::format("/proc/{0}/task/{0}/children", process.GetId()));
            return {std::istream_iterator<pid_t>(file), {}};
        }
        std::string ReadMaps() const { return Tests::ReadAll(fmt::format("/proc/{}/maps", process.GetId())); }
        void Send(int signal) const { process.Send(signal); }

        Outcome Wait() {
            int const status = process.Wait();
            return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, "", Tests::ReadAll(test.Log())};
        }

    private:
        IsolationTest const& test;
        Tests::Child process;
    };

    fs::path Log() const { return folder / "log" / "running"; }
    /// Also where nobody asks how it has ended, as with a first process that does not care for those of others.
    bool IsAlive(pid_t process) const {
        std::string const status = Tests::ReadAll(fmt::format("/proc/{}/stat", process));
        std::size_t const name = status.rfind(") ");
        return name != std::string::npos && status.substr(name + 2, 1) != "Z";
    }

    /// Raw pictures and sound, so that every frame that is done stands in the file at once.
    std::string const job =
        "render a.png@-3 b.png@-3 -o x.mkv --codec rawvideo --audio-codec pcm_s16le --music song.wav --size 320x180 "
        "--effect OilPaint --transition Shatter --seed 7 -q -y ";
    std::uintmax_t const someFrames = 20 * 320 * 180 * 3 / 2;

    void SetUp() override { Tests::WriteTone(In("song.wav")); }
    /// Without what the container makes up anew each time.
    std::string Content(std::string const& name) const {
        fs::path const sums = folder / "log" / "sums";
        EXPECT_EQ(
            std::system(fmt::format("ffmpeg -v error -i '{}' -f framemd5 - > '{}'", In(name), sums.string()).c_str()),
            0);
        return Tests::ReadAll(sums);
    }
};

TEST_F(IsolationTest, APictureIsTheSameAndAFaultIsReportedAsEver) {
    Succeed("apply Blur a.png -o here.png --set scale=0.1");
    Succeed("apply Blur a.png -o apart.png --set scale=0.1 --isolate");
    EXPECT_EQ(Tests::ReadAll(In("apart.png")), Tests::ReadAll(In("here.png")));
    Succeed("render a.png --effect Twirl -o here.png --frame 0.5 --seed 1 -y");
    Succeed("render a.png --effect Twirl -o apart.png --frame 0.5 --seed 1 -y --isolate=retry");
    EXPECT_EQ(Tests::ReadAll(In("apart.png")), Tests::ReadAll(In("here.png")));
    EXPECT_THAT(Fail("apply Crossfade a.png small.png -o x.png --isolate", 1), HasSubstr("two pictures of one size"));
    EXPECT_THAT(Fail("apply Blur a.png -o x.png --set scale=much --isolate", 2), HasSubstr("much"));
    EXPECT_THAT(Fail("apply Blur a.png -o x.png --isolate=again", 2), HasSubstr("retry"));
    EXPECT_THAT(Fail("render a.png -o x.mkv --effect Blur --isolate --size 64x70000", 1), HasSubstr("too large"));

    Write("endless.glsl", Tests::MakeEndlessShader());
    for (char const* const line :
         {"apply endless.glsl large.png -o out.png", "render large.png --effect endless.glsl -o out.mkv"}) {
        Succeed("apply Resizer a.png -o large.png --set width=512 --set height=288");
        EXPECT_THAT(Fail(fmt::format("{} --isolate --isolate-limit 0.3", line), 1), HasSubstr("more than 0.3 seconds"));
    }
}

TEST_F(IsolationTest, ADriverThatDiesLeavesOneLineOrIsReplaced) {
    if (std::system("ffmpeg -version > /dev/null 2>&1") != 0) {
        GTEST_SKIP() << "ffmpeg compares the videos";
    }
    Succeed(job);
    std::string const whole = Content("x.mkv");
    EXPECT_GT(whole.size(), 5000U);
    fs::remove(In("x.mkv"));
    std::vector<std::string> const before = Files();
    // An abort, or the end of its processor time: sanitizers would report other signals themselves.
    for (auto const& [signal, words, message] :
         {std::tuple{SIGABRT, "--isolate", "crashed, in the graphics driver most often (signal 6"},
          {SIGXCPU, "--isolate", "(signal 24"},
          {SIGSTOP, "--isolate --isolate-limit 10", "does not answer"}}) {
        Running render(*this, job + words);
        std::vector<pid_t> const children = render.WaitForOutput(someFrames);
        ASSERT_EQ(children.size(), 1U);
        EXPECT_THAT(render.ReadMaps(), AllOf(HasSubstr("libkaltor"), Not(HasSubstr("_dri.so")),
                                             Not(HasSubstr("libgallium")), Not(HasSubstr("libEGL_"))));
        kill(children.front(), signal);
        Outcome const outcome = render.Wait();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr(message), HasSubstr("frames were done")));
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(Files(), before);
        EXPECT_FALSE(IsAlive(children.front()));
    }

    Running render(*this, job + "--isolate=retry");
    std::vector<pid_t> const children = render.WaitForOutput(someFrames);
    ASSERT_EQ(children.size(), 2U);
    kill(children.front(), SIGKILL);
    Outcome const outcome = render.Wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("warning: "), HasSubstr("signal 9"), HasSubstr("software GL goes on")));
    // The pictures and the sound go on where they have stopped: none is missing, and none comes twice.
    EXPECT_EQ(Content("x.mkv"), whole);
}

TEST_F(IsolationTest, TheProcessesEndWithTheirRender) {
    std::vector<std::string> const before = Files();
    for (int const signal : {SIGINT, SIGKILL}) {
        Running render(*this, job + "--isolate=retry");
        std::vector<pid_t> const children = render.WaitForOutput(someFrames);
        ASSERT_EQ(children.size(), 2U);
        render.Send(signal);
        EXPECT_EQ(render.Wait().status, signal == SIGINT ? 128 + SIGINT : -1);
        for (pid_t const child : children) {
            EXPECT_TRUE(Tests::WaitUntil([&] { return !IsAlive(child); })) << signal;
        }
        if (signal == SIGINT) {
            EXPECT_EQ(Files(), before);
        }
    }
}

}  // namespace
}  // namespace Kaltor
