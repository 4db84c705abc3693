#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/RenderOptions.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Text.h"
#include "Edit/Convert/Otio.h"
#include "Edit/DocumentWriter.h"
#include "Media/PartialFile.h"

namespace Kaltor::Cli {
namespace {

struct ConvertOptions : TrustOptions {
    std::string input;
    std::string output;
    bool overwrite = false;
};

int Convert(ConvertOptions const& options) {
    std::string const ending = Core::ToLower(std::filesystem::path(options.output).extension().string());
    if (ending != ".json" && ending != ".otio") {
        throw UsageError(fmt::format("{}: convert writes an edit (.json) or a timeline (.otio)", options.output));
    }
    if (!options.overwrite) {
        RequireFreeName(options.output);
    }
    auto const warn = [](std::string const& message) { WriteError("warning: " + message); };
    Catalog const catalog = LoadCatalog();
    Edit::Document const document = ReadDocument(options.input, catalog, options);
    std::string const folder = std::filesystem::absolute(options.output).parent_path().string();
    std::string text;
    if (ending == ".json") {
        text = Edit::FormatDocument(document, folder);
    } else {
        Edit::PlanOptions plan;
        plan.allowPlaylists = options.allowPlaylists;
        plan.documentName = options.input;
        plan.cancel = &CatchInterrupts();
        plan.warn = warn;
        text = Edit::WriteOtio(document, folder, plan).dump(4, ' ', false, Edit::Json::error_handler_t::replace) + "\n";
    }
    Media::WriteFile(options.output, {text.begin(), text.end()}, options.overwrite, warn);
    return 0;
}

}  // namespace

void AddConvert(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("convert", "Make an edit of another program's timeline, or the other way round");
    auto const options = std::make_shared<ConvertOptions>();
    verb.AddText("IN", options->input,
                 "an edit (.json), a timeline of OpenTimelineIO (.otio) or an editly document (.json, .json5)")
        .Require();
    verb.AddText("OUT", options->output, "the file to write: an edit (.json) or a timeline (.otio)").Require();
    AddTrustOptions(verb, *options);
    verb.AddFlag("-y,--overwrite", options->overwrite, "replace an output that exists");
    verb.SetFooter(
        "Examples:\n"
        "  kaltor convert timeline.otio edit2.json\n"
        "  kaltor convert edit.json timeline2.otio");
    verb.SetAction([options] { return Convert(*options); });
}

}  // namespace Kaltor::Cli
