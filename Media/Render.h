#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Media/MediaInfo.h"
#include "Media/VideoReader.h"
#include "Proc/Interfaces/IEffectFactory.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Media {

/// A video or a still picture, or a piece of it.
struct Clip {
    std::string path;
    std::optional<Microseconds> start;
    /// For a still, only end - start counts.
    std::optional<Microseconds> end;
    /// Duration of a still without `end`.
    Microseconds stillDuration = std::chrono::seconds(3);
};

/// How one clip goes over into the next.
struct Transition {
    /// Settings of a registered transition; null is a plain cut.
    std::shared_ptr<Proc::Settings const> settings;
    Microseconds duration = std::chrono::seconds(1);
};

/// An effect on all clips, or on one.
struct ClipEffect {
    std::shared_ptr<Proc::Settings const> settings;
    /// From 0.
    std::optional<std::size_t> clip;
};

/// A video to be made. What is not set follows the first clip.
struct RenderJob {
    std::vector<Clip> clips;
    /// One for each joint: one fewer than clips.
    std::vector<Transition> transitions;
    /// In the order in which they are applied.
    std::vector<ClipEffect> effects;

    /// Even numbers; pixels are square then.
    std::optional<Conf::FrameInfo> size;
    std::optional<AVRational> frameRate;
    /// See `WriterOptions`.
    std::string codec;
    std::optional<int> crf;
    bool audio = true;
    /// See `InputRules`.
    bool allowPlaylists = false;
    std::string output;
    bool overwrite = false;
    /// What is random follows from it and from an effect's place in the job; without it, from the clock.
    std::optional<std::uint32_t> seed;

    /// The largest side of a picture that the effects can take, in pixels. Asked once, and only where an effect or a
    /// transition has work to do.
    std::function<std::uint32_t()> getMaximumSide;

    /// The callbacks are called on the thread that called `Render`.
    std::function<void(std::int64_t framesDone, std::int64_t framesTotal)> onProgress;
    WarningFn onWarning;
    /// Rendering stops soon after it becomes true. Must outlive the call.
    std::atomic<bool> const* cancel = nullptr;
};

struct RenderResult {
    std::int64_t frames = 0;
    AVRational frameRate{30, 1};
    Conf::FrameInfo frame;
    std::string codec;
    bool hasSound = false;
    /// Frames that an effect or a transition made; the others went from the decoder to the encoder.
    std::int64_t processedFrames = 0;
};

/// Makes the video. Effects come from `factory` under the implementation name `OGL`; frame k has the timestamp k / rate
/// in microseconds. An effect's progress is k / n over the n frames of its clip, a transition's k / n over its n
/// frames: 0 on the first one, and 1 on the frame after the last one.
///
/// Throws `std::invalid_argument` for a job that cannot be, `MediaError` for a file at fault, `Cancelled`, or what an
/// effect threw. Then nothing is left under the output's name or beside it, and no thread runs.
RenderResult Render(RenderJob const& job, boost::intrusive_ptr<Proc::IEffectFactory const> const& factory);

}  // namespace Kaltor::Media
