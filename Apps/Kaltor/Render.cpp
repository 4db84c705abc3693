#include "Render/Render.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include <fmt/format.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/PlanReport.h"
#include "Apps/Kaltor/RenderOptions.h"
#include "Apps/Kaltor/Verbs.h"
#include "Edit/DocumentWriter.h"
#include "Edit/Schema.h"
#include "Media/Picture.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Cli {
namespace {

struct RenderCommandOptions : DocumentOptions {
    std::string output;
    bool allowPlaylists = false;
    bool overwrite = false;
    bool isQuiet = false;
    std::string saveEdit;
    bool isDryRun = false;
    bool isJson = false;
    std::string range;
    std::string frame;
};

void Refuse(std::string const& path) {
    throw std::runtime_error(fmt::format("{} exists; --overwrite replaces it", path));
}

void CheckOutput(RenderCommandOptions const& options) {
    if (options.output.empty()) {
        throw UsageError("--output is required; see kaltor render --help");
    }
    if (options.output == "-") {
        throw UsageError(
            "render writes to a file, not to standard output: its container follows from the file's ending");
    }
    if (!options.frame.empty() && !options.output.ends_with(".png") && !options.output.ends_with(".PNG")) {
        throw UsageError(
            fmt::format("--frame makes a PNG file: give the output \"{}\" a name that ends in .png", options.output));
    }
    std::error_code error;
    if (!options.overwrite && std::filesystem::exists(options.output, error)) {
        Refuse(options.output);
    }
}

void SaveEdit(RenderCommandOptions const& options, Edit::Document const& document) {
    std::error_code error;
    if (!options.overwrite && std::filesystem::exists(options.saveEdit, error)) {
        Refuse(options.saveEdit);
    }
    std::string const folder = std::filesystem::absolute(options.saveEdit).parent_path().string();
    WriteFile(options.saveEdit, Edit::FormatDocument(document, folder));
}

/// "12-20", "12-" or "-20".
Render::RenderJob::Range ParseRange(std::string const& text) {
    constexpr double kPerSecond = 1e6;
    std::size_t const dash = text.find('-');
    if (dash == std::string::npos || text.size() == 1) {
        throw UsageError(fmt::format("--range {}: it takes START-END, START- or -END, in seconds or [HH:]MM:SS", text));
    }
    auto const seconds = [](std::string const& time) { return static_cast<double>(ParseTime(time)) / kPerSecond; };
    Render::RenderJob::Range range;
    if (dash > 0) {
        range.begin = seconds(text.substr(0, dash));
    }
    if (dash + 1 < text.size()) {
        range.end = seconds(text.substr(dash + 1));
    }
    if (range.end && *range.end <= range.begin) {
        throw UsageError(fmt::format("--range {} ends before it has started", text));
    }
    return range;
}

Render::RenderJob MakeJob(RenderCommandOptions const& options, Edit::Document document) {
    Render::RenderJob job;
    job.document = std::move(document);
    job.output = options.output;
    job.overwrite = options.overwrite;
    job.allowPlaylists = options.allowPlaylists;
    if (IsDocumentName(options.clips.front())) {
        job.documentName = options.clips.front();
    }
    if (!options.range.empty()) {
        job.range = ParseRange(options.range);
    }
    job.getMaximumSide = [] {
        return static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    };
    job.cancel = &CatchInterrupts();
    return job;
}

int ShowPlan(RenderCommandOptions const& options, Render::RenderJob const& job) {
    PlanReport report;
    auto const warn = [&report](std::string const& warning) { report.warnings.push_back(warning); };
    Edit::Plan const plan = Edit::MakePlan(job.document, {job.allowPlaylists, job.documentName, job.cancel, warn});
    CheckTexts(plan, job.documentName, warn);
    report.output = options.output;
    report.codec = job.document.output.codec;
    WriteOut(options.isJson ? ToJson(plan, report).dump(2) + "\n" : ToText(plan, report));
    return 0;
}

int RenderVideo(RenderCommandOptions const& options, Render::RenderJob& job, Catalog const& catalog) {
    ProgressBar bar(!options.isQuiet);
    job.onProgress = [&bar](std::int64_t done, std::int64_t total) { bar.Show(done, total); };
    job.onWarning = [&bar](std::string const& message) {
        bar.Clear();
        WriteError("warning: " + message);
    };
    try {
        if (!options.frame.empty()) {
            constexpr double kPerSecond = 1e6;
            Proc::AvFramePtr picture = Render::RenderPicture(
                job, static_cast<double>(ParseTime(options.frame)) / kPerSecond, catalog.GetFactory());
            Media::WritePng(options.output, *Proc::DataVideoFF::Wrap(std::move(picture)), options.overwrite);
            return 0;
        }
        Render::RenderResult const result = Render::Render(job, catalog.GetFactory());
        bar.Clear();
        if (bar.IsShown()) {
            WriteMessage(fmt::format("{}: {} frames, {}x{}, {:.5g} fps, {}{}\n", MakePrintable(options.output),
                                     result.frames, result.frame.width, result.frame.height, av_q2d(result.frameRate),
                                     result.codec, result.hasSound ? ", with sound" : ""));
        }
        return 0;
    } catch (Media::Cancelled const&) {
        bar.Clear();
        return ReportInterrupt();
    }
}

int RunRender(RenderCommandOptions const& options) {
    if (options.isJson && !options.isDryRun) {
        throw UsageError("--json is for --dry-run");
    }
    bool const rendersAnything = !options.isDryRun && (options.saveEdit.empty() || !options.output.empty());
    if (rendersAnything) {
        CheckOutput(options);
    }
    Catalog const catalog = Catalog::Load();
    Edit::Document document = MakeDocument(options, catalog);
    if (!options.saveEdit.empty()) {
        SaveEdit(options, document);
    }
    if (!rendersAnything && !options.isDryRun) {
        return 0;
    }
    Render::RenderJob job = MakeJob(options, std::move(document));
    return options.isDryRun ? ShowPlan(options, job) : RenderVideo(options, job, catalog);
}

struct CheckOptions : DocumentOptions {
    bool allowPlaylists = false;
    bool isSchemaWanted = false;
};

int RunCheck(CheckOptions const& options) {
    if (options.isSchemaWanted) {
        if (!options.clips.empty()) {
            throw UsageError("--schema takes no document: it shows the schema of all of them");
        }
        WriteOut(Edit::MakeSchema().dump(2) + "\n");
        return 0;
    }
    if (options.clips.size() != 1 || !IsDocumentName(options.clips.front())) {
        throw UsageError("check takes the name of one document, such as edit.json");
    }
    Catalog const catalog = Catalog::Load();
    Edit::Document const document = MakeDocument(options, catalog);
    bool hasWarned = false;
    auto const warn = [&hasWarned](std::string const& warning) {
        WriteError("warning: " + warning);
        hasWarned = true;
    };
    std::string const& name = options.clips.front();
    Edit::Plan const plan = Edit::MakePlan(document, {options.allowPlaylists, name, &CatchInterrupts(), warn});
    CheckTexts(plan, name, warn);
    WriteOut(fmt::format("{}: {}, {:.2f} s\n", MakePrintable(name), hasWarned ? "usable, with warnings" : "right",
                         plan.time.SecondsOf(plan.frames)));
    return 0;
}

}  // namespace

