#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>
#include <system_error>

namespace Kaltor::Core {

/// Parses the whole of `text` as a number, with a decimal point in any locale; one leading + is allowed. Empty if the
/// text is anything else (surrounding blanks count, too) or the number does not fit `T`. Infinity and NaN are numbers
/// here.
template <typename T>
requires std::integral<T> || std::floating_point<T> std::optional<T> ParseNumber(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    T value{};
    char const* const end = text.data() + text.size();
    auto const [read, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && read == end ? std::optional(value) : std::nullopt;
}

}  // namespace Kaltor::Core
