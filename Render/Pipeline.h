#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Media/StopSignal.h"

namespace Kaltor::Render {

/// The threads of one render: starts them, hands what they report to the caller's thread, and ends them all with the
/// first error.
class Pipeline {
public:
    Pipeline() = default;
    ~Pipeline() { StopAndJoin(); }
    Pipeline(Pipeline const&) = delete;
    Pipeline& operator=(Pipeline const&) = delete;

    Media::StopSignal& GetStop() { return stop; }

    /// Runs `work` on a thread of its own. What it throws stops all others.
    void Start(std::function<void()> work);

    /// From any thread.
    void Warn(std::string const& message);
    void ReportProgress(std::int64_t framesDone);

    /// The callers' side of what threads report.
    struct Callbacks {
        std::function<void(std::int64_t framesDone)> onProgress;
        std::function<void(std::string const&)> onWarning;
        std::function<bool()> isCancelled;
    };
    /// Waits until all threads have ended, calling back on this thread meanwhile. Rethrows the first error; throws
    /// `Cancelled`.
    void Run(Callbacks const& callbacks);

    /// Ends all threads and throws the error that has stopped them: where a queue has ended too early.
    [[noreturn]] void Rethrow();
    /// Ends what still runs. On the thread that started it.
    void StopAndJoin();

    /// Keeps the first error and stops all threads. From any thread.
    void Fail(std::exception_ptr const& error);

private:
    void Join();
    void Deliver(Callbacks const& callbacks, std::unique_lock<std::mutex>& lock);

    Media::StopSignal stop;
    std::mutex mutex;
    std::condition_variable changed;
    std::exception_ptr firstError;
    std::vector<std::string> warnings;
    std::int64_t framesDone = 0;
    std::int64_t framesReported = 0;
    std::size_t running = 0;
    std::vector<std::thread> threads;
};

}  // namespace Kaltor::Render
