#pragma once

#include <cstdint>
#include <string>

#include "Core/Interfaces/Property.h"

namespace Kaltor::Core {

struct PerformanceTimer {
    static std::string const IMPL_NAME;
};

/// What an effect reports about its work: an object of class `PerformanceTimer::IMPL_NAME` with the children "Method",
/// "Time" (microseconds) and "Count" (frames).
Property MakeStatistics(std::string const& method, std::int64_t accumulatedTime, std::uint64_t processedFrames);

/// The counters of an effect whose frames are drawn later, on the GL thread.
struct FrameCounters {
    /// Always 0: the effect only queues frames. The time that their tasks take is in its `Ogl::TaskTimer`.
    static constexpr std::int64_t accumulatedTime = 0;
    std::uint64_t processedFrames = 0;

    Property MakeStatistics() const { return Core::MakeStatistics("GetStatistic", accumulatedTime, processedFrames); }
};

}  // namespace Kaltor::Core
