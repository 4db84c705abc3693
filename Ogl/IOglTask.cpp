#include "Ogl/IOglTask.h"

#include "Ogl/GlState.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {

void IOglTask::WaitForComplete() {
    if (!IsComplete()) {
        OglManager::GetInstance().RequireOtherThread();
    }
    isComplete.wait(false, std::memory_order_acquire);
    if (error) {
        std::rethrow_exception(error);
    }
}

void IOglTask::Perform(ShaderStorage const& storage) noexcept {
    if (IsComplete()) {
        return;
    }
    using Clock = std::chrono::steady_clock;
    Clock::time_point const start = Clock::now();
    try {
        CleanState const state;
        Run(capability, storage);
        state.Check();
    } catch (...) {
        error = std::current_exception();
    }
    if (timer) {
        timer->Add(Clock::now() - start);
    }
    isComplete.store(true, std::memory_order_release);
    isComplete.notify_all();
}

void IOglTask::Fail(std::exception_ptr reason) noexcept {
    if (!IsComplete()) {
        error = std::move(reason);
        isComplete.store(true, std::memory_order_release);
        isComplete.notify_all();
    }
}

}  // namespace Kaltor::Ogl
