#include "Media/Sequence.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include <fmt/format.h>
#include <glob.h>

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

/// In the order of the numbers in the names: f2 comes before f10.
Sequence FindGlob(std::string const& pattern) {
    ::glob_t found{};
    int const result = ::glob(pattern.c_str(), 0, nullptr, &found);
    Sequence sequence{pattern, 0, 0, {}};
    if (result == 0) {
        sequence.names.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    }
    ::globfree(&found);
    if (sequence.names.empty()) {
        Core::Throw(MediaError(fmt::format("{}: there is no such picture", pattern)));
    }
    std::sort(sequence.names.begin(), sequence.names.end(), [](std::string const& a, std::string const& b) {
        return ::strverscmp(a.c_str(), b.c_str()) < 0;
    });
    sequence.count = static_cast<std::int64_t>(sequence.names.size());
    return sequence;
}

}  // namespace

bool HasNumberPlace(std::string const& path) {
    return Split(path).has_value();
}

std::string MakeNumberedName(std::string const& pattern, std::int64_t number) {
    return MakeName(*Split(pattern), number);
}

std::vector<std::int64_t> ListNumbers(std::string const& pattern) {
    std::vector<std::int64_t> numbers;
    std::optional<Parts> const parts = Split(pattern);
    if (!parts) {
        return numbers;
    }
    fs::path const whole(pattern);
    std::string const before = fs::path(parts->before).filename().string();
    std::error_code error;
    for (fs::directory_iterator entry(whole.has_parent_path() ? whole.parent_path() : ".", error), end;
         !error && entry != end; entry.increment(error)) {
        std::string const name = entry->path().filename().string();
        if (name.size() <= before.size() + parts->after.size() || !name.starts_with(before) ||
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
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::string Sequence::GetName(std::int64_t index) const {
    return names.empty() ? MakeNumberedName(pattern, first + index) : names[static_cast<std::size_t>(index)];
}

bool Sequence::IsPattern(std::string const& path) {
    std::error_code error;
    bool const isPattern = Split(path) || path.find_first_of("*?[") != std::string::npos;
    return isPattern && !fs::exists(path, error);
}

Sequence Sequence::Find(std::string const& pattern) {
    if (!Split(pattern)) {
        return FindGlob(pattern);
    }
    std::vector<std::int64_t> const numbers = ListNumbers(pattern);
    if (numbers.empty()) {
        Core::Throw(MediaError(fmt::format("{}: there is no such picture", pattern)));
    }
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        if (numbers[i] != numbers[i - 1] + 1) {
            Core::Throw(MediaError(fmt::format("{}: {} is missing in the sequence from {} to {}", pattern,
                                               MakeNumberedName(pattern, numbers[i - 1] + 1), numbers.front(),
                                               numbers.back())));
        }
    }
    return {pattern, numbers.front(), static_cast<std::int64_t>(numbers.size()), {}};
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
