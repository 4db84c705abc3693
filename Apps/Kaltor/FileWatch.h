#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "Apps/Kaltor/PictureEffect.h"

namespace Kaltor::Cli {

/// Waits for changes of one file, also where it is replaced by another of its name, as editors do.
class FileWatch {
public:
    /// Throws `std::runtime_error` where its folder cannot be watched.
    explicit FileWatch(std::string const& path);
    ~FileWatch();
    FileWatch(FileWatch const&) = delete;
    FileWatch& operator=(FileWatch const&) = delete;

    /// Returns when the file has changed since the last call and has come to rest: true; or when `cancel` is set and a
    /// signal arrives: false.
    bool Wait(std::atomic<bool> const& cancel);

private:
    /// Whether an event of the file came within the time; -1 waits without an end.
    bool Poll(int milliseconds);

    std::string name;
    int queue;
};

/// Draws and writes the output, in a process apart where the options ask for it; where they ask for that, again each
/// time the shader file changes, until Ctrl-C. `makeFile` gives the output's content. The exit status.
int DrawAndWatch(PictureOptions const& options, std::function<std::vector<std::uint8_t>()> const& makeFile);

}  // namespace Kaltor::Cli
