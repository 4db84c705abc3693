#include "Ogl/Processor.h"

#include <algorithm>
#include <utility>

namespace Kaltor::Ogl {
namespace {

constexpr std::size_t kAlignment = 64;
constexpr std::size_t kMostThreads = 16;

}  // namespace

Processor::~Processor() {
    {
        std::lock_guard const lock(mutex);
        isStopping = true;
    }
    wake.notify_all();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

std::size_t Processor::CountThreads() {
    static std::size_t const count = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMostThreads);
    return count;
}

void Processor::Start() {
    while (threads.size() + 1 < CountThreads()) {
        threads.emplace_back([this] { RunThread(); });
    }
}

void Processor::ForEach(std::size_t count, Work const& work) {
    Start();
    Job const job{&work, count};
    {
        std::lock_guard const lock(mutex);
        current = job;
        ++generation;
        busy = threads.size();
        next = 0;
    }
    wake.notify_all();
    DoShare(job);
    std::unique_lock lock(mutex);
    done.wait(lock, [this] { return busy == 0; });
    if (std::exception_ptr const first = std::exchange(error, nullptr)) {
        std::rethrow_exception(first);
    }
}

void Processor::RunThread() {
    std::uint64_t seen = 0;
    std::unique_lock lock(mutex);
    while (true) {
        wake.wait(lock, [&] { return isStopping || generation != seen; });
        if (isStopping) {
            return;
        }
        seen = generation;
        Job const job = current;
        lock.unlock();
        DoShare(job);
        lock.lock();
        if (--busy == 0) {
            done.notify_one();
        }
    }
}

void Processor::DoShare(Job const& job) {
    try {
        for (std::size_t i = next++; i < job.count; i = next++) {
            (*job.work)(i);
        }
    } catch (...) {
        next = job.count;
        std::lock_guard const lock(mutex);
        if (!error) {
            error = std::current_exception();
        }
    }
}

std::uint8_t* Processor::Memory(std::size_t place, std::size_t bytes) {
    std::vector<std::uint8_t>& bytesOfPlace = memory[place];
    if (bytesOfPlace.size() < bytes + kAlignment) {
        bytesOfPlace = {};  // so that the old memory is not copied
        bytesOfPlace.resize(bytes + kAlignment);
    }
    auto const address = reinterpret_cast<std::uintptr_t>(bytesOfPlace.data());
    return bytesOfPlace.data() + (kAlignment - address % kAlignment) % kAlignment;
}

}  // namespace Kaltor::Ogl
