#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Edit/Convert/FileAddress.h"
#include "Edit/Convert/Node.h"
#include "Edit/Convert/Otio.h"
#include "Edit/DocumentWriter.h"

namespace Kaltor::Edit {
namespace {

constexpr char kMedia[] = "DEFAULT_MEDIA";

class OtioWriter {
public:
    OtioWriter(Document const& given, std::string const& folder, PlanOptions const& planOptions)
        : document(given), options(planOptions), own(Json::parse(FormatDocument(given, folder))) {
        // Beds of sound have their places, whether or not the whole is silent.
        Document audible = document;
        audible.mix.isMuted = false;
        plan = MakePlan(audible, options);
        rate = av_q2d(plan.target.frameRate);
    }

    Json Write() {
        Json tracks = Json::array();
        tracks.push_back(WriteClips());
        for (std::size_t i = 0; i < plan.overlays.size(); ++i) {
            tracks.push_back(WriteOverlay(i));
        }
        AddSounds(tracks);
        Json rest = own;
        for (char const* const key : {"clips", "overlays", "sounds"}) {
            rest.erase(key);
        }
        if (plan.opening) {
            rest.erase("opening");
        }
        if (plan.closing) {
            rest.erase("closing");
        }
        WarnOfKept("", rest, {"version", "output", "joint"});
        return {{"OTIO_SCHEMA", "Timeline.1"},
                {"metadata", {{"kaltor", {{"document", rest}}}}},
                {"name", ""},
                {"global_start_time", Frames(0)},
                {"tracks",
                 {{"OTIO_SCHEMA", "Stack.1"},
                  {"metadata", Json::object()},
                  {"name", "tracks"},
                  {"source_range", nullptr},
                  {"effects", Json::array()},
                  {"markers", Json::array()},
                  {"enabled", true},
                  {"children", tracks}}}};
    }

private:
    /// What another program does not show.
    void WarnOfKept(std::string const& place, Json const& data, std::initializer_list<std::string_view> known) const {
        std::vector<std::string> kept;
        for (auto const& [key, value] : data.items()) {
            if (std::find(known.begin(), known.end(), key) == known.end()) {
                kept.push_back(key);
            }
        }
        if (!kept.empty() && options.warn) {
            options.warn(fmt::format("{}{}kept for this program only: {}", place, place.empty() ? "" : ": ",
                                     fmt::join(kept, ", ")));
        }
    }

    Json Frames(double frames) const {
        return {{"OTIO_SCHEMA", "RationalTime.1"}, {"rate", WholeOrReal(rate)}, {"value", WholeOrReal(frames)}};
    }
    /// A time of a file. What is a whole frame but for the rounding of times is written as one.
    Json Time(double seconds) const {
        constexpr double kRounding = 1e-4;
        double const frames = seconds * rate;
        return Frames(std::abs(frames - std::round(frames)) < kRounding ? std::round(frames) : frames);
    }
    Json Range(double start, std::int64_t frames) const {
        return {{"OTIO_SCHEMA", "TimeRange.1"},
                {"start_time", Time(start)},
                {"duration", Frames(static_cast<double>(frames))}};
    }

    static Json Composed(char const* schema, std::string const& name, Json metadata) {
        return {{"OTIO_SCHEMA", schema},   {"metadata", std::move(metadata)}, {"name", name},
                {"source_range", nullptr}, {"effects", Json::array()},        {"markers", Json::array()},
                {"enabled", true}};
    }
    Json Track(char const* kind, std::string const& name, Json children, Json metadata = Json::object()) const {
        Json track = Composed("Track.1", name, std::move(metadata));
        track["kind"] = kind;
        track["children"] = std::move(children);
        return track;
    }
    Json Gap(std::int64_t frames) const {
        Json gap = Composed("Gap.1", "", Json::object());
        gap["source_range"] = Range(0.0, frames);
        return gap;
    }

    /// `inner` and `outer`: frames before and after the cut.
    Json Transition(Json const& joint, std::int64_t inner, std::int64_t outer, bool isDefault = false) const {
        std::string const name = joint.value("transition", "");
        Json data{{"joint", joint}};
        if (isDefault) {
            data["isDefault"] = true;
        }
        return {{"OTIO_SCHEMA", "Transition.1"},
                {"metadata", {{"kaltor", std::move(data)}}},
                {"name", name},
                {"transition_type", name == "TransitionCrossfade" ? "SMPTE_Dissolve" : "Custom_Transition"},
                {"in_offset", Frames(static_cast<double>(inner))},
                {"out_offset", Frames(static_cast<double>(outer))}};
    }

