#include "Apps/Kaltor/Interrupt.h"

#include <csignal>

#include "Apps/Kaltor/Console.h"

namespace Kaltor::Cli {
namespace {

std::atomic<bool> isCancelled{false};
std::atomic<int> cancelSignal{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

extern "C" void OnSignal(int signal) {
    cancelSignal = signal;
    isCancelled = true;
}

}  // namespace

std::atomic<bool> const& CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = &OnSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        bool const isIgnored = sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
        if (signal != SIGHUP || !isIgnored) {  // nohup has its way
            sigaction(signal, &action, nullptr);
        }
    }
    return isCancelled;
}

int ReportInterrupt() {
    constexpr int kSignalBase = 128;  // as shells tell of a signal
    WriteError("stopped; nothing was written");
    return kSignalBase + cancelSignal;
}

}  // namespace Kaltor::Cli
