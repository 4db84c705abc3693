#include "Media/Render.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include <fmt/format.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Interfaces/Exception.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Cli {
namespace {

struct Options {
    std::vector<std::string> clips;
    std::string output;
    std::string transition = "TransitionCrossfade";
    std::string transitionDuration = "1";
    std::string stillDuration = "3";
    std::vector<std::string> effects;
    std::string size;
    std::string rate;
    std::string codec;
    std::optional<int> crf;
    bool hasNoAudio = false;
    std::optional<unsigned> seed;
    bool overwrite = false;
    bool isQuiet = false;
};

std::atomic<bool> isCancelled{false};
std::atomic<int> cancelSignal{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

extern "C" void OnSignal(int signal) {
    cancelSignal = signal;
    isCancelled = true;
}

/// Ends the rendering in order at the first signal; a second one ends the process at once.
void InstallSignalHandlers() {
    struct sigaction action {};
    action.sa_handler = &OnSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        bool const isIgnored = sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
        if (signal != SIGHUP || !isIgnored) {  // nohup has its way
            sigaction(signal, &action, nullptr);
        }
    }
}

std::vector<Media::Clip> MakeClips(Options const& options) {
    Media::Microseconds const still(ParseTime(options.stillDuration));
    if (still.count() == 0) {
        throw UsageError("--still-duration takes more than 0 seconds");
    }
    std::vector<Media::Clip> clips;
    for (std::string const& text : options.clips) {
        ClipSpec const spec = ParseClip(text);
        Media::Clip& clip = clips.emplace_back();
        clip.path = spec.path;
        clip.stillDuration = still;
        if (spec.start) {
            clip.start = Media::Microseconds(*spec.start);
        }
        if (spec.end) {
            clip.end = Media::Microseconds(*spec.end);
        }
    }
    return clips;
}

std::vector<Media::Transition> MakeTransitions(Options const& options, Catalog const& catalog) {
    Media::Transition joint;
    joint.duration = Media::Microseconds(ParseTime(options.transitionDuration));
    if (options.transition != "none") {
        NameSpec const spec = ParseNameSpec(options.transition);
        std::shared_ptr<Proc::Settings const> const settings =
            MakeSettings(catalog.FindTransition(spec.name).name, spec.values);
        if (joint.duration.count() > 0) {
            joint.settings = settings;
        }
    }
    if (!joint.settings) {
        joint.duration = Media::Microseconds(0);
    }
    return std::vector<Media::Transition>(options.clips.size() - 1, joint);
}

std::vector<Media::ClipEffect> MakeEffects(Options const& options, Catalog const& catalog) {
    std::vector<Media::ClipEffect> effects;
    for (std::string const& text : options.effects) {
        EffectSpec const spec = ParseEffectSpec(text);
        if (spec.clip && *spec.clip > options.clips.size()) {
            throw UsageError(fmt::format("\"{}\" is for clip {}, but there {} {} clip{}", text, *spec.clip,
                                         options.clips.size() == 1 ? "is" : "are", options.clips.size(),
                                         options.clips.size() == 1 ? "" : "s"));
        }
        Media::ClipEffect& effect = effects.emplace_back();
        effect.settings = MakeSettings(catalog.FindEffect(spec.effect.name).name, spec.effect.values);
        if (spec.clip) {
            effect.clip = *spec.clip - 1;
        }
    }
    return effects;
}

Media::RenderJob MakeJob(Options const& options, Catalog const& catalog) {
    Media::RenderJob job;
    job.clips = MakeClips(options);
    job.transitions = MakeTransitions(options, catalog);
    job.effects = MakeEffects(options, catalog);
    if (!options.size.empty()) {
        auto const [width, height] = ParseSize(options.size);
        job.size = Conf::FrameInfo{width, height, 1, 1};
    }
    if (!options.rate.empty()) {
        auto const [numerator, denominator] = ParseRate(options.rate);
        job.frameRate = AVRational{numerator, denominator};
    }
    if (options.output == "-") {
        throw UsageError(
            "render writes to a file, not to standard output: its container follows from the file's ending");
    }
    std::error_code error;
    if (!options.overwrite && std::filesystem::exists(options.output, error)) {
        throw std::runtime_error(fmt::format("{} exists; --overwrite replaces it", options.output));
    }
    job.codec = options.codec;
    job.crf = options.crf;
    job.audio = !options.hasNoAudio;
    job.output = options.output;
    job.overwrite = options.overwrite;
    job.getMaximumSide = [] {
        return static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    };
    job.cancel = &isCancelled;
    return job;
}

int Render(Options const& options) {
    Catalog const catalog = Catalog::Load();
    if (options.seed) {
        std::srand(*options.seed);
    }
    Media::RenderJob job = MakeJob(options, catalog);
    InstallSignalHandlers();

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
            std::fprintf(stderr, "%s: %lld frames, %ux%u, %.5g fps, %s%s\n", options.output.c_str(),
                         static_cast<long long>(result.frames), result.frame.width, result.frame.height,
                         av_q2d(result.frameRate), result.codec.c_str(), result.hasSound ? ", with sound" : "");
        }
        return 0;
    } catch (Media::Cancelled const&) {
        constexpr int kSignalBase = 128;  // as shells tell of a signal
        bar.Clear();
        WriteError("stopped; nothing was written");
        return kSignalBase + cancelSignal;
    } catch (std::invalid_argument const& error) {
        throw UsageError(Core::Describe(error));
    }
}

}  // namespace

