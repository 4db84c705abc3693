#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Edit/Json.h"
#include "Studio/FileAccess.h"
#include "Studio/Plans.h"

namespace Kaltor::Studio {

/// Videos that are rendered, each on threads of its own. Thread-safe.
class Exports {
public:
    Exports(FileAccess const& access, bool allowPlaylists);
    /// Cancels what runs and waits for it.
    ~Exports();
    Exports(Exports const&) = delete;
    Exports& operator=(Exports const&) = delete;

    /// Begins to render, and gives the job's name. The output appears under its name when it is whole. Throws
    /// `RequestError` for an output that cannot be, one that exists unless `overwrite`, and where too many jobs run.
    std::string Start(std::shared_ptr<PlannedDocument const> const& planned, std::string const& output,
                      bool overwrite);
    /// `{state, frame, frames, fps, secondsLeft, error, output, warnings}`.
    Edit::Json Describe(std::string const& id);
    bool AreAnyRunning();
    /// The render stops soon; nothing is left of its output.
    void Cancel(std::string const& id);

private:
    struct Job;
    std::shared_ptr<Job> Find(std::string const& id);
    std::size_t CountRunning() const;  ///< with the lock
    static void Run(Job& job, bool allowPlaylists);

    FileAccess const& access;
    bool allowPlaylists;
    std::mutex mutex;
    std::map<std::uint64_t, std::shared_ptr<Job>> jobs;
    std::uint64_t last = 0;
};

}  // namespace Kaltor::Studio
