#include "Farm/Process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"

extern char** environ;

namespace Kaltor::Farm {
namespace {

constexpr int kCannotStart = 127;

/// The two ends of a pipe, closed with it.
struct Pipe {
    std::array<int, 2> ends{-1, -1};

    Pipe() {
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            Core::Throw(std::runtime_error(fmt::format("no pipe can be made ({})", std::strerror(errno))));
        }
    }
    ~Pipe() {
        Close(0);
        Close(1);
    }
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;

    void Close(std::size_t end) {
        if (ends[end] >= 0) {
            ::close(ends[end]);
            ends[end] = -1;
        }
    }
};

std::vector<char*> ToPointers(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// A set of processors of any number; `cpu_set_t` alone holds 1024.
class ProcessorSet {
public:
    explicit ProcessorSet(int count) : size(CPU_ALLOC_SIZE(count)), set(CPU_ALLOC(count)) {
        if (!set) {
            Core::Throw(std::bad_alloc());
        }
        CPU_ZERO_S(size, set.get());
    }

    void Add(int number) { CPU_SET_S(static_cast<std::size_t>(number), size, set.get()); }
    std::vector<int> List() const {
        constexpr std::size_t kBits = 8;
        std::vector<int> numbers;
        for (std::size_t i = 0; i < size * kBits; ++i) {
            if (CPU_ISSET_S(i, size, set.get())) {
                numbers.push_back(static_cast<int>(i));
            }
        }
        return numbers;
    }
    std::size_t GetBytes() const { return size; }
    cpu_set_t* Get() const { return set.get(); }

private:
    struct Free {
        void operator()(cpu_set_t* set) const { CPU_FREE(set); }
    };
    std::size_t size;
    std::unique_ptr<cpu_set_t, Free> set;
};

/// This process's with what is added or replaced.
std::vector<std::string> MakeEnvironment(ProcessOptions const& options) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        std::string const text = *variable;
        bool isReplaced = false;
        for (auto const& [name, value] : options.environment) {
            isReplaced = isReplaced || text.starts_with(name + "=");
        }
        if (!isReplaced) {
            variables.push_back(text);
        }
    }
    for (auto const& [name, value] : options.environment) {
        variables.push_back(name + "=" + value);
    }
    return variables;
}

/// `out`, `err`: what becomes its standard streams; -1: as here.
::pid_t StartWith(std::vector<std::string> words, ProcessOptions const& options, int out, int err) {
    std::vector<std::string> environment = MakeEnvironment(options);
    std::vector<char*> const wordPointers = ToPointers(words);
    std::vector<char*> const environmentPointers = ToPointers(environment);
    ProcessorSet processors(
        options.processors.empty() ? 1 : *std::max_element(options.processors.begin(), options.processors.end()) + 1);
    for (int const number : options.processors) {
        processors.Add(number);
    }
    Pipe failure;  // stays empty where the program starts
    ::pid_t const parent = ::getpid();
    ::pid_t const process = ::fork();
    if (process < 0) {
        Core::Throw(std::runtime_error(fmt::format("no process can be started ({})", std::strerror(errno))));
    }
    if (process == 0) {
        // Only what may be done between fork and exec.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) {
            ::_exit(kCannotStart);
        }
        for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) {
            ::signal(signal, SIG_DFL);
        }
        if (out >= 0) {
            ::dup2(out, STDOUT_FILENO);
        }
        if (err >= 0) {
            ::dup2(err, STDERR_FILENO);
        }
        if (!options.processors.empty()) {
            ::sched_setaffinity(0, processors.GetBytes(), processors.Get());
        }
        ::execvpe(wordPointers[0], wordPointers.data(), environmentPointers.data());
        int const error = errno;
        [[maybe_unused]] ::ssize_t const written = ::write(failure.ends[1], &error, sizeof error);
        ::_exit(kCannotStart);
    }
    failure.Close(1);
    int error = 0;
    ::ssize_t got = 0;
    do {
        got = ::read(failure.ends[0], &error, sizeof error);
    } while (got < 0 && errno == EINTR);
    if (got == sizeof error) {
        Wait(process);
        Core::Throw(std::runtime_error(fmt::format("{} cannot be started ({})", words[0], std::strerror(error))));
    }
    return process;
}

}  // namespace

::pid_t Start(std::vector<std::string> const& words, ProcessOptions const& options) {
    if (options.log.empty()) {
        return StartWith(words, options, -1, -1);
    }
    constexpr ::mode_t kMode = 0666;
    int const log = ::open(options.log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kMode);
    if (log < 0) {
        Core::Throw(std::runtime_error(fmt::format("{}: cannot be written ({})", options.log, std::strerror(errno))));
    }
    try {
        ::pid_t const process = StartWith(words, options, log, log);
        ::close(log);
        return process;
    } catch (...) {
        ::close(log);
        throw;
    }
}

ExitStatus Wait(::pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            return {kCannotStart, 0};
        }
    }
    return WIFSIGNALED(status) ? ExitStatus{0, WTERMSIG(status)} : ExitStatus{WEXITSTATUS(status), 0};
}

Answer Ask(std::vector<std::string> const& words) {
    Pipe out;
    Pipe err;
    ::pid_t const process = StartWith(words, {}, out.ends[1], err.ends[1]);
    out.Close(1);
    err.Close(1);
    Answer answer;
    std::array<std::pair<Pipe*, std::string*>, 2> const sources{{{&out, &answer.out}, {&err, &answer.err}}};
    while (out.ends[0] >= 0 || err.ends[0] >= 0) {
        std::array<::pollfd, 2> waiting{{{out.ends[0], POLLIN, 0}, {err.ends[0], POLLIN, 0}}};
        if (::poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) {
            break;
        }
        for (std::size_t i = 0; i < sources.size(); ++i) {
            if (waiting[i].revents == 0) {
                continue;
            }
            std::array<char, 4096> block{};
            ::ssize_t const count = ::read(sources[i].first->ends[0], block.data(), block.size());
            if (count > 0) {
                sources[i].second->append(block.data(), static_cast<std::size_t>(count));
            } else if (count == 0 || errno != EINTR) {
                sources[i].first->Close(0);
            }
        }
    }
    answer.status = Wait(process);
    return answer;
}

std::vector<int> GetProcessors() {
    // The kernel refuses a set that is smaller than its own.
    constexpr int kLeast = 1024;
    constexpr int kMost = 1 << 20;
    for (int count = kLeast; count <= kMost; count *= 2) {
        ProcessorSet const set(count);
        if (::sched_getaffinity(0, set.GetBytes(), set.Get()) == 0) {
            return set.List();
        }
        if (errno != EINVAL) {
            break;
        }
    }
    return {0};
}

}  // namespace Kaltor::Farm
