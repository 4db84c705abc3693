#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Edit/Curve.h"
#include "Edit/Time.h"
#include "Edit/Titles/Title.h"
#include "Media/EncoderSettings.h"
#include "Media/InputRules.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Edit {

/// A whole video as its document describes it. What a document leaves out has the defaults that stand here. Where a
/// field's unit is not said, times are within the span of what the field belongs to.

/// A number that may change: a constant, or a curve over the span.
struct Animated {
    double constant = 0.0;
    Curve curve;  ///< no keys: the constant

    bool IsConstant() const { return curve.keys.empty(); }
    bool operator==(Animated const&) const = default;
};

/// One field of an effect or a transition that changes.
struct KeyedField {
    std::string key;
    Curve curve;

    bool operator==(KeyedField const&) const = default;
};

/// Settings of a registered class with the fields that change. Null settings: nothing, a plain cut.
struct Look {
    std::shared_ptr<Proc::Settings const> settings;
    std::vector<KeyedField> keyed;
    /// How progress goes over the span; linear from 0 to 1 where there is neither.
    Easing easing;
    Curve progress;
};

/// An effect on a clip, an overlay or the whole video.
struct Effect : Look {
    enum class On : std::int32_t {
        Picture,  ///< what it is on, before bars
        Frame,    ///< the whole frame, with bars
    };
    Time from;
    std::optional<Time> to;  ///< the end of what it is on
    bool isMuted = false;
    On on = On::Picture;
};

/// How one clip goes over into the next one, the video begins or ends, an overlay enters or leaves.
struct Joint : Look {
    Time duration = Time::Seconds(1.0);
    /// At the video's beginning and end: what it comes from and goes to.
    Proc::Color color{0, 0, 0, 255};
};

/// What is shown: one of them.
struct Source {
    /// A video, a still, a sequence ("frame%04d.png", "frames/*.png"), a fifo; "-" is standard input.
    std::string file;
    std::string raw;                      ///< the form of frames without a header, "1920x1080:rgba:30"
    std::optional<AVRational> frameRate;  ///< of a sequence; the video's where there is none
    Media::InputRules::Alpha alpha = Media::InputRules::Alpha::Auto;
    std::optional<Proc::Color> color;
    std::optional<Title> title;
};

/// How fast and in which direction.
struct Playing {
    double speed = 1.0;  ///< 0.05 to 20
    bool keepsPitch = true;
    bool isReversed = false;
};

/// The sound of a clip or an overlay.
struct OwnSound {
    Animated volume;  ///< dB
    bool isMuted = false;
    Time fadeIn;
    Time fadeOut;
};

struct Clip {
    enum class Fit : std::int32_t {
        Whole,    ///< all of it, with bars
        Fill,     ///< the frame is full, what is beyond it is cut off
        Stretch,  ///< the frame is full, the shape changes
        Blur,     ///< all of it; the bars show the picture itself, enlarged and blurred
    };

    Source source;
    /// The piece of a file, in its own time. A share is one of the file's duration.
    Time from;
    std::optional<Time> to;
    /// Of stills, colours and titles.
    std::optional<Time> duration;
    Playing playing;
    Time holdFirst;  ///< how long the first picture stands before the clip plays
    Time holdLast;
    Fit fit = Fit::Whole;
    /// What `Fill` keeps in view: shares of the picture's width and height, from the upper left corner.
    double focusX = 0.5;
    double focusY = 0.5;
    std::optional<Proc::Color> background;  ///< of the bars; the output's where there is none
    OwnSound sound;
    std::vector<Effect> effects;
    /// To the next clip; the document's where there is none.
    std::optional<Joint> joint;
};

/// What lies above the clips, the later one above the earlier.
struct Overlay {
    enum class Anchor : std::int32_t { TopLeft, Top, TopRight, Left, Center, Right, BottomLeft, Bottom, BottomRight };
    enum class Blend : std::int32_t { Normal, Add, Multiply, Screen, Overlay };

