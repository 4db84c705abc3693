#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Proc/Settings/Settings.h"

namespace Kaltor::Edit {

/// Text over the frame. What is not set is as the style has it.
///
/// Lengths in em are multiples of the text's size, so that a title keeps its look at any size.
struct Title {
    enum class Style : std::int32_t {
        Title,       ///< large and bold, in the middle
        Subtitle,    ///< smaller, below the place of a title
        LowerThird,  ///< on a box at the lower left
        Caption,     ///< outlined, at the bottom
    };
    /// `Left` and `Right` are sides of the picture, whatever the direction of the writing.
    enum class Align : std::int32_t { Left, Center, Right, Justify };
    enum class Anchor : std::int32_t { TopLeft, Top, TopRight, Left, Center, Right, BottomLeft, Bottom, BottomRight };
    /// `Auto`: each paragraph's first letter decides.
    enum class Direction : std::int32_t { Auto, LeftToRight, RightToLeft };
    enum class Animation : std::int32_t {
        None,
        Fade,        ///< appears and vanishes
        Rise,        ///< fades in while it rises, and out while it sinks
        Typewriter,  ///< letter by letter; fades out
        WordByWord,  ///< fades out
    };

    static constexpr std::size_t kLongestText = 16384;  ///< bytes

    std::string text;        ///< UTF-8; line breaks are kept
    bool hasMarkup = false;  ///< `text` is Pango's markup; its point is a pixel where the frame has 1080 lines
    Style style = Style::Title;

    std::optional<std::string> family;  ///< or several, the most wanted first, with commas between them
    std::optional<int> weight;          ///< 100 to 1000; 400 is regular, 700 bold
    std::optional<bool> isItalic;
    /// The em as a share of the frame's height, above 0 and up to 1. The styles' own sizes are shares of the shorter
    /// side.
    std::optional<double> size;
    std::optional<Proc::Color> color;
    std::optional<double> lineSpacing;  ///< 1 is the font's own distance; 0.5 to 4
    std::optional<Align> align;
    Direction direction = Direction::Auto;
    std::optional<double> width;  ///< where lines wrap, a share of the frame's width, above 0 and up to 1

    std::optional<double> outlineWidth;  ///< outside the letters; em, 0 to 0.5
    std::optional<Proc::Color> outlineColor;

    std::optional<double> shadowX;     ///< to the right; em, -1 to 1
    std::optional<double> shadowY;     ///< down; em, -1 to 1
    std::optional<double> shadowBlur;  ///< over how much its edge fades to each side; em, 0 to 2
    std::optional<Proc::Color> shadowColor;

    std::optional<Proc::Color> boxColor;  ///< behind the text; no box where it is transparent
    std::optional<double> boxPaddingX;    ///< between the text and the box's sides; em, 0 to 4
    std::optional<double> boxPaddingY;    ///< above the first line's capitals and below the last base line; em, 0 to 4
    std::optional<double> boxRadius;      ///< of its corners; em, 0 to 4

    std::optional<Anchor> anchor;
    std::optional<double> margin;  ///< kept free at each side, a share of the frame's width and height; 0 to 0.45
    std::optional<double> x;       ///< moves it to the right; a share of the frame's width, -1 to 1
    std::optional<double> y;       ///< moves it down; a share of the frame's height, -1 to 1

    Animation animation = Animation::None;
    /// Seconds that it takes to appear. Not set: 0.5, a twentieth for each letter, a quarter for each word, but no more
    /// than half of the title's duration.
    std::optional<double> entry;
    std::optional<double> exit;  ///< seconds that it takes to vanish; not set: 0.5

    bool operator==(Title const&) const = default;
};

}  // namespace Kaltor::Edit
