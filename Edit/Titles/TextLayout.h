#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Edit/Titles/Fonts.h"
#include "Edit/Titles/GlyphRenderer.h"
#include "Edit/Titles/TitleLook.h"
#include "Media/VideoReader.h"

namespace Kaltor::Edit {

/// A rectangle in pixels of the frame.
struct Rect {
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;

    Rect Grow(double by) const { return {left - by, top - by, right + by, bottom + by}; }
    Rect Move(double toRight, double down) const {
        return {left + toRight, top + down, right + toRight, bottom + down};
    }
    /// The smallest one that holds both.
    Rect Unite(Rect const& other) const;
};

/// A title's text in lines, and where it stands in the frame. Those that share their fonts are used by one thread at a
/// time; with fonts of their own, several may be used on several threads.
class TextLayout {
public:
    static constexpr int kWhole = std::numeric_limits<int>::max();

    /// Throws `std::invalid_argument`: text that is too long or no UTF-8, markup with errors, text that is laid out to
    /// more than can be drawn. Warns of missing fonts and letters.
    TextLayout(Title const& title, TitleLook const& look, std::shared_ptr<TitleFonts> fonts,
               Media::WarningFn const& warn);

    /// The box with its padding, whole pixels. It stands where the text does where there is no box to be seen.
    Rect const& GetBox() const { return box; }
    /// All that the letters cover.
    Rect const& GetInk() const { return ink; }
    /// The same with what markup may have behind them.
    Rect const& GetReach() const { return reach; }
    /// Where letters, or what is between two places for a line break, begin in the text: in bytes, ascending.
    std::vector<int> FindLetters() const;
    std::vector<int> FindWords() const;

    /// Draws the text up to a place, in bytes.
    void Draw(GlyphTargets& targets, int end = kWhole) const;

private:
    void SetText(Title const& title);
    /// Fonts too large fail in ways of their own.
    void CheckSizes(TitleLook const& look) const;
    void Wrap(TitleLook const& look);
    void Place(TitleLook const& look);
    void WarnOfFonts(TitleLook const& look, Media::WarningFn const& warn) const;
    std::size_t CountLines() const;

    std::shared_ptr<TitleFonts> fonts;
    ObjectPtr<PangoContext> context;
    ObjectPtr<PangoLayout> layout;
    /// The beginning of each line's base line.
    struct Point {
        double x;
        double y;
    };
    std::vector<Point> lines;
    Rect box;
    Rect ink;
    Rect reach;
};

/// What a line of a font takes above and below its base line, in pixels.
struct LineExtent {
    double ascent;
    double descent;
};
LineExtent MeasureLine(TitleLook const& look);

}  // namespace Kaltor::Edit
