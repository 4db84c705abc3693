#include "Core/Interfaces/Statistics.h"

namespace Kaltor::Core {

std::string const PerformanceTimer::IMPL_NAME = "PerformanceTimer";

Property MakeStatistics(std::string const& method, std::int64_t accumulatedTime, std::uint64_t processedFrames) {
    Property statistics(PerformanceTimer::IMPL_NAME);
    statistics.SetChild("Method", Property::Of(method));
    statistics.SetChild("Time", Property::Of(accumulatedTime));
    statistics.SetChild("Count", Property::Of(processedFrames));
    return statistics;
}

}  // namespace Kaltor::Core
