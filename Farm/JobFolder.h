#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "Farm/Job.h"

namespace Kaltor::Farm {

/// A task of a job: a part by its index, counted from 0, or the sound.
struct Task {
    static constexpr std::int64_t kSound = -1;
    std::int64_t index = kSound;

    bool IsSound() const { return index == kSound; }
    /// "part 3" (counted from 1), "the sound".
    std::string GetName() const;
    bool operator==(Task const&) const = default;
};

/// How far a task is.
struct TaskState {
    enum class Stage : std::uint8_t {
        Waiting,  ///< not begun, or nothing is known of it
        Running,
        Stopped,  ///< it ran, and reports nothing any more
        Failed,
        Done,
    };
    Stage stage = Stage::Waiting;
    std::int64_t framesDone = 0;
    std::string error;  ///< why it failed
    std::optional<PartResult> result;
};

/// What a job's folder holds besides the plan, which has the checksums.
struct JobTexts {
    std::string edit;
    std::string rows;   ///< of a batch
    std::string files;  ///< of a video
};

/// A job's folder, on a file system that all machines see. Whatever stands in it under its own name is whole; several
/// processes may use it at once. Nothing in it depends on where the parts are made, but `slurm.json`.
///
///     job.json         the plan
///     edit.json        the edit; of a batch the template
///     rows.json        of a batch: the table
///     files.json       of a video: what is known of its files, so that no part looks at those that it does not need
///     parts/00001.json what was made of part 1: it is done where this is there and belongs to the plan
///     parts/00001-...  its pictures
///     parts/00001.progress, parts/00001.failed
///     log/             what the tasks print
///     slurm.json       what was submitted
///     done.json        the end
class JobFolder {
public:
    /// Opens a job's folder. Throws `std::runtime_error` where there is none, or it is damaged.
    explicit JobFolder(std::string const& path);
    /// Makes a folder for a job; folders above it have to be there. Throws `std::runtime_error` where it exists.
    static JobFolder Create(std::string const& path, Job const& job, JobTexts const& texts);
    /// Whether there is a job.
    static bool IsJob(std::string const& path);

    std::string const& GetPath() const { return path; }
    Job const& GetJob() const { return job; }
    std::string At(std::string const& name) const { return path + "/" + name; }
    std::string PartsFile(std::string const& name) const { return path + "/parts/" + name; }

    /// Throw where they are not those of the plan.
    std::string ReadEdit() const;
    std::string ReadRows() const;
    std::string ReadFiles() const;

    /// The tasks that the job has, the sound last.
    std::vector<Task> ListTasks() const;
    TaskState GetState(Task const& task) const;
    /// What was made of a task, where it is there and belongs to this plan.
    std::optional<PartResult> FindResult(Task const& task) const;

    /// A name in the folder of parts that no other process uses.
    std::string MakePartName(Task const& task, std::string const& ending) const;
    /// Removes what killed processes left of a task.
    void Sweep(Task const& task) const;
    /// The task is done. If another process was faster, its result counts and this one's file is removed.
    void Commit(Task const& task, PartResult const& result) const;
    /// What a batch's part has made so far, for the next attempt.
    void KeepAttempt(Task const& task, PartResult const& result) const;
    std::optional<PartResult> FindAttempt(Task const& task) const;
    /// A result that does not hold: the task is to be done again.
    void Discard(Task const& task) const;
    void ReportProgress(Task const& task, std::int64_t framesDone) const;
    void ReportFailure(Task const& task, std::string const& why) const;
    void ForgetFailure(Task const& task) const;

    /// Small files of the folder; `std::nullopt` where there is none.
    std::optional<Edit::Json> ReadFile(std::string const& name) const;
    void WriteFile(std::string const& name, Edit::Json const& content) const;
    /// The parts, which are not needed once they are joined.
    void RemoveParts() const;

private:
    std::string ReadPlanned(char const* name, std::string const& checksum) const;
    std::optional<PartResult> ReadResult(Task const& task, char const* ending) const;
    void WriteResult(Task const& task, char const* ending, PartResult const& result) const;
    std::string NameOf(Task const& task, char const* ending) const;

    std::string path;
    Job job;
    std::string plan;  ///< the plan's checksum
};

}  // namespace Kaltor::Farm
