#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Edit/Titles/Title.h"
#include "Edit/Titles/TitlePicture.h"
#include "Media/VideoReader.h"

namespace Kaltor::Edit {

class TitleFonts;

/// Fonts for painters that only one thread uses: those that share them are made in a fraction of the time.
std::shared_ptr<TitleFonts> MakeTitleFonts();

/// Draws a title. Several may work at once, each on one thread at a time.
class TitlePainter {
public:
    /// Lays the text out. Warns where a font or letters are missing, and where the frame cuts the text. Throws
    /// `std::invalid_argument`, with one line that says which field is wrong.
    TitlePainter(Title const& title, std::uint32_t frameWidth, std::uint32_t frameHeight,
                 Media::WarningFn const& warn = {}, std::shared_ptr<TitleFonts> fonts = MakeTitleFonts());
    ~TitlePainter();
    TitlePainter(TitlePainter const&) = delete;
    TitlePainter& operator=(TitlePainter const&) = delete;

    /// What shows `time` seconds after the beginning of a title that lasts `duration` seconds; empty where nothing
    /// does, and outside of that time. What only fades or moves is drawn once.
    std::optional<TitlePicture> At(double time, double duration);

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace Kaltor::Edit
