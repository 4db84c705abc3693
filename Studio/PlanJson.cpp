#include "Studio/PlanJson.h"

#include <algorithm>
#include <chrono>

#include <fmt/format.h>

namespace Kaltor::Studio {
namespace {

using Edit::Json;

Json SpanOf(Edit::Plan const& plan, std::string const& place, std::int64_t first, std::int64_t frames) {
    return {{"place", place},
            {"start", plan.time.SecondsOf(first)},
            {"end", plan.time.SecondsOf(first + frames)},
            {"firstFrame", first},
            {"frames", frames}};
}

void AddSource(Json& json, Edit::PlannedFeed const& feed, bool isTitle, FileAccess const& access) {
    json["kind"] = isTitle ? "title" : feed.path.empty() ? "color" : feed.info.isStill ? "picture" : "video";
    json["file"] = feed.path.empty() ? Json(nullptr) : Json(access.NameOf(feed.path));
    if (!feed.path.empty() && !feed.info.isStill) {
        double const in = std::chrono::duration<double>(feed.start).count();
        json["in"] = in;
        json["out"] = in + std::chrono::duration<double>(feed.length).count();
        json["speed"] = feed.speed;
        json["reversed"] = feed.isReversed;
    }
}

}  // namespace

Json DescribePlan(PlannedDocument const& planned, FileAccess const& access) {
    Edit::Plan const& plan = planned.plan;
    Json json{{"plan", planned.id},
              {"width", plan.target.frame.width},
              {"height", plan.target.frame.height},
              {"pixelAspect", static_cast<double>(std::max(plan.target.frame.pixelAspectX, 1U)) /
                                  std::max(plan.target.frame.pixelAspectY, 1U)},
              {"rate", {plan.time.frameRate.num, plan.time.frameRate.den}},
              {"frames", plan.frames},
              {"seconds", plan.time.SecondsOf(plan.frames)},
              {"sound", plan.sound.has_value()},
              {"soundId", planned.soundId}};
    json["clips"] = json["joints"] = json["overlays"] = json["sounds"] = Json::array();
    for (std::size_t i = 0; i < plan.clips.size(); ++i) {
        Edit::PlannedClip const& clip = plan.clips[i];
        Json one = SpanOf(plan, fmt::format("/clips/{}", i), clip.first, clip.frames);
        one["index"] = i;
        AddSource(one, clip.feed, clip.title.has_value(), access);
        json["clips"].push_back(std::move(one));
        if (clip.fadeOut > 0) {
            Json joint = SpanOf(plan, fmt::format("/clips/{}/joint", i), clip.joint.first, clip.joint.frames);
            joint["index"] = i;
            joint["transition"] = clip.joint.settings->GetClassId();
            json["joints"].push_back(std::move(joint));
        }
    }
    for (std::size_t i = 0; i < plan.overlays.size(); ++i) {
        Edit::PlannedOverlay const& overlay = plan.overlays[i];
        Json one = SpanOf(plan, fmt::format("/overlays/{}", i), overlay.first, overlay.frames);
        one["index"] = i;
        AddSource(one, overlay.feed, overlay.title.has_value(), access);
        json["overlays"].push_back(std::move(one));
    }
    std::size_t number = 0;
    for (Edit::PlannedSound const& sound : plan.sounds) {
        if (sound.isBed) {
            Json one = SpanOf(plan, fmt::format("/sounds/{}", number), sound.first, sound.frames);
            one["index"] = number++;
            one["file"] = access.NameOf(sound.path);
            one["in"] = std::chrono::duration<double>(sound.start).count();
            one["loops"] = sound.loops;
            json["sounds"].push_back(std::move(one));
        }
    }
    for (auto const& [key, edge] : {std::pair("opening", &plan.opening), {"closing", &plan.closing}}) {
        json[key] = *edge ? SpanOf(plan, fmt::format("/{}", key), (*edge)->look.first, (*edge)->look.frames)
                          : Json(nullptr);
    }
    json["warnings"] = planned.warnings;
    return json;
}

}  // namespace Kaltor::Studio
