#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "Media/Ffmpeg.h"

namespace Kaltor::Media {

/// An output that takes bytes in their order only: standard output, a fifo, a device.
class StreamOutput {
public:
    /// Whether a name is one: "-", or what exists and is neither a plain file nor a folder nor a disk.
    static bool IsStream(std::string const& path);
    /// As messages name it.
    static std::string NameOf(std::string const& path);

    /// Opens it; a fifo waits for its reader, until one of the flags is true. They may be null and must outlive it.
    /// Throws `MediaError`, `Cancelled`.
    StreamOutput(std::string const& path, std::atomic<bool> const* cancel, std::atomic<bool> const* stop);
    ~StreamOutput();
    StreamOutput(StreamOutput const&) = delete;
    StreamOutput& operator=(StreamOutput const&) = delete;

    AVIOContext* GetIo() { return io; }
    /// Throws `PipeClosed` or `Cancelled` where that is why writing failed.
    void ThrowReason() const;

private:
    static int Write(void* self, std::uint8_t* bytes, int size);
    int WriteAll(std::uint8_t const* bytes, int size);
    void Open(std::string const& path);
    bool IsUnwanted() const;

    std::string name;
    std::atomic<bool> const* cancel;
    std::atomic<bool> const* stop;
    int file = -1;
    bool isOwn = false;  ///< to be closed
    bool isClosed = false;
    bool isCancelled = false;
    AVIOContext* io = nullptr;
};

}  // namespace Kaltor::Media
