#include "Render/Render.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/IsolationOptions.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/PlanReport.h"
#include "Apps/Kaltor/RenderOptions.h"
#include "Apps/Kaltor/RenderProgress.h"
#include "Apps/Kaltor/Verbs.h"
#include "Edit/DocumentWriter.h"
#include "Edit/Schema.h"
#include "Media/Ffmpeg.h"
#include "Media/Picture.h"
#include "Media/StreamOutput.h"
#include "Ogl/OglManager.h"
#include "Render/OutputForm.h"

namespace Kaltor::Cli {
namespace {

struct RenderCommandOptions : DocumentOptions {
    std::string output;
    bool overwrite = false;
    bool isQuiet = false;
    bool isVerbose = false;
    std::string saveEdit;
    bool isDryRun = false;
    bool isJson = false;
    std::string range;
    std::string frame;
    std::string progress = "bar";
    std::optional<int> progressDescriptor;
    bool isStrict = false;
    bool isResumed = false;
    IsolationOptions isolation;
};

void CheckOutput(RenderCommandOptions const& options) {
    if (options.output.empty()) {
        throw UsageError("--output is required; see kaltor render --help");
    }
    if (options.output == "-" && options.encoder.format.empty() && options.encoder.profile.empty() &&
        !IsDocumentName(options.clips.front())) {
        throw UsageError("standard output has no name that says what to write: --format does, such as --format nut");
    }
    if (!options.frame.empty() && !options.output.ends_with(".png") && !options.output.ends_with(".PNG")) {
        throw UsageError(
            fmt::format("--frame makes a PNG file: give the output \"{}\" a name that ends in .png", options.output));
    }
    if (!options.overwrite && !Media::StreamOutput::IsStream(options.output)) {
        RequireFreeName(options.output);
    }
}

void SaveEdit(RenderCommandOptions const& options, Edit::Document const& document) {
    if (options.saveEdit.starts_with('-')) {
        throw UsageError(fmt::format("--save-edit takes the name of a file, not {}; ./{} is a file of that name",
                                     options.saveEdit, options.saveEdit));
    }
    if (!options.overwrite) {
        RequireFreeName(options.saveEdit);
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
    job.isVerbose = options.isVerbose;
    job.isStrict = options.isStrict;
    job.isResumed = options.isResumed;
    job.isolation = options.isolation.Get();
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
    Edit::Plan plan = Edit::MakePlan(job.document, {job.allowPlaylists, job.documentName, job.cancel, warn});
    CheckTexts(plan, job.documentName, *job.cancel, warn);
    report.output = options.output;
    report.codec = job.document.output.codec;
    if (job.range) {
        report.piece = Render::FindPiece(*job.range, plan);
    }
    if (!options.output.empty() && options.frame.empty()) {
        Render::ChooseForm(plan, job.document.output, options.output);
        report.form = Render::DescribeOutput(job, plan);
    }
    report.losses = Render::FindLosses(job, plan, report.form);
    WriteOut(options.isJson ? Edit::ShowJson(ToJson(plan, report), 2) + "\n" : ToText(plan, report));
    constexpr int kFailed = 1;
    return options.isStrict && !report.losses.empty() ? kFailed : 0;
}

/// What was made, for programs.
Edit::Json DescribeResult(std::string const& output, Render::RenderResult const& result, double seconds,
                          std::vector<std::string> const& warnings) {
    double const rate = av_q2d(result.frameRate);
    Edit::Json json{{"output", output},
                    {"container", result.container},
                    {"codec", result.codec},
                    {"pixelFormat", result.pixelFormat},
                    {"width", result.frame.width},
                    {"height", result.frame.height},
                    {"frameRate", fmt::format("{}/{}", result.frameRate.num, result.frameRate.den)},
                    {"frames", result.frames},
                    {"processedFrames", result.processedFrames},
                    {"duration", static_cast<double>(result.frames) / rate},
                    {"bytes", result.bytes},
                    {"seconds", seconds}};
    json["sound"] = result.sound
                        ? Edit::Json{{"sampleRate", result.sound->sampleRate}, {"channels", result.sound->channels}}
                        : Edit::Json(nullptr);
    json["warnings"] = warnings;
    return json;
}

RenderProgress::Form ChooseProgress(RenderCommandOptions const& options) {
    RenderProgress::Form const form = RenderProgress::ParseForm(options.progress);
    if (options.progressDescriptor && form == RenderProgress::Form::Bar) {
        return RenderProgress::Form::Json;
    }
    return options.isQuiet && form == RenderProgress::Form::Bar ? RenderProgress::Form::None : form;
}

int RenderVideo(RenderCommandOptions const& options, Render::RenderJob& job, Catalog const& catalog) {
    RenderProgress progress(ChooseProgress(options), options.progressDescriptor);
    AVRational frameRate{0, 1};
    job.onStart = [&frameRate](AVRational rate) { frameRate = rate; };
    job.onProgress = [&](std::int64_t done, std::int64_t total) { progress.Show(done, total, frameRate); };
    std::vector<std::string> warnings;
    job.onWarning = [&](std::string const& message) {
        progress.Clear();
        WriteError("warning: " + message);
        warnings.push_back(message);
    };
    bool const isStream = Media::StreamOutput::IsStream(options.output);
    try {
        if (!options.frame.empty()) {
            constexpr double kPerSecond = 1e6;
            Proc::AvFramePtr picture = Render::RenderPicture(
                job, static_cast<double>(ParseTime(options.frame)) / kPerSecond, catalog.GetFactory());
            Media::WritePng(options.output, *Proc::DataVideoFF::Wrap(std::move(picture)), options.overwrite);
            return 0;
        }
        Render::RenderResult const result = Render::Render(job, catalog.GetFactory());
        progress.Finish(result.frames, result.frameRate);
        if (options.isJson) {
            std::string const text =
                Edit::ShowJson(DescribeResult(options.output, result, progress.GetSeconds(), warnings)) + "\n";
            options.output == "-" ? WriteMessage(text) : WriteOut(text);
        } else if (progress.HasBar()) {
            WriteMessage(fmt::format("{}: {} frames, {}x{}, {:.5g} fps, {}{}\n", MakePrintable(options.output),
                                     result.frames, result.frame.width, result.frame.height, av_q2d(result.frameRate),
                                     result.codec, result.hasSound ? ", with sound" : ""));
        }
        return 0;
    } catch (Media::Cancelled const&) {
        progress.Clear();
        return ReportInterrupt(isStream            ? "what was written is not whole"
                               : options.isResumed ? "--resume goes on after the pictures that are there"
                                                   : "nothing was written");
    } catch (Media::PipeClosed const&) {
        progress.Clear();
        return GetClosedPipeStatus();
    }
}

void SetVerbose(bool isVerbose) {
    ShowLibraryOutput(isVerbose);
    Media::ShowFfmpegLog(isVerbose);
    if (!isVerbose) {
        setenv("SVT_LOG", "0", 0);  // SVT-AV1 prints its settings otherwise, and errors beside ours
    }
}

int ListProfiles() {
    std::string text;
    for (Media::Profile const& profile : Media::GetProfiles()) {
        text += fmt::format("{}  {} (.{})\n", Bold(fmt::format("{:8}", profile.name)), profile.help,
                            fmt::join(profile.endings, ", ."));
    }
    WriteOut(text);
    return 0;
}

int RunRender(RenderCommandOptions const& options) {
    if (options.encoder.profile == "list") {
        return ListProfiles();
    }
    if (options.clips.empty()) {
        throw UsageError("CLIP is required; see kaltor render --help");
    }
    if (options.isJson && !options.isDryRun && !options.frame.empty()) {
        throw UsageError("--json describes a video, not the picture of --frame");
    }
    bool const rendersAnything = !options.isDryRun && (options.saveEdit.empty() || !options.output.empty());
    if (rendersAnything) {
        CheckOutput(options);
    }
    SetVerbose(options.isVerbose);
    // A process that draws has a limit for every frame.
    Catalog const catalog =
        LoadCatalog(options.isolation.Get() ? HangGuard::Off : HangGuard::On, rendersAnything ? options.output : "");
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
    bool isSchemaWanted = false;
};

int RunCheck(CheckOptions const& options) {
    if (options.isSchemaWanted) {
        if (!options.clips.empty()) {
            throw UsageError("--schema takes no document: it shows the schema of all of them");
        }
        WriteOut(Edit::ShowJson(Edit::MakeSchema(), 2) + "\n");
        return 0;
    }
    if (options.clips.size() != 1 || !IsDocumentName(options.clips.front())) {
        throw UsageError("check takes the name of one document, such as edit.json");
    }
    Catalog const catalog = LoadCatalog();
    Edit::Document const document = MakeDocument(options, catalog);
    bool hasWarned = false;
    auto const warn = [&hasWarned](std::string const& warning) {
        WriteError("warning: " + warning);
        hasWarned = true;
    };
    std::string const& name = options.clips.front();
    Edit::Plan const plan = Edit::MakePlan(document, {options.allowPlaylists, name, &CatchInterrupts(), warn});
    CheckTexts(plan, name, CatchInterrupts(), warn);
    WriteOut(fmt::format("{}: {}, {:.2f} s\n", MakePrintable(name), hasWarned ? "usable, with warnings" : "right",
                         plan.time.SecondsOf(plan.frames)));
    return 0;
}

/// An option with a bit rate.
Option AddBitRate(Verb& verb, std::string const& option, std::optional<Media::BitRate>& target,
                  std::string const& help) {
    return verb
        .AddParsed(
            option,
            [&target, option](std::string const& text) {
                try {
                    target = Media::ParseBitRate(text);
                } catch (std::invalid_argument const& error) {
                    throw UsageError(fmt::format("{}: {}", option, error.what()));
                }
            },
            help)
        .ShowValueAs("RATE");
}

void AddEncoderOptions(Verb& verb, DocumentOptions& options) {
    Media::EncoderSettings& encoder = options.encoder;
    verb.AddText("--for", encoder.profile, "settings that suit a use, where nothing else is set; list shows them")
        .ShowValueAs("USE");
    verb.AddText("--format", encoder.format,
                 "the container, where the output's name does not say it, such as nut or y4m")
        .ShowValueAs("NAME");
    verb.AddText("--depth", options.depth,
                 "what frames are worked on in: auto, 8 (bits) or 16f (16-bit float; auto: where a clip and the output "
                 "have more than 8 bits)")
        .ShowValueAs("DEPTH");
    verb.AddText("--hdr", options.hdr, "the dynamic range: sdr, pq or hlg (default: the first clip's)")
        .ShowValueAs("RANGE");
    verb.AddText("--alpha", options.alpha,
                 "keep, or the colour that transparent parts are laid over (default: kept where clips have it and the "
                 "file carries it)")
        .ShowValueAs("keep|COLOUR");
    verb.AddText("--codec", encoder.codec, "the video encoder (default: H.264 where the container takes it)")
        .ShowValueAs("NAME");
    Option const quality =
        AddNumber<int>(verb, "--crf", encoder.crf, "quality in the encoder's own scale; lower is better")
            .ShowValueAs("N");
    AddBitRate(verb, "--bitrate", encoder.bitRate, "bits per second instead of a quality, such as 5M or 800k")
        .Exclude(quality);
    verb.AddText("--preset", encoder.preset, "how much time the encoder may take, by its own names or numbers")
        .ShowValueAs("NAME");
    verb.AddText("--pix-fmt", encoder.pixelFormat, "the pixel format by FFmpeg's name, such as yuv444p")
        .ShowValueAs("NAME");
    constexpr std::uint32_t kLongest = 100'000;
    AddNumber<std::uint32_t>(verb, "--gop", encoder.keyFrameInterval, "frames from one key frame to the next, at most",
                             {1, kLongest})
        .ShowValueAs("N");
    verb.AddTexts("--encoder-option", options.encoderOptions, "one of the encoder's own options; may be repeated")
        .ShowValueAs("KEY=VALUE")
        .TakeOneAtATime();
    verb.AddText("--audio-codec", encoder.audioCodec, "the audio encoder").ShowValueAs("NAME");
    AddBitRate(verb, "--audio-bitrate", encoder.audioBitRate, "bits per second of the sound, such as 192k");
    verb.AddTexts("--metadata", options.metadata, "such as title=Holidays; may be repeated")
        .ShowValueAs("KEY=VALUE")
        .TakeOneAtATime();
    verb.AddFlag("--chapters", encoder.hasChapters, "mark where clips begin");
    AddNumber<std::uint32_t>(verb, "--first-number", options.firstNumber,
                             "of the pictures of a sequence that is written (default 1)")
        .ShowValueAs("N");
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
    verb.AddText("--fps", options.rate, "frames per second (default: those of the first video)").ShowValueAs("RATE");
    verb.AddText("--background", options.background, "colour of bars and gaps (default #000000)").ShowValueAs("COLOUR");
    AddEncoderOptions(verb, options);
    verb.AddFlag("--no-audio", options.hasNoAudio, "leave out the sound");
    AddNumber<unsigned>(verb, "--seed", options.seed, "seed of what is random (default: the clock)").ShowValueAs("N");
}

void AddRender(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("render", "Make one video of clips or of a document, with transitions and effects");
    auto const options = std::make_shared<RenderCommandOptions>();
    verb.AddTexts("CLIP", options->clips,
                  "videos, still pictures, sequences (frame%04d.png, 'frames/*.png') or - for standard input; "
                  "CLIP@START-END takes a piece (@START- and @-END too), in seconds or [HH:]MM:SS; "
                  "CLIP@raw:WxH:FORMAT:RATE says what raw frames are, CLIP@alpha:premultiplied that colours are "
                  "multiplied by alpha; or one document (EDIT.json)");
    verb.AddText("-o,--output", options->output,
                 "the file to write; its ending chooses the container. frame%04d.png is a sequence of pictures, - is "
                 "standard output")
        .ShowValueAs("OUT");
    AddDocumentOptions(verb, *options);
    verb.AddText("--save-edit", options->saveEdit, "write the document that these options mean").ShowValueAs("FILE");
    verb.AddFlag("--dry-run", options->isDryRun, "show what would be made, and make nothing");
    verb.AddFlag("--json", options->isJson,
                 "describe what was made (with --dry-run: what would be) as JSON on standard output");
    verb.AddFlag("--strict", options->isStrict,
                 "refuse what the output cannot carry of a clip, such as alpha or depth, instead of a warning");
    verb.AddFlag("--resume", options->isResumed, "of a sequence of pictures: go on after those that are there");
    verb.AddText("--progress", options->progress, "bar, json (a line each second on standard error) or none")
        .ShowValueAs("FORM");
    AddNumber<int>(verb, "--progress-fd", options->progressDescriptor, "write progress as JSON to this file descriptor",
                   {0, 1'000'000})
        .ShowValueAs("N");
    Option const range =
        verb.AddText("--range", options->range, "make a piece of the video: START-END").ShowValueAs("START-END");
    verb.AddText("--frame", options->frame, "make one picture of the video, as PNG").ShowValueAs("TIME").Exclude(range);
    AddTrustOptions(verb, *options);
    options->isolation.AddTo(verb);
    verb.AddFlag("-y,--overwrite", options->overwrite, "replace an output that exists");
    verb.AddFlag("-q,--quiet", options->isQuiet, "show no progress");
    verb.AddFlag("--verbose", options->isVerbose, "show what encoders and other libraries print");
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
    AddTrustOptions(verb, *options);
    verb.SetFooter("Example:\n  kaltor check edit.json");
    verb.SetAction([options] { return RunCheck(*options); });
}

}  // namespace Kaltor::Cli
