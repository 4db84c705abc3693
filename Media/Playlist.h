#pragma once

#include <string>
#include <string_view>

#include "Media/Ffmpeg.h"

namespace Kaltor::Media {

/// What a playlist may open: plain local files, and no more playlists than a video has qualities. Not thread-safe.
class Playlist {
public:
    /// A playlist of more bytes is refused: FFmpeg keeps up to a kilobyte for each line.
    static constexpr int kMostBytes = 1 << 20;
    /// So many playlists one video may have, all levels together.
    static constexpr int kMostPlaylists = 100;

    static bool IsFormat(std::string_view format);
    /// FFmpeg's names of the formats that a playlist's files may have: no playlists, no scripts.
    static std::string ListFormatsWithin();

    /// Opens what the playlist names, as FFmpeg's `io_open` does. Keeps why it was refused.
    int Open(AVIOContext** io, char const* url, int flags, AVIOInterruptCB const& interrupt);
    /// The end of a sentence that begins with the playlist's name; empty where nothing was refused.
    std::string const& GetRefusal() const { return refusal; }

private:
    int Deny(std::string const& why);

    int count = 1;
    std::string refusal;
};

}  // namespace Kaltor::Media
