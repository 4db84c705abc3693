#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace Kaltor::Media {

class PipeReader;

/// What an input may do, and when its reading ends.
struct InputRules {
    /// Playlists may be read, with the other local files that they name. Nothing reaches the network either way.
    bool allowPlaylists = false;
    /// Once true, opening and reading throw `Cancelled`. Must outlive the reader.
    std::atomic<bool> const* stop = nullptr;
    /// Where the input is a pipe: gives what it is read through, once for each reader.
    std::function<std::shared_ptr<PipeReader>()> openPipe = {};
    /// How the colours of translucent pixels are stored.
    enum class Alpha : std::int32_t {
        Auto,           ///< as the file says; straight where it does not
        Straight,       ///< as they are
        Premultiplied,  ///< multiplied by alpha
    };
    Alpha alpha = Alpha::Auto;
    /// The form of raw frames, "1920x1080:rgba:30"; empty for files that say what they are.
    std::string raw = {};
};

/// Size, pixel format by FFmpeg's name, and frames per second of frames without any header.
struct RawForm {
    std::string size;
    std::string pixelFormat;
    std::string frameRate;
};
/// Throws `std::invalid_argument` where "WxH:FORMAT:RATE" is not that.
RawForm ParseRawForm(std::string const& text);

/// Why a file in one of FFmpeg's formats is not read: the end of a sentence that begins with the file's name. Empty for
/// formats that are read.
std::string FindRefusal(std::string_view format, bool allowPlaylists);

}  // namespace Kaltor::Media
