#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <random>
#include <stdexcept>
#include <thread>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/FarmReport.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/RenderOptions.h"
#include "Apps/Kaltor/Verbs.h"
#include "Edit/DocumentWriter.h"
#include "Edit/Json.h"
#include "Farm/Forecast.h"
#include "Farm/Join.h"
#include "Farm/LocalEngine.h"
#include "Farm/Planning.h"
#include "Farm/Run.h"
#include "Farm/Slurm.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Cli {
namespace {

namespace fs = std::filesystem;
using Farm::JobFolder;

/// How parts are run.
struct EngineOptions {
    std::string engine;
    int jobs = 0;
    std::string partition;
    std::vector<std::string> jobOptions;
    bool isQuiet = false;
};

struct SubmitOptions : EngineOptions {
    DocumentOptions document;
    std::string output;
    std::string folder;
    std::string each;
    double partSeconds = 20.0;
    bool allowPlaylists = false;
    bool overwrite = false;
    bool keepsParts = false;
    bool resumes = false;
    bool isDryRun = false;
    bool isJson = false;
};

struct FolderOptions : EngineOptions {
    std::string folder;
    int part = 0;
    bool isSound = false;
    bool isJson = false;
};

std::string GetProgram() {
    return fs::read_symlink("/proc/self/exe").string();
}

void Warn(std::string const& message) {
    WriteError("warning: " + message);
}

bool UsesSlurm(EngineOptions const& options, bool isUsual) {
    if (options.engine.empty()) {
        return isUsual;
    }
    if (options.engine != "slurm" && options.engine != "local") {
        throw UsageError(fmt::format("--engine {}: it is slurm or local", options.engine));
    }
    return options.engine == "slurm";
}

Farm::SlurmOptions MakeSlurmOptions(EngineOptions const& options) {
    Farm::SlurmOptions slurm;
    slurm.program = GetProgram();
    slurm.partition = options.partition;
    slurm.limit = options.jobs;
    for (std::string const& text : options.jobOptions) {
        std::size_t const equals = text.find('=');
        std::string const key = text.substr(0, equals);
        Farm::CheckJobOption(key);
        slurm.jobOptions.emplace_back(key, equals == std::string::npos ? "" : text.substr(equals + 1));
    }
    return slurm;
}

void CheckEngine(EngineOptions const& options, bool usesSlurm) {
    if (!usesSlurm && (!options.partition.empty() || !options.jobOptions.empty())) {
        throw UsageError("--partition and --job-option are for Slurm, not for --engine local");
    }
    if (options.jobs < 0) {
        throw UsageError(fmt::format("-j {}: it takes 1 or more", options.jobs));
    }
}

/// A batch's table is what its user asked for; elsewhere there is a line on a terminal.
void ReportJoined(JobFolder const& folder, Farm::Joined const& joined, bool isOnTerminal) {
    if (folder.GetJob().kind == Farm::Job::Kind::Batch) {
        WriteOut(FormatBatch(folder));
    } else if (isOnTerminal) {
        WriteMessage(fmt::format("{}: {} frames of {} parts\n", MakePrintable(joined.output), joined.frames,
                                 folder.GetJob().parts.size()));
    }
}

/// Joins what the tasks have made, with a bar of its own.
void JoinParts(JobFolder const& folder, bool isQuiet) {
    ProgressBar bar(!isQuiet);
    Farm::JoinOptions options;
    options.onProgress = [&bar](std::int64_t done, std::int64_t total) { bar.Show(done, total); };
    options.onWarning = [&bar](std::string const& message) {
        bar.Clear();
        Warn(message);
    };
    options.cancel = &CatchInterrupts();
    Farm::Joined const joined = Farm::Join(folder, options);
    bar.Clear();
    if (!isQuiet) {
        ReportJoined(folder, joined, bar.IsShown());
    }
}

int RunHere(JobFolder const& folder, EngineOptions const& options) {
    {
        ProgressBar bar(!options.isQuiet);
        Farm::LocalOptions local;
        local.program = GetProgram();
        local.jobs = options.jobs > 0 ? options.jobs : Farm::GetUsualJobs();
        local.onProgress = [&bar](std::int64_t done, std::int64_t total) { bar.Show(done, total); };
        local.cancel = &CatchInterrupts();
        try {
            Farm::RunLocally(folder, local);
        } catch (Media::Cancelled const&) {
            bar.Clear();
            int const status = ReportInterrupt();
            WriteMessage(
                fmt::format("kaltor: what is done is kept: kaltor farm retry {}\n", MakePrintable(folder.GetPath())));
            return status;
        }
    }
    JoinParts(folder, options.isQuiet);
    return 0;
}

int SendToSlurm(JobFolder const& folder, EngineOptions const& options) {
    std::vector<std::string> const ids = Farm::SubmitToSlurm(folder, MakeSlurmOptions(options));
    WriteOut(fmt::format("{} {}\n", fmt::join(ids, ","), MakePrintable(folder.GetPath())));
    return 0;
}

std::uint32_t DrawSeed() {
    return std::random_device()();
}

Farm::PlanningOptions MakePlanningOptions(SubmitOptions const& options) {
    Farm::PlanningOptions planning;
    planning.output = options.output;
    planning.overwrite = options.overwrite;
    planning.allowPlaylists = options.allowPlaylists;
    planning.keepsParts = options.keepsParts;
    planning.partSeconds = options.partSeconds;
    if (IsDocumentName(options.document.clips.front())) {
        planning.editName = options.document.clips.front();
    }
    planning.warn = Warn;
    planning.cancel = &CatchInterrupts();
    return planning;
}

/// The numbers that random things got, where the job in the folder is to be gone on with.
std::uint32_t ChooseSeed(SubmitOptions const& options, std::string const& folder) {
    if (options.resumes && JobFolder::IsJob(folder)) {
        Edit::Json const edit = Edit::ParseJson(JobFolder(folder).ReadEdit(), folder + "/edit.json");
        Edit::Json const seed = edit.value(Edit::Json::json_pointer("/output/seed"), Edit::Json());
        if (seed.is_number_unsigned()) {  // a template's may be a field of the table
            return seed.get<std::uint32_t>();
        }
    }
    return DrawSeed();
}

/// Whether the options say anything about the video: then they change this document, too.
bool ChangesDocuments(DocumentOptions options, Catalog const& catalog) {
    DocumentOptions plain;
    plain.clips = options.clips = {"clip.mp4"};
    return Edit::WriteDocument(MakeDocument(options, catalog)) != Edit::WriteDocument(MakeDocument(plain, catalog));
}

Farm::PlannedJob PlanJob(SubmitOptions const& options, std::string const& folder) {
    Catalog const catalog = LoadCatalog();
    Farm::PlanningOptions planning = MakePlanningOptions(options);
    std::uint32_t const seed = ChooseSeed(options, folder);
    if (options.each.empty()) {
        return Farm::PlanVideo(MakeDocument(options.document, catalog), seed, planning);
    }
    if (options.document.clips.size() != 1 || planning.editName.empty() ||
        ChangesDocuments(options.document, catalog)) {
        throw UsageError("--each takes one document and no options that change it: write them into the document");
    }
    Farm::BatchSource source;
    source.form = Edit::ReadJson(planning.editName, true);
    source.table = Farm::ParseTable(Edit::ReadJsonText(options.each), options.each);
    source.folder = fs::absolute(planning.editName).parent_path().string();
    source.isTrusted = options.document.isTrusted;
    return Farm::PlanBatch(source, seed, catalog, planning);
}

/// Beside the output; a batch's is named after its template.
std::string ChooseFolder(SubmitOptions const& options) {
    if (!options.folder.empty()) {
        return options.folder;
    }
    return (options.each.empty() ? options.output : options.document.clips.front()) + ".farm";
}

JobFolder OpenFolder(SubmitOptions const& options, std::string const& path, Farm::PlannedJob const& planned) {
    if (!JobFolder::IsJob(path)) {
        return JobFolder::Create(path, planned.job, planned.texts);
    }
    if (!options.resumes) {
        throw std::runtime_error(
            fmt::format("{}: a job is there already; --resume goes on with it, --folder chooses another folder", path));
    }
    JobFolder folder(path);
    if (!folder.GetJob().MakesTheSame(planned.job)) {
        throw std::runtime_error(fmt::format(
            "{}: the job there was planned for another edit, other files, another output or version; it cannot be gone "
            "on with",
            path));
    }
    return folder;
}

int RunSubmit(SubmitOptions const& options) {
    if (options.output.empty()) {
        throw UsageError("--output is required; see kaltor farm submit --help");
    }
    if (options.isJson && !options.isDryRun) {
        throw UsageError("--json is for --dry-run");
    }
    bool const usesSlurm = UsesSlurm(options, true);
    CheckEngine(options, usesSlurm);
    MakeSlurmOptions(options);  // what is wrong with them shows before anything is made
    std::string const path = ChooseFolder(options);
    if (options.resumes && JobFolder::IsJob(path) && Farm::FindJoined(JobFolder(path))) {
        WriteMessage(fmt::format("kaltor: {}: done already\n", MakePrintable(path)));
        return 0;
    }
    Farm::PlannedJob const planned = PlanJob(options, path);
    if (options.isDryRun) {
        WriteOut(options.isJson ? Edit::ShowJson(DescribeJob(planned), 2) + "\n" : FormatJob(planned));
        return 0;
    }
    bool const isNew = !JobFolder::IsJob(path);
    JobFolder const folder = OpenFolder(options, path, planned);
    std::error_code ignored;
    if (usesSlurm) {
        try {
            return SendToSlurm(folder, options);
        } catch (std::runtime_error const&) {
            if (isNew && !Farm::IsInSlurm(folder)) {
                fs::remove_all(folder.GetPath(), ignored);
            }
            throw;
        }
    }
    int const status = RunHere(folder, options);
    bool const isOver = status == 0 && options.folder.empty() && !options.keepsParts;
    if (isOver) {
        fs::remove_all(folder.GetPath(), ignored);
    }
    return status;
}

int RunTask(FolderOptions const& options) {
    if (options.isSound == (options.part > 0)) {
        throw UsageError("run takes --part K, where the first part is 1, or --sound");
    }
    JobFolder const folder(options.folder);
    Farm::Task const task{options.isSound ? Farm::Task::kSound : options.part - 1};
    ProgressBar bar(!options.isQuiet);
    Farm::RunOptions run;
    run.onProgress = [&bar](std::int64_t done, std::int64_t total) { bar.Show(done, total); };
    run.onWarning = [&bar](std::string const& message) {
        bar.Clear();
        Warn(message);
    };
    run.getMaximumSide = [] {
        return static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    };
    run.describeRenderer = [] { return Ogl::OglManager::GetInstance().GetInfo().renderer; };
    run.cancel = &CatchInterrupts();
    Catalog const catalog = LoadCatalog();
    try {
        bool const isMade = Farm::Run(folder, task, catalog, run);
        bar.Clear();
        if (!isMade && bar.IsShown()) {
            WriteMessage(fmt::format("kaltor: {}: done already\n", task.GetName()));
        }
        return 0;
    } catch (Media::Cancelled const&) {
        bar.Clear();
        return ReportInterrupt();
    }
}

int RunJoin(FolderOptions const& options) {
    JobFolder const folder(options.folder);
    try {
        JoinParts(folder, options.isQuiet);
        return 0;
    } catch (Media::Cancelled const&) {
        return ReportInterrupt();
    }
}

int RunStatus(FolderOptions const& options) {
    JobFolder const folder(options.folder);
    FarmStatus const status = FindStatus(folder);
    WriteOut(options.isJson ? Edit::ShowJson(ToJson(status, folder), 2) + "\n" : ToText(status, folder));
    return 0;
}

/// Until the job is done, or nothing more will happen to it.
int RunWait(FolderOptions const& options) {
    constexpr std::chrono::seconds kPause(1);
    constexpr int kMostSilence = 30;  // rounds in which Slurm does not answer, or nothing runs and nothing is done
    JobFolder const folder(options.folder);
    ProgressBar bar(!options.isQuiet);
    std::atomic<bool> const& cancel = CatchInterrupts();
    int silence = 0;
    for (;;) {
        if (std::optional<Farm::Joined> const joined = Farm::FindJoined(folder)) {
            bar.Clear();
            if (!options.isQuiet) {
                ReportJoined(folder, *joined, bar.IsShown());
            }
            return 0;
        }
        if (cancel) {
            bar.Clear();
            WriteError("stopped waiting; the job goes on");
            return 1;
        }
        FarmStatus const status = FindStatus(folder);
        bar.Show(status.framesDone, status.frames);
        bool const isOver = status.isCertain && !status.isActive;
        silence = status.isActive ? 0 : silence + 1;
        // The last files of another machine may take a moment to be seen here.
        constexpr int kMoment = 3;
        if ((isOver && silence > kMoment) || silence > kMostSilence) {
            bar.Clear();
            throw std::runtime_error(DescribeEnd(status, folder));
        }
        std::this_thread::sleep_for(kPause);
    }
}

int RunCancel(FolderOptions const& options) {
    JobFolder const folder(options.folder);
    if (int const process = Farm::FindLocalRunner(folder); process > 0) {
        ::kill(process, SIGTERM);
    }
    Farm::CancelInSlurm(folder);
    return 0;
}

int RunRetry(FolderOptions const& options) {
    JobFolder const folder(options.folder);
    bool const usesSlurm = UsesSlurm(options, Farm::IsInSlurm(folder));
    CheckEngine(options, usesSlurm);
    if (Farm::FindJoined(folder)) {
        WriteMessage(fmt::format("kaltor: {}: done already\n", MakePrintable(options.folder)));
        return 0;
    }
    return usesSlurm ? SendToSlurm(folder, options) : RunHere(folder, options);
}

void AddEngineOptions(Verb& verb, EngineOptions& options) {
    verb.AddText("--engine", options.engine, "what runs the parts: slurm, or local (processes of this machine)")
        .ShowValueAs("ENGINE");
    AddNumber<int>(verb, "-j,--jobs", options.jobs, "tasks at once (local: default a process for every 4 processors)")
        .ShowValueAs("N");
    verb.AddText("--partition", options.partition, "Slurm's partition").ShowValueAs("NAME");
    verb.AddTexts("--job-option", options.jobOptions,
                  "another long option of sbatch, such as time=30 or gres=gpu:1; may be repeated")
        .ShowValueAs("KEY=VALUE")
        .TakeOneAtATime();
    verb.AddFlag("-q,--quiet", options.isQuiet, "show no progress");
}

void AddSubmit(VerbGroup& farm) {
    Verb verb = farm.AddVerb("submit", "Cut a video into parts and have them made");
    auto const options = std::make_shared<SubmitOptions>();
    verb.AddTexts("CLIP", options->document.clips, "what kaltor render takes: one document (EDIT.json), or clips")
        .Require();
    verb.AddText("-o,--output", options->output,
                 "the file to write; with --each a name with fields, such as {name}.mp4")
        .ShowValueAs("OUT");
    AddNumber<double>(verb, "--part-seconds", options->partSeconds, "how long parts are on average (default 20)")
        .ShowValueAs("SECONDS");
    verb.AddText("--each", options->each,
                 "make a video for each row of a CSV file: {column} in the document's texts is the row's field")
        .ShowValueAs("TABLE.csv");
    verb.AddText("--folder", options->folder,
                 "the job's folder, which all machines see (default: the output's name with .farm)")
        .ShowValueAs("DIR");
    AddEngineOptions(verb, *options);
    verb.AddFlag("--resume", options->resumes, "go on with the job in the folder where there is one");
    verb.AddFlag("--keep-parts", options->keepsParts, "keep the parts once they are joined");
    verb.AddFlag("--dry-run", options->isDryRun, "show the parts and how long they will take, and make nothing");
    verb.AddFlag("--json", options->isJson, "with --dry-run: as JSON");
    AddDocumentOptions(verb, options->document);
    verb.AddFlag("--allow-playlists", options->allowPlaylists, "as for kaltor render");
    verb.AddFlag("--trust", options->document.isTrusted, "let a document name files outside of its own folder");
    verb.AddFlag("-y,--overwrite", options->overwrite, "replace an output that exists");
    verb.SetFooter(
        "Examples:\n"
        "  kaltor farm submit edit.json -o out.mp4 --engine local -j 2 --part-seconds 3\n"
        "  kaltor farm submit edit.json -o out.mp4 --dry-run");
    verb.SetAction([options] { return RunSubmit(*options); });
}

/// A verb about one job.
std::pair<Verb, std::shared_ptr<FolderOptions>> AddFolderVerb(VerbGroup& farm, std::string const& name,
                                                              std::string const& description,
                                                              int (*action)(FolderOptions const&)) {
    Verb verb = farm.AddVerb(name, description);
    auto options = std::make_shared<FolderOptions>();
    verb.AddText("DIR", options->folder, "the job's folder").Require();
    verb.SetAction([options, action] { return action(*options); });
    return {verb, options};
}

}  // namespace