    Source source;
    Time from;               ///< on the video's time line
    std::optional<Time> to;  ///< the end of the video, or of what is shown
    Time start;              ///< where the file begins to play, in its own time
    bool loops = false;
    Playing playing;
    /// Which point of the overlay and of the frame lie on each other; x and y move it from there, right and down.
    Anchor anchor = Anchor::Center;
    Animated x;  ///< a share of the frame's width; pixels where `isInPixels`
    Animated y;  ///< a share of the frame's height; pixels where `isInPixels`
    bool isInPixels = false;
    /// One of them is enough, the other one follows from the shape; none: its own pixels.
    std::optional<Length> width;
    std::optional<Length> height;
    Animated scale{1.0, {}};  ///< of the size
    /// Shares that are cut from its left, top, right, bottom.
    double cropLeft = 0.0;
    double cropTop = 0.0;
    double cropRight = 0.0;
    double cropBottom = 0.0;
    Animated rotation;  ///< degrees clockwise about its middle
    Length radius;      ///< of its corners; a share is one of its shorter side
    Animated opacity{1.0, {}};
    Blend blend = Blend::Normal;
    std::optional<Joint> enter;
    std::optional<Joint> leave;
    std::vector<Effect> effects;
    OwnSound sound;
};

/// How a bed of sound becomes quieter while the clips and overlays sound.
struct SoundDuck {
    double by = 12.0;          ///< dB, 0 to 60
    double threshold = -40.0;  ///< dBFS of the clips' sound from which on it counts, -80 to 0
    double attack = 0.2;       ///< seconds
    double release = 0.8;      ///< seconds

    bool operator==(SoundDuck const&) const = default;
};

/// A bed of sound under the clips.
struct Sound {
    std::string file;
    Time from;               ///< on the video's time line
    std::optional<Time> to;  ///< the end of the video, or of the file
    Time start;              ///< where the file begins to play, in its own time
    bool loops = false;
    Playing playing;
    Animated volume;  ///< dB
    Time fadeIn;
    Time fadeOut;
    using Duck = SoundDuck;
    std::optional<Duck> duck;
};

/// How subtitles look. What is not set is as in captions, at the bottom of the frame.
struct SubtitleStyle : Title {
    SubtitleStyle() { style = Style::Caption; }
};

/// Subtitles over everything.
struct Subtitles {
    std::string file;
    Time offset;  ///< added to the file's times
    std::optional<SubtitleStyle> style;
};

/// The whole sound.
struct Mix {
    enum class Channels : std::int32_t { Auto, Mono, Stereo, Surround };
    bool isMuted = false;
    Channels channels = Channels::Auto;
    /// Integrated loudness after ITU-R BS.1770-4, LUFS; with the limit of the true peak, dBTP.
    std::optional<double> loudness;
    double truePeak = -1.0;
};

/// Pixels.
struct PixelSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    bool operator==(PixelSize const&) const = default;
};

struct Output : Media::EncoderSettings {
    using Size = PixelSize;
    /// What frames are worked on in.
    enum class Depth : std::int32_t {
        Auto,   ///< 16-bit float where a clip and the output both have more than 8 bits
        Eight,  ///< 8 bits
        Float,  ///< 16-bit float
    };
    enum class Hdr : std::int32_t {
        Auto,  ///< as the first clip
        Sdr,
        Pq,
        Hlg,
    };
    Depth depth = Depth::Auto;
    Hdr hdr = Hdr::Auto;
    /// "": kept where clips have it and the file carries it; "keep": kept; otherwise the colour that the video is laid over.
    std::string alpha;
    std::optional<Size> size;
    std::optional<AVRational> frameRate;
    Proc::Color background{0, 0, 0, 255};
    Time stillDuration = Time::Seconds(3.0);  ///< of stills, colours and titles that name none
    std::optional<std::uint32_t> seed;
};

struct Document {
    static constexpr int kVersion = 1;

    Output output;
    std::vector<Clip> clips;
    /// Between clips that name none.
    Joint joint;
    std::optional<Joint> opening;
    std::optional<Joint> closing;
    std::vector<Effect> effects;
    std::vector<Overlay> overlays;
    std::vector<Subtitles> subtitles;
    std::vector<Sound> sounds;
    Mix mix;
};

}  // namespace Kaltor::Edit
