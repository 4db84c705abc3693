#include <memory>

#include "Apps/Kaltor/FileWatch.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/PictureEffect.h"
#include "Apps/Kaltor/Specs.h"
#include "Apps/Kaltor/Verbs.h"

namespace Kaltor::Cli {
namespace {

struct ApplyOptions : PictureOptions {
    std::optional<double> progress;
    std::string time = "0";
};

int Apply(ApplyOptions const& options) {
    std::int64_t const time = ParseTime(options.time);
    return DrawAndWatch(options, [&] {
        PictureJob job = MakePictureJob(options, "apply");
        if (options.progress) {
            job.effect.SetProgress(*options.progress);
        }
        return MakeFile(options.output, *job.effect.Run(job.inputs, time));
    });
}

}  // namespace

void AddApply(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("apply", "Run an effect, transition or service on pictures");
    auto const options = std::make_shared<ApplyOptions>();
    options->AddTo(verb);
    AddNumber<double>(verb, "--progress", options->progress,
                      "set progress to exactly this (default: it follows from the time)")
        .ShowValueAs("P");
    verb.AddText("--time", options->time, "the frame's time: seconds or [HH:]MM:SS (default 0)").ShowValueAs("SECONDS");
    verb.SetFooter(
        "Examples:\n"
        "  kaltor apply EffectBlurGaussian in.png -o out.png --set scale=0.02\n"
        "  kaltor apply crossfade a.png b.png -o out.png --progress 0.5\n"
        "  kaltor apply BlurGaussian - -o - < in.png > out.png");
    verb.SetAction([options] { return Apply(*options); });
}

}  // namespace Kaltor::Cli
