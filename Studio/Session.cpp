#include "Studio/Session.h"

#include <cerrno>
#include <chrono>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "Edit/DocumentWriter.h"
#include "Media/MediaError.h"
#include "Media/PartialFile.h"
#include "Studio/Plans.h"
#include "Studio/RequestError.h"

namespace Kaltor::Studio {
namespace {

namespace fs = std::filesystem;

constexpr int kMostCopies = 20;

void Write(fs::path const& path, std::string const& text, bool overwrite) {
    Media::WriteFile(path.string(), {text.begin(), text.end()}, overwrite);
}

/// When a file was written: "2024-05-17T12:30:00Z".
std::string TimeOf(fs::path const& path) {
    std::error_code error;
    auto const written = fs::last_write_time(path, error);
    auto const system =
        std::chrono::system_clock::now() +
        std::chrono::duration_cast<std::chrono::system_clock::duration>(written - fs::file_time_type::clock::now());
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::chrono::system_clock::to_time_t(system)));
}

/// The file of an edit's copy.
std::string CopyName(std::string const& edit, int number) {
    return fmt::format(".{}.autosave{}.json", fs::path(edit.empty() ? "untitled.json" : edit).stem().string(),
                       number == 1 ? "" : fmt::format("-{}", number));
}

bool IsCopyName(std::string const& file) {
    return file.starts_with('.') && file.ends_with(".json") && file.find(".autosave") != std::string::npos &&
           file.find('/') == std::string::npos;
}

bool IsPlainFile(fs::path const& path) {
    std::error_code error;
    return fs::is_regular_file(fs::symlink_status(path, error));
}

int OpenToLock(fs::path const& file) {
    return ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
}

/// Whether somebody has a lock on a file.
bool IsLocked(fs::path const& file) {
    int const descriptor = OpenToLock(file);
    if (descriptor < 0) {
        return false;
    }
    bool const isLocked = ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(descriptor);
    return isLocked;
}

Edit::Json RevisionOf(fs::path const& path) {
    std::string const fingerprint = FingerprintOf(path);
    return fingerprint.empty() ? Edit::Json(nullptr) : Edit::Json(fingerprint);
}

}  // namespace

Session::Lock::Lock(fs::path const& file) : descriptor(OpenToLock(file)) {
    Take();
}

void Session::Lock::Take() const {
    if (descriptor >= 0) {
        ::flock(descriptor, LOCK_SH | LOCK_NB);  // without it, other studios do not know
    }
}

Session::Lock::~Lock() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

Session::Lock::Lock(Lock&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}

Session::Lock& Session::Lock::operator=(Lock&& other) noexcept {
    std::swap(descriptor, other.descriptor);
    return *this;
}

Session::Session(FileAccess const& files, std::string document, Edit::Json shown)
    : access(files), name(std::move(document)), initial(std::move(shown)) {}

std::string Session::GetPath() const {
    std::lock_guard const lock(mutex);
    return name;
}

/// The file of an edit that a page names.
fs::path Session::Target(std::string const& wanted) const {
    fs::path target = access.ToWrite(wanted);
    if (target.extension() != ".json") {
        throw RequestError(kBadRequest, fmt::format("{}: the name of an edit ends in .json", wanted));
    }
    if (target.parent_path() != access.GetFolder()) {
        throw RequestError(kBadRequest, fmt::format("{}: an edit is saved in its own folder, which its media's names "
                                                    "begin from",
                                                    wanted));
    }
    return target;
}

std::string Session::MarkOf(std::string const& file) const {
    return fmt::format("{}|{}", file, FingerprintOf(At(file)));
}

std::string Session::Recognise(std::string const& mark) const {
    std::string file = mark.substr(0, mark.rfind('|'));
    return IsCopyName(file) && IsPlainFile(At(file)) && MarkOf(file) == mark ? file : std::string();
}

bool Session::IsKeptElsewhere(std::string const& file, std::string const& page) const {
    auto const found = kept.find(file);
    return found != kept.end() ? found->second.page != page : IsLocked(At(file));
}

void Session::Hold(std::string const& file, std::string const& page) {
    std::erase_if(kept, [&](auto const& copy) { return copy.first == file || copy.second.page == page; });
    if (!page.empty()) {
        kept.emplace(file, KeptCopy{page, Lock(At(file))});
    }
}

bool Session::Keep(std::string const& copy, std::string const& page) {
    std::lock_guard const lock(mutex);
    std::string const file = Recognise(copy);
    if (file.empty() || IsKeptElsewhere(file, page)) {
        return false;
    }
    if (auto const found = kept.find(file); found != kept.end()) {
        found->second.lock.Take();  // another studio that looks for locks has one itself, for a moment
    } else {
        Hold(file, page);
    }
    return true;
}

