#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Edit/Plan.h"
#include "Media/MediaInfo.h"
#include "Media/MediaWriter.h"
#include "Media/VideoReader.h"
#include "Proc/Interfaces/IEffectFactory.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Render {

/// How files are decoded and frames drawn in a process of their own.
struct Isolation {
    /// How long the GL may take for one frame.
    std::chrono::milliseconds limit = std::chrono::seconds(30);
    /// Where that process dies, another one goes on with software GL.
    bool retries = false;
};

/// A video to be made.
struct RenderJob {
    Edit::Document document;
    /// The document's plan where it was made already; it must outlive the call.
    Edit::Plan const* plan = nullptr;
    std::string output;
    bool overwrite = false;
    /// See `InputRules`.
    bool allowPlaylists = false;
    /// The encoder may print.
    bool isVerbose = false;
    /// What a source has and the output does not carry is an error instead of a warning.
    bool isStrict = false;
    /// A sequence of pictures goes on after those that are there; each appears as soon as it is whole.
    bool isResumed = false;
    /// See `Edit::PlanOptions`.
    std::string documentName;
    /// The piece of the whole that is made, in seconds: its frames are those of the whole.
    struct Range {
        double begin = 0.0;
        std::optional<double> end;
    };
    std::optional<Range> range;
    /// The same, counted in frames; wins over `range`.
    struct FrameSpan {
        std::int64_t first = 0;
        std::int64_t end = 0;  ///< not among them
    };
    std::optional<FrameSpan> frames;
    /// What of it is made. The sound alone is always that of the whole video.
    enum class Content : std::uint8_t { All, Pictures, Sound };
    Content content = Content::All;

    /// The largest side of a picture that the effects can take, in pixels. Asked at most once, where something is
    /// drawn, and perhaps on another thread.
    std::function<std::uint32_t()> getMaximumSide;
    /// Where something is drawn, that happens in another process; this one never starts the GL. `Render` is to be
    /// called before it has started, and before there are threads that matter.
    std::optional<Isolation> isolation;

    /// The callbacks are called on the thread that called `Render`. The total is 0 where a pipe's end decides.
    std::function<void(AVRational frameRate)> onStart;
    std::function<void(std::int64_t framesDone, std::int64_t framesTotal)> onProgress;
    Media::WarningFn onWarning;
    /// Rendering stops soon after it becomes true. Must outlive the call.
    std::atomic<bool> const* cancel = nullptr;
};

struct RenderResult {
    std::int64_t frames = 0;
    AVRational frameRate{30, 1};
    Conf::FrameInfo frame;
    std::string codec;
    bool hasSound = false;
    std::string container;
    std::string pixelFormat;
    std::optional<Media::SoundFormat> sound;
    std::int64_t bytes = 0;  ///< that were written
    /// Frames that an effect or a transition made; the others went from the decoder to the encoder.
    std::int64_t processedFrames = 0;
    /// See `MediaWriter::GetSoundDelay`.
    int soundDelay = 0;
};

/// Makes the video. Effects come from `factory` under the implementation name `OGL`; frame k has the timestamp k / rate
/// in microseconds. An effect's progress is k / n over the n frames of its clip, a transition's k / n over its n
/// frames: 0 on the first one, and 1 on the frame after the last one.
///
/// Throws `std::invalid_argument` for a job that cannot be, `MediaError` for a file at fault, `Cancelled`, or what an
/// effect threw; `WorkerDied` where an isolated process died; `PipeClosed` where the reader of the output has gone.
/// Then nothing is left under the output's name or beside it, and no thread runs.
RenderResult Render(RenderJob const& job, boost::intrusive_ptr<Proc::IEffectFactory const> const& factory);

/// The frames of a plan that are made.
struct Piece {
    std::int64_t first = 0;
    std::int64_t end = 0;
    bool isOpen = false;  ///< a pipe's end comes before

    std::int64_t Count() const { return end - first; }
};
/// Throws `std::invalid_argument` for a range that has no frame.
Piece FindPiece(RenderJob::Range const& range, Edit::Plan const& plan);
/// Where the clips of a whole plan begin, for a file's chapters.
std::vector<Media::Chapter> ListChapters(Edit::Plan const& plan);

/// The frame that shows at a time in seconds, as it is in the whole video, in the output's form. Throws as `Render`.
Proc::AvFramePtr RenderPicture(RenderJob const& job, double seconds,
                               boost::intrusive_ptr<Proc::IEffectFactory const> const& factory);

}  // namespace Kaltor::Render
