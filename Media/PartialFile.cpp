#include "Media/PartialFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Core/Text.h"
#include "Media/MediaError.h"

namespace Kaltor::Media {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void FailWriting(std::string const& name, std::string const& why) {
    Core::Throw(MediaError(fmt::format("{}: {}", name, why)));
}

[[noreturn]] void FailExisting(std::string const& name) {
    FailWriting(name, "exists already; it is not overwritten unless asked");
}

/// Where a symbolic link leads in the end, whether or not something is there.
fs::path ResolveLink(std::string const& name) {
    constexpr int kMostLinks = 40;  // as the kernel
    fs::path path = name;
    std::error_code error;
    for (int i = 0; fs::is_symlink(fs::symlink_status(path, error)); ++i) {
        fs::path const next = fs::read_symlink(path, error);
        if (error || i == kMostLinks) {
            FailWriting(name, "is a symbolic link that leads nowhere");
        }
        path = next.is_absolute() ? next : path.parent_path() / next;
    }
    return path;
}

constexpr std::string_view kPartialEnding = ".partial";

/// Names end at 255 bytes on common file systems.
std::string_view ShortStem(std::string_view stem) {
    constexpr std::size_t kLongest = 200;
    return Core::BeginningOf(stem, kLongest);
}

/// What names of this process begin with.
std::string BeginPartialName(std::string const& stem) {
    return fmt::format(".{}.{}-", ShortStem(stem), ::getpid());
}

}  // namespace

std::string MakePartialName(std::string const& stem) {
    static std::atomic<unsigned> counter{0};
    return fmt::format("{}{}{}", BeginPartialName(stem), counter++, kPartialEnding);
}

bool IsPartialName(std::string_view file, std::string_view whole) {
    std::string_view const stem = ShortStem(whole);
    if (file.size() <= stem.size() + kPartialEnding.size() + 2 || file[0] != '.' ||
        file.substr(1, stem.size()) != stem || file[stem.size() + 1] != '.' || !file.ends_with(kPartialEnding)) {
        return false;
    }
    std::string_view const numbers =
        file.substr(stem.size() + 2, file.size() - stem.size() - 2 - kPartialEnding.size());
    return numbers.find_first_not_of("0123456789-") == std::string_view::npos;
}

void RemoveBegun(std::string const& path) {
    fs::path const target = ResolveLink(path);
    std::string const ours = BeginPartialName(target.filename().string());
    std::error_code error;
    fs::path const folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        std::string const name = entry->path().filename().string();
        if (name.starts_with(ours) && name.ends_with(kPartialEnding)) {
            std::error_code ignored;
            fs::remove_all(entry->path(), ignored);
        }
    }
}

PartialFile::Descriptor::~Descriptor() {
    if (number >= 0) {
        ::close(number);
    }
}

PartialFile::PartialFile(std::string const& path, bool overwrite, WarningFn const& warn)
    : name(path), target(ResolveLink(path)), isOverwriting(overwrite) {
    CheckTarget();
    fs::path const folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        FailWriting(name, fmt::format("cannot be written: there is no folder {}", folder.string()));
    }
    std::string const stem = target.filename().string();
    Sweep(folder, stem, warn);
    while (!Create(folder, stem)) {
    }
}

void PartialFile::CheckTarget() const {
    if (target.filename().empty()) {
        FailWriting(name, "is not the name of a file");
    }
    std::error_code error;
    fs::file_status const status = fs::status(target, error);
    if (fs::exists(status)) {
        if (fs::is_directory(status)) {
            FailWriting(name, "is a directory, not a file to write");
        }
        if (!fs::is_regular_file(status)) {
            FailWriting(name, "is not a plain file, so it cannot be replaced");
        }
        if (!isOverwriting) {
            FailExisting(name);
        }
    } else if (!isOverwriting && target != fs::path(name)) {
        FailWriting(name,
                    fmt::format("is a symbolic link to {}, which is not there; it is not written unless overwriting is "
                                "asked for",
                                target.string()));
    }
}

/// False where it has to be tried again under another name.
bool PartialFile::Create(fs::path const& folder, std::string const& stem) {
    constexpr ::mode_t kMode = 0666;
    partial = folder / MakePartialName(stem);
    int const file = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
    if (file < 0 && errno == EEXIST) {
        return false;
    }
    if (file < 0) {
        FailWriting(name, fmt::format("cannot be written ({})", std::strerror(errno)));
    }
    if (lock.number >= 0) {
        ::close(lock.number);
    }
    lock.number = file;
    // Some file systems have no locks; nothing is swept there. Before the lock another process may have swept it.
    ::flock(file, LOCK_EX | LOCK_NB);
    struct ::stat own {};
    return ::fstat(file, &own) != 0 || own.st_nlink > 0;
}

void PartialFile::Sweep(fs::path const& folder, std::string const& stem, WarningFn const& warn) const {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        if (!IsPartialName(entry->path().filename().string(), stem)) {
            continue;
        }
        Descriptor file;
        file.number = ::open(entry->path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        struct ::stat status {};
        bool const isStale = file.number >= 0 && ::fstat(file.number, &status) == 0 && S_ISREG(status.st_mode) &&
                             ::flock(file.number, LOCK_EX | LOCK_NB) == 0;
        if (isStale && ::unlink(entry->path().c_str()) == 0 && warn) {
            warn(fmt::format("{}: removed {}, which a run that was killed left behind", name, entry->path().string()));
        }
    }
}

PartialFile::~PartialFile() {
    if (!isCommitted) {
        std::error_code ignored;
        fs::remove(partial, ignored);
    }
}

void PartialFile::Commit() {
    if (!isOverwriting) {
        // A hard link fails where the name is taken, which a rename does not. Some file systems have none.
        if (::link(partial.c_str(), target.c_str()) == 0) {
            isCommitted = true;
            ::unlink(partial.c_str());
            return;
        }
        std::error_code error;
        if (errno == EEXIST || fs::exists(target, error)) {
            FailExisting(name);
        }
    }
    // What was only for its owner's eyes stays so.
    if (struct ::stat replaced{}; isOverwriting && ::stat(target.c_str(), &replaced) == 0) {
        ::fchmod(lock.number, replaced.st_mode & 0777U);
    }
    if (std::rename(partial.c_str(), target.c_str()) != 0) {
        FailWriting(name, fmt::format("cannot be written ({})", std::strerror(errno)));
    }
    isCommitted = true;
}

void WriteFile(std::string const& path, std::vector<std::uint8_t> const& content, bool overwrite,
               PartialFile::WarningFn const& warn) {
    PartialFile file(path, overwrite, warn);
    std::FILE* const out = std::fopen(file.GetPath().c_str(), "wb");
    bool const isWhole = out != nullptr && std::fwrite(content.data(), 1, content.size(), out) == content.size();
    int error = errno;
    bool const isClosed = out != nullptr && std::fclose(out) == 0;
    if (isWhole && !isClosed) {
        error = errno;
    }
    if (!isWhole || !isClosed) {
        FailWriting(path, fmt::format("cannot be written ({})", std::strerror(error)));
    }
    file.Commit();
}

}  // namespace Kaltor::Media
