#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Conf/PixFmt.h"
#include "Ogl/GlContext.h"
#include "Ogl/GlObject.h"
#include "Ogl/IOglTask.h"
#include "Ogl/TexturePool.h"

namespace Kaltor::Ogl {

/// How frames are stored and moved: the one place that distinguishes software GL from GPUs.
struct FrameStrategy {
    /// Colour conversions run on the processor's own threads (libswscale), not in shaders.
    bool convertsOnCpu = false;
    /// Frame textures have blue first, the layout for which software GL has a fast path.
    bool isBlueFirst = false;
    /// Transfers go through pixel buffer objects.
    bool usesPixelBuffers = true;
    /// A texel fetch costs more than the arithmetic around it, so that wide filters need special methods.
    bool areFetchesDear = false;
    /// What was drawn is finished before another texture becomes the target. Software GL draws in batches, and what
    /// shares a batch decides how it rounds; without this the progress of its threads would decide what does.
    bool finishesTargets = false;
    /// Wide filters of pictures of 8 bits run on the processor's own threads: frames are in main memory there, and
    /// these threads are faster than those of software GL.
    bool filtersOnCpu = false;

    static FrameStrategy For(GlInfo const& info);
    bool operator==(FrameStrategy const&) const = default;
};

/// Owns the GL context and the one thread that uses it. Tasks run in the order in which they are submitted.
class OglManager {
public:
    /// Starts the GL thread on first use. Throws `std::runtime_error` if there is no usable GL; every call tries again.
    static OglManager& GetInstance();

    /// Has the context share its objects with another one, which has to live as long as the manager. Throws
    /// `std::logic_error` once the manager has started.
    static void ShareWith(GlShare const& share);

    /// Has the context draw on the processor, also where there is a GPU. Throws `std::logic_error` once the manager has
    /// started.
    static void WantSoftware();

    /// The manager while its GL thread runs: null before the first use, and after the stop at the program's end. Never
    /// starts one. For destructors, which may run that late.
    static OglManager* FindInstance() noexcept;

    ~OglManager();
    OglManager(OglManager const&) = delete;
    OglManager& operator=(OglManager const&) = delete;

    bool IsOpenGLThread() const { return std::this_thread::get_id() == threadId.load(); }
    /// Throws `std::logic_error` on the GL thread, where waiting for a task would never end. Call it before submitting
    /// a task to wait for.
    void RequireOtherThread() const;
    /// Submits a task and returns at once. After the manager has stopped the task fails instead of running; of the
    /// tasks that are still queued then, only those that clean up run.
    void DoBackgroundTask(boost::intrusive_ptr<IOglTask> task);
    /// Runs `action(storage)` on the GL thread and waits for it; rethrows what it throws.
    template <typename Action>
    void Invoke(Action action);

    GlInfo const& GetInfo() const { return info; }
    GlObjectCounts GetObjectCounts() const;
    TexturePool& GetTexturePool() { return *pool; }
    std::size_t GetIdleBufferCount() const;
    /// Rises by one when the GL thread begins a task and when it ends one: odd while it is in a task. Any thread.
    std::uint64_t GetStep() const { return step.load(std::memory_order_relaxed); }

    FrameStrategy GetStrategy() const;
    /// For tests and measurements: frames made before keep their layout. Any thread, with nothing in flight.
    void SetStrategy(FrameStrategy const& strategy);

    /// To be called before the target changes: finishes what was drawn, where the strategy says so. GL thread.
    static void FinishTarget();

    /// Debug builds end the process where the calling thread is not the GL thread.
    static void AssertOpenGLThread();
    /// Takes a name to be deleted: at once on the GL thread, soon after on any other.
    static void Discard(GlKind kind, GLuint name) noexcept;
    static void CountMade(GlKind kind);
    /// The name of a buffer object; a former one is used again if there is one. GL thread.
    static GlObject TakeBuffer();
    static void GiveBack(GlObject buffer) noexcept;
    /// Gives a texture back to the pool.
    static void GiveBack(Texture texture) noexcept;

private:
    OglManager();
    void RunThread();
    void DeleteDiscarded(std::unique_lock<std::mutex>& lock);

    GlInfo info;
    FrameStrategy strategy;
    std::unique_ptr<TexturePool> pool;
    std::vector<GlObject> idleBuffers;
    mutable std::mutex mutex;
    std::condition_variable wake;
    std::deque<boost::intrusive_ptr<IOglTask>> queue;
    std::vector<std::pair<GlKind, GLuint>> discarded;
    GlObjectCounts counts;
    std::exception_ptr startError;
    enum class State : std::uint8_t { Starting, Running, Stopping, Stopped } state = State::Starting;
    std::condition_variable started;
    std::atomic<std::thread::id> threadId;
    std::atomic<std::uint64_t> step{0};
    std::thread thread;
};

/// The pixel formats in which `Frame::Upload` takes frames without an extra conversion, best first.
std::vector<PixFmt> GetSupportedPxlFmt();

template <typename Action>
void OglManager::Invoke(Action action) {
    class ActionTask final : public IOglTask {
    public:
        explicit ActionTask(Action& toRun) : IOglTask(OglCapability::Render, nullptr), run(toRun) {}
        void Run(OglCapability, ShaderStorage const& storage) override { run(storage); }

    private:
        Action& run;
    };
    RequireOtherThread();
    boost::intrusive_ptr<IOglTask> const task(new ActionTask(action));
    DoBackgroundTask(task);
    task->WaitForComplete();
}

}  // namespace Kaltor::Ogl
