#pragma once

#include <thread>

#include "Edit/Plan.h"
#include "Media/BoundedQueue.h"
#include "Proc/Data/AvFrame.h"
#include "Render/Pipeline.h"

namespace Kaltor::Render {

/// Reads a feed's pictures ahead, on a thread of its own, which opens the file and closes it after the last one.
class ClipFeed {
public:
    /// Delivers `count` pictures after the first `skip`. What is given by reference must outlive it.
    ClipFeed(Edit::PlannedFeed const& feed, Media::VideoTarget const& target, std::int64_t skip, std::int64_t count,
             Pipeline& pipeline);
    /// Waits for the thread, which ends soon: its queue is given up.
    ~ClipFeed();
    ClipFeed(ClipFeed const&) = delete;
    ClipFeed& operator=(ClipFeed const&) = delete;

    /// The next picture in the target's form; null where the pipeline was stopped, or an open-ended
    /// feed has ended.
    Proc::AvFramePtr Next();

private:
    void Run(Edit::PlannedFeed const& feed, Media::VideoTarget const& target, std::int64_t skip, std::int64_t count,
             Pipeline& pipeline);

    Media::BoundedQueue<Proc::AvFramePtr> queue;
    std::thread thread;
};

}  // namespace Kaltor::Render
