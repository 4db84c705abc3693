#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "Edit/Document.h"

/// The one declaration of a document's form: reader, writer and schema follow from it. An `Archive` is called with a
/// key, the member, what restricts it, and a sentence of help; `archive.Look(...)` stands for a class's name with its
/// fields.
namespace Kaltor::Edit {

/// The accepted numbers; both ends are included.
struct Range {
    double minimum;
    double maximum;
};

constexpr Range kAnyNumber{-1e9, 1e9};
constexpr Range kShare{0.0, 1.0};
constexpr Range kVolume{-120.0, 40.0};

template <typename Enumeration>
struct EnumLabel {
    Enumeration value;
    std::string_view label;
};

constexpr auto kFitLabels = std::to_array<EnumLabel<Clip::Fit>>({{Clip::Fit::Whole, "whole"},
                                                                 {Clip::Fit::Fill, "fill"},
                                                                 {Clip::Fit::Stretch, "stretch"},
                                                                 {Clip::Fit::Blur, "blur"}});
constexpr auto kOnLabels =
    std::to_array<EnumLabel<Effect::On>>({{Effect::On::Picture, "picture"}, {Effect::On::Frame, "frame"}});
constexpr auto kAnchorLabels =
    std::to_array<EnumLabel<Overlay::Anchor>>({{Overlay::Anchor::TopLeft, "top-left"},
                                               {Overlay::Anchor::Top, "top"},
                                               {Overlay::Anchor::TopRight, "top-right"},
                                               {Overlay::Anchor::Left, "left"},
                                               {Overlay::Anchor::Center, "center"},
                                               {Overlay::Anchor::Right, "right"},
                                               {Overlay::Anchor::BottomLeft, "bottom-left"},
                                               {Overlay::Anchor::Bottom, "bottom"},
                                               {Overlay::Anchor::BottomRight, "bottom-right"}});
constexpr auto kBlendLabels = std::to_array<EnumLabel<Overlay::Blend>>({{Overlay::Blend::Normal, "normal"},
                                                                        {Overlay::Blend::Add, "add"},
                                                                        {Overlay::Blend::Multiply, "multiply"},
                                                                        {Overlay::Blend::Screen, "screen"},
                                                                        {Overlay::Blend::Overlay, "overlay"}});
constexpr auto kChannelLabels = std::to_array<EnumLabel<Mix::Channels>>({{Mix::Channels::Auto, "auto"},
                                                                         {Mix::Channels::Mono, "mono"},
                                                                         {Mix::Channels::Stereo, "stereo"},
                                                                         {Mix::Channels::Surround, "5.1"}});

constexpr auto kDepthLabels = std::to_array<EnumLabel<Output::Depth>>(
    {{Output::Depth::Auto, "auto"}, {Output::Depth::Eight, "8"}, {Output::Depth::Float, "16f"}});
constexpr auto kHdrLabels = std::to_array<EnumLabel<Output::Hdr>>(
    {{Output::Hdr::Auto, "auto"}, {Output::Hdr::Sdr, "sdr"}, {Output::Hdr::Pq, "pq"}, {Output::Hdr::Hlg, "hlg"}});

constexpr auto kAlphaLabels = std::to_array<EnumLabel<Media::InputRules::Alpha>>(
    {{Media::InputRules::Alpha::Auto, "auto"},
     {Media::InputRules::Alpha::Straight, "straight"},
     {Media::InputRules::Alpha::Premultiplied, "premultiplied"}});

constexpr auto kStyleLabels = std::to_array<EnumLabel<Title::Style>>({{Title::Style::Title, "title"},
                                                                      {Title::Style::Subtitle, "subtitle"},
                                                                      {Title::Style::LowerThird, "lower-third"},
                                                                      {Title::Style::Caption, "caption"}});
constexpr auto kAlignLabels = std::to_array<EnumLabel<Title::Align>>({{Title::Align::Left, "left"},
                                                                      {Title::Align::Center, "center"},
                                                                      {Title::Align::Right, "right"},
                                                                      {Title::Align::Justify, "justify"}});
constexpr auto kTitleAnchorLabels =
    std::to_array<EnumLabel<Title::Anchor>>({{Title::Anchor::TopLeft, "top-left"},
                                             {Title::Anchor::Top, "top"},
                                             {Title::Anchor::TopRight, "top-right"},
                                             {Title::Anchor::Left, "left"},
                                             {Title::Anchor::Center, "center"},
                                             {Title::Anchor::Right, "right"},
                                             {Title::Anchor::BottomLeft, "bottom-left"},
                                             {Title::Anchor::Bottom, "bottom"},
                                             {Title::Anchor::BottomRight, "bottom-right"}});
constexpr auto kDirectionLabels =
    std::to_array<EnumLabel<Title::Direction>>({{Title::Direction::Auto, "auto"},
                                                {Title::Direction::LeftToRight, "left-to-right"},
                                                {Title::Direction::RightToLeft, "right-to-left"}});
constexpr auto kAnimationLabels =
    std::to_array<EnumLabel<Title::Animation>>({{Title::Animation::None, "none"},
                                                {Title::Animation::Fade, "fade"},
                                                {Title::Animation::Rise, "rise"},
                                                {Title::Animation::Typewriter, "typewriter"},
                                                {Title::Animation::WordByWord, "word-by-word"}});

constexpr std::span<EnumLabel<Title::Style> const> GetLabels(Title::Style) {
    return kStyleLabels;
}
constexpr std::span<EnumLabel<Title::Align> const> GetLabels(Title::Align) {
    return kAlignLabels;
}
constexpr std::span<EnumLabel<Title::Anchor> const> GetLabels(Title::Anchor) {
    return kTitleAnchorLabels;
}
constexpr std::span<EnumLabel<Title::Direction> const> GetLabels(Title::Direction) {
    return kDirectionLabels;
}
constexpr std::span<EnumLabel<Title::Animation> const> GetLabels(Title::Animation) {
    return kAnimationLabels;
}
constexpr std::span<EnumLabel<Output::Depth> const> GetLabels(Output::Depth) {
    return kDepthLabels;
}
constexpr std::span<EnumLabel<Output::Hdr> const> GetLabels(Output::Hdr) {
    return kHdrLabels;
}
constexpr std::span<EnumLabel<Media::InputRules::Alpha> const> GetLabels(Media::InputRules::Alpha) {
    return kAlphaLabels;
}
constexpr std::span<EnumLabel<Clip::Fit> const> GetLabels(Clip::Fit) {
    return kFitLabels;
}
constexpr std::span<EnumLabel<Effect::On> const> GetLabels(Effect::On) {
    return kOnLabels;
}
constexpr std::span<EnumLabel<Overlay::Anchor> const> GetLabels(Overlay::Anchor) {
    return kAnchorLabels;
}
constexpr std::span<EnumLabel<Overlay::Blend> const> GetLabels(Overlay::Blend) {
    return kBlendLabels;
}
constexpr std::span<EnumLabel<Mix::Channels> const> GetLabels(Mix::Channels) {
    return kChannelLabels;
}

template <typename Archive>
void Declare(Archive& archive, Effect& effect) {
    archive.Look("effect", effect);
    archive("from", effect.from, "when it begins, within what it is on");
    archive("to", effect.to, "when it ends; otherwise with what it is on");
    archive("muted", effect.isMuted, "leaves it out");
    archive("on", effect.on, "what it sees: the picture in its own shape, or the whole frame with bars");
}

template <typename Archive>
void Declare(Archive& archive, Joint& joint) {
    archive.Look("transition", joint);
    archive("duration", joint.duration, "how long it takes");
    archive("background", joint.color, "at the video's beginning and end: the colour that it comes from or goes to");
}

template <typename Archive>
void Declare(Archive& archive, Title& title) {
    archive("text", title.text, "what it says; line breaks are kept");
    archive("markup", title.hasMarkup, "the text is Pango's markup, such as <b>bold</b>");
    archive("style", title.style, "where it stands and how it looks, as far as nothing else is set");
    archive("family", title.family, "of the font, or several with commas between them");
    archive("weight", title.weight, "of the font: 400 is regular, 700 bold");
    archive("italic", title.isItalic, "slanted letters");
    archive("size", title.size, Range{0.001, 1.0}, "of the letters: the em as a share of the frame's height");
    archive("color", title.color, "of the letters");
    archive("lineSpacing", title.lineSpacing, Range{0.5, 4.0}, "1 is the font's own");
    archive("align", title.align, "of the lines");
    archive("direction", title.direction, "of the writing");
    archive("width", title.width, Range{0.01, 1.0}, "where lines wrap, a share of the frame's width");
    archive("outlineWidth", title.outlineWidth, Range{0.0, 0.5}, "of the line around the letters, in em");
    archive("outlineColor", title.outlineColor, "of the line around the letters");
    archive("shadowX", title.shadowX, Range{-1.0, 1.0}, "how far to the right the shadow falls, in em");
    archive("shadowY", title.shadowY, Range{-1.0, 1.0}, "how far down the shadow falls, in em");
    archive("shadowBlur", title.shadowBlur, Range{0.0, 2.0}, "softness of the shadow, in em");
    archive("shadowColor", title.shadowColor, "of the shadow");
    archive("boxColor", title.boxColor, "of the box behind the text; transparent: none");
    archive("boxPaddingX", title.boxPaddingX, Range{0.0, 4.0}, "between text and box at the sides, in em");
    archive("boxPaddingY", title.boxPaddingY, Range{0.0, 4.0}, "between text and box above and below, in em");
    archive("boxRadius", title.boxRadius, Range{0.0, 4.0}, "of the box's corners, in em");
    archive("anchor", title.anchor, "where it stands");
    archive("margin", title.margin, Range{0.0, 0.45}, "kept free at each side, a share of the frame");
    archive("x", title.x, Range{-1.0, 1.0}, "moves it to the right, a share of the frame's width");
    archive("y", title.y, Range{-1.0, 1.0}, "moves it down, a share of the frame's height");
    archive("animation", title.animation, "how it appears and goes");
    archive("entry", title.entry, Range{0.0, 3600.0}, "how long it takes to appear, in seconds");
    archive("exit", title.exit, Range{0.0, 3600.0}, "how long it takes to go, in seconds");
}

template <typename Archive>
void Declare(Archive& archive, Source& source) {
    archive("file", source.file, "a video, a picture or a sequence of pictures (frame%04d.png, frames/*.png)");
    archive("raw", source.raw, "of a file of frames without a header: their form, WIDTHxHEIGHT:FORMAT:RATE");
    archive("fps", source.frameRate, "of a sequence of pictures: how many a second; the video's otherwise");
    archive("alpha", source.alpha, "whether colours are multiplied by alpha, where the file does not say it");
    archive("color", source.color, "a plain colour");
    archive("title", source.title, "a text");
}

template <typename Archive>
void Declare(Archive& archive, Playing& playing) {
    archive("speed", playing.speed, Range{0.05, 20.0}, "how fast it plays");
    archive("keepPitch", playing.keepsPitch, "whether its sound keeps its pitch when the speed is not 1");
    archive("reversed", playing.isReversed, "plays backwards");
}

template <typename Archive>
void Declare(Archive& archive, OwnSound& sound) {
    archive("volume", sound.volume, kVolume, "of its own sound, in decibels");
    archive("muted", sound.isMuted, "leaves out its own sound");
    archive("fadeIn", sound.fadeIn, "how long its sound takes to come in");
    archive("fadeOut", sound.fadeOut, "how long its sound takes to go out");
}

template <typename Archive>
void Declare(Archive& archive, Clip& clip) {
    Declare(archive, clip.source);
    archive("from", clip.from, "where the piece begins in the file");
    archive("to", clip.to, "where the piece ends in the file");
    archive("duration", clip.duration, "of a picture, a colour or a title");
    Declare(archive, clip.playing);
    archive("holdFirst", clip.holdFirst, "how long the first picture stands before the clip plays");
    archive("holdLast", clip.holdLast, "how long the last picture stands after it has played");
    archive("fit", clip.fit, "how the picture is brought into the frame");
    archive("focusX", clip.focusX, kShare, "what fill keeps in view, from the left");
    archive("focusY", clip.focusY, kShare, "what fill keeps in view, from the top");
    archive("background", clip.background, "colour of the bars");
    Declare(archive, clip.sound);
    archive("effects", clip.effects, "in the order in which they are applied");
    archive("joint", clip.joint, "how it goes over into the next clip; a transition of none is a cut");
}

template <typename Archive>
void Declare(Archive& archive, Overlay& overlay) {
    Declare(archive, overlay.source);
    archive("from", overlay.from, "when it appears in the video");
    archive("to", overlay.to, "when it is gone; otherwise with the end of what it shows, or of the video");
    archive("start", overlay.start, "where the file begins to play");
    archive("loop", overlay.loops, "plays the file again and again");
    Declare(archive, overlay.playing);
    archive("anchor", overlay.anchor, "the point of the frame where it stands, with the same point of its own");
    archive("x", overlay.x, kAnyNumber, "moves it to the right: a share of the frame's width, or pixels");
    archive("y", overlay.y, kAnyNumber, "moves it down: a share of the frame's height, or pixels");
    archive("inPixels", overlay.isInPixels, "x and y are pixels");
    archive("width", overlay.width, "a share of the frame's width, or pixels; the height follows");
    archive("height", overlay.height, "a share of the frame's height, or pixels; the width follows");
    archive("scale", overlay.scale, Range{0.0, 100.0}, "of its size");
    archive("cropLeft", overlay.cropLeft, kShare, "the part of it that is cut off on the left");
    archive("cropTop", overlay.cropTop, kShare, "the part of it that is cut off at the top");
    archive("cropRight", overlay.cropRight, kShare, "the part of it that is cut off on the right");
    archive("cropBottom", overlay.cropBottom, kShare, "the part of it that is cut off at the bottom");
    archive("rotation", overlay.rotation, kAnyNumber, "clockwise about its middle, degrees");
    archive("radius", overlay.radius, "of its corners: a share of its shorter side, or pixels");
    archive("opacity", overlay.opacity, kShare, "1 covers what is below");
    archive("blend", overlay.blend, "how its colours meet those below");
    archive("enter", overlay.enter, "the transition with which it appears");
    archive("leave", overlay.leave, "the transition with which it goes");
    archive("effects", overlay.effects, "in the order in which they are applied");
    Declare(archive, overlay.sound);
}

template <typename Archive>
void Declare(Archive& archive, Sound::Duck& duck) {
    archive("by", duck.by, Range{0.0, 60.0}, "how much quieter, in decibels");
    archive("threshold", duck.threshold, Range{-80.0, 0.0}, "how loud the clips have to be, in dB of full scale");
    archive("attack", duck.attack, Range{0.0, 10.0}, "how long it takes to become quieter, in seconds");
    archive("release", duck.release, Range{0.0, 60.0}, "how long it takes to come back, in seconds");
}

template <typename Archive>
void Declare(Archive& archive, Sound& sound) {
    archive("file", sound.file, "a file with sound");
    archive("from", sound.from, "when it begins in the video");
    archive("to", sound.to, "when it ends; otherwise with the file, or with the video");
    archive("start", sound.start, "where the file begins to play");
    archive("loop", sound.loops, "plays the file again and again");
    Declare(archive, sound.playing);
    archive("volume", sound.volume, kVolume, "in decibels");
    archive("fadeIn", sound.fadeIn, "how long it takes to come in");
    archive("fadeOut", sound.fadeOut, "how long it takes to go out");
    archive("duck", sound.duck, "makes it quieter while the clips sound");
}

template <typename Archive>
void Declare(Archive& archive, Subtitles& subtitles) {
    archive("file", subtitles.file, "an SRT, VTT or ASS file");
    archive("offset", subtitles.offset, "added to the times of the file");
    archive("style", subtitles.style, "of SRT and VTT: family, size and colours, as of a title");
}

template <typename Archive>
void Declare(Archive& archive, Mix& mix) {
    archive("muted", mix.isMuted, "a video without sound");
    archive("channels", mix.channels, "mono, stereo, 5.1; auto: what the clips have");
    archive("loudness", mix.loudness, Range{-70.0, -5.0}, "integrated loudness of the whole, in LUFS");
    archive("truePeak", mix.truePeak, Range{-20.0, 0.0}, "the limit of the true peak, in dBTP");
}

template <typename Archive>
void Declare(Archive& archive, Output& output) {
    archive("size", output.size, "WIDTHxHEIGHT; the first clip's otherwise");
    archive("fps", output.frameRate, "frames a second, such as 25, 29.97 or 30000/1001; the first clip's otherwise");
    archive("background", output.background, "of bars and gaps");
    archive("stillDuration", output.stillDuration, "of pictures, colours and titles that name none");
    archive("seed", output.seed, "of what is random; the clock's otherwise");
    archive("depth", output.depth, "what frames are worked on in: 8 bits or 16-bit float");
    archive("hdr", output.hdr, "the dynamic range; the first clip's otherwise");
    archive("alpha", output.alpha, "keep, or the colour that transparent parts are laid over");
    archive("for", output.profile, "settings that suit a use, where nothing else is set; `kaltor render --for list`");
    archive("format", output.format, "the container, where the output's name does not say it");
    archive("codec", output.codec, "the video encoder; H.264 where the container takes it");
    archive("crf", output.crf, "quality in the encoder's own scale; lower is better");
    archive("bitrate", output.bitRate, "bits per second instead of a quality, such as 5M or 800k");
    archive("preset", output.preset, "how much time the encoder may take, by its own names or numbers");
    archive("pixelFormat", output.pixelFormat, "by FFmpeg's name, such as yuv444p");
    archive("gop", output.keyFrameInterval, "frames from one key frame to the next, at most");
    archive("encoderOptions", output.encoderOptions, "the encoder's own options");
    archive("audioCodec", output.audioCodec, "the audio encoder");
    archive("audioBitrate", output.audioBitRate, "bits per second of the sound, such as 192k");
    archive("metadata", output.metadata, "such as title, artist and date");
    archive("chapters", output.hasChapters, "marks where clips begin");
    archive("firstNumber", output.firstNumber, "of a sequence of pictures");
}

template <typename Archive>
void Declare(Archive& archive, Document& document) {
    archive("output", document.output, "the video's form");
    archive("clips", document.clips, "one after the other");
    archive("joint", document.joint, "between clips that name none; a transition of none is a cut");
    archive("opening", document.opening, "how the video begins, from a colour");
    archive("closing", document.closing, "how the video ends, in a colour");
    archive("effects", document.effects, "on the whole video, below the overlays");
    archive("overlays", document.overlays, "above the clips, the later above the earlier");
    archive("subtitles", document.subtitles, "above everything");
    archive("sounds", document.sounds, "music and other beds of sound");
    archive("mix", document.mix, "the whole sound");
}

}  // namespace Kaltor::Edit
