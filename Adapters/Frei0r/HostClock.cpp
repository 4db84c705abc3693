#include "Adapters/Frei0r/HostClock.h"

#include <cmath>

namespace Kaltor::Frei0r {

HostClock::HostClock(std::string_view caller) {
    std::string_view const file = caller.substr(caller.rfind('/') + 1);
    auto const isFrom = [file](std::string_view name) { return file.find(name) != std::string_view::npos; };
    if (isFrom("avfilter")) {
        unit = Unit::Milliseconds;
    } else if (isFrom("mltfrei0r") || isFrom("gstfrei0r")) {
        unit = Unit::Seconds;
    }
    isKnown = unit != Unit::Unknown;
}

std::int64_t HostClock::ToMicroseconds(double time) {
    constexpr double kPerSecond = 1e6;
    constexpr double kPerMillisecond = 1e3;
    constexpr double kLongest = 1e12;  // microseconds: eleven days
    if (!std::isfinite(time)) {
        return 0;
    }
    if (!isKnown) {
        double const step = std::fabs(time - last);
        if (hasLast && step > 0.0) {
            isKnown = step < 1.0;
            unit = isKnown ? Unit::Seconds : Unit::Milliseconds;
        }
        last = time;
        hasLast = true;
    }
    double const microseconds = time * (unit == Unit::Milliseconds ? kPerMillisecond : kPerSecond);
    return std::fabs(microseconds) <= kLongest ? std::llround(microseconds) : 0;
}

}  // namespace Kaltor::Frei0r
