#pragma once

#include <cstdint>
#include <string>

#include "Edit/Titles/Title.h"

namespace Kaltor::Edit {

/// A title's looks with everything decided, in pixels of the frame.
struct TitleLook {
    double frameWidth;
    double frameHeight;
    std::string family;
    int weight;
    bool isItalic;
    double em;
    Proc::Color color;
    double lineSpacing;
    Title::Align align;
    double width;
    double outlineWidth;
    Proc::Color outlineColor;
    double shadowX;
    double shadowY;
    double shadowBlur;
    Proc::Color shadowColor;
    Proc::Color boxColor;
    double boxPaddingX;
    double boxPaddingY;
    double boxRadius;
    Title::Anchor anchor;
    double marginX;
    double marginY;
    double x;
    double y;

    bool HasBox() const { return boxColor.alpha > 0; }
    bool HasOutline() const { return outlineWidth > 0.0 && outlineColor.alpha > 0; }
    bool HasShadow() const { return shadowColor.alpha > 0; }
};

/// Throws `std::invalid_argument` where a field is out of its range, or the frame has no size.
TitleLook ResolveLook(Title const& title, std::uint32_t frameWidth, std::uint32_t frameHeight);

/// Of an anchor: 0 left or top, 0.5 the middle, 1 right or bottom.
double HorizontalShare(Title::Anchor anchor);
double VerticalShare(Title::Anchor anchor);

}  // namespace Kaltor::Edit
