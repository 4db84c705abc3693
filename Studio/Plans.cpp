#include "Studio/Plans.h"

#include <algorithm>
#include <array>
#include <set>

#include <fmt/format.h>
#include <sys/stat.h>

#include "Core/Interfaces/Exception.h"
#include "Media/PipeSource.h"
#include "Media/Sequence.h"
#include "Proc/Effects/ShaderFiles/ShaderFile.h"
#include "Studio/RequestError.h"

namespace Kaltor::Studio {
namespace {

namespace fs = std::filesystem;

/// Plans that are kept: the page's steps back and forth, and those of several pages.
constexpr std::size_t kMostPlans = 48;
/// In messages, in place of a file's name.
constexpr char kDocumentName[] = "edit";

/// 128 bits of FNV-1a: two of 64 bits that begin differently.
class Hash {
public:
    void Add(std::string_view text) {
        for (char const c : text) {
            AddByte(static_cast<unsigned char>(c));
        }
        AddByte(0);
    }
    std::string Get() const { return fmt::format("{:016x}{:016x}", one, other); }

private:
    void AddByte(unsigned char byte) {
        constexpr std::uint64_t kPrime = 0x100000001b3;
        one = (one ^ byte) * kPrime;
        other = (other ^ byte ^ 0x5aU) * kPrime;
    }
    std::uint64_t one = 0xcbf29ce484222325;
    std::uint64_t other = 0x84222325cbf29ce4;
};

/// All texts of a document: some of them name files.
void CollectTexts(Edit::Json const& json, std::set<std::string>& texts) {
    if (json.is_string()) {
        constexpr std::size_t kLongestName = 4096;
        auto const& text = json.get_ref<std::string const&>();
        if (!text.empty() && text.size() <= kLongestName && text.find('\0') == std::string::npos) {
            texts.insert(text);
        }
    } else if (json.is_structured()) {
        for (Edit::Json const& member : json) {
            CollectTexts(member, texts);
        }
    }
}

/// A document without what cannot be heard.
Edit::Json KeepHeard(Edit::Json const& json) {
    static constexpr std::array kUnheard{"effects", "subtitles", "fit",   "anchor",   "x",      "y",
                                         "opacity", "scale",     "title", "rotation", "radius", "blend"};
    if (!json.is_object() && !json.is_array()) {
        return json;
    }
    Edit::Json heard = json.is_object() ? Edit::Json::object() : Edit::Json::array();
    if (json.is_array()) {
        for (Edit::Json const& member : json) {
            heard.push_back(KeepHeard(member));
        }
        return heard;
    }
    for (auto const& [key, member] : json.items()) {
        if (std::find(kUnheard.begin(), kUnheard.end(), key) == kUnheard.end()) {
            heard[key] = KeepHeard(member);
        }
    }
    return heard;
}

/// "edit: clips/2/file: why" is an error at "/clips/2/file".
[[noreturn]] void Refuse(std::string message) {
    static constexpr std::array kKeys{"version", "$schema",  "output",  "clips",     "joint",  "opening",
                                      "closing", "effects",  "overlays", "subtitles", "sounds", "mix"};
    std::string const prefix = fmt::format("{}: ", kDocumentName);
    if (message.starts_with(prefix)) {
        message.erase(0, prefix.size());
    }
    std::size_t const colon = message.find(": ");
    std::string const head = message.substr(0, colon);
    std::string const key = head.substr(0, head.find('/'));
    if (colon == std::string::npos || std::find(kKeys.begin(), kKeys.end(), key) == kKeys.end()) {
        throw DocumentError(message, "");
    }
    throw DocumentError(message.substr(colon + 2), "/" + head);
}

/// Runs `work`, whose faults are those of the document.
template <typename Work>
auto OfDocument(Work const& work) {
    try {
        return work();
    } catch (DocumentError const&) {
        throw;
    } catch (std::invalid_argument const& error) {
        Refuse(Core::Describe(error));
    } catch (Media::MediaError const& error) {
        Refuse(Core::Describe(error));
    }
}

}  // namespace

std::string FingerprintOf(fs::path const& file) {
    struct stat found {};
    if (::stat(file.c_str(), &found) != 0) {
        return {};
    }
    return fmt::format("{}-{}-{}.{:09}", found.st_ino, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec);
}

Plans::Plans(FileAccess const& files, bool playlists, std::uint32_t randomSeed, std::function<Host::Catalog()> load)
    : access(files), allowPlaylists(playlists), seed(randomSeed), loadCatalog(std::move(load)) {}

void Plans::RefreshCatalog() {
    bool const hasChanged = std::any_of(shaders.begin(), shaders.end(),
                                        [](auto const& file) { return FingerprintOf(file.first) != file.second; });
    if (!catalog || hasChanged) {
        // Plans that were made keep the factory of theirs, with the files as they were then.
        catalog = std::make_shared<Host::Catalog>(loadCatalog());
        shaders.clear();
    }
}

Edit::Document Plans::ReadLocked(Edit::Json const& json) {
    RefreshCatalog();
    return OfDocument([&] {
        std::set<std::string> texts;
        CollectTexts(json, texts);
        for (std::string const& text : texts) {
            if (Proc::IsShaderFile(text)) {
                std::string const file = (access.GetFolder() / text).lexically_normal().string();
                shaders.emplace(file, FingerprintOf(file));
            }
        }
        Edit::Home const home = access.GetHome();
        Edit::Document document = Edit::ReadDocument(json, *catalog, home);
        Edit::ResolvePaths(document, home);
        return document;
    });
}

Edit::Document Plans::Read(Edit::Json const& json) {
    std::lock_guard const lock(mutex);
    return ReadLocked(json);
}

void Plans::ForgetChangedFiles() {
    bool const hasChanged = std::any_of(fingerprints.begin(), fingerprints.end(),
                                        [](auto const& file) { return FingerprintOf(file.first) != file.second; });
    if (!prober || hasChanged) {
        prober = std::make_unique<Edit::Prober>(Media::InputRules{allowPlaylists});
        fingerprints.clear();
    }
}

std::shared_ptr<PlannedDocument const> Plans::Make(Edit::Json const& json) {
    std::lock_guard const lock(mutex);
    std::set<std::string> texts;
    CollectTexts(json, texts);
    Hash files;
    for (std::string const& text : texts) {
        fs::path const path = access.GetFolder() / text;
        std::string const file = FingerprintOf(Media::Sequence::IsPattern(path.string()) ? path.parent_path() : path);
        if (!file.empty()) {  // most texts are no files
            files.Add(file);
        }
    }
    constexpr auto kReplace = Edit::Json::error_handler_t::replace;
    Hash whole;
    whole.Add(json.dump(-1, ' ', false, kReplace));
    whole.Add(files.Get());
    std::string const id = whole.Get();
    auto const known = std::find_if(kept.begin(), kept.end(), [&](auto const& plan) { return plan->id == id; });
    if (known != kept.end()) {
        kept.splice(kept.begin(), kept, known);
        return kept.front();
    }
    auto planned = std::make_shared<PlannedDocument>();
    planned->id = id;
    Hash heard;
    heard.Add(KeepHeard(json).dump(-1, ' ', false, kReplace));
    heard.Add(files.Get());
    planned->soundId = heard.Get();
    planned->document = ReadLocked(json);
    planned->factory = catalog->GetFactory();
    if (!planned->document.output.seed) {
        planned->document.output.seed = seed;
    }
    auto const note = [this](std::string const& file, std::string const& place) {
        if (Media::IsPipe(file)) {
            throw DocumentError(fmt::format("{} is a pipe, which can be shown once only", file), place);
        }
        if (!file.empty()) {
            fingerprints.emplace(file, FingerprintOf(file));
        }
    };
    ForgetChangedFiles();
    for (std::size_t i = 0; i < planned->document.clips.size(); ++i) {
        note(planned->document.clips[i].source.file, fmt::format("/clips/{}/file", i));
    }
    for (std::size_t i = 0; i < planned->document.overlays.size(); ++i) {
        note(planned->document.overlays[i].source.file, fmt::format("/overlays/{}/file", i));
    }
    for (std::size_t i = 0; i < planned->document.sounds.size(); ++i) {
        note(planned->document.sounds[i].file, fmt::format("/sounds/{}/file", i));
    }
    try {
        planned->plan = OfDocument([&] {
            Edit::PlanOptions options;
            options.allowPlaylists = allowPlaylists;
            options.documentName = kDocumentName;
            options.warn = [&planned](std::string const& warning) { planned->warnings.push_back(warning); };
            options.prober = prober.get();
            return Edit::MakePlan(planned->document, options);
        });
    } catch (...) {
        prober.reset();  // what it could not look at may come back
        throw;
    }
    kept.push_front(planned);
    if (kept.size() > kMostPlans) {
        kept.pop_back();
    }
    return planned;
}

std::shared_ptr<PlannedDocument const> Plans::Find(std::string const& id) {
    std::lock_guard const lock(mutex);
    auto const known = std::find_if(kept.begin(), kept.end(), [&](auto const& plan) { return plan->id == id; });
    if (known == kept.end()) {
        return nullptr;
    }
    kept.splice(kept.begin(), kept, known);
    return kept.front();
}

}  // namespace Kaltor::Studio
