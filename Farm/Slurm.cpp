#include "Farm/Slurm.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Core/Interfaces/Exception.h"
#include "Farm/Process.h"
#include "Media/PartialFile.h"

namespace Kaltor::Farm {
namespace {

using Edit::Json;

constexpr char kSlurmFile[] = "slurm.json";
constexpr char kScriptFile[] = "task.sh";
/// Clusters allow indices of arrays up to 1000 unless their administrators say otherwise.
constexpr std::int64_t kLargestArray = 1000;

/// All words come as arguments, so that nothing in them is read by a shell.
constexpr char kScript[] =
    "#!/bin/sh\n"
    "# One task of a farm job: PROGRAM FOLDER, then \"sound\", \"join\", or the number before the array's parts.\n"
    "case $3 in\n"
    "    sound) exec \"$1\" farm run \"$2\" --sound --quiet ;;\n"
    "    join) exec \"$1\" farm join \"$2\" --quiet ;;\n"
    "    *) exec \"$1\" farm run \"$2\" --part \"$(($3 + SLURM_ARRAY_TASK_ID))\" --quiet ;;\n"
    "esac\n";

std::string FirstLine(std::string const& text) {
    std::string line = text.substr(0, text.find('\n'));
    return line.empty() ? "it gave no reason" : line;
}

std::string AskOrFail(std::vector<std::string> const& words) {
    Answer answer;
    try {
        answer = Ask(words);
    } catch (std::runtime_error const& error) {
        Core::Throw(std::runtime_error(
            fmt::format("{}; Slurm's commands have to be installed (--engine local needs none)", error.what())));
    }
    if (!answer.status.IsGood()) {
        Core::Throw(std::runtime_error(fmt::format("{} refused: {}", words[0], FirstLine(answer.err))));
    }
    return answer.out;
}

/// "0-4,7": numbers in rising order, as Slurm writes arrays.
std::string ListIndices(std::vector<std::int64_t> const& numbers) {
    std::vector<std::string> runs;
    for (std::size_t i = 0; i < numbers.size();) {
        std::size_t end = i + 1;
        while (end < numbers.size() && numbers[end] == numbers[end - 1] + 1) {
            ++end;
        }
        runs.push_back(end - i > 1 ? fmt::format("{}-{}", numbers[i], numbers[end - 1])
                                   : fmt::format("{}", numbers[i]));
        i = end;
    }
    return fmt::format("{}", fmt::join(runs, ","));
}

/// What was submitted of a job: entries of `slurm.json`.
struct Submission {
    std::string id;
    std::string what;  ///< "parts", "sound", "join"
    std::int64_t offset = 0;
};

std::vector<Submission> ReadSubmissions(JobFolder const& folder) {
    std::vector<Submission> submissions;
    if (std::optional<Json> const json = folder.ReadFile(kSlurmFile)) {
        for (Json const& one : json->value("jobs", Json::array())) {
            submissions.push_back(
                {one.value("id", ""), one.value("what", ""), one.value("offset", std::int64_t{0})});
        }
    }
    return submissions;
}

void WriteSubmissions(JobFolder const& folder, std::vector<Submission> const& submissions) {
    Json jobs = Json::array();
    for (Submission const& one : submissions) {
        jobs.push_back({{"id", one.id}, {"what", one.what}, {"offset", one.offset}});
    }
    folder.WriteFile(kSlurmFile, {{"jobs", jobs}});
}

class Submitter {
public:
    Submitter(JobFolder const& jobFolder, SlurmOptions const& slurmOptions)
        : folder(jobFolder), options(slurmOptions), submissions(ReadSubmissions(folder)) {
        std::string const script = kScript;
        Media::WriteFile(folder.At(kScriptFile), {script.begin(), script.end()}, true);
    }

    std::vector<std::string> Run() {
        Queued const queued = submissions.empty() ? Queued() : AskSlurm(folder);
        CancelJoins(queued);
        std::map<std::int64_t, std::vector<std::int64_t>> arrays;  // by offset
        bool needsSound = false;
        for (Task const& task : folder.ListTasks()) {
            bool const isQueued = queued.waiting.contains(task.index) || queued.running.contains(task.index);
            if (isQueued || folder.FindResult(task)) {
                continue;
            }
            folder.ForgetFailure(task);
            if (task.IsSound()) {
                needsSound = true;
            } else {
                std::int64_t const offset = task.index / kLargestArray * kLargestArray;
                arrays[offset].push_back(task.index - offset);
            }
        }
        if (needsSound) {
            Submit({}, "sound", 0);
        }
        for (auto const& [offset, indices] : arrays) {
            std::vector<std::string> words{"--array=" + ListIndices(indices) +
                                           (options.limit > 0 ? fmt::format("%{}", options.limit) : "")};
            // A limit holds for each array by itself.
            if (options.limit > 0 && !lastArray.empty()) {
                words.push_back("--dependency=afterany:" + lastArray);
            }
            lastArray = Submit(words, "parts", offset);
        }
        std::vector<std::string> before;
        for (Submission const& one : submissions) {
            if (one.what != "join") {
                before.push_back(one.id);
            }
        }
        // Whatever became of the parts: the join says what is missing.
        Submit({fmt::format("--dependency=afterany:{}", fmt::join(before, ":"))}, "join", 0);
        return made;
    }

private:
    /// The join of an earlier submission would find too little.
    void CancelJoins(Queued const& queued) {
        for (Submission const& one : submissions) {
            if (one.what == "join" && queued.hasJoin) {
                AskOrFail({"scancel", one.id});
            }
        }
        std::erase_if(submissions, [](Submission const& one) { return one.what == "join"; });
    }

