#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include <fmt/format.h>
#include <unistd.h>

#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Gallery/Assets.h"
#include "Apps/Kaltor/Gallery/Page.h"
#include "Apps/Kaltor/Gallery/Preview.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Interfaces/Exception.h"
#include "Media/MediaError.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Cli {
namespace {

namespace fs = std::filesystem;

struct GalleryOptions {
    std::string folder;
    std::vector<std::string> inputs;
    std::string size = "480x270";
    std::vector<std::string> names;
    bool overwrite = false;
    bool isQuiet = false;
};

constexpr char const* kPage = "index.html";

bool IsGallery(fs::path const& folder) {
    std::ostringstream text;
    text << std::ifstream(folder / kPage).rdbuf();
    return text.str().find(kGeneratorMark) != std::string::npos;
}

/// A folder that grows under a hidden name beside the one that it is to have. Unless `Commit` succeeds, the destructor
/// removes it.
class PartialFolder {
public:
    /// Only an empty folder is replaced, and with `overwrite` another gallery.
    PartialFolder(std::string const& path, bool overwrite)
        : target((fs::absolute(path) / "").lexically_normal().parent_path()),
          partial(target.parent_path() / fmt::format(".{}.{}.partial", target.filename().string(), ::getpid())) {
        if (fs::exists(target) && !(fs::is_directory(target) && fs::is_empty(target))) {
            if (!fs::is_directory(target) || !IsGallery(target)) {
                throw std::runtime_error(
                    fmt::format("{} exists and is no gallery; give the name of a new folder", path));
            }
            if (!overwrite) {
                throw std::runtime_error(fmt::format("{} exists; --overwrite replaces it", path));
            }
        }
        std::error_code error;
        if (!fs::create_directory(partial, error)) {
            throw std::runtime_error(fmt::format("{}: cannot be made ({})", path, error.message()));
        }
    }
    ~PartialFolder() {
        std::error_code ignored;
        fs::remove_all(partial, ignored);
    }
    PartialFolder(PartialFolder const&) = delete;
    PartialFolder& operator=(PartialFolder const&) = delete;

    fs::path const& GetPath() const { return partial; }

    void Commit() {
        fs::path old = partial;
        old += ".old";
        bool const isReplacing = fs::exists(target);
        if (isReplacing) {
            fs::rename(target, old);
        }
        fs::rename(partial, target);
        if (isReplacing) {
            fs::remove_all(old);
        }
    }

private:
    fs::path target;
    fs::path partial;
};

Conf::FrameInfo ReadSize(std::string const& text) {
    Size const size = ParseSize(text);
    auto const limit = static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    constexpr std::uint32_t kSmallest = 16;
    bool const isEven = size.width % 2 == 0 && size.height % 2 == 0;
    if (!isEven || std::min(size.width, size.height) < kSmallest || std::max(size.width, size.height) > limit) {
        throw UsageError(fmt::format("\"{}\" is not accepted for --size: both numbers must be even, from {} to {}",
                                     text, kSmallest, limit));
    }
    return {size.width, size.height, 1, 1};
}

std::vector<CatalogEntry> Choose(Catalog const& catalog, std::vector<std::string> const& names) {
    if (names.empty()) {
        std::vector<CatalogEntry> all = catalog.GetEntries();
        std::erase_if(all, [](CatalogEntry const& entry) { return !Host::HasAllDefaults(entry); });
        return all;
    }
    std::vector<CatalogEntry> chosen;
    for (std::string const& name : names) {
        chosen.push_back(catalog.Find(name));
    }
    return chosen;
}

int Gallery(GalleryOptions const& options) {
    if (options.inputs.size() > 2) {
        throw UsageError("--input takes two clips at most: the first and the second");
    }
    Catalog const catalog = LoadCatalog();
    std::vector<CatalogEntry> const entries = Choose(catalog, options.names);
    Conf::FrameInfo const size = ReadSize(options.size);
    std::vector<std::string> inputs = options.inputs;
    inputs.resize(2);

    std::atomic<bool> const& cancel = CatchInterrupts();
    PartialFolder folder(options.folder, options.overwrite);
    ProgressBar bar(!options.isQuiet, "previews");
    try {
        bar.Show(0, static_cast<std::int64_t>(entries.size()));
        MakeSources(folder.GetPath(), {inputs[0], inputs[1], size}, cancel);
        std::vector<GalleryItem> items;
        for (CatalogEntry const& entry : entries) {
            try {
                items.push_back({entry, MakePreview(folder.GetPath(), catalog, entry, size, cancel)});
            } catch (Media::Cancelled const&) {
                throw;
            } catch (std::exception const& error) {
                throw std::runtime_error(fmt::format("{}: {}", entry.name, Core::Describe(error)));
            }
            bar.Show(static_cast<std::int64_t>(items.size()), static_cast<std::int64_t>(entries.size()));
        }
        WriteFile((folder.GetPath() / "gallery.css").string(), Assets::kGalleryCss);
        WriteFile((folder.GetPath() / "gallery.js").string(), Assets::kGalleryJs);
        WriteFile((folder.GetPath() / kPage).string(), MakePage(items, size));
        folder.Commit();
    } catch (Media::Cancelled const&) {
        bar.Clear();
        return ReportInterrupt();
    }
    bar.Clear();
    if (bar.IsShown()) {
        WriteMessage(fmt::format("{}: {} previews; open it in a browser\n",
                                 MakePrintable((fs::path(options.folder) / kPage).string()), entries.size()));
    }
    return 0;
}

}  // namespace

void AddGallery(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("gallery", "Make a page that shows effects and transitions in motion");
    auto const options = std::make_shared<GalleryOptions>();
    verb.AddText("OUTDIR", options->folder, "the folder to make; its index.html needs no server and no network")
        .Require();
    verb.AddTexts("--input", options->inputs,
                  "what to show them on, videos or pictures: once for the first clip, again for the second one "
                  "(default: two scenes of its own)")
        .ShowValueAs("CLIP")
        .TakeOneAtATime();
    verb.AddText("--size", options->size, "of the previews, even numbers (default 480x270)").ShowValueAs("WxH");
    verb.AddTexts("--only", options->names, "only these; \"kaltor list\" shows what there is").ShowValueAs("NAME...");
    verb.AddFlag("--overwrite", options->overwrite, "replace a gallery that exists");
    verb.AddFlag("-q,--quiet", options->isQuiet, "show no progress");
    verb.SetFooter(
        "Examples:\n"
        "  kaltor gallery gallery\n"
        "  kaltor gallery gallery --input a.mp4 --input b.mp4 --only Crossfade Pageturn BlurGaussian");
    verb.SetAction([options] { return Gallery(*options); });
}

}  // namespace Kaltor::Cli
