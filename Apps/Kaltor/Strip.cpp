#include <cmath>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "Apps/Kaltor/FileWatch.h"
#include "Apps/Kaltor/FilmStrip.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/PictureEffect.h"
#include "Apps/Kaltor/Verbs.h"

namespace Kaltor::Cli {
namespace {

struct StripOptions : PictureOptions {
    unsigned steps = 5;
    std::uint32_t width = 240;
};

std::vector<std::uint8_t> DrawStrip(StripOptions const& options) {
    PictureJob job = MakePictureJob(options, "strip");
    // One object for the whole strip, as for the frames of a video.
    std::optional<FilmStrip> strip;
    for (unsigned i = 0; i < options.steps; ++i) {
        constexpr double kSecond = 1e6;
        double const value = static_cast<double>(i) / static_cast<double>(options.steps - 1);
        job.effect.SetProgress(value);
        Picture const picture = job.effect.Run(job.inputs, std::llround(value * kSecond));
        if (!strip) {
            try {
                strip.emplace(options.steps, options.width, picture->GetFrameInfo(),
                              PixFmtDescription::Find(picture->GetPixFmt()).IsFloat());
            } catch (std::invalid_argument const& error) {
                throw UsageError(error.what());
            }
        }
        strip->Add(*picture, fmt::format("{:.3g}", value));
    }
    return MakeFile(options.output, *strip->GetPicture());
}

}  // namespace

void AddStrip(CommandLine& commandLine) {
    constexpr NumberRange<unsigned> kSteps{2, 200};
    constexpr NumberRange<std::uint32_t> kWidths{48, 4096};
    Verb verb = commandLine.AddVerb("strip", "Show an effect or transition over time as a film strip");
    auto const options = std::make_shared<StripOptions>();
    options->AddTo(verb);
    AddNumber<unsigned>(
        verb, "--steps", options->steps,
        fmt::format("how many pictures, {} to {}, from progress 0 to 1 (default 5)", kSteps.least, kSteps.most), kSteps)
        .ShowValueAs("N");
    AddNumber<std::uint32_t>(
        verb, "--width", options->width,
        fmt::format("width of each picture in pixels, {} to {} (default 240)", kWidths.least, kWidths.most), kWidths)
        .ShowValueAs("PX");
    verb.SetFooter(
        "Progress and time run alike, over one second. Each picture has its value below it.\n\n"
        "Example:\n"
        "  kaltor strip TransitionCrossfade a.png b.png -o strip.png --steps 6");
    verb.SetAction([options] { return DrawAndWatch(*options, [&] { return DrawStrip(*options); }); });
}

}  // namespace Kaltor::Cli
