#include "Media/InputRules.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

namespace Kaltor::Media {
namespace {

enum class Danger {
    OtherFiles,  ///< names files that belong to it
    Network,     ///< says where on a network a stream is
    Program,     ///< is run to make the pictures
    Text,        ///< draws any text as a picture, so that every text file would be a video
};

struct Entry {
    std::string_view format;
    Danger danger;
};

/// Whatever else opens a second file fails there, since `Demuxer` opens only the one that it is given. These are named
/// so that the message is clear, or because they open files or connections by ways of their own.
constexpr std::array kDangerous{
    Entry{"hls", Danger::OtherFiles},
    Entry{"dash", Danger::OtherFiles},
    Entry{"webm_dash_manifest", Danger::OtherFiles},
    Entry{"concat", Danger::OtherFiles},
    Entry{"imf", Danger::OtherFiles},
    Entry{"vobsub", Danger::OtherFiles},
    Entry{"rtsp", Danger::Network},
    Entry{"sdp", Danger::Network},
    Entry{"sap", Danger::Network},
    Entry{"rtp", Danger::Network},
    Entry{"avisynth", Danger::Program},
    Entry{"vapoursynth", Danger::Program},
    Entry{"lavfi", Danger::Program},
    Entry{"tty", Danger::Text},
    Entry{"bin", Danger::Text},
    Entry{"xbin", Danger::Text},
    Entry{"adf", Danger::Text},
    Entry{"idf", Danger::Text},
};

}  // namespace

std::string FindRefusal(std::string_view format, bool allowPlaylists) {
    auto const* const found = std::find_if(kDangerous.begin(), kDangerous.end(),
                                           [format](Entry const& entry) { return entry.format == format; });
    if (found == kDangerous.end()) {
        return {};
    }
    switch (found->danger) {
        case Danger::OtherFiles:
            return allowPlaylists ? std::string()
                                  : fmt::format(
                                        "is a playlist ({}), which names other files; playlists are not read "
                                        "unless asked for (render --allow-playlists)",
                                        format);
        case Danger::Network:
            return fmt::format("describes a stream on a network ({}), which is not read", format);
        case Danger::Program:
            return fmt::format("is a script ({}), which is not run", format);
        case Danger::Text:
            break;
    }
    return "not a video or picture that can be read (it is text)";
}

}  // namespace Kaltor::Media
