#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Render/SoundMix.h"
#include "Studio/KeptBytes.h"
#include "Studio/Plans.h"

namespace Kaltor::Studio {

/// The sound of plans in pieces, as a render mixes it: 48 kHz, two channels of 16 bits. Thread-safe.
class Sounds {
public:
    static constexpr int kRate = 48'000;
    static constexpr double kLongest = 60.0;  ///< seconds of a piece

    explicit Sounds(bool allowPlaylists);

    /// A WAV file of the samples from `round(from * 48000)` to `round(to * 48000)`, as far as the video goes. What
    /// comes before is mixed, too, unless it was before. Throws `RequestError`, and `Cancelled` after `Stop`.
    std::vector<std::uint8_t> Get(PlannedDocument const& planned, double from, double to);
    void Stop() { isStopped = true; }

private:
    /// A mix at the place up to which it was made.
    struct Mix {
        std::string id;
        std::unique_ptr<Render::SoundMix> mixer;
        std::int64_t next = 0;  ///< block
    };
    using Key = std::pair<std::string, std::int64_t>;

    Bytes GetBlock(PlannedDocument const& planned, std::int64_t block);
    Mix& FindMix(PlannedDocument const& planned, std::int64_t block);

    bool allowPlaylists;
    std::atomic<bool> isStopped = false;
    std::mutex mutex;
    std::list<Mix> mixes;  ///< the last used one first
    KeptBytes<Key> blocks;
};

}  // namespace Kaltor::Studio
