#include "Edit/Time.h"

#include <cmath>
#include <optional>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Core/Text.h"

namespace Kaltor::Edit {
namespace {

/// Keeps microseconds and frames far from the ends of their types.
constexpr double kMost = 1e9;
constexpr double kPercent = 100.0;

using Core::IsDigits;

std::optional<double> ParsePlain(std::string_view text) {
    bool const isPlain = !text.empty() && text.find_first_not_of("0123456789.") == std::string_view::npos;
    std::optional<double> const value = isPlain ? Core::ParseNumber<double>(text) : std::nullopt;
    return value && *value <= kMost ? value : std::nullopt;
}

/// [HH:]MM:SS[.fff] or HH:MM:SS:FF.
std::optional<Time> ParseClock(std::string_view text) {
    constexpr double kSixty = 60.0;
    std::vector<std::string_view> parts = Core::Split(text, ':');
    Time time;
    if (parts.size() == 4) {
        if (!IsDigits(parts.back())) {
            return std::nullopt;
        }
        time.frames = ParsePlain(parts.back()).value_or(0.0);
        parts.pop_back();
        if (!IsDigits(parts.back())) {
            return std::nullopt;
        }
    }
    if (parts.size() < 2 || parts.size() > 3) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
        bool const isLast = i + 1 == parts.size();
        std::optional<double> const part =
            isLast || IsDigits(parts[i]) ? ParsePlain(parts[i]) : std::optional<double>();
        if (!part || (i > 0 && *part >= kSixty)) {
            return std::nullopt;
        }
        time.seconds = time.seconds * kSixty + *part;
    }
    return time.seconds <= kMost ? std::optional(time) : std::nullopt;
}

std::optional<Time> TryParse(std::string_view text) {
    if (text.find(':') != std::string_view::npos) {
        return ParseClock(text);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    char const unit = text.back();
    std::string_view const number = unit == 's' || unit == 'f' || unit == '%' ? text.substr(0, text.size() - 1) : text;
    std::optional<double> const value = ParsePlain(number);
    if (!value) {
        return std::nullopt;
    }
    switch (unit) {
        case 'f':
            return Time{0.0, *value, 0.0};
        case '%':
            return Time{0.0, 0.0, *value / kPercent};
        default:
            return Time{*value, 0.0, 0.0};
    }
}

/// Without trailing zeros, so that what was read comes back.
std::string FormatNumber(double value) {
    return fmt::format("{:.10g}", value);
}

}  // namespace

double Time::Resolve(AVRational frameRate, double span) const {
    return seconds + (frames != 0.0 ? frames * frameRate.den / frameRate.num : 0.0) + share * span;
}

Time ParseTime(std::string_view text) {
    bool const isNegative = !text.empty() && text.front() == '-';
    std::optional<Time> time = TryParse(isNegative ? text.substr(1) : text);
    if (!time) {
        Core::Throw(std::invalid_argument(fmt::format(
            "\"{}\" is not a time: it takes seconds (12.5), frames (12f), a share of the span (50%) or a timecode "
            "([HH:]MM:SS[.fff] or HH:MM:SS:FF)",
            text)));
    }
    if (isNegative) {
        *time = {-time->seconds, -time->frames, -time->share};
    }
    return *time;
}

std::string Format(Time const& time) {
    if (time.share != 0.0) {
        return FormatNumber(time.share * kPercent) + "%";
    }
    if (time.frames == 0.0) {
        return FormatNumber(time.seconds);
    }
    if (time.seconds == 0.0) {
        return FormatNumber(time.frames) + "f";
    }
    auto const whole = static_cast<long long>(std::abs(time.seconds));
    return fmt::format("{}{:02}:{:02}:{:02}:{:02}", time.seconds < 0.0 ? "-" : "", whole / 3600, whole / 60 % 60,
                       whole % 60, std::llround(std::abs(time.frames)));
}

AVRational ParseFrameRate(std::string_view text) {
    constexpr double kMostRate = 1000.0;
    std::size_t const slash = text.find('/');
    if (slash != std::string_view::npos) {
        std::optional<int> const numerator = Core::ParseNumber<int>(text.substr(0, slash));
        std::optional<int> const denominator = Core::ParseNumber<int>(text.substr(slash + 1));
        if (numerator && denominator && *numerator > 0 && *denominator > 0 &&
            *numerator <= kMostRate * static_cast<double>(*denominator)) {
            return {*numerator, *denominator};
        }
    } else if (std::optional<double> const rate = ParsePlain(text); rate && *rate > 0.0 && *rate <= kMostRate) {
        // 23.976, 29.97, 59.94 and 119.88 are ways to write 24000/1001 and so on.
        double const whole = std::ceil(*rate);
        if (whole != *rate && std::abs(whole * 1000.0 / 1001.0 - *rate) < 0.005) {
            return {static_cast<int>(whole) * 1000, 1001};
        }
        if (*rate == whole) {
            return {static_cast<int>(whole), 1};
        }
        if (*rate * 1000.0 >= 1.0) {
            return {static_cast<int>(std::lround(*rate * 1000.0)), 1000};
        }
    }
    Core::Throw(std::invalid_argument(fmt::format(
        "\"{}\" is not a frame rate: it takes frames per second up to 1000, such as 25, 29.97 or 30000/1001", text)));
}

Length ParseLength(std::string_view text) {
    bool const isNegative = !text.empty() && text.front() == '-';
    std::string_view number = isNegative ? text.substr(1) : text;
    Length length;
    double unit = 1.0;
    if (number.ends_with("px")) {
        length.isPixels = true;
        number.remove_suffix(2);
    } else if (number.ends_with('%')) {
        unit = 1.0 / kPercent;
        number.remove_suffix(1);
    }
    std::optional<double> const value = ParsePlain(number);
    if (!value) {
        Core::Throw(std::invalid_argument(fmt::format(
            "\"{}\" is not a length: it takes a share of the frame (0.25 or 25%) or pixels (120px)", text)));
    }
    length.value = (isNegative ? -*value : *value) * unit;
    return length;
}

std::string Format(Length const& length) {
    return FormatNumber(length.value) + (length.isPixels ? "px" : "");
}

}  // namespace Kaltor::Edit
