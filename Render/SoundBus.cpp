#include "Render/SoundBus.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "Edit/Plan.h"

namespace Kaltor::Render {
namespace {

/// Where a sound begins or ends beside silence, in seconds: no click.
constexpr double kEdgeSeconds = 0.003;

}  // namespace

SoundBus::SoundBus(SoundPlan const& soundPlan, bool areBeds, Media::SoundFormat const& soundFormat,
                   Media::WarningFn warnFn, Media::InputRules const& inputRules)
    : plan(soundPlan),
      format(soundFormat),
      warn(std::move(warnFn)),
      rules(inputRules),
      scratch(static_cast<std::size_t>(soundFormat.channels)) {
    for (PlannedSound const& sound : plan.sounds) {
        if (sound.isBed == areBeds) {
            waiting.push_back(Place(sound));
        }
    }
    std::reverse(waiting.begin(), waiting.end());
    std::stable_sort(waiting.begin(), waiting.end(),
                     [](Voice const& a, Voice const& b) { return a.playBegin > b.playBegin; });
}

SoundBus::Voice SoundBus::Place(PlannedSound const& sound) const {
    auto const sampleOf = [this](std::int64_t frame) { return plan.SampleOf(frame, format.sampleRate); };
    Voice voice;
    voice.sound = &sound;
    voice.begin = sampleOf(sound.first);
    voice.end = sampleOf(sound.GetEnd());
    voice.playBegin = sampleOf(sound.first + std::min(sound.holdFirst, sound.frames));
    voice.playEnd = voice.end;
    if (sound.length > Media::Microseconds(0) && !sound.loops) {
        double const samples = static_cast<double>(sound.length.count()) * 1e-6 / sound.speed * format.sampleRate;
        std::int64_t const end = voice.playBegin + std::llround(samples);
        // Pieces are rounded to whole frames; the file sounds on in what is left of the last one.
        if (end < (sound.isReversed ? voice.end : sampleOf(sound.GetEnd() - 1))) {
            voice.playEnd = end;
        }
    }
    return voice;
}

void SoundBus::Report(std::string const& message) const {
    if (warn) {
        warn(message);
    }
}

bool SoundBus::Open(Voice& voice) const {
    PlannedSound const& sound = *voice.sound;
    try {
        voice.source = OpenSound(sound, format, sound.warnsOfDamage ? warn : Media::WarningFn{},
                                 Edit::RulesFor(sound, rules.stop));
    } catch (Media::SystemError const&) {
        throw;  // not the file's fault: its sound would be lost
    } catch (Media::MediaError const& error) {
        Report(std::string(error.what()) + "; it is silent");
        return false;
    }
    if (sound.volume) {
        voice.volume.emplace(*sound.volume, format.sampleRate, voice.playBegin - voice.begin);
    }
    return true;
}

void SoundBus::Add(Planes& sum, std::size_t count, DuckingGains const& getDucking) {
    std::int64_t const end = position + static_cast<std::int64_t>(count);
    for (; !waiting.empty() && waiting.back().playBegin < end; waiting.pop_back()) {
        if (waiting.back().playBegin < waiting.back().playEnd && Open(waiting.back())) {
            voices.push_back(std::move(waiting.back()));
        }
    }
    for (Voice& voice : voices) {
        std::int64_t const from = std::max(position, voice.playBegin);
        std::int64_t const to = std::min(end, voice.playEnd);
        if (from < to) {
            Mix(voice, sum, from, to, getDucking);
        }
    }
    std::erase_if(voices, [end](Voice const& voice) { return voice.playEnd <= end || !voice.source; });
    position = end;
}

void SoundBus::Mix(Voice& voice, Planes& sum, std::int64_t from, std::int64_t to, DuckingGains const& getDucking) {
    auto const count = static_cast<std::size_t>(to - from);
    std::vector<float*> planes;
    for (std::vector<float>& plane : scratch) {
        plane.resize(count);
        planes.push_back(plane.data());
    }
    try {
        voice.source->Read(planes.data(), count);
    } catch (Media::SystemError const&) {
        throw;
    } catch (Media::MediaError const& error) {
        Report(std::string(error.what()) + "; it is silent from here on");
        voice.source.reset();
        return;
    }
    SetGains(voice, from, to);
    auto const offset = static_cast<std::size_t>(from - position);
    if (voice.sound->ducking && getDucking) {
        std::span<float const> const ducking = getDucking(*voice.sound->ducking);
        for (std::size_t i = 0; i < count; ++i) {
            gains[i] *= ducking[offset + i];
        }
    }
    for (std::size_t c = 0; c < sum.size(); ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            sum[c][offset + i] += gains[i] * scratch[c][i];
        }
    }
}

void SoundBus::SetGains(Voice& voice, std::int64_t from, std::int64_t to) {
    PlannedSound const& sound = *voice.sound;
    gains.assign(static_cast<std::size_t>(to - from),
                 voice.volume ? 1.0F : static_cast<float>(std::pow(10.0, sound.gainDb / 20.0)));
    if (voice.volume) {
        std::generate(gains.begin(), gains.end(), [&voice] { return voice.volume->Next(); });
    }
    auto const sampleOf = [this](std::int64_t frame) { return plan.SampleOf(frame, format.sampleRate); };
    auto const samples = [this](double seconds) { return std::llround(seconds * format.sampleRate); };
    double const fadeIn = std::max(sound.fadeInSeconds, voice.playBegin > voice.begin ? kEdgeSeconds : 0.0);
    double const fadeOut = std::max(sound.fadeOutSeconds, voice.playEnd < voice.end ? kEdgeSeconds : 0.0);
    Fade(from, voice.begin, sampleOf(sound.first + sound.fadeIn), true);
    Fade(from, sampleOf(sound.GetEnd() - sound.fadeOut), voice.end, false);
    Fade(from, voice.playBegin, voice.playBegin + samples(fadeIn), true);
    Fade(from, voice.playEnd - samples(fadeOut), voice.playEnd, false);
}

/// A quarter of a sine: cos^2 + sin^2 = 1, so the power of two unlike sounds stays the same.
void SoundBus::Fade(std::int64_t from, std::int64_t begin, std::int64_t end, bool isIn) {
    std::int64_t const to = from + static_cast<std::int64_t>(gains.size());
    auto const length = static_cast<float>(end - begin);
    for (std::int64_t sample = std::max(from, begin); sample < std::min(to, end); ++sample) {
        float const angle = std::numbers::pi_v<float> / 2.0F * static_cast<float>(sample - begin) / length;
        gains[static_cast<std::size_t>(sample - from)] *= isIn ? std::sin(angle) : std::cos(angle);
    }
}

}  // namespace Kaltor::Render
