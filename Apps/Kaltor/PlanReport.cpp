#include "Apps/Kaltor/PlanReport.h"

#include <memory>

#include <fmt/format.h>

#include "Apps/Kaltor/Console.h"
#include "Core/Interfaces/Exception.h"
#include "Core/Text.h"
#include "Edit/Titles/SubtitlePainter.h"
#include "Edit/Titles/TitlePainter.h"
#include "Media/MediaError.h"

namespace Kaltor::Cli {
namespace {

using Edit::Json;
using Edit::Plan;
using Edit::PlannedFeed;
using Edit::PlannedLook;

std::string NameOf(PlannedFeed const& feed, std::optional<Edit::Title> const& title) {
    constexpr std::size_t kLongest = 40;
    if (title) {
        return fmt::format("\"{}\"", Core::BeginningOf(title->text, kLongest));
    }
    return feed.path.empty() ? fmt::format("#{:02X}{:02X}{:02X}", feed.color.red, feed.color.green, feed.color.blue)
                             : feed.path;
}

Json PlaceOf(Plan const& plan, std::int64_t first, std::int64_t frames) {
    if (plan.isOpenEnded && first + frames == plan.frames) {
        return {{"firstFrame", first}, {"frames", nullptr}, {"start", plan.time.SecondsOf(first)}, {"end", nullptr}};
    }
    return {{"firstFrame", first},
            {"frames", frames},
            {"start", plan.time.SecondsOf(first)},
            {"end", plan.time.SecondsOf(first + frames)}};
}

/// Whether something of these frames is made.
bool IsMade(PlanReport const& report, std::int64_t first, std::int64_t frames) {
    return !report.piece || (first < report.piece->end && first + frames > report.piece->first);
}

Json LooksOf(Plan const& plan, PlanReport const& report, std::vector<PlannedLook> const& looks) {
    Json list = Json::array();
    for (PlannedLook const& look : looks) {
        if (look.settings && IsMade(report, look.first, look.frames)) {
            Json one{{"name", look.settings->GetClassId()}};
            one.update(PlaceOf(plan, look.first, look.frames));
            list.push_back(std::move(one));
        }
    }
    return list;
}

Json SourceOf(PlannedFeed const& feed, std::optional<Edit::Title> const& title) {
    Json source;
    if (title) {
        source["title"] = title->text;
    } else if (feed.path.empty()) {
        source["color"] = NameOf(feed, title);
    } else {
        source["file"] = feed.path;
        source["from"] = std::chrono::duration<double>(feed.start).count();
        source["length"] = std::chrono::duration<double>(feed.length).count();
        source["speed"] = feed.speed;
    }
    return source;
}

std::string Span(Plan const& plan, std::int64_t first, std::int64_t frames) {
    if (plan.isOpenEnded && first + frames == plan.frames) {
        return fmt::format("from {:.2f} s on, until the pipe ends", plan.time.SecondsOf(first));
    }
    return fmt::format("{:.2f} to {:.2f} s, {} frames from {}", plan.time.SecondsOf(first),
                       plan.time.SecondsOf(first + frames), frames, first);
}

}  // namespace

void CheckTexts(Plan const& plan, std::string const& documentName, std::atomic<bool> const& cancel,
                Media::WarningFn const& warn) {
    Conf::FrameInfo const& frame = plan.target.frame;
    auto const check = [&](std::string const& place, auto const& action) {
        if (cancel) {
            Core::Throw(Media::Cancelled());
        }
        std::string const before = documentName.empty() ? "" : fmt::format("{}: {}: ", documentName, place);
        try {
            action();
        } catch (std::invalid_argument const& error) {
            throw std::invalid_argument(before + error.what());
        } catch (Media::MediaError const& error) {
            throw Media::MediaError(before + error.what());
        }
    };
    std::shared_ptr<Edit::TitleFonts> fonts;
    auto const checkTitles = [&](char const* list, auto const& parts) {
        for (std::size_t i = 0; i < parts.size(); ++i) {
            if (parts[i].title) {
                check(fmt::format("{}/{}/title", list, i), [&] {
                    fonts = fonts ? fonts : Edit::MakeTitleFonts();
                    Edit::TitlePainter(*parts[i].title, frame.width, frame.height, warn, fonts);
                });
            }
        }
    };
    checkTitles("clips", plan.clips);
    checkTitles("overlays", plan.overlays);
    for (std::size_t i = 0; i < plan.subtitles.size(); ++i) {
        Edit::PlannedSubtitles const& file = plan.subtitles[i];
        check(fmt::format("subtitles/{}", i), [&] {
            Edit::SubtitlePainter(file.path, frame.width, frame.height, file.style ? &*file.style : nullptr, warn);
        });
    }
}

std::string ToText(Plan const& plan, PlanReport const& report) {
    std::string text = fmt::format(
        "{}{}x{}, {:.5g} fps, {}{}{}\n", report.output.empty() ? "" : MakePrintable(report.output) + ": ",
        plan.target.frame.width, plan.target.frame.height, av_q2d(plan.time.frameRate),
        plan.isOpenEnded ? std::string("until the pipe ends")
                         : fmt::format("{:.2f} s, {} frames", plan.time.SecondsOf(plan.frames), plan.frames),
        report.codec.empty() ? "" : ", " + report.codec,
        plan.sound ? fmt::format(", sound of {} Hz in {} channel{}", plan.sound->sampleRate, plan.sound->channels,
                                 plan.sound->channels == 1 ? "" : "s")
                   : ", no sound");
    if (report.piece) {
        text += fmt::format("  of it: {}\n", Span(plan, report.piece->first, report.piece->Count()));
    }
    auto const list = [&](std::string const& what, PlannedFeed const& feed, std::optional<Edit::Title> const& title,
                          std::int64_t first, std::int64_t frames, std::vector<PlannedLook> const& effects) {
        if (!IsMade(report, first, frames)) {
            return;
        }
        text += fmt::format("{} {}: {}\n", what, MakePrintable(NameOf(feed, title)), Span(plan, first, frames));
        for (PlannedLook const& look : effects) {
            if (look.settings && IsMade(report, look.first, look.frames)) {
                text += fmt::format("    {}: {}\n", MakePrintable(look.settings->GetClassId()),
                                    Span(plan, look.first, look.frames));
            }
        }
    };
    for (std::size_t i = 0; i < plan.clips.size(); ++i) {
        Edit::PlannedClip const& clip = plan.clips[i];
        list(fmt::format("  clip {}", i + 1), clip.feed, clip.title, clip.first, clip.frames, clip.effects);
        if (clip.fadeOut > 0 && IsMade(report, clip.joint.first, clip.joint.frames)) {
            text += fmt::format("    {} into the next: {}\n", MakePrintable(clip.joint.settings->GetClassId()),
                                Span(plan, clip.joint.first, clip.joint.frames));
        }
    }
    for (Edit::PlannedOverlay const& overlay : plan.overlays) {
        list("  overlay", overlay.feed, overlay.title, overlay.first, overlay.frames, overlay.effects);
    }
    for (Edit::PlannedSubtitles const& subtitles : plan.subtitles) {
        text += fmt::format("  subtitles {}\n", MakePrintable(subtitles.path));
    }
    for (Edit::PlannedSound const& sound : plan.sounds) {
        if (sound.isBed && IsMade(report, sound.first, sound.frames)) {
            text += fmt::format("  sound {}: {}\n", MakePrintable(sound.path), Span(plan, sound.first, sound.frames));
        }
    }
    for (Render::Loss const& loss : report.losses) {
        text += fmt::format("warning: {}\n", MakePrintable(loss.message));
    }
    for (std::string const& warning : report.warnings) {
        text += fmt::format("warning: {}\n", MakePrintable(warning));
    }
    return text;
}

Json ToJson(Plan const& plan, PlanReport const& report) {
    Json json{{"output", report.output},
              {"width", plan.target.frame.width},
              {"height", plan.target.frame.height},
              {"frameRate", fmt::format("{}/{}", plan.time.frameRate.num, plan.time.frameRate.den)},
              {"frames", plan.frames},
              {"duration", plan.time.SecondsOf(plan.frames)},
              {"codec", report.codec}};
    if (plan.isOpenEnded) {
        json["frames"] = json["duration"] = nullptr;
    }
    if (report.form) {
        json["container"] = report.form->container;
        json["codec"] = report.form->codec;
        json["pixelFormat"] = report.form->pixelFormat;
    }
    json["sound"] =
        plan.sound ? Json{{"sampleRate", plan.sound->sampleRate}, {"channels", plan.sound->channels}} : Json(nullptr);
    json["piece"] = report.piece ? PlaceOf(plan, report.piece->first, report.piece->Count()) : Json(nullptr);
    auto const entry = [&](PlannedFeed const& feed, std::optional<Edit::Title> const& title, std::int64_t first,
                           std::int64_t frames, std::vector<PlannedLook> const& effects) {
        Json one = SourceOf(feed, title);
        one.update(PlaceOf(plan, first, frames));
        one["effects"] = LooksOf(plan, report, effects);
        return one;
    };
    json["clips"] = Json::array();
    for (Edit::PlannedClip const& clip : plan.clips) {
        if (!IsMade(report, clip.first, clip.frames)) {
            continue;
        }
        Json one = entry(clip.feed, clip.title, clip.first, clip.frames, clip.effects);
        if (clip.fadeOut > 0 && IsMade(report, clip.joint.first, clip.joint.frames)) {
            one["joint"] = LooksOf(plan, report, {clip.joint}).front();
        }
        json["clips"].push_back(std::move(one));
    }
    json["overlays"] = Json::array();
    for (Edit::PlannedOverlay const& overlay : plan.overlays) {
        if (IsMade(report, overlay.first, overlay.frames)) {
            json["overlays"].push_back(
                entry(overlay.feed, overlay.title, overlay.first, overlay.frames, overlay.effects));
        }
    }
    json["sounds"] = Json::array();
    for (Edit::PlannedSound const& sound : plan.sounds) {
        if (IsMade(report, sound.first, sound.frames)) {
            Json one{{"file", sound.path}, {"bed", sound.isBed}};
            one.update(PlaceOf(plan, sound.first, sound.frames));
            json["sounds"].push_back(std::move(one));
        }
    }
    json["losses"] = Json::array();
    for (Render::Loss const& loss : report.losses) {
        json["losses"].push_back({{"file", loss.file}, {"kind", loss.kind}, {"message", loss.message}});
    }
    json["warnings"] = report.warnings;
    return json;
}

}  // namespace Kaltor::Cli
