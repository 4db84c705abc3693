#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/EditCommand.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/List.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/RenderOptions.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Environment.h"
#include "Edit/DocumentWriter.h"
#ifdef KALTOR_HAS_STUDIO
#include "Apps/Kaltor/Gallery/Preview.h"
#include "Apps/Kaltor/Gallery/Scenes.h"
#include "Apps/Kaltor/PictureEffect.h"
#include "Apps/Kaltor/Studio/Page.h"
#include "Media/MediaError.h"
#include "Media/Picture.h"
#include "Render/Isolation/Worker.h"
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
    if (Core::GetVariable("DISPLAY").empty() && Core::GetVariable("WAYLAND_DISPLAY").empty()) {
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

/// Small pictures of an entry in motion on the gallery's scenes, side by side.
std::vector<std::uint8_t> DrawCard(CatalogEntry const& entry, Proc::IEffectFactory const& factory,
                                   std::function<void()> const& pause) {
    constexpr std::int64_t kLoopMicroseconds = std::int64_t{kLoopSeconds} * 1'000'000;
    Conf::FrameInfo const size{Studio::kCardWidth, Studio::kCardHeight, 1, 1};
    std::optional<Host::PictureEffect> effect;
    if (Host::HasAllDefaults(entry)) {
        effect.emplace(factory, entry.name, entry.isTwoInput, *MakeSettings(entry, ValuesOf(entry.name, size)));
        effect->SetSeed(1);
        effect->FitInto(size.width, size.height);
    }
    Picture const row = Proc::DataVideoFF::Create(PixFmt::Rgb24, {size.width * Studio::kCardFrames, size.height, 1, 1});
    AVFrame& whole = row->GetWritableFrame();
    for (int i = 0; i < Studio::kCardFrames; ++i) {
        pause();
        double const phase = static_cast<double>(i) / Studio::kCardFrames;
        Scene const first = !entry.isTwoInput && IsOnSecond(entry.name) ? Scene::Beach : Scene::Lake;
        std::vector<Picture> inputs{DrawScene(first, size, phase)};
        if (entry.isTwoInput) {
            inputs.push_back(DrawScene(Scene::Beach, size, phase));
        }
        Picture picture = inputs.front();
        if (effect) {
            effect->SetProgress(static_cast<double>(i) / (Studio::kCardFrames - 1));
            picture = effect->Run(inputs, kLoopMicroseconds * i / Studio::kCardFrames);
        }
        constexpr int kRgb = 3;
        AVFrame const& drawn = picture->GetFrame();
        int const bytes = picture->GetPixFmt() == PixFmt::Rgba ? 4 : kRgb;
        for (int y = 0; y < drawn.height; ++y) {
            std::uint8_t const* from = drawn.data[0] + std::ptrdiff_t{y} * drawn.linesize[0];
            std::uint8_t* to =
                whole.data[0] + std::ptrdiff_t{y} * whole.linesize[0] + std::ptrdiff_t{i} * kRgb * drawn.width;
            for (int x = 0; x < drawn.width; ++x, from += bytes, to += kRgb) {
                for (int c = 0; c < kRgb; ++c) {
                    to[c] = bytes == kRgb ? from[c] : static_cast<std::uint8_t>(from[c] * from[kRgb] / 255);
                }
            }
        }
    }
    return Media::EncodeJpeg(*row);
}

/// What the process that serves and draws says to the one that the user has started, and the other way round.
enum StudioMessage : std::uint32_t {
    kServes,  ///< its port
    kHung,    ///< a shader file's program that it dies of
    kEnded,   ///< a page has asked for it
    kEnd,     ///< the user has
};

/// What outlives such a process.
struct StudioPlace {
    std::uint16_t port = 0;
    std::string token = Studio::MakeToken();
    std::set<std::string> hung;  ///< programs of shader files
};

/// Serves until a page or the other process asks for the end.
void Serve(StudioOptions const& options, StudioPlace const& place, Render::WorkerSide& side) {
    constexpr std::chrono::milliseconds kPoll(100);
    Render::Channel& channel = side.GetChannel();
    std::atomic<bool> isStopped{false};
    std::jthread const watcher([&](std::stop_token const& stop) {
        while (!stop.stop_requested()) {
            side.Beat();
            isStopped = isStopped || channel.Wait(kPoll);
            if (isStopped) {
                std::this_thread::sleep_for(kPoll);
            }
        }
    });
    HungShaders hung;
    hung.programs = place.hung;
    hung.note = [&channel](std::string const& program) { channel.Send(kHung, program.data(), program.size()); };
    Studio::Options studio;
    ChooseDocument(options, LoadCatalog(), studio);
    studio.isTrusted = options.isTrusted;
    studio.allowPlaylists = options.allowPlaylists;
    studio.port = place.port;
    studio.token = place.token;
    studio.exitsWithPage = options.exitsWithPage;
    studio.version = KALTOR_VERSION;
    std::vector<Studio::PageFile> page;
    for (auto const& [name, content] : Assets::kStudioPage) {
        page.push_back({name, content});
    }
    studio.page = page;
    studio.loadCatalog = [hung] { return LoadCatalog(hung); };
    studio.describeEntry = &DescribeEntry;
    studio.drawCard = &DrawCard;
    studio.writeCommand = &WriteCommand;
    {
        Studio::Server server(std::move(studio));
        channel.Send(kServes, server.GetPort());
        server.Run(isStopped);
    }
    channel.Send(kEnded, nullptr, 0);  // now that exports are cleared up, too
}

/// Shows what the process says until it ends. Throws `Render::WorkerDied` where it does so by itself.
void Follow(Render::Worker& worker, StudioPlace& place, std::function<void(std::uint16_t port)> const& onServing,
            std::atomic<bool> const& cancel) {
    constexpr std::chrono::minutes kLongestFrame(5);  // shader files have a limit of their own
    constexpr std::chrono::seconds kLongestEnd(5);
    std::optional<std::chrono::steady_clock::time_point> end;
    for (;;) {
        Render::Message message;
        try {
            message = worker.Receive(kLongestFrame, [&] {
                auto const now = std::chrono::steady_clock::now();
                if (cancel && !end) {
                    end = now + kLongestEnd;
                    worker.GetChannel().Send(kEnd, nullptr, 0);
                }
                return end && now > *end;
            });
        } catch (Media::Cancelled const&) {
            return;  // it does not even end: the worker's destructor sees to that
        } catch (Render::WorkerDied const&) {
            if (end) {
                return;
            }
            throw;
        }
        switch (message.kind) {
            case kServes:
                onServing(message.As<std::uint16_t>());
                break;
            case kHung:
                place.hung.emplace(message.content.begin(), message.content.end());
                break;
            default:
                return;
        }
    }
}

/// Pages are served, and frames drawn, by a process of its own. Where that one dies, of a shader file whose loop never
/// ends or of a driver's fault, the next one takes its address over, and open pages go on.
int RunStudio(StudioOptions const& options) {
    constexpr std::chrono::seconds kShortLife(10);
    constexpr int kMostShortLives = 3;
    std::atomic<bool> const& cancel = CatchInterrupts();
    StudioPlace place;
    place.port = options.port;
    bool isKnown = false;
    for (int shortLives = 0;;) {
        std::size_t const hungBefore = place.hung.size();
        Render::Worker worker([&](Render::WorkerSide& side) { Serve(options, place, side); });
        std::optional<std::chrono::steady_clock::time_point> begin;
        auto const onServing = [&](std::uint16_t port) {
            begin = std::chrono::steady_clock::now();
            place.port = port;
            if (std::exchange(isKnown, true)) {
                return;
            }
            std::string const address = Studio::FormatAddress(port, place.token);
            WriteOut(address + "\n");
            if (!options.hasNoBrowser) {
                OpenBrowser(address);
            }
        };
        try {
            Follow(worker, place, onServing, cancel);
            return 0;
        } catch (Render::WorkerDied const& error) {
            bool const isShort = !begin || std::chrono::steady_clock::now() - *begin < kShortLife;
            shortLives = isShort ? shortLives + 1 : 0;
            if (!begin || shortLives > kMostShortLives) {
                throw;
            }
            std::string const cause = place.hung.size() > hungBefore
                                          ? "the process that draws was stopped by a shader file that does not end"
                                          : error.what();
            WriteError(fmt::format("warning: {}; another one takes over, and open pages go on", cause));
        }
    }
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
    verb.AddText("--size", options->size, "of a new edit's video (default: the first clip's)").ShowValueAs("WxH");
    verb.AddText("--fps", options->rate, "of a new edit's video (default: those of the first video)")
        .ShowValueAs("RATE");
    AddNumber<std::uint16_t>(verb, "--port", options->port, "of the address (default: one that is free)", {1, 65535})
        .ShowValueAs("N");
    verb.AddFlag("--no-browser", options->hasNoBrowser,
                 "only print the address; otherwise a browser opens it where there is a display");
    verb.AddFlag("--exit-with-page", options->exitsWithPage,
                 "end 15 seconds after the last page was closed, once its exports are done");
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