void AddRender(CLI::App& app, Action& action) {
    CLI::App* const verb = app.add_subcommand("render", "Join clips into one video, with transitions and effects");
    auto const options = std::make_shared<Options>();
    verb->add_option("CLIP", options->clips,
                     "videos or still pictures; CLIP@START-END takes a piece (@START- and @-END too), in seconds or "
                     "[HH:]MM:SS")
        ->required();
    verb->add_option("-o,--output", options->output, "the file to write; its ending chooses the container")
        ->required()
        ->type_name("OUT");
    verb->add_option("--transition", options->transition,
                     "between every two clips (default TransitionCrossfade); none is a plain cut")
        ->type_name("NAME[:FIELD=VALUE...]");
    verb->add_option("--transition-duration", options->transitionDuration, "how long it takes (default 1)")
        ->type_name("SECONDS");
    verb->add_option("--effect", options->effects,
                     "on every clip, or on the one at INDEX, where the first clip is 1; may be repeated")
        ->type_name("[INDEX:]NAME[:FIELD=VALUE...]")
        ->allow_extra_args(false);
    verb->add_option("--still-duration", options->stillDuration, "how long a still picture is shown (default 3)")
        ->type_name("SECONDS");
    verb->add_option("--size", options->size, "of the video (default: the first clip's)")->type_name("WxH");
    verb->add_option("--fps", options->rate, "frames per second (default: the first clip's)")->type_name("RATE");
    verb->add_option("--codec", options->codec, "the video encoder (default: H.264 where the container takes it)")
        ->type_name("NAME");
    verb->add_option("--crf", options->crf, "quality in the encoder's own scale; lower is better")->type_name("N");
    verb->add_flag("--no-audio", options->hasNoAudio, "leave the sound out");
    verb->add_option("--seed", options->seed, "seed of what is random (default: the clock)")->type_name("N");
    verb->add_flag("--overwrite", options->overwrite, "replace an output that exists");
    verb->add_flag("-q,--quiet", options->isQuiet, "show no progress");
    verb->footer(
        "Examples:\n"
        "  kaltor render a.mp4 b.mp4 -o out.mp4\n"
        "  kaltor render a.mp4@5-12.5 photo.jpg b.mov@1:30- -o out.mp4 --size 1280x720 \\\n"
        "      --effect 1:EffectBlurGaussian:scale=0.02 --transition-duration 0.5");
    verb->callback([options, &action] { action = [options] { return Render(*options); }; });
}

}  // namespace Kaltor::Cli
