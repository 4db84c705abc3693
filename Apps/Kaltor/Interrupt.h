#pragma once

#include <atomic>
#include <string_view>

namespace Kaltor::Cli {

/// From now on the first signal to end, also that of a pipe that nobody reads, is only noted, so that what is half done
/// can be cleared away: the flag becomes true. A second one ends the process at once.
std::atomic<bool> const& CatchInterrupts();

/// The exit status where nobody reads the output any more: as of a program that SIGPIPE ended.
int GetClosedPipeStatus();

/// Says so on standard error, with what has become of the output; gives the exit status of a program that such a signal
/// ended. Where that was a pipe that nobody reads, nothing is said.
int ReportInterrupt(std::string_view outcome = "nothing was written");

}  // namespace Kaltor::Cli
