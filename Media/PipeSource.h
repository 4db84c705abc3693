#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Kaltor::Media {

/// Whether a name stands for something that can be read once only: "-" where standard input is no plain file, or a fifo.
bool IsPipe(std::string const& path);
/// How a name shows in messages: "standard input" for "-".
std::string ShowInput(std::string const& path);

class PipeReader;

/// A pipe that several readers read, each from the beginning and at its own pace. What none of them will read again is
/// forgotten, so that memory holds only what lies between the slowest and the fastest. Thread-safe.
class PipeSource : public std::enable_shared_from_this<PipeSource> {
public:
    /// Throws `SystemError` where it cannot be opened.
    explicit PipeSource(std::string const& path);
    ~PipeSource();
    PipeSource(PipeSource const&) = delete;
    PipeSource& operator=(PipeSource const&) = delete;

    /// At the beginning. As long as no reader has moved, the beginning is there; keep one to make more later.
    std::shared_ptr<PipeReader> NewReader();

private:
    friend class PipeReader;

    /// Bytes read, 0 at the end, or FFmpeg's error: AVERROR_EXIT once `stop` is true.
    int Read(PipeReader& reader, std::uint8_t* buffer, int size, std::atomic<bool> const* stop);
    /// One block from the system, without the lock.
    int Fetch(std::vector<std::uint8_t>& block, std::atomic<bool> const* stop) const;
    void Forget();
    void Leave(PipeReader const& reader);

    int file = -1;
    bool isOwn = false;  ///< to be closed
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::vector<std::uint8_t>> blocks;
    std::int64_t begin = 0;  ///< of the first block
    std::int64_t end = 0;
    bool isFetching = false;
    int ending = 1;  ///< 0 at the end, or an error; 1 before
    std::vector<PipeReader*> readers;
};

/// A place in a pipe. Used by one thread at a time.
class PipeReader {
public:
    explicit PipeReader(std::shared_ptr<PipeSource> pipe) : source(std::move(pipe)) {}
    ~PipeReader() { source->Leave(*this); }
    PipeReader(PipeReader const&) = delete;
    PipeReader& operator=(PipeReader const&) = delete;

    /// See `PipeSource::Read`.
    int Read(std::uint8_t* buffer, int size, std::atomic<bool> const* stop) {
        return source->Read(*this, buffer, size, stop);
    }
    /// Bytes read so far.
    std::int64_t GetPosition() const { return position; }

private:
    friend class PipeSource;
    std::shared_ptr<PipeSource> source;
    std::int64_t position = 0;
};

}  // namespace Kaltor::Media
