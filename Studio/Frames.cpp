#include "Studio/Frames.h"

#include <algorithm>
#include <chrono>

#include "Core/Interfaces/Exception.h"
#include "Media/Picture.h"
#include "Studio/RequestError.h"

namespace Kaltor::Studio {
namespace {

constexpr std::size_t kMostWaiting = 64;
constexpr std::size_t kMostBytes = std::size_t{128} << 20U;
/// Each has open files and threads.
constexpr std::size_t kMostMakers = 3;
/// Frames that are made ahead while playing.
constexpr std::int64_t kFramesAhead = 12;

}  // namespace

/// A frame that is asked for, by one or more requests.
struct Frames::Job {
    Request request;
    std::uint64_t order = 0;  ///< of the first request of its sequence: the highest one comes first
    std::size_t waiters = 0;
    bool isDone = false;
    Bytes bytes;
    std::exception_ptr error;
};

Frames::Frames() : thread([this] { Work(); }) {}

Frames::~Frames() {
    Stop();
    thread.join();
}

void Frames::Stop() {
    std::lock_guard const lock(mutex);
    isStopped = true;
    changed.notify_all();
}

Bytes Frames::Look(Key const& key) {
    auto const found = index.find(key);
    if (found == index.end()) {
        return nullptr;
    }
    kept.splice(kept.begin(), kept, found->second);
    return kept.front().second;
}

void Frames::Keep(Key const& key, Bytes const& bytes) {
    if (index.contains(key)) {
        return;
    }
    kept.emplace_front(key, bytes);
    index[key] = kept.begin();
    keptBytes += bytes->size();
    while (keptBytes > kMostBytes && kept.size() > 1) {
        keptBytes -= kept.back().second->size();
        index.erase(kept.back().first);
        kept.pop_back();
    }
}

void Frames::DropOlder(Request const& request) {
    if (request.view.empty()) {
        return;
    }
    std::erase_if(waiting, [&](std::shared_ptr<Job> const& job) {
        bool const isOlder = job->request.view == request.view && job->request.sequence < request.sequence;
        if (isOlder) {
            job->isDone = true;
            job->error = std::make_exception_ptr(RequestError(kConflict, "a newer request of this view has come"));
        }
        return isOlder;
    });
}

/// Frames that are asked for one after the other are going to be asked for further on.
void Frames::NoteOrder(Request const& request) {
    bool const goesOn = lastKey && lastKey->plan == request.plan->id && lastKey->width == request.width &&
                        request.number > lastKey->number && request.number <= lastKey->number + 3;
    lastKey = Key{request.plan->id, request.width, request.number};
    if (!goesOn || request.width == 0) {
        ahead = {};
        return;
    }
    bool const isSame = ahead.plan && ahead.plan->id == request.plan->id && ahead.width == request.width;
    ahead.plan = request.plan;
    ahead.width = request.width;
    ahead.next = std::max(isSame ? ahead.next : 0, request.number + 1);
    ahead.end = std::min(request.number + 1 + kFramesAhead, request.plan->plan.frames);
}

Bytes Frames::Get(Request const& request) {
    std::unique_lock lock(mutex);
    if (isStopped) {
        throw RequestError(kGone, "the studio is ending");
    }
    DropOlder(request);
    NoteOrder(request);
    changed.notify_all();
    Key const key{request.plan->id, request.width, request.number};
    if (Bytes bytes = Look(key)) {
        return bytes;
    }
    auto const isSame = [&](std::shared_ptr<Job> const& job) {
        return job && job->request.plan->id == key.plan && job->request.width == key.width &&
               job->request.number == key.number;
    };
    std::shared_ptr<Job> job;
    if (isSame(current)) {
        job = current;
    } else if (auto const found = std::find_if(waiting.begin(), waiting.end(), isSame); found != waiting.end()) {
        job = *found;
        if (request.sequence >= job->request.sequence) {
            job->request.view = request.view;
            job->request.sequence = request.sequence;
        }
    } else {
        if (waiting.size() >= kMostWaiting) {
            throw RequestError(kTooMany, "too many frames are asked for at once");
        }
        job = std::make_shared<Job>();
        job->request = request;
        auto const ofSame = std::find_if(waiting.begin(), waiting.end(), [&](std::shared_ptr<Job> const& other) {
            return !request.view.empty() && other->request.view == request.view &&
                   other->request.sequence == request.sequence;
        });
        job->order = ofSame != waiting.end() ? (*ofSame)->order : ++requests;
        waiting.push_back(job);
        changed.notify_all();
    }
    changed.wait(lock, [&] { return job->isDone || isStopped; });
    if (job->error) {
        std::rethrow_exception(job->error);
    }
    if (!job->bytes) {
        throw RequestError(kGone, "the studio is ending");
    }
    return job->bytes;
}

std::shared_ptr<Frames::Job> Frames::TakeNext() {
    // The first one of the newest sequence.
    auto const next = std::max_element(
        waiting.begin(), waiting.end(),
        [](std::shared_ptr<Job> const& a, std::shared_ptr<Job> const& b) { return a->order < b->order; });
    if (next == waiting.end()) {
        return nullptr;
    }
    std::shared_ptr<Job> job = *next;
    waiting.erase(next);
    return job;
}

std::optional<Frames::Request> Frames::TakeAhead() {
    while (ahead.plan && ahead.next < ahead.end) {
        Key const key{ahead.plan->id, ahead.width, ahead.next};
        if (!index.contains(key)) {
            return Request{ahead.plan, ahead.next++, ahead.width, {}, 0};
        }
        ++ahead.next;
    }
    return std::nullopt;
}

void Frames::Work() {
    std::unique_lock lock(mutex);
    while (!isStopped) {
        current = TakeNext();
        if (!current) {
            if (std::optional<Request> request = TakeAhead()) {
                current = std::make_shared<Job>();
                current->request = std::move(*request);
            } else {
                changed.wait(lock);
                continue;
            }
        }
        std::shared_ptr<Job> const job = current;
        lock.unlock();
        Bytes bytes;
        std::exception_ptr error;
        try {
            bytes = Draw(job->request);
        } catch (...) {
            error = std::current_exception();
        }
        lock.lock();
        job->bytes = bytes;
        job->error = error;
        job->isDone = true;
        if (bytes) {
            Keep({job->request.plan->id, job->request.width, job->request.number}, bytes);
        } else {
            ahead = {};
        }
        current.reset();
        changed.notify_all();
    }
    lock.unlock();
    makers.clear();
}

FrameMaker& Frames::FindMaker(Request const& request) {
    auto const found = std::find_if(makers.begin(), makers.end(), [&](Maker const& maker) {
        return maker.plan == request.plan->id && maker.width == request.width;
    });
    if (found != makers.end()) {
        makers.splice(makers.begin(), makers, found);
        return *makers.front().maker;
    }
    auto maker = std::make_unique<FrameMaker>(request.plan->plan, request.plan->document, request.plan->factory,
                                              request.width);
    makers.push_front({request.plan->id, request.width, std::move(maker), request.plan});
    if (makers.size() > kMostMakers) {
        makers.pop_back();
    }
    return *makers.front().maker;
}

Bytes Frames::Draw(Request const& request) {
    boost::intrusive_ptr<Proc::DataVideoFF> const picture = FindMaker(request).Make(request.number);
    return std::make_shared<std::vector<std::uint8_t> const>(request.width == 0 ? Media::EncodePng(*picture)
                                                                                 : Media::EncodeJpeg(*picture));
}

void Frames::WaitUntilIdle() {
    constexpr std::chrono::milliseconds kLongest(300);
    std::unique_lock lock(mutex);
    changed.wait_for(lock, kLongest, [this] { return (waiting.empty() && !current) || isStopped; });
}

}  // namespace Kaltor::Studio
