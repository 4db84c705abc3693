#include "Farm/JobFolder.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Core/PlainFile.h"
#include "Media/PartialFile.h"

namespace Kaltor::Farm {
namespace {

namespace fs = std::filesystem;
using Edit::Json;

constexpr char kJobFile[] = "job.json";
constexpr char kEditFile[] = "edit.json";
constexpr char kRowsFile[] = "rows.json";
constexpr char kFilesFile[] = "files.json";
/// A task that has reported nothing for so long does not run any more.
constexpr std::chrono::seconds kSilence(30);

[[noreturn]] void FailFolder(std::string const& text) {
    Core::Throw(std::runtime_error(text));
}

void WriteText(std::string const& path, std::string const& text) {
    Media::WriteFile(path, {text.begin(), text.end()}, true);
}

std::optional<std::string> ReadText(std::string const& path) {
    constexpr std::size_t kMostBytes = std::size_t{1} << 32U;
    try {
        return Core::ReadPlainFile(path, kMostBytes);
    } catch (Core::FileFault const&) {
        return std::nullopt;
    }
}

/// Larger than those that strangers may write: it is this program's own.
Json ParseOwn(std::string const& text, std::string const& name) {
    Json json = Json::parse(text, nullptr, false);
    if (json.is_discarded()) {
        FailFolder(fmt::format("{}: damaged, or no file of this program", name));
    }
    return json;
}

/// Names that other text stood for would not be found again.
std::string Format(Json const& json) {
    try {
        return json.dump(1);
    } catch (Json::type_error const&) {
        FailFolder("a job cannot hold names that are not UTF-8");
    }
}

std::string GetMachine() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "unknown";
}

}  // namespace

std::string Task::GetName() const {
    return IsSound() ? "the sound" : fmt::format("part {}", index + 1);
}

JobFolder::JobFolder(std::string const& pathOfFolder) : path(fs::absolute(pathOfFolder).lexically_normal().string()) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    std::optional<std::string> const text = ReadText(At(kJobFile));
    if (!text) {
        std::error_code error;
        FailFolder(fs::is_directory(path, error)
                       ? fmt::format("{}: there is no farm job in this folder", pathOfFolder)
                       : fmt::format("{}: there is no such folder, or this machine does not see it", pathOfFolder));
    }
    job = JobFromJson(ParseOwn(*text, At(kJobFile)), At(kJobFile));
    plan = ChecksumOfText(*text);
}

bool JobFolder::IsJob(std::string const& path) {
    std::error_code error;
    return fs::exists(fs::path(path) / kJobFile, error);
}

JobFolder JobFolder::Create(std::string const& path, Job const& job, JobTexts const& texts) {
    std::string const jobText = Format(ToJson(job)) + "\n";  // what cannot be written leaves no folder
    std::error_code error;
    bool const isNew = fs::create_directory(path, error);
    if (!isNew && (error || !fs::is_empty(path, error))) {
        FailFolder(error ? fmt::format("{}: the folder cannot be made ({})", path, error.message())
                         : fmt::format("{}: exists and is not empty; --folder chooses another one", path));
    }
    std::vector<fs::path> made;
    try {
        for (char const* const inner : {"parts", "log"}) {
            fs::path const folder = fs::path(path) / inner;
            if (fs::create_directory(folder, error)) {
                made.push_back(folder);
            }
            if (error) {
                FailFolder(fmt::format("{}/{}: the folder cannot be made ({})", path, inner, error.message()));
            }
        }
        auto const write = [&](char const* name, std::string const& text) {
            if (!text.empty()) {
                made.push_back(fs::path(path) / name);
                WriteText(made.back().string(), text);
            }
        };
        write(kEditFile, texts.edit);
        write(kRowsFile, texts.rows);
        write(kFilesFile, texts.files);
        write(kJobFile, jobText);  // last: with it the folder is a job
    } catch (...) {
        // A folder that is no job would be in the way of the next attempt.
        for (fs::path const& file : made) {
            fs::remove_all(file, error);
        }
        if (isNew) {
            fs::remove(path, error);
        }
        throw;
    }
    return JobFolder(path);
}

std::string JobFolder::ReadPlanned(char const* name, std::string const& checksum) const {
    std::optional<std::string> text = ReadText(At(name));
    if (!text || ChecksumOfText(*text) != checksum) {
        FailFolder(fmt::format("{}: has changed since the job was planned; submit the edit again", At(name)));
    }
    return std::move(*text);
}

std::string JobFolder::ReadEdit() const {
    return ReadPlanned(kEditFile, job.editChecksum);
}

std::string JobFolder::ReadRows() const {
    return ReadPlanned(kRowsFile, job.rowsChecksum);
}

std::string JobFolder::ReadFiles() const {
    return ReadPlanned(kFilesFile, job.filesChecksum);
}

std::vector<Task> JobFolder::ListTasks() const {
    std::vector<Task> tasks;
    for (std::size_t i = 0; i < job.parts.size(); ++i) {
        tasks.push_back({static_cast<std::int64_t>(i)});
    }
    if (job.kind == Job::Kind::Video && job.hasSound) {
        tasks.push_back({Task::kSound});
    }
    return tasks;
}

std::string JobFolder::NameOf(Task const& task, char const* ending) const {
    return PartsFile(task.IsSound() ? fmt::format("sound{}", ending) : fmt::format("{:05}{}", task.index + 1, ending));
}

