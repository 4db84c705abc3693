#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Edit/Curve.h"
#include "Edit/Document.h"
#include "Edit/PlannedSound.h"
#include "Edit/TimeLine.h"
#include "Media/MediaInfo.h"
#include "Media/Sequence.h"
#include "Media/VideoReader.h"

namespace Kaltor::Edit {

/// An effect or a transition over a span of output frames.
struct PlannedLook {
    struct Keyed {
        std::string key;
        CurveSampler curve;
    };

    std::shared_ptr<Proc::Settings const> settings;
    std::vector<Keyed> keyed;  ///< by seconds since the span's beginning
    Easing easing;
    std::optional<CurveSampler> progress;
    std::int64_t first = 0;
    std::int64_t frames = 0;
    bool isOnFrame = false;
    double frameSeconds = 0.0;

    bool Covers(std::int64_t frame) const { return frame >= first && frame < first + frames; }
    /// At a part of the span, 0 to 1.
    double ProgressAt(double part) const;
    /// The settings of a frame; null where nothing is keyed.
    std::unique_ptr<Proc::Settings> SettingsAt(std::int64_t frame) const;
};

/// Pictures that follow one another at the output's rate.
struct PlannedFeed {
    std::string path;  ///< "" for a plain colour
    Media::MediaInfo info;
    std::optional<Media::Sequence> sequence;
    std::string raw;                          ///< see `Source`
    Media::InputRules::Alpha alpha = Media::InputRules::Alpha::Auto;
    std::shared_ptr<Media::PipeReader> pipe;  ///< what it is read through, where it is a pipe: once only
    /// It plays until the pipe ends; `played` is out of reach.
    bool isOpenEnded = false;
    bool allowPlaylists = false;
    Proc::Color color;
    Media::Microseconds start{0};   ///< of the piece, in the file's own time
    Media::Microseconds length{0};  ///< of the piece; 0 for what has no time
    double speed = 1.0;
    bool isReversed = false;
    bool loops = false;
    std::int64_t holdFirst = 0;  ///< frames for which the first picture stands
    std::int64_t played = 0;     ///< frames that play after it; then the last picture stands
};

/// A clip's place among the output's frames.
struct PlannedClip {
    PlannedFeed feed;
    std::optional<Title> title;  ///< over the plain colour
    std::int64_t first = 0;
    std::int64_t frames = 0;
    std::int64_t fadeIn = 0;   ///< frames of the transition from the clip before
    std::int64_t fadeOut = 0;  ///< and to the clip after
    Clip::Fit fit = Clip::Fit::Whole;
    double focusX = 0.5;
    double focusY = 0.5;
    Proc::Color background;
    std::vector<PlannedLook> effects;
    /// Into the next clip, over `fadeOut` frames.
    PlannedLook joint;

    std::int64_t GetEnd() const { return first + frames; }
    /// How the clip is called in messages.
    std::string const& GetName() const { return feed.path; }
};

/// A number over a span.
class PlannedNumber {
public:
    PlannedNumber() = default;
    PlannedNumber(Animated const& value, AVRational frameRate, double span);
    double At(double seconds) const { return factor * (curve ? curve->NumberAt(seconds) : constant); }
    /// Multiplies what it gives.
    void Scale(double by) { factor *= by; }

private:
    double constant = 0.0;
    double factor = 1.0;
    std::optional<CurveSampler> curve;
};

struct PlannedOverlay {
    PlannedFeed feed;
    std::optional<Title> title;
    std::int64_t first = 0;
    std::int64_t frames = 0;
    Overlay::Anchor anchor = Overlay::Anchor::Center;
    bool isInPixels = false;
    PlannedNumber x, y, scale, rotation, opacity;
    std::optional<Length> width;
    std::optional<Length> height;
    double cropLeft = 0.0, cropTop = 0.0, cropRight = 0.0, cropBottom = 0.0;
    Length radius;
    Overlay::Blend blend = Overlay::Blend::Normal;
    std::vector<PlannedLook> effects;
    std::optional<PlannedLook> enter;
    std::optional<PlannedLook> leave;

    std::int64_t GetEnd() const { return first + frames; }
};

/// How the video begins or ends.
struct PlannedEdge {
    PlannedLook look;
    Proc::Color color;
};

struct PlannedSubtitles {
    std::string path;
    double offset = 0.0;
    std::optional<Title> style;
};

/// A document in whole frames.
struct Plan {
    Media::VideoTarget target;
    /// The encoder that suits the frames' form, where the document names none; "": the container's usual one.
    std::string codec;
    Proc::Color background;
    TimeLine time;
    std::vector<PlannedClip> clips;
    std::int64_t frames = 0;
    /// The last clip is a pipe whose end nobody knows; `frames` is out of reach.
    bool isOpenEnded = false;
    std::optional<PlannedEdge> opening;
    std::optional<PlannedEdge> closing;
    std::vector<PlannedLook> effects;
    std::vector<PlannedOverlay> overlays;
    std::vector<PlannedSubtitles> subtitles;
    /// The sound of all together; empty where nothing sounds.
    std::optional<Media::SoundFormat> sound;
    std::vector<PlannedSound> sounds;
    std::optional<double> loudness;
    double truePeak = -1.0;
};

class Prober;

struct PlanOptions {
    bool allowPlaylists = false;
    /// Where not empty, errors begin with it and the place in the document ("edit.json: clips/2: ...").
    std::string documentName;
    std::atomic<bool> const* cancel = nullptr;
    Media::WarningFn warn;
    /// What is known of files, kept over several plans. Has to have been made with the same rules.
    Prober* prober = nullptr;
};

/// How a feed's file and a sound's are read.
Media::InputRules RulesFor(PlannedFeed const& feed, std::atomic<bool> const* stop);
Media::InputRules RulesFor(PlannedSound const& sound, std::atomic<bool> const* stop);

/// Looks at the files and places everything. Throws `std::invalid_argument` for a document that cannot be,
/// `MediaError` for a file at fault, `Cancelled`.
Plan MakePlan(Document const& document, PlanOptions const& options);

}  // namespace Kaltor::Edit
