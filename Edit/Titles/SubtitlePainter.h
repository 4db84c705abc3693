#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Edit/Titles/Title.h"
#include "Edit/Titles/TitlePicture.h"
#include "Media/VideoReader.h"

namespace Kaltor::Edit {

/// Draws the subtitles of an SRT, VTT or ASS file. Several may work at once, each on one thread at a time.
class SubtitlePainter {
public:
    /// `style`: how those of SRT and VTT look; a caption's looks where it is null. Its text, direction, animation, line
    /// spacing, x and y, the shadow's x and blur and the box's radius have no effect. ASS files have styles of their
    /// own, and fonts that are attached to them are used. Warns of fonts that are missing, when they are first needed,
    /// and of lines that cannot be read. Throws `Media::MediaError`, with one line that begins with the path;
    /// `std::invalid_argument` where a field of the style is wrong.
    SubtitlePainter(std::string const& path, std::uint32_t frameWidth, std::uint32_t frameHeight,
                    Title const* style = nullptr, Media::WarningFn const& warn = {});
    ~SubtitlePainter();
    SubtitlePainter(SubtitlePainter const&) = delete;
    SubtitlePainter& operator=(SubtitlePainter const&) = delete;

    /// What shows at a time of the file, in seconds; empty where nothing does. The same picture until it changes.
    std::optional<TitlePicture> At(double time);

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace Kaltor::Edit
