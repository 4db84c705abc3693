#include "Media/Timeline.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace Kaltor::Media {
namespace {

constexpr AVRational kDefaultRate{30, 1};
constexpr AVRational kMicroseconds{1, 1'000'000};

[[noreturn]] void Refuse(std::string const& message) {
    Core::Throw(std::invalid_argument(message));
}

double Seconds(Microseconds time) {
    return std::chrono::duration<double>(time).count();
}

void CheckJob(RenderJob const& job) {
    if (job.clips.empty()) {
        Refuse("there is no clip to render");
    }
    if (job.transitions.size() + 1 != job.clips.size()) {
        Refuse(fmt::format("{} clips have {} joints, but {} transitions are given", job.clips.size(),
                           job.clips.size() - 1, job.transitions.size()));
    }
    for (ClipEffect const& effect : job.effects) {
        if (!effect.settings) {
            Refuse("an effect needs settings");
        }
        if (effect.clip && *effect.clip >= job.clips.size()) {
            Refuse(fmt::format("there is no clip {} for {}: the clips are numbered from 0 to {}", *effect.clip,
                               effect.settings->GetClassId(), job.clips.size() - 1));
        }
    }
    for (Transition const& transition : job.transitions) {
        if (transition.duration < Microseconds(0)) {
            Refuse("the duration of a transition cannot be negative");
        }
    }
    if (job.size &&
        (job.size->width == 0 || job.size->height == 0 || job.size->width % 2 != 0 || job.size->height % 2 != 0)) {
        Refuse(fmt::format("{}x{} is not accepted as a size: both numbers must be even and above 0", job.size->width,
                           job.size->height));
    }
    if (job.frameRate && (job.frameRate->num <= 0 || job.frameRate->den <= 0)) {
        Refuse(fmt::format("{}/{} is not accepted as a frame rate", job.frameRate->num, job.frameRate->den));
    }
}

/// What is not given follows the first clip; the rate, of which stills have none, the first video.
VideoTarget ChooseTarget(RenderJob const& job, std::vector<PlannedClip> const& clips) {
    MediaInfo const& first = clips.front().info;
    auto const video =
        std::find_if(clips.begin(), clips.end(), [](PlannedClip const& clip) { return clip.info.frameRate.num > 0; });
    VideoTarget target;
    auto const even = [](std::uint32_t side) { return std::max(2U, side / 2U * 2U); };
    target.frame = job.size ? Conf::FrameInfo{job.size->width, job.size->height, 1, 1}
                            : Conf::FrameInfo{even(first.frame.width), even(first.frame.height),
                                              first.frame.pixelAspectX, first.frame.pixelAspectY};
    target.frameRate = job.frameRate.value_or(video != clips.end() ? video->info.frameRate : kDefaultRate);
    // A still's own matrix and range (JPEG: full) are those of pictures, not of video.
    target.colorSpec = first.isStill ? ColorSpec{}.Resolved(target.frame.height) : first.resolvedColorSpec;
    target.transfer = first.transfer;
    return target;
}

/// HDR is neither made nor tone-mapped.
void WarnOfOtherRange(PlannedClip const& clip, VideoTarget const& target, WarningFn const& warn) {
    std::string_view const own = GetDynamicRange(clip.info.transfer);
    std::string_view const wanted = GetDynamicRange(target.transfer);
    if (own != wanted) {
        warn(fmt::format(
            "{}: its colours will be off: they are {}, the video's are {} like the first clip's, and they are "
            "not tone-mapped",
            clip.path, own, wanted));
    }
}

/// The piece of the clip that is asked for, in its own time.
struct Piece {
    Microseconds start{0};
    Microseconds duration{0};
};

Piece CutPiece(Clip const& clip, MediaInfo const& info, WarningFn const& warn) {
    Microseconds const start = clip.start.value_or(Microseconds(0));
    if (start < Microseconds(0) || (clip.end && *clip.end <= start)) {
        Refuse(fmt::format("{}: a piece cannot go from {:.3f} s to {:.3f} s", clip.path, Seconds(start),
                           Seconds(clip.end.value_or(Microseconds(0)))));
    }
    if (info.isStill) {
        Microseconds const duration = clip.end ? *clip.end - start : clip.stillDuration;
        if (duration <= Microseconds(0)) {
            Refuse(fmt::format("{}: a still cannot last {:.3f} s", clip.path, Seconds(duration)));
        }
        return {Microseconds(0), duration};
    }
    if (start >= info.duration) {
        Core::Throw(MediaError(fmt::format("{}: ends at {:.2f} s, before the start of the wanted piece at {:.2f} s",
                                           clip.path, Seconds(info.duration), Seconds(start))));
    }
    Microseconds end = clip.end.value_or(info.duration);
    if (end > info.duration) {
        constexpr Microseconds kRounding(50'000);
        if (end > info.duration + kRounding && !info.declaredDuration) {
            warn(fmt::format("{}: ends at {:.2f} s, before the end of the wanted piece at {:.2f} s", clip.path,
                             Seconds(info.duration), Seconds(end)));
        }
        end = info.duration;
    }
    return {start, end - start};
}

void CheckLength(PlannedClip const& clip, AVRational frameRate) {
    if (clip.frames >= clip.fadeIn + clip.fadeOut) {
        return;
    }
    double const frameSeconds = av_q2d(av_inv_q(frameRate));
    bool const hasTwo = clip.fadeIn > 0 && clip.fadeOut > 0;
    std::int64_t const longest = hasTwo ? clip.frames / 2 : clip.frames;
    std::string const needs =
        hasTwo
            ? fmt::format("its transitions of {:.2f} s and {:.2f} s", static_cast<double>(clip.fadeIn) * frameSeconds,
                          static_cast<double>(clip.fadeOut) * frameSeconds)
            : fmt::format("its transition of {:.2f} s", static_cast<double>(clip.fadeIn + clip.fadeOut) * frameSeconds);
    Core::Throw(MediaError(
        fmt::format("{}: {:.2f} s ({} frame{}) is too short for {}; the longest possible is {:.2f} s{}", clip.path,
                    static_cast<double>(clip.frames) * frameSeconds, clip.frames, clip.frames == 1 ? "" : "s", needs,
                    static_cast<double>(longest) * frameSeconds, hasTwo ? " each" : "")));
}

}  // namespace

Microseconds Timeline::TimeOf(std::int64_t frame) const {
    return Microseconds(av_rescale_q_rnd(frame, av_inv_q(target.frameRate), kMicroseconds, AV_ROUND_NEAR_INF));
}

std::int64_t Timeline::FrameAt(Microseconds time) const {
    return av_rescale_q_rnd(time.count(), kMicroseconds, av_inv_q(target.frameRate), AV_ROUND_NEAR_INF);
}

std::int64_t Timeline::SampleOf(std::int64_t frame, int sampleRate) const {
    return av_rescale_q_rnd(frame, av_inv_q(target.frameRate), {1, sampleRate}, AV_ROUND_NEAR_INF);
}

Timeline Plan(RenderJob const& job, WarningFn const& warn) {
    CheckJob(job);
    Timeline timeline;
    bool isMono = true;
    for (Clip const& clip : job.clips) {
        PlannedClip planned;
        planned.path = clip.path;
        planned.allowPlaylists = job.allowPlaylists;
        auto const seen = std::find_if(timeline.clips.begin(), timeline.clips.end(),
                                       [&clip](PlannedClip const& other) { return other.path == clip.path; });
        planned.info = seen != timeline.clips.end() ? seen->info : Probe(clip.path, {job.allowPlaylists, job.cancel});
        if (planned.info.sound) {
            if (!timeline.sound) {
                timeline.sound = SoundFormat{planned.info.sound->sampleRate, 1};
            }
            isMono = isMono && planned.info.sound->channels == 1;
        }
        timeline.clips.push_back(std::move(planned));
    }
    if (!job.audio) {
        timeline.sound.reset();
    }
    if (timeline.sound && !isMono) {
        timeline.sound->channels = 2;
    }
    timeline.target = ChooseTarget(job, timeline.clips);

    for (std::size_t i = 0; i < job.clips.size(); ++i) {
        PlannedClip& clip = timeline.clips[i];
        if (clip.info.declaredDuration) {
            warn(fmt::format("{}: damaged or cut off at {:.2f} s of {:.2f} s; what is there is used", clip.path,
                             Seconds(clip.info.duration), Seconds(*clip.info.declaredDuration)));
        }
        WarnOfOtherRange(clip, timeline.target, warn);
        Piece const piece = CutPiece(job.clips[i], clip.info, warn);
        clip.start = piece.start;
        clip.frames = std::max<std::int64_t>(1, timeline.FrameAt(piece.duration));
        if (i > 0) {
            clip.fadeIn = timeline.clips[i - 1].fadeOut;
            clip.first = timeline.clips[i - 1].GetEnd() - clip.fadeIn;
        }
        bool const hasTransition = i + 1 < job.clips.size() && job.transitions[i].settings;
        clip.fadeOut = hasTransition ? timeline.FrameAt(job.transitions[i].duration) : 0;
        CheckLength(clip, timeline.target.frameRate);
    }
    timeline.frames = timeline.clips.back().GetEnd();
    return timeline;
}

}  // namespace Kaltor::Media
