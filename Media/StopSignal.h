#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>

namespace Kaltor::Media {

/// Asks the threads of one pipeline to end. Thread-safe.
class StopSignal {
public:
    /// Calls all listeners, once.
    void Trip() {
        std::lock_guard const lock(mutex);
        if (!flag.exchange(true)) {
            for (auto const& [id, listener] : listeners) {
                listener();
            }
        }
    }

    bool IsTripped() const { return flag.load(std::memory_order_relaxed); }
    std::atomic<bool> const* GetFlag() const { return &flag; }

    /// Keeps a listener as long as it lives. A listener that comes too late is called at once.
    class Listener {
    public:
        Listener(StopSignal& source, std::function<void()> call) : signal(source) {
            std::lock_guard const lock(signal.mutex);
            if (signal.flag) {
                call();
            }
            id = signal.nextId++;
            signal.listeners.emplace(id, std::move(call));
        }
        ~Listener() {
            std::lock_guard const lock(signal.mutex);
            signal.listeners.erase(id);
        }
        Listener(Listener const&) = delete;
        Listener& operator=(Listener const&) = delete;

    private:
        StopSignal& signal;
        std::uint64_t id;
    };

private:
    std::atomic<bool> flag{false};
    std::mutex mutex;
    std::map<std::uint64_t, std::function<void()>> listeners;
    std::uint64_t nextId = 0;
};

}  // namespace Kaltor::Media