std::optional<PartResult> JobFolder::ReadResult(Task const& task, char const* ending) const {
    std::string const name = NameOf(task, ending);
    std::optional<std::string> const text = ReadText(name);
    if (!text) {
        return std::nullopt;
    }
    Json const json = ParseOwn(*text, name);
    bool const isOfPlan = json.is_object() && json.contains("plan") && json["plan"] == plan;
    return isOfPlan ? std::optional(PartResultFromJson(json, name)) : std::nullopt;
}

void JobFolder::WriteResult(Task const& task, char const* ending, PartResult const& result) const {
    Json json = ToJson(result);
    json["plan"] = plan;
    json["machine"] = GetMachine();
    WriteText(NameOf(task, ending), Format(json) + "\n");
}

std::optional<PartResult> JobFolder::FindResult(Task const& task) const {
    return ReadResult(task, ".json");
}

void JobFolder::KeepAttempt(Task const& task, PartResult const& result) const {
    WriteResult(task, ".attempt", result);
}

std::optional<PartResult> JobFolder::FindAttempt(Task const& task) const {
    return ReadResult(task, ".attempt");
}

TaskState JobFolder::GetState(Task const& task) const {
    TaskState state;
    state.result = FindResult(task);
    if (state.result) {
        state.stage = TaskState::Stage::Done;
        state.framesDone = state.result->frames;
        return state;
    }
    if (std::optional<std::string> const why = ReadText(NameOf(task, ".failed"))) {
        state.stage = TaskState::Stage::Failed;
        state.error = *why;
        return state;
    }
    std::string const progress = NameOf(task, ".progress");
    struct ::stat status {};
    if (std::optional<std::string> const text = ReadText(progress); text && ::stat(progress.c_str(), &status) == 0) {
        auto const written = std::chrono::system_clock::from_time_t(status.st_mtime);
        bool const isFresh = std::chrono::system_clock::now() - written < kSilence;
        state.stage = isFresh ? TaskState::Stage::Running : TaskState::Stage::Stopped;
        std::istringstream(*text) >> state.framesDone;
    }
    return state;
}

std::string JobFolder::MakePartName(Task const& task, std::string const& ending) const {
    auto const now = std::chrono::steady_clock::now().time_since_epoch().count();
    std::string const owner = fmt::format("-{}-{}-{:x}{}", GetMachine(), ::getpid(), now, ending);
    return fs::path(NameOf(task, owner.c_str())).filename().string();
}

void JobFolder::Sweep(Task const& task) const {
    std::string const begin = "." + fs::path(NameOf(task, "-")).filename().string();
    std::error_code error;
    for (fs::directory_iterator entry(PartsFile(""), error), last; !error && entry != last; entry.increment(error)) {
        std::string const name = entry->path().filename().string();
        if (!name.starts_with(begin) || !name.ends_with(".partial")) {
            continue;
        }
        // What grows is locked.
        int const file = ::open(entry->path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (file >= 0 && ::flock(file, LOCK_EX | LOCK_NB) == 0) {
            ::unlink(entry->path().c_str());
        }
        if (file >= 0) {
            ::close(file);
        }
    }
}

void JobFolder::Commit(Task const& task, PartResult const& result) const {
    std::error_code ignored;
    if (FindResult(task)) {
        if (!result.file.empty()) {
            fs::remove(PartsFile(result.file), ignored);
        }
        return;
    }
    WriteResult(task, ".json", result);
    for (char const* const ending : {".progress", ".attempt"}) {
        fs::remove(NameOf(task, ending), ignored);
    }
    ForgetFailure(task);
}

void JobFolder::Discard(Task const& task) const {
    std::error_code ignored;
    if (std::optional<PartResult> const result = FindResult(task); result && !result->file.empty()) {
        fs::remove(PartsFile(result->file), ignored);
    }
    fs::remove(NameOf(task, ".json"), ignored);
}

void JobFolder::ReportProgress(Task const& task, std::int64_t framesDone) const {
    // Of a fixed width, in one write: what is read is never half a number that means another one.
    std::string const text = fmt::format("{:>12}\n", framesDone);
    int const file =
        ::open(NameOf(task, ".progress").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, static_cast<::mode_t>(0666));
    if (file >= 0) {
        [[maybe_unused]] ::ssize_t const written = ::pwrite(file, text.data(), text.size(), 0);
        ::close(file);
    }
}

void JobFolder::ReportFailure(Task const& task, std::string const& why) const {
    try {
        WriteText(NameOf(task, ".failed"), why);
    } catch (std::exception const&) {
        // The task's own error is the one to report; a full disk is often both.
    }
}

void JobFolder::ForgetFailure(Task const& task) const {
    std::error_code ignored;
    fs::remove(NameOf(task, ".failed"), ignored);
}

std::optional<Json> JobFolder::ReadFile(std::string const& name) const {
    std::optional<std::string> const text = ReadText(At(name));
    return text ? std::optional(ParseOwn(*text, At(name))) : std::nullopt;
}

void JobFolder::WriteFile(std::string const& name, Json const& content) const {
    WriteText(At(name), Format(content) + "\n");
}

void JobFolder::RemoveParts() const {
    std::error_code ignored;
    fs::remove_all(PartsFile(""), ignored);
}

}  // namespace Kaltor::Farm
