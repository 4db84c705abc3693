#pragma once

#include <memory>

#include "Edit/Plan.h"
#include "Media/AudioReader.h"
#include "Render/PlannedSound.h"

namespace Kaltor::Render {

/// What sounds in a plan.
SoundPlan MakeSoundPlan(Edit::Plan const& plan);

/// The sound of a plan from its beginning: all that sounds with its volume and fades, beds under the rest, the whole at
/// the loudness that is asked for. Not thread-safe.
///
/// Where a loudness is asked for, the first `Read` goes through the whole sound beforehand to measure it, and once or
/// more often again where true peaks have to be limited. It is left as it is where it is silent, or too short or too
/// quiet to be measured. What a limiter takes of the loudness, a higher gain makes up for, as long as it takes no more
/// than 3 dB on average. What stays more than 0.5 LU away from the target gives a warning.
class SoundMix {
public:
    SoundMix(SoundPlan plan, Media::SoundFormat const& format, Media::WarningFn warn, Media::InputRules const& rules);
    ~SoundMix();
    SoundMix(SoundMix const&) = delete;
    SoundMix& operator=(SoundMix const&) = delete;

    /// The next `count` samples: `format.channels` planes, 5.1 in FFmpeg's order. What is wrong with a file gives a
    /// warning and silence. Throws `SystemError`, `Cancelled`.
    std::vector<std::vector<float>> Read(std::size_t count);

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace Kaltor::Render
