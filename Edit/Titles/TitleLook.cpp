#include "Edit/Titles/TitleLook.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Edit {
namespace {

using Proc::Color;

constexpr std::uint32_t kLongestSide = 32768;
constexpr Color kWhite{255, 255, 255, 255};
constexpr Color kBlack{0, 0, 0, 255};
constexpr Color kNoBox{0, 0, 0, 0};

struct StyleDefaults {
    int weight;
    double size;  ///< share of the frame's shorter side
    double lineSpacing;
    Title::Align align;
    double width;
    double outlineWidth;
    double shadowY;
    double shadowBlur;
    Color shadowColor;
    Color boxColor;
    Title::Anchor anchor;
    double y;  ///< share of the frame's shorter side
};

StyleDefaults const& GetDefaults(Title::Style style) {
    using Align = Title::Align;
    using Anchor = Title::Anchor;
    static constexpr StyleDefaults kTitle{
        700, 0.1, 1.0, Align::Center, 0.84, 0.0, 0.03, 0.3, {0, 0, 0, 170}, kNoBox, Anchor::Center, 0.0};
    static constexpr StyleDefaults kSubtitle{400,  0.052, 1.05,           Align::Center, 0.76,           0.0,
                                             0.03, 0.4,   {0, 0, 0, 200}, kNoBox,        Anchor::Center, 0.14};
    static constexpr StyleDefaults kLowerThird{
        400, 0.046, 1.1, Align::Left, 0.6, 0.0, 0.0, 0.0, {0, 0, 0, 0}, {16, 18, 22, 190}, Anchor::BottomLeft, 0.0};
    static constexpr StyleDefaults kCaption{400, 0.052,          1.0,    Align::Center,  0.84, 0.055, 0.03,
                                            0.2, {0, 0, 0, 150}, kNoBox, Anchor::Bottom, 0.0};
    switch (style) {
        case Title::Style::Subtitle:
            return kSubtitle;
        case Title::Style::LowerThird:
            return kLowerThird;
        case Title::Style::Caption:
            return kCaption;
        case Title::Style::Title:
            break;
    }
    return kTitle;
}

[[noreturn]] void Fail(std::string const& what) {
    Core::Throw(std::invalid_argument(what));
}

void CheckRanges(Title const& title) {
    struct Range {
        char const* name;
        std::optional<double> value;
        double minimum;
        double maximum;
        bool isOpen = false;  ///< the minimum itself is out
    };
    std::optional<double> const weight =
        title.weight ? std::optional<double>(static_cast<double>(*title.weight)) : std::nullopt;
    constexpr double kLongestAnimation = 86400.0;
    std::array const ranges{
        Range{"weight", weight, 100, 1000},
        Range{"size", title.size, 0, 1, true},
        Range{"line spacing", title.lineSpacing, 0.5, 4},
        Range{"width", title.width, 0, 1, true},
        Range{"outline's width", title.outlineWidth, 0, 0.5},
        Range{"shadow's x", title.shadowX, -1, 1},
        Range{"shadow's y", title.shadowY, -1, 1},
        Range{"shadow's blur", title.shadowBlur, 0, 2},
        Range{"box's horizontal padding", title.boxPaddingX, 0, 4},
        Range{"box's vertical padding", title.boxPaddingY, 0, 4},
        Range{"box's radius", title.boxRadius, 0, 4},
        Range{"margin", title.margin, 0, 0.45},
        Range{"x", title.x, -1, 1},
        Range{"y", title.y, -1, 1},
        Range{"entry", title.entry, 0, kLongestAnimation},
        Range{"exit", title.exit, 0, kLongestAnimation},
    };
    for (Range const& range : ranges) {
        if (!range.value) {
            continue;
        }
        double const value = *range.value;
        bool const isInside = (range.isOpen ? value > range.minimum : value >= range.minimum) && value <= range.maximum;
        if (!isInside) {
            Fail(fmt::format("a title's {} is {}; it can be {} {} to {}", range.name, value,
                             range.isOpen ? "above" : "from", range.minimum, range.maximum));
        }
    }
}

}  // namespace

TitleLook ResolveLook(Title const& title, std::uint32_t frameWidth, std::uint32_t frameHeight) {
    if (frameWidth == 0 || frameHeight == 0 || std::max(frameWidth, frameHeight) > kLongestSide) {
        Fail(fmt::format("a title cannot be drawn for a frame of {}x{}", frameWidth, frameHeight));
    }
    CheckRanges(title);
    StyleDefaults const& style = GetDefaults(title.style);
    double const width = frameWidth;
    double const height = frameHeight;
    double const em = title.size ? *title.size * height : style.size * std::min(width, height);
    return {
        .frameWidth = width,
        .frameHeight = height,
        .family = title.family && !title.family->empty() ? *title.family : "Sans",
        .weight = title.weight.value_or(style.weight),
        .isItalic = title.isItalic.value_or(false),
        .em = em,
        .color = title.color.value_or(kWhite),
        .lineSpacing = title.lineSpacing.value_or(style.lineSpacing),
        .align = title.align.value_or(style.align),
        .width = title.width.value_or(style.width) * width,
        .outlineWidth = title.outlineWidth.value_or(style.outlineWidth) * em,
        .outlineColor = title.outlineColor.value_or(kBlack),
        .shadowX = title.shadowX.value_or(0.0) * em,
        .shadowY = title.shadowY.value_or(style.shadowY) * em,
        .shadowBlur = title.shadowBlur.value_or(style.shadowBlur) * em,
        .shadowColor = title.shadowColor.value_or(style.shadowColor),
        .boxColor = title.boxColor.value_or(style.boxColor),
        .boxPaddingX = title.boxPaddingX.value_or(0.7) * em,
        .boxPaddingY = title.boxPaddingY.value_or(0.6) * em,
        .boxRadius = title.boxRadius.value_or(0.15) * em,
        .anchor = title.anchor.value_or(style.anchor),
        .marginX = title.margin.value_or(0.05) * width,
        .marginY = title.margin.value_or(0.05) * height,
        .x = title.x.value_or(0.0) * width,
        .y = title.y ? *title.y * height : style.y * std::min(width, height),
    };
}

double HorizontalShare(Title::Anchor anchor) {
    return static_cast<double>(static_cast<int>(anchor) % 3) / 2.0;
}

double VerticalShare(Title::Anchor anchor) {
    return static_cast<double>(static_cast<int>(anchor) / 3) / 2.0;
}

}  // namespace Kaltor::Edit
