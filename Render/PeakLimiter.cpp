#include "Render/PeakLimiter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Kaltor::Render {
namespace {

constexpr double kAheadSeconds = 0.005;
constexpr double kRecoverySeconds = 0.1;
constexpr float kInaudible = 0.001F;

/// A sinc under a cosine-squared window of `reach` on either side.
double Interpolate(double distance, double reach) {
    double const x = std::numbers::pi * distance;
    double const window = std::cos(x / (2.0 * reach));
    return (distance == 0.0 ? 1.0 : std::sin(x) / x) * window * window;
}

}  // namespace

PeakLimiter::PeakLimiter(Media::SoundFormat const& format, double gainOfAll, double highest)
    : gain(static_cast<float>(gainOfAll)),
      limit(static_cast<float>(highest)),
      ahead(std::max<std::size_t>(static_cast<std::size_t>(std::lround(kAheadSeconds * format.sampleRate)), 1)),
      recovery(1.0 - std::exp(-1.0 / (kRecoverySeconds * format.sampleRate))),
      pending(static_cast<std::size_t>(format.channels), std::vector<float>(kTaps / 2 - 1, 0.0F)),
      delayed(pending.size()),
      ready(pending.size()),
      window(ahead + 1, 1.0F),
      sum(static_cast<double>(ahead + 1)) {
    for (std::size_t phase = 0; phase < filters.size(); ++phase) {
        double const between = static_cast<double>(phase + 1) / kPhases;
        for (std::size_t k = 0; k < kTaps; ++k) {
            double const distance = static_cast<double>(k) - (kTaps / 2 - 1) - between;
            filters[phase][k] = static_cast<float>(Interpolate(distance, kTaps / 2));
        }
    }
}

void PeakLimiter::Push(std::vector<std::vector<float>> const& planes, std::size_t count) {
    for (std::size_t c = 0; c < planes.size(); ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            pending[c].push_back(gain * planes[c][i]);
        }
    }
    std::size_t const looked = pending[0].size() < kTaps ? 0 : pending[0].size() - kTaps + 1;
    for (std::size_t i = 0; i < looked; ++i) {
        float const peak = FindPeak(i);
        float const own = NextGain(std::min(1.0F, limit / std::max(peak, 1e-10F)));
        if (peak > kInaudible) {
            sumOfGains += static_cast<double>(own);
            ++sounding;
        }
        for (std::size_t c = 0; c < pending.size(); ++c) {
            delayed[c].push_back(pending[c][i + kTaps / 2 - 1]);
            if (delayed[c].size() > ahead) {
                ready[c].push_back(own * delayed[c].front());
                delayed[c].pop_front();
            }
        }
    }
    for (std::vector<float>& plane : pending) {
        plane.erase(plane.begin(), plane.begin() + static_cast<std::ptrdiff_t>(looked));
    }
}

float PeakLimiter::FindPeak(std::size_t sample) {
    float own = 0.0F;
    float after = 0.0F;
    for (std::vector<float> const& plane : pending) {
        own = std::max(own, std::abs(plane[sample + kTaps / 2 - 1]));
        for (std::array<float, kTaps> const& filter : filters) {
            float value = 0.0F;
            for (std::size_t k = 0; k < kTaps; ++k) {
                value += filter[k] * plane[sample + k];
            }
            after = std::max(after, std::abs(value));
        }
    }
    float const peak = std::max({own, after, before});
    before = after;
    return peak;
}

float PeakLimiter::NextGain(float wanted) {
    // The lowest gain of the window: what an earlier, higher one wants does not matter any more.
    while (!lowest.empty() && lowest.back().gain >= wanted) {
        lowest.pop_back();
    }
    lowest.push_back({seen, wanted});
    if (lowest.front().sample < seen - static_cast<std::int64_t>(ahead)) {
        lowest.pop_front();
    }
    ++seen;
    float const low = lowest.front().gain;
    recovering = std::min(low, recovering + static_cast<float>(recovery) * (low - recovering));
    // The mean of a window of gains that are all low enough is low enough, and goes down in a straight line.
    sum += static_cast<double>(recovering) - static_cast<double>(window.front());
    window.pop_front();
    window.push_back(recovering);
    return static_cast<float>(sum / static_cast<double>(window.size()));
}

double PeakLimiter::GetMeanReduction() const {
    return sounding == 0 ? 0.0 : -20.0 * std::log10(sumOfGains / static_cast<double>(sounding));
}

void PeakLimiter::Pull(std::vector<std::vector<float>>& into, std::size_t count) {
    for (std::size_t c = 0; c < ready.size(); ++c) {
        into[c].assign(ready[c].begin(), ready[c].begin() + static_cast<std::ptrdiff_t>(count));
        ready[c].erase(ready[c].begin(), ready[c].begin() + static_cast<std::ptrdiff_t>(count));
    }
}

}  // namespace Kaltor::Render
