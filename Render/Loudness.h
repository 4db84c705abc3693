#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "Media/MediaInfo.h"

namespace Kaltor::Render {

/// Measures a sound from its beginning to its end.
class LoudnessMeter {
public:
    explicit LoudnessMeter(Media::SoundFormat const& format);
    ~LoudnessMeter();
    LoudnessMeter(LoudnessMeter const&) = delete;
    LoudnessMeter& operator=(LoudnessMeter const&) = delete;

    void Add(std::vector<std::vector<float>> const& planes, std::size_t count);

    /// Integrated after ITU-R BS.1770-4, LUFS; below -70 for silence, and for what is shorter than 0.4 s.
    double GetLoudness() const;
    /// The highest of all channels, dBTP.
    double GetTruePeak() const;

private:
    struct State;
    std::unique_ptr<State> state;
    std::vector<float> interleaved;
};

}  // namespace Kaltor::Render
