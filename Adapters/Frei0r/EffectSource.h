#pragma once

#include <atomic>
#include <exception>
#include <mutex>
#include <set>
#include <shared_mutex>
#include <string>

#include <sys/types.h>

#include "Host/EffectRegistry.h"

namespace Kaltor::Frei0r {

/// Where all instances of all doors in a process get their effects. The plug-in and the GL are touched at the first
/// call of `GetFactory`, not before: hosts load plug-ins only to list them, fork, and load again.
class EffectSource {
public:
    /// Lives until the process ends, whatever the host unloads.
    static EffectSource& Get();

    /// Loads the plug-in and starts the GL thread at the first call. Throws `std::runtime_error` with the reason where
    /// that fails, at every call the same. Any thread.
    Proc::IEffectFactory const& GetFactory();

    /// Whether this process is a copy of the one in which the GL thread was started: that thread does not exist here,
    /// and nothing may wait for it.
    bool IsForked() const;

    /// Whether the process is ending: what drawing needs may be destroyed already.
    bool IsEnding() const { return isEnding; }

    /// To be held while drawing.
    std::shared_lock<std::shared_timed_mutex> StartDrawing() {
        return std::shared_lock<std::shared_timed_mutex>(drawing);
    }

    /// To be called after the first picture of an instance. From then on the end of the process waits for pictures that
    /// are being drawn, before it destroys what they need: what is made last is destroyed first.
    void GuardTheEnd();

    /// Writes a line to standard error, unless this text was written before.
    void Report(std::string const& line);

private:
    EffectSource() = default;

    std::mutex mutex;
    std::atomic<pid_t> startedIn{0};
    std::atomic<bool> isEnding{false};
    std::shared_timed_mutex drawing;
    boost::intrusive_ptr<Proc::IEffectFactory const> factory;
    std::exception_ptr failure;
    std::mutex reportMutex;
    std::set<std::string> reported;
};

}  // namespace Kaltor::Frei0r
