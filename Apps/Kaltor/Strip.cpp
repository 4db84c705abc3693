#include <cmath>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "Apps/Kaltor/FilmStrip.h"
#include "Apps/Kaltor/PictureEffect.h"
#include "Apps/Kaltor/Verbs.h"

namespace Kaltor::Cli {
namespace {

struct Options {
    std::string name;
    std::vector<std::string> inputs;
    std::string output;
    std::vector<std::string> values;
    unsigned steps = 5;
    std::uint32_t width = 240;
    std::optional<unsigned> seed;
};

int Strip(Options const& options) {
    CheckPngPath(options.output);
    std::vector<Assignment> values;
    for (std::string const& text : options.values) {
        values.push_back(ParseAssignment(text));
    }

    Catalog const catalog = Catalog::Load();
    if (options.seed) {
        std::srand(*options.seed);
    }
    CatalogEntry const& entry = catalog.Find(options.name);
    CheckInputCount(entry, "strip", options.inputs.size());
    std::unique_ptr<Proc::Settings> const settings = MakeSettings(entry.name, values);
    std::vector<Picture> const inputs = ReadInputs(entry, options.inputs);

    // One object for the whole strip, as for the frames of a video.
    PictureEffect effect(catalog, entry, *settings);
    std::optional<FilmStrip> strip;
    for (unsigned i = 0; i < options.steps; ++i) {
        constexpr double kSecond = 1e6;
        double const value = static_cast<double>(i) / static_cast<double>(options.steps - 1);
        effect.SetProgress(value);
        Picture const picture = effect.Run(inputs, std::llround(value * kSecond));
        if (!strip) {
            try {
                strip.emplace(options.steps, options.width, picture->GetFrameInfo());
            } catch (std::invalid_argument const& error) {
                throw UsageError(error.what());
            }
        }
        strip->Add(*picture, fmt::format("{:.3g}", value));
    }
    WriteOutput(options.output, *strip->GetPicture());
    return 0;
}

}  // namespace

void AddStrip(CLI::App& app, Action& action) {
    constexpr unsigned kFewestSteps = 2;
    constexpr unsigned kMostSteps = 200;
    constexpr unsigned kNarrowest = 48;
    constexpr unsigned kWidest = 4096;
    CLI::App* const verb = app.add_subcommand("strip", "Show an effect or transition over time as a film strip");
    auto const options = std::make_shared<Options>();
    verb->add_option("NAME", options->name, "what to show; \"kaltor list\" shows what there is")->required();
    verb->add_option("INPUT", options->inputs, "pictures in any common format; - reads standard input")->required();
    verb->add_option("-o,--output", options->output, "the PNG file to write; - writes to standard output")
        ->required()
        ->type_name("OUT.png");
    verb->add_option("--steps", options->steps, "how many pictures, from progress 0 to 1 (default 5)")
        ->check(CLI::Range(kFewestSteps, kMostSteps))
        ->type_name("N");
    verb->add_option("--width", options->width, "width of each picture in pixels (default 240)")
        ->check(CLI::Range(kNarrowest, kWidest))
        ->type_name("PX");
    verb->add_option("--set", options->values, "set a field; may be repeated")
        ->type_name("FIELD=VALUE")
        ->allow_extra_args(false);
    verb->add_option("--seed", options->seed, "seed of what is random (default: the clock)")->type_name("N");
    verb->footer(
        "Progress and time run alike, over one second. Each picture has its value below it.\n\n"
        "Example:\n"
        "  kaltor strip TransitionCrossfade a.png b.png -o strip.png --steps 6");
    verb->callback([options, &action] { action = [options] { return Strip(*options); }; });
}

}  // namespace Kaltor::Cli
