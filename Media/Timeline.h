#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Media/MediaInfo.h"
#include "Media/Render.h"

namespace Kaltor::Media {

/// A clip's place among the output's frames.
struct PlannedClip {
    std::string path;
    MediaInfo info;
    bool allowPlaylists = false;
    Microseconds start{0};
    std::int64_t first = 0;  ///< output frame of its first picture
    std::int64_t frames = 0;
    std::int64_t fadeIn = 0;   ///< frames of the transition from the clip before
    std::int64_t fadeOut = 0;  ///< and to the clip after

    std::int64_t GetEnd() const { return first + frames; }
};

/// A job in whole frames.
struct Timeline {
    VideoTarget target;
    /// The sound of all clips together; empty where no clip has any.
    std::optional<SoundFormat> sound;
    std::vector<PlannedClip> clips;
    std::int64_t frames = 0;

    /// When a frame begins.
    Microseconds TimeOf(std::int64_t frame) const;
    /// The frame that begins nearest to a time.
    std::int64_t FrameAt(Microseconds time) const;
    /// The sample that sounds when a frame begins.
    std::int64_t SampleOf(std::int64_t frame, int sampleRate) const;
};

/// Probes the clips. Throws `std::invalid_argument` for a job that cannot be, `MediaError` for a clip at fault,
/// `Cancelled`.
Timeline Plan(RenderJob const& job, WarningFn const& warn);

}  // namespace Kaltor::Media
