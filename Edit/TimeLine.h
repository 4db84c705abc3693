#pragma once

#include <cstdint>

#include "Media/MediaInfo.h"

namespace Kaltor::Edit {

/// Frames, times and samples of a video of one rate. All begin at 0.
struct TimeLine {
    AVRational frameRate{30, 1};

    /// When a frame begins.
    Media::Microseconds TimeOf(std::int64_t frame) const;
    /// The frame that begins nearest to a time.
    std::int64_t FrameAt(Media::Microseconds time) const;
    /// The sample that sounds when a frame begins.
    std::int64_t SampleOf(std::int64_t frame, int sampleRate) const;
    double SecondsOf(std::int64_t frames) const { return static_cast<double>(frames) * av_q2d(av_inv_q(frameRate)); }
    /// The nearest frame to a time in seconds.
    std::int64_t FrameAtSeconds(double seconds) const;
};

}  // namespace Kaltor::Edit
