#pragma once

#include <cstdint>
#include <string>

#include "Core/Interfaces/Property.h"

namespace Kaltor::Core {

struct PerformanceTimer {
    static std::string const IMPL_NAME;
};

/// What an effect tells of its work: an object of class `PerformanceTimer::IMPL_NAME` with the children "Method",
/// "Time" (microseconds) and "Count" (frames).
Property MakeStatistics(std::string const& method, std::int64_t accumulatedTime, std::uint64_t processedFrames);

}  // namespace Kaltor::Core
