#include "Farm/Checksum.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Media/Sequence.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/murmur3.h>
}

namespace Kaltor::Farm {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 16U;
/// Files up to this size are read whole.
constexpr std::uint64_t kWholeBytes = std::uint64_t{1} << 20U;
constexpr int kSamples = 16;

[[noreturn]] void FailReading(std::string const& path, int error) {
    Core::Throw(std::runtime_error(
        error == ENOENT ? fmt::format("{}: no such file", path)
                        : fmt::format("{}: cannot be read ({})", path, std::strerror(error))));
}

/// A file that is open for reading.
class InputFile {
public:
    explicit InputFile(std::string const& pathOfFile)
        : path(pathOfFile), number(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        struct ::stat status {};
        if (number < 0 || ::fstat(number, &status) != 0) {
            FailReading(path, errno);
        }
        size = static_cast<std::uint64_t>(status.st_size);
    }
    ~InputFile() {
        if (number >= 0) {
            ::close(number);
        }
    }
    InputFile(InputFile const&) = delete;
    InputFile& operator=(InputFile const&) = delete;

    std::uint64_t GetSize() const { return size; }
    /// Fewer only at the end.
    std::size_t Read(char* bytes, std::size_t count, std::uint64_t offset) const {
        std::size_t done = 0;
        while (done < count) {
            ::ssize_t const got = ::pread(number, bytes + done, count - done, static_cast<::off_t>(offset + done));
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got < 0) {
                FailReading(path, errno);
            }
            if (got == 0) {
                break;
            }
            done += static_cast<std::size_t>(got);
        }
        return done;
    }

private:
    std::string path;
    int number;
    std::uint64_t size = 0;
};

void AddWhole(Checksum& checksum, InputFile const& file) {
    constexpr std::size_t kChunk = 16 * kBlockBytes;
    std::vector<char> block(kChunk);
    for (std::uint64_t offset = 0;;) {
        std::size_t const count = file.Read(block.data(), block.size(), offset);
        checksum.Add(block.data(), count);
        offset += count;
        if (count < block.size()) {
            return;
        }
    }
}

void AddSamples(Checksum& checksum, InputFile const& file) {
    if (file.GetSize() <= kWholeBytes) {
        AddWhole(checksum, file);
        return;
    }
    std::vector<char> block(kBlockBytes);
    for (int i = 0; i < kSamples; ++i) {
        std::uint64_t const offset = (file.GetSize() - kBlockBytes) / (kSamples - 1) * static_cast<std::uint64_t>(i);
        checksum.Add(block.data(), file.Read(block.data(), block.size(), offset));
    }
    checksum.Add(block.data(), file.Read(block.data(), block.size(), file.GetSize() - kBlockBytes));
}

}  // namespace

Checksum::Checksum() : state(av_murmur3_alloc(), [](void* self) { av_free(self); }) {
    if (!state) {
        throw std::bad_alloc();
    }
    av_murmur3_init(state.get());
}

Checksum& Checksum::Add(void const* bytes, std::size_t count) {
    av_murmur3_update(state.get(), static_cast<std::uint8_t const*>(bytes), count);
    return *this;
}

Checksum& Checksum::Add(std::string_view text) {
    std::uint64_t const size = text.size();
    return Add(&size, sizeof size).Add(text.data(), text.size());
}

std::string Checksum::Finish() {
    std::array<std::uint8_t, 16> bytes{};
    av_murmur3_final(state.get(), bytes.data());
    std::string text;
    for (std::uint8_t const byte : bytes) {
        text += fmt::format("{:02x}", byte);
    }
    return text;
}

std::string ChecksumOfText(std::string_view text) {
    return Checksum().Add(text).Finish();
}

std::string ChecksumOfFile(std::string const& path) {
    Checksum checksum;
    AddWhole(checksum, InputFile(path));
    return checksum.Finish();
}

Fingerprint FingerprintOf(std::string const& path) {
    Checksum checksum;
    if (!Media::Sequence::IsPattern(path)) {
        InputFile const file(path);
        AddSamples(checksum, file);
        return {file.GetSize(), checksum.Finish()};
    }
    Media::Sequence const sequence = Media::Sequence::Find(path);
    std::uint64_t total = 0;
    std::int64_t const step = std::max<std::int64_t>(1, sequence.count / kSamples);
    for (std::int64_t i = 0; i < sequence.count; ++i) {
        std::error_code error;
        std::uint64_t const size = std::filesystem::file_size(sequence.GetName(i), error);
        if (error) {
            FailReading(sequence.GetName(i), error.value());
        }
        checksum.Add(&size, sizeof size);
        total += size;
        if (i % step == 0 || i + 1 == sequence.count) {
            AddSamples(checksum, InputFile(sequence.GetName(i)));
        }
    }
    return {total, checksum.Finish()};
}

}  // namespace Kaltor::Farm
