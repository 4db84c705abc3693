#pragma once

#include <string>
#include <vector>

#include "Media/VideoReader.h"

namespace Kaltor::Edit {

/// The content of a file with subtitles: one that has its own looks, or lines that get theirs here.
struct SubtitleFile {
    struct Line {
        long long start;     ///< milliseconds
        long long duration;  ///< milliseconds
        std::string text;    ///< an event of ASS in the form that Matroska has
    };

    std::string script;  ///< of an ASS file: all of it, UTF-8
    std::string header;  ///< otherwise: of the lines, in ASS
    std::vector<Line> lines;
};

/// Reads SRT, VTT and ASS. Nothing but the file itself is opened. Text that is not Unicode is read as Windows-1252,
/// with a warning. Throws `MediaError`.
SubtitleFile ReadSubtitles(std::string const& path, Media::WarningFn const& warn);

}  // namespace Kaltor::Edit
