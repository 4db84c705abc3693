#include "Media/PipeSource.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Media/MediaError.h"

extern "C" {
#include <libavutil/error.h>
}

namespace Kaltor::Media {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 20U;
/// How soon a stop is seen.
constexpr int kPollMilliseconds = 50;

}  // namespace

bool IsPipe(std::string const& path) {
    struct ::stat status {};
    if (path == "-") {
        return ::fstat(STDIN_FILENO, &status) != 0 || !S_ISREG(status.st_mode);
    }
    return ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

std::string ShowInput(std::string const& path) {
    return path == "-" ? "standard input" : path;
}

PipeSource::PipeSource(std::string const& path) {
    bool const isStandard = path == "-";
    if (isStandard && ::isatty(STDIN_FILENO) != 0) {
        Core::Throw(SystemError("standard input is a terminal; pipe a video into it"));
    }
    // A description of its own, which does not wait; other programs may share the one that was inherited.
    file = ::open(isStandard ? "/proc/self/fd/0" : path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    isOwn = file >= 0;
    if (file < 0 && isStandard) {
        file = STDIN_FILENO;  // a socket
    }
    if (file < 0) {
        Core::Throw(SystemError(fmt::format("{}: cannot be read ({})", ShowInput(path), std::strerror(errno))));
    }
    ::fcntl(file, F_SETPIPE_SZ, static_cast<int>(kBlockBytes));  // fewer turns, where the system allows it
}

PipeSource::~PipeSource() {
    if (isOwn) {
        ::close(file);
    }
}

std::shared_ptr<PipeReader> PipeSource::NewReader() {
    auto reader = std::make_shared<PipeReader>(shared_from_this());
    std::lock_guard const lock(mutex);
    if (begin > 0) {
        Core::Throw(MediaError("a pipe can be read only once"));
    }
    readers.push_back(reader.get());
    return reader;
}

void PipeSource::Leave(PipeReader const& reader) {
    std::lock_guard const lock(mutex);
    std::erase(readers, &reader);
    Forget();
}

void PipeSource::Forget() {
    std::int64_t needed = readers.empty() ? begin : end;
    for (PipeReader const* const reader : readers) {
        needed = std::min(needed, reader->position);
    }
    while (!blocks.empty() && begin + static_cast<std::int64_t>(blocks.front().size()) <= needed) {
        begin += static_cast<std::int64_t>(blocks.front().size());
        blocks.pop_front();
    }
}

int PipeSource::Fetch(std::vector<std::uint8_t>& block, std::atomic<bool> const* stop) const {
    block.resize(kBlockBytes);
    for (;;) {
        if (stop != nullptr && stop->load(std::memory_order_relaxed)) {
            return AVERROR_EXIT;
        }
        // A fifo that nobody has opened for writing yet reads as ended, so it is asked first.
        ::pollfd wait{file, POLLIN, 0};
        int const ready = ::poll(&wait, 1, kPollMilliseconds);
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            continue;
        }
        ::ssize_t const count = ::read(file, block.data(), block.size());
        if (count >= 0) {
            block.resize(static_cast<std::size_t>(count));
            return static_cast<int>(count);
        }
        if (errno != EINTR && errno != EAGAIN) {
            return AVERROR(errno);
        }
    }
}

int PipeSource::Read(PipeReader& reader, std::uint8_t* buffer, int size, std::atomic<bool> const* stop) {
    std::unique_lock lock(mutex);
    while (reader.position == end && ending == 1) {
        if (stop != nullptr && stop->load(std::memory_order_relaxed)) {
            return AVERROR_EXIT;
        }
        if (isFetching) {
            changed.wait_for(lock, std::chrono::milliseconds(kPollMilliseconds));
            continue;
        }
        isFetching = true;
        lock.unlock();
        std::vector<std::uint8_t> block;
        int const count = Fetch(block, stop);
        lock.lock();
        isFetching = false;
        changed.notify_all();
        if (count > 0) {
            end += count;
            blocks.push_back(std::move(block));
        } else if (count == AVERROR_EXIT) {
            return count;
        } else {
            ending = count;
        }
    }
    if (reader.position == end) {
        return ending;
    }
    int done = 0;
    std::int64_t at = begin;
    for (std::vector<std::uint8_t> const& block : blocks) {
        std::int64_t const next = at + static_cast<std::int64_t>(block.size());
        if (reader.position < next) {
            auto const offset = static_cast<std::size_t>(reader.position - at);
            std::size_t const taken = std::min(block.size() - offset, static_cast<std::size_t>(size - done));
            std::memcpy(buffer + done, block.data() + offset, taken);
            done += static_cast<int>(taken);
            reader.position += static_cast<std::int64_t>(taken);
        }
        if (done == size) {
            break;
        }
        at = next;
    }
    Forget();
    return done;
}

}  // namespace Kaltor::Media
