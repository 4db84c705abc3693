#pragma once

#include <atomic>
#include <cstdint>
#include <exception>

#include "Core/Interfaces/RefCount.h"
#include "Ogl/TaskTimer.h"

namespace Kaltor::Ogl {

class ShaderStorage;

/// What a task does with the GL. When the manager stops, tasks that clean up are still run and all others fail.
enum class OglCapability : std::int32_t { Cleanup = 1, Transfer = 2, Render = 3 };

/// A piece of work for the GL thread. It runs at most once, however many frames wait for it.
class IOglTask : public RefCountImpl<IRefCount> {
public:
    /// Does the work; `capability` is the task's own. GL thread only.
    virtual void Run(OglCapability capability, ShaderStorage const& storage) = 0;

    /// Blocks until the task has run; rethrows what it threw. Throws `std::logic_error` on the GL thread, where it
    /// would wait forever.
    void WaitForComplete();
    OglCapability GetCapability() const { return capability; }

    /// Runs the task unless it has run, and keeps what it throws. GL thread, for the manager and the frames.
    void Perform(ShaderStorage const& storage) noexcept;
    /// Fails a task that will not be run any more. Any thread.
    void Fail(std::exception_ptr reason) noexcept;
    /// What the task threw; null if it completed or has not run yet.
    std::exception_ptr GetError() const { return IsComplete() ? error : nullptr; }
    bool IsComplete() const { return isComplete.load(std::memory_order_acquire); }

protected:
    IOglTask(OglCapability taskCapability, boost::intrusive_ptr<TaskTimer> taskTimer)
        : capability(taskCapability), timer(std::move(taskTimer)) {}

private:
    OglCapability capability;
    boost::intrusive_ptr<TaskTimer> timer;
    std::exception_ptr error;
    std::atomic<bool> isComplete{false};
};

}  // namespace Kaltor::Ogl
