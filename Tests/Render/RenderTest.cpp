#include <limits>

#include <sys/resource.h>
#include <sys/stat.h>

#include "Host/Plugin.h"
#include "Media/BoundedQueue.h"
#include "Render/EffectStage.h"
#include "Render/Pipeline.h"
#include "Render/SoundMix.h"
#include "RenderFixture.h"

namespace Kaltor::Render::Tests {
namespace {

using namespace Media;
using namespace Media::Tests;
using std::chrono::milliseconds;

std::size_t CountThreads() {
    std::filesystem::directory_iterator const tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

class RenderTest : public MediaTest {
protected:
    RenderResult Run(RenderJob job) {
        warnings.clear();
        job.onWarning = [this](std::string const& text) { warnings.push_back(text); };
        Watchdog const watchdog;
        return Render(job, MakeFakeFactory(log));
    }

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
        // The system lists threads a moment longer than they are joined.
        EXPECT_TRUE(Kaltor::Tests::WaitUntil([&] { return CountThreads() <= threads; })) << "threads are left";
        EXPECT_EQ(log.liveEffects, 0);
        EXPECT_THAT(message, Not(HasSubstr("\n")));
        return message;
    }

    /// Two clips joined by half a second.
    RenderJob MakeTwoClipJob(int frames = 30) {
        return MakeJob({Make("a.mkv", {.frames = frames}), Make("b.mkv", {.frames = frames})}, At("out.mp4"));
    }

    FakeLog log;
    std::vector<std::string> warnings;
};

TEST_F(RenderTest, JoinsClipsFrameByFrame) {
    std::string const second = Make("b.mkv", {.frames = 25, .color = [](int k) { return Grey(220 - k); }});
    RenderJob job = MakeJob({Make("a.mkv", {}), second}, At("out.mkv"));
    job.document.output.codec = "ffv1";
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
    std::vector<int> expected;
    for (int k = 0; k < 40; ++k) {
        double const share = std::clamp((k - 15) / 15.0, 0.0, 1.0);
        expected.push_back(static_cast<int>(std::lround(LumaOf(k) * (1 - share) + (235 - k) * share)));
    }
    EXPECT_EQ(ReadLumas(At("out.mkv")), expected);
    EXPECT_LT(EndOf(At("out.mkv"), AVMEDIA_TYPE_AUDIO), 0.0) << "no clip has sound";
}

TEST_F(RenderTest, ProgressAndTimesAreExact) {
    std::string const clip = Make("a.mkv", {.frames = 40});
    for (AVRational const rate : {AVRational{30, 1}, AVRational{30000, 1001}, AVRational{24, 1}, AVRational{7, 2}}) {
        log.calls.clear();
        RenderJob job = MakeJob({clip, clip, clip}, At("out.mkv"));
        job.document.output.frameRate = rate;
        job.overwrite = true;
        double const fps = av_q2d(rate);
        job.document.clips[0].joint = MakeJoint(Proc::MakeSettings(kMix), 2.0 / fps);
        job.document.clips[1].joint = MakeJoint(Proc::MakeSettings(kMix), 1.0 / fps);
        AddEffect(job, kTint, 1);
        AddEffect(job, kAll);
        RenderResult const result = Run(job);
        auto const frames = static_cast<std::size_t>(std::lround(40 / 30.0 * fps));
        ASSERT_EQ(result.frames, static_cast<std::int64_t>(3 * frames - 3));
        std::size_t const second = frames - 2;  // where the second clip begins

        auto const check = [&](std::string const& id, std::size_t offset, std::size_t first, std::size_t count) {
            ASSERT_GE(log.calls[id].size(), offset + count) << id;
            for (std::size_t k = 0; k < count; ++k) {
                FakeLog::Call const& call = log.calls[id][offset + k];
                EXPECT_EQ(call.timestamp, std::llround(static_cast<double>(first + k) * 1e6 / fps)) << id << k;
                EXPECT_EQ(call.progress, static_cast<double>(k) / static_cast<double>(count)) << id << k;
            }
        };
        check(kMix, 0, second, 2);
        check(kMix, 2, second + frames - 1, 1);
        check(kTint, 0, second, frames);
        EXPECT_THAT(log.calls[kMix], SizeIs(3));
        EXPECT_THAT(log.calls[kTint], SizeIs(frames)) << "on its clip only";
        EXPECT_THAT(log.calls[kAll], SizeIs(3 * frames));
    }
}

TEST_F(RenderTest, EachPlaceHasASeedOfItsOwn) {
    std::string const clip = Make("a.mkv", {.frames = 20});
    auto const run = [&](std::optional<std::uint32_t> seed, std::size_t effects) {
        log.seeds.clear();
        RenderJob job = MakeJob({clip, clip, clip}, At("out.mkv"), milliseconds(100));
        job.overwrite = true;
        job.document.output.seed = seed;
        AddEffect(job, kTint);
        if (effects > 1) {
            AddEffect(job, kTint, 1);
        }
        Run(job);
        return log.seeds;
    };
    auto const seeds = run(7, 2);
    ASSERT_THAT(seeds.at(kTint), SizeIs(4)) << "one on the first clip, two on the second, one on the last";
    ASSERT_THAT(seeds.at(kMix), SizeIs(2));
    EXPECT_EQ(seeds.at(kTint)[0], 7U);
    EXPECT_EQ(seeds.at(kMix)[0], 7U);
    EXPECT_THAT((std::set<std::uint32_t>(seeds.at(kTint).begin(), seeds.at(kTint).end())), SizeIs(4));
    EXPECT_NE(seeds.at(kMix)[1], seeds.at(kMix)[0]);
    EXPECT_EQ(run(7, 2), seeds);
    auto const fewer = run(7, 1);
    EXPECT_THAT(fewer.at(kTint), ElementsAre(seeds.at(kTint)[0], seeds.at(kTint)[1], seeds.at(kTint)[3]));
    EXPECT_EQ(fewer.at(kMix), seeds.at(kMix)) << "an effect more or less changes no other place";
    EXPECT_NE(run(8, 2).at(kMix)[1], seeds.at(kMix)[1]);
    EXPECT_NE(run({}, 2), run({}, 2)) << "the clock";
}

TEST_F(RenderTest, TheSameSeedGivesTheSameVideo) {
    // One still, so that the two transitions differ by what is random alone.
    std::string const clip =
        Make("a.mkv",
             {.frame = {160, 90, 1, 1}, .frames = 40, .draw = [](AVFrame& picture, int) { DrawNoise(picture, 1); }});
    RenderJob job = MakeJob({clip, clip, clip}, At("out.mkv"));
    job.document.output.codec = "ffv1";
    job.overwrite = true;
    job.document.output.seed = 5;
    for (Edit::Clip& one : job.document.clips) {
        one.joint->settings = Proc::MakeSettings("TransitionShatter");
    }
    FactoryPtr const factory = Host::MakeRegistry()->GetFactory();
    auto const render = [&] {
        Render(job, factory);
        return ReadPlanes(At("out.mkv"));
    };
    auto const first = render();
    ASSERT_THAT(first, SizeIs(3 * 40 - 2 * 15));
    EXPECT_NE(first[25 + 7], first[50 + 7]) << "the two transitions in their middle";
    for (int i = 0; i < 3; ++i) {
        std::srand(static_cast<unsigned>(i));
        EXPECT_TRUE(render() == first) << "again, " << i;
    }
    AddEffect(job, "EffectCameraShake", 1);
    AddEffect(job, "EffectCameraShake", 1);
    auto const shaken = render();
    EXPECT_TRUE(render() == shaken) << "with two effects of one name on the second clip";
    EXPECT_TRUE(std::equal(first.begin(), first.begin() + 25, shaken.begin())) << "the first clip";
    EXPECT_NE(first[45], shaken[45]);
}

TEST_F(RenderTest, FollowsTheFirstClipsFormAlsoWhereEffectsChangeTheSize) {
    ColorSpec const spec{ColorMatrix::Bt709, ColorRange::Full};
    std::string const first =
        Make("a.mkv", {.frame = {48, 64, 4, 3}, .frameRate = {25, 1}, .frames = 25, .colorSpec = spec});
    RenderJob job = MakeJob({first, Make("b.mkv", {})}, At("out.mp4"));
    AddEffect(job, kTint, 0);
    log.size = Conf::FrameInfo{96, 32, 1, 1};
    EXPECT_EQ(Run(job).frames, 25 + 25 - 13);
    MediaInfo info = Probe(At("out.mp4"));
    EXPECT_EQ(info.frame, (Conf::FrameInfo{48, 64, 4, 3}));
    EXPECT_EQ(av_cmp_q(info.frameRate, {25, 1}), 0);
    EXPECT_EQ(info.colorSpec, spec);
    EXPECT_EQ(info.codec, "h264");
    EXPECT_EQ(info.pixelFormat, "yuvj420p");

    job.document.output.size = Edit::Output::Size{96, 54};
    job.document.output.frameRate = AVRational{50, 1};
    job.overwrite = true;
    Run(job);
    info = Probe(At("out.mp4"));
    EXPECT_EQ(info.frame, (Conf::FrameInfo{96, 54, 1, 1}));
    EXPECT_EQ(av_cmp_q(info.frameRate, {50, 1}), 0);
}

TEST_F(RenderTest, PixelsThatAreNotSquareKeepTheirShape) {
    // What is seen as a square, as a picture twice as wide as high, and as a square again.
    Codes const plain{200, 90, 150};
    auto const color = [&](int) { return plain; };
    std::string const wide = Make("a.mkv", {.frame = {48, 64, 4, 3}, .frames = 1, .color = color});
    std::string const flat = Make("b.mkv", {.frame = {128, 64, 1, 1}, .frames = 1, .color = color});
    std::string const narrow = Make("c.mkv", {.frame = {64, 48, 3, 4}, .frames = 1, .color = color});
    RenderJob job = MakeJob({wide, flat, narrow}, At("out.mkv"));
    for (Edit::Clip& clip : job.document.clips) {
        clip.joint.reset();
    }
    job.document.output.codec = "ffv1";
    job.overwrite = true;
    // The bars that each clip gets, pixels on the left and on top.
    auto const expect = [&](Conf::FrameInfo const& frame, std::vector<std::pair<int, int>> const& bars) {
        EXPECT_EQ(Run(job).frames, 3);
        EXPECT_EQ(Probe(At("out.mkv")).frame, frame);
        VideoReader reader(At("out.mkv"), {frame, {30, 1}, ClipSpec().colorSpec, PixFmt::Yuv420p});
        for (auto const& [left, top] : bars) {
            Proc::AvFramePtr const picture = reader.Read();
            auto const at = [&, l = left, t = top](double x, double y) {
                bool const isInside = x >= l && x < frame.width - l && y >= t && y < frame.height - t;
                return isInside ? plain : Grey(16);
            };
            EXPECT_TRUE(Shows(*picture, at, 1))
                << frame.width << "x" << frame.height << ", bars " << left << ", " << top;
        }
    };
    expect({48, 64, 4, 3}, {{0, 0}, {0, 16}, {0, 0}});
    job.document.output.size = Edit::Output::Size{96, 64};
    expect({96, 64, 1, 1}, {{16, 0}, {0, 8}, {16, 0}});
    // An effect's picture also counts by its displayed shape: its pixels are square now.
    job.document.output.size.reset();
    job.document.clips.resize(1);
    AddEffect(job, kTint);
    for (auto const& [size, top] :
         {std::pair{Conf::FrameInfo{64, 64, 1, 1}, 0}, {Conf::FrameInfo{128, 64, 1, 1}, 16}}) {
        log.size = size;
        Run(job);
        VideoReader reader(At("out.mkv"), {{48, 64, 4, 3}, {30, 1}, ClipSpec().colorSpec, PixFmt::Yuv420p});
        Proc::AvFramePtr const picture = reader.Read();
        auto const at = [t = top](double, double y) { return y >= t && y < 64 - t ? Codes{200, 100, 160} : Grey(16); };
        EXPECT_TRUE(Shows(*picture, at, 1)) << "bars " << top;
    }
}

TEST_F(RenderTest, KeepsHdrTagsAndBringsOtherClipsThere) {
    std::string const hdr =
        Make("hdr.mkv", {.colorSpec = {ColorMatrix::Bt2020, ColorRange::Limited}, .transfer = AVCOL_TRC_SMPTE2084});
    Run(MakeJob({hdr, hdr, Make("plain.mkv", {})}, At("out.mp4")));
    EXPECT_EQ(Probe(At("out.mp4")).transfer, AVCOL_TRC_SMPTE2084);
    EXPECT_THAT(warnings, testing::IsEmpty());
}

TEST_F(RenderTest, SoundAgreesInLengthAndCanBeMuted) {
    std::string const tone = Make("a.mp4", {.frames = 60, .sound = SoundFormat{}, .wave = [](std::int64_t n) {
                                                return static_cast<float>(0.3 * std::sin(0.1 * static_cast<double>(n)));
                                            }});
    RenderJob job = MakeJob({tone, Make("mute.mkv", {.frames = 60})}, At("out.mp4"), milliseconds(1000));
    RenderResult const result = Run(job);
    EXPECT_TRUE(result.hasSound);
    EXPECT_EQ(result.frames, 90);  // 3 s: alone 0-1, fading into silence 1-2, silence 2-3
    EXPECT_NEAR(EndOf(At("out.mp4"), AVMEDIA_TYPE_VIDEO), 3.0, 0.001);
    EXPECT_NEAR(EndOf(At("out.mp4"), AVMEDIA_TYPE_AUDIO), 3.0 + 512 / 48000.0, 513 / 48000.0) << "a whole AAC frame";
    std::vector<float> const sound = ReadSound(At("out.mp4"), {48000, 2}, 3 * 48000)[0];
    auto const peak = [&](int from) { return *std::max_element(sound.begin() + from, sound.begin() + from + 4800); };
    EXPECT_NEAR(peak(24000), 0.3, 0.02);
    EXPECT_NEAR(peak(120000), 0.0, 0.003);
    job.document.mix.isMuted = job.overwrite = true;
    EXPECT_FALSE(Run(job).hasSound);
    EXPECT_LT(EndOf(At("out.mp4"), AVMEDIA_TYPE_AUDIO), 0.0);
}

TEST_F(RenderTest, LostSoundIsAnErrorAndUnreadableSoundAWarning) {
    SoundPlan plan;
    plan.frames = 5;
    PlannedSound& sound = plan.sounds.emplace_back();
    sound.path = Make("a.mkv", {.frames = 5});
    sound.frames = 5;
    auto const mix = [&] {
        SoundMix(plan, {8000, 1}, [&](std::string const& text) { warnings.push_back(text); }, {}).Read(100);
    };
    mix();
    EXPECT_THAT(warnings, ElementsAre(HasSubstr("a.mkv: has no sound; it is silent")));
    std::filesystem::remove(sound.path);
    EXPECT_THAT(Catch<SystemError>(mix).what, HasSubstr("a.mkv: no such file"));
}

TEST_F(RenderTest, WritesOtherContainers) {
    std::string const clip = Make("a.mkv", {.frames = 10, .sound = SoundFormat{44100, 1}});
    struct Case {
        char const* name;
        char const* codec;
        bool hasSound = true;
        int fifth = 5;  ///< the clip's picture that is shown as the fifth
    };
    for (Case const& c : {Case{"out.mov", "h264"}, Case{"out.mkv", "h264"}, Case{"out.webm", "vp9"},
                          Case{"out.ts", "h264"}, Case{"out.gif", "gif", false}, Case{"out.apng", "apng", false},
                          Case{"out.avi", "mpeg4", true, 4}}) {  // FFmpeg's AVI leaves a slot after the first frame
        EXPECT_EQ(Run(MakeJob({clip}, At(c.name))).hasSound, c.hasSound) << c.name;
        EXPECT_THAT(warnings, SizeIs(c.hasSound ? 0 : 1)) << c.name;
        MediaInfo const info = Probe(At(c.name));
        EXPECT_EQ(info.codec, c.codec);
        EXPECT_NEAR(static_cast<double>(info.duration.count()), 10e6 / 30.0, 4e4) << c.name;
        std::vector<int> const lumas = ReadLumas(At(c.name));
        ASSERT_GE(lumas.size(), 9U) << c.name;
        EXPECT_NEAR(lumas[5], LumaOf(c.fifth), 3) << c.name;
    }
}

TEST_F(RenderTest, RefusesWhatCannotBe) {
    RenderJob const good = MakeTwoClipJob();
    struct Case {
        bool isUsage;
        std::function<void(RenderJob&)> spoil;
        char const* message;
    };
    for (Case const& c : std::initializer_list<Case>{
             {false, [](RenderJob& job) { job.document.clips[0].joint->duration = Edit::Time::Seconds(1.5); },
              "a.mkv: 1.00 s (30 frames) is too short for its transition of 1.50 s; the longest possible is 1.00 s"},
             {false,
              [](RenderJob& job) {
                  job.document.clips.push_back(job.document.clips[0]);
                  job.document.clips[1].joint->duration = Edit::Time::Seconds(0.6);
              },
              "b.mkv: 1.00 s (30 frames) is too short for its transitions of 0.50 s and 0.60 s; the longest possible "
              "is 0.50 s each"},
             {false, [this](RenderJob& job) { job.document.clips[1].source.file = At("none.mp4"); },
              "none.mp4: no such file"},
             {false, [](RenderJob& job) { job.document.clips[0].from = Edit::Time::Seconds(1.2); }, "ends at 1.00 s"},
             {false, [](RenderJob& job) { job.getMaximumSide = [] { return 63U; }; }, "64x48 is too large"},
             {true,
              [](RenderJob& job) {
                  job.document.output.size = Edit::Output::Size{65, 48};
              },
              "even"},
             {true, [](RenderJob& job) { job.document.output.codec = "nonsense"; }, "libx264"},  // offers what there is
             {true, [](RenderJob& job) { job.document.output.codec = "vp8"; }, "libx264"},
             {true, [](RenderJob& job) { job.document.output.crf = 90; }, "0 to 51"},
             {true, [this](RenderJob& job) { job.output = At("out.xyz"); }, "out.xyz"},
             {true, [this](RenderJob& job) { job.output = At("out"); }, "/out"},
             {true, [this](RenderJob& job) { job.output = At("out.png"); }, "out.png"},
             {true, [this](RenderJob& job) { job.output = At("out.mp3"); }, "out.mp3"},
             {false, [this](RenderJob& job) { job.output = At("nofolder/out.mp4"); }, "nofolder/out.mp4"}}) {
        RenderJob job = good;
        c.spoil(job);
        EXPECT_THAT(c.isUsage ? Fail<std::invalid_argument>(job) : Fail<MediaError>(job), HasSubstr(c.message));
    }
}

TEST_F(RenderTest, AnErrorInAnEffectOrACallbackEndsEverything) {
    RenderJob job = MakeTwoClipJob(90);
    for (std::size_t const failing : {0U, 7U, 14U}) {
        log.calls.clear();
        log.onCall = [&](std::string const&, FakeLog::Call const&) {
            if (log.calls[kMix].size() == failing) {
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

TEST(PipelineTest, TellsTheErrorThatEndedItNotWhatFollowsFromIt) {
    Watchdog const watchdog;
    Pipeline pipeline;
    pipeline.Start([&] {
        while (!pipeline.GetStop().IsTripped()) {
            std::this_thread::yield();
        }
        throw std::runtime_error("asked to stop");
    });
    pipeline.Start([] { throw std::runtime_error("the cause"); });
    Pipeline::Callbacks const callbacks{[](std::int64_t) {}, [](std::string const&) {}, [] { return false; }};
    EXPECT_EQ(Catch<std::runtime_error>([&] { pipeline.Run(callbacks); }).what, "the cause");
}

TEST_F(RenderTest, StopsWhenCancelled) {
    RenderJob job = MakeTwoClipJob(300);
    std::atomic<bool> cancel{false};
    job.cancel = &cancel;
    job.onProgress = [&](std::int64_t done, std::int64_t) { cancel = cancel || done >= 40; };
    std::atomic<int> made{0};
    log.onCall = [&](std::string const&, FakeLog::Call const&) {
        constexpr int kFarBehind = 200;  // which the thread that hears of the progress is on a busy machine
        do {
            std::this_thread::sleep_for(milliseconds(cancel ? 50 : 5));  // time to hear of it, too
        } while (made >= kFarBehind && !cancel);
        ++made;
    };
    AddEffect(job, kTint);
    Fail<Cancelled>(job);
    EXPECT_LT(made, 450) << "of 585";
}

TEST_F(RenderTest, AnExistingFileIsSafe) {
    RenderJob job = MakeTwoClipJob();
    std::ofstream(At("out.mp4")) << "precious";
    EXPECT_THAT(Fail<MediaError>(job), HasSubstr("out.mp4: exists already"));
    EXPECT_THAT(log.calls, IsEmpty()) << "reported before anything is drawn";
    job.overwrite = true;
    log.onCall = [](std::string const&, FakeLog::Call const&) { throw std::runtime_error("broken"); };
    Fail<std::runtime_error>(job);
    EXPECT_EQ(ReadAll(At("out.mp4")), "precious");
    log.onCall = nullptr;
    Run(job);
    // Its own input may be the output.
    RenderJob again = MakeJob({At("out.mp4")}, At("out.mp4"));
    again.overwrite = true;
    EXPECT_EQ(Run(again).frames, 45);
    EXPECT_THAT(ReadLumas(At("out.mp4")), SizeIs(45));
}

TEST_F(RenderTest, AFullDiskLeavesNothing) {
    std::string const clip = Make("a.mkv", {.frame = {160, 120, 1, 1}, .draw = DrawNoise});
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    for (auto const& [name, codec] : {std::pair{"out.mp4", ""}, {"out.mkv", ""}, {"out.mkv", "mjpeg"}}) {
        for (rlim_t const size : {rlim_t{1000}, rlim_t{100'000}}) {
            rlimit const limit{size, before.rlim_max};
            RenderJob job = MakeJob({clip}, At(name));
            job.document.output.codec = codec;
            std::int64_t told = 0;
            job.onProgress = [&told](std::int64_t done, std::int64_t) { told = done; };
            setrlimit(RLIMIT_FSIZE, &limit);
            std::string const message = Fail<MediaError>(job);
            setrlimit(RLIMIT_FSIZE, &before);
            EXPECT_THAT(message, HasSubstr("cannot be written (File too large)"));
            EXPECT_TRUE(told < 30 || job.document.output.codec != "mjpeg")
                << "an encoder that keeps no frames shows it early";
        }
    }
    std::signal(SIGXFSZ, handler);
}

TEST_F(RenderTest, ACutOffClipIsUsedAsFarAsItGoes) {
    std::string const clip = Make("a.mp4", {.frames = 90, .sound = SoundFormat{}, .codec = "mjpeg"});
    Truncate(clip, 0.6);
    RenderResult const result = Run(MakeJob({clip}, At("out.mp4")));
    EXPECT_GT(result.frames, 20);
    EXPECT_LT(result.frames, 80);
    EXPECT_THAT(warnings, ElementsAre(HasSubstr("a.mp4: damaged or cut off at ")));
    EXPECT_THAT(ReadLumas(At("out.mp4")), SizeIs(result.frames));
}

TEST_F(RenderTest, NoStageRunsFarAhead) {
    // A clip's pictures may wait in queues, but few: while nobody reads the output, all stages come to rest.
    ClipSpec const spec{.frame = {160, 120, 1, 1}, .frames = 200};
    RenderJob job = MakeJob({Make("a.mkv", spec), Make("b.mkv", spec)}, At("out.nut"));
    ASSERT_EQ(mkfifo(job.output.c_str(), 0600), 0);
    job.document.output.codec = "rawvideo";
    job.document.clips[0].joint = Edit::Joint();
    AddEffect(job, kTint);
    Watchdog const watchdog;  // a render that fails leaves the reader waiting
    std::atomic<int> made{0};
    log.onCall = [&](std::string const&, FakeLog::Call const&) { ++made; };
    int restingAt = 0;
    std::jthread reader([&] {
        std::ifstream output(job.output, std::ios::binary);
        for (int before = -1; made == 0 || made != before;) {
            before = made;
            std::this_thread::sleep_for(milliseconds(500));
        }
        restingAt = made;
        output.ignore(std::numeric_limits<std::streamsize>::max());
    });
    EXPECT_EQ(Run(job).processedFrames, 400);
    reader.join();
    // Seventy are in the output's buffer and the pipe, some twenty in queues.
    EXPECT_LT(restingAt, 150);

    StopSignal stop;
    BoundedQueue<int> queue(3, stop);
    std::atomic<int> pushed{0};
    std::jthread const producer([&] {
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
    EXPECT_FALSE(queue.Pop());
}

}  // namespace
}  // namespace Kaltor::Render::Tests
