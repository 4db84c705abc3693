#include "Ogl/OglManager.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <pthread.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Ogl/ShaderStorage.h"

namespace Kaltor::Ogl {
namespace {

/// The manager while its GL thread runs. Objects that outlive it have nothing to free: their names were deleted with
/// the context.
std::atomic<OglManager*> liveManager{nullptr};

/// What the context will share its objects with. Written before the GL thread starts.
GlShare wantedShare;
bool wantsSoftware = false;

}  // namespace

FrameStrategy FrameStrategy::For(GlInfo const& info) {
    return {.convertsOnCpu = info.isSoftware,
            .isBlueFirst = info.isSoftware,
            .usesPixelBuffers = !info.isSoftware,
            .areFetchesDear = info.isSoftware,
            .finishesTargets = info.isSoftware,
            .filtersOnCpu = info.isSoftware};
}

std::vector<PixFmt> GetSupportedPxlFmt() {
    if (OglManager::GetInstance().GetStrategy().convertsOnCpu) {
        return {PixFmt::Bgrx, PixFmt::Bgra, PixFmt::Yuv420p, PixFmt::RgbF16, PixFmt::RgbaF16};
    }
    return {PixFmt::Rgba,      PixFmt::Rgb24,     PixFmt::Bgra,   PixFmt::Bgrx,   PixFmt::Yuv420p,
            PixFmt::Yuv422p,   PixFmt::Yuv444p,   PixFmt::Nv12,   PixFmt::Gray8,  PixFmt::Yuv420p10,
            PixFmt::Yuv422p10, PixFmt::Yuv444p10, PixFmt::RgbF16, PixFmt::RgbaF16};
}

OglManager& OglManager::GetInstance() {
    // In a copy of the process the GL thread does not exist: what waits for it, as the destructor does, would wait
    // forever. There the manager has stopped, and is never destroyed.
    struct Deleter {
        pid_t owner = getpid();
        void operator()(OglManager* owned) const {
            if (getpid() == owner) {
                delete owned;
            }
        }
    };
    static std::unique_ptr<OglManager, Deleter> const manager(new OglManager);
    thread_local OglManager* locked = nullptr;
    static int const isHandled = pthread_atfork(
        [] {
            locked = liveManager;
            if (locked != nullptr) {
                locked->mutex.lock();  // so that the copy gets it unlocked
            }
        },
        [] {
            if (locked != nullptr) {
                locked->mutex.unlock();
            }
        },
        [] {
            if (locked != nullptr) {
                locked->state = State::Stopped;
                locked->mutex.unlock();
                liveManager = nullptr;
            }
        });
    static_cast<void>(isHandled);
    return *manager;
}

void OglManager::ShareWith(GlShare const& share) {
    if (liveManager != nullptr) {
        Core::Throw(std::logic_error("OpenGL has started: what it shares its objects with is to be said before"));
    }
    wantedShare = share;
}

void OglManager::WantSoftware() {
    if (liveManager != nullptr) {
        Core::Throw(std::logic_error("OpenGL has started: what draws is to be said before"));
    }
    ::setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);  // Mesa's drivers read it
    wantsSoftware = true;
}

OglManager* OglManager::FindInstance() noexcept {
    return liveManager;
}

OglManager::OglManager() : pool(std::make_unique<TexturePool>()) {
    thread = std::thread([this] { RunThread(); });
    std::unique_lock lock(mutex);
    started.wait(lock, [this] { return state != State::Starting; });
    if (startError) {
        lock.unlock();
        thread.join();
        std::rethrow_exception(startError);
    }
}

OglManager::~OglManager() {
    {
        std::lock_guard const lock(mutex);
        state = State::Stopping;
    }
    wake.notify_one();
    thread.join();
}

void OglManager::RunThread() {
    std::unique_ptr<GlContext> context;
    std::unique_ptr<ShaderStorage> storage;
    threadId = std::this_thread::get_id();
    try {
        context = wantedShare.display == nullptr ? std::make_unique<GlContext>(wantsSoftware)
                                                 : std::make_unique<GlContext>(wantedShare);
        info = context->GetInfo();
        strategy = FrameStrategy::For(info);
        liveManager = this;
        storage = std::make_unique<ShaderStorage>();
    } catch (...) {
        startError = std::current_exception();
        liveManager = nullptr;
    }
    std::unique_lock lock(mutex);
    state = startError ? State::Stopped : State::Running;
    started.notify_one();
    if (startError) {
        return;
    }
    while (true) {
        wake.wait(lock, [this] { return !queue.empty() || !discarded.empty() || state == State::Stopping; });
        DeleteDiscarded(lock);
        if (state == State::Stopping) {
            break;
        }
        if (queue.empty()) {
            continue;
        }
        boost::intrusive_ptr<IOglTask> task = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        step.fetch_add(1, std::memory_order_relaxed);
        task->Perform(*storage);
        step.fetch_add(1, std::memory_order_relaxed);
        task.reset();
        lock.lock();
    }
    // As long as there is a context, GL objects are still freed. Waiting for any other task ends with an error.
    std::deque<boost::intrusive_ptr<IOglTask>> rest = std::exchange(queue, {});
    state = State::Stopped;
    lock.unlock();
    for (boost::intrusive_ptr<IOglTask> const& task : rest) {
        if (task->GetCapability() == OglCapability::Cleanup) {
            task->Perform(*storage);
        } else {
            task->Fail(std::make_exception_ptr(std::runtime_error("the GL manager has stopped")));
        }
    }
    rest.clear();
    storage.reset();
    pool->Clear();
    std::vector<GlObject>().swap(idleBuffers);
    lock.lock();
    DeleteDiscarded(lock);
    liveManager = nullptr;
}

