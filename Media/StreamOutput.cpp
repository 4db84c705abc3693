#include "Media/StreamOutput.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Media/MediaError.h"

namespace Kaltor::Media {
namespace {

constexpr int kBufferBytes = 1 << 20;
/// How soon a cancel is seen.
constexpr int kWaitMilliseconds = 50;

bool IsTrue(std::atomic<bool> const* flag) {
    return flag != nullptr && flag->load(std::memory_order_relaxed);
}

}  // namespace

bool StreamOutput::IsStream(std::string const& path) {
    struct ::stat status {};
    return path == "-" || (::stat(path.c_str(), &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)));
}

std::string StreamOutput::NameOf(std::string const& path) {
    return path == "-" ? "standard output" : path;
}

StreamOutput::StreamOutput(std::string const& path, std::atomic<bool> const* cancelFlag,
                           std::atomic<bool> const* stopFlag)
    : name(NameOf(path)), cancel(cancelFlag), stop(stopFlag) {
    Open(path);
    ::fcntl(file, F_SETPIPE_SZ, kBufferBytes);  // fewer turns, where the system allows it
    auto* const buffer = static_cast<unsigned char*>(CheckAllocated(av_malloc(kBufferBytes)));
    io = CheckAllocated(avio_alloc_context(buffer, kBufferBytes, 1, this, nullptr, &StreamOutput::Write, nullptr));
    io->seekable = 0;
}

void StreamOutput::Open(std::string const& path) {
    if (path != "-") {
        // A fifo without a reader cannot be opened so; then again a little later.
        for (;;) {
            file = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            if (file >= 0 || errno != ENXIO) {
                break;
            }
            if (IsUnwanted()) {
                Core::Throw(Cancelled());
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(kWaitMilliseconds));
        }
        if (file < 0) {
            Core::Throw(MediaError(fmt::format("{}: cannot be written ({})", name, std::strerror(errno))));
        }
        isOwn = true;
        return;
    }
    if (::isatty(STDOUT_FILENO) != 0) {
        Core::Throw(MediaError("standard output is a terminal; a video goes into a pipe or a file"));
    }
    struct ::stat status {};
    if (::fstat(STDOUT_FILENO, &status) == 0 && S_ISFIFO(status.st_mode)) {
        // A description of its own, which does not wait; other programs may share the one that was inherited.
        file = ::open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        isOwn = file >= 0;
    }
    if (!isOwn) {
        file = STDOUT_FILENO;
    }
}

StreamOutput::~StreamOutput() {
    if (io != nullptr) {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
    if (isOwn) {
        ::close(file);
    }
}

bool StreamOutput::IsUnwanted() const {
    return IsTrue(cancel) || IsTrue(stop);
}

int StreamOutput::Write(void* self, std::uint8_t* bytes, int size) {
    return static_cast<StreamOutput*>(self)->WriteAll(bytes, size);
}

int StreamOutput::WriteAll(std::uint8_t const* bytes, int size) {
    for (int done = 0; done < size;) {
        if (IsUnwanted()) {
            isCancelled = true;
            return AVERROR_EXIT;
        }
        ::ssize_t const written = ::write(file, bytes + done, static_cast<std::size_t>(size - done));
        if (written >= 0) {
            done += static_cast<int>(written);
        } else if (errno == EAGAIN) {
            ::pollfd wait{file, POLLOUT, 0};
            ::poll(&wait, 1, kWaitMilliseconds);
        } else if (errno == EPIPE) {
            isClosed = true;
            return AVERROR(EPIPE);
        } else if (errno != EINTR) {
            return AVERROR(errno);
        }
    }
    return size;
}

void StreamOutput::ThrowReason() const {
    if (isClosed) {
        Core::Throw(PipeClosed());
    }
    if (isCancelled) {
        Core::Throw(Cancelled());
    }
}

}  // namespace Kaltor::Media
