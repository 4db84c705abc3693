#include "Farm/Run.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/DocumentReader.h"
#include "Edit/Prober.h"
#include "Farm/Batch.h"
#include "Farm/Packets.h"
#include "Farm/Planning.h"
#include "Render/Render.h"

namespace Kaltor::Farm {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kProgressPause(1);

double SecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Makes one task.
class Runner {
public:
    Runner(JobFolder const& jobFolder, Task const& jobTask, Host::Catalog const& effects, RunOptions const& runOptions)
        : folder(jobFolder), job(folder.GetJob()), task(jobTask), catalog(effects), options(runOptions),
          prober({job.allowPlaylists, options.cancel}) {
        for (SourceFile const& file : job.files) {
            planned.emplace(file.path, &file.fingerprint);
        }
    }

    PartResult Run() {
        folder.ReportProgress(task, 0);
        if (job.kind == Job::Kind::Batch) {
            RunRows();
        } else {
            RunPiece();
        }
        result.seconds = SecondsSince(begin);
        return std::move(result);
    }

private:
    Render::RenderJob MakeJob(Edit::Document document, Edit::Plan const& plan, std::string const& name) {
        Render::RenderJob render;
        render.document = std::move(document);
        render.plan = &plan;
        render.documentName = name;
        render.allowPlaylists = job.allowPlaylists;
        render.getMaximumSide = options.getMaximumSide;
        render.cancel = options.cancel;
        render.onWarning = options.onWarning;
        render.onProgress = [this](std::int64_t done, std::int64_t total) { Report(done, total); };
        return render;
    }

    void Report(std::int64_t done, std::int64_t total) {
        if (done > 0 && result.startSeconds == 0.0) {
            result.startSeconds = SecondsSince(begin);
        }
        if (Clock::now() - lastReport >= kProgressPause) {
            lastReport = Clock::now();
            folder.ReportProgress(task, result.frames + done);
        }
        if (options.onProgress) {
            options.onProgress(done, total);
        }
    }

    void NoteRenderer(Render::RenderResult const& made) {
        if (made.processedFrames > 0 && result.renderer.empty() && options.describeRenderer) {
            result.renderer = options.describeRenderer();
        }
    }

    /// Files may change after a job was planned; those that are read have to be the planned ones.
    void CheckFiles(std::set<std::string> const& paths) {
        for (std::string const& path : paths) {
            if (!checked.insert(path).second) {
                continue;
            }
            auto const found = planned.find(path);
            if (found == planned.end() || FingerprintOf(path) != *found->second) {
                Core::Throw(std::runtime_error(
                    fmt::format("{}: has changed since the job was planned; submit the edit again", path)));
            }
        }
    }

    Edit::Plan MakePlan(Edit::Document const& document, std::string const& name) {
        return Edit::MakePlan(document, {job.allowPlaylists, name, options.cancel, {}, &prober});
    }

    void RunPiece() {
        prober.Load(Edit::Json::parse(folder.ReadFiles()));
        // Its paths were judged when the job was planned, and are absolute since.
        Edit::Document document = Edit::ReadDocument(Edit::ParseJson(folder.ReadEdit(), folder.At("edit.json")),
                                                     catalog, {"", Edit::Trust::Everywhere});
        Edit::Plan const plan = MakePlan(document, job.editName);
        Part const place = task.IsSound() ? Part{0, plan.frames} : job.parts[static_cast<std::size_t>(task.index)];
        CheckFiles(task.IsSound() ? ListSoundFiles(plan) : ListFiles(plan, place.first, place.end));
        if (plan.frames != job.frames || av_cmp_q(plan.time.frameRate, job.frameRate) != 0) {
            Core::Throw(std::runtime_error(
                fmt::format("{}: its files have changed since the job was planned: it has {} frames instead of {}; "
                            "submit the edit again",
                            job.editName, plan.frames, job.frames)));
        }
        folder.Sweep(task);
        result.file = folder.MakePartName(task, fs::path(job.output).extension().string());
        Render::RenderJob render = MakeJob(std::move(document), plan, job.editName);
        render.output = folder.PartsFile(result.file);
        if (task.IsSound()) {
            render.content = Render::RenderJob::Content::Sound;
        } else {
            render.content = Render::RenderJob::Content::Pictures;
            render.frames = {place.first, place.end};
        }
        Render::RenderResult const made = Render::Render(render, catalog.GetFactory());
        NoteRenderer(made);
        try {
            result.delay = made.soundDelay;
            if (!task.IsSound()) {
                PacketCount const packets = CountPackets(render.output, job.frameRate, place.Count());
                result.delay = packets.delay;
                result.frames = packets.frames;
            }
            result.bytes = fs::file_size(render.output);
            result.checksum = ChecksumOfFile(render.output);
        } catch (...) {
            std::error_code ignored;
            fs::remove(render.output, ignored);
            throw;
        }
    }

