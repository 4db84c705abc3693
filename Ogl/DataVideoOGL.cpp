#include "Ogl/DataVideoOGL.h"

#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {

/// Runs the chain of one frame.
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

void DataVideoOGL::AttachTask(boost::intrusive_ptr<IOglTask> task) {
    std::lock_guard const lock(mutex);
    ownTasks.push_back(std::move(task));
}

void DataVideoOGL::ConcatenateTasks(boost::intrusive_ptr<DataVideoOGL> const& source) {
    if (!source || source.get() == this) {
        return;
    }
    // The source keeps its tasks: another frame may be made from it, and whichever runs first draws it for both.
    std::scoped_lock const lock(mutex, source->mutex);
    inputTasks.insert(inputTasks.end(), source->inputTasks.begin(), source->inputTasks.end());
    inputTasks.insert(inputTasks.end(), source->ownTasks.begin(), source->ownTasks.end());
    if (GetColorSpec() == ColorSpec{}) {
        SetColorSpec(source->GetColorSpec());
    }
}

void DataVideoOGL::Execute() {
    if (GetPendingTaskCount() == 0) {
        return;
    }
    OglManager& manager = OglManager::GetInstance();
    manager.RequireOtherThread();
    boost::intrusive_ptr<IOglTask> const chain(new ChainTask(*this));
    manager.DoBackgroundTask(chain);
    chain->WaitForComplete();
}

void DataVideoOGL::RunTasks(ShaderStorage const& storage) {
    std::vector<boost::intrusive_ptr<IOglTask>> tasks;
    {
        // Only here, on the GL thread, do tasks leave the frame: as long as one is pending, whoever concatenates sees
        // it.
        std::lock_guard const lock(mutex);
        tasks.swap(inputTasks);
        tasks.insert(tasks.end(), ownTasks.begin(), ownTasks.end());
        ownTasks.clear();
    }
    for (boost::intrusive_ptr<IOglTask> const& task : tasks) {
        task->Perform(storage);
        if (std::exception_ptr const error = task->GetError()) {
            std::rethrow_exception(error);
        }
    }
}

Frame DataVideoOGL::FrameData() {
    OglManager::AssertOpenGLThread();
    if (!frame.IsValid()) {
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
