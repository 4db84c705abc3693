#include <random>

#include "Media/AudioReader.h"
#include "SoundTest.h"

namespace Kaltor::Render::Tests {
namespace {

using SoundMixTest = SoundTest;

Edit::CurveSampler Keys(std::vector<std::pair<double, double>> const& keys, std::string const& easing = "linear") {
    Edit::Curve curve;
    for (auto const& [seconds, value] : keys) {
        curve.keys.push_back({Edit::Time::Seconds(seconds), {value}, Edit::Easing::Parse(easing)});
    }
    return {curve, {100, 1}, 10.0};
}

std::size_t SampleAt(double seconds) {
    return static_cast<std::size_t>(std::llround(seconds * kRate));
}

/// Silence with a click at some times.
Wave Clicks(std::vector<double> const& seconds) {
    return [seconds](std::int64_t n, int) {
        bool const isClick = std::any_of(seconds.begin(), seconds.end(), [n](double s) {
            return n >= std::llround(s * kRate) && n < std::llround(s * kRate) + 12;
        });
        return isClick ? 0.8 : 0.0;
    };
}

TEST_F(SoundMixTest, ClipsAndJointsAreWhatTheReadersGiveWithEqualPower) {
    auto const clip = [&](std::string const& name, int rate, int channels, double pitch) {
        return Make(name, {.frames = 60, .sound = SoundFormat{rate, channels}, .wave = [=](std::int64_t n) {
                               return static_cast<float>(0.4 * std::sin(pitch * static_cast<double>(n)));
                           }});
    };
    // Frames without a whole number of samples; pieces end within a frame, the sound goes on to the frame's end.
    SoundPlan plan{{30000, 1001}, 104, {}, {}};
    auto const add = [&plan](std::string const& path, int startMs, std::int64_t first, std::int64_t frames,
                             std::int64_t fadeIn, std::int64_t fadeOut) {
        PlannedSound sound;
        sound.path = path;
        sound.start = std::chrono::milliseconds(startMs);
        sound.first = first;
        sound.frames = frames;
        sound.length = Microseconds(frames * 1001'000'000 / 30'000 - 9'000);
        sound.fadeIn = fadeIn;
        sound.fadeOut = fadeOut;
        plan.sounds.push_back(sound);
    };
    add(clip("a.mp4", 48000, 2, 0.05), 0, 0, 45, 0, 9);
    add(clip("b.mkv", 44100, 1, 0.07), 713, 36, 30, 9, 0);
    add(clip("c.mov", 48000, 2, 0.03), 250, 66, 38, 0, 0);
    Planes const mixed = Mix(plan, 2);
    Planes expected(2, std::vector<float>(mixed[0].size(), 0.0F));
    for (PlannedSound const& sound : plan.sounds) {
        std::int64_t const begin = plan.SampleOf(sound.first, kRate);
        std::int64_t const end = plan.SampleOf(sound.GetEnd(), kRate);
        std::int64_t const in = plan.SampleOf(sound.first + sound.fadeIn, kRate);
        std::int64_t const out = plan.SampleOf(sound.GetEnd() - sound.fadeOut, kRate);
        Planes const own =
            Media::Tests::ReadSound(sound.path, {kRate, 2}, static_cast<std::size_t>(end - begin), sound.start);
        for (std::int64_t i = begin; i < end; ++i) {
            auto const share = [i](std::int64_t from, std::int64_t to) {
                return std::numbers::pi / 2.0 * static_cast<double>(i - from) / static_cast<double>(to - from);
            };
            double const gain =
                (i < in ? std::sin(share(begin, in)) : 1.0) * (i >= out && out < end ? std::cos(share(out, end)) : 1.0);
            for (std::size_t c : {0U, 1U}) {
                expected[c][static_cast<std::size_t>(i)] +=
                    static_cast<float>(gain) * own[c][static_cast<std::size_t>(i - begin)];
            }
        }
    }
    for (std::size_t c : {0U, 1U}) {
        for (std::size_t i = 0; i < mixed[c].size(); ++i) {
            ASSERT_NEAR(mixed[c][i], expected[c][i], 1e-6) << i;
        }
    }
    EXPECT_GT(Level(mixed[0], 0, mixed[0].size()), 0.1);
}

TEST_F(SoundMixTest, VolumeIsInDecibelsAndFollowsItsKeys) {
    std::string const path = Write("even.wav", 4.0, [](std::int64_t, int) { return 0.5; });
    PlannedSound quiet = Whole(path, 4.0);
    quiet.gainDb = -6.0;
    PlannedSound keyed = quiet;
    keyed.volume = Keys({{1.0, -40.0}, {2.0, 0.0}, {3.0, -12.0}});
    std::vector<float> const constant = Mix(MakePlan({quiet}, 4.0))[0];
    std::vector<float> const curve = Mix(MakePlan({keyed}, 4.0))[0];
    auto const decibels = [](float sample) { return 20.0 * std::log10(std::abs(sample) / 0.5); };
    EXPECT_NEAR(decibels(constant[SampleAt(0.0)]), -6.0, 1e-4);
    EXPECT_NEAR(decibels(constant[SampleAt(3.9)]), -6.0, 1e-4);
    for (auto const& [time, expected] :
         {std::pair{0.5, -40.0}, {1.25, -30.0}, {1.5, -20.0}, {1.875, -5.0}, {2.5, -6.0}, {2.9, -10.8}, {3.5, -12.0}}) {
        EXPECT_NEAR(decibels(curve[SampleAt(time)]), expected, 0.02) << time;
    }
    // 40 dB in a second: no step of the gain is larger than a sample's part, and a bit for the window's form.
    EXPECT_LT(LargestStep(curve, 0, curve.size()), 1.1 * 0.5 * std::log(10.0) * 2.0 / kRate);
    // A key that holds jumps, which takes some milliseconds.
    keyed.volume = Keys({{0.0, -60.0}, {1.0, 0.0}}, "hold");
    std::vector<float> const jump = Mix(MakePlan({keyed}, 4.0))[0];
    EXPECT_NEAR(decibels(jump[SampleAt(0.99)]), -60.0, 0.01);
    EXPECT_NEAR(decibels(jump[SampleAt(1.01)]), 0.0, 0.01);
    EXPECT_LT(LargestStep(jump, 0, jump.size()), 0.5 / (0.004 * kRate));
}

TEST_F(SoundMixTest, JointsKeepThePowerAndNothingClicks) {
    std::string const a = Write("a.wav", 2.0, Noise(0.5, 1));
    std::string const b = Write("b.wav", 2.0, Noise(0.5, 2));
    PlannedSound first = Whole(a, 2.0);
    PlannedSound second = Whole(b, 2.0, 150);
    first.fadeOut = second.fadeIn = 50;
    std::vector<float> const joined = Mix(MakePlan({first, second}, 3.5))[0];
    for (double time = 1.3; time < 2.2; time += 0.1) {
        EXPECT_NEAR(Level(joined, SampleAt(time), SampleAt(time + 0.1)), 0.5 / std::sqrt(3.0), 0.01) << time;
    }

    // The user's own fades, counted from where it plays.
    PlannedSound faded = Whole(Write("sine.wav", 2.0, Sine(440.0)), 2.0);
    faded.holdFirst = 100;
    faded.frames = 350;  // half a second stands still at the end
    faded.fadeInSeconds = 0.4;
    faded.fadeOutSeconds = 0.8;
    std::vector<float> const held = Mix(MakePlan({faded}, 4.0))[0];
    EXPECT_EQ(Level(held, 0, SampleAt(1.0)), 0.0);
    EXPECT_NEAR(Level(held, SampleAt(1.19), SampleAt(1.21)), 0.25, 0.01) << "half the power halfway in";
    EXPECT_NEAR(Level(held, SampleAt(1.5), SampleAt(2.0)), 0.5 / std::sqrt(2.0), 0.002);
    EXPECT_NEAR(Level(held, SampleAt(2.59), SampleAt(2.61)), 0.25, 0.01) << "half the power halfway out";
    EXPECT_EQ(Level(held, SampleAt(3.0), held.size()), 0.0);
    faded.fadeInSeconds = faded.fadeOutSeconds = 0.0;
    faded.start = Microseconds(123'400);  // not where the wave crosses zero
    faded.length = Microseconds(1'000'300);
    faded.speed = 1.1;
    faded.keepsPitch = false;
    std::vector<float> const cut = Mix(MakePlan({faded}, 4.0))[0];
    EXPECT_GT(Level(cut, SampleAt(1.02), SampleAt(1.89)), 0.3);
    EXPECT_EQ(Level(cut, SampleAt(1.92), cut.size()), 0.0) << "the piece is over";
    EXPECT_LT(LargestStep(cut, 0, cut.size()), StepOf(484.0) * 1.2) << "where it begins and ends beside silence";
}

TEST_F(SoundMixTest, LoopsRepeatWithoutAGapOrAClick) {
    struct Case {
        char const* name;
        double seconds;  ///< of the file
        double piece;    ///< 0: its end
        double all;
        bool isReversed;
        double speed;
    };
    for (Case const& c :
         {Case{"short", 0.4507, 0.4507, 2.0, false, 1.0}, Case{"to its end", 0.4507, 0.0, 2.0, false, 1.0},
          Case{"a part", 2.0, 0.3003, 2.0, false, 1.0}, Case{"reversed", 0.4507, 0.4507, 2.0, true, 1.0},
          Case{"long", 11.0011, 11.0011, 25.0, false, 1.0}, Case{"long reversed", 11.0011, 11.0011, 25.0, true, 1.0},
          Case{"fast", 0.4507, 0.4507, 2.0, false, 1.5}}) {
        SCOPED_TRACE(c.name);
        Wave const wave = Sine(300.0);
        PlannedSound loop = Whole(Write("loop.wav", c.seconds, wave), c.piece);
        loop.loops = true;
        loop.isReversed = c.isReversed;
        loop.speed = c.speed;
        loop.keepsPitch = false;
        loop.frames = std::llround(c.all * 100.0);
        std::vector<float> const sound = Mix(MakePlan({loop}, c.all))[0];
        EXPECT_LT(LargestStep(sound, 1, sound.size()), StepOf(300.0 * c.speed) * 1.35);
        auto const period = static_cast<std::size_t>(std::llround((c.piece > 0.0 ? c.piece : c.seconds) * kRate));
        if (c.speed == 1.0) {
            std::size_t const mended = SampleAt(0.006);
            for (std::size_t i = 0; i < sound.size(); ++i) {
                std::size_t const k = i % period;
                if (i < period || k > mended) {
                    auto const n = static_cast<std::int64_t>(c.isReversed ? period - 1 - k : k);
                    ASSERT_NEAR(sound[i], wave(n, 0), 2e-6) << i;
                }
            }
        } else {
            for (double time = 0.01; time < c.all - 0.05; time += 0.05) {
                ASSERT_GT(Level(sound, SampleAt(time), SampleAt(time + 0.04)), 0.3) << time;
            }
        }
    }
    // Ends that meet are left alone, and so is a piece without any sound.
    PlannedSound whole = Whole(Write("whole.wav", 0.5, Sine(440.0)), 0.5);
    whole.loops = true;
    whole.frames = 300;
    std::vector<float> const seamless = Mix(MakePlan({whole}, 3.0))[0];
    for (std::size_t i = 0; i < seamless.size(); ++i) {
        ASSERT_NEAR(seamless[i], Sine(440.0)(static_cast<std::int64_t>(i), 0), 1e-4) << i;
    }
    whole.start = Microseconds(2'000'000);
    whole.length = Microseconds(0);
    EXPECT_EQ(Level(Mix(MakePlan({whole}, 3.0))[0], 0, SampleAt(3.0)), 0.0);
}

TEST_F(SoundMixTest, ReversedSoundRunsBackwardsToTheSample) {
    Wave const wave = Noise(0.5);
    constexpr double kSeconds = 10.5;  // several blocks
    PlannedSound back = Whole(Write("noise.wav", kSeconds, wave, 2), kSeconds);
    back.isReversed = true;
    Planes const sound = Mix(MakePlan({back}, kSeconds), 2);
    for (std::size_t i = 0; i < sound[0].size(); ++i) {
        for (int c : {0, 1}) {
            ASSERT_NEAR(sound[static_cast<std::size_t>(c)][i],
                        wave(static_cast<std::int64_t>(sound[0].size() - 1 - i), c), 1e-6)
                << i;
        }
    }
    // A piece that begins later, of a container that rounds times to milliseconds.
    std::string const path = Make("clip.mkv", {.frames = 30 * 14, .sound = SoundFormat{}, .wave = [](std::int64_t n) {
                                                   return static_cast<float>(Sine(1000.0)(n, 0));
                                               }});
    back.path = path;
    back.start = Microseconds(1'000'000);
    back.length = Microseconds(12'000'000);
    back.frames = 1200;
    std::vector<float> const lossy = Mix(MakePlan({back}, 12.0))[0];
    EXPECT_LT(LargestStep(lossy, 0, lossy.size()), StepOf(1000.0) * 1.1) << "where blocks meet";
    for (double time = 0.0; time < 11.99; time += 0.003) {
        ASSERT_NEAR(Level(lossy, SampleAt(time), SampleAt(time + 0.003)), 0.5 / std::sqrt(2.0), 0.02) << time;
    }
}

TEST_F(SoundMixTest, SpeedKeepsTimesAndThePitchWhereAskedFor) {
    for (double const speed : {0.05, 0.25, 0.5, 0.9, 1.37, 2.0, 3.3, 8.0, 20.0}) {
        for (bool const keepsPitch : {true, false}) {
            for (bool const isBusy : {false, true}) {
                SCOPED_TRACE(fmt::format("{} {} {}", speed, keepsPitch ? "pitch kept" : "resampled",
                                         isBusy ? "over a sound" : "in silence"));
                // About five clicks.
                double const apart = std::max(speed, 0.3);
                std::vector<double> clicks;
                for (int k = 1; k <= 5; ++k) {
                    clicks.push_back(apart * k * 1.0137);
                }
                double const seconds = apart * 6.0;
                Wave const wave = [&](std::int64_t n, int c) {
                    return Clicks(clicks)(n, c) + (isBusy ? Sine(220.0, 0.05)(n, c) + Sine(331.0, 0.04)(n, c) : 0.0);
                };
                PlannedSound sound = Whole(Write("clicks.wav", seconds, wave), seconds);
                sound.speed = speed;
                sound.keepsPitch = keepsPitch;
                sound.frames = static_cast<std::int64_t>(seconds / speed * 100.0);
                std::vector<float> const mixed = Mix(MakePlan({sound}, static_cast<double>(sound.frames) / 100.0))[0];
                for (double const click : clicks) {
                    double const expected = click / speed;
                    double const reach = 0.45 * apart / speed;
                    std::size_t const place =
                        PlaceOfPeak(mixed, SampleAt(expected - reach), SampleAt(expected + reach));
                    double const error = static_cast<double>(place) / kRate - expected;
                    // A click is 0.25 ms long.
                    EXPECT_NEAR(error, 0.0, keepsPitch ? 0.0021 : 0.0001 + 0.0003 / speed) << click;
                    EXPECT_GT(std::abs(mixed[place]), keepsPitch ? 0.6 : 0.2) << click;
                }
            }
        }
    }
    for (double const speed : {0.25, 0.5, 1.37, 2.0, 8.0}) {
        SCOPED_TRACE(speed);
        double const seconds = 2.0 * speed;
        PlannedSound sound = Whole(Write("sine.wav", seconds, Sine(440.0)), seconds);
        sound.speed = speed;
        sound.frames = 200;
        std::vector<float> const kept = Mix(MakePlan({sound}, 2.0))[0];
        EXPECT_NEAR(AmplitudeOf(kept, 440.0, SampleAt(0.2), SampleAt(1.7)), 0.5, 0.02)
            << "the same pitch, one phase throughout";
        EXPECT_LT(LargestStep(kept, SampleAt(0.05), SampleAt(1.95)), StepOf(440.0) * 1.1);
        sound.keepsPitch = false;
        std::vector<float> const shifted = Mix(MakePlan({sound}, 2.0))[0];
        EXPECT_NEAR(AmplitudeOf(shifted, 440.0 * speed, SampleAt(0.2), SampleAt(1.7)), 0.5, 0.01);
    }
}

TEST_F(SoundMixTest, SpeedDoesNotDriftOverTime) {
    for (bool const keepsPitch : {true, false}) {
        PlannedSound sound = Whole(Write("long.wav", 120.0, Clicks({115.003})), 120.0);
        sound.speed = 1.37;
        sound.keepsPitch = keepsPitch;
        sound.frames = 8700;
        std::vector<float> const mixed = Mix(MakePlan({sound}, 87.0))[0];
        EXPECT_NEAR(static_cast<double>(PlaceOfPeak(mixed, 0, mixed.size())) / kRate, 115.003 / 1.37, 0.0021);
    }
}

TEST_F(SoundMixTest, BedsGiveWayToTheClipsSound) {
    // Loud from 2 s to 3 s, below the threshold from 5 s to 6 s.
    Wave const speech = [](std::int64_t n, int) {
        double const time = static_cast<double>(n) / kRate;
        double const level = time >= 2.0 && time < 3.0 ? 0.1 : time >= 5.0 && time < 6.0 ? 0.005 : 0.0;
        return level / 0.5 * Sine(1000.0)(n, 0);
    };
    PlannedSound clip = Whole(Write("speech.wav", 7.0, speech), 7.0);
    PlannedSound bed = Whole(Write("bed.wav", 7.0, Sine(440.0)), 7.0);
    bed.isBed = true;
    bed.ducking = Ducking{.by = 12.0, .threshold = -40.0, .attack = 0.25, .release = 0.8};
    std::vector<float> const mixed = Mix(MakePlan({bed, clip}, 7.0))[0];
    auto const gain = [&](double time) {
        return 20.0 * std::log10(AmplitudeOf(mixed, 440.0, SampleAt(time - 0.025), SampleAt(time + 0.025)) / 0.5);
    };
    for (auto const& [time, expected, tolerance] : {std::tuple{0.1, 0.0, 0.01},
                                                    {1.7, 0.0, 0.02},
                                                    {1.875, -6.0, 1.0},
                                                    {2.03, -12.0, 0.1},
                                                    {2.5, -12.0, 0.1},
                                                    {2.97, -12.0, 0.1},
                                                    {3.4, -6.0, 0.5},
                                                    {3.85, 0.0, 0.05},
                                                    {5.5, 0.0, 0.05},
                                                    {6.9, 0.0, 0.02}}) {
        EXPECT_NEAR(gain(time), expected, tolerance) << time;
    }
    EXPECT_LT(LargestStep(mixed, 0, mixed.size()), StepOf(440.0) * 1.05 + StepOf(1000.0, 0.1)) << "no click";
    // A bed that begins under speech is down from its first sample.
    bed.first = 250;
    bed.frames = 300;
    std::vector<float> const late = Mix(MakePlan({clip, bed}, 7.0))[0];
    EXPECT_NEAR(AmplitudeOf(late, 440.0, SampleAt(2.5), SampleAt(2.6)), 0.5 * std::pow(10.0, -0.6), 0.005);
    // Beds do not give way to one another, nor without being asked to.
    clip.isBed = true;
    EXPECT_NEAR(AmplitudeOf(Mix(MakePlan({clip, bed}, 7.0))[0], 440.0, SampleAt(2.5), SampleAt(2.6)), 0.5, 0.001);
}

/// Bursts with pauses, as speech has them.
Wave Speech(double amplitude) {
    return [amplitude](std::int64_t n, int c) {
        double const time = static_cast<double>(n) / kRate;
        double const envelope = std::max(0.0, std::sin(9.0 * time)) * (std::fmod(time, 4.0) < 3.0 ? 1.0 : 0.02);
        return amplitude * envelope * (0.6 * Noise(1.0, 5)(n / 6, c) + 0.4 * Sine(180.0, 1.0)(n, c));
    };
}

TEST_F(SoundMixTest, TheMixHasTheLoudnessThatIsAskedFor) {
    struct Case {
        char const* name;
        Wave wave;
        int channels;
        LoudnessTarget target;
        bool isReached;
        double slack = 0.1;  ///< of two ways to estimate what is between samples, dB
    };
    Wave const clipped = [](std::int64_t n, int c) {
        // A loud clap every two seconds over quiet speech.
        return n % 96000 < 200 ? Noise(0.9)(n, c) : Speech(0.05)(n, c);
    };
    Wave const between = [](std::int64_t n, int) {
        return 0.7 *
               std::sin(0.5 * std::numbers::pi * (static_cast<double>(n) + 0.5));  // its peaks lie between samples
    };
    for (Case const& c :
         {Case{"speech up", Speech(0.1), 2, {-16.0, -1.0}, true},
          Case{"speech down", Speech(0.8), 2, {-30.0, -1.0}, true}, Case{"mono", Speech(0.3), 1, {-23.0, -2.0}, true},
          Case{"5.1", Speech(0.1), 6, {-20.0, -1.0}, true}, Case{"claps", clipped, 2, {-18.0, -1.5}, true},
          Case{"between samples", between, 2, {-1.0, -1.0}, true},
          Case{"beyond the limit", Noise(0.5), 2, {-1.0, -6.0}, false}}) {
        SCOPED_TRACE(c.name);
        warnings.clear();
        SoundPlan plan = MakePlan({Whole(Write("sound.wav", 12.0, c.wave, c.channels), 12.0)}, 12.0);
        plan.loudness = c.target;
        Loudness const measured = MeasureByFfmpeg(Mix(plan, c.channels));
        EXPECT_LE(measured.truePeak, c.target.truePeak + c.slack);
        if (c.isReached) {
            EXPECT_NEAR(measured.integrated, c.target.loudness, 0.5);
            EXPECT_THAT(warnings, testing::IsEmpty());
        } else {
            EXPECT_LT(measured.integrated, c.target.loudness - 0.5);
            ASSERT_THAT(warnings,
                        testing::ElementsAre(HasSubstr(fmt::format("{:.1f} LUFS instead of", measured.integrated))));
        }
    }
    // The gain is one for all samples where nothing has to be limited.
    SoundPlan plan = MakePlan({Whole(Write("sound.wav", 3.0, Speech(0.1)), 3.0)}, 3.0);
    Planes const before = Mix(plan);
    plan.loudness = LoudnessTarget{-30.0, -1.0};
    Planes const after = Mix(plan);
    std::size_t const loud = PlaceOfPeak(before[0], 0, before[0].size());
    float const gain = after[0][loud] / before[0][loud];
    for (std::size_t i = 0; i < before[0].size(); ++i) {
        ASSERT_NEAR(after[0][i], before[0][i] * gain, 1e-6);
    }
    // Silence stays silence; what cannot be measured stays as it is, and that is said.
    warnings.clear();
    plan.sounds[0].gainDb = -200.0;
    EXPECT_LT(Level(Mix(plan)[0], 0, SampleAt(3.0)), 1e-9);
    EXPECT_THAT(warnings, testing::IsEmpty());
    SoundPlan brief = MakePlan({Whole(Write("brief.wav", 0.2, Sine(440.0)), 0.2)}, 0.2);
    brief.loudness = LoudnessTarget{};
    EXPECT_NEAR(Level(Mix(brief)[0], 0, SampleAt(0.2)), 0.5 / std::sqrt(2.0), 0.001);
    EXPECT_THAT(warnings, testing::ElementsAre(HasSubstr("too short or too quiet")));
}

TEST_F(SoundMixTest, ChannelsStayWhereTheyBelong) {
    // FFmpeg's order of 5.1: left, right, centre, low frequencies, back left, back right.
    auto const pitch = [](std::size_t channel) {
        return channel == 3 ? 60.0 : 400.0 + 100.0 * static_cast<double>(channel);
    };
    Wave const wave = [&](std::int64_t n, int c) { return Sine(pitch(static_cast<std::size_t>(c)), 0.2)(n, c); };
    PlannedSound const surround = Whole(Write("surround.wav", 2.0, wave, 6), 2.0);
    Planes const kept = Mix(MakePlan({surround}, 2.0), 6);
    auto const share = [&](std::vector<float> const& plane, std::size_t channel) {
        return AmplitudeOf(plane, pitch(channel), SampleAt(0.5), SampleAt(1.5)) / 0.2;
    };
    for (std::size_t out = 0; out < 6; ++out) {
        for (std::size_t in = 0; in < 6; ++in) {
            EXPECT_NEAR(share(kept[out], in), in == out ? 1.0 : 0.0, 0.001) << in << " in " << out;
        }
    }
    // Down: the centre to both sides, the backs to theirs, 3 dB less each; mono is half of the sum of the sides.
    Planes const sides = Mix(MakePlan({surround}, 2.0), 2);
    std::vector<float> const mono = Mix(MakePlan({surround}, 2.0), 1)[0];
    double const part = std::sqrt(0.5);
    for (std::size_t in = 0; in < 6; ++in) {
        double const left = std::array{1.0, 0.0, part, 0.0, part, 0.0}[in];
        double const right = std::array{0.0, 1.0, part, 0.0, 0.0, part}[in];
        EXPECT_NEAR(share(sides[0], in), left, 0.001) << in;
        EXPECT_NEAR(share(sides[1], in), right, 0.001) << in;
        EXPECT_NEAR(share(mono, in), (left + right) / 2.0, 0.001) << in;
    }
    // Up: one channel to the centre, two to the front sides.
    Planes const fromMono = Mix(MakePlan({Whole(Write("mono.wav", 2.0, Sine(440.0)), 2.0)}, 2.0), 6);
    Planes const fromStereo = Mix(MakePlan({Whole(Write("stereo.wav", 2.0, Sine(440.0), 2), 2.0)}, 2.0), 6);
    for (std::size_t c = 0; c < 6; ++c) {
        EXPECT_NEAR(AmplitudeOf(fromMono[c], 440.0, SampleAt(0.5), SampleAt(1.5)), c == 2 ? 0.5 : 0.0, 0.001) << c;
        EXPECT_NEAR(AmplitudeOf(fromStereo[c], 440.0, SampleAt(0.5), SampleAt(1.5)), c < 2 ? 0.5 : 0.0, 0.001) << c;
    }
    // Through encoders and back.
    for (std::string const name : {"out.mp4", "out.mkv", "out.webm"}) {
        SCOPED_TRACE(name);
        Media::WriterOptions options;
        options.path = (folder / name).string();
        options.video.frame = {64, 48, 1, 1};
        options.sound = SoundFormat{kRate, 6};
        Media::MediaWriter writer(options);
        ASSERT_EQ(writer.GetSound()->channels, 6);
        for (int k = 0; k < 60; ++k) {
            writer.WritePicture(*Media::Tests::MakePicture(options.video.frame, Media::Tests::Grey(100)));
        }
        std::vector<float const*> planes;
        for (std::vector<float> const& plane : kept) {
            planes.push_back(plane.data());
        }
        writer.WriteSound(planes.data(), kept[0].size());
        writer.Finish();
        Planes const read = Media::Tests::ReadSound(options.path, {kRate, 6}, SampleAt(2.0));
        for (std::size_t out = 0; out < 6; ++out) {
            for (std::size_t in = 0; in < 6; ++in) {
                EXPECT_NEAR(share(read[out], in), in == out ? 1.0 : 0.0, 0.05) << in << " in " << out;
            }
        }
    }
}

std::size_t CountOpenFiles() {
    std::filesystem::directory_iterator const files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST_F(SoundMixTest, FilesAreOpenOnlyWhileTheySound) {
    std::string const path = Write("sine.wav", 1.0, Sine(440.0));
    std::vector<PlannedSound> sounds;
    for (std::int64_t k = 0; k < 1000; ++k) {
        sounds.push_back(Whole(path, 0.03, 3 * k));
    }
    std::shuffle(sounds.begin(), sounds.end(), std::mt19937(1));  // beds and overlays come in any order
    std::size_t const before = CountOpenFiles();
    SoundMix mix(MakePlan(sounds, 30.0), {kRate, 1}, {}, {});
    std::size_t most = 0;
    for (int k = 0; k < 300; ++k) {
        Planes const part = mix.Read(4800);
        ASSERT_GT(Level(part[0], 0, 4800), 0.2) << k;
        most = std::max(most, CountOpenFiles() - before);
    }
    EXPECT_LE(most, 2U);
    EXPECT_EQ(CountOpenFiles(), before);
}

TEST_F(SoundMixTest, WhatIsWrongWithAFileIsReportedOnceAndSilent) {
    PlannedSound const good = Whole(Write("good.wav", 1.0, Sine(440.0)), 1.0);
    PlannedSound bad = good;
    bad.path = At("bad.wav");
    std::ofstream(bad.path) << "not a sound at all";
    SoundPlan plan = MakePlan({good, bad}, 1.0);
    plan.loudness = LoudnessTarget{-11.0, -9.0};  // goes through the sound several times
    EXPECT_LT(MeasureByFfmpeg(Mix(plan)).truePeak, -8.9);
    EXPECT_THAT(warnings, testing::Contains(HasSubstr("bad.wav")).Times(1));
    EXPECT_THAT(warnings, testing::Contains(HasSubstr("it is silent")).Times(1));
    plan.sounds[1].path = At("gone.wav");
    EXPECT_THROW(Mix(plan), Media::SystemError);

    // A stop while the whole is measured.
    std::atomic<bool> stop{false};
    plan = MakePlan({}, 1e7);
    plan.loudness = LoudnessTarget{};
    SoundMix mix(plan, {kRate, 2}, {}, {false, &stop});
    Media::Tests::Watchdog const watchdog;
    std::thread later([&stop] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        stop = true;
    });
    EXPECT_THROW(mix.Read(1), Media::Cancelled);
    later.join();
}

}  // namespace
}  // namespace Kaltor::Render::Tests
