#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct AVMurMur3;

namespace Kaltor::Farm {

/// A checksum against accidents (MurmurHash3, 128 bits), faster than disks are. It is no protection from malice.
class Checksum {
public:
    Checksum();
    Checksum& Add(void const* bytes, std::size_t count);
    /// With its length, so that "ab", "c" differs from "a", "bc".
    Checksum& Add(std::string_view text);
    /// 32 hexadecimal digits. To be called once, at the end.
    std::string Finish();

private:
    std::unique_ptr<AVMurMur3, std::function<void(void*)>> state;
};

std::string ChecksumOfText(std::string_view text);
/// Of all bytes of a file. Throws `std::runtime_error` with one line that begins with the file's name.
std::string ChecksumOfFile(std::string const& path);

/// What a file is known by: its size and a checksum of its content, of which large files are sampled (their beginning,
/// their end and places between them), so that the time does not depend on the size. Where the path is a sequence's
/// pattern, of all its pictures' sizes and some of their contents.
struct Fingerprint {
    std::uint64_t size = 0;
    std::string checksum;

    bool operator==(Fingerprint const&) const = default;
};

/// Throws as `ChecksumOfFile`.
Fingerprint FingerprintOf(std::string const& path);

}  // namespace Kaltor::Farm
