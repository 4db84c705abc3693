#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Farm/JobFolder.h"

// Slurm's own commands, without a shell between.
namespace Kaltor::Farm {

struct SlurmOptions {
    std::string program;  ///< this program's file, as the nodes see it
    std::string partition;
    /// Passed to sbatch as --KEY=VALUE, or --KEY where the value is empty.
    std::vector<std::pair<std::string, std::string>> jobOptions;
    int limit = 0;  ///< tasks at once; 0: as many as Slurm wants
};

/// Throws `std::invalid_argument` for an option that the farm sets itself, or that is no option's name.
void CheckJobOption(std::string const& key);

/// Submits all tasks that are neither done nor still in the queue, and a join that depends on them. Returns the ids of
/// the new jobs. Throws `std::runtime_error` with what Slurm says.
std::vector<std::string> SubmitToSlurm(JobFolder const& folder, SlurmOptions const& options);

/// What of a job Slurm still has in its queue.
struct Queued {
    std::set<std::int64_t> waiting;  ///< indices of tasks
    std::set<std::int64_t> running;
    bool hasJoin = false;

    bool IsEmpty() const { return waiting.empty() && running.empty() && !hasJoin; }
};

/// Whether the job was ever submitted to Slurm.
bool IsInSlurm(JobFolder const& folder);
/// Throws `std::runtime_error` where Slurm does not answer.
Queued AskSlurm(JobFolder const& folder);
/// Takes all of a job out of the queue, running tasks too. Throws as above.
void CancelInSlurm(JobFolder const& folder);

}  // namespace Kaltor::Farm
