#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Kaltor::Ogl {

/// Calls `work` compiled for AVX2 where the machine has it: a lambda that is always inlined, as is all that takes time.
#if defined(__x86_64__)
template <typename Work>
[[gnu::target("avx2")]] void RunWide(Work const& work) {
    work();
}
template <typename Work>
void RunWidest(Work const& work) {
    static bool const kHasWide = __builtin_cpu_supports("avx2") != 0;
    kHasWide ? RunWide(work) : work();
}
#else
template <typename Work>
void RunWidest(Work const& work) {
    work();
}
#endif

/// Threads of the processor, for what they do faster than software GL draws it. They start with the first work.
class Processor {
public:
    Processor() = default;
    ~Processor();
    Processor(Processor const&) = delete;
    Processor& operator=(Processor const&) = delete;

    using Work = std::function<void(std::size_t)>;
    /// Calls `work(i)` once for each i below `count`, on several threads, the calling one among them, and waits for
    /// all. Rethrows the first exception; what had not begun then is left out. One caller at a time.
    void ForEach(std::size_t count, Work const& work);

    /// At least one.
    static std::size_t CountThreads();

    /// Memory for this many bytes, aligned for vectors. Each of the `kPlaces` keeps its memory for the next use; the
    /// content is undefined. One caller at a time.
    std::uint8_t* Memory(std::size_t place, std::size_t bytes);
    static constexpr std::size_t kPlaces = 3;

private:
    struct Job {
        Work const* work = nullptr;
        std::size_t count = 0;
    };
    void Start();
    void RunThread();
    void DoShare(Job const& job);

    std::vector<std::thread> threads;
    std::array<std::vector<std::uint8_t>, kPlaces> memory;
    std::mutex mutex;
    std::condition_variable wake;
    std::condition_variable done;
    Job current;
    std::uint64_t generation = 0;  ///< of `current`
    std::size_t busy = 0;          ///< threads that have not finished their share of it
    std::exception_ptr error;
    bool isStopping = false;
    std::atomic<std::size_t> next{0};
};

}  // namespace Kaltor::Ogl
