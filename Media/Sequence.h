#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Media/MediaInfo.h"

namespace Kaltor::Media {

/// Pictures in files whose names differ by a number ("frame%04d.png", "frame%d.png"), or that a glob names
/// ("frames/*.png").
struct Sequence {
    std::string pattern;
    std::int64_t first = 0;  ///< the lowest number that is there
    std::int64_t count = 0;
    std::vector<std::string> names;  ///< of a glob, in the order of the numbers in them; empty otherwise

    /// The name of a picture, counted from 0.
    std::string GetName(std::int64_t index) const;

    /// Whether a path has a number's place or a glob in its name, and is not itself the name of a file.
    static bool IsPattern(std::string const& path);
    /// Looks at the folder. Throws `MediaError` where there is no picture, or one is missing between others.
    static Sequence Find(std::string const& pattern);
};

/// Whether a name has a number's place ("%04d", "%d").
bool HasNumberPlace(std::string const& path);
/// The name with its number.
std::string MakeNumberedName(std::string const& pattern, std::int64_t number);
/// The numbers for which there is a file, in order.
std::vector<std::int64_t> ListNumbers(std::string const& pattern);

/// What is known of a sequence that shows so many pictures a second, from what is known of its first picture.
MediaInfo Describe(MediaInfo const& picture, Sequence const& sequence, AVRational frameRate);

}  // namespace Kaltor::Media
