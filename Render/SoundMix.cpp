#include "Render/SoundMix.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Render/Ducker.h"
#include "Render/Loudness.h"
#include "Render/PeakLimiter.h"
#include "Render/SoundBus.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace Kaltor::Render {
namespace {

/// In samples.
constexpr std::size_t kBlock = 8192;

double ToFactor(double decibels) {
    return std::pow(10.0, decibels / 20.0);
}

/// Clips and beds, from the beginning on.
class Mixer {
public:
    Mixer(SoundPlan const& plan, Media::SoundFormat const& format, Media::WarningFn const& warn,
          Media::InputRules const& rules)
        : own(plan, false, format, warn, rules),
          beds(plan, true, format, warn, rules),
          meter(format.sampleRate),
          mixed(static_cast<std::size_t>(format.channels)) {
        for (PlannedSound const& sound : plan.sounds) {
            if (sound.isBed && sound.ducking && FindDucker(*sound.ducking) == duckers.size()) {
                duckers.emplace_back(*sound.ducking, format.sampleRate, meter.GetBlock());
                lookAhead = std::max(lookAhead, static_cast<std::size_t>(duckers.back().GetLookAhead()));
            }
        }
    }

    Planes Read(std::size_t count) {
        Planes sum = ReadOwn(count);
        std::vector<std::span<float const>> gains;
        for (Ducker& ducker : duckers) {
            gains.push_back(ducker.Read(meter, count));
        }
        position += static_cast<std::int64_t>(count);
        meter.Forget(position);
        beds.Add(sum, count, [&](Ducking const& ducking) { return gains[FindDucker(ducking)]; });
        return sum;
    }

private:
    std::size_t FindDucker(Ducking const& ducking) const {
        return static_cast<std::size_t>(
            std::find_if(duckers.begin(), duckers.end(),
                         [&](Ducker const& ducker) { return ducker.GetSettings() == ducking; }) -
            duckers.begin());
    }

    /// The clips' own sound, which beds have to know some time before.
    Planes ReadOwn(std::size_t count) {
        std::size_t const made = count + lookAhead - mixed[0].size();
        Planes next(mixed.size(), std::vector<float>(made, 0.0F));
        own.Add(next, made);
        if (lookAhead == 0) {
            return next;
        }
        meter.Add(next, made);
        Planes sum(mixed.size());
        for (std::size_t c = 0; c < mixed.size(); ++c) {
            mixed[c].insert(mixed[c].end(), next[c].begin(), next[c].end());
            auto const end = mixed[c].begin() + static_cast<std::ptrdiff_t>(count);
            sum[c].assign(mixed[c].begin(), end);
            mixed[c].erase(mixed[c].begin(), end);
        }
        return sum;
    }

    SoundBus own;
    SoundBus beds;
    LevelMeter meter;
    std::vector<Ducker> duckers;
    std::size_t lookAhead = 0;
    Planes mixed;  ///< the clips' sound from the position on
    std::int64_t position = 0;
};

/// A mixer's sound with a gain, and with a limiter where there has to be one.
class Leveller {
public:
    Leveller(std::unique_ptr<Mixer> source, double gainDb) : mixer(std::move(source)), gain(ToFactor(gainDb)) {}
    Leveller(std::unique_ptr<Mixer> source, Media::SoundFormat const& format, double gainDb, double limitDb)
        : mixer(std::move(source)), gain(ToFactor(gainDb)) {
        limiter.emplace(format, gain, ToFactor(limitDb));
    }

    Planes Read(std::size_t count) {
        if (!limiter) {
            Planes sound = mixer->Read(count);
            if (gain != 1.0) {
                for (std::vector<float>& plane : sound) {
                    for (float& sample : plane) {
                        sample *= static_cast<float>(gain);
                    }
                }
            }
            return sound;
        }
        while (limiter->GetAvailable() < count) {
            limiter->Push(mixer->Read(kBlock), kBlock);
        }
        Planes sound(limiter->CountChannels());
        limiter->Pull(sound, count);
        return sound;
    }

    double GetMeanReduction() const { return limiter ? limiter->GetMeanReduction() : 0.0; }

private:
    std::unique_ptr<Mixer> mixer;
    double gain;
    std::optional<PeakLimiter> limiter;
};

}  // namespace

SoundPlan MakeSoundPlan(Edit::Plan const& plan) {
    SoundPlan sound;
    sound.frameRate = plan.time.frameRate;
    sound.frames = plan.frames;
    sound.sounds = plan.sounds;
    if (plan.loudness) {
        sound.loudness = LoudnessTarget{*plan.loudness, plan.truePeak};
    }
    return sound;
}

