#pragma once

#include <cstdint>
#include <string>
#include <string_view>

extern "C" {
#include <libavutil/rational.h>
}

namespace Kaltor::Edit {

/// A time as a document gives it: seconds, frames of the video, a share of the span that it is in, or a timecode, which
/// has seconds and frames.
struct Time {
    double seconds = 0.0;
    double frames = 0.0;
    double share = 0.0;  ///< 1 is the whole span

    static Time Seconds(double value) { return {value, 0.0, 0.0}; }
    static Time Share(double value) { return {0.0, 0.0, value}; }

    /// In seconds, within a span of so many seconds.
    double Resolve(AVRational frameRate, double span) const;

    bool operator==(Time const&) const = default;
};

/// "12.5" and "12.5s": seconds; "12f": frames; "50%": a share of the span; "[HH:]MM:SS[.fff]"; "HH:MM:SS:FF". All of
/// them may be negative ("-0.5"), which counts from the end of the span where there is one (see the fields). Throws
/// `std::invalid_argument` with the text and the accepted forms.
Time ParseTime(std::string_view text);
/// The shortest text that reads as this time.
std::string Format(Time const& time);

/// Frames per second: "25", "29.97" (read as 30000/1001; 23.976 and so on likewise) or "30000/1001". Throws like
/// `ParseTime`.
AVRational ParseFrameRate(std::string_view text);

/// A length on the picture: a share of the frame's width or height, or pixels.
struct Length {
    double value = 0.0;
    bool isPixels = false;

    /// In pixels, where a share is one of `whole` pixels.
    double Resolve(double whole) const { return isPixels ? value : value * whole; }

    bool operator==(Length const&) const = default;
};

/// "0.25": a share; "25%": the same; "120px": pixels. Throws like `ParseTime`.
Length ParseLength(std::string_view text);
std::string Format(Length const& length);

}  // namespace Kaltor::Edit