    /// "shots/f.%04d.png".
    static void SetSequence(Json& reference, std::string const& file, PlannedFeed const& feed) {
        std::size_t const slash = file.rfind('/');
        std::size_t const name = slash == std::string::npos ? 0 : slash + 1;
        std::size_t const percent = file.find('%', name);
        std::size_t const end = file.find('d', percent);
        std::string const digits = file.substr(percent + 1, end - percent - 1);
        reference["OTIO_SCHEMA"] = "ImageSequenceReference.1";
        reference["target_url_base"] = FormatFileAddress(name == 0 ? "./" : file.substr(0, name));
        reference["name_prefix"] = file.substr(name, percent - name);
        reference["name_suffix"] = file.substr(end + 1);
        reference["start_frame"] = feed.sequence->first;
        reference["frame_step"] = 1;
        reference["rate"] = WholeOrReal(av_q2d(feed.info.frameRate));
        reference["frame_zero_padding"] = digits.empty() ? 0 : std::stoi(digits);
        reference["missing_frame_policy"] = "error";
    }

    Json Reference(Json const& data, PlannedFeed const* feed) const {
        Json reference{{"OTIO_SCHEMA", "ExternalReference.1"},
                       {"metadata", Json::object()},
                       {"name", ""},
                       {"available_range", nullptr},
                       {"available_image_bounds", nullptr}};
        if (!data.contains("file")) {
            bool const isColor = data.contains("color");
            reference["OTIO_SCHEMA"] = "GeneratorReference.1";
            reference["generator_kind"] = isColor ? "SolidColor" : "Title";
            reference["parameters"] =
                isColor ? Json{{"color", data["color"]}} : Json{{"text", data["title"].value("text", "")}};
            return reference;
        }
        std::string const file = data["file"].get<std::string>();
        if (feed != nullptr && feed->sequence && feed->sequence->names.empty()) {
            SetSequence(reference, file, *feed);
        } else {
            reference["target_url"] = FormatFileAddress(file);
        }
        if (feed != nullptr && !feed->info.isStill) {
            reference["available_range"] = Range(0.0, std::llround(InSeconds(feed->info.duration) * rate));
        }
        return reference;
    }

    /// What a file's piece is called where it lies.
    static std::string NameOf(Json const& data) {
        return data.contains("file")    ? std::filesystem::path(data["file"].get<std::string>()).stem().string()
               : data.contains("color") ? "colour"
                                        : "title";
    }

    struct Shown {
        double start = 0.0;  ///< in the file
        std::int64_t frames = 0;
        double speed = 1.0;
        bool isReversed = false;
        bool isTimeless = false;
        bool isFrozen = false;
    };

    /// A clip of which transitions take so many frames beyond the cuts.
    Json MakeClip(char const* key, Json data, Shown const& shown, std::int64_t before, std::int64_t after,
                  PlannedFeed const* feed, std::int64_t at = -1) const {
        Json ownData{{"start", shown.isTimeless ? 0.0 : shown.start},
                     {"duration", static_cast<double>(shown.frames) / rate}};
        if (at >= 0) {
            ownData["at"] = static_cast<double>(at) / rate;
        }
        Json const reference = Reference(data, feed);
        std::string const name = NameOf(data);
        data.erase("file");
        ownData[key] = std::move(data);
        Json clip = Composed("Clip.2", name, {{"kaltor", std::move(ownData)}});
        double start = shown.isTimeless ? static_cast<double>(before) / rate : shown.start;
        if (!shown.isTimeless && !shown.isFrozen) {
            start += static_cast<double>(shown.isReversed ? after : before) / rate * shown.speed;
        }
        clip["source_range"] = Range(start, shown.frames - before - after);
        clip["media_references"] = {{kMedia, reference}};
        clip["active_media_reference_key"] = kMedia;
        Json effect{{"OTIO_SCHEMA", ""}, {"metadata", Json::object()},
                    {"name", ""},        {"effect_name", ""},
                    {"enabled", true},   {"time_scalar", 0}};
        if (shown.isFrozen) {
            effect["OTIO_SCHEMA"] = "FreezeFrame.1";
            effect["effect_name"] = "FreezeFrame";
            clip["effects"].push_back(effect);
        } else if (!shown.isTimeless && (shown.speed != 1.0 || shown.isReversed)) {
            effect["OTIO_SCHEMA"] = "LinearTimeWarp.1";
            effect["effect_name"] = "LinearTimeWarp";
            effect["time_scalar"] = WholeOrReal(shown.isReversed ? -shown.speed : shown.speed);
            clip["effects"].push_back(effect);
        }
        return clip;
    }

    static Shown ShownOf(PlannedFeed const& feed, std::int64_t frames) {
        bool const isFrozen = !feed.info.isStill && feed.played <= 1 && frames > 1;
        return {InSeconds(feed.start), frames, feed.speed, feed.isReversed, feed.info.isStill, isFrozen};
    }

    /// How many frames of the transition after a clip lie before the cut.
    static std::int64_t Inner(PlannedClip const& clip) { return clip.fadeOut / 2; }

