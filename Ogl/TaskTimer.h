#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "Core/Interfaces/RefCount.h"

namespace Kaltor::Ogl {

/// Adds up the GL thread's time in the tasks of one effect. Thread-safe.
class TaskTimer final : public RefCountImpl<IRefCount> {
public:
    static boost::intrusive_ptr<TaskTimer> Create(std::string name) { return {new TaskTimer(std::move(name))}; }

    void Add(std::chrono::nanoseconds elapsed);
    std::uint64_t GetCount() const { return count.load(std::memory_order_relaxed); }
    std::chrono::nanoseconds GetTime() const { return std::chrono::nanoseconds(time.load(std::memory_order_relaxed)); }

    /// Starts again from zero. Where the environment variable `KALTOR_TIMERS` is set to anything but 0, first writes
    /// one line to the standard error stream, unless there is nothing to report.
    void LogAndReset();

private:
    explicit TaskTimer(std::string timerName) : name(std::move(timerName)) {}

    std::string name;
    std::atomic<std::uint64_t> count{0};
    std::atomic<std::int64_t> time{0};
};

}  // namespace Kaltor::Ogl
