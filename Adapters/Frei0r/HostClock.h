#pragma once

#include <cstdint>
#include <string_view>

namespace Kaltor::Frei0r {

/// Makes microseconds of the times that a host gives. The interface says seconds, but FFmpeg gives milliseconds. Known
/// hosts are told apart by the file from which they call; with others the steps from frame to frame decide: a step of
/// 1 or more is taken for milliseconds until there is a shorter one.
class HostClock {
public:
    /// `caller`: the file of the code that called, or "" where it is not known.
    explicit HostClock(std::string_view caller);

    /// 0 for what is no time. Times may come in any order.
    std::int64_t ToMicroseconds(double time);

private:
    enum class Unit : std::uint8_t { Unknown, Seconds, Milliseconds } unit = Unit::Unknown;
    bool isKnown = false;
    bool hasLast = false;
    double last = 0.0;
};

}  // namespace Kaltor::Frei0r
