#include "Edit/Plan.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <set>
#include <stdexcept>

#include <fmt/format.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/FieldCurve.h"
#include "Edit/Prober.h"

namespace Kaltor::Edit {
namespace {

using Media::MediaError;
using Media::MediaInfo;
using Media::Microseconds;

constexpr AVRational kDefaultRate{30, 1};
/// Stands for the length of what plays until a pipe ends: decades, and still far from the end of any type.
constexpr std::int64_t kOpenFrames = std::int64_t{1} << 36U;
constexpr char kNeedsLength[] =
    "it needs to know how long the video is, which a pipe does not say; CLIP@0-SECONDS says it";

Prober::Input InputOf(Source const& source) {
    return {source.file, source.raw};
}

double Seconds(Microseconds time) {
    return std::chrono::duration<double>(time).count();
}

Microseconds ToMicroseconds(double seconds) {
    constexpr double kPerSecond = 1e6;
    return Microseconds(std::llround(seconds * kPerSecond));
}

/// A time within a span: negative ones count from its end.
double ResolveIn(Time const& time, AVRational frameRate, double span) {
    double const value = time.Resolve(frameRate, span);
    return value < 0.0 ? span + value : value;
}

/// Makes a plan of one document.
class Planner {
public:
    Planner(Document const& wholeDocument, PlanOptions const& planOptions)
        : document(wholeDocument),
          options(planOptions),
          ownProber({planOptions.allowPlaylists, planOptions.cancel}),
          prober(planOptions.prober != nullptr ? *planOptions.prober : ownProber) {}

    Plan Make() {
        CheckDocument();
        ProbeFiles();
        ChooseTarget();
        PlaceClips();
        PlaceEdges();
        for (std::size_t i = 0; i < document.effects.size(); ++i) {
            AddEffect(plan.effects, document.effects[i], 0, plan.frames, fmt::format("effects/{}", i));
        }
        for (std::size_t i = 0; i < document.overlays.size(); ++i) {
            PlaceOverlay(document.overlays[i], fmt::format("overlays/{}", i));
        }
        for (Subtitles const& subtitles : document.subtitles) {
            plan.subtitles.push_back(
                {subtitles.file, subtitles.offset.Resolve(Rate(), plan.time.SecondsOf(plan.frames)), subtitles.style});
        }
        for (std::size_t i = 0; i < document.sounds.size(); ++i) {
            PlaceSound(document.sounds[i], fmt::format("sounds/{}", i));
        }
        ChooseSound();
        return std::move(plan);
    }

private:
    AVRational Rate() const { return plan.time.frameRate; }

    std::string At(std::string const& place) const {
        return options.documentName.empty() ? std::string() : fmt::format("{}: {}: ", options.documentName, place);
    }
    [[noreturn]] void Refuse(std::string const& place, std::string const& why) const {
        // Without a document the place still says which part of the command line is meant.
        Core::Throw(
            std::invalid_argument(options.documentName.empty() ? fmt::format("{}: {}", place, why) : At(place) + why));
    }

    void CheckDocument() const {
        if (document.clips.empty()) {
            Core::Throw(std::invalid_argument("there is no clip to render"));
        }
        if (auto const& size = document.output.size;
            size && (size->width == 0 || size->height == 0 || size->width % 2 != 0 || size->height % 2 != 0)) {
            Core::Throw(
                std::invalid_argument(fmt::format("{}x{} is not accepted as a size: both numbers must be even and "
                                                  "above 0",
                                                  size->width, size->height)));
        }
        if (auto const& rate = document.output.frameRate; rate && (rate->num <= 0 || rate->den <= 0)) {
            Core::Throw(
                std::invalid_argument(fmt::format("{}/{} is not accepted as a frame rate", rate->num, rate->den)));
        }
    }

    void ProbeFiles() {
        std::vector<Prober::Input> inputs;
        std::vector<std::string> places;
        auto const add = [&](Source const& source, char const* list, std::size_t index) {
            if (!source.file.empty()) {
                inputs.push_back(InputOf(source));
                bool const isPipe = Media::IsPipe(source.file);
                if (isPipe && !pipes.insert(source.file).second) {
                    Refuse(fmt::format("{}/{}/file", list, index),
                           fmt::format("{} is a pipe, which can be shown once only", Media::ShowInput(source.file)));
                }
                places.push_back(fmt::format("{}/{}/file", list, index));
            }
        };
        for (std::size_t i = 0; i < document.clips.size(); ++i) {
            add(document.clips[i].source, "clips", i);
        }
        for (std::size_t i = 0; i < document.overlays.size(); ++i) {
            add(document.overlays[i].source, "overlays", i);
        }
        prober.Probe(inputs, [&](std::size_t index) { return At(places[index]); });
    }

