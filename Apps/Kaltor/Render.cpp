#include <memory>

#include <fmt/format.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/RenderOptions.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Interfaces/Exception.h"

namespace Kaltor::Cli {
namespace {

struct RenderCommandOptions : RenderOptions {
    bool isQuiet = false;
};

int Render(RenderCommandOptions const& options) {
    Catalog const catalog = Catalog::Load();
    Media::RenderJob job = MakeRenderJob(options, catalog);
    job.cancel = &CatchInterrupts();

    ProgressBar bar(!options.isQuiet);
    job.onProgress = [&bar](std::int64_t done, std::int64_t total) { bar.Show(done, total); };
    job.onWarning = [&bar](std::string const& message) {
        bar.Clear();
        WriteError("warning: " + message);
    };
    try {
        Media::RenderResult const result = Media::Render(job, catalog.GetFactory());
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
    } catch (std::invalid_argument const& error) {
        throw UsageError(Core::Describe(error));
    }
}

}  // namespace

void AddRender(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("render", "Join clips into one video, with transitions and effects");
    auto const options = std::make_shared<RenderCommandOptions>();
    verb.AddTexts("CLIP", options->clips,
                  "videos or still pictures; CLIP@START-END takes a piece (@START- and @-END too), in seconds or "
                  "[HH:]MM:SS")
        .Require();
    verb.AddText("-o,--output", options->output, "the file to write; its ending chooses the container")
        .Require()
        .ShowValueAs("OUT");
    verb.AddTexts("--transition", options->transitions,
                  "between every two clips, or at the joint INDEX, where that of the first two is 1; none is a plain "
                  "cut; may be repeated (default TransitionCrossfade)")
        .ShowValueAs("[INDEX:]NAME[:FIELD=VALUE...]")
        .TakeOneAtATime();
    verb.AddText("--transition-duration", options->transitionDuration, "how long it takes (default 1)")
        .ShowValueAs("SECONDS");
    verb.AddTexts("--effect", options->effects,
                  "on every clip, or on the one at INDEX, where the first clip is 1; may be repeated")
        .ShowValueAs("[INDEX:]NAME[:FIELD=VALUE...]")
        .TakeOneAtATime();
    verb.AddText("--still-duration", options->stillDuration, "how long a still picture is shown (default 3)")
        .ShowValueAs("SECONDS");
    verb.AddText("--size", options->size, "size of the video (default: the first clip's)").ShowValueAs("WxH");
    verb.AddText("--fps", options->rate, "frames per second (default: the first clip's)").ShowValueAs("RATE");
    verb.AddText("--codec", options->codec, "the video encoder (default: H.264 where the container takes it)")
        .ShowValueAs("NAME");
    AddNumber<int>(verb, "--crf", options->crf, "quality in the encoder's own scale; lower is better").ShowValueAs("N");
    verb.AddFlag("--no-audio", options->hasNoAudio, "leave out the sound");
    verb.AddFlag("--allow-playlists", options->allowPlaylists,
                 "read clips that are playlists (HLS, DASH, concat), with the local files that they name");
    AddNumber<unsigned>(verb, "--seed", options->seed, "seed of what is random (default: the clock)").ShowValueAs("N");
    verb.AddFlag("-y,--overwrite", options->overwrite, "replace an output that exists");
    verb.AddFlag("-q,--quiet", options->isQuiet, "show no progress");
    verb.SetFooter(
        "Examples:\n"
        "  kaltor render a.mp4 b.mp4 -o out.mp4\n"
        "  kaltor render a.mp4@5-12.5 photo.jpg b.mov@1:30- -o out.mp4 --size 1280x720 \\\n"
        "      --effect 1:EffectBlurGaussian:scale=0.02 --transition-duration 0.5");
    verb.SetAction([options] { return Render(*options); });
}

}  // namespace Kaltor::Cli
