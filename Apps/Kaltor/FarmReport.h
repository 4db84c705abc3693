#pragma once

#include <string>
#include <vector>

#include "Edit/Json.h"
#include "Farm/JobFolder.h"
#include "Farm/Planning.h"

// What is said about farm jobs.
namespace Kaltor::Cli {

/// How far a job is.
struct FarmStatus {
    std::int64_t frames = 0;
    std::int64_t framesDone = 0;
    std::vector<Farm::Task> tasks;
    std::vector<Farm::TaskState> states;  ///< in the order of the tasks
    bool isJoined = false;
    bool isActive = false;   ///< something of it runs, or waits in Slurm's queue
    bool isCertain = false;  ///< whether it is known that nothing is, where it is not

    std::size_t Count(Farm::TaskState::Stage stage) const;
};

/// Looks at the folder, and asks Slurm where the job was submitted to it and Slurm answers.
FarmStatus FindStatus(Farm::JobFolder const& folder);
std::string ToText(FarmStatus const& status, Farm::JobFolder const& folder);
Edit::Json ToJson(FarmStatus const& status, Farm::JobFolder const& folder);
/// Why a job that nothing works at any more is not done: one line.
std::string DescribeEnd(FarmStatus const& status, Farm::JobFolder const& folder);

/// What would be submitted: the parts and a forecast.
std::string FormatJob(Farm::PlannedJob const& planned);
Edit::Json DescribeJob(Farm::PlannedJob const& planned);

/// The table of a batch that is done: a line for each video.
std::string FormatBatch(Farm::JobFolder const& folder);

}  // namespace Kaltor::Cli
