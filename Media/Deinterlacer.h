#pragma once

#include <deque>
#include <string>

#include "Media/Ffmpeg.h"

namespace Kaltor::Media {

/// Makes a whole picture of the two fields of each interlaced one, from its neighbours in time and place (Weston and
/// Yadif combined, FFmpeg's bwdif). Pictures that are marked as progressive pass as they are.
class Deinterlacer {
public:
    /// `name` is for messages; timestamps are in `timeBase`.
    Deinterlacer(std::string name, AVRational timeBase);

    /// The next decoded picture; null: there are no more.
    void Push(Proc::AvFramePtr picture);
    /// The next whole picture; null where another one has to be pushed first.
    Proc::AvFramePtr Pull();
    /// Forgets all pictures; to be called after a seek.
    void Reset();
    /// Whether an interlaced picture has come since then.
    bool IsActive() const { return graph != nullptr; }

private:
    void Build(AVFrame const& picture);
    void Feed(AVFrame* picture);

    std::string name;
    AVRational timeBase;
    std::deque<Proc::AvFramePtr> ready;
    FilterGraphPtr graph;  ///< from the first interlaced picture on
    AVFilterContext* input = nullptr;
    AVFilterContext* output = nullptr;
    int width = 0;
    int height = 0;
    int format = -1;
};

}  // namespace Kaltor::Media
