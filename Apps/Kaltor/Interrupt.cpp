#include "Apps/Kaltor/Interrupt.h"

#include <csignal>
#include <ctime>

#include <fmt/format.h>

#include "Apps/Kaltor/Console.h"

namespace Kaltor::Cli {
namespace {

constexpr int kSignalBase = 128;  // as shells report a signal

std::atomic<bool> isCancelled{false};
std::atomic<int> cancelSignal{0};
std::atomic<std::int64_t> cancelTime{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<std::int64_t>::is_always_lock_free);

/// Milliseconds of a steady clock, in a way that signal handlers may.
std::int64_t GetTime() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

/// The first signal asks for an end. Shells and timers send theirs twice, to the process and to its group; who asks
/// again after a while means it. Every line to a pipe that nobody reads is one more signal, but the same request, and
/// so is every second beyond a limit of processor time.
extern "C" void OnSignal(int signal) {
    constexpr std::int64_t kOneRequest = 1000;  // milliseconds: a thread may hear of its signal late
    if (!isCancelled) {
        cancelSignal = signal;
        cancelTime = GetTime();
        isCancelled = true;
    } else if (signal != SIGPIPE && signal != SIGXCPU && GetTime() - cancelTime > kOneRequest) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

}  // namespace

std::atomic<bool> const& CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = &OnSignal;
    for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXCPU}) {
        struct sigaction before {};
        bool const isIgnored = sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
        bool const mayBeIgnored = signal == SIGHUP || signal == SIGPIPE;  // nohup has its way
        if (!mayBeIgnored || !isIgnored) {
            sigaction(signal, &action, nullptr);
        }
    }
    return isCancelled;
}

int GetClosedPipeStatus() {
    return kSignalBase + SIGPIPE;
}

int ReportInterrupt(std::string_view outcome) {
    if (cancelSignal != SIGPIPE) {
        WriteError(fmt::format("stopped; {}", outcome));
    }
    return kSignalBase + cancelSignal;
}

}  // namespace Kaltor::Cli
