// The plug-ins through the interface, as hosts use them.

#include <map>

#include <fcntl.h>
#include <sys/wait.h>

#include "Host/Plugin.h"
#include "Tests/Adapters/Door.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

std::set<std::string> ListDoors() {
    std::set<std::string> stems;
    for (fs::directory_entry const& entry : fs::directory_iterator(KALTOR_DOORS_FOLDER)) {
        stems.insert(entry.path().stem());
    }
    return stems;
}

class Frei0rDoorTest : public GlTest {
protected:
    Picture const first = Picture::Noise(33, 17, true, 1);
    Picture const second = Picture::Noise(33, 17, true, 2);
};
using Frei0rDoorDeathTest = Frei0rDoorTest;

TEST_F(Frei0rDoorTest, ThereIsOneForEachEffectAndTransitionThatIsRegistered) {
    std::set<std::string> const stems = ListDoors();
    std::set<std::string> described;
    int filters = 0;
    int mixers = 0;
    for (std::string const& stem : stems) {
        Door const door(stem);
        f0r_plugin_info const info = door.GetInfo();
        EXPECT_EQ(info.name, stem);
        EXPECT_EQ(info.color_model, kFrei0rRgba8888);
        EXPECT_EQ(info.frei0r_version, 1);
        EXPECT_EQ(info.plugin_type == kFrei0rMixer2, stem.rfind("kaltor_t_", 0) == 0) << stem;
        ++(info.plugin_type == kFrei0rMixer2 ? mixers : filters);
        described.insert(info.explanation);
    }
    std::vector<std::unique_ptr<Proc::Settings>> const all = Proc::MakeAllSettings();
    std::map<std::string, int> inputs;
    for (Host::RegisteredEffect const& row : GetRegistry().List()) {
        inputs[row.classId] = row.inputs;
    }
    int registered = 0;
    for (std::unique_ptr<Proc::Settings> const& settings : all) {  // looks have no doors
        std::string const& name = settings->GetClassId();
        auto const kind = Proc::FindRowKind(name);
        if (kind != Proc::RowKind::Service) {
            EXPECT_EQ(inputs[name], kind == Proc::RowKind::Transition ? 2 : 1) << name;
            EXPECT_EQ(described.count(std::string(settings->GetSummary())), 1U) << name;
            ++registered;
        }
    }
    EXPECT_EQ(filters + mixers, registered);
    EXPECT_EQ(filters, 38);
    EXPECT_EQ(mixers, 39);
}

TEST_F(Frei0rDoorTest, DrawsAsTheCommandDoes) {
    // Rows and columns, alpha, colours under nothing, sizes that are no multiple of 8.
    for (auto const& [width, height] : {std::pair{33U, 17U}, {1U, 1U}, {7U, 3U}}) {
        Picture const from = Picture::Noise(width, height, true, 1);
        Picture const to = Picture::Noise(width, height, true, 2);
        Door const fade("kaltor_t_crossfade");
        DoorInstance mixer(fade, width, height);
        mixer.Set("progress", 0.25);
        EXPECT_TRUE(IsNear(mixer.Draw(0, from, to), Run("TransitionCrossfade", from, to, {0.25}), 0));
        Door const zooming("kaltor_zoom");
        DoorInstance filter(zooming, width, height);
        filter.Set("y", 0.125);
        EXPECT_TRUE(IsNear(filter.Draw(0, from), Run("EffectZoom y=0.125", from), 0));
        filter.Set("background", f0r_param_color{0, 1, 0});
        filter.Set("zoom", 0.0);
        EXPECT_TRUE(IsNear(filter.Draw(0, from), Run("EffectZoom y=0.125 zoom=0.1 background=#00FF00", from), 0));
    }
    Door const door("kaltor_transpose");
    DoorInstance turning(door, 12, 12);
    Picture const square = Picture::Noise(12, 12, true, 3);
    EXPECT_TRUE(IsNear(turning.Draw(0, square),
                       Picture::Make(12, 12, true, [&](unsigned x, unsigned y) { return square.At(y, 11 - x); }), 0));
    // A result of another size is fitted in, with nothing beside it: 20 x 10 becomes 5 x 10 in the middle.
    DoorInstance wide(door, 20, 10);
    Picture const fitted = wide.Draw(0, Picture::Flat(20, 10, {1, 0, 0, 1}, true));
    EXPECT_TRUE(
        IsNear(fitted,
               Picture::Make(20, 10, true,
                             [](unsigned x, unsigned) {
                                 bool const isBorder = x == 7 || x == 12;
                                 return isBorder ? kUndecided : x > 7 && x < 12 ? Rgba{1, 0, 0, 1} : Rgba{0, 0, 0, 0};
                             }),
               kUnfiltered));
}

