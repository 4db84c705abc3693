#include "Ogl/TaskTimer.h"

#include <cstdio>

#include <fmt/format.h>

#include "Core/Environment.h"

namespace Kaltor::Ogl {

void TaskTimer::Add(std::chrono::nanoseconds elapsed) {
    count.fetch_add(1, std::memory_order_relaxed);
    time.fetch_add(elapsed.count(), std::memory_order_relaxed);
}

void TaskTimer::LogAndReset() {
    static bool const isLogging = [] {
        std::string const wanted = Core::GetVariable("KALTOR_TIMERS");
        return !wanted.empty() && wanted != "0";
    }();
    std::uint64_t const tasks = count.exchange(0, std::memory_order_relaxed);
    std::int64_t const nanoseconds = time.exchange(0, std::memory_order_relaxed);
    if (isLogging && tasks != 0) {
        double const milliseconds = static_cast<double>(nanoseconds) / 1e6;
        fmt::print(stderr, "{}: {} tasks, {:.2f} ms, {:.3f} ms each\n", name, tasks, milliseconds,
                   milliseconds / static_cast<double>(tasks));
    }
}

}  // namespace Kaltor::Ogl
