#include "Media/InputRules.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

extern "C" {
#include <libavutil/parseutils.h>
#include <libavutil/pixdesc.h>
}

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

RawForm ParseRawForm(std::string const& text) {
    auto const refuse = [&text](std::string const& why) {
        Core::Throw(std::invalid_argument(
            fmt::format("\"{}\" does not describe raw frames: {}; it takes WxH:FORMAT:RATE, such as 1920x1080:rgba:30",
                        text, why)));
    };
    std::size_t const first = text.find(':');
    std::size_t const second = first == std::string::npos ? first : text.find(':', first + 1);
    if (second == std::string::npos) {
        refuse("there are not three parts");
    }
    RawForm form{text.substr(0, first), text.substr(first + 1, second - first - 1), text.substr(second + 1)};
    int width = 0;
    int height = 0;
    AVRational rate{0, 1};
    if (form.size.find('x') == std::string::npos || av_parse_video_size(&width, &height, form.size.c_str()) < 0) {
        refuse(fmt::format("\"{}\" is no size", form.size));
    }
    if (av_get_pix_fmt(form.pixelFormat.c_str()) == AV_PIX_FMT_NONE) {
        refuse(fmt::format("there is no pixel format \"{}\"; rgba, rgb24, yuv420p, nv12 and gray are some",
                           form.pixelFormat));
    }
    if (av_parse_video_rate(&rate, form.frameRate.c_str()) < 0) {
        refuse(fmt::format("\"{}\" is no frame rate", form.frameRate));
    }
    return form;
}

}  // namespace Kaltor::Media
