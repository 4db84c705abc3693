#include "Render/Pipeline.h"

#include <chrono>
#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Media/MediaError.h"

namespace Kaltor::Render {

void Pipeline::StopAndJoin() {
    stop.Trip();
    Join();
}

void Pipeline::Rethrow() {
    StopAndJoin();
    if (firstError) {
        std::rethrow_exception(firstError);
    }
    Core::Throw(std::runtime_error("a picture is missing"));
}

void Pipeline::Join() {
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
}

void Pipeline::Start(std::function<void()> work) {
    {
        std::lock_guard const lock(mutex);
        ++running;
    }
    threads.emplace_back([this, work = std::move(work)] {
        try {
            work();
        } catch (...) {
            Fail(std::current_exception());
        }
        std::lock_guard const lock(mutex);
        --running;
        changed.notify_all();
    });
}

void Pipeline::Fail(std::exception_ptr const& error) {
    {
        std::lock_guard const lock(mutex);
        // What fails because the others were stopped is no error of its own.
        if (!firstError && !stop.IsTripped()) {
            firstError = error;
        }
    }
    stop.Trip();
}

void Pipeline::Warn(std::string const& message) {
    std::lock_guard const lock(mutex);
    warnings.push_back(message);
    changed.notify_all();
}

void Pipeline::ReportProgress(std::int64_t done) {
    std::lock_guard const lock(mutex);
    framesDone = done;
    changed.notify_all();
}

void Pipeline::Deliver(Callbacks const& callbacks, std::unique_lock<std::mutex>& lock) {
    std::vector<std::string> const newWarnings = std::exchange(warnings, {});
    bool const hasProgress = framesDone != framesReported;
    std::int64_t const done = framesReported = framesDone;
    lock.unlock();
    for (std::string const& warning : newWarnings) {
        callbacks.onWarning(warning);
    }
    if (hasProgress) {
        callbacks.onProgress(done);
    }
    lock.lock();
}

void Pipeline::Run(Callbacks const& callbacks) {
    constexpr std::chrono::milliseconds kCancelPoll(50);
    try {
        std::unique_lock lock(mutex);
        while (running > 0) {
            changed.wait_for(lock, kCancelPoll);
            Deliver(callbacks, lock);
            if (running > 0 && callbacks.isCancelled()) {
                Core::Throw(Media::Cancelled());
            }
        }
        Deliver(callbacks, lock);
    } catch (...) {
        Fail(std::current_exception());
    }
    Join();
    if (firstError) {
        std::rethrow_exception(firstError);
    }
}

}  // namespace Kaltor::Render
