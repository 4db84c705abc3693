#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "Media/MediaInfo.h"
#include "Media/VideoReader.h"

namespace Kaltor::Media {

/// Streams a clip's sound as 32-bit float planes of one rate and channel count, placed by its timestamps: sample n is
/// what sounds n / rate after `start`, where time 0 is that of the clip's first picture. Where the clip has no sound
/// (before, in gaps, after its end) there is silence.
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

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace Kaltor::Media
