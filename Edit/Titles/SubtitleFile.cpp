#include "Edit/Titles/SubtitleFile.h"

#include <memory>
#include <string_view>

#include <fmt/format.h>
#include <glib.h>

#include "Core/Interfaces/Exception.h"
#include "Core/PlainFile.h"
#include "Media/Demuxer.h"
#include "Media/MediaError.h"

namespace Kaltor::Edit {
namespace {

using Media::MediaError;

/// Scripts may have fonts attached.
constexpr std::size_t kLargestFile = std::size_t{64} << 20U;
constexpr char kNotSubtitles[] = "no subtitles that can be read (SRT, VTT and ASS files can)";

[[noreturn]] void Fail(std::string const& path, std::string const& why) {
    Core::Throw(MediaError(fmt::format("{}: {}", path, why)));
}

std::string ReadBytes(std::string const& path) {
    using Kind = Core::FileFault::Kind;
    try {
        std::string content = Core::ReadPlainFile(path, kLargestFile);
        if (content.empty()) {
            Fail(path, "is empty");
        }
        return content;
    } catch (Core::FileFault const& fault) {
        if (fault.GetKind() == Kind::Missing || fault.GetKind() == Kind::System) {
            Core::Throw(Media::SystemError(
                fmt::format("{}: {}", path, fault.GetKind() == Kind::Missing ? "no such file" : fault.what())));
        }
        Fail(path, fault.GetKind() == Kind::TooLarge
                       ? fmt::format("is too large for subtitles; the most is {} MiB", kLargestFile >> 20U)
                       : fault.what());
    }
}

/// Empty where it is no text of that encoding.
std::string Convert(std::string_view bytes, char const* encoding) {
    gsize written = 0;
    GError* error = nullptr;
    std::unique_ptr<char, decltype(&g_free)> const text(
        g_convert(bytes.data(), static_cast<gssize>(bytes.size()), "UTF-8", encoding, nullptr, &written, &error),
        &g_free);
    g_clear_error(&error);
    return text ? std::string(text.get(), written) : std::string();
}

bool IsText(std::string const& text) {
    return !text.empty() && text.find('\0') == std::string::npos &&
           g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

std::string ReadText(std::string const& path, Media::WarningFn const& warn) {
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    std::string text = ReadBytes(path);
    if (text.starts_with(kUtf8Mark)) {
        text.erase(0, kUtf8Mark.size());
    } else if (text.starts_with("\xFF\xFE")) {
        text = Convert(std::string_view(text).substr(2), "UTF-16LE");
    } else if (text.starts_with("\xFE\xFF")) {
        text = Convert(std::string_view(text).substr(2), "UTF-16BE");
    } else if (!IsText(text) && text.find('\0') == std::string::npos) {
        // The few bytes that this encoding leaves out mean that it is no text at all.
        text = Convert(text, "WINDOWS-1252");
        if (!text.empty() && warn) {
            warn(fmt::format("{}: its text is not Unicode and is read as Windows-1252", path));
        }
    }
    if (!IsText(text)) {
        Fail(path, kNotSubtitles);
    }
    return text;
}

struct Subtitle : AVSubtitle {
    Subtitle() : AVSubtitle{} {}
    ~Subtitle() { avsubtitle_free(this); }
    Subtitle(Subtitle const&) = delete;
    Subtitle& operator=(Subtitle const&) = delete;
};

/// Decodes the lines of a stream, which FFmpeg gives as events of ASS.
class LineReader {
public:
    LineReader(std::string const& name, Media::Demuxer& source) : path(name), demuxer(source) {
        stream = demuxer.Get().streams[0];
        AVCodec const* const decoder = avcodec_find_decoder(stream->codecpar->codec_id);
        if (decoder == nullptr) {
            Fail(path, "no decoder for its subtitles is installed");
        }
        codec.reset(Media::CheckAllocated(avcodec_alloc_context3(decoder)));
        Media::ClearFfmpegLog();
        int result = avcodec_parameters_to_context(codec.get(), stream->codecpar);
        if (result >= 0) {
            codec->pkt_timebase = stream->time_base;
            result = avcodec_open2(codec.get(), decoder, nullptr);
        }
        if (result < 0) {
            Media::ThrowMediaError(path, "its subtitles cannot be decoded", result);
        }
    }

    void Read(SubtitleFile& file, Media::WarningFn const& warn) {
        file.header.assign(reinterpret_cast<char const*>(codec->subtitle_header),
                           static_cast<std::size_t>(codec->subtitle_header_size));
        Media::PacketPtr const packet = Media::MakePacket();
        int failures = 0;
        while (demuxer.Read(*packet) >= 0) {
            failures += Decode(*packet, file) ? 0 : 1;
        }
        if (file.lines.empty()) {
            Fail(path, "has no subtitles");
        }
        if (failures > 0 && warn) {
            warn(fmt::format("{}: {} of its subtitles cannot be read", path, failures));
        }
    }

private:
    bool Decode(AVPacket& packet, SubtitleFile& file) {
        constexpr AVRational kMilliseconds{1, 1000};
        Subtitle subtitle;
        int isThere = 0;
        if (avcodec_decode_subtitle2(codec.get(), &subtitle, &isThere, &packet) < 0 || packet.pts == AV_NOPTS_VALUE ||
            packet.duration < 0) {
            return false;
        }
        for (unsigned i = 0; isThere != 0 && i < subtitle.num_rects; ++i) {
            if (char const* const text = subtitle.rects[i]->ass) {
                file.lines.push_back({av_rescale_q(packet.pts, stream->time_base, kMilliseconds),
                                      av_rescale_q(packet.duration, stream->time_base, kMilliseconds), text});
            }
        }
        return true;
    }

    std::string path;
    Media::Demuxer& demuxer;
    AVStream* stream;
    Media::CodecContextPtr codec;
};

std::unique_ptr<Media::Demuxer> Open(std::vector<std::uint8_t> const& content, std::string const& path) {
    try {
        return std::make_unique<Media::Demuxer>(content, path);
    } catch (MediaError const&) {
        Fail(path, kNotSubtitles);
    }
}

}  // namespace

SubtitleFile ReadSubtitles(std::string const& path, Media::WarningFn const& warn) {
    SubtitleFile file;
    std::string text = ReadText(path, warn);
    std::vector<std::uint8_t> const content(text.begin(), text.end());
    std::unique_ptr<Media::Demuxer> const demuxer = Open(content, path);
    std::string_view const format = demuxer->Get().iformat->name;
    if (format == "ass") {
        file.script = std::move(text);
    } else if (format == "srt" || format == "webvtt") {
        LineReader(path, *demuxer).Read(file, warn);
    } else {
        Fail(path, kNotSubtitles);
    }
    return file;
}

}  // namespace Kaltor::Edit
