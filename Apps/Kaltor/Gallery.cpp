#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <boost/algorithm/string/replace.hpp>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Gallery/Assets.h"
#include "Apps/Kaltor/Gallery/Page.h"
#include "Apps/Kaltor/Gallery/Preview.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Interfaces/Exception.h"
#include "Core/PlainFile.h"
#include "Media/MediaError.h"
#include "Media/PartialFile.h"
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
    constexpr std::size_t kMostBytes = std::size_t{64} << 20U;
    try {
        return Core::ReadPlainFile((folder / kPage).string(), kMostBytes).find(kGeneratorMark) != std::string::npos;
    } catch (Core::FileFault const&) {
        return false;
    }
}

/// A folder that nobody else may take for abandoned while this exists.
class FolderLock {
public:
    explicit FolderLock(fs::path const& path)
        : folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)),
          isHeld(folder >= 0 && ::flock(folder, LOCK_EX | LOCK_NB) == 0) {}
    ~FolderLock() {
        if (folder >= 0) {
            ::close(folder);
        }
    }
    FolderLock(FolderLock const&) = delete;
    FolderLock& operator=(FolderLock const&) = delete;

    bool IsHeld() const { return isHeld; }

private:
    int folder;
    bool isHeld;
};

fs::path GetTarget(std::string const& folder) {
    return (fs::absolute(folder) / "").lexically_normal().parent_path();
}

/// A folder that grows under a hidden name beside the one that it is to have. Unless `Commit` succeeds, the destructor
/// removes it; what a killed run left is removed by the next one to the same name.
class PartialFolder {
public:
    /// Only an empty folder is replaced, and with `overwrite` another gallery.
    PartialFolder(std::string path, bool overwrite)
        : given(std::move(path)),
          mayReplace(overwrite),
          target(GetTarget(given)),
          partial(target.parent_path() / Media::MakePartialName(target.filename().string())) {
        CheckTarget();
        Sweep();
        std::error_code error;
        if (!fs::create_directory(partial, error)) {
            throw std::runtime_error(fmt::format("{}: cannot be made ({})", given, error.message()));
        }
        lock.emplace(partial);
    }
    ~PartialFolder() {
        std::error_code ignored;
        fs::remove_all(partial, ignored);
    }
    PartialFolder(PartialFolder const&) = delete;
    PartialFolder& operator=(PartialFolder const&) = delete;

    fs::path const& GetPath() const { return partial; }

    void Commit() {
        std::error_code error;
        fs::rename(partial, target, error);  // onto nothing, or an empty folder
        if (!error) {
            return;
        }
        CheckTarget();  // somebody else may have made something there meanwhile
        // The two change places, so that there is a gallery under the name at any time. The destructor removes the old.
        if (::renameat2(AT_FDCWD, partial.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) {
            return;
        }
        // The file system cannot do that.
        fs::path old = partial;
        old += ".old";
        bool const isReplacing = fs::exists(target);
        if (isReplacing) {
            fs::rename(target, old);
        }
        fs::rename(partial, target, error);
        if (error) {
            std::error_code ignored;
            fs::rename(old, target, ignored);
            throw std::runtime_error(fmt::format("{}: cannot be made ({})", target.string(), error.message()));
        }
        if (isReplacing) {
            fs::remove_all(old);
        }
    }

private:
    void CheckTarget() const {
        if (!fs::exists(target) || (fs::is_directory(target) && fs::is_empty(target))) {
            return;
        }
        if (!fs::is_directory(target) || !IsGallery(target)) {
            throw std::runtime_error(fmt::format("{} exists and is no gallery; give the name of a new folder", given));
        }
        if (!mayReplace) {
            throw std::runtime_error(fmt::format("{} exists; --overwrite replaces it", given));
        }
    }

    void Sweep() const {
        std::error_code error;
        for (fs::directory_iterator entry(target.parent_path(), error), end; !error && entry != end;
             entry.increment(error)) {
            bool const isOurs = Media::IsPartialName(entry->path().filename().string(), target.filename().string());
            if (isOurs && FolderLock(entry->path()).IsHeld()) {
                std::error_code failure;
                fs::remove_all(entry->path(), failure);
                WriteError(fmt::format("warning: removed {}, which a run that was killed left behind",
                                       entry->path().string()));
            }
        }
    }

    std::string given;
    bool mayReplace;
    fs::path target;
    fs::path partial;
    std::optional<FolderLock> lock;
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
    Catalog const catalog = LoadCatalog(HangGuard::On, GetTarget(options.folder).string());
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
    } catch (std::runtime_error const& error) {
        // The hidden name means nothing to anybody, and is gone.
        throw std::runtime_error(boost::replace_all_copy(Core::Describe(error), folder.GetPath().string(),
                                                         fs::path(options.folder).lexically_normal().string()));
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