void OglManager::DeleteDiscarded(std::unique_lock<std::mutex>& lock) {
    if (discarded.empty()) {
        return;
    }
    std::vector<std::pair<GlKind, GLuint>> const names = std::exchange(discarded, {});
    lock.unlock();
    for (auto const& [kind, name] : names) {
        DeleteGlName(kind, name);
    }
    lock.lock();
}

void OglManager::DoBackgroundTask(boost::intrusive_ptr<IOglTask> task) {
    {
        std::lock_guard const lock(mutex);
        if (state == State::Running) {
            queue.push_back(std::move(task));
        }
    }
    if (task) {
        task->Fail(std::make_exception_ptr(std::runtime_error("the GL manager has stopped")));
        return;
    }
    wake.notify_one();
}

GlObjectCounts OglManager::GetObjectCounts() const {
    std::lock_guard const lock(mutex);
    return counts;
}

std::size_t OglManager::GetIdleBufferCount() const {
    std::lock_guard const lock(mutex);
    return idleBuffers.size();
}

FrameStrategy OglManager::GetStrategy() const {
    std::lock_guard const lock(mutex);
    return strategy;
}

void OglManager::SetStrategy(FrameStrategy const& wanted) {
    std::lock_guard const lock(mutex);
    strategy = wanted;
}

void OglManager::RequireOtherThread() const {
    if (IsOpenGLThread()) {
        Core::Throw(std::logic_error("a GL task cannot be waited for on the GL thread"));
    }
}

void OglManager::FinishTarget() {
    OglManager const* const manager = liveManager;
    if (manager != nullptr && manager->GetStrategy().finishesTargets) {
        glFinish();
    }
}

void OglManager::AssertOpenGLThread() {
#ifndef NDEBUG
    OglManager const* const manager = liveManager;
    if (manager != nullptr && !manager->IsOpenGLThread()) {
        std::abort();
    }
#endif
}

void OglManager::Discard(GlKind kind, GLuint name) noexcept {
    OglManager* const manager = liveManager;
    if (manager == nullptr) {
        return;
    }
    bool const isHere = manager->IsOpenGLThread();
    {
        std::lock_guard const lock(manager->mutex);
        --manager->counts.alive[static_cast<std::size_t>(kind)];
        if (!isHere) {
            manager->discarded.emplace_back(kind, name);
        }
    }
    if (isHere) {
        DeleteGlName(kind, name);
    } else {
        manager->wake.notify_one();
    }
}

void OglManager::CountMade(GlKind kind) {
    OglManager& manager = *liveManager.load();
    std::lock_guard const lock(manager.mutex);
    ++manager.counts.alive[static_cast<std::size_t>(kind)];
    ++manager.counts.made[static_cast<std::size_t>(kind)];
}

GlObject OglManager::TakeBuffer() {
    OglManager& manager = *liveManager.load();
    {
        std::lock_guard const lock(manager.mutex);
        if (!manager.idleBuffers.empty()) {
            GlObject buffer = std::move(manager.idleBuffers.back());
            manager.idleBuffers.pop_back();
            return buffer;
        }
    }
    return GlObject(GlKind::Buffer);
}

void OglManager::GiveBack(GlObject buffer) noexcept {
    constexpr std::size_t kMostIdle = 64;
    OglManager* const manager = liveManager;
    if (manager == nullptr) {
        return;
    }
    std::lock_guard const lock(manager->mutex);
    if (manager->idleBuffers.size() < kMostIdle) {
        manager->idleBuffers.push_back(std::move(buffer));
    }
}

void OglManager::GiveBack(Texture texture) noexcept {
    OglManager* const manager = liveManager;
    if (manager != nullptr) {
        manager->pool->GiveBack(std::move(texture));
    }
}

}  // namespace Kaltor::Ogl
