#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Edit/Json.h"
#include "Studio/FileAccess.h"
#include "Studio/KeptBytes.h"

namespace Kaltor::Studio {

/// What pages show of single files: what they are, small pictures, the form of their sound. One file at a time, and
/// kept. Thread-safe.
class Sources {
public:
    Sources(FileAccess const& access, bool allowPlaylists);

    /// `{seconds, width, height, rate, sound, picture, still, alpha}`.
    Edit::Json Probe(std::string const& file);
    /// A JPEG of the picture that shows at a time, upright, with square pixels.
    Bytes MakeThumbnail(std::string const& file, double seconds, std::uint32_t height);
    /// `{seconds, peaks: [[least, most], ...]}` of equal parts of a stretch; `to` below 0: to the end.
    Edit::Json MakeWaveform(std::string const& file, std::size_t points, double from, double to);

    void Stop() { isStopped = true; }

private:
    struct Peak {
        float least = 0.0F;
        float most = 0.0F;
    };
    struct Wave {
        std::string key;
        double seconds = 0.0;
        std::vector<Peak> peaks;
    };

    std::shared_ptr<Wave const> FindWave(std::string const& path);

    FileAccess const& access;
    bool allowPlaylists;
    std::atomic<bool> isStopped = false;
    std::mutex mutex;      ///< of small pictures
    std::mutex waveMutex;  ///< of sound, which takes longer
    KeptBytes<std::pair<std::string, std::pair<std::int64_t, std::uint32_t>>> thumbnails;
    std::list<std::shared_ptr<Wave const>> waves;
};

}  // namespace Kaltor::Studio
