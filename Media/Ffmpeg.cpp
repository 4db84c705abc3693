#include "Media/Ffmpeg.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <type_traits>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/MediaError.h"

namespace Kaltor::Media {
namespace {

thread_local std::string lastLine;
std::atomic<bool> isLogShown{false};

void KeepLine(void* object, int level, char const* format, va_list arguments) {
    if (isLogShown) {
        va_list copy;
        va_copy(copy, arguments);
        av_log_default_callback(object, level, format, copy);
        va_end(copy);
    }
    if (level > AV_LOG_ERROR) {
        return;
    }
    std::array<char, 512> text{};
    int printPrefix = 0;
    av_log_format_line2(object, level, format, arguments, text.data(), static_cast<int>(text.size()), &printPrefix);
    std::string line = text.data();
    // Most lines carry "[name @ address] " in front.
    if (line.starts_with('[')) {
        if (std::size_t const end = line.find("] "); end != std::string::npos) {
            line.erase(0, end + 2);
        }
    }
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r' || line.back() == '.' || line.back() == ' ')) {
        line.pop_back();
    }
    if (line.empty()) {
        return;
    }
    lastLine = line;
    if (level <= AV_LOG_PANIC) {
        // FFmpeg ends the program now; nobody else would report why.
        std::fputs(fmt::format("kaltor: a fault in FFmpeg ends the program: {}\n", line).c_str(), stderr);
    }
}

/// Read as a number: as a value of its type it would not be valid.
template <typename Enum>
void DropUnknown(Enum& tag, Enum unspecified, Enum count) {
    std::underlying_type_t<Enum> number = 0;
    std::memcpy(&number, &tag, sizeof number);
    if (number >= static_cast<std::underlying_type_t<Enum>>(count)) {  // none is below 0: they are unsigned
        tag = unspecified;
    }
}

void DropUnknown(AVColorPrimaries& primaries, AVColorTransferCharacteristic& transfer, AVColorSpace& matrix,
                 AVColorRange& range, AVChromaLocation& chroma) {
    DropUnknown(primaries, AVCOL_PRI_UNSPECIFIED, AVCOL_PRI_NB);
    DropUnknown(transfer, AVCOL_TRC_UNSPECIFIED, AVCOL_TRC_NB);
    DropUnknown(matrix, AVCOL_SPC_UNSPECIFIED, AVCOL_SPC_NB);
    DropUnknown(range, AVCOL_RANGE_UNSPECIFIED, AVCOL_RANGE_NB);
    DropUnknown(chroma, AVCHROMA_LOC_UNSPECIFIED, AVCHROMA_LOC_NB);
}

}  // namespace

void DropUnknownTags(AVFrame& frame) {
    DropUnknown(frame.color_primaries, frame.color_trc, frame.colorspace, frame.color_range, frame.chroma_location);
}

void DropUnknownTags(AVCodecParameters& parameters) {
    DropUnknown(parameters.color_primaries, parameters.color_trc, parameters.color_space, parameters.color_range,
                parameters.chroma_location);
}

void CaptureFfmpegLog() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(&KeepLine); });
    ClearFfmpegLog();
}

void ShowFfmpegLog(bool isShown) {
    isLogShown = isShown;
}

void ClearFfmpegLog() {
    lastLine.clear();
}

std::string ExplainFfmpeg(int error) {
    return lastLine.empty() ? Proc::DescribeAvError(error) : std::exchange(lastLine, {});
}

void ThrowMediaError(std::string const& name, std::string const& what, int error) {
    Core::Throw(MediaError(fmt::format("{}: {} ({})", name, what, ExplainFfmpeg(error))));
}

}  // namespace Kaltor::Media