void AddDocumentOptions(Verb& verb, DocumentOptions& options) {
    char const* const ofJoint = "[INDEX:]NAME[@SECONDS[,EASING]][:FIELD=VALUE...]";
    verb.AddTexts("--transition", options.transitions,
                  "between every two clips, or at the joint INDEX, where that of the first two is 1, with its duration "
                  "and easing; none is a plain cut; may be repeated (default TransitionCrossfade)")
        .ShowValueAs(ofJoint)
        .TakeOneAtATime();
    verb.AddText("--transition-duration", options.transitionDuration, "how long transitions take (default 1)")
        .ShowValueAs("SECONDS");
    verb.AddTexts("--effect", options.effects,
                  "on every clip, or on the one at INDEX, where the first clip is 1; may be repeated")
        .ShowValueAs("[INDEX:]NAME[:FIELD=VALUE...]")
        .TakeOneAtATime();
    verb.AddTexts("--fit", options.fits,
                  "how clips of another shape fill the frame: whole (with bars), fill, stretch or blur (default whole)")
        .ShowValueAs("[INDEX:]MODE")
        .TakeOneAtATime();
    verb.AddTexts("--speed", options.speeds, "how fast clips play, 0.05 to 20")
        .ShowValueAs("[INDEX:]N")
        .TakeOneAtATime();
    verb.AddTexts("--volume", options.volumes, "of the clips' sound, in decibels")
        .ShowValueAs("[INDEX:]DB")
        .TakeOneAtATime();
    verb.AddTexts("--title", options.titles,
                  "a text over the video; keys as in a document, such as from, to, style, animation; may be repeated")
        .ShowValueAs("TEXT[:KEY=VALUE...]")
        .TakeOneAtATime();
    verb.AddTexts("--overlay", options.overlays,
                  "a picture or a video over the video; keys such as from, to, anchor, width, opacity; may be repeated")
        .ShowValueAs("FILE[:KEY=VALUE...]")
        .TakeOneAtATime();
    verb.AddTexts("--music", options.music,
                  "a bed of sound; keys such as volume, loop, fadeOut, duck={\"by\":12}; may be repeated")
        .ShowValueAs("FILE[:KEY=VALUE...]")
        .TakeOneAtATime();
    verb.AddTexts("--subtitles", options.subtitles, "an SRT, VTT or ASS file").ShowValueAs("FILE").TakeOneAtATime();
    verb.AddText("--fade-in", options.fadeIn, "how long the video takes to come out of black").ShowValueAs("SECONDS");
    verb.AddText("--fade-out", options.fadeOut, "how long the video takes to go to black").ShowValueAs("SECONDS");
    AddNumber<double>(verb, "--loudness", options.loudness, "of the whole sound, such as -16 or -23")
        .ShowValueAs("LUFS");
    verb.AddText("--still-duration", options.stillDuration, "how long a still picture is shown (default 3)")
        .ShowValueAs("SECONDS");
    verb.AddText("--size", options.size, "size of the video (default: the first clip's)").ShowValueAs("WxH");
    verb.AddText("--fps", options.rate, "frames per second (default: the first clip's)").ShowValueAs("RATE");
    verb.AddText("--background", options.background, "colour of bars and gaps (default #000000)").ShowValueAs("COLOUR");
    verb.AddText("--codec", options.codec, "the video encoder (default: H.264 where the container takes it)")
        .ShowValueAs("NAME");
    AddNumber<int>(verb, "--crf", options.crf, "quality in the encoder's own scale; lower is better").ShowValueAs("N");
    verb.AddFlag("--no-audio", options.hasNoAudio, "leave out the sound");
    AddNumber<unsigned>(verb, "--seed", options.seed, "seed of what is random (default: the clock)").ShowValueAs("N");
}

