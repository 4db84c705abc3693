#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Media/MediaInfo.h"

namespace Kaltor::Media {

/// Pictures in files whose names differ by a number: "frame%04d.png", "frame%d.png".
struct Sequence {
    std::string pattern;
    std::int64_t first = 0;  ///< the lowest number that is there
    std::int64_t count = 0;

    /// The name of a picture, counted from 0.
    std::string GetName(std::int64_t index) const;

    /// Whether a path has a number's place in its name, and is not itself the name of a file.
    static bool IsPattern(std::string const& path);
    /// Looks at the folder. Throws `MediaError` where there is no picture, or one is missing between others.
    static Sequence Find(std::string const& pattern);
};

/// What is known of a sequence that shows so many pictures a second, from what is known of its first picture.
MediaInfo Describe(MediaInfo const& picture, Sequence const& sequence, AVRational frameRate);

}  // namespace Kaltor::Media
