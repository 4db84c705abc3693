#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "Render/PlannedSound.h"

namespace Kaltor::Render {

/// The level of a sound in blocks, which are forgotten once they are not needed any more.
class LevelMeter {
public:
    explicit LevelMeter(int sampleRate);

    /// The next `count` samples.
    void Add(std::vector<std::vector<float>> const& planes, std::size_t count);
    /// Of the loudest channel in the block with a sample that was added, dBFS: a sine of full scale has 0.
    double GetLevel(std::int64_t sample) const;
    void Forget(std::int64_t before);

    std::int64_t GetBlock() const { return block; }

private:
    std::int64_t block;
    std::int64_t filled = 0;
    std::vector<double> energies;  ///< of the block that is being filled, by channel
    std::int64_t first = 0;        ///< block number of the first level
    std::deque<double> levels;
};

/// The gain of beds under other sound. It is down when that begins, because it looks ahead, and comes back after it.
class Ducker {
public:
    Ducker(Ducking const& settings, int sampleRate, std::int64_t block);

    Ducking const& GetSettings() const { return settings; }
    /// How many samples the meter must be ahead.
    std::int64_t GetLookAhead() const { return attack + block; }
    /// The gains of the next `count` samples.
    std::span<float const> Read(LevelMeter const& meter, std::size_t count);

private:
    Ducking settings;
    std::int64_t block;
    std::int64_t attack;
    double fall;  ///< of the depth in a sample
    double rise;
    double depth = 0.0;  ///< 0 none, 1 all of it
    std::int64_t position = 0;
    std::int64_t soundsUntil = -1;
    std::vector<float> gains;
};

}  // namespace Kaltor::Render
