#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Studio/FrameMaker.h"
#include "Studio/Plans.h"

namespace Kaltor::Studio {

using Bytes = std::shared_ptr<std::vector<std::uint8_t> const>;

/// Makes the frames that pages ask for, on a thread of its own: the last request comes first, and what a view has
/// asked for before is left out. Keeps those that were made, up to a limit, and makes the next ones ahead while
/// frames are asked for one after the other. Thread-safe.
class Frames {
public:
    Frames();
    ~Frames();
    Frames(Frames const&) = delete;
    Frames& operator=(Frames const&) = delete;

    struct Request {
        std::shared_ptr<PlannedDocument const> plan;
        std::int64_t number = 0;
        std::uint32_t width = 0;  ///< 0: PNG of the full size; otherwise JPEG
        /// Whose request it is: one with a higher `sequence` drops those of the same view that wait.
        std::string view;
        std::int64_t sequence = 0;
    };

    /// Waits for the frame. Throws `RequestError` where the request was dropped or too many wait, and what makes
    /// frames throws.
    Bytes Get(Request const& request);

    /// Waits until no frame is asked for, for a while: for work that can wait.
    void WaitUntilIdle();
    /// Requests fail from now on.
    void Stop();

private:
    struct Key {
        std::string plan;
        std::uint32_t width;
        std::int64_t number;
        auto operator<=>(Key const&) const = default;
    };
    struct Job;
    struct Maker {
        std::string plan;
        std::uint32_t width;
        std::unique_ptr<FrameMaker> maker;
        std::shared_ptr<PlannedDocument const> document;
    };
    /// Frames that will be asked for soon.
    struct Ahead {
        std::shared_ptr<PlannedDocument const> plan;
        std::uint32_t width = 0;
        std::int64_t next = 0;
        std::int64_t end = 0;
    };

    void Work();
    void DropOlder(Request const& request);
    std::shared_ptr<Job> TakeNext();
    std::optional<Request> TakeAhead();
    void NoteOrder(Request const& request);
    Bytes Draw(Request const& request);
    FrameMaker& FindMaker(Request const& request);
    Bytes Look(Key const& key);
    void Keep(Key const& key, Bytes const& bytes);

    std::mutex mutex;
    std::condition_variable changed;
    std::list<std::shared_ptr<Job>> waiting;
    std::shared_ptr<Job> current;
    std::uint64_t requests = 0;
    bool isStopped = false;

    std::list<std::pair<Key, Bytes>> kept;  ///< the last used one first
    std::map<Key, std::list<std::pair<Key, Bytes>>::iterator> index;
    std::size_t keptBytes = 0;
    std::optional<Key> lastKey;
    Ahead ahead;

    std::list<Maker> makers;  ///< of the thread's, the last used one first
    std::thread thread;
};

}  // namespace Kaltor::Studio
