#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

#include "Media/StopSignal.h"

namespace Kaltor::Media {

/// Hands items from one thread to another and lets neither run far ahead. The stop signal empties and closes it, so
/// that nobody waits on it then. Thread-safe.
template <typename T>
class BoundedQueue {
public:
    BoundedQueue(std::size_t mostItems, StopSignal& stop) : capacity(mostItems), listener(stop, [this] { Abort(); }) {}

    /// Waits for room. False, and the item is gone, where the queue is closed.
    bool Push(T item) {
        std::unique_lock lock(mutex);
        hasRoom.wait(lock, [this] { return isClosed || items.size() < capacity; });
        if (isClosed) {
            return false;
        }
        items.push_back(std::move(item));
        hasItems.notify_one();
        return true;
    }

    /// Waits for an item. Empty where the queue is closed and nothing is left in it.
    std::optional<T> Pop() {
        std::unique_lock lock(mutex);
        hasItems.wait(lock, [this] { return isClosed || !items.empty(); });
        if (items.empty()) {
            return std::nullopt;
        }
        std::optional<T> item(std::move(items.front()));
        items.pop_front();
        hasRoom.notify_one();
        return item;
    }

    /// Nothing more will come; what is there can still be taken.
    void Close() {
        std::lock_guard const lock(mutex);
        isClosed = true;
        hasItems.notify_all();
        hasRoom.notify_all();
    }

    /// Nothing is wanted any more.
    void Abort() {
        std::deque<T> dropped;  // destroyed outside the lock
        {
            std::lock_guard const lock(mutex);
            isClosed = true;
            dropped.swap(items);
            hasItems.notify_all();
            hasRoom.notify_all();
        }
    }

private:
    std::size_t capacity;
    std::mutex mutex;
    std::condition_variable hasItems;
    std::condition_variable hasRoom;
    std::deque<T> items;
    bool isClosed = false;
    StopSignal::Listener listener;  // last: it may call at once
};

}  // namespace Kaltor::Media