    /// What is not given follows the first clip with pictures of its own; the rate, of which stills have none, the
    /// first video.
    void ChooseTarget() {
        constexpr Output::Size kDefaultSize{1920, 1080};
        MediaInfo const* first = nullptr;
        MediaInfo const* video = nullptr;
        for (Clip const& clip : document.clips) {
            if (!clip.source.file.empty()) {
                MediaInfo const& info = prober.Get(InputOf(clip.source));
                first = first != nullptr ? first : &info;
                video = video == nullptr && info.frameRate.num > 0 ? &info : video;
            }
        }
        Media::VideoTarget& target = plan.target;
        auto const even = [](std::uint32_t side) { return std::max(2U, side / 2U * 2U); };
        if (document.output.size || first == nullptr) {
            Output::Size const size = document.output.size.value_or(kDefaultSize);
            target.frame = {size.width, size.height, 1, 1};
        } else {
            target.frame = {even(first->frame.width), even(first->frame.height), first->frame.pixelAspectX,
                            first->frame.pixelAspectY};
        }
        target.frameRate = document.output.frameRate.value_or(video != nullptr ? video->frameRate : kDefaultRate);
        // A still's own matrix and range (JPEG: full) are those of pictures, not of video.
        target.colorSpec =
            first == nullptr || first->isStill ? ColorSpec{}.Resolved(target.frame.height) : first->resolvedColorSpec;
        if (first != nullptr) {
            target.transfer = first->transfer;
            target.primaries = first->primaries;
            target.levels = first->levels;
        }
        ChooseRange();
        plan.time.frameRate = target.frameRate;
        plan.background = document.output.background;
    }

    /// The dynamic range that is asked for.
    void ChooseRange() {
        Media::VideoTarget& target = plan.target;
        switch (document.output.hdr) {
            case Output::Hdr::Auto:
                break;
            case Output::Hdr::Sdr:
                Media::MakeStandardRange(target);
                break;
            case Output::Hdr::Pq:
            case Output::Hdr::Hlg:
                target.colorSpec = {ColorMatrix::Bt2020, ColorRange::Limited};
                target.primaries = AVCOL_PRI_BT2020;
                target.transfer = document.output.hdr == Output::Hdr::Pq ? AVCOL_TRC_SMPTE2084 : AVCOL_TRC_ARIB_STD_B67;
                break;
        }
        if (target.transfer != AVCOL_TRC_SMPTE2084) {
            target.levels = {};
        }
    }

    void Warn(std::string const& message) const {
        if (options.warn) {
            options.warn(message);
        }
    }

    void WarnOfFile(std::string const& path, MediaInfo const& info) const {
        if (info.declaredDuration) {
            Warn(fmt::format("{}: damaged or cut off at {:.2f} s of {:.2f} s; what is there is used", path,
                             Seconds(info.duration), Seconds(*info.declaredDuration)));
        }
    }

    struct Piece {
        Microseconds start{0};
        Microseconds duration{0};
    };

