#include "Apps/Kaltor/RenderOptions.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <stdexcept>
#include <type_traits>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Apps/Kaltor/Console.h"
#include "Core/ParseNumber.h"
#include "Core/Text.h"
#include "Edit/Convert/AnyDocument.h"
#include "Edit/Declaration.h"
#include "Edit/DocumentReader.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Cli {
namespace {

using Edit::Document;
using Edit::Json;

constexpr char kDefaultTransition[] = "TransitionCrossfade";

/// "1 clip", "2 clips".
std::string Count(std::size_t count, char const* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

/// Runs a reader of the document's own forms; what it refuses was typed wrongly.
template <typename Read>
auto Typed(std::string const& what, Read const& read) {
    try {
        return read();
    } catch (std::invalid_argument const& error) {
        throw UsageError(fmt::format("{}: {}", what, error.what()));
    }
}

/// A duration in seconds or frames.
Edit::Time ParseDuration(std::string const& text, std::string const& option, std::string const& hint = "") {
    if (text.find(':') != std::string::npos && !hint.empty()) {
        throw UsageError(fmt::format("{} {}: {}", option, text, hint));
    }
    Edit::Time const time = Typed(option, [&] { return Edit::ParseTime(text); });
    if (time.share != 0.0 || time.seconds < 0.0 || time.frames < 0.0) {
        throw UsageError(fmt::format("{} {}: it takes seconds (0.5) or frames (12f)", option, text));
    }
    return time;
}

std::vector<Edit::Clip> MakeClips(DocumentOptions const& options) {
    std::vector<Edit::Clip> clips;
    constexpr double kPerSecond = 1e6;
    for (std::string const& text : options.clips) {
        ClipSpec const spec = ParseClip(text);
        Edit::Clip& clip = clips.emplace_back();
        clip.source.file = spec.path;
        clip.source.raw = spec.raw;
        clip.source.alpha = spec.alpha;
        if (!spec.raw.empty()) {
            Typed(text, [&] { return Media::ParseRawForm(spec.raw); });
        }
        if (spec.start) {
            clip.from = Edit::Time::Seconds(static_cast<double>(*spec.start) / kPerSecond);
        }
        if (spec.end) {
            clip.to = Edit::Time::Seconds(static_cast<double>(*spec.end) / kPerSecond);
        }
    }
    return clips;
}

/// "NAME[@DURATION[,EASING]]" with its fields.
Edit::Joint MakeJoint(NameSpec const& spec, Edit::Time const& standard, Catalog const& catalog) {
    Edit::Joint joint;
    joint.duration = standard;
    std::size_t const at = spec.name.find('@');
    std::string const name = spec.name.substr(0, at);
    if (at != std::string::npos) {
        std::string const timing = spec.name.substr(at + 1);
        std::size_t const comma = timing.find(',');
        if (comma != 0) {
            joint.duration = ParseDuration(timing.substr(0, comma), "--transition " + spec.name);
        }
        if (comma != std::string::npos) {
            joint.easing =
                Typed("--transition " + spec.name, [&] { return Edit::Easing::Parse(timing.substr(comma + 1)); });
        }
    }
    if (name != "none" && (joint.duration.seconds > 0.0 || joint.duration.frames > 0.0)) {
        joint.settings = MakeSettings(catalog.FindTransition(name), spec.values);
    }
    return joint;
}

/// Those for all joints first, then those for one, in the order in which they were given.
void AddJoints(Document& document, DocumentOptions const& options, bool isRead, Catalog const& catalog) {
    Edit::Time const duration =
        options.transitionDuration.empty()
            ? Edit::Time::Seconds(1.0)
            : ParseDuration(options.transitionDuration, "--transition-duration",
                            "it takes seconds (0.5) or frames (12f) for all joints; for one joint, give "
                            "--transition 1:NAME@0.5");
    std::vector<IndexedSpec> specs;
    for (std::string const& text : options.transitions) {
        specs.push_back(ParseIndexedSpec(text));
    }
    std::stable_partition(specs.begin(), specs.end(), [](IndexedSpec const& spec) { return !spec.index; });
    if (!isRead) {
        specs.insert(specs.begin(), IndexedSpec{std::nullopt, {kDefaultTransition, {}}});
    } else if (!options.transitionDuration.empty()) {
        document.joint.duration = duration;
        for (Edit::Clip& clip : document.clips) {
            if (clip.joint) {
                clip.joint->duration = duration;
            }
        }
    }
    std::size_t const joints = document.clips.size() - 1;
    for (auto const& [index, spec] : specs) {
        if (index && *index > joints) {
            throw UsageError(fmt::format("{}:{}: there is no joint {} in {}; that of the first two clips is 1", *index,
                                         spec.name, *index, Count(document.clips.size(), "clip")));
        }
        Edit::Joint const joint = MakeJoint(spec, duration, catalog);
        if (index) {
            document.clips[*index - 1].joint = joint;
        } else {
            document.joint = joint;
            for (Edit::Clip& clip : document.clips) {
                clip.joint.reset();
            }
        }
    }
}

void CheckClip(std::size_t index, std::string const& text, std::size_t clips) {
    if (index == 0 || index > clips) {
        throw UsageError(fmt::format("\"{}\" is for clip {}, but there {} {}", text, index, clips == 1 ? "is" : "are",
                                     Count(clips, "clip")));
    }
}

void AddEffects(Document& document, DocumentOptions const& options, Catalog const& catalog) {
    for (std::string const& text : options.effects) {
        auto const [index, spec] = ParseIndexedSpec(text);
        if (index) {
            CheckClip(*index, text, document.clips.size());
        }
        Edit::Effect effect;
        effect.settings = MakeSettings(catalog.FindEffect(spec.name), spec.values);
        for (std::size_t i = 0; i < document.clips.size(); ++i) {
            if (!index || *index == i + 1) {
                document.clips[i].effects.push_back(effect);
            }
        }
    }
}

/// Gives "[INDEX:]VALUE" to each clip that it is for.
template <typename Apply>
void ForClips(Document& document, std::vector<std::string> const& texts, Apply const& apply) {
    for (std::string const& text : texts) {
        std::size_t const colon = text.find(':');
        std::optional<std::size_t> const index =
            colon == std::string::npos ? std::nullopt : Core::ParseNumber<std::size_t>(text.substr(0, colon));
        if (colon != std::string::npos && !index) {
            throw UsageError(fmt::format("\"{}\" begins with no index: the first clip is 1", text));
        }
        if (index) {
            CheckClip(*index, text, document.clips.size());
        }
        std::string const value = colon == std::string::npos ? text : text.substr(colon + 1);
        for (std::size_t i = 0; i < document.clips.size(); ++i) {
            if (!index || *index == i + 1) {
                apply(document.clips[i], value);
            }
        }
    }
}

double ParseNumberIn(std::string const& text, char const* option, double minimum, double maximum) {
    std::optional<double> const value = Core::ParseNumber<double>(text);
    if (!value || !(*value >= minimum && *value <= maximum)) {
        throw UsageError(fmt::format("{} {}: it takes {:g} to {:g}", option, text, minimum, maximum));
    }
    return *value;
}

Edit::Clip::Fit ParseFit(std::string const& text) {
    using Fit = Edit::Clip::Fit;
    for (auto const& [name, fit] :
         {std::pair{"whole", Fit::Whole}, {"fill", Fit::Fill}, {"stretch", Fit::Stretch}, {"blur", Fit::Blur}}) {
        if (text == name) {
            return fit;
        }
    }
    throw UsageError(fmt::format("--fit {}: it takes whole, fill, stretch or blur", text));
}

void AddClipOptions(Document& document, DocumentOptions const& options) {
    ForClips(document, options.fits, [](Edit::Clip& clip, std::string const& text) { clip.fit = ParseFit(text); });
    ForClips(document, options.speeds, [](Edit::Clip& clip, std::string const& text) {
        clip.playing.speed = ParseNumberIn(text, "--speed", 0.05, 20.0);
    });
    ForClips(document, options.volumes, [](Edit::Clip& clip, std::string const& text) {
        clip.sound.volume = {ParseNumberIn(text, "--volume", -120.0, 40.0), {}};
    });
}

/// "TEXT[:key=value...]" with the keys of a document's part: a colon begins a key only where NAME= follows.
struct PartSpec {
    std::string text;
    Json fields = Json::object();
};

PartSpec ParsePart(std::string const& whole) {
    auto const keyLength = [&whole](std::size_t colon) -> std::size_t {
        std::size_t end = colon + 1;
        while (end < whole.size() && std::isalpha(static_cast<unsigned char>(whole[end])) != 0) {
            ++end;
        }
        return end > colon + 1 && end < whole.size() && whole[end] == '=' ? end - colon - 1 : 0;
    };
    std::vector<std::size_t> colons;
    for (std::size_t at = whole.find(':'); at != std::string::npos; at = whole.find(':', at + 1)) {
        if (keyLength(at) > 0) {
            colons.push_back(at);
        }
    }
    PartSpec spec;
    spec.text = whole.substr(0, colons.empty() ? std::string::npos : colons.front());
    for (std::size_t i = 0; i < colons.size(); ++i) {
        std::size_t const begin = colons[i] + 1;
        std::size_t const length = keyLength(colons[i]);
        std::size_t const valueBegin = begin + length + 1;
        std::size_t const end = i + 1 < colons.size() ? colons[i + 1] : whole.size();
        std::string const value = whole.substr(valueBegin, end - valueBegin);
        // Numbers, flags and whole objects are what they are in a document; all else is text.
        Json json = value;
        bool const isJson = Core::ParseNumber<double>(value) || value == "true" || value == "false" ||
                            value.starts_with('{') || value.starts_with('[');
        if (isJson) {
            try {
                json = Edit::ParseJson(value, fmt::format("\"{}\"", value));
            } catch (std::runtime_error const& error) {
                throw UsageError(error.what());
            }
        }
        spec.fields[whole.substr(begin, length)] = json;
    }
    return spec;
}

void AddTitles(Document& document, DocumentOptions const& options, Catalog const& catalog) {
    static constexpr std::array kOfOverlay{"from",     "to",    "opacity", "blend",  "scale",
                                           "rotation", "enter", "leave",   "effects"};
    for (std::string const& text : options.titles) {
        PartSpec const spec = ParsePart(text);
        // A title's place is its own; when it shows and how it lies over the video is the overlay's.
        Json overlay{{"title", {{"text", spec.text}}}};
        for (auto const& [key, value] : spec.fields.items()) {
            bool const isOverlays = std::find(kOfOverlay.begin(), kOfOverlay.end(), key) != kOfOverlay.end();
            (isOverlays ? overlay : overlay["title"])[key] = value;
        }
        try {
            document.overlays.push_back(Edit::ReadOverlay(overlay, catalog));
        } catch (std::invalid_argument const& error) {
            // A title's own list of keys is not all that is taken here.
            std::string const message = error.what();
            bool const listsKeys = message.find("no such key; it takes") != std::string::npos;
            throw UsageError(fmt::format("--title: {}{}", message,
                                         listsKeys ? fmt::format(", {}", fmt::join(kOfOverlay, ", ")) : ""));
        }
    }
}

void AddOverlays(Document& document, DocumentOptions const& options, Catalog const& catalog) {
    for (std::string const& text : options.overlays) {
        PartSpec const spec = ParsePart(text);
        Json overlay{{"file", spec.text}};
        overlay.update(spec.fields);
        document.overlays.push_back(Typed("--overlay", [&] { return Edit::ReadOverlay(overlay, catalog); }));
    }
    for (std::string const& text : options.music) {
        PartSpec const spec = ParsePart(text);
        Json sound{{"file", spec.text}};
        sound.update(spec.fields);
        document.sounds.push_back(Typed("--music", [&] { return Edit::ReadSound(sound, catalog); }));
    }
    for (std::string const& file : options.subtitles) {
        document.subtitles.push_back({file, {}, {}});
    }
}

/// The video's beginning and end, with the sound.
void AddFades(Document& document, DocumentOptions const& options, Catalog const& catalog) {
    auto const make = [&](std::string const& text, char const* option) {
        Edit::Joint joint;
        joint.settings = MakeSettings(catalog.FindTransition(kDefaultTransition), {});
        joint.duration = ParseDuration(text, option);
        return joint;
    };
    if (!options.fadeIn.empty()) {
        document.opening = make(options.fadeIn, "--fade-in");
        document.clips.front().sound.fadeIn = document.opening->duration;
    }
    if (!options.fadeOut.empty()) {
        document.closing = make(options.fadeOut, "--fade-out");
        document.clips.back().sound.fadeOut = document.closing->duration;
    }
}

/// "KEY=VALUE" each.
void AddAssignments(Media::TextMap& map, std::vector<std::string> const& texts, char const* option) {
    for (std::string const& text : texts) {
        std::size_t const equals = text.find('=');
        if (equals == 0 || equals == std::string::npos) {
            throw UsageError(fmt::format("{} {}: it takes KEY=VALUE", option, text));
        }
        map[text.substr(0, equals)] = text.substr(equals + 1);
    }
}

void SetEncoder(Media::EncoderSettings& settings, DocumentOptions const& options) {
    Media::EncoderSettings const& typed = options.encoder;
    auto const set = [](auto& member, auto const& value) {
        if (value != std::remove_cvref_t<decltype(value)>()) {
            member = value;
        }
    };
    // One of the two replaces the other.
    if (typed.crf) {
        settings.bitRate.reset();
    }
    if (typed.bitRate) {
        settings.crf.reset();
    }
    set(settings.profile, typed.profile);
    set(settings.format, typed.format);
    set(settings.codec, typed.codec);
    set(settings.crf, typed.crf);
    set(settings.bitRate, typed.bitRate);
    set(settings.preset, typed.preset);
    set(settings.pixelFormat, typed.pixelFormat);
    set(settings.keyFrameInterval, typed.keyFrameInterval);
    set(settings.audioCodec, typed.audioCodec);
    set(settings.audioBitRate, typed.audioBitRate);
    settings.hasChapters = settings.hasChapters || typed.hasChapters;
    settings.firstNumber = options.firstNumber.value_or(settings.firstNumber);
    AddAssignments(settings.encoderOptions, options.encoderOptions, "--encoder-option");
    AddAssignments(settings.metadata, options.metadata, "--metadata");
}

/// One of an enumeration's labels.
template <typename Enumeration>
void SetLabelled(Enumeration& value, std::string const& text, char const* option) {
    if (text.empty()) {
        return;
    }
    std::vector<std::string_view> labels;
    for (auto const& [labelled, label] : Edit::GetLabels(Enumeration{})) {
        if (text == label) {
            value = labelled;
            return;
        }
        labels.push_back(label);
    }
    throw UsageError(fmt::format("{} {}: it takes {}", option, text, fmt::join(labels, ", ")));
}

void SetOutput(Document& document, DocumentOptions const& options) {
    Edit::Output& output = document.output;
    SetLabelled(output.depth, options.depth, "--depth");
    SetLabelled(output.hdr, options.hdr, "--hdr");
    if (!options.alpha.empty()) {
        if (options.alpha != "keep") {
            Typed("--alpha", [&] { return Edit::ParseColor(options.alpha); });
        }
        output.alpha = options.alpha;
    }
    if (!options.size.empty()) {
        auto const [width, height] = ParseSize(options.size);
        output.size = Edit::Output::Size{width, height};
    }
    if (!options.rate.empty()) {
        auto const [numerator, denominator] = ParseRate(options.rate);
        output.frameRate = AVRational{numerator, denominator};
    }
    if (!options.background.empty()) {
        output.background = Typed("--background", [&] { return Edit::ParseColor(options.background); });
    }
    if (!options.stillDuration.empty()) {
        output.stillDuration = ParseDuration(options.stillDuration, "--still-duration");
        if (output.stillDuration.Resolve({1, 1}, 0.0) <= 0.0) {
            throw UsageError("--still-duration takes more than 0 seconds");
        }
    }
    SetEncoder(output, options);
    if (options.seed) {
        output.seed = options.seed;
    }
    if (options.loudness) {
        constexpr double kQuietest = -70.0;
        constexpr double kLoudest = -5.0;
        if (!(*options.loudness >= kQuietest && *options.loudness <= kLoudest)) {
            throw UsageError(fmt::format("--loudness {:g}: it takes {:g} to {:g} LUFS, such as -16 or -23",
                                         *options.loudness, kQuietest, kLoudest));
        }
        document.mix.loudness = options.loudness;
    }
    document.mix.isMuted = document.mix.isMuted || options.hasNoAudio;
}

}  // namespace

bool IsDocumentName(std::string const& path) {
    std::string const ending = Core::ToLower(std::filesystem::path(path).extension().string());
    return ending == ".json" || ending == ".json5" || ending == ".otio";
}

void AddTrustOptions(Verb& verb, TrustOptions& options) {
    verb.AddFlag("--allow-playlists", options.allowPlaylists,
                 "read clips that are playlists (HLS, DASH, concat), with the local files that they name");
    verb.AddFlag("--trust", options.isTrusted, "let a document name files outside of its own folder");
}

Document ReadDocument(std::string const& path, Catalog const& catalog, TrustOptions const& options) {
    return Edit::ReadAnyDocument(
        path, catalog,
        {options.isTrusted ? Edit::Trust::Everywhere : Edit::Trust::OwnFolder, options.allowPlaylists,
         [](std::string const& message) { WriteError("warning: " + message); }});
}

Document MakeDocument(DocumentOptions const& options, Catalog const& catalog) {
    auto const named = std::find_if(options.clips.begin(), options.clips.end(), IsDocumentName);
    bool const isRead = named != options.clips.end();
    if (isRead && options.clips.size() > 1) {
        throw UsageError(fmt::format("{} is a whole video's document; it takes no other clips beside it", *named));
    }
    Document document;
    if (isRead) {
        document = ReadDocument(*named, catalog, options);
    } else {
        document.clips = MakeClips(options);
    }
    AddJoints(document, options, isRead, catalog);
    AddEffects(document, options, catalog);
    AddClipOptions(document, options);
    AddOverlays(document, options, catalog);
    AddTitles(document, options, catalog);
    AddFades(document, options, catalog);
    SetOutput(document, options);
    return document;
}

}  // namespace Kaltor::Cli
