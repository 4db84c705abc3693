#include <cmath>
#include <cstdlib>
#include <memory>

#include "Apps/Kaltor/PictureEffect.h"
#include "Apps/Kaltor/Verbs.h"

namespace Kaltor::Cli {
namespace {

struct Options {
    std::string name;
    std::vector<std::string> inputs;
    std::string output;
    std::vector<std::string> values;
    std::optional<double> progress;
    std::string time = "0";
    std::optional<unsigned> seed;
};

int Apply(Options const& options) {
    CheckPngPath(options.output);
    std::int64_t const time = ParseTime(options.time);
    std::vector<Assignment> values;
    for (std::string const& text : options.values) {
        values.push_back(ParseAssignment(text));
    }
    if (options.progress && !std::isfinite(*options.progress)) {
        throw UsageError("--progress takes a number, as 0.5");
    }

    Catalog const catalog = Catalog::Load();
    if (options.seed) {
        std::srand(*options.seed);
    }
    CatalogEntry const& entry = catalog.Find(options.name);
    CheckInputCount(entry, "apply", options.inputs.size());
    std::unique_ptr<Proc::Settings> const settings = MakeSettings(entry.name, values);
    std::vector<Picture> const inputs = ReadInputs(entry, options.inputs);

    PictureEffect effect(catalog, entry, *settings);
    if (options.progress) {
        effect.SetProgress(*options.progress);
    }
    WriteOutput(options.output, *effect.Run(inputs, time));
    return 0;
}

}  // namespace

void AddApply(CLI::App& app, Action& action) {
    CLI::App* const verb = app.add_subcommand("apply", "Run an effect, transition or service on pictures");
    auto const options = std::make_shared<Options>();
    verb->add_option("NAME", options->name, "what to run; \"kaltor list\" shows what there is")->required();
    verb->add_option("INPUT", options->inputs, "pictures in any common format; - reads standard input")->required();
    verb->add_option("-o,--output", options->output, "the PNG file to write; - writes to standard output")
        ->required()
        ->type_name("OUT.png");
    verb->add_option("--set", options->values, "set a field; may be repeated")
        ->type_name("FIELD=VALUE")
        ->allow_extra_args(false);
    verb->add_option("--progress", options->progress, "make progress exactly this (default: from the time)")
        ->type_name("P");
    verb->add_option("--time", options->time, "the frame's time: seconds or [HH:]MM:SS (default 0)")
        ->type_name("SECONDS");
    verb->add_option("--seed", options->seed, "seed of what is random (default: the clock)")->type_name("N");
    verb->footer(
        "Examples:\n"
        "  kaltor apply EffectBlurGaussian in.png -o out.png --set scale=0.02\n"
        "  kaltor apply crossfade a.png b.png -o out.png --progress 0.5\n"
        "  kaltor apply BlurGaussian - -o - < in.png > out.png");
    verb->callback([options, &action] { action = [options] { return Apply(*options); }; });
}

}  // namespace Kaltor::Cli
