#include "Media/MostPixels.h"

#include <algorithm>
#include <fstream>

#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Kaltor::Media {
namespace {

std::uint64_t GetLimit(decltype(RLIMIT_AS) resource) {
    ::rlimit limit{};
    return ::getrlimit(resource, &limit) == 0 ? limit.rlim_cur : RLIM_INFINITY;
}

/// What a container, or the group that a service manager has put this process into, may use. The groups around a group
/// may have less than itself.
std::uint64_t GetGroupLimit() {
    std::string group;
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        if (line.starts_with("0::/")) {
            group = line.substr(3);
        }
    }
    std::uint64_t least = RLIM_INFINITY;
    for (;;) {
        std::uint64_t bytes = 0;
        std::ifstream("/sys/fs/cgroup" + group + "/memory.max") >> bytes;  // "max" is no number: as good as none
        least = std::min(least, bytes == 0 ? RLIM_INFINITY : bytes);
        if (group.empty()) {
            return least;
        }
        group.erase(group.rfind('/'));
    }
}

std::uint64_t GetMemory() {
    auto const pages = static_cast<std::uint64_t>(std::max(::sysconf(_SC_PHYS_PAGES), 1L));
    auto const page = static_cast<std::uint64_t>(std::max(::sysconf(_SC_PAGESIZE), 1L));
    return std::min({pages * page, GetLimit(RLIMIT_AS), GetLimit(RLIMIT_DATA), GetGroupLimit()});
}

}  // namespace

std::int64_t GetMostPixels() {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 28U;
    constexpr std::uint64_t kBytesPerPixel = 32;
    return static_cast<std::int64_t>(std::min(kMost, GetMemory() / kBytesPerPixel));
}

std::string DescribeTooLarge(std::string const& size) {
    return fmt::format("its picture, {}, is too large to be decoded", size);
}

}  // namespace Kaltor::Media
