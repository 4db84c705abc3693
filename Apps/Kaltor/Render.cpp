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

void AddRender(CLI::App& app, Action& action) {
    CLI::App* const verb = app.add_subcommand("render", "Join clips into one video, with transitions and effects");
    auto const options = std::make_shared<RenderCommandOptions>();
    verb->add_option("CLIP", options->clips,
                     "videos or still pictures; CLIP@START-END takes a piece (@START- and @-END too), in seconds or "
                     "[HH:]MM:SS")
        ->required();
    verb->add_option("-o,--output", options->output, "the file to write; its ending chooses the container")
        ->required()
        ->type_name("OUT");
    verb->add_option(
            "--transition", options->transitions,
            "between every two clips, or at the joint INDEX, where that of the first two is 1; none is a plain "
            "cut; may be repeated (default TransitionCrossfade)")
        ->type_name("[INDEX:]NAME[:FIELD=VALUE...]")
        ->allow_extra_args(false);
    verb->add_option("--transition-duration", options->transitionDuration, "how long it takes (default 1)")
        ->type_name("SECONDS");
    verb->add_option("--effect", options->effects,
                     "on every clip, or on the one at INDEX, where the first clip is 1; may be repeated")
        ->type_name("[INDEX:]NAME[:FIELD=VALUE...]")
        ->allow_extra_args(false);
    verb->add_option("--still-duration", options->stillDuration, "how long a still picture is shown (default 3)")
        ->type_name("SECONDS");
    verb->add_option("--size", options->size, "size of the video (default: the first clip's)")->type_name("WxH");
    verb->add_option("--fps", options->rate, "frames per second (default: the first clip's)")->type_name("RATE");
    verb->add_option("--codec", options->codec, "the video encoder (default: H.264 where the container takes it)")
        ->type_name("NAME");
    AddNumber<int>(*verb, "--crf", options->crf, "quality in the encoder's own scale; lower is better")->type_name("N");
    verb->add_flag("--no-audio", options->hasNoAudio, "leave out the sound");
    verb->add_flag("--allow-playlists", options->allowPlaylists,
                   "read clips that are playlists (HLS, DASH, concat), with the local files that they name");
    AddNumber<unsigned>(*verb, "--seed", options->seed, "seed of what is random (default: the clock)")->type_name("N");
    verb->add_flag("-y,--overwrite", options->overwrite, "replace an output that exists");
    verb->add_flag("-q,--quiet", options->isQuiet, "show no progress");
    verb->footer(
        "Examples:\n"
        "  kaltor render a.mp4 b.mp4 -o out.mp4\n"
        "  kaltor render a.mp4@5-12.5 photo.jpg b.mov@1:30- -o out.mp4 --size 1280x720 \\\n"
        "      --effect 1:EffectBlurGaussian:scale=0.02 --transition-duration 0.5");
    verb->callback([options, &action] { action = [options] { return Render(*options); }; });
}

}  // namespace Kaltor::Cli
