#include "Media/PartialFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Media/MediaError.h"

namespace Kaltor::Media {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(std::string const& name, std::string const& why) {
    Core::Throw(MediaError(fmt::format("{}: {}", name, why)));
}

[[noreturn]] void FailExisting(std::string const& name) {
    Fail(name, "exists already; it is not overwritten unless asked");
}

/// A symbolic link stays; what it points to is replaced.
fs::path ResolveLink(fs::path const& path) {
    std::error_code error;
    if (!fs::is_symlink(path, error)) {
        return path;
    }
    fs::path resolved = fs::weakly_canonical(path, error);
    return error ? path : resolved;
}

}  // namespace

PartialFile::PartialFile(std::string const& path, bool overwrite)
    : name(path), target(ResolveLink(path)), isOverwriting(overwrite) {
    if (target.filename().empty()) {
        Fail(name, "is not the name of a file");
    }
    std::error_code error;
    fs::file_status const status = fs::status(target, error);
    if (fs::exists(status)) {
        if (fs::is_directory(status)) {
            Fail(name, "is a directory, not a file to write");
        }
        if (!fs::is_regular_file(status)) {
            Fail(name, "is not a plain file, so it cannot be replaced");
        }
        if (!overwrite) {
            FailExisting(name);
        }
    }
    fs::path const folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    if (!fs::is_directory(folder, error)) {
        Fail(name, fmt::format("cannot be written: there is no folder {}", folder.string()));
    }
    static std::atomic<unsigned> counter{0};
    constexpr std::size_t kLongestStem = 200;  // names end at 255 bytes on common file systems
    std::string const stem = target.filename().string().substr(0, kLongestStem);
    int file = -1;
    do {
        partial = folder / fmt::format(".{}.{}-{}.partial", stem, ::getpid(), counter++);
        constexpr ::mode_t kMode = 0666;
        file = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
    } while (file < 0 && errno == EEXIST);
    if (file < 0) {
        Fail(name, fmt::format("cannot be written ({})", std::strerror(errno)));
    }
    ::close(file);
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
    if (std::rename(partial.c_str(), target.c_str()) != 0) {
        Fail(name, fmt::format("cannot be written ({})", std::strerror(errno)));
    }
    isCommitted = true;
}

void WriteFile(std::string const& path, std::vector<std::uint8_t> const& content, bool overwrite) {
    PartialFile file(path, overwrite);
    std::FILE* const out = std::fopen(file.GetPath().c_str(), "wb");
    bool const isWhole = out != nullptr && std::fwrite(content.data(), 1, content.size(), out) == content.size();
    int error = errno;
    bool const isClosed = out != nullptr && std::fclose(out) == 0;
    if (isWhole && !isClosed) {
        error = errno;
    }
    if (!isWhole || !isClosed) {
        Fail(path, fmt::format("cannot be written ({})", std::strerror(error)));
    }
    file.Commit();
}

}  // namespace Kaltor::Media
