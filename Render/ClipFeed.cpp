#include "Render/ClipFeed.h"

#include "Render/Player.h"

namespace Kaltor::Render {
namespace {

/// Enough for decoding, which comes in bursts, to go on beside the other stages.
constexpr std::size_t kReadAhead = 6;

}  // namespace

ClipFeed::ClipFeed(Edit::PlannedFeed const& feed, Media::VideoTarget const& target, std::int64_t skip,
                   std::int64_t count, Pipeline& pipeline)
    : queue(kReadAhead, pipeline.GetStop()), thread([this, &feed, &target, skip, count, &pipeline] {
          try {
              Run(feed, target, skip, count, pipeline);
          } catch (...) {
              pipeline.Fail(std::current_exception());
          }
          queue.Close();
      }) {}

ClipFeed::~ClipFeed() {
    queue.Abort();
    thread.join();
}

void ClipFeed::Run(Edit::PlannedFeed const& feed, Media::VideoTarget const& target, std::int64_t skip,
                   std::int64_t count, Pipeline& pipeline) {
    // A file that is cut off was reported when it was examined.
    Media::WarningFn warn;
    if (!feed.info.declaredDuration) {
        warn = [&pipeline](std::string const& message) { pipeline.Warn(message); };
    }
    Player player(feed, target, warn, Edit::RulesFor(feed, pipeline.GetStop().GetFlag()), skip);
    for (std::int64_t i = 0; i < count && !player.IsAtEnd(); ++i) {
        if (!queue.Push(player.Next())) {
            return;
        }
    }
}

Proc::AvFramePtr ClipFeed::Next() {
    std::optional<Proc::AvFramePtr> picture = queue.Pop();
    return picture ? std::move(*picture) : nullptr;
}

}  // namespace Kaltor::Render
