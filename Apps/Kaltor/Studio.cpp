#include <cstdlib>
#include <filesystem>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>

#include <fmt/format.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/List.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/RenderOptions.h"
#include "Apps/Kaltor/Verbs.h"
#include "Edit/DocumentWriter.h"
#ifdef KALTOR_HAS_STUDIO
#include "Apps/Kaltor/Studio/Page.h"
#include "Studio/Server.h"
#endif

namespace Kaltor::Cli {
namespace {

struct StudioOptions : DocumentOptions {
    std::uint16_t port = 0;
    bool hasNoBrowser = false;
    bool exitsWithPage = false;
};

#ifdef KALTOR_HAS_STUDIO

namespace fs = std::filesystem;

/// Shows an address in the user's browser, where there is a display. It is no fault where that fails.
void OpenBrowser(std::string const& address) {
    if (std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr) {
        return;
    }
    std::string program = "xdg-open";
    std::string argument = address;
    char* const words[]{program.data(), argument.data(), nullptr};
    pid_t process = 0;
    if (posix_spawnp(&process, program.c_str(), nullptr, nullptr, words, environ) == 0) {
        ::waitpid(process, nullptr, 0);  // it hands the address on
    }
}

bool IsBelow(fs::path const& path, fs::path const& folder) {
    fs::path const inside = fs::weakly_canonical(path).lexically_relative(fs::weakly_canonical(folder));
    return !inside.empty() && *inside.begin() != "..";
}

/// What the studio begins with: an edit's file, or the edit that clips mean.
void ChooseDocument(StudioOptions const& options, Catalog const& catalog, Studio::Options& studio) {
    fs::path const here = fs::current_path();
    studio.folder = here.string();
    if (options.clips.empty()) {
        studio.initial = {{"version", Edit::Document::kVersion}, {"clips", Edit::Json::array()}};
        return;
    }
    fs::path const first = options.clips.front();
    if (options.clips.size() == 1 && first.extension() == ".json") {
        fs::path const folder = fs::absolute(first).parent_path();
        studio.folder = folder.string();
        if (!fs::exists(first)) {
            studio.document = first.filename().string();
            studio.initial = {{"version", Edit::Document::kVersion}, {"clips", Edit::Json::array()}};
            return;
        }
        if (Edit::ReadJson(first.string(), true).contains("version")) {
            studio.document = first.filename().string();
            return;
        }
    }
    Edit::Document const document = MakeDocument(options, catalog);
    std::vector<std::string> files;
    for (Edit::Clip const& clip : document.clips) {
        if (!clip.source.file.empty()) {
            files.push_back(clip.source.file);
        }
    }
    bool const areHere = std::all_of(files.begin(), files.end(), [&](auto const& file) { return IsBelow(file, here); });
    if (!areHere && !files.empty()) {
        studio.folder = fs::absolute(files.front()).parent_path().string();
    }
    studio.named = files;
    studio.initial = Edit::ParseJson(Edit::FormatDocument(document, studio.folder), "the edit");
}

int RunStudio(StudioOptions const& options) {
    std::atomic<bool> const& cancel = CatchInterrupts();
    Studio::Options studio;
    ChooseDocument(options, LoadCatalog(), studio);
    studio.isTrusted = options.isTrusted;
    studio.allowPlaylists = options.allowPlaylists;
    studio.port = options.port;
    studio.exitsWithPage = options.exitsWithPage;
    studio.version = KALTOR_VERSION;
    std::vector<Studio::PageFile> page;
    for (auto const& [name, content] : Assets::kStudioPage) {
        page.push_back({name, content});
    }
    studio.page = page;
    studio.loadCatalog = [] { return LoadCatalog(); };
    studio.describeEntry = &DescribeEntry;
    Studio::Server server(std::move(studio));
    WriteOut(fmt::format("{}\n", server.GetAddress()));
    if (!options.hasNoBrowser) {
        OpenBrowser(server.GetAddress());
    }
    server.Run(cancel);
    return 0;
}

#else

int RunStudio(StudioOptions const&) {
    throw std::runtime_error("this program was built without the studio: cpp-httplib was not there");
}

#endif

}  // namespace

void AddStudio(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("studio", "See and set an edit in a browser");
    auto const options = std::make_shared<StudioOptions>();
    verb.AddTexts("CLIP", options->clips, "one document (EDIT.json), or the clips that a new one begins with");
    AddNumber<std::uint16_t>(verb, "--port", options->port, "of the address (default: one that is free)", {1, 65535})
        .ShowValueAs("N");
    verb.AddFlag("--no-browser", options->hasNoBrowser, "only print the address; otherwise a browser opens it where "
                                                        "there is a display");
    verb.AddFlag("--exit-with-page", options->exitsWithPage, "end 15 seconds after the last page was closed");
    AddTrustOptions(verb, *options);
    verb.SetFooter(
        "The page is served to this machine only, at an address that nobody can guess. Ctrl-C ends it.\n\n"
        "Examples:\n"
        "  kaltor studio edit.json\n"
        "  kaltor studio a.mp4 b.mp4 photo.jpg\n"
        "  kaltor studio edit.json --no-browser --port 8080");
    verb.SetAction([options] { return RunStudio(*options); });
}

}  // namespace Kaltor::Cli
