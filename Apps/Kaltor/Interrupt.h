#pragma once

#include <atomic>

namespace Kaltor::Cli {

/// From now on the first signal to end, also that of a pipe that nobody reads, is only noted, so that what is half done
/// can be cleared away: the flag becomes true. A second one ends the process at once.
std::atomic<bool> const& CatchInterrupts();

/// Says so on standard error; gives the exit status of a program that such a signal ended.
int ReportInterrupt();

}  // namespace Kaltor::Cli