void AddFarm(CommandLine& commandLine) {
    VerbGroup farm =
        commandLine.AddGroup("farm", "Render a video, or one for each row of a table, with many machines or processes",
                             "\"kaltor farm VERB --help\" shows the options of each.");
    AddSubmit(farm);
    {
        auto [verb, options] = AddFolderVerb(farm, "status", "Show how far a job is", RunStatus);
        verb.AddFlag("--json", options->isJson, "as JSON");
    }
    {
        auto [verb, options] = AddFolderVerb(farm, "wait", "Wait until a job is done; fail if it fails", RunWait);
        verb.AddFlag("-q,--quiet", options->isQuiet, "show no progress");
    }
    AddFolderVerb(farm, "cancel", "Stop a job; what is done is kept", RunCancel);
    {
        auto [verb, options] = AddFolderVerb(farm, "retry", "Run what a job has not done, and join it", RunRetry);
        AddEngineOptions(verb, *options);
    }
    {
        auto [verb, options] = AddFolderVerb(farm, "run", "Make one part of a job here", RunTask);
        AddNumber<int>(verb, "--part", options->part, "its number; the first part is 1").ShowValueAs("K");
        verb.AddFlag("--sound", options->isSound, "the sound instead of a part");
        verb.AddFlag("-q,--quiet", options->isQuiet, "show no progress");
    }
    {
        auto [verb, options] = AddFolderVerb(farm, "join", "Join the parts of a job", RunJoin);
        verb.AddFlag("-q,--quiet", options->isQuiet, "show no progress");
    }
}

}  // namespace Kaltor::Cli
