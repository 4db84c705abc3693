#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "Media/MediaInfo.h"

namespace Kaltor::Render {

/// Applies a gain, and less of it around peaks that would exceed a limit, also between samples: the gain follows their
/// true peaks at four times the rate. It goes down before a peak and comes back smoothly; all channels get the same.
class PeakLimiter {
public:
    /// `gain` as a factor; `limit` the amplitude that is not exceeded.
    PeakLimiter(Media::SoundFormat const& format, double gain, double limit);

    /// Takes samples in; after some time as many come out.
    void Push(std::vector<std::vector<float>> const& planes, std::size_t count);
    std::size_t CountChannels() const { return ready.size(); }
    std::size_t GetAvailable() const { return ready[0].size(); }
    /// How much less than the gain there was on average, dB, of what was not silent.
    double GetMeanReduction() const;
    /// The next `count` of those that are available.
    void Pull(std::vector<std::vector<float>>& into, std::size_t count);

private:
    static constexpr std::size_t kTaps = 24;
    static constexpr std::size_t kPhases = 4;

    /// The highest amplitude at and around a sample.
    float FindPeak(std::size_t sample);
    /// The gain of the sample that is as far back as the look-ahead.
    float NextGain(float wanted);

    float gain;
    float limit;
    std::size_t ahead;  ///< samples in which the gain goes down
    double recovery;    ///< share of the way back in a sample
    std::array<std::array<float, kTaps>, kPhases - 1> filters{};

    std::vector<std::vector<float>> pending;  ///< with gain, from half a filter before the next one to be looked at
    std::vector<std::deque<float>> delayed;   ///< looked at, waiting for their gain
    std::vector<std::deque<float>> ready;

    struct Candidate {
        std::int64_t sample;
        float gain;
    };
    std::deque<Candidate> lowest;  ///< of the window: gains that rise from front to back
    std::int64_t seen = 0;
    float recovering = 1.0F;
    std::deque<float> window;  ///< what is averaged
    double sum = 0.0;
    double sumOfGains = 0.0;  ///< of what was not silent
    std::int64_t sounding = 0;
    float before = 0.0F;  ///< the peak between the sample before and this one
};

}  // namespace Kaltor::Render
