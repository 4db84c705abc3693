#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "Media/VideoReader.h"

namespace Kaltor::Media {

/// Readers that stay open and pictures that stay in memory from one look into files to the next, for those who look
/// here and there: opening a file and finding a place takes longer than decoding there. Thread-safe.
class KeptReaders {
public:
    explicit KeptReaders(InputRules const& inputRules) : rules(inputRules) {}

    /// A reader at `start`, as a new one would be. Give it back with `Keep`.
    std::unique_ptr<VideoReader> Open(std::string const& path, VideoTarget const& target, Microseconds start);
    void Keep(std::string const& path, VideoTarget const& target, std::unique_ptr<VideoReader> reader);

    /// The first picture that a reader at `start` gives. For stills `start` is 0.
    Proc::AvFramePtr ReadOne(std::string const& path, VideoTarget const& target, Microseconds start);

private:
    /// A file as it was, in a form.
    struct Key {
        std::string path;
        std::string file;  ///< changes with the file
        std::string form;
        bool operator==(Key const&) const = default;
    };
    struct Reader {
        Key key;
        std::unique_ptr<VideoReader> reader;
    };
    struct Picture {
        Key key;
        Microseconds start;
        Proc::AvFramePtr frame;
        std::size_t bytes;
    };

    static Key KeyOf(std::string const& path, VideoTarget const& target);

    InputRules rules;
    std::mutex mutex;
    std::list<Reader> readers;    ///< the last used one first
    std::list<Picture> pictures;  ///< so too
    std::size_t pictureBytes = 0;
};

}  // namespace Kaltor::Media
