#include "Media/SequenceFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Media/MediaError.h"
#include "Media/Sequence.h"

namespace Kaltor::Media {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void FailSequence(std::string const& name, std::string const& why) {
    Core::Throw(MediaError(fmt::format("{}: {}", name, why)));
}

fs::path FolderOf(std::string const& pattern) {
    fs::path const path(pattern);
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

}  // namespace

SequenceFiles::SequenceFiles(Options const& wanted, PartialFile::WarningFn const& warn)
    : options(wanted), target(FolderOf(wanted.pattern)) {
    std::error_code error;
    if (!fs::is_directory(target, error)) {
        FailSequence(options.pattern, fmt::format("cannot be written: there is no folder {}", target.string()));
    }
    std::int64_t const end = options.first + options.count;
    std::int64_t beyond = 0;
    for (std::int64_t const number : ListNumbers(options.pattern)) {
        bool const isOurs = number >= options.first && (options.count == 0 || number < end);
        if (isOurs && !options.overwrite) {
            FailSequence(MakeNumberedName(options.pattern, number),
                         "exists already; --overwrite replaces the pictures, --resume continues after them");
        }
        beyond += isOurs ? 0 : 1;
    }
    if (beyond > 0 && options.overwrite && warn) {
        warn(fmt::format("{}: {} other picture{} of that name stay{}", options.pattern, beyond, beyond == 1 ? "" : "s",
                         beyond == 1 ? "s" : ""));
    }
    if (!options.keepsEach) {
        Sweep(warn);
        MakeFolder();
    }
}

SequenceFiles::~SequenceFiles() {
    if (!staging.empty()) {
        std::error_code ignored;
        fs::remove_all(staging, ignored);
    }
    if (lock >= 0) {
        ::close(lock);
    }
}

void SequenceFiles::MakeFolder() {
    std::error_code error;
    do {
        staging = target / MakePartialName(fs::path(options.pattern).filename().string());
        error.clear();
    } while (!fs::create_directory(staging, error) && !error);
    if (error) {
        std::string const folder = staging.string();
        staging.clear();
        FailSequence(options.pattern, fmt::format("cannot be written ({}: {})", folder, error.message()));
    }
    lock = ::open(staging.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ::flock(lock, LOCK_EX | LOCK_NB);
}

void SequenceFiles::Sweep(PartialFile::WarningFn const& warn) const {
    std::string const stem = fs::path(options.pattern).filename().string();
    std::error_code error;
    for (fs::directory_iterator entry(target, error), end; !error && entry != end; entry.increment(error)) {
        if (!IsPartialName(entry->path().filename().string(), stem)) {
            continue;
        }
        int const folder = ::open(entry->path().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        std::error_code ignored;
        if (folder >= 0 && ::flock(folder, LOCK_EX | LOCK_NB) == 0 && fs::remove_all(entry->path(), ignored) > 0 &&
            warn) {
            warn(fmt::format("{}: removed {}, which a run that was killed left behind", options.pattern,
                             entry->path().string()));
        }
        if (folder >= 0) {
            ::close(folder);
        }
    }
}

std::string SequenceFiles::NameOf(std::int64_t index) const {
    return MakeNumberedName(options.pattern, options.first + index);
}

void SequenceFiles::Write(std::span<std::uint8_t const> content) {
    std::string const name = NameOf(written++);
    if (options.keepsEach) {
        WriteFile(name, {content.begin(), content.end()}, options.overwrite);
        return;
    }
    fs::path const hidden = staging / fs::path(name).filename();
    constexpr ::mode_t kMode = 0666;
    int const file = ::open(hidden.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
    bool isWhole = file >= 0;
    for (std::size_t done = 0; isWhole && done < content.size();) {
        ::ssize_t const count = ::write(file, content.data() + done, content.size() - done);
        isWhole = count >= 0 || errno == EINTR;
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    int const error = errno;
    bool const isClosed = file >= 0 && ::close(file) == 0;
    if (!isWhole || !isClosed) {
        FailSequence(name, fmt::format("cannot be written ({})", std::strerror(isWhole ? errno : error)));
    }
}

void SequenceFiles::Commit() {
    if (staging.empty()) {
        return;
    }
    for (std::int64_t i = 0; i < written; ++i) {
        std::string const name = NameOf(i);
        fs::path const hidden = staging / fs::path(name).filename();
        // A hard link fails where the name is taken, which a rename does not. Some file systems have none.
        bool const isNew = !options.overwrite && ::link(hidden.c_str(), name.c_str()) == 0;
        std::error_code error;
        bool const isTaken = !isNew && !options.overwrite && (errno == EEXIST || fs::exists(name, error));
        if (isTaken || (!isNew && std::rename(hidden.c_str(), name.c_str()) != 0)) {
            int const reason = errno;
            for (std::int64_t k = 0; k < i && !options.overwrite; ++k) {
                fs::remove(NameOf(k), error);  // all or none
            }
            FailSequence(name, isTaken ? "has appeared meanwhile; it is not overwritten unless asked"
                                       : fmt::format("cannot be written ({})", std::strerror(reason)));
        }
    }
}

std::int64_t CountWritten(std::string const& pattern, std::int64_t first) {
    std::int64_t count = 0;
    for (std::int64_t const number : ListNumbers(pattern)) {
        if (number == first + count) {
            ++count;
        } else if (number > first) {
            break;
        }
    }
    return count;
}

}  // namespace Kaltor::Media