void Session::Release(std::function<bool(std::string const& page)> const& isOpen) {
    std::lock_guard const lock(mutex);
    std::erase_if(kept, [&isOpen](auto const& copy) { return !isOpen(copy.second.page); });
}

void Session::RemoveCopy(std::string const& mark, std::string const& page) {
    std::string const file = Recognise(mark);
    if (!file.empty() && !IsKeptElsewhere(file, page)) {
        std::error_code ignored;
        fs::remove(At(file), ignored);
        kept.erase(file);
    }
}

Edit::Json Session::Describe(std::optional<std::string> const& path) const {
    std::lock_guard const lock(mutex);
    std::string const edit = path.value_or(name);
    Edit::Json json{{"document", initial}, {"path", nullptr}, {"revision", nullptr}, {"autosave", nullptr}};
    if (!edit.empty()) {
        fs::path const file = edit == name ? At(edit) : Target(edit);
        json["path"] = edit;
        json["revision"] = RevisionOf(file);
        if (!json["revision"].is_null()) {
            json["document"] = Edit::ReadJson(file.string(), true);
        }
    }
    std::pair best(false, fs::file_time_type::min());  // those whose page is gone come first
    for (int number = 1; number <= kMostCopies; ++number) {
        std::string const file = CopyName(edit, number);
        if (!IsPlainFile(At(file))) {
            continue;
        }
        std::error_code error;
        bool const isOpen = IsKeptElsewhere(file, "");
        std::pair const found(!isOpen, fs::last_write_time(At(file), error));
        if (error || found < best) {
            continue;
        }
        try {
            std::string const mark = MarkOf(file);
            json["autosave"] = {{"document", Edit::ReadJson(At(file).string())},
                                {"time", TimeOf(At(file))},
                                {"copy", mark},
                                {"open", isOpen}};
            best = found;
        } catch (std::runtime_error const&) {
            continue;  // nothing that helps
        }
    }
    return json;
}

Edit::Json Session::Save(Edit::Document const& document, std::optional<std::string> const& path,
                         std::optional<std::string> const& revision, std::string const& copy, std::string const& page,
                         bool overwrite) {
    std::lock_guard const lock(mutex);
    std::string const wanted = path.value_or(name);
    if (wanted.empty()) {
        throw RequestError(kBadRequest, "the edit has no name yet: say under which path it is saved");
    }
    fs::path const target = Target(wanted);
    std::string const present = FingerprintOf(target);
    if (!overwrite && !present.empty() && present != revision.value_or("")) {
        throw RequestError(kConflict, revision
                                          ? fmt::format("{} was changed by somebody else since it was opened", wanted)
                                          : fmt::format("{} exists", wanted));
    }
    std::string const folder = target.parent_path().string();
    Write(target, Edit::FormatDocument(document, folder), !present.empty());
    RemoveCopy(copy, page);
    name = access.NameOf(target);
    return {{"path", name}, {"revision", RevisionOf(target)}};
}

std::string Session::WriteNewCopy(std::string const& edit, std::string const& text) const {
    for (int number = 1; number <= kMostCopies; ++number) {
        std::string file = CopyName(edit, number);
        std::error_code error;
        if (fs::exists(fs::symlink_status(At(file), error))) {
            continue;
        }
        try {
            Write(At(file), text, false);
            return file;
        } catch (Media::MediaError const&) {
            // Another studio may have begun a copy in between.
            if (!fs::exists(fs::symlink_status(At(file), error))) {
                throw;
            }
        }
    }
    throw RequestError(kConflict,
                       fmt::format("{} copies of the edit are kept already, the last is {}: remove those that are not "
                                   "needed",
                                   kMostCopies, CopyName(edit, kMostCopies)));
}

std::string Session::Autosave(Edit::Json const& document, std::optional<std::string> const& path,
                              std::string const& copy, std::string const& page) {
    std::lock_guard const lock(mutex);
    std::string const edit = path.value_or(name);
    if (!edit.empty() && edit != name) {
        Target(edit);  // a name that may be
    }
    std::string const text = Edit::ShowJson(document, 2) + "\n";
    std::string file = Recognise(copy);
    if (!file.empty() && !IsKeptElsewhere(file, page)) {
        Write(At(file), text, true);
    } else {
        file = WriteNewCopy(edit, text);
    }
    Hold(file, page);
    return MarkOf(file);
}

void Session::DiscardAutosave(std::string const& copy, std::string const& page) {
    std::lock_guard const lock(mutex);
    RemoveCopy(copy, page);
}

}  // namespace Kaltor::Studio
