#include "Core/PlainFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kaltor::Core {
namespace {

class Descriptor {
public:
    explicit Descriptor(char const* path) : number(::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {}
    ~Descriptor() {
        if (number >= 0) {
            ::close(number);
        }
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    int Get() const { return number; }

private:
    int number;
};

[[noreturn]] void FailSystem(int error) {
    bool const isMissing = error == ENOENT || error == ENOTDIR;
    throw FileFault(isMissing ? FileFault::Kind::Missing : FileFault::Kind::System,
                    std::string("cannot be read (") + std::strerror(error) + ")");
}

}  // namespace

std::string ReadPlainFile(std::string const& path, std::size_t most) {
    constexpr std::size_t kPiece = 65'536;
    Descriptor const file(path.c_str());
    struct ::stat status {};
    if (file.Get() < 0 && errno == ENXIO) {  // a socket
        throw FileFault(FileFault::Kind::NotPlain, "is not a plain file");
    }
    if (file.Get() < 0 || ::fstat(file.Get(), &status) != 0) {
        FailSystem(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw FileFault(FileFault::Kind::NotPlain, S_ISDIR(status.st_mode) ? "is a directory" : "is not a plain file");
    }
    std::string content;
    // Its size may be out of date already, and is 0 for what the kernel makes up.
    for (std::size_t size = 0; size <= most;) {
        content.resize(size + std::min(kPiece, most + 1 - size));
        ::ssize_t const count = ::read(file.Get(), content.data() + size, content.size() - size);
        if (count < 0 && errno != EINTR) {
            FailSystem(errno);
        }
        size += count > 0 ? static_cast<std::size_t>(count) : 0;
        if (count == 0) {
            content.resize(size);
            return content;
        }
    }
    throw FileFault(FileFault::Kind::TooLarge, "is too large");
}

}  // namespace Kaltor::Core
