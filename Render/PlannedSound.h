#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Edit/PlannedSound.h"

namespace Kaltor::Render {

using Edit::Ducking;
using Edit::PlannedSound;

/// What the whole mix is brought to.
struct LoudnessTarget {
    double loudness = -16.0;  ///< integrated after ITU-R BS.1770-4, LUFS
    double truePeak = -1.0;   ///< dBTP, the highest

    bool operator==(LoudnessTarget const&) const = default;
};

/// All that sounds.
struct SoundPlan {
    AVRational frameRate{30, 1};
    std::int64_t frames = 0;
    std::vector<PlannedSound> sounds;
    std::optional<LoudnessTarget> loudness;

    /// The sample that sounds when a frame begins.
    std::int64_t SampleOf(std::int64_t frame, int sampleRate) const;
};

}  // namespace Kaltor::Render
