#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "Farm/JobFolder.h"

namespace Kaltor::Farm {

struct LocalOptions {
    std::string program;  ///< this program's file, which the processes run
    int jobs = 1;         ///< processes at once; they share the processors
    std::function<void(std::int64_t framesDone, std::int64_t framesTotal)> onProgress;
    std::atomic<bool> const* cancel = nullptr;
};

/// Runs a job's tasks that are not done as processes of this machine. One that a signal ends is started again, twice at
/// most; one that fails is not, and the others go on. Returns when no task is left to be run: `Join` says what is
/// missing. Throws `std::runtime_error` where another process is at it, and `Cancelled`: the processes have ended then.
void RunLocally(JobFolder const& folder, LocalOptions const& options);

/// The process of this machine that runs a job locally; 0 where there is none.
int FindLocalRunner(JobFolder const& folder);

/// As many processes as make sense here: several processors each.
int GetUsualJobs();

}  // namespace Kaltor::Farm