    Json WriteClips() const {
        Json children = Json::array();
        if (plan.opening) {
            children.push_back(Transition(own["opening"], 0, plan.opening->look.frames));
        }
        for (std::size_t i = 0; i < plan.clips.size(); ++i) {
            PlannedClip const& clip = plan.clips[i];
            Json data = own["clips"][i];
            Json joint = data.contains("joint") ? data["joint"] : own.value("joint", Json::object());
            bool const isDefault = !data.contains("joint");
            if (clip.fadeOut > 0) {
                data.erase("joint");
            }
            WarnOfKept(fmt::format("clips/{}", i), data,
                       {"file", "color", "from", "to", "duration", "speed", "reversed", "keepPitch", "joint"});
            children.push_back(
                MakeClip("clip", data, ShownOf(clip.feed, clip.frames), Before(i), After(i), &clip.feed));
            if (clip.fadeOut > 0) {
                children.push_back(Transition(joint, Inner(clip), clip.fadeOut - Inner(clip), isDefault));
            }
        }
        if (plan.closing) {
            children.push_back(Transition(own["closing"], plan.closing->look.frames, 0));
        }
        return Track("Video", "clips", std::move(children));
    }
    std::int64_t Before(std::size_t i) const { return i > 0 ? Inner(plan.clips[i - 1]) : 0; }
    std::int64_t After(std::size_t i) const { return plan.clips[i].fadeOut - Inner(plan.clips[i]); }

    Json WriteOverlay(std::size_t i) const {
        PlannedOverlay const& overlay = plan.overlays[i];
        Json data = own["overlays"][i];
        Json children = Json::array();
        if (overlay.first > 0) {
            children.push_back(Gap(overlay.first));
        }
        if (overlay.enter) {
            children.push_back(Transition(data["enter"], 0, overlay.enter->frames));
            data.erase("enter");
        }
        Json const leave = data.value("leave", Json());
        if (overlay.leave) {
            data.erase("leave");
        }
        WarnOfKept(fmt::format("overlays/{}", i), data,
                   {"file", "color", "from", "to", "start", "speed", "reversed", "keepPitch"});
        Shown shown = ShownOf(overlay.feed, overlay.frames);
        shown.isFrozen = false;
        children.push_back(MakeClip("overlay", data, shown, 0, 0, &overlay.feed, overlay.first));
        if (overlay.leave) {
            children.push_back(Transition(leave, overlay.leave->frames, 0));
        }
        return Track("Video", "overlay", std::move(children));
    }

    void AddSounds(Json& tracks) const {
        bool const clipsSound =
            !document.mix.isMuted &&
            std::any_of(plan.sounds.begin(), plan.sounds.end(), [](PlannedSound const& sound) { return !sound.isBed; });
        std::vector<PlannedSound const*> beds;
        for (PlannedSound const& sound : plan.sounds) {
            if (sound.isBed) {
                beds.push_back(&sound);
            }
        }
        if (clipsSound) {
            tracks.push_back(WriteOwnSounds());
        }
        for (std::size_t i = 0; i < beds.size(); ++i) {
            Json const& data = own["sounds"][i];
            PlannedSound const& bed = *beds[i];
            WarnOfKept(fmt::format("sounds/{}", i), data,
                       {"file", "from", "to", "start", "speed", "reversed", "keepPitch"});
            Json children = Json::array();
            if (bed.first > 0) {
                children.push_back(Gap(bed.first));
            }
            Shown const shown{InSeconds(bed.start), bed.frames, bed.speed, bed.isReversed, false, false};
            children.push_back(MakeClip("sound", data, shown, 0, 0, nullptr, bed.first));
            tracks.push_back(Track("Audio", "sound", std::move(children)));
        }
    }

    /// The clips' own sound for other programs, which look for it on a track of its own. Not read back.
    Json WriteOwnSounds() const {
        Json children = Json::array();
        for (std::size_t i = 0; i < plan.clips.size(); ++i) {
            PlannedClip const& clip = plan.clips[i];
            bool const sounds = clip.feed.info.sound && !document.clips[i].sound.isMuted;
            if (sounds) {
                children.push_back(MakeClip("clip", {{"file", own["clips"][i]["file"]}},
                                            ShownOf(clip.feed, clip.frames), Before(i), After(i), &clip.feed));
            } else {
                children.push_back(Gap(clip.frames - Before(i) - After(i)));
            }
            if (clip.fadeOut > 0) {
                children.push_back(
                    Transition({{"transition", "TransitionCrossfade"}}, Inner(clip), clip.fadeOut - Inner(clip)));
            }
        }
        return Track("Audio", "sound of the clips", std::move(children), {{"kaltor", {{"role", "clips"}}}});
    }

    Document const& document;
    PlanOptions const& options;
    Json own;
    Plan plan;
    double rate = 0.0;
};

}  // namespace

Json WriteOtio(Document const& document, std::string const& folder, PlanOptions const& options) {
    return OtioWriter(document, folder, options).Write();
}

}  // namespace Kaltor::Edit
