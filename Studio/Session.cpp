#include "Studio/Session.h"

#include <chrono>
#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "Edit/DocumentWriter.h"
#include "Media/PartialFile.h"
#include "Studio/Plans.h"
#include "Studio/RequestError.h"

namespace Kaltor::Studio {
namespace {

namespace fs = std::filesystem;

void Write(fs::path const& path, std::string const& text, bool overwrite) {
    Media::WriteFile(path.string(), {text.begin(), text.end()}, overwrite);
}

/// When a file was written: "2024-05-17T12:30:00Z".
std::string TimeOf(fs::path const& path) {
    std::error_code error;
    auto const written = fs::last_write_time(path, error);
    auto const system = std::chrono::system_clock::now() +
                        std::chrono::duration_cast<std::chrono::system_clock::duration>(
                            written - fs::file_time_type::clock::now());
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::chrono::system_clock::to_time_t(system)));
}

Edit::Json RevisionOf(fs::path const& path) {
    std::string const fingerprint = FingerprintOf(path);
    return fingerprint.empty() ? Edit::Json(nullptr) : Edit::Json(fingerprint);
}

}  // namespace

Session::Session(FileAccess const& files, std::string document, Edit::Json shown)
    : access(files), name(std::move(document)), initial(std::move(shown)) {}

std::string Session::GetPath() const {
    std::lock_guard const lock(mutex);
    return name;
}

fs::path Session::AutosavePath() const {
    fs::path const path = access.GetFolder() / (name.empty() ? "untitled.json" : name);
    return path.parent_path() / fmt::format(".{}.autosave.json", path.stem().string());
}

Edit::Json Session::Describe() const {
    std::lock_guard const lock(mutex);
    Edit::Json json{{"document", initial}, {"path", nullptr}, {"revision", nullptr}, {"autosave", nullptr}};
    if (!name.empty()) {
        fs::path const path = access.GetFolder() / name;
        json["path"] = name;
        json["revision"] = RevisionOf(path);
        if (!json["revision"].is_null()) {
            json["document"] = Edit::ReadJson(path.string(), true);
        }
    }
    fs::path const kept = AutosavePath();
    std::error_code error;
    if (fs::is_regular_file(fs::symlink_status(kept, error))) {
        try {
            json["autosave"] = {{"document", Edit::ReadJson(kept.string())}, {"time", TimeOf(kept)}};
        } catch (std::runtime_error const&) {
            json["autosave"] = nullptr;  // nothing that helps
        }
    }
    return json;
}

Edit::Json Session::Save(Edit::Document const& document, std::optional<std::string> const& path,
                         std::optional<std::string> const& revision, bool overwrite) {
    std::lock_guard const lock(mutex);
    std::string const wanted = path.value_or(name);
    if (wanted.empty()) {
        throw RequestError(kBadRequest, "the edit has no name yet: say under which path it is saved");
    }
    fs::path const target = access.ToWrite(wanted);
    if (target.extension() != ".json") {
        throw RequestError(kBadRequest, fmt::format("{}: the name of an edit ends in .json", wanted));
    }
    if (target.parent_path() != access.GetFolder()) {
        throw RequestError(kBadRequest, fmt::format("{}: an edit is saved in its own folder, which its media's names "
                                                    "begin from",
                                                    wanted));
    }
    std::string const present = FingerprintOf(target);
    if (!overwrite && !present.empty() && present != revision.value_or("")) {
        throw RequestError(kConflict, revision ? fmt::format("{} was changed by somebody else since it was opened",
                                                             wanted)
                                               : fmt::format("{} exists", wanted));
    }
    std::string const folder = target.parent_path().string();
    Write(target, Edit::FormatDocument(document, folder), !present.empty());
    std::error_code ignored;
    fs::remove(AutosavePath(), ignored);
    name = access.NameOf(target);
    return {{"path", name}, {"revision", RevisionOf(target)}};
}

void Session::Autosave(Edit::Json const& document) {
    std::lock_guard const lock(mutex);
    fs::path const path = AutosavePath();
    std::error_code error;
    fs::file_status const status = fs::symlink_status(path, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw RequestError(kConflict, fmt::format("{} is not a plain file", path.filename().string()));
    }
    Write(path, document.dump(2, ' ', false, Edit::Json::error_handler_t::replace) + "\n", true);
}

void Session::DiscardAutosave() {
    std::lock_guard const lock(mutex);
    std::error_code ignored;
    fs::remove(AutosavePath(), ignored);
}

}  // namespace Kaltor::Studio
