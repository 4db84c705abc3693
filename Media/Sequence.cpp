#include "Media/Sequence.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace Kaltor::Media {
namespace {

namespace fs = std::filesystem;

/// A pattern's parts around the number, which has at least so many digits.
struct Parts {
    std::string before;
    std::string after;
    std::size_t digits = 1;
};

std::optional<Parts> Split(std::string const& pattern) {
    std::size_t const percent = pattern.rfind('%');
    std::size_t const end = percent == std::string::npos ? percent : pattern.find('d', percent);
    if (end == std::string::npos || pattern.find('/', percent) != std::string::npos) {
        return std::nullopt;
    }
    std::string const width = pattern.substr(percent + 1, end - percent - 1);
    Parts parts{pattern.substr(0, percent), pattern.substr(end + 1), 1};
    if (width.empty()) {
        return parts;
    }
    constexpr std::size_t kMostDigits = 18;
    std::optional<std::size_t> const digits = Core::ParseNumber<std::size_t>(width);
    if (width.front() != '0' || !digits || *digits == 0 || *digits > kMostDigits) {
        return std::nullopt;
    }
    parts.digits = *digits;
    return parts;
}

std::string MakeName(Parts const& parts, std::int64_t number) {
    return fmt::format("{}{:0{}}{}", parts.before, number, parts.digits, parts.after);
}

}  // namespace

std::string Sequence::GetName(std::int64_t index) const {
    return MakeName(*Split(pattern), first + index);
}

bool Sequence::IsPattern(std::string const& path) {
    std::error_code error;
    return Split(path) && !fs::exists(path, error);
}

Sequence Sequence::Find(std::string const& pattern) {
    std::optional<Parts> const parts = Split(pattern);
    fs::path const whole(pattern);
    std::string const before = parts ? fs::path(parts->before).filename().string() : "";
    std::vector<std::int64_t> numbers;
    std::error_code error;
    for (fs::directory_iterator entry(whole.has_parent_path() ? whole.parent_path() : ".", error), end;
         !error && entry != end; entry.increment(error)) {
        std::string const name = entry->path().filename().string();
        if (!parts || name.size() <= before.size() + parts->after.size() || !name.starts_with(before) ||
            !name.ends_with(parts->after)) {
            continue;
        }
        std::string_view const middle =
            std::string_view(name).substr(before.size(), name.size() - before.size() - parts->after.size());
        std::optional<std::int64_t> const number = Core::ParseNumber<std::int64_t>(middle);
        if (number && *number >= 0 && MakeName({"", "", parts->digits}, *number) == middle) {
            numbers.push_back(*number);
        }
    }
    if (numbers.empty()) {
        Core::Throw(MediaError(fmt::format("{}: there is no such picture", pattern)));
    }
    std::sort(numbers.begin(), numbers.end());
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        if (numbers[i] != numbers[i - 1] + 1) {
            Core::Throw(MediaError(fmt::format("{}: {} is missing in the sequence from {} to {}", pattern,
                                               MakeName(*parts, numbers[i - 1] + 1), numbers.front(), numbers.back())));
        }
    }
    return {pattern, numbers.front(), static_cast<std::int64_t>(numbers.size())};
}

MediaInfo Describe(MediaInfo const& picture, Sequence const& sequence, AVRational frameRate) {
    constexpr AVRational kMicroseconds{1, 1'000'000};
    MediaInfo info = picture;
    info.isStill = false;
    info.frameRate = frameRate;
    info.duration = Microseconds(av_rescale_q(sequence.count, av_inv_q(frameRate), kMicroseconds));
    info.sound.reset();
    info.declaredDuration.reset();
    return info;
}

}  // namespace Kaltor::Media