TEST_F(Frei0rDoorTest, ProgressIsSetOrFollowsFromTheTime) {
    Door const door("kaltor_t_crossfade");
    auto const at = [&](double progress) { return Run("TransitionCrossfade", first, second, {progress}); };
    DoorInstance mixer(door, 33, 17);
    EXPECT_EQ(mixer.GetNumber("progress"), -1.0);
    EXPECT_TRUE(IsNear(mixer.Draw(0.0, first, second), at(0.0), 0)) << "the first input first";
    EXPECT_TRUE(IsNear(mixer.Draw(0.25, first, second), at(0.25), 0));
    mixer.Set("progress", -4.0);
    EXPECT_TRUE(IsNear(mixer.Draw(3.0, first, second), at(0.75), 0)) << "over four seconds";
    mixer.Set("progress", 0.5);
    EXPECT_TRUE(IsNear(mixer.Draw(3.0, first, second), at(0.5), 0));
    DoorInstance milliseconds(door, 33, 17);
    milliseconds.Draw(0.0, first, second);
    EXPECT_TRUE(IsNear(milliseconds.Draw(250.0, first, second), at(0.25), 0));
}

TEST_F(Frei0rDoorTest, TheSameSeedGivesTheSameFrames) {
    Door const door("kaltor_t_puzzle");
    auto const draw = [&](double seed) {
        DoorInstance mixer(door, 33, 17);
        mixer.Set("progress", 0.5);
        mixer.Set("seed", seed / 65535.0);
        return mixer.Draw(0, first, second);
    };
    EXPECT_TRUE(IsNear(draw(7), draw(7), 0));
    EXPECT_FALSE(IsNear(draw(7), draw(8), 0));
    DoorInstance changing(door, 33, 17);
    changing.Set("progress", 0.5);
    changing.Draw(0, first, second);
    changing.Set("seed", 7 / 65535.0);
    EXPECT_TRUE(IsNear(changing.Draw(0, first, second), draw(7), 0)) << "changed on the way";
}

TEST_F(Frei0rDoorTest, EachThreadGetsItsFramesWithItsOwnValues) {
    constexpr int kThreads = 4;
    constexpr int kFrames = 12;
    Door const door("kaltor_t_crossfade");
    DoorInstance shared(door, 33, 17);
    auto const progressOf = [](int thread, int frame) { return (thread * kFrames + frame) / 60.0; };
    std::vector<std::vector<Picture>> drawn(kThreads);
    std::vector<std::vector<Picture>> drawnAlone(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            DoorInstance own(door, 33, 17);
            for (int frame = 0; frame < kFrames; ++frame) {
                shared.Set("progress", progressOf(thread, frame));
                std::this_thread::sleep_for(std::chrono::milliseconds(1));  // the others set theirs
                drawn[static_cast<std::size_t>(thread)].push_back(shared.Draw(0, first, second));
                own.Set("progress", progressOf(thread, frame));
                drawnAlone[static_cast<std::size_t>(thread)].push_back(own.Draw(0, first, second));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int frame = 0; frame < kFrames; ++frame) {
            auto const place = static_cast<std::size_t>(frame);
            Picture const expected = Run("TransitionCrossfade", first, second, {progressOf(thread, frame)});
            EXPECT_TRUE(IsNear(drawn[static_cast<std::size_t>(thread)][place], expected, 0));
            EXPECT_TRUE(IsNear(drawnAlone[static_cast<std::size_t>(thread)][place], expected, 0));
        }
    }
    shared.Set("progress", 1.0);
    std::thread([&] {
        EXPECT_TRUE(IsNear(shared.Draw(0, first, second), second, 0)) << "a value that another thread set";
    }).join();
}

