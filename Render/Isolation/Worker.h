#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <sys/types.h>

namespace Kaltor::Render {

/// The process that draws has crashed, or was ended because it took too long. One line that says which.
class WorkerDied : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What two processes say to each other: a number that the user of the channel gives a meaning, and bytes.
struct Message {
    std::uint32_t kind = 0;
    std::vector<std::uint8_t> content;

    /// The content as a plain value. Throws `std::runtime_error` where it has another size.
    template <typename T>
    T As() const {
        static_assert(std::is_trivially_copyable_v<T>);
        if (content.size() != sizeof(T)) {
            throw std::runtime_error("the process that draws has sent something that cannot be understood");
        }
        T value;
        std::memcpy(&value, content.data(), sizeof(T));
        return value;
    }
};

/// One end of a pair of sockets.
class Channel {
public:
    /// Bytes of one message's content, at most.
    static constexpr std::size_t kLongest = 65536;

    explicit Channel(int socket) : descriptor(socket) {}
    ~Channel();
    Channel(Channel const&) = delete;
    Channel& operator=(Channel const&) = delete;

    /// Waits for room. Throws `WorkerDied` where the other end is closed.
    void Send(std::uint32_t kind, void const* content, std::size_t size);
    template <typename T>
    void Send(std::uint32_t kind, T const& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        Send(kind, &value, sizeof(T));
    }
    /// False where the other end is closed.
    bool Receive(Message& message);
    /// Whether there is something to receive, after this time at most.
    bool Wait(std::chrono::milliseconds longest) const;

private:
    int descriptor;
};

/// What the worker's own process knows of it.
class WorkerSide {
public:
    WorkerSide(Channel& toOther, std::atomic<std::int64_t>& aliveAt) : channel(toOther), pulse(aliveAt) {}

    Channel& GetChannel() { return channel; }
    /// To be called several times a second, on one thread: the process is well while the GL ends one task after the
    /// other.
    void Beat();

private:
    Channel& channel;
    std::atomic<std::int64_t>& pulse;
    std::uint64_t lastStep = 0;
};

/// A copy of this process that works apart, so that a crash or an endless wait of the GL driver's is not ours. It ends
/// with the object, and with this process.
///
/// To be made before this process has started the GL or threads of its own: a copy has only the thread that made it.
class Worker {
public:
    /// Numbers of messages from here on are the channel's own.
    static constexpr std::uint32_t kReserved = 0xFFFF0000U;
    /// A driver that has to be loaded, and a compiler of shaders with it, may take longer than any frame.
    static constexpr std::chrono::milliseconds kLongestStart = std::chrono::seconds(30);

    /// `work` runs in the copy, which ends after it. What it throws is thrown by `Receive` here. Throws
    /// `std::runtime_error` where the system has no more processes.
    explicit Worker(std::function<void(WorkerSide&)> const& work);
    ~Worker();
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;

    Channel& GetChannel() { return *channel; }
    pid_t GetProcess() const { return process; }

    /// The next message. Throws `WorkerDied` where the process has died, or has given no sign of being well for
    /// `limit`; then it is ended. Throws `Media::Cancelled` once `isStopped` says so, which is asked several times a
    /// second.
    Message Receive(std::chrono::milliseconds limit, std::function<bool()> const& isStopped);
    /// Time spent waiting so far does not count.
    void Wake();

private:
    [[noreturn]] void Run(std::function<void(WorkerSide&)> const& work, int socket);
    /// Waits for its end; says what that was.
    std::string Reap();

    struct Unmapper {
        void operator()(std::atomic<std::int64_t>* shared) const;
    };
    /// When it was last known to be well, in milliseconds of the steady clock, in memory that both have.
    std::unique_ptr<std::atomic<std::int64_t>, Unmapper> pulse;
    std::unique_ptr<Channel> channel;
    pid_t process = -1;
};

}  // namespace Kaltor::Render
