#pragma once

#include <atomic>
#include <string>
#include <string_view>

namespace Kaltor::Media {

/// What an input may do, and when its reading ends.
struct InputRules {
    /// Playlists may be read, with the other local files that they name. Nothing reaches the network either way.
    bool allowPlaylists = false;
    /// Once true, opening and reading throw `Cancelled`. Must outlive the reader.
    std::atomic<bool> const* stop = nullptr;
};

/// Why a file in one of FFmpeg's formats is not read: the end of a sentence that begins with the file's name. Empty for
/// formats that are read.
std::string FindRefusal(std::string_view format, bool allowPlaylists);

}  // namespace Kaltor::Media
