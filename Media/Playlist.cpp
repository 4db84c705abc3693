#include "Media/Playlist.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>

#include "Media/InputRules.h"

namespace Kaltor::Media {
namespace {

/// HLS playlists begin with this; FFmpeg takes none that does not.
bool IsHls(std::string const& path) {
    constexpr std::string_view kMark = "#EXTM3U";
    std::array<char, kMark.size()> start{};
    std::ifstream(path, std::ios::binary).read(start.data(), start.size());
    return std::string_view(start.data(), start.size()) == kMark;
}

}  // namespace

bool Playlist::IsFormat(std::string_view format) {
    return FindRefusal(format, true).empty() && !FindRefusal(format, false).empty();
}

std::string Playlist::ListFormatsWithin() {
    std::string names;
    void* place = nullptr;
    while (AVInputFormat const* const format = av_demuxer_iterate(&place)) {
        if (FindRefusal(format->name, false).empty()) {
            names += std::string(names.empty() ? "" : ",") + format->name;
        }
    }
    return names;
}

int Playlist::Deny(std::string const& why) {
    if (refusal.empty()) {
        refusal = why;
    }
    return AVERROR(EPERM);
}

int Playlist::Open(AVIOContext** io, char const* url, int flags, AVIOInterruptCB const& interrupt) {
    constexpr std::string_view kProtocol = "file:";
    std::string path = url;
    if (path.starts_with(kProtocol)) {
        path.erase(0, kProtocol.size());
    }
    std::error_code error;
    std::filesystem::file_status const status = std::filesystem::status(path, error);
    if ((flags & AVIO_FLAG_WRITE) != 0) {
        return AVERROR(EPERM);
    }
    // Opening a pipe might never end. What is not there at all is the protocol's to say.
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        return Deny(fmt::format("names \"{}\", which is not a plain file", path));
    }
    if (std::filesystem::exists(status) && IsHls(path)) {
        if (std::filesystem::file_size(path, error) > kMostBytes) {
            return Deny(fmt::format("names the playlist \"{}\", which has more than {} bytes", path, kMostBytes));
        }
        if (++count > kMostPlaylists) {
            return Deny(fmt::format("names more than {} playlists, or itself", kMostPlaylists));
        }
    }
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    int const result = avio_open2(io, url, AVIO_FLAG_READ, &interrupt, &options);
    av_dict_free(&options);
    return result;
}

}  // namespace Kaltor::Media
