#include "Media/ClipFeed.h"

namespace Kaltor::Media {
namespace {

/// Enough for decoding, which comes in bursts, to go on beside the other stages.
constexpr std::size_t kReadAhead = 6;

}  // namespace

ClipFeed::ClipFeed(PlannedClip const& clip, VideoTarget const& target, Pipeline& pipeline)
    : queue(kReadAhead, pipeline.GetStop()), thread([this, &clip, &target, &pipeline] {
          try {
              Run(clip, target, pipeline);
          } catch (...) {
              pipeline.Fail(std::current_exception());
          }
          queue.Close();
      }) {}

ClipFeed::~ClipFeed() {
    queue.Abort();
    thread.join();
}

void ClipFeed::Run(PlannedClip const& clip, VideoTarget const& target, Pipeline& pipeline) {
    // A file that is cut off was reported when it was examined.
    WarningFn warn;
    if (!clip.info.declaredDuration) {
        warn = [&pipeline](std::string const& message) { pipeline.Warn(message); };
    }
    VideoReader reader(clip.path, target, clip.start, warn, {clip.allowPlaylists, pipeline.GetStop().GetFlag()});
    for (std::int64_t i = 0; i < clip.frames; ++i) {
        if (!queue.Push(reader.Read())) {
            return;
        }
    }
}

Proc::AvFramePtr ClipFeed::Next() {
    std::optional<Proc::AvFramePtr> picture = queue.Pop();
    return picture ? std::move(*picture) : nullptr;
}

}  // namespace Kaltor::Media
