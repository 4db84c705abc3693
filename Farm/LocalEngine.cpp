#include "Farm/LocalEngine.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Farm/Process.h"
#include "Media/MediaError.h"

namespace Kaltor::Farm {
namespace {

constexpr char kLockFile[] = "local.lock";
constexpr int kMostAttempts = 3;
constexpr std::chrono::milliseconds kPause(20);
constexpr std::chrono::milliseconds kReportPause(500);

/// Held by the process that runs a job's tasks on its machine.
class Lock {
public:
    explicit Lock(JobFolder const& folder)
        : file(::open(folder.At(kLockFile).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, static_cast<::mode_t>(0666))) {
        if (file < 0) {
            Core::Throw(std::runtime_error(
                fmt::format("{}: cannot be written ({})", folder.At(kLockFile), std::strerror(errno))));
        }
        if (::flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            ::close(file);
            Core::Throw(std::runtime_error(fmt::format("{}: another process runs this job already", folder.GetPath())));
        }
        std::string const text = fmt::format("{:>10}\n", ::getpid());
        [[maybe_unused]] ::ssize_t const written = ::pwrite(file, text.data(), text.size(), 0);
    }
    ~Lock() { ::close(file); }
    Lock(Lock const&) = delete;
    Lock& operator=(Lock const&) = delete;

private:
    int file;
};

class Engine {
public:
    Engine(JobFolder const& jobFolder, LocalOptions const& localOptions)
        : folder(jobFolder), options(localOptions), processors(GetProcessors()),
          slots(static_cast<std::size_t>(std::max(1, options.jobs))) {
        // The sound first: it is one piece, and nothing else waits for it at the end.
        std::vector<Task> tasks = folder.ListTasks();
        std::rotate(tasks.begin(), tasks.end() - (tasks.back().IsSound() ? 1 : 0), tasks.end());
        for (Task const& task : tasks) {
            if (std::optional<PartResult> const result = folder.FindResult(task)) {
                framesDone += result->frames;
            } else {
                waiting.push_back({task, 0});
            }
        }
    }
    ~Engine() { StopAll(); }
    Engine(Engine const&) = delete;
    Engine& operator=(Engine const&) = delete;

    void Run() {
        while (!IsCancelled() && (!waiting.empty() || IsAnyRunning())) {
            for (std::size_t i = 0; i < slots.size(); ++i) {
                Poll(slots[i]);
                if (slots[i].process == 0 && !waiting.empty()) {
                    StartNext(slots[i], i);
                }
            }
            Report();
            std::this_thread::sleep_for(kPause);
        }
        if (IsCancelled()) {
            StopAll();
            Core::Throw(Media::Cancelled());
        }
    }

private:
    struct Entry {
        Task task;
        int attempts = 0;
    };
    struct Slot {
        ::pid_t process = 0;
        Entry entry;
    };

    bool IsCancelled() const { return options.cancel != nullptr && options.cancel->load(std::memory_order_relaxed); }

    bool IsAnyRunning() const {
        return std::any_of(slots.begin(), slots.end(), [](Slot const& slot) { return slot.process != 0; });
    }

    void StartNext(Slot& slot, std::size_t index) {
        slot.entry = waiting.front();
        waiting.pop_front();
        ++slot.entry.attempts;
        Task const& task = slot.entry.task;
        std::vector<std::string> words{options.program, "farm", "run", folder.GetPath(), "--quiet"};
        if (task.IsSound()) {
            words.emplace_back("--sound");
        } else {
            words.emplace_back("--part");
            words.push_back(std::to_string(task.index + 1));
        }
        ProcessOptions process;
        process.log = LogOf(task);
        if (slots.size() > 1) {
            process.processors = ShareOf(index);
        }
        slot.process = Farm::Start(words, process);
    }

    std::string LogOf(Task const& task) const {
        return folder.At(task.IsSound() ? std::string("log/sound.txt") : fmt::format("log/{:05}.txt", task.index + 1));
    }

    /// Encoders and software GL start a thread for each processor that they may use.
    std::vector<int> ShareOf(std::size_t slot) const {
        std::size_t const count = processors.size();
        std::size_t const begin = slot * count / slots.size();
        std::size_t const end = std::max(begin + 1, (slot + 1) * count / slots.size());
        return {processors.begin() + static_cast<std::ptrdiff_t>(begin),
                processors.begin() + static_cast<std::ptrdiff_t>(end)};
    }

    void Poll(Slot& slot) {
        int status = 0;
        if (slot.process == 0 || ::waitpid(slot.process, &status, WNOHANG) == 0) {
            return;
        }
        slot.process = 0;
        if (std::optional<PartResult> const result = folder.FindResult(slot.entry.task)) {
            framesDone += result->frames;
        } else if (IsCancelled()) {
            // A terminal's Ctrl-C reaches the tasks, too: that is no failure of theirs.
        } else if (WIFSIGNALED(status)) {
            if (slot.entry.attempts < kMostAttempts) {
                waiting.push_back(slot.entry);
            } else {
                folder.ReportFailure(slot.entry.task, fmt::format("ended by signal {}", WTERMSIG(status)));
            }
        } else if (folder.GetState(slot.entry.task).stage != TaskState::Stage::Failed) {
            // It came to no task: a library that is missing, for example.
            folder.ReportFailure(slot.entry.task, fmt::format("ended with status {}; see {}", WEXITSTATUS(status),
                                                              LogOf(slot.entry.task)));
        }
    }

    void Report() {
        auto const now = std::chrono::steady_clock::now();
        if (!options.onProgress || now - lastReport < kReportPause) {
            return;
        }
        lastReport = now;
        std::int64_t running = 0;
        for (Slot const& slot : slots) {
            running += slot.process != 0 ? folder.GetState(slot.entry.task).framesDone : 0;
        }
        options.onProgress(framesDone + running, folder.GetJob().frames);
    }

    void StopAll() {
        for (Slot const& slot : slots) {
            if (slot.process != 0) {
                ::kill(slot.process, SIGTERM);
            }
        }
        for (Slot& slot : slots) {
            if (slot.process != 0) {
                Wait(slot.process);
                slot.process = 0;
            }
        }
    }

    JobFolder const& folder;
    LocalOptions const& options;
    std::vector<int> processors;
    std::vector<Slot> slots;
    std::deque<Entry> waiting;
    std::int64_t framesDone = 0;
    std::chrono::steady_clock::time_point lastReport;
};

}  // namespace

void RunLocally(JobFolder const& folder, LocalOptions const& options) {
    Lock const lock(folder);
    Engine(folder, options).Run();
}

int FindLocalRunner(JobFolder const& folder) {
    int const file = ::open(folder.At(kLockFile).c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return 0;
    }
    int process = 0;
    if (::flock(file, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        char text[16] = {};
        if (::pread(file, text, sizeof text - 1, 0) > 0) {
            process = std::atoi(text);
        }
    }
    ::close(file);
    return process > 0 && ::kill(process, 0) == 0 ? process : 0;
}

int GetUsualJobs() {
    constexpr std::size_t kProcessorsEach = 4;
    return static_cast<int>(std::max<std::size_t>(1, GetProcessors().size() / kProcessorsEach));
}

}  // namespace Kaltor::Farm
