#pragma once

#include <thread>

#include "Media/BoundedQueue.h"
#include "Media/Pipeline.h"
#include "Media/Timeline.h"
#include "Proc/Data/AvFrame.h"

namespace Kaltor::Media {

/// Reads one clip's pictures ahead, on a thread of its own, which opens the file and closes it after the last one.
class ClipFeed {
public:
    /// All must outlive it.
    ClipFeed(PlannedClip const& clip, VideoTarget const& target, Pipeline& pipeline);
    /// Waits for the thread, which ends soon: its queue is given up.
    ~ClipFeed();
    ClipFeed(ClipFeed const&) = delete;
    ClipFeed& operator=(ClipFeed const&) = delete;

    /// The next picture in the target's form; null where the pipeline was stopped.
    Proc::AvFramePtr Next();

private:
    void Run(PlannedClip const& clip, VideoTarget const& target, Pipeline& pipeline);

    BoundedQueue<Proc::AvFramePtr> queue;
    std::thread thread;
};

}  // namespace Kaltor::Media
