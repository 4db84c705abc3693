#include "Render/Ducker.h"

#include <algorithm>
#include <cmath>

namespace Kaltor::Render {
namespace {

constexpr double kBlockSeconds = 0.010;
/// Faster than this would be a click.
constexpr double kFastestSeconds = 0.005;
constexpr double kSilence = -200.0;

}  // namespace

LevelMeter::LevelMeter(int sampleRate) : block(std::max<std::int64_t>(std::llround(kBlockSeconds * sampleRate), 1)) {}

void LevelMeter::Add(std::vector<std::vector<float>> const& planes, std::size_t count) {
    energies.resize(planes.size(), 0.0);
    for (std::size_t i = 0; i < count;) {
        std::size_t const part = std::min(count - i, static_cast<std::size_t>(block - filled));
        for (std::size_t c = 0; c < planes.size(); ++c) {
            double energy = 0.0;
            for (std::size_t k = i; k < i + part; ++k) {
                energy += static_cast<double>(planes[c][k]) * static_cast<double>(planes[c][k]);
            }
            energies[c] += energy;
        }
        i += part;
        filled += static_cast<std::int64_t>(part);
        if (filled == block) {
            double const mean = *std::max_element(energies.begin(), energies.end()) / static_cast<double>(block);
            levels.push_back(mean > 0.0 ? 10.0 * std::log10(2.0 * mean) : kSilence);
            std::fill(energies.begin(), energies.end(), 0.0);
            filled = 0;
        }
    }
}

double LevelMeter::GetLevel(std::int64_t sample) const {
    return levels.at(static_cast<std::size_t>(sample / block - first));
}

void LevelMeter::Forget(std::int64_t before) {
    for (; !levels.empty() && (first + 1) * block <= before; ++first) {
        levels.pop_front();
    }
}

Ducker::Ducker(Ducking const& wanted, int sampleRate, std::int64_t blockOfMeter)
    : settings(wanted),
      block(blockOfMeter),
      attack(std::llround(std::max(wanted.attack, kFastestSeconds) * sampleRate)),
      fall(1.0 / static_cast<double>(attack)),
      rise(1.0 / (std::max(wanted.release, kFastestSeconds) * sampleRate)) {}

std::span<float const> Ducker::Read(LevelMeter const& meter, std::size_t count) {
    gains.resize(count);
    for (float& gain : gains) {
        std::int64_t const ahead = position + attack;
        if (position == 0) {
            for (std::int64_t sample = 0; sample < ahead; sample += block) {
                if (meter.GetLevel(sample) > settings.threshold) {
                    soundsUntil = sample + block;
                }
            }
            depth = soundsUntil > 0 ? 1.0 : 0.0;  // no fall before the beginning
        }
        if (ahead % block == 0 || position == 0) {
            if (meter.GetLevel(ahead) > settings.threshold) {
                soundsUntil = (ahead / block + 1) * block;
            }
        }
        depth = std::clamp(position < soundsUntil ? depth + fall : depth - rise, 0.0, 1.0);
        // A raised cosine of the depth in decibels: no corner where it begins and ends.
        double const smooth = depth * depth * (3.0 - 2.0 * depth);
        gain = depth > 0.0 ? static_cast<float>(std::pow(10.0, -settings.by * smooth / 20.0)) : 1.0F;
        ++position;
    }
    return gains;
}

}  // namespace Kaltor::Render
