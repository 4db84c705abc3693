#pragma once

#include <cstdint>
#include <vector>

#include "Farm/Planning.h"

namespace Kaltor::Farm {

/// What a render costs besides its frames; docs/farm.md says which of these are measured.
struct ForecastConstants {
    double start = 0.7;          ///< seconds a task: process, plug-in, GL, files, seek, checksum
    double schedule = 1.0;       ///< seconds until a batch system starts the first tasks, and again the join
    double joinStart = 0.05;     ///< seconds
    double joinPerPart = 0.003;  ///< seconds
    double joinBytesPerSecond = 150e6;  ///< read twice, written, and once more for the index in front
};

/// Seconds until the video is there, on so many nodes of one processor each: tasks go to the first node that is free,
/// in their order, the sound first.
double Forecast(PlannedJob const& planned, std::int64_t nodes, ForecastConstants const& constants = {});
/// Of these, the seconds of the join.
double ForecastJoin(PlannedJob const& planned, ForecastConstants const& constants = {});

}  // namespace Kaltor::Farm
