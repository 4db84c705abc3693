#include "Studio/Exports.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Ogl/OglManager.h"
#include "Render/Render.h"
#include "Studio/RequestError.h"

namespace Kaltor::Studio {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostRunning = 2;
/// Of those that have ended.
constexpr std::size_t kMostKnown = 64;

}  // namespace

struct Exports::Job {
    std::shared_ptr<PlannedDocument const> planned;
    std::string output;  ///< as the page calls it
    std::string path;
    bool overwrite = false;
    std::atomic<bool> cancel = false;
    Clock::time_point begin = Clock::now();

    std::mutex mutex;
    char const* state = "running";
    std::int64_t frame = 0;
    double seconds = 0.0;
    std::string error;
    std::vector<std::string> warnings;

    std::thread thread;

    ~Job() {
        if (thread.joinable()) {
            thread.join();
        }
    }
    bool IsRunning() {
        std::lock_guard const lock(mutex);
        return std::string_view(state) == "running";
    }
};

Exports::Exports(FileAccess const& files, bool playlists) : access(files), allowPlaylists(playlists) {}

Exports::~Exports() {
    for (auto const& [number, job] : jobs) {
        job->cancel = true;
    }
}

void Exports::Run(Job& job, bool playlists) {
    char const* state = "done";
    std::string error;
    try {
        Render::RenderJob render;
        render.document = job.planned->document;
        render.plan = &job.planned->plan;
        render.output = job.path;
        render.overwrite = job.overwrite;
        render.allowPlaylists = playlists;
        render.getMaximumSide = [] {
            return static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
        };
        render.onProgress = [&job](std::int64_t done, std::int64_t) {
            std::lock_guard const lock(job.mutex);
            job.frame = done;
        };
        render.onWarning = [&job](std::string const& warning) {
            std::lock_guard const lock(job.mutex);
            job.warnings.push_back(warning);
        };
        render.cancel = &job.cancel;
        Render::Render(render, job.planned->factory);
    } catch (Media::Cancelled const&) {
        state = "cancelled";
    } catch (std::exception const& failure) {
        state = "failed";
        error = Core::Describe(failure);
    }
    std::lock_guard const lock(job.mutex);
    job.state = state;
    job.error = error;
    job.seconds = std::chrono::duration<double>(Clock::now() - job.begin).count();
}

std::string Exports::Start(std::shared_ptr<PlannedDocument const> const& planned, std::string const& output,
                           bool overwrite) {
    auto job = std::make_shared<Job>();
    job->planned = planned;
    job->output = output;
    job->path = access.ToWrite(output).string();
    job->overwrite = overwrite;
    std::error_code error;
    if (std::filesystem::exists(job->path, error)) {
        if (!overwrite) {
            throw RequestError(kConflict, fmt::format("{} exists", output));
        }
        Edit::Plan const& plan = planned->plan;
        auto const isOutput = [&](std::string const& file) {
            return !file.empty() && std::filesystem::equivalent(file, job->path, error);
        };
        bool const isRead =
            std::any_of(plan.clips.begin(), plan.clips.end(), [&](auto const& clip) { return isOutput(clip.feed.path); }) ||
            std::any_of(plan.overlays.begin(), plan.overlays.end(),
                        [&](auto const& overlay) { return isOutput(overlay.feed.path); }) ||
            std::any_of(plan.sounds.begin(), plan.sounds.end(), [&](auto const& sound) { return isOutput(sound.path); });
        if (isRead) {
            throw RequestError(kConflict, fmt::format("{} is a file that the edit shows", output));
        }
    }
    std::lock_guard const lock(mutex);
    if (CountRunning() >= kMostRunning) {
        throw RequestError(kTooMany, "two exports run already: wait for one of them, or cancel it");
    }
    for (auto one = jobs.begin(); jobs.size() >= kMostKnown && one != jobs.end();) {
        one = one->second->IsRunning() ? std::next(one) : jobs.erase(one);
    }
    job->thread = std::thread([job = job.get(), playlists = allowPlaylists] { Run(*job, playlists); });
    jobs[++last] = job;
    return std::to_string(last);
}

std::size_t Exports::CountRunning() const {
    return static_cast<std::size_t>(
        std::count_if(jobs.begin(), jobs.end(), [](auto const& one) { return one.second->IsRunning(); }));
}

bool Exports::AreAnyRunning() {
    std::lock_guard const lock(mutex);
    return CountRunning() > 0;
}

std::shared_ptr<Exports::Job> Exports::Find(std::string const& id) {
    std::lock_guard const lock(mutex);
    std::optional<std::uint64_t> const number = Core::ParseNumber<std::uint64_t>(id);
    auto const found = jobs.find(number.value_or(0));
    if (found == jobs.end()) {
        throw RequestError(kNotFound, fmt::format("there is no export {}", id));
    }
    return found->second;
}

Edit::Json Exports::Describe(std::string const& id) {
    std::shared_ptr<Job> const job = Find(id);
    std::lock_guard const lock(job->mutex);
    bool const isRunning = std::string_view(job->state) == "running";
    double const seconds =
        isRunning ? std::chrono::duration<double>(Clock::now() - job->begin).count() : job->seconds;
    std::int64_t const frames = job->planned->plan.frames;
    double const fps = seconds > 0.0 ? static_cast<double>(job->frame) / seconds : 0.0;
    Edit::Json json{{"state", job->state},   {"frame", job->frame}, {"frames", frames},
                    {"seconds", seconds},    {"fps", fps},          {"secondsLeft", nullptr},
                    {"error", nullptr},      {"output", job->output}, {"warnings", job->warnings}};
    if (isRunning && fps > 0.0) {
        json["secondsLeft"] = static_cast<double>(frames - job->frame) / fps;
    }
    if (!job->error.empty()) {
        json["error"] = job->error;
    }
    return json;
}

void Exports::Cancel(std::string const& id) {
    Find(id)->cancel = true;
}

}  // namespace Kaltor::Studio
