#pragma once

#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace Kaltor::Farm {

/// How a process ended.
struct ExitStatus {
    int code = 0;    ///< where no signal ended it
    int signal = 0;  ///< 0: none

    bool IsGood() const { return code == 0 && signal == 0; }
};

struct ProcessOptions {
    /// Added to those of this process.
    std::vector<std::pair<std::string, std::string>> environment;
    /// Numbers of processors that it may use; empty: as this process.
    std::vector<int> processors;
    /// Where not empty, standard output and standard error are appended to this file.
    std::string log;
};

/// Starts a program; no shell sees its words. It gets SIGTERM if this process dies. Throws `std::runtime_error` where
/// it cannot be started.
::pid_t Start(std::vector<std::string> const& words, ProcessOptions const& options = {});
/// Waits for a process's end.
ExitStatus Wait(::pid_t process);

struct Answer {
    ExitStatus status;
    std::string out;
    std::string err;
};

/// Runs a program and takes what it prints. Throws as `Start`.
Answer Ask(std::vector<std::string> const& words);

/// The processors that this process may use.
std::vector<int> GetProcessors();

}  // namespace Kaltor::Farm
