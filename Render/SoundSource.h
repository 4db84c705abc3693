#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "Media/AudioReader.h"
#include "Render/PlannedSound.h"

namespace Kaltor::Render {

/// Samples of one channel each.
using Planes = std::vector<std::vector<float>>;

/// Gives sound from its beginning, without end: silence comes after it.
class SoundSource {
public:
    virtual ~SoundSource() = default;
    /// Fills `count` samples of each plane.
    virtual void Read(float* const* planes, std::size_t count) = 0;
};

/// Opens the file and gives what a planned sound plays: its piece with its direction, repetition and speed. Volume and
/// fades are not applied. Throws `MediaError`, `Cancelled`.
std::unique_ptr<SoundSource> OpenSound(PlannedSound const& sound, Media::SoundFormat const& format,
                                       Media::WarningFn const& warn, Media::InputRules const& rules);

}  // namespace Kaltor::Render
