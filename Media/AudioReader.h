#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Media/MediaInfo.h"
#include "Media/VideoReader.h"

namespace Kaltor::Media {

/// Streams a clip's sound as 32-bit float planes of one rate and channel count, placed by its timestamps: sample n is
/// what sounds n / rate after `start`, where time 0 is that of the clip's first picture. Where the clip has no sound
/// (before, in gaps, after its end) there is silence.
///
/// Channels are mixed up and down as FFmpeg does it, with two exceptions that keep levels: one channel goes to both
/// sides as loud as it is, and one channel of several is half the sum of what two would be.
class AudioReader {
public:
    /// Throws `MediaError`, also where the file has no sound.
    AudioReader(std::string const& path, SoundFormat const& format, Microseconds start = Microseconds(0),
                WarningFn warn = {}, InputRules const& rules = {});
    ~AudioReader();
    AudioReader(AudioReader const&) = delete;
    AudioReader& operator=(AudioReader const&) = delete;

    /// Fills `count` samples of each of the format's planes.
    void Read(float* const* planes, std::size_t count);

    /// The next sample read is number `sample`, 0 or above.
    void Restart(std::int64_t sample);

    /// What is known to be silent next is left out of what is read, but counts in the numbers of samples.
    void SkipSilence();

    /// The number of the sample after the last one that the clip has; known once it was read.
    std::optional<std::int64_t> GetEnd() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

/// A file's sound, with or without pictures.
struct SoundInfo {
    SoundFormat format;
    /// From time 0 to the end of the last sample that can be decoded.
    Microseconds duration{0};
};

/// Decodes the last second. Throws `MediaError`, also where the file has no sound, and `Cancelled`.
SoundInfo ProbeSound(std::string const& path, InputRules const& rules = {});

}  // namespace Kaltor::Media
