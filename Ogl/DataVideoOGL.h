#pragma once

#include <exception>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "Ogl/Frame.h"
#include "Ogl/IOglTask.h"
#include "Proc/Interfaces/IData.h"

namespace Kaltor::Ogl {

/// A video frame on the GPU with the tasks that are still to draw it. The tasks of one frame run in the order in which
/// they were attached; a task that several frames wait for runs once. A frame with a task that failed has no picture:
/// it keeps the error, and every later use throws it. Any thread, except for `FrameData`.
class DataVideoOGL final : public Proc::DataVideoBase<Proc::IDataVideo> {
public:
    /// An empty frame: its textures are made when it is first drawn.
    static boost::intrusive_ptr<DataVideoOGL> Create(PixFmt format, Conf::FrameInfo const& info) {
        return {new DataVideoOGL(format, info)};
    }

    void AttachTask(boost::intrusive_ptr<IOglTask> task);
    /// Puts the pending tasks of `source`, or its error, in front of this frame's own tasks and behind those that were
    /// put there before. Takes the source's colour tags if this frame has none. A null source changes nothing.
    void ConcatenateTasks(boost::intrusive_ptr<DataVideoOGL> const& source);
    /// Runs the pending tasks on the GL thread and waits for them. Rethrows the error of the first task that fails, now
    /// and in every later call; the tasks behind it are dropped.
    void Execute();

    /// The tags of all inputs, resolved, if this frame can be drawn on planes in main memory instead of a texture: the
    /// inputs lie on such planes with the same tags. GL thread, before it is drawn.
    std::optional<ColorSpec> FindPlaneTags(std::span<boost::intrusive_ptr<DataVideoOGL> const> inputs);
    /// Has the frame be drawn on planes with these tags.
    void DrawOnPlanes(ColorSpec const& spec);
    /// Has the frame be written by the processor's own threads as R'G'B' in main memory, if the strategy has them
    /// filter, all inputs lie there, and it is not on planes. GL thread, before it is drawn.
    void WriteInMemory(std::span<boost::intrusive_ptr<DataVideoOGL> const> inputs);
    /// The frame's picture. Rethrows the frame's error. GL thread only.
    Frame FrameData();

    std::size_t GetPendingTaskCount() const;

private:
    class ChainTask;
    class FailedTask;

    DataVideoOGL(PixFmt format, Conf::FrameInfo const& info) : DataVideoBase(format, info) {}
    void RunTasks(ShaderStorage const& storage);

    mutable std::mutex mutex;
    std::vector<boost::intrusive_ptr<IOglTask>> inputTasks;
    std::vector<boost::intrusive_ptr<IOglTask>> ownTasks;
    std::exception_ptr error;  ///< written on the GL thread only
    Frame frame;
};

}  // namespace Kaltor::Ogl
