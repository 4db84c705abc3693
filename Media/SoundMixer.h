#pragma once

#include <memory>
#include <vector>

#include "Media/AudioReader.h"
#include "Media/Timeline.h"

namespace Kaltor::Media {

/// The sound of a time line from its beginning: each clip's own, one fading into the next with equal power under a
/// transition, silence where a clip has none. A clip's file is open only while it sounds.
class SoundMixer {
public:
    /// `timeline` must outlive it.
    SoundMixer(Timeline const& timeline, SoundFormat const& format, WarningFn warn, InputRules const& rules);

    /// The next `count` samples: `format.channels` planes.
    std::vector<std::vector<float>> Read(std::size_t count);

private:
    struct Source {
        std::size_t clip;
        std::unique_ptr<AudioReader> reader;
    };

    std::unique_ptr<AudioReader> Open(PlannedClip const& clip) const;
    void Add(Source const& source, std::vector<std::vector<float>>& sum, std::int64_t begin, std::int64_t end);

    Timeline const& timeline;
    SoundFormat format;
    WarningFn warn;
    InputRules rules;
    std::int64_t position = 0;
    std::size_t nextClip = 0;
    std::vector<Source> sources;
    std::vector<std::vector<float>> scratch;
};

}  // namespace Kaltor::Media
