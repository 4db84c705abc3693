#include "Farm/Forecast.h"

#include <algorithm>
#include <functional>
#include <queue>

namespace Kaltor::Farm {

double ForecastJoin(PlannedJob const& planned, ForecastConstants const& constants) {
    double const parts = static_cast<double>(planned.job.parts.size());
    double const copying = planned.job.kind == Job::Kind::Video ? 1.0 : 0.25;  // a batch is read only
    return constants.joinStart + parts * constants.joinPerPart +
           copying * static_cast<double>(planned.bytes) / constants.joinBytesPerSecond;
}

double Forecast(PlannedJob const& planned, std::int64_t nodes, ForecastConstants const& constants) {
    auto const count = static_cast<std::size_t>(
        std::clamp<std::int64_t>(nodes, 1, static_cast<std::int64_t>(planned.job.parts.size()) + 1));
    std::priority_queue<double, std::vector<double>, std::greater<>> freeAt(std::greater<>(),
                                                                           std::vector<double>(count, 0.0));
    double last = 0.0;
    auto const add = [&](double work) {
        double const end = freeAt.top() + constants.start + work;
        freeAt.pop();
        freeAt.push(end);
        last = std::max(last, end);
    };
    if (planned.soundWork > 0.0) {
        add(planned.soundWork);
    }
    for (Part const& part : planned.job.parts) {
        add(part.work);
    }
    return 2.0 * constants.schedule + last + ForecastJoin(planned, constants);
}

}  // namespace Kaltor::Farm
