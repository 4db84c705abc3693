#include "Proc/Effects/ShaderFiles/TimeLimit.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace Kaltor::Proc {

struct TimeLimit::Watch {
    std::mutex mutex;
    std::condition_variable ended;
    bool hasEnded = false;
    std::thread thread;
};

TimeLimit::TimeLimit(std::chrono::milliseconds limit, std::string what,
                     std::function<void(std::string const&)> onOver) {
    if (limit.count() <= 0 || !onOver) {
        return;
    }
    watch = std::make_unique<Watch>();
    watch->thread = std::thread([this, limit, name = std::move(what), report = std::move(onOver)] {
        std::unique_lock lock(watch->mutex);
        if (!watch->ended.wait_for(lock, limit, [this] { return watch->hasEnded; })) {
            report(name);
        }
    });
}

TimeLimit::~TimeLimit() {
    if (watch) {
        {
            std::lock_guard const lock(watch->mutex);
            watch->hasEnded = true;
        }
        watch->ended.notify_one();
        watch->thread.join();
    }
}

}  // namespace Kaltor::Proc
