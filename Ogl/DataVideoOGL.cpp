#include "Ogl/DataVideoOGL.h"

#include <algorithm>
#include <utility>

#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {

/// Runs the task chain of one frame.
class DataVideoOGL::ChainTask final : public IOglTask {
public:
    explicit ChainTask(DataVideoOGL& owner) : IOglTask(OglCapability::Render, nullptr), frame(&owner) {}
    void Run(OglCapability, ShaderStorage const& storage) override {
        boost::intrusive_ptr<DataVideoOGL> const kept = std::move(frame);
        kept->RunTasks(storage);
    }

private:
    boost::intrusive_ptr<DataVideoOGL> frame;
};

/// A task that carries an earlier error through a chain.
class DataVideoOGL::FailedTask final : public IOglTask {
public:
    explicit FailedTask(std::exception_ptr const& reason) : IOglTask(OglCapability::Render, nullptr) { Fail(reason); }
    void Run(OglCapability, ShaderStorage const&) override {}
};

void DataVideoOGL::AttachTask(boost::intrusive_ptr<IOglTask> task) {
    std::lock_guard const lock(mutex);
    if (!error) {
        ownTasks.push_back(std::move(task));
    }
}

void DataVideoOGL::ConcatenateTasks(boost::intrusive_ptr<DataVideoOGL> const& source) {
    if (!source || source.get() == this) {
        return;
    }
    // The source keeps its tasks: another frame may be made from it, and whichever runs first draws it for both.
    std::scoped_lock const lock(mutex, source->mutex);
    if (error) {
        return;
    }
    if (source->error) {
        inputTasks.push_back({new FailedTask(source->error)});
    }
    inputTasks.insert(inputTasks.end(), source->inputTasks.begin(), source->inputTasks.end());
    inputTasks.insert(inputTasks.end(), source->ownTasks.begin(), source->ownTasks.end());
    if (GetColorSpec() == ColorSpec{}) {
        SetColorSpec(source->GetColorSpec());
    }
}

void DataVideoOGL::Execute() {
    {
        std::lock_guard const lock(mutex);
        if (error) {
            std::rethrow_exception(error);
        }
        if (inputTasks.empty() && ownTasks.empty()) {
            return;
        }
    }
    OglManager& manager = OglManager::GetInstance();
    manager.RequireOtherThread();
    boost::intrusive_ptr<IOglTask> const chain(new ChainTask(*this));
    manager.DoBackgroundTask(chain);
    chain->WaitForComplete();
}

void DataVideoOGL::RunTasks(ShaderStorage const& storage) {
    using Tasks = std::vector<boost::intrusive_ptr<IOglTask>>;
    // Tasks leave the frame only on the GL thread, after they have run. A caller that concatenates before that gets the
    // tasks; one that comes later gets the error.
    Tasks tasks;
    std::unique_lock lock(mutex);
    tasks = inputTasks;
    auto const inputs = static_cast<Tasks::difference_type>(tasks.size());
    tasks.insert(tasks.end(), ownTasks.begin(), ownTasks.end());
    auto const own = static_cast<Tasks::difference_type>(tasks.size()) - inputs;
    std::exception_ptr failure = error;
    lock.unlock();
    for (auto task = tasks.begin(); task != tasks.end() && !failure; ++task) {
        (*task)->Perform(storage);
        failure = (*task)->GetError();
    }
    lock.lock();
    if (!failure) {
        inputTasks.erase(inputTasks.begin(), inputTasks.begin() + inputs);
        ownTasks.erase(ownTasks.begin(), ownTasks.begin() + own);
        return;
    }
    error = failure;
    Tasks const droppedInputs = std::exchange(inputTasks, {});
    Tasks const droppedOwn = std::exchange(ownTasks, {});
    lock.unlock();
    std::rethrow_exception(failure);
}

std::optional<ColorSpec> DataVideoOGL::FindPlaneTags(std::span<boost::intrusive_ptr<DataVideoOGL> const> inputs) {
    Conf::FrameInfo const& info = GetFrameInfo();
    if (GetPixFmt() != kOpaqueFormat || frame.IsValid()) {
        return std::nullopt;
    }
    std::optional<ColorSpec> tags;
    for (boost::intrusive_ptr<DataVideoOGL> const& input : inputs) {
        Frame const picture = input->FrameData();
        // What tags are left out may depend on the height.
        ColorSpec const spec = picture.GetColorSpec().Resolved(picture.GetHeight());
        if (!picture.IsOnPlanes() || picture.GetColorSpec().Resolved(info.height) != spec ||
            tags.value_or(spec) != spec) {
            return std::nullopt;
        }
        tags = spec;
    }
    return tags;
}

void DataVideoOGL::DrawOnPlanes(ColorSpec const& spec) {
    frame.AllocateOnPlanes(GetFrameInfo().width, GetFrameInfo().height, spec);
}

void DataVideoOGL::WriteInMemory(std::span<boost::intrusive_ptr<DataVideoOGL> const> inputs) {
    auto const isInMemory = [](auto const& input) {
        Frame const picture = input->FrameData();
        return picture.IsOnPlanes() || picture.GetRgbInMemory() != nullptr;
    };
    bool const isWanted = OglManager::GetInstance().GetStrategy().filtersOnCpu && GetPixFmt() == kOpaqueFormat;
    if (isWanted && !frame.IsValid() && std::all_of(inputs.begin(), inputs.end(), isInMemory)) {
        frame.AllocateRgbInMemory(GetFrameInfo().width, GetFrameInfo().height, GetColorSpec());
    }
}

Frame DataVideoOGL::FrameData() {
    OglManager::AssertOpenGLThread();
    if (error) {
        std::rethrow_exception(error);
    }
    if (!frame.IsValid() && GetPixFmt() == PixFmt::Yuv420p && OglManager::GetInstance().GetStrategy().convertsOnCpu) {
        frame.AllocateInMemory(GetFrameInfo().width, GetFrameInfo().height);
    } else if (!frame.IsValid()) {
        frame.Allocate(GetPixFmt(), GetFrameInfo().width, GetFrameInfo().height);
    }
    frame.SetColorSpec(GetColorSpec());
    return frame;
}

std::size_t DataVideoOGL::GetPendingTaskCount() const {
    std::lock_guard const lock(mutex);
    return inputTasks.size() + ownTasks.size();
}

}  // namespace Kaltor::Ogl