// Each of these runs in a process of its own, started anew.

TEST_F(Frei0rDoorDeathTest, NothingTouchesTheGlBeforeTheFirstPicture) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            for (std::string const& stem : ListDoors()) {
                Door const door(stem);
                DoorInstance const instance(door, 64, 64);
            }
            bool const isUntouched = Ogl::OglManager::FindInstance() == nullptr;
            // Code that a thread may run stays when hosts unload.
            bool const isKept = dlopen("libkaltor_frei0r.so.0", RTLD_NOW | RTLD_NOLOAD) != nullptr;
            std::exit((isUntouched ? 0 : 1) + (isKept ? 0 : 2));
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Frei0rDoorDeathTest, WithoutGlPicturesPassAndALineSaysWhy) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            setenv("__EGL_VENDOR_LIBRARY_FILENAMES", "/nonexistent", 1);
            std::string const log = fmt::format("{}kaltor-without-gl-{}", testing::TempDir(), getpid());
            int const file = open(log.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
            int const screen = dup(STDERR_FILENO);
            dup2(file, STDERR_FILENO);
            Door const invert("kaltor_invert");
            Door const fade("kaltor_t_crossfade");
            DoorInstance const filter(invert, 33, 17);
            DoorInstance const mixer(fade, 33, 17);
            int wrong = 0;
            for (double const time : {0.0, 0.4, 0.6}) {
                wrong += IsNear(filter.Draw(time, first), first, 0) ? 0 : 1;
                wrong += IsNear(mixer.Draw(time, first, second), time < 0.5 ? first : second, 0) ? 0 : 1;
            }
            dup2(screen, STDERR_FILENO);
            std::ifstream lines(log);
            std::string line;
            int said = 0;
            while (std::getline(lines, line)) {
                bool const isOurs = line.find("passes unchanged: no usable OpenGL") != std::string::npos;
                said += isOurs && line.rfind("kaltor_", 0) == 0 ? 1 : 0;
            }
            unlink(log.c_str());
            std::exit(wrong * 10 + said);
        },
        testing::ExitedWithCode(2), "")
        << "once for each of the two";
}

TEST_F(Frei0rDoorDeathTest, ACopyOfTheProcessPassesPicturesAndEnds) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            Door const door("kaltor_invert");
            Picture const inverted = Run("EffectInvert", first);
            auto const instance = std::make_unique<DoorInstance>(door, 33, 17);
            int wrong = IsNear(instance->Draw(0, first), inverted, 0) ? 0 : 1;
            pid_t const child = fork();
            if (child == 0) {
                alarm(300);  // a copy that hangs ends here
                bool const isPassed = IsNear(instance->Draw(0.1, first), first, 0);
                DoorInstance const other(door, 33, 17);
                bool const isPassedAnew = IsNear(other.Draw(0, first), first, 0);
                std::exit(isPassed && isPassedAnew ? 0 : 1);
            }
            int status = 0;
            waitpid(child, &status, 0);
            wrong += WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 2;
            wrong += IsNear(instance->Draw(0.2, first), inverted, 0) ? 0 : 4;
            std::exit(wrong);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Frei0rDoorDeathTest, AnInstanceMayBeInUseWhenTheProcessEnds) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            // Never destroyed, as in a host that ends while its threads run.
            static auto const* const door = new Door("kaltor_blur_gaussian");
            static auto const* const instance = new DoorInstance(*door, 33, 17);
            static auto const* const picture = new Picture(first);
            static std::atomic<int> drawn{0};
            std::thread([] {
                while (true) {
                    instance->Draw(0, *picture);
                    ++drawn;
                }
            }).detach();
            while (drawn < 3) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            alarm(300);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Kaltor::Tests
