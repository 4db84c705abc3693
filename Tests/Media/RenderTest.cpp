#include <cmath>
#include <csignal>
#include <fstream>
#include <numbers>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <sys/resource.h>

#include "Media/BoundedQueue.h"
#include "MediaTest.h"

namespace Kaltor::Media::Tests {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::Not;

std::size_t CountThreads() {
    std::filesystem::directory_iterator const tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

std::string ReadFile(std::string const& path) {
    std::ifstream const file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class RenderTest : public MediaTest {
protected:
    RenderResult Run(RenderJob const& job) { return Render(job, MakeFakeFactory(log)); }

    /// Runs a job that must fail: nothing may be left, and the message of an `Error` is returned.
    template <typename Error>
    std::string Fail(RenderJob const& job) {
        std::vector<std::string> const before = ListFolder();
        std::size_t const threads = CountThreads();
        std::string message;
        try {
            Run(job);
            ADD_FAILURE() << "it should have failed";
        } catch (Error const& error) {
            message = error.what();
        }
        EXPECT_EQ(ListFolder(), before);
        EXPECT_EQ(CountThreads(), threads);
        EXPECT_EQ(log.liveEffects, 0);
        EXPECT_THAT(message, Not(HasSubstr("\n")));
        return message;
    }

    RenderJob MakeTwoClipJob(int frames = 30) {
        ClipSpec spec;
        spec.frames = frames;
        MakeClip(At("a.mkv"), spec);
        MakeClip(At("b.mkv"), spec);
        return MakeJob({At("a.mkv"), At("b.mkv")}, At("out.mp4"));
    }

    FakeLog log;
};

TEST_F(RenderTest, JoinsClipsFrameByFrame) {
    ClipSpec spec;
    MakeClip(At("a.mkv"), spec);
    spec.frames = 25;
    spec.color = [](int k) { return Yuv{220 - k, 128, 128}; };
    MakeClip(At("b.mkv"), spec);
    RenderJob job = MakeJob({At("a.mkv"), At("b.mkv")}, At("out.mkv"));
    job.codec = "ffv1";
    std::int64_t told = 0;
    job.onProgress = [&](std::int64_t done, std::int64_t total) {
        EXPECT_GT(done, told);
        EXPECT_EQ(total, 40);
        told = done;
    };
    RenderResult const result = Run(job);
    EXPECT_EQ(result.frames, 30 + 25 - 15);
    EXPECT_EQ(result.processedFrames, 15);
    EXPECT_FALSE(result.hasSound);
    EXPECT_EQ(told, 40);
    EXPECT_EQ(log.liveEffects, 0);

    auto const pictures = ReadAll(At("out.mkv"));
    ASSERT_EQ(pictures.size(), 40U);
    for (int k = 0; k < 40; ++k) {
        double const a = LumaOf(k);
        double const b = 220 - (k - 15);
        double const expected = k < 15 ? a : k < 30 ? std::lround(a + (b - a) * (k - 15) / 15.0) : b;
        EXPECT_EQ(MeanOf(*pictures[static_cast<std::size_t>(k)], 0), expected) << "frame " << k;
    }
    EXPECT_LT(EndOf(At("out.mkv"), AVMEDIA_TYPE_AUDIO), 0.0) << "no clip has sound";
}

TEST_F(RenderTest, ProgressAndTimesAreExact) {
    for (AVRational const rate : {AVRational{30, 1}, AVRational{30000, 1001}, AVRational{24, 1}, AVRational{7, 2}}) {
        log.calls.clear();
        ClipSpec spec;
        spec.frames = 40;
        MakeClip(At("a.mkv"), spec);
        RenderJob job = MakeJob({At("a.mkv"), At("a.mkv"), At("a.mkv")}, At("out.mkv"), milliseconds(0));
        job.frameRate = rate;
        job.overwrite = true;
        double const fps = av_q2d(rate);
        job.transitions[0].duration = Microseconds(std::llround(2e6 / fps));  // 2 frames
        job.transitions[1].duration = Microseconds(std::llround(1e6 / fps));  // 1 frame
        job.effects.push_back({std::make_shared<FakeSettings>("Tint"), 1});
        job.effects.push_back({std::make_shared<FakeSettings>("All"), {}});
        RenderResult const result = Run(job);
        auto const frames = static_cast<std::int64_t>(std::lround(40 / 30.0 * fps));
        ASSERT_EQ(result.frames, 3 * frames - 3);
        std::int64_t const second = frames - 2;  // where the second clip begins

        auto const check = [&](std::string const& id, std::size_t offset, std::int64_t first, std::int64_t count) {
            ASSERT_GE(log.calls[id].size(), offset + static_cast<std::size_t>(count)) << id;
            for (std::int64_t k = 0; k < count; ++k) {
                FakeLog::Call const& call = log.calls[id][offset + static_cast<std::size_t>(k)];
                EXPECT_EQ(call.timestamp, std::llround(static_cast<double>(first + k) * 1e6 / fps)) << id << k;
                EXPECT_NEAR(call.progress, static_cast<double>(k) / static_cast<double>(count), 1e-9) << id << k;
            }
            EXPECT_EQ(log.calls[id][offset].progress, 0.0) << "exactly 0 on the first frame";
        };
        check("Mix", 0, second, 2);
        check("Mix", 2, second + frames - 1, 1);
        EXPECT_EQ(log.calls["Mix"].size(), 3U);
        check("Tint", 0, second, frames);
        EXPECT_EQ(log.calls["Tint"].size(), static_cast<std::size_t>(frames)) << "on its clip only";
        EXPECT_EQ(log.calls["All"].size(), static_cast<std::size_t>(3 * frames));
    }
}

TEST_F(RenderTest, TakesPiecesAndStills) {
    ClipSpec spec;
    spec.frames = 28;
    MakeClip(At("a.mkv"), spec);
    RenderJob job = MakeJob({At("a.mkv"), At("a.mkv")}, At("out.mkv"));
    job.transitions[0].settings = nullptr;  // a cut
    job.codec = "ffv1";
    job.clips[0].start = milliseconds(200);
    job.clips[0].end = milliseconds(500);
    job.clips[1].end = milliseconds(100);
    EXPECT_EQ(Run(job).frames, 9 + 3);
    auto const pictures = ReadAll(At("out.mkv"));
    ASSERT_EQ(pictures.size(), 12U);
    for (int k = 0; k < 12; ++k) {
        EXPECT_EQ(MeanOf(*pictures[static_cast<std::size_t>(k)], 0), LumaOf(k < 9 ? 6 + k : k - 9)) << k;
    }
    EXPECT_TRUE(log.calls.empty()) << "nothing changes any frame";
}

TEST_F(RenderTest, FollowsTheFirstClipsForm) {
    ClipSpec spec;
    spec.width = 48;
    spec.height = 64;
    spec.pixelAspectX = 4;
    spec.pixelAspectY = 3;
    spec.frameRate = {25, 1};
    spec.frames = 25;
    spec.colorSpec = {ColorMatrix::Bt709, ColorRange::Full};
    MakeClip(At("a.mkv"), spec);
    MakeClip(At("b.mkv"), {});
    RenderJob job = MakeJob({At("a.mkv"), At("b.mkv")}, At("out.mp4"));
    EXPECT_EQ(Run(job).frames, 25 + 25 - 13);
    MediaInfo info = Probe(At("out.mp4"));
    EXPECT_EQ(info.frame, (Conf::FrameInfo{48, 64, 4, 3}));
    EXPECT_EQ(av_cmp_q(info.frameRate, {25, 1}), 0);
    EXPECT_EQ(info.colorSpec, spec.colorSpec);
    EXPECT_EQ(info.codec, "h264");
    EXPECT_EQ(info.pixelFormat, "yuvj420p");

    job.size = Conf::FrameInfo{96, 54, 1, 1};
    job.frameRate = AVRational{50, 1};
    job.overwrite = true;
    Run(job);
    info = Probe(At("out.mp4"));
    EXPECT_EQ(info.frame, (Conf::FrameInfo{96, 54, 1, 1}));
    EXPECT_EQ(av_cmp_q(info.frameRate, {50, 1}), 0);
}

TEST_F(RenderTest, SoundFadesWithEqualPowerAndAgreesInLength) {
    auto const tone = [](double frequency) {
        return [angle = 2.0 * std::numbers::pi * frequency / 48000.0](std::int64_t n) {
            return static_cast<float>(0.3 * std::sin(angle * static_cast<double>(n)));
        };
    };
    ClipSpec spec;
    spec.frames = 60;
    spec.sound = SoundFormat{48000, 2};
    spec.wave = tone(2000.0);
    MakeClip(At("b.mkv"), spec);
    spec.wave = tone(500.0);
    spec.codec = "";
    MakeClip(At("a.mp4"), spec);
    spec.codec = ClipSpec().codec;
    spec.sound.reset();
    MakeClip(At("mute.mkv"), spec);
    RenderJob job = MakeJob({At("a.mp4"), At("b.mkv"), At("mute.mkv")}, At("out.mp4"), milliseconds(1000));
    RenderResult const result = Run(job);
    EXPECT_TRUE(result.hasSound);
    EXPECT_EQ(result.frames, 120);  // 4 s: a alone 0-1, both 1-2, b fading into silence 2-3, silence 3-4
    EXPECT_NEAR(EndOf(At("out.mp4"), AVMEDIA_TYPE_VIDEO), 4.0, 0.001);
    EXPECT_NEAR(EndOf(At("out.mp4"), AVMEDIA_TYPE_AUDIO), 4.0, 1024 / 48000.0);

    auto const sound = ReadSound(At("out.mp4"), {48000, 2}, 4 * 48000);
    // The amplitude of one tone in 20 ms around a time: its correlation with sine and cosine.
    auto const amplitude = [&](double frequency, double seconds) {
        double s = 0.0;
        double c = 0.0;
        int const begin = static_cast<int>((seconds - 0.01) * 48000.0);
        for (int i = begin; i < begin + 960; ++i) {
            double const angle = 2.0 * std::numbers::pi * frequency * i / 48000.0;
            s += static_cast<double>(sound[0][static_cast<std::size_t>(i)]) * std::sin(angle);
            c += static_cast<double>(sound[0][static_cast<std::size_t>(i)]) * std::cos(angle);
        }
        return 2.0 * std::hypot(s, c) / 960.0;
    };
    for (double const p : {0.1, 0.25, 0.5, 0.75, 0.9}) {
        double const angle = p * std::numbers::pi / 2.0;
        EXPECT_NEAR(amplitude(500.0, 1.0 + p), 0.3 * std::cos(angle), 0.012) << p;
        EXPECT_NEAR(amplitude(2000.0, 1.0 + p), 0.3 * std::sin(angle), 0.012) << p;
        EXPECT_NEAR(amplitude(2000.0, 2.0 + p), 0.3 * std::cos(angle), 0.012) << "into silence, " << p;
    }
    EXPECT_NEAR(amplitude(500.0, 0.5), 0.3, 0.01);
    EXPECT_NEAR(amplitude(2000.0, 0.5), 0.0, 0.003);
    EXPECT_NEAR(amplitude(2000.0, 3.5), 0.0, 0.003);

    job.audio = false;
    job.overwrite = true;
    EXPECT_FALSE(Run(job).hasSound);
    EXPECT_LT(EndOf(At("out.mp4"), AVMEDIA_TYPE_AUDIO), 0.0);
}

TEST_F(RenderTest, WritesOtherContainers) {
    ClipSpec spec;
    spec.frames = 10;
    spec.sound = SoundFormat{44100, 1};
    MakeClip(At("a.mkv"), spec);
    struct Case {
        char const* name;
        char const* codec;
        bool hasSound;
    };
    for (Case const& c : {Case{"out.mov", "h264", true}, Case{"out.mkv", "h264", true}, Case{"out.webm", "vp9", true},
                          Case{"out.ts", "h264", true}, Case{"out.avi", "mpeg4", true}, Case{"out.gif", "gif", false},
                          Case{"out.apng", "apng", false}}) {
        RenderJob job = MakeJob({At("a.mkv")}, At(c.name));
        std::vector<std::string> warnings;
        job.onWarning = [&](std::string const& text) { warnings.push_back(text); };
        EXPECT_EQ(Run(job).hasSound, c.hasSound) << c.name;
        EXPECT_EQ(warnings.size(), c.hasSound ? 0U : 1U) << c.name;
        MediaInfo const info = Probe(At(c.name));
        EXPECT_EQ(info.codec, c.codec);
        EXPECT_NEAR(static_cast<double>(info.duration.count()), 10e6 / 30.0, 4e4) << c.name;
        auto const pictures = ReadAll(At(c.name));
        ASSERT_GE(pictures.size(), 9U) << c.name;
        // FFmpeg's AVI leaves a slot after the first frame.
        int const shown = std::string(c.name) == "out.avi" ? 4 : 5;
        EXPECT_NEAR(MeanOf(*pictures[5], 0), LumaOf(shown), 3) << c.name;
    }
}

TEST_F(RenderTest, RefusesWhatCannotBe) {
    RenderJob const good = MakeTwoClipJob();
    struct Case {
        std::function<void(RenderJob&)> spoil;
        char const* message;
    };
    for (Case const& c : std::initializer_list<Case>{
             {[](RenderJob& job) { job.transitions[0].duration = milliseconds(1500); },
              "a.mkv: 1.00 s (30 frames) is too short for its transition of 1.50 s; the longest possible is 1.00 s"},
             {[](RenderJob& job) {
                  job.clips.push_back(job.clips[0]);
                  job.transitions.push_back(job.transitions[0]);
                  job.transitions[1].duration = milliseconds(600);
              },
              "b.mkv: 1.00 s (30 frames) is too short for its transitions of 0.50 s and 0.60 s; the longest possible "
              "is 0.50 s each"},
             {[this](RenderJob& job) { job.clips[1].path = At("none.mp4"); }, "none.mp4: no such file"},
             {[](RenderJob& job) { job.clips[0].start = milliseconds(1200); }, "ends at 1.00 s"},
             {[](RenderJob& job) { job.getMaximumSide = [] { return 63U; }; }, "64x48 is too large"},
         }) {
        RenderJob job = good;
        c.spoil(job);
        EXPECT_THAT(Fail<MediaError>(job), HasSubstr(c.message));
    }
    for (Case const& c : std::initializer_list<Case>{
             {[](RenderJob& job) {
                  job.effects.push_back({std::make_shared<FakeSettings>("Tint"), 2});
              },
              ""},
             {[](RenderJob& job) {
                  job.size = Conf::FrameInfo{65, 48, 1, 1};
              },
              "even"},
             {[](RenderJob& job) { job.codec = "nonsense"; }, "libx264"},  // offers what there is
             {[](RenderJob& job) { job.codec = "vp8"; }, "libx264"},
             {[](RenderJob& job) { job.crf = 90; }, "0 to 51"},
         }) {
        RenderJob job = good;
        c.spoil(job);
        EXPECT_THAT(Fail<std::invalid_argument>(job), HasSubstr(c.message));
    }
    for (char const* const name : {"out.xyz", "out", "out.png", "out.mp3", "nofolder/out.mp4"}) {
        RenderJob job = good;
        job.output = At(name);
        EXPECT_THAT(Fail<std::exception>(job), HasSubstr(name));
    }
}

TEST_F(RenderTest, AnErrorInAnEffectEndsEverything) {
    RenderJob job = MakeTwoClipJob(90);
    for (int const failing : {0, 7, 14}) {
        log.calls.clear();
        log.onCall = [&](std::string const&, FakeLog::Call const&) {
            if (log.calls["Mix"].size() == static_cast<std::size_t>(failing)) {
                throw std::runtime_error("no GL today");
            }
        };
        EXPECT_EQ(Fail<std::runtime_error>(job), "no GL today");
    }
    log.onCall = nullptr;
    job.onProgress = [](std::int64_t done, std::int64_t) {
        if (done > 20) {
            throw std::logic_error("from the callback");
        }
    };
    EXPECT_EQ(Fail<std::logic_error>(job), "from the callback");
}

TEST_F(RenderTest, StopsWhenCancelled) {
    RenderJob job = MakeTwoClipJob(300);
    std::atomic<bool> cancel{false};
    job.cancel = &cancel;
    job.onProgress = [&](std::int64_t done, std::int64_t) { cancel = cancel || done >= 40; };
    log.onCall = [](std::string const&, FakeLog::Call const&) { std::this_thread::sleep_for(milliseconds(5)); };
    job.effects.push_back({std::make_shared<FakeSettings>("Tint"), {}});
    Fail<Cancelled>(job);
    EXPECT_LT(log.calls["Tint"].size(), 300U);
}

TEST_F(RenderTest, AnExistingFileIsSafe) {
    RenderJob job = MakeTwoClipJob();
    std::ofstream(At("out.mp4")) << "precious";
    EXPECT_THAT(Fail<MediaError>(job), HasSubstr("out.mp4: exists already"));
    EXPECT_EQ(ReadFile(At("out.mp4")), "precious");
    job.overwrite = true;
    log.onCall = [](std::string const&, FakeLog::Call const&) { throw std::runtime_error("broken"); };
    Fail<std::runtime_error>(job);
    EXPECT_EQ(ReadFile(At("out.mp4")), "precious");
    log.onCall = nullptr;
    Run(job);
    EXPECT_NE(ReadFile(At("out.mp4")), "precious");
    // Its own input may be the output.
    job.clips.resize(1);
    job.transitions.clear();
    job.clips[0].path = At("out.mp4");
    EXPECT_EQ(Run(job).frames, 45);
    EXPECT_EQ(ReadAll(At("out.mp4")).size(), 45U);
}

TEST_F(RenderTest, AFullDiskLeavesNothing) {
    ClipSpec spec;
    spec.frames = 30;
    spec.width = 160;
    spec.height = 120;
    spec.draw = DrawNoise;
    MakeClip(At("a.mkv"), spec);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    for (char const* const name : {"out.mp4", "out.mkv"}) {
        for (rlim_t const size : {rlim_t{1000}, rlim_t{100'000}}) {
            rlimit limit = before;
            limit.rlim_cur = size;
            setrlimit(RLIMIT_FSIZE, &limit);
            std::string const message = Fail<MediaError>(MakeJob({At("a.mkv")}, At(name)));
            setrlimit(RLIMIT_FSIZE, &before);
            EXPECT_THAT(message, HasSubstr("cannot be written (File too large)"));
        }
    }
    std::signal(SIGXFSZ, handler);
}

TEST_F(RenderTest, ACutOffClipIsUsedAsFarAsItGoes) {
    ClipSpec spec;
    spec.frames = 90;
    spec.codec = "mjpeg";
    spec.sound = SoundFormat{};
    MakeClip(At("a.mp4"), spec);
    Truncate(At("a.mp4"), 0.6);
    RenderJob job = MakeJob({At("a.mp4")}, At("out.mp4"));
    std::vector<std::string> warnings;
    job.onWarning = [&](std::string const& text) { warnings.push_back(text); };
    RenderResult const result = Run(job);
    EXPECT_GT(result.frames, 20);
    EXPECT_LT(result.frames, 80);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_THAT(warnings[0], HasSubstr("a.mp4: damaged or cut off at "));
    EXPECT_EQ(ReadAll(At("out.mp4")).size(), static_cast<std::size_t>(result.frames));
}

TEST_F(RenderTest, NoStageRunsFarAhead) {
    // A clip's pictures may wait in queues, but few: the effect stands still until the count of frames made and not
    // yet encoded stops growing, which it must by far before the clip's end.
    RenderJob job = MakeTwoClipJob(200);
    job.output = At("out.mkv");
    job.codec = "ffv1";  // takes a frame, gives a frame
    job.transitions[0].settings = nullptr;
    job.effects.push_back({std::make_shared<FakeSettings>("Tint"), {}});
    std::atomic<std::int64_t> made{0};
    std::atomic<std::int64_t> encoded{0};
    std::atomic<std::int64_t> mostAhead{0};
    log.onCall = [&](std::string const&, FakeLog::Call const&) {
        ++made;
        mostAhead = std::max<std::int64_t>(mostAhead, made - encoded);
    };
    job.onProgress = [&](std::int64_t done, std::int64_t) { encoded = done; };
    EXPECT_EQ(Run(job).processedFrames, 400);
    // The queues hold some twenty; the rest is for a busy machine, where the thread that is told of progress lags.
    EXPECT_LT(mostAhead, 150);

    StopSignal stop;
    BoundedQueue<int> queue(3, stop);
    std::atomic<int> pushed{0};
    std::thread producer([&] {
        while (queue.Push(pushed)) {
            ++pushed;
        }
    });
    while (pushed < 3) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(milliseconds(30));
    EXPECT_EQ(pushed, 3);
    EXPECT_EQ(queue.Pop(), 0);
    stop.Trip();  // wakes the producer and drops what waits
    producer.join();
    EXPECT_FALSE(queue.Pop());
}

TEST_F(RenderTest, EffectsMayChangeTheSize) {
    RenderJob job = MakeTwoClipJob();
    job.effects.push_back({std::make_shared<FakeSettings>("Resize"), 0});
    log.width = 96;
    log.height = 32;
    Run(job);
    MediaInfo const info = Probe(At("out.mp4"));
    EXPECT_EQ(info.frame.width, 64U);
    EXPECT_EQ(info.frame.height, 48U);
}

TEST_F(RenderTest, ManyShortClips) {
    ClipSpec spec;
    spec.frames = 3;
    MakeClip(At("a.mkv"), spec);
    RenderJob job = MakeJob(std::vector<std::string>(60, At("a.mkv")), At("out.mkv"), milliseconds(33));
    EXPECT_EQ(Run(job).frames, 60 * 3 - 59);
    EXPECT_EQ(log.calls["Mix"].size(), 59U);
}

}  // namespace
}  // namespace Kaltor::Media::Tests
