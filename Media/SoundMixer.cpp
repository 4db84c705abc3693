#include "Media/SoundMixer.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Kaltor::Media {

SoundMixer::SoundMixer(Timeline const& plan, SoundFormat const& soundFormat, WarningFn warnFn,
                       InputRules const& inputRules)
    : timeline(plan),
      format(soundFormat),
      warn(std::move(warnFn)),
      rules(inputRules),
      scratch(static_cast<std::size_t>(soundFormat.channels)) {}

std::unique_ptr<AudioReader> SoundMixer::Open(PlannedClip const& clip) const {
    if (!clip.info.sound) {
        return nullptr;
    }
    // What is missing at the end of a file was reported when the file was examined.
    WarningFn const ownWarn = clip.info.declaredDuration ? WarningFn{} : warn;
    try {
        return std::make_unique<AudioReader>(clip.path, format, clip.start, ownWarn, rules);
    } catch (SystemError const&) {
        throw;  // not the clip's fault: its sound would be lost
    } catch (MediaError const& error) {
        if (warn) {
            warn(std::string(error.what()) + "; it is silent");
        }
        return nullptr;
    }
}

std::vector<std::vector<float>> SoundMixer::Read(std::size_t count) {
    std::vector<std::vector<float>> sum(static_cast<std::size_t>(format.channels), std::vector<float>(count, 0.0F));
    std::int64_t const end = position + static_cast<std::int64_t>(count);
    while (nextClip < timeline.clips.size() &&
           timeline.SampleOf(timeline.clips[nextClip].first, format.sampleRate) < end) {
        if (std::unique_ptr<AudioReader> reader = Open(timeline.clips[nextClip])) {
            sources.push_back({nextClip, std::move(reader)});
        }
        ++nextClip;
    }
    for (Source const& source : sources) {
        Add(source, sum, position, end);
    }
    std::erase_if(sources, [&](Source const& source) {
        return timeline.SampleOf(timeline.clips[source.clip].GetEnd(), format.sampleRate) <= end;
    });
    position = end;
    return sum;
}

void SoundMixer::Add(Source const& source, std::vector<std::vector<float>>& sum, std::int64_t begin, std::int64_t end) {
    PlannedClip const& clip = timeline.clips[source.clip];
    auto const sampleOf = [&](std::int64_t frame) { return timeline.SampleOf(frame, format.sampleRate); };
    std::int64_t const from = std::max(begin, sampleOf(clip.first));
    std::int64_t const to = std::min(end, sampleOf(clip.GetEnd()));
    if (from >= to) {
        return;
    }
    std::vector<float*> planes;
    for (std::vector<float>& plane : scratch) {
        plane.resize(static_cast<std::size_t>(to - from));
        planes.push_back(plane.data());
    }
    source.reader->Read(planes.data(), static_cast<std::size_t>(to - from));

    std::int64_t const fadeInBegin = sampleOf(clip.first);
    std::int64_t const fadeInEnd = sampleOf(clip.first + clip.fadeIn);
    std::int64_t const fadeOutBegin = sampleOf(clip.GetEnd() - clip.fadeOut);
    std::int64_t const fadeOutEnd = sampleOf(clip.GetEnd());
    for (std::int64_t sample = from; sample < to; ++sample) {
        float gain = 1.0F;
        // cos^2 + sin^2 = 1: the power of two unlike sounds stays the same.
        if (sample < fadeInEnd) {
            gain *= std::sin(std::numbers::pi_v<float> / 2.0F * static_cast<float>(sample - fadeInBegin) /
                             static_cast<float>(fadeInEnd - fadeInBegin));
        }
        if (sample >= fadeOutBegin && fadeOutEnd > fadeOutBegin) {
            gain *= std::cos(std::numbers::pi_v<float> / 2.0F * static_cast<float>(sample - fadeOutBegin) /
                             static_cast<float>(fadeOutEnd - fadeOutBegin));
        }
        for (std::size_t c = 0; c < sum.size(); ++c) {
            sum[c][static_cast<std::size_t>(sample - begin)] +=
                gain * scratch[c][static_cast<std::size_t>(sample - from)];
        }
    }
}

}  // namespace Kaltor::Media