void AddRender(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("render", "Make one video of clips or of a document, with transitions and effects");
    auto const options = std::make_shared<RenderCommandOptions>();
    verb.AddTexts("CLIP", options->clips,
                  "videos or still pictures; CLIP@START-END takes a piece (@START- and @-END too), in seconds or "
                  "[HH:]MM:SS; or one document (EDIT.json)")
        .Require();
    verb.AddText("-o,--output", options->output, "the file to write; its ending chooses the container")
        .ShowValueAs("OUT");
    AddDocumentOptions(verb, *options);
    verb.AddText("--save-edit", options->saveEdit, "write the document that these options mean").ShowValueAs("FILE");
    verb.AddFlag("--dry-run", options->isDryRun, "show what would be made, and make nothing");
    verb.AddFlag("--json", options->isJson, "with --dry-run: as JSON");
    Option const range =
        verb.AddText("--range", options->range, "make a piece of the video: START-END").ShowValueAs("START-END");
    verb.AddText("--frame", options->frame, "make one picture of the video, as PNG").ShowValueAs("TIME").Exclude(range);
    verb.AddFlag("--allow-playlists", options->allowPlaylists,
                 "read clips that are playlists (HLS, DASH, concat), with the local files that they name");
    verb.AddFlag("--trust", options->isTrusted, "let a document name files outside of its own folder");
    verb.AddFlag("-y,--overwrite", options->overwrite, "replace an output that exists");
    verb.AddFlag("-q,--quiet", options->isQuiet, "show no progress");
    verb.SetFooter(
        "Examples:\n"
        "  kaltor render a.mp4 b.mp4 -o out.mp4\n"
        "  kaltor render a.mp4@5-12.5 photo.jpg b.mov@1:30- -o out.mp4 --size 1280x720 \\\n"
        "      --effect 1:blur:scale=0.02 --transition 1:Wipe@0.5,easeInOutCubic:direction=down \\\n"
        "      --title \"Our holidays:from=1:to=4\" --music song.mp3:volume=-12:fadeOut=2\n"
        "  kaltor render edit.json -o out.mp4");
    verb.SetAction([options] { return RunRender(*options); });
}

void AddCheck(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("check", "Check a document, with the files that it names");
    auto const options = std::make_shared<CheckOptions>();
    verb.AddTexts("EDIT", options->clips, "the document");
    verb.AddFlag("--schema", options->isSchemaWanted, "show the JSON Schema of documents instead, for editors");
    verb.AddFlag("--trust", options->isTrusted, "let a document name files outside of its own folder");
    verb.AddFlag("--allow-playlists", options->allowPlaylists, "accept clips that are playlists");
    verb.SetFooter("Example:\n  kaltor check edit.json");
    verb.SetAction([options] { return RunCheck(*options); });
}

}  // namespace Kaltor::Cli