    void RunRows() {
        Table const table = TableFromJson(Edit::Json::parse(folder.ReadRows()));
        Edit::Json const form = Edit::ParseJson(folder.ReadEdit(), folder.At("edit.json"));
        Part const& place = job.parts[static_cast<std::size_t>(task.index)];
        attempt = folder.FindAttempt(task).value_or(PartResult());
        for (std::int64_t row = place.first; row < place.end; ++row) {
            RunRow(form, table, static_cast<std::size_t>(row));
        }
    }

    void RunRow(Edit::Json const& form, Table const& table, std::size_t row) {
        RowEdit edit = MakeRow(job, form, table, row, catalog);
        if (IsMade(edit.output)) {
            return;
        }
        Edit::Plan const plan = MakePlan(edit.document, edit.name);
        CheckFiles(ListFiles(plan, 0, plan.frames));
        Render::RenderJob render = MakeJob(std::move(edit.document), plan, edit.name);
        render.output = edit.output;
        // Whether the name was free was seen when the job was planned; what is there now is of an attempt that stopped.
        render.overwrite = true;
        Render::RenderResult const made = Render::Render(render, catalog.GetFactory());
        NoteRenderer(made);
        result.frames += made.frames;
        result.videos.push_back(
            {{edit.output, {fs::file_size(edit.output), ChecksumOfFile(edit.output)}}, made.frames});
        result.bytes += result.videos.back().fingerprint.size;
        folder.KeepAttempt(task, result);
    }

    /// Whether an attempt that was stopped has made a video already.
    bool IsMade(std::string const& output) {
        for (MadeVideo const& video : attempt.videos) {
            std::error_code error;
            if (video.path == output && fs::exists(output, error) &&
                ChecksumOfFile(output) == video.fingerprint.checksum) {
                result.videos.push_back(video);
                result.frames += video.frames;
                result.bytes += video.fingerprint.size;
                return true;
            }
        }
        return false;
    }

    JobFolder const& folder;
    Job const& job;
    Task task;
    Host::Catalog const& catalog;
    RunOptions const& options;
    Edit::Prober prober;
    std::map<std::string, Fingerprint const*> planned;
    std::set<std::string> checked;
    PartResult result;
    PartResult attempt;
    Clock::time_point begin = Clock::now();
    Clock::time_point lastReport;
};

}  // namespace

bool Run(JobFolder const& folder, Task const& task, Host::Catalog const& catalog, RunOptions const& options) {
    Job const& job = folder.GetJob();
    std::vector<Task> const tasks = folder.ListTasks();
    if (std::find(tasks.begin(), tasks.end(), task) == tasks.end()) {
        Core::Throw(std::invalid_argument(
            task.IsSound() ? fmt::format("{}: the job has no sound of its own", folder.GetPath())
                           : fmt::format("{}: there is no {}; the job has {}", folder.GetPath(), task.GetName(),
                                         job.parts.size())));
    }
    if (folder.FindResult(task)) {
        return false;
    }
    folder.ForgetFailure(task);
    try {
        if (job.version != GetVersion()) {
            Core::Throw(std::runtime_error(
                fmt::format("{}: planned by kaltor {}, and this is {}: all machines need the same version",
                            folder.GetPath(), job.version, GetVersion())));
        }
        folder.Commit(task, Runner(folder, task, catalog, options).Run());
    } catch (Media::Cancelled const&) {
        throw;
    } catch (std::exception const& error) {
        folder.ReportFailure(task, Core::Describe(error));
        throw;
    }
    return true;
}

}  // namespace Kaltor::Farm
