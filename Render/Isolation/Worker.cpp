#include "Render/Isolation/Worker.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <new>

#include <fmt/format.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Media/MediaError.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Render {
namespace {

// The channel's own messages: what the work threw. The content is a line of text.
constexpr std::uint32_t kUsageError = Worker::kReserved;
constexpr std::uint32_t kMediaError = Worker::kReserved + 1;
constexpr std::uint32_t kMemoryError = Worker::kReserved + 2;
constexpr std::uint32_t kOtherError = Worker::kReserved + 3;

std::int64_t ReadClock() {
    auto const now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

void SendError(Channel& channel, std::uint32_t kind, std::string const& text) {
    channel.Send(kind, text.data(), std::min(text.size(), Channel::kLongest));
}

void RunReporting(std::function<void(WorkerSide&)> const& work, WorkerSide& side) {
    Channel& channel = side.GetChannel();
    try {
        work(side);
    } catch (std::invalid_argument const& error) {
        SendError(channel, kUsageError, Core::Describe(error));
    } catch (Media::MediaError const& error) {
        SendError(channel, kMediaError, Core::Describe(error));
    } catch (std::bad_alloc const&) {
        SendError(channel, kMemoryError, "");
    } catch (WorkerDied const&) {
        // Nobody listens.
    } catch (...) {
        SendError(channel, kOtherError, Core::Describe(std::current_exception()));
    }
}

void ThrowIfError(Message const& message) {
    std::string const text(message.content.begin(), message.content.end());
    switch (message.kind) {
        case kUsageError:
            Core::Throw(std::invalid_argument(text));
        case kMediaError:
            Core::Throw(Media::MediaError(text));
        case kMemoryError:
            throw std::bad_alloc();
        case kOtherError:
            Core::Throw(std::runtime_error(text));
        default:
            break;
    }
}

}  // namespace

Channel::~Channel() {
    ::close(descriptor);
}

void Channel::Send(std::uint32_t kind, void const* content, std::size_t size) {
    ::iovec parts[2] = {{&kind, sizeof kind}, {const_cast<void*>(content), size}};
    ::msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    while (::sendmsg(descriptor, &message, MSG_NOSIGNAL) < 0) {
        if (errno != EINTR) {
            throw WorkerDied("the process at the other end has gone");
        }
    }
}

bool Channel::Receive(Message& message) {
    message.content.resize(kLongest);
    ::iovec parts[2] = {{&message.kind, sizeof message.kind}, {message.content.data(), kLongest}};
    ::msghdr header{};
    header.msg_iov = parts;
    header.msg_iovlen = 2;
    ::ssize_t got = -1;
    do {
        got = ::recvmsg(descriptor, &header, 0);
    } while (got < 0 && errno == EINTR);
    if (got < static_cast<::ssize_t>(sizeof message.kind)) {
        return false;
    }
    message.content.resize(static_cast<std::size_t>(got) - sizeof message.kind);
    return true;
}

bool Channel::Wait(std::chrono::milliseconds longest) const {
    ::pollfd wanted{descriptor, POLLIN, 0};
    return ::poll(&wanted, 1, static_cast<int>(longest.count())) > 0;
}

void WorkerSide::Beat() {
    Ogl::OglManager const* const manager = Ogl::OglManager::FindInstance();
    std::uint64_t const step = manager == nullptr ? 0 : manager->GetStep();
    bool const isDrawing = step % 2 != 0;
    if (!isDrawing || step != lastStep) {
        pulse = ReadClock();
    }
    lastStep = step;
}

void Worker::Unmapper::operator()(std::atomic<std::int64_t>* shared) const {
    ::munmap(shared, sizeof *shared);
}

Worker::Worker(std::function<void(WorkerSide&)> const& work) {
    void* const memory =
        ::mmap(nullptr, sizeof(std::atomic<std::int64_t>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    static_assert(std::atomic<std::int64_t>::is_always_lock_free, "two processes use it");
    pulse.reset(new (memory) std::atomic<std::int64_t>(ReadClock()));
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        Core::Throw(std::runtime_error(fmt::format("no process to draw in can be made ({})", std::strerror(errno))));
    }
    channel = std::make_unique<Channel>(ends[0]);
    pid_t const parent = ::getpid();
    process = ::fork();
    if (process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::prctl(PR_SET_NAME, "kaltor-draw");
        if (::getppid() != parent) {
            ::_exit(1);  // it has died already
        }
        Run(work, ends[1]);
    }
    int const error = errno;
    ::close(ends[1]);
    if (process < 0) {
        Core::Throw(std::runtime_error(fmt::format("no process to draw in can be made ({})", std::strerror(error))));
    }
}

void Worker::Run(std::function<void(WorkerSide&)> const& work, int socket) {
    // Signals to end reach the whole group of a terminal; the other process decides what becomes of them.
    for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        std::signal(signal, SIG_IGN);
    }
    std::signal(SIGXCPU, SIG_DFL);  // its own time: nobody here would heed the request
    channel.reset();
    try {
        Channel own(socket);
        WorkerSide side(own, *pulse);
        RunReporting(work, side);
    } catch (...) {
        // The error itself could not be sent: nobody listens.
    }
    // Nothing of the process that this is a copy of is to be destroyed here, and no driver needs to end in order.
    ::_exit(0);
}

Worker::~Worker() {
    if (process > 0) {
        ::kill(process, SIGKILL);
        Reap();
    }
}

std::string Worker::Reap() {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    process = -1;
    if (WIFSIGNALED(status)) {
        return fmt::format("signal {}, {}", WTERMSIG(status), ::strsignal(WTERMSIG(status)));
    }
    return fmt::format("status {}", WEXITSTATUS(status));
}

void Worker::Wake() {
    *pulse = ReadClock();
}

Message Worker::Receive(std::chrono::milliseconds limit, std::function<bool()> const& isStopped) {
    constexpr std::chrono::milliseconds kPoll(50);
    if (process < 0) {
        throw WorkerDied("the process that draws has ended");
    }
    while (true) {
        if (isStopped()) {
            Core::Throw(Media::Cancelled());
        }
        if (channel->Wait(kPoll)) {
            break;
        }
        if (std::int64_t const quiet = ReadClock() - *pulse; quiet > limit.count()) {
            ::kill(process, SIGKILL);
            Reap();
            throw WorkerDied(
                fmt::format("the graphics driver does not answer, or draws one frame for more than {:g} seconds",
                            std::chrono::duration<double>(limit).count()));
        }
    }
    Message message;
    if (!channel->Receive(message)) {
        throw WorkerDied(
            fmt::format("the process that draws has crashed, in the graphics driver most often ({})", Reap()));
    }
    ThrowIfError(message);
    return message;
}

}  // namespace Kaltor::Render