std::int64_t SoundPlan::SampleOf(std::int64_t frame, int sampleRate) const {
    return av_rescale_q_rnd(frame, av_inv_q(frameRate), {1, sampleRate}, AV_ROUND_NEAR_INF);
}

class SoundMix::Impl {
public:
    Impl(SoundPlan soundPlan, Media::SoundFormat const& soundFormat, Media::WarningFn warnFn,
         Media::InputRules const& inputRules)
        : plan(std::move(soundPlan)), format(soundFormat), warn(std::move(warnFn)), rules(inputRules) {}

    Planes Read(std::size_t count) {
        if (!output) {
            output = plan.loudness ? FindLevel(*plan.loudness) : std::make_unique<Leveller>(MakeMixer(), 0.0);
        }
        return output->Read(count);
    }

private:
    struct Measured {
        double loudness;
        double truePeak;
    };

    /// What there is to say of the files is said the first time.
    std::unique_ptr<Mixer> MakeMixer() {
        auto mixer = std::make_unique<Mixer>(plan, format, hasWarned ? Media::WarningFn{} : warn, rules);
        hasWarned = true;
        return mixer;
    }

    Measured Measure(Leveller& sound) const {
        LoudnessMeter meter(format);
        std::int64_t const end = plan.SampleOf(plan.frames, format.sampleRate);
        for (std::int64_t done = 0; done < end;) {
            if (rules.stop != nullptr && rules.stop->load(std::memory_order_relaxed)) {
                Core::Throw(Media::Cancelled());
            }
            std::size_t const count = std::min(kBlock, static_cast<std::size_t>(end - done));
            meter.Add(sound.Read(count), count);
            done += static_cast<std::int64_t>(count);
        }
        return {meter.GetLoudness(), meter.GetTruePeak()};
    }

    std::unique_ptr<Leveller> FindLevel(LoudnessTarget const& target) {
        constexpr double kQuietest = -70.0;  // below that nothing counts as sound
        Leveller plain(MakeMixer(), 0.0);
        Measured const own = Measure(plain);
        if (!(own.loudness >= kQuietest)) {
            if (own.truePeak > kQuietest) {
                Warn("the sound is too short or too quiet for its loudness to be measured; it is left as it is");
            }
            return std::make_unique<Leveller>(MakeMixer(), 0.0);
        }
        double const gain = target.loudness - own.loudness;
        if (own.truePeak + gain <= target.truePeak) {
            return std::make_unique<Leveller>(MakeMixer(), gain);
        }
        return Limit(target, gain);
    }

    /// The limiter takes some of the loudness away, and what is between samples can be estimated only: measures what
    /// comes out, and corrects it.
    std::unique_ptr<Leveller> Limit(LoudnessTarget const& target, double gain) {
        constexpr int kMostAttempts = 6;
        constexpr double kNear = 0.2;           // LU
        constexpr double kTolerance = 0.5;      // LU
        constexpr double kMostReduction = 3.0;  // dB; more of it would be heard as distortion
        double limit = target.truePeak - 0.1;
        for (int attempt = 1;; ++attempt) {
            Leveller trial(MakeMixer(), format, gain, limit);
            Measured const reached = Measure(trial);
            double const missing = target.loudness - reached.loudness;
            double const excess = reached.truePeak - target.truePeak;
            // What the limiter takes of a few peaks, the rest may make up for.
            double const change = std::min(missing, 2.0 * (kMostReduction - trial.GetMeanReduction()));
            if ((excess <= 0.0 && std::abs(change) <= kNear) || attempt == kMostAttempts) {
                if (std::abs(missing) > kTolerance) {
                    Warn(fmt::format(
                        "the sound has a loudness of {:.1f} LUFS instead of {:.1f}: without distortion, true "
                        "peaks of at most {:.1f} dBTP allow no more",
                        reached.loudness, target.loudness, target.truePeak));
                }
                return std::make_unique<Leveller>(MakeMixer(), format, gain, limit);
            }
            gain += change;
            limit -= excess > 0.0 ? excess + 0.02 : 0.0;
        }
    }

    void Warn(std::string const& message) const {
        if (warn) {
            warn(message);
        }
    }

    SoundPlan plan;
    Media::SoundFormat format;
    Media::WarningFn warn;
    Media::InputRules rules;
    bool hasWarned = false;
    std::unique_ptr<Leveller> output;
};

SoundMix::SoundMix(SoundPlan plan, Media::SoundFormat const& format, Media::WarningFn warn,
                   Media::InputRules const& rules)
    : impl(std::make_unique<Impl>(std::move(plan), format, std::move(warn), rules)) {}
SoundMix::~SoundMix() = default;

std::vector<std::vector<float>> SoundMix::Read(std::size_t count) {
    return impl->Read(count);
}

}  // namespace Kaltor::Render
