#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Edit/Curve.h"
#include "Media/MediaInfo.h"
#include "Media/PipeSource.h"

namespace Kaltor::Edit {

/// How a bed gives way to the clips' own sound.
struct Ducking {
    double by = 12.0;          ///< dB
    double threshold = -40.0;  ///< dBFS of the clips' sound from which on it counts; a sine of full scale has 0 dBFS
    double attack = 0.2;       ///< seconds; they lie before the clips' sound
    double release = 0.8;      ///< seconds; they lie after it

    bool operator==(Ducking const&) const = default;
};

/// A stretch of sound on the time line.
struct PlannedSound {
    std::string path;
    std::string raw;                          ///< see `Source`
    std::shared_ptr<Media::PipeReader> pipe;  ///< what it is read through, where it is a pipe
    bool allowPlaylists = false;
    /// Reports damage; off where it was reported before.
    bool warnsOfDamage = true;

    /// The piece of the file, in its own time. Length 0: to the end of its sound, wherever that is. A piece of a known
    /// length is filled with silence where the sound ends before it.
    Media::Microseconds start{0};
    Media::Microseconds length{0};

    std::int64_t first = 0;      ///< output frame from which on it is there
    std::int64_t frames = 0;     ///< output frames that it is there
    std::int64_t holdFirst = 0;  ///< frames of silence among them before it plays; after the piece it is silent, too

    double speed = 1.0;  ///< 0.05 to 20
    bool keepsPitch = true;
    bool isReversed = false;
    bool loops = false;

    /// dB at seconds since `first`; `gainDb` where there is no curve.
    std::optional<CurveSampler> volume;
    double gainDb = 0.0;
    std::int64_t fadeIn = 0;  ///< frames of the joint from what is before, with equal power
    std::int64_t fadeOut = 0;
    double fadeInSeconds = 0.0;  ///< from where it begins to play, with equal power
    double fadeOutSeconds = 0.0;

    bool isBed = false;
    std::optional<Ducking> ducking;  ///< of beds

    std::int64_t GetEnd() const { return first + frames; }
};

}  // namespace Kaltor::Edit