    /// The piece of a video that is asked for, in its own time.
    Piece CutPiece(std::string const& path, MediaInfo const& info, Time const& from, std::optional<Time> const& to,
                   std::string const& place) const {
        double const whole = Seconds(info.duration);
        // A document's frames are those of the video that is made.
        double const start = ResolveIn(from, Rate(), whole);
        std::optional<double> const wantedEnd =
            to ? std::optional(ResolveIn(*to, Rate(), whole)) : std::optional<double>();
        if (start < 0.0 || (wantedEnd && *wantedEnd <= start)) {
            Refuse(place, fmt::format("{}: a piece cannot go from {:.3f} s to {:.3f} s", path, start,
                                      wantedEnd.value_or(0.0)));
        }
        Microseconds const begin = ToMicroseconds(start);
        if (begin >= info.duration) {
            Core::Throw(
                MediaError(fmt::format("{}{}: ends at {:.2f} s, before the start of the wanted piece at {:.2f} s",
                                       At(place), path, whole, start)));
        }
        Microseconds end = wantedEnd ? ToMicroseconds(*wantedEnd) : info.duration;
        if (end > info.duration) {
            constexpr Microseconds kRounding(50'000);
            if (end > info.duration + kRounding && !info.declaredDuration) {
                Warn(fmt::format("{}: ends at {:.2f} s, before the end of the wanted piece at {:.2f} s", path, whole,
                                 Seconds(end)));
            }
            end = info.duration;
        }
        return {begin, end - begin};
    }

    /// A whole number of frames, at least one.
    std::int64_t CountFrames(double seconds) const {
        return std::max<std::int64_t>(1, plan.time.FrameAt(ToMicroseconds(seconds)));
    }

    std::int64_t CountHold(Time const& time, std::string const& place) const {
        double const seconds = time.Resolve(Rate(), 0.0);
        if (seconds < 0.0 || time.share != 0.0) {
            Refuse(place, "it takes seconds or frames from 0 up");
        }
        return plan.time.FrameAtSeconds(seconds);
    }

    PlannedFeed MakeFeed(Source const& source, Playing const& playing, Proc::Color const& background) const {
        PlannedFeed feed;
        feed.path = source.file;
        feed.allowPlaylists = options.allowPlaylists;
        feed.speed = playing.speed;
        feed.isReversed = playing.isReversed;
        feed.color = source.color.value_or(background);
        if (!source.file.empty()) {
            feed.info = prober.Get(InputOf(source));
            feed.sequence = prober.GetSequence(InputOf(source));
            feed.raw = source.raw;
            feed.alpha = source.alpha;
            feed.pipe = prober.OpenPipe(InputOf(source));
            if (feed.pipe && playing.isReversed) {
                Core::Throw(std::invalid_argument(
                    fmt::format("{}: a pipe cannot be played backwards", Media::ShowInput(source.file))));
            }
            if (feed.sequence) {
                feed.info = Media::Describe(feed.info, *feed.sequence, source.frameRate.value_or(Rate()));
            } else if (source.frameRate) {
                Core::Throw(std::invalid_argument(
                    fmt::format("{}: \"fps\" is for a sequence of pictures (frame%04d.png)", source.file)));
            }
        } else {
            feed.info.isStill = true;
            feed.info.frame = plan.target.frame;
        }
        return feed;
    }

    void PlaceClips() {
        for (std::size_t i = 0; i < document.clips.size(); ++i) {
            std::string const place = fmt::format("clips/{}", i);
            PlannedClip& clip = plan.clips.emplace_back();
            PlaceClip(clip, document.clips[i], place);
            if (i > 0) {
                clip.fadeIn = plan.clips[i - 1].fadeOut;
                clip.first = plan.clips[i - 1].GetEnd() - clip.fadeIn;
            }
            if (i + 1 < document.clips.size()) {
                Joint const& joint = document.clips[i].joint ? *document.clips[i].joint : document.joint;
                clip.fadeOut = CountJoint(joint, place + "/joint");
            }
            CheckLength(clip, place);
            if (clip.fadeOut > 0) {
                Joint const& joint = document.clips[i].joint ? *document.clips[i].joint : document.joint;
                clip.joint = MakeLook(joint, clip.GetEnd() - clip.fadeOut, clip.fadeOut, place + "/joint");
            }
            Clip const& described = document.clips[i];
            for (std::size_t k = 0; k < described.effects.size(); ++k) {
                AddEffect(clip.effects, described.effects[k], clip.first, clip.frames,
                          fmt::format("{}/effects/{}", place, k));
            }
            AddClipSound(clip, described, place);
        }
        plan.frames = plan.clips.back().GetEnd();
    }

    void PlaceClip(PlannedClip& clip, Clip const& described, std::string const& place) {
        clip.background = described.background.value_or(document.output.background);
        clip.feed = MakeFeed(described.source, described.playing, clip.background);
        clip.title = described.source.title;
        clip.fit = described.fit;
        clip.focusX = described.focusX;
        clip.focusY = described.focusY;
        PlannedFeed& feed = clip.feed;
        if (!feed.path.empty()) {
            WarnOfFile(feed.path, feed.info);
        }
        feed.holdFirst = CountHold(described.holdFirst, place + "/holdFirst");
        std::int64_t const holdLast = CountHold(described.holdLast, place + "/holdLast");
        if (feed.info.isStill) {
            double seconds = described.duration.value_or(document.output.stillDuration).Resolve(Rate(), 0.0);
            if (!described.duration && described.to) {
                seconds = described.to->Resolve(Rate(), 0.0) - described.from.Resolve(Rate(), 0.0);
            }
            if (seconds <= 0.0) {
                Refuse(place + "/duration", fmt::format("{}a still cannot last {:.3f} s",
                                                        feed.path.empty() ? "" : feed.path + ": ", seconds));
            }
            feed.played = CountFrames(seconds);
        } else {
            if (described.duration) {
                Refuse(place + "/duration", "it is for pictures, colours and titles; \"from\" and \"to\" cut a video");
            }
            if (feed.info.isOpenEnded) {
                PlaceOpenEnded(clip, described, place);
            } else {
                Piece const piece = CutPiece(feed.path, feed.info, described.from, described.to, place);
                feed.start = piece.start;
                feed.length = piece.duration;
                feed.played = CountFrames(Seconds(piece.duration) / feed.speed);
            }
        }
        if (feed.isOpenEnded && holdLast > 0) {
            Refuse(place + "/holdLast", kNeedsLength);
        }
        clip.frames = feed.holdFirst + feed.played + holdLast;
    }

    /// A pipe, which lasts as long as it lasts unless a piece of it is asked for.
    void PlaceOpenEnded(PlannedClip& clip, Clip const& described, std::string const& place) {
        PlannedFeed& feed = clip.feed;
        double const start = described.from.Resolve(Rate(), 0.0);
        double const end = described.to ? described.to->Resolve(Rate(), 0.0) : 0.0;
        bool const hasShare = described.from.share != 0.0 || (described.to && described.to->share != 0.0);
        if (hasShare || start < 0.0 || end < 0.0) {
            Refuse(place, "a piece of a pipe is given in seconds from its beginning");
        }
        if (described.to && end <= start) {
            Refuse(place, fmt::format("{}: a piece cannot go from {:.3f} s to {:.3f} s", Media::ShowInput(feed.path),
                                      start, end));
        }
        feed.start = ToMicroseconds(start);
        if (described.to) {
            feed.length = ToMicroseconds(end) - feed.start;
            feed.played = CountFrames(Seconds(feed.length) / feed.speed);
            return;
        }
        if (&described != &document.clips.back()) {
            Refuse(place, fmt::format("{}: how long it lasts is not known, so it can only be the last clip; "
                                      "CLIP@0-SECONDS says it",
                                      Media::ShowInput(feed.path)));
        }
        feed.isOpenEnded = plan.isOpenEnded = true;
        feed.played = kOpenFrames;
    }

    /// Whether a span has no end that is known.
    static bool IsOpen(std::int64_t frames) { return frames >= kOpenFrames / 2; }

    std::int64_t CountJoint(Joint const& joint, std::string const& place) const {
        if (!joint.settings) {
            return 0;
        }
        double const seconds = joint.duration.Resolve(Rate(), 0.0);
        if (joint.duration.share != 0.0) {
            Refuse(place + "/duration", "a transition's duration takes seconds or frames, not a share");
        }
        if (seconds < 0.0) {
            Refuse(place + "/duration", "the duration of a transition cannot be negative");
        }
        return plan.time.FrameAtSeconds(seconds);
    }

    void CheckLength(PlannedClip const& clip, std::string const& place) const {
        if (clip.frames >= clip.fadeIn + clip.fadeOut) {
            return;
        }
        bool const hasTwo = clip.fadeIn > 0 && clip.fadeOut > 0;
        std::int64_t const longest = hasTwo ? clip.frames / 2 : clip.frames;
        auto const seconds = [this](std::int64_t frames) { return plan.time.SecondsOf(frames); };
        std::string const needs =
            hasTwo
                ? fmt::format("its transitions of {:.2f} s and {:.2f} s", seconds(clip.fadeIn), seconds(clip.fadeOut))
                : fmt::format("its transition of {:.2f} s", seconds(clip.fadeIn + clip.fadeOut));
        std::string const name = clip.feed.path.empty() ? "" : clip.feed.path + ": ";
        Core::Throw(
            MediaError(fmt::format("{}{}{:.2f} s ({} frame{}) is too short for {}; the longest possible is {:.2f} s{}",
                                   At(place), name, seconds(clip.frames), clip.frames, clip.frames == 1 ? "" : "s",
                                   needs, seconds(longest), hasTwo ? " each" : "")));
    }

    CurveSampler MakeSampler(Curve const& curve, double span, std::string const& place) const {
        try {
            return CurveSampler(curve, Rate(), span);
        } catch (std::invalid_argument const& error) {
            Refuse(place, error.what());
        }
    }

    /// Look-up tables and pictures are read when the first frame is drawn, which may be hours later.
    void CheckFiles(Proc::Settings const& settings, std::string const& place) const {
        for (Proc::Field const& field : settings.GetFields()) {
            if (field.type != Proc::FieldType::File) {
                continue;
            }
            std::string const at = fmt::format("{}/{}", place, field.key);
            std::string const file = std::get<std::string>(field.get(settings));
            if (file.empty()) {
                // Only a shader cannot draw without its picture.
                if (!field.isOptional && !settings.GetOrigin().empty()) {
                    Refuse(at,
                           fmt::format("{0} needs a picture: {1}=PICTURE.png behind its name, or in an edit \"{1}\": "
                                       "\"PICTURE.png\"",
                                       settings.GetClassId(), field.key));
                }
                continue;
            }
            char const* const path = file == "-" ? "/dev/stdin" : file.c_str();
            if (::access(path, R_OK) != 0) {
                Refuse(at, fmt::format("{}: cannot be read ({})", file, std::strerror(errno)));
            } else if (std::error_code error; !std::filesystem::is_regular_file(path, error)) {
                Refuse(at, fmt::format("{}: is not a plain file", file));
            }
        }
    }

    PlannedLook MakeLook(Look const& look, std::int64_t first, std::int64_t frames, std::string const& place) const {
        PlannedLook planned;
        planned.settings = look.settings;
        planned.easing = look.easing;
        planned.first = first;
        planned.frames = frames;
        planned.frameSeconds = av_q2d(av_inv_q(Rate()));
        if (IsOpen(frames)) {
            auto const needsEnd = [](Curve const& curve) {
                return std::any_of(curve.keys.begin(), curve.keys.end(),
                                   [](Key const& key) { return key.time.share != 0.0 || key.time.seconds < 0.0; });
            };
            if (look.settings->RunsOnProgress() || needsEnd(look.progress) ||
                std::any_of(look.keyed.begin(), look.keyed.end(),
                            [&](KeyedField const& keyed) { return needsEnd(keyed.curve); })) {
                Refuse(place, fmt::format("{}: {}", look.settings->GetClassId(), kNeedsLength));
            }
        }
        if (look.settings) {
            CheckFiles(*look.settings, place);
        }
        double const span = plan.time.SecondsOf(frames);
        for (KeyedField const& keyed : look.keyed) {
            planned.keyed.push_back({keyed.key, MakeSampler(keyed.curve, span, place + "/" + keyed.key)});
        }
        if (!look.progress.keys.empty()) {
            planned.progress = MakeSampler(look.progress, span, place + "/progress");
        }
        return planned;
    }

    void AddEffect(std::vector<PlannedLook>& looks, Effect const& effect, std::int64_t first, std::int64_t frames,
                   std::string const& place) const {
        if (!effect.settings) {
            Refuse(place, "an effect needs settings");
        }
        double const span = plan.time.SecondsOf(frames);
        std::int64_t const begin = plan.time.FrameAtSeconds(ResolveIn(effect.from, Rate(), span));
        std::int64_t const end = effect.to ? plan.time.FrameAtSeconds(ResolveIn(*effect.to, Rate(), span)) : frames;
        if (begin < 0 || end > frames || begin >= end) {
            Refuse(place, fmt::format("its span from {:.3g} s to {:.3g} s does not lie within 0 to {:.3g} s",
                                      plan.time.SecondsOf(begin), plan.time.SecondsOf(end), span));
        }
        if (!effect.isMuted) {
            PlannedLook& look = looks.emplace_back(MakeLook(effect, first + begin, end - begin, place));
            look.isOnFrame = effect.on == Effect::On::Frame;
        } else {
            // Keeps its number, from which the others' seeds follow.
            looks.emplace_back().frames = 0;
        }
    }

    void PlaceEdges() {
        auto const make = [this](std::optional<Joint> const& joint, bool isOpening) -> std::optional<PlannedEdge> {
            std::string const place = isOpening ? "opening" : "closing";
            std::int64_t const frames = joint ? CountJoint(*joint, place) : 0;
            if (frames == 0) {
                return std::nullopt;
            }
            if (!isOpening && plan.isOpenEnded) {
                Refuse(place, kNeedsLength);
            }
            if (frames > plan.frames) {
                Refuse(place, fmt::format("it is longer than the video of {:.2f} s", plan.time.SecondsOf(plan.frames)));
            }
            return PlannedEdge{MakeLook(*joint, isOpening ? 0 : plan.frames - frames, frames, place), joint->color};
        };
        plan.opening = make(document.opening, true);
        plan.closing = make(document.closing, false);
    }

    void PlaceOverlay(Overlay const& described, std::string const& place) {
        PlannedOverlay overlay;
        overlay.feed = MakeFeed(described.source, described.playing, document.output.background);
        PlannedFeed& feed = overlay.feed;
        overlay.title = described.source.title;
        double const whole = plan.time.SecondsOf(plan.frames);
        overlay.first = plan.time.FrameAtSeconds(ResolveIn(described.from, Rate(), whole));
        std::int64_t end =
            described.to ? plan.time.FrameAtSeconds(ResolveIn(*described.to, Rate(), whole)) : plan.frames;
        if (!feed.path.empty()) {
            WarnOfFile(feed.path, feed.info);
        }
        if (!feed.info.isStill) {
            if (feed.pipe && described.loops) {
                Refuse(place + "/loop", "a pipe cannot be played again");
            }
            // An overlay whose end is not known stands with its last picture.
            Piece const piece =
                feed.info.isOpenEnded
                    ? Piece{ToMicroseconds(std::max(0.0, described.start.Resolve(Rate(), 0.0))), Microseconds(0)}
                    : CutPiece(feed.path, feed.info, described.start, {}, place);
            feed.start = piece.start;
            feed.length = piece.duration;
            feed.loops = described.loops;
            feed.played = feed.info.isOpenEnded ? kOpenFrames : CountFrames(Seconds(piece.duration) / feed.speed);
            if (!described.to && !described.loops) {
                end = std::min(end, overlay.first + feed.played);
            }
        }
        if (overlay.first < 0 || end <= overlay.first || end > plan.frames) {
            Refuse(place, fmt::format("its span from {:.3g} s to {:.3g} s does not lie within the video of {:.3g} s",
                                      plan.time.SecondsOf(overlay.first), plan.time.SecondsOf(end), whole));
        }
        overlay.frames = end - overlay.first;
        if (feed.info.isStill || feed.loops) {
            feed.played = overlay.frames;
        }
        double const span = plan.time.SecondsOf(overlay.frames);
        auto const number = [&](Animated const& value, char const* key) {
            try {
                return PlannedNumber(value, Rate(), span);
            } catch (std::invalid_argument const& error) {
                Refuse(place + "/" + key, error.what());
            }
        };
        overlay.anchor = described.anchor;
        overlay.isInPixels = described.isInPixels;
        overlay.x = number(described.x, "x");
        overlay.y = number(described.y, "y");
        overlay.scale = number(described.scale, "scale");
        overlay.rotation = number(described.rotation, "rotation");
        overlay.opacity = number(described.opacity, "opacity");
        overlay.width = described.width;
        overlay.height = described.height;
        overlay.cropLeft = described.cropLeft;
        overlay.cropTop = described.cropTop;
        overlay.cropRight = described.cropRight;
        overlay.cropBottom = described.cropBottom;
        overlay.radius = described.radius;
        overlay.blend = described.blend;
        for (std::size_t i = 0; i < described.effects.size(); ++i) {
            AddEffect(overlay.effects, described.effects[i], overlay.first, overlay.frames,
                      fmt::format("{}/effects/{}", place, i));
        }
        auto const edge = [&](std::optional<Joint> const& joint, char const* key,
                              bool isEnter) -> std::optional<PlannedLook> {
            std::int64_t const frames = joint ? CountJoint(*joint, place + "/" + key) : 0;
            if (frames == 0) {
                return std::nullopt;
            }
            if (frames > overlay.frames) {
                Refuse(place + "/" + key, fmt::format("it is longer than its span of {:.2f} s", span));
            }
            return MakeLook(*joint, isEnter ? overlay.first : end - frames, frames, place + "/" + key);
        };
        overlay.enter = edge(described.enter, "enter", true);
        if (described.leave && IsOpen(overlay.frames)) {
            Refuse(place + "/leave", kNeedsLength);
        }
        overlay.leave = edge(described.leave, "leave", false);
        if (feed.info.sound && !described.sound.isMuted) {
            PlannedSound sound =
                MakeSound(feed, described.playing, overlay.first, overlay.frames, described.sound.volume,
                          described.sound.fadeIn, described.sound.fadeOut, place);
            sound.pipe = prober.OpenPipe(InputOf(described.source));
            plan.sounds.push_back(std::move(sound));
            NoteSound(*feed.info.sound);
        }
        plan.overlays.push_back(std::move(overlay));
    }

    void AddClipSound(PlannedClip const& clip, Clip const& described, std::string const& place) {
        if (!clip.feed.info.sound || described.sound.isMuted) {
            return;
        }
        PlannedSound sound = MakeSound(clip.feed, described.playing, clip.first, clip.frames, described.sound.volume,
                                       described.sound.fadeIn, described.sound.fadeOut, place);
        sound.pipe = prober.OpenPipe(InputOf(described.source));
        sound.fadeIn = clip.fadeIn;
        sound.fadeOut = clip.fadeOut;
        plan.sounds.push_back(std::move(sound));
        NoteSound(*clip.feed.info.sound);
    }

    PlannedSound MakeSound(PlannedFeed const& feed, Playing const& playing, std::int64_t first, std::int64_t frames,
                           Animated const& volume, Time const& fadeIn, Time const& fadeOut,
                           std::string const& place) const {
        PlannedSound sound;
        sound.path = feed.path;
        sound.raw = feed.raw;
        sound.allowPlaylists = options.allowPlaylists;
        // What is missing at the end of a file was reported when the file was examined.
        sound.warnsOfDamage = !feed.info.declaredDuration;
        sound.start = feed.start;
        sound.length = feed.length;
        sound.first = first;
        sound.frames = frames;
        sound.holdFirst = feed.holdFirst;
        sound.speed = playing.speed;
        sound.keepsPitch = playing.keepsPitch;
        sound.isReversed = playing.isReversed;
        sound.loops = feed.loops;
        double const span = plan.time.SecondsOf(frames);
        sound.gainDb = volume.constant;
        if (!volume.IsConstant()) {
            sound.volume = MakeSampler(volume.curve, span, place + "/volume");
        }
        auto const fade = [&](Time const& time, char const* key) {
            double const seconds = time.Resolve(Rate(), span);
            if (seconds < 0.0 || seconds > span) {
                Refuse(place + "/" + key, fmt::format("{:.3g} s does not lie within 0 to {:.3g} s", seconds, span));
            }
            return seconds;
        };
        sound.fadeInSeconds = fade(fadeIn, "fadeIn");
        sound.fadeOutSeconds = fade(fadeOut, "fadeOut");
        if (sound.fadeOutSeconds > 0.0 && IsOpen(frames)) {
            Refuse(place + "/fadeOut", kNeedsLength);
        }
        return sound;
    }

    void PlaceSound(Sound const& described, std::string const& place) {
        double const whole = plan.time.SecondsOf(plan.frames);
        std::int64_t const first = plan.time.FrameAtSeconds(ResolveIn(described.from, Rate(), whole));
        std::int64_t const end =
            described.to ? plan.time.FrameAtSeconds(ResolveIn(*described.to, Rate(), whole)) : plan.frames;
        if (Media::IsPipe(described.file)) {
            Refuse(place + "/file",
                   fmt::format("{} is a pipe; a bed of sound is a file", Media::ShowInput(described.file)));
        }
        if (first < 0 || end <= first || end > plan.frames) {
            Refuse(place, fmt::format("its span from {:.3g} s to {:.3g} s does not lie within the video of {:.3g} s",
                                      plan.time.SecondsOf(first), plan.time.SecondsOf(end), whole));
        }
        Media::SoundInfo const info = AtPlace(At(place + "/file"), [&] { return prober.GetSound(described.file); });
        double const start = ResolveIn(described.start, Rate(), Seconds(info.duration));
        if (start < 0.0 || ToMicroseconds(start) >= info.duration) {
            Refuse(place + "/start", fmt::format("{}: ends at {:.2f} s, before the start at {:.2f} s", described.file,
                                                 Seconds(info.duration), start));
        }
        PlannedFeed feed;
        feed.path = described.file;
        feed.start = ToMicroseconds(start);
        feed.length = info.duration - feed.start;
        feed.loops = described.loops;
        std::int64_t frames = end - first;
        if (!described.loops) {
            frames = std::min(frames, CountFrames(Seconds(feed.length) / described.playing.speed));
        }
        PlannedSound sound = MakeSound(feed, described.playing, first, frames, described.volume, described.fadeIn,
                                       described.fadeOut, place);
        sound.isBed = true;
        if (described.duck) {
            sound.ducking =
                Ducking{described.duck->by, described.duck->threshold, described.duck->attack, described.duck->release};
        }
        plan.sounds.push_back(std::move(sound));
        NoteSound(info.format);
    }

    void NoteSound(Media::SoundFormat const& format) {
        if (!plan.sound) {
            plan.sound = Media::SoundFormat{format.sampleRate, 1};
        }
        mostChannels = std::max(mostChannels, format.channels);
        leastChannels = std::min(leastChannels, format.channels);
    }

    void ChooseSound() {
        constexpr int kSurround = 6;
        Mix const& mix = document.mix;
        plan.loudness = mix.loudness;
        plan.truePeak = mix.truePeak;
        if (mix.isMuted || !plan.sound) {
            plan.sound.reset();
            plan.sounds.clear();
            return;
        }
        bool const hasPipe = std::any_of(plan.sounds.begin(), plan.sounds.end(),
                                         [](PlannedSound const& sound) { return sound.pipe != nullptr; });
        if (mix.loudness && (hasPipe || plan.isOpenEnded)) {
            Refuse("mix/loudness", "the sound has to be heard as a whole before, which a pipe does not allow");
        }
        switch (mix.channels) {
            case Mix::Channels::Mono:
                plan.sound->channels = 1;
                break;
            case Mix::Channels::Stereo:
                plan.sound->channels = 2;
                break;
            case Mix::Channels::Surround:
                plan.sound->channels = kSurround;
                break;
            case Mix::Channels::Auto:
                plan.sound->channels = leastChannels >= kSurround ? kSurround : mostChannels == 1 ? 1 : 2;
                break;
        }
    }

    Document const& document;
    PlanOptions const& options;
    Prober ownProber;
    Prober& prober;
    std::set<std::string> pipes;
    Plan plan;
    int mostChannels = 0;
    int leastChannels = 1000;
};

}  // namespace

double PlannedLook::ProgressAt(double part) const {
    if (progress) {
        return progress->NumberAt(part * static_cast<double>(frames) * frameSeconds);
    }
    // Progress beyond the span is the effect's own business.
    return easing.IsLinear() || part < 0.0 || part > 1.0 ? part : easing(part);
}

std::unique_ptr<Proc::Settings> PlannedLook::SettingsAt(std::int64_t frame) const {
    if (keyed.empty()) {
        return nullptr;
    }
    std::unique_ptr<Proc::Settings> now = settings->Clone();
    double const seconds = static_cast<double>(frame - first) * frameSeconds;
    for (Keyed const& one : keyed) {
        Proc::Field const& field = now->FindField(one.key);
        field.set(*now, FromComponents(field, one.curve.At(seconds)));
    }
    return now;
}

PlannedNumber::PlannedNumber(Animated const& value, AVRational frameRate, double span) : constant(value.constant) {
    if (!value.IsConstant()) {
        curve.emplace(value.curve, frameRate, span);
    }
}

namespace {

template <typename Input>
Media::InputRules MakeRules(Input const& input, std::atomic<bool> const* stop) {
    Media::InputRules rules{input.allowPlaylists, stop};
    rules.raw = input.raw;
    if (input.pipe) {
        rules.openPipe = [reader = input.pipe] { return reader; };
    }
    return rules;
}

}  // namespace

Media::InputRules RulesFor(PlannedFeed const& feed, std::atomic<bool> const* stop) {
    Media::InputRules rules = MakeRules(feed, stop);
    rules.alpha = feed.alpha;
    return rules;
}
Media::InputRules RulesFor(PlannedSound const& sound, std::atomic<bool> const* stop) {
    return MakeRules(sound, stop);
}

Plan MakePlan(Document const& document, PlanOptions const& options) {
    return Planner(document, options).Make();
}

}  // namespace Kaltor::Edit