    std::string Submit(std::vector<std::string> const& own, std::string const& what, std::int64_t offset) {
        std::string name = "kaltor-" + std::filesystem::path(folder.GetJob().output).stem().string();
        std::replace_if(
            name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0 && c != '-' && c != '_'; }, '_');
        std::vector<std::string> words{"sbatch", "--parsable", "--requeue", "--open-mode=append", "--job-name=" + name,
                                       "--chdir=" + folder.GetPath(),
                                       what == "parts" ? "--output=log/slurm-%A_%a.txt" : "--output=log/slurm-%j.txt"};
        if (!options.partition.empty()) {
            words.push_back("--partition=" + options.partition);
        }
        for (auto const& [key, value] : options.jobOptions) {
            words.push_back(value.empty() ? "--" + key : fmt::format("--{}={}", key, value));
        }
        words.insert(words.end(), own.begin(), own.end());
        words.insert(words.end(), {folder.At(kScriptFile), options.program, folder.GetPath()});
        // Parts count from 1.
        words.push_back(what == "parts" ? std::to_string(offset + 1) : what);
        std::string id = FirstLine(AskOrFail(words));
        id = id.substr(0, id.find(';'));  // a cluster's name may follow
        if (id.empty() || !std::all_of(id.begin(), id.end(), [](unsigned char c) { return std::isdigit(c) != 0; })) {
            Core::Throw(std::runtime_error(fmt::format("sbatch gave \"{}\" instead of a job's id", id)));
        }
        submissions.push_back({id, what, offset});
        WriteSubmissions(folder, submissions);
        made.push_back(id);
        return id;
    }

    JobFolder const& folder;
    SlurmOptions const& options;
    std::vector<Submission> submissions;
    std::vector<std::string> made;
    std::string lastArray;
};

}  // namespace

void CheckJobOption(std::string const& key) {
    static constexpr std::array<std::string_view, 12> kOwn{"array",  "dependency", "parsable", "wrap",   "chdir", "output",
                                                           "requeue", "open-mode", "job-name", "no-requeue", "test-only", "wait"};
    bool const isName = !key.empty() && key.front() != '-' && std::all_of(key.begin(), key.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '-';
    });
    if (!isName) {
        Core::Throw(std::invalid_argument(
            fmt::format("\"{}\" is not the name of one of sbatch's long options, such as time", key)));
    }
    if (std::find(kOwn.begin(), kOwn.end(), key) != kOwn.end()) {
        Core::Throw(std::invalid_argument(fmt::format("the farm sets sbatch's option {} itself", key)));
    }
}

std::vector<std::string> SubmitToSlurm(JobFolder const& folder, SlurmOptions const& options) {
    return Submitter(folder, options).Run();
}

bool IsInSlurm(JobFolder const& folder) {
    return !ReadSubmissions(folder).empty();
}

Queued AskSlurm(JobFolder const& folder) {
    std::vector<Submission> const submissions = ReadSubmissions(folder);
    std::vector<std::string> ids;
    for (Submission const& one : submissions) {
        ids.push_back(one.id);
    }
    // An id that is long gone is an error for squeue if it is asked about that one alone.
    Answer const answer = Ask({"squeue", "--noheader", "--array", "--format=%F %K %T",
                               fmt::format("--jobs={}", fmt::join(ids, ","))});
    if (!answer.status.IsGood()) {
        if (answer.err.find("Invalid job id") != std::string::npos) {
            return {};
        }
        Core::Throw(std::runtime_error(fmt::format("squeue does not answer: {}", FirstLine(answer.err))));
    }
    Queued queued;
    std::istringstream lines(answer.out);
    for (std::string id, index, state; lines >> id >> index >> state;) {
        auto const found = std::find_if(submissions.begin(), submissions.end(),
                                        [&](Submission const& one) { return one.id == id; });
        bool const isRunning = state == "RUNNING" || state == "COMPLETING";
        if (found == submissions.end()) {
            continue;
        }
        if (found->what == "join") {
            queued.hasJoin = true;
        } else {
            std::int64_t const task = found->what == "sound" ? Task::kSound : found->offset + std::atoll(index.c_str());
            (isRunning ? queued.running : queued.waiting).insert(task);
        }
    }
    return queued;
}

void CancelInSlurm(JobFolder const& folder) {
    std::vector<std::string> words{"scancel"};
    for (Submission const& one : ReadSubmissions(folder)) {
        words.push_back(one.id);
    }
    if (words.size() > 1) {
        AskOrFail(words);
    }
}

}  // namespace Kaltor::Farm
