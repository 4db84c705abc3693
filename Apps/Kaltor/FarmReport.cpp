#include "Apps/Kaltor/FarmReport.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Apps/Kaltor/Console.h"
#include "Farm/Forecast.h"
#include "Farm/Join.h"
#include "Farm/LocalEngine.h"
#include "Farm/Slurm.h"

namespace Kaltor::Cli {
namespace {

using Edit::Json;
using Farm::JobFolder;
using Farm::TaskState;
using Stage = TaskState::Stage;

constexpr std::array<std::int64_t, 5> kForecastNodes{1, 2, 10, 100, 1000};

char const* NameOfStage(Stage stage) {
    switch (stage) {
        case Stage::Running:
            return "running";
        case Stage::Stopped:
            return "stopped";
        case Stage::Failed:
            return "failed";
        case Stage::Done:
            return "done";
        default:
            return "waiting";
    }
}

std::string FormatSpan(double seconds) {
    if (seconds < 120.0) {
        return fmt::format("{:.0f} s", seconds);
    }
    constexpr double kMinute = 60.0;
    constexpr double kHour = 3600.0;
    return seconds < 2.0 * kHour ? fmt::format("{:.0f} min", seconds / kMinute)
                                 : fmt::format("{:.1f} h", seconds / kHour);
}

std::string FormatBytes(std::uint64_t bytes) {
    constexpr double kThousand = 1000.0;
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    constexpr std::array kUnits{"bytes", "kB", "MB", "GB", "TB"};
    while (value >= kThousand && unit + 1 < kUnits.size()) {
        value /= kThousand;
        ++unit;
    }
    return fmt::format("{:.3g} {}", value, kUnits[unit]);
}

/// What Slurm knows of tasks whose folder shows nothing of them.
void AddQueue(FarmStatus& status, Farm::Queued const& queued) {
    for (std::size_t i = 0; i < status.tasks.size(); ++i) {
        TaskState& state = status.states[i];
        bool const isRunning = queued.running.contains(status.tasks[i].index);
        bool const isWaiting = queued.waiting.contains(status.tasks[i].index);
        if (state.stage == Stage::Done || state.stage == Stage::Failed) {
            continue;
        }
        if (isRunning || isWaiting) {
            state.stage = isRunning ? Stage::Running : Stage::Waiting;
        } else if (state.stage == Stage::Running) {
            state.stage = Stage::Stopped;
        }
    }
    status.isActive = !queued.IsEmpty();
    status.isCertain = true;
}

}  // namespace

std::size_t FarmStatus::Count(Stage stage) const {
    return static_cast<std::size_t>(
        std::count_if(states.begin(), states.end(), [stage](TaskState const& one) { return one.stage == stage; }));
}

FarmStatus FindStatus(JobFolder const& folder) {
    FarmStatus status;
    status.frames = folder.GetJob().frames;
    status.tasks = folder.ListTasks();
    status.isJoined = Farm::FindJoined(folder).has_value();
    for (Farm::Task const& task : status.tasks) {
        TaskState state = status.isJoined ? TaskState{Stage::Done, 0, {}, {}} : folder.GetState(task);
        status.framesDone += task.IsSound() ? 0 : state.framesDone;
        status.states.push_back(std::move(state));
    }
    if (status.isJoined) {
        status.framesDone = status.frames;
        status.isCertain = true;
        return status;
    }
    if (Farm::FindLocalRunner(folder) > 0) {
        status.isActive = true;
        return status;
    }
    if (Farm::IsInSlurm(folder)) {
        try {
            AddQueue(status, Farm::AskSlurm(folder));
            return status;
        } catch (std::runtime_error const&) {
            // The folder shows what runs.
        }
    }
    status.isActive = status.Count(Stage::Running) > 0;
    return status;
}

std::string ToText(FarmStatus const& status, JobFolder const& folder) {
    Farm::Job const& job = folder.GetJob();
    std::vector<std::string> counts;
    for (Stage const stage : {Stage::Done, Stage::Running, Stage::Waiting, Stage::Stopped, Stage::Failed}) {
        if (std::size_t const count = status.Count(stage)) {
            counts.push_back(fmt::format("{} {}", count, NameOfStage(stage)));
        }
    }
    std::string text = fmt::format("{}: {}\n", MakePrintable(job.output),
                                   status.isJoined ? "done"
                                                   : fmt::format("{} of {} frames; {} tasks: {}", status.framesDone,
                                                                 status.frames, status.tasks.size(),
                                                                 fmt::join(counts, ", ")));
    for (std::size_t i = 0; i < status.tasks.size(); ++i) {
        if (status.states[i].stage == Stage::Failed) {
            text += fmt::format("  {}: {}\n", status.tasks[i].GetName(), MakePrintable(status.states[i].error));
        }
    }
    return text;
}

Json ToJson(FarmStatus const& status, JobFolder const& folder) {
    Json json{{"output", folder.GetJob().output}, {"folder", folder.GetPath()},       {"done", status.isJoined},
              {"active", status.isActive},        {"frames", status.frames},          {"framesDone", status.framesDone}};
    Json& tasks = json["tasks"] = Json::array();
    for (std::size_t i = 0; i < status.tasks.size(); ++i) {
        Farm::Task const& task = status.tasks[i];
        TaskState const& state = status.states[i];
        Json one{{"part", task.IsSound() ? Json("sound") : Json(task.index + 1)},
                 {"state", NameOfStage(state.stage)},
                 {"framesDone", state.framesDone}};
        if (!state.error.empty()) {
            one["error"] = state.error;
        }
        if (state.result) {
            one["seconds"] = state.result->seconds;
            one["startSeconds"] = state.result->startSeconds;
            one["machine"] = state.result->machine;
        }
        tasks.push_back(std::move(one));
    }
    return json;
}

std::string DescribeEnd(FarmStatus const& status, JobFolder const& folder) {
    std::vector<std::int64_t> missing;
    std::string reason;
    for (std::size_t i = 0; i < status.tasks.size(); ++i) {
        TaskState const& state = status.states[i];
        if (state.stage != Stage::Done && !status.tasks[i].IsSound()) {
            missing.push_back(status.tasks[i].index + 1);
        }
        if (state.stage == Stage::Failed && reason.empty()) {
            reason = fmt::format(" ({}: {})", status.tasks[i].GetName(), state.error);
        }
    }
    bool const isJoinMissing = status.Count(Stage::Done) == status.tasks.size();
    std::string const what = isJoinMissing     ? "its parts are not joined"
                             : missing.empty() ? "its sound is missing"
                                               : fmt::format("missing are parts {}", Farm::ListNumbers(missing));
    return fmt::format("{}: nothing works at the job any more, and {}{}; kaltor farm retry goes on with it",
                       folder.GetPath(), what, reason);
}

std::string FormatJob(Farm::PlannedJob const& planned) {
    Farm::Job const& job = planned.job;
    bool const isBatch = job.kind == Farm::Job::Kind::Batch;
    double const rate = av_q2d(job.frameRate);
    std::string text = fmt::format("{}: {} frames in {} part{}{}, about {}\n", MakePrintable(job.output), job.frames,
                                   job.parts.size(), job.parts.size() == 1 ? "" : "s",
                                   !isBatch && job.hasSound ? ", and the sound" : "", FormatBytes(planned.bytes));
    constexpr std::size_t kMost = 40;
    for (std::size_t i = 0; i < std::min(job.parts.size(), kMost); ++i) {
        Farm::Part const& part = job.parts[i];
        text += isBatch ? fmt::format("  part {}: rows {} to {}, about {:.1f} s of work\n", i + 1, part.first + 1,
                                      part.end, part.work)
                        : fmt::format("  part {}: {:.2f} to {:.2f} s, {} frames from {}, about {:.1f} s of work\n",
                                      i + 1, static_cast<double>(part.first) / rate,
                                      static_cast<double>(part.end) / rate, part.Count(), part.first, part.work);
    }
    if (job.parts.size() > kMost) {
        text += fmt::format("  ... and {} more\n", job.parts.size() - kMost);
    }
    std::vector<std::string> forecasts;
    for (std::int64_t const nodes : kForecastNodes) {
        forecasts.push_back(fmt::format("{}: {}", nodes, FormatSpan(Farm::Forecast(planned, nodes))));
    }
    text += fmt::format("forecast, by nodes of one processor and without a GPU: {}\n", fmt::join(forecasts, ", "));
    return text;
}

Json DescribeJob(Farm::PlannedJob const& planned) {
    Farm::Job const& job = planned.job;
    Json json{{"output", job.output},
              {"kind", job.kind == Farm::Job::Kind::Batch ? "batch" : "video"},
              {"frames", job.frames},
              {"frameRate", fmt::format("{}/{}", job.frameRate.num, job.frameRate.den)},
              {"sound", job.hasSound},
              {"bytes", planned.bytes},
              {"soundWork", planned.soundWork}};
    Json& parts = json["parts"] = Json::array();
    for (Farm::Part const& part : job.parts) {
        parts.push_back({{"first", part.first}, {"end", part.end}, {"work", part.work}});
    }
    Json& forecast = json["forecast"] = Json::array();
    for (std::int64_t const nodes : kForecastNodes) {
        forecast.push_back({{"nodes", nodes}, {"seconds", Farm::Forecast(planned, nodes)}});
    }
    return json;
}

std::string FormatBatch(JobFolder const& folder) {
    std::string text;
    std::size_t count = 0;
    for (Farm::Task const& task : folder.ListTasks()) {
        if (std::optional<Farm::PartResult> const result = folder.FindResult(task)) {
            for (Farm::SourceFile const& video : result->videos) {
                text += fmt::format("{:>6}  {:>9}  {}\n", ++count, FormatBytes(video.fingerprint.size),
                                    MakePrintable(video.path));
            }
        }
    }
    return text + fmt::format("{} videos\n", count);
}

}  // namespace Kaltor::Cli
