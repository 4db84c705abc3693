#pragma once

#include <concepts>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>

#include <fmt/format.h>

#include "Apps/Kaltor/CommandLine.h"
#include "Apps/Kaltor/Specs.h"
#include "Core/ParseNumber.h"

namespace Kaltor::Cli {

/// The ends of what an option accepts, both included.
template <typename T>
struct NumberRange {
    T least = std::numeric_limits<T>::lowest();
    T most = std::numeric_limits<T>::max();
};

/// Reads what was typed for `option`. Throws `UsageError` for what is no number, is not finite or out of range.
template <typename T>
T ParseOptionNumber(std::string const& option, std::string const& text, NumberRange<T> const& range) {
    std::optional<T> const value = Core::ParseNumber<T>(text);
    if (value && *value >= range.least && *value <= range.most) {  // refuses NaN too
        return *value;
    }
    constexpr NumberRange<T> kAny;
    char const* const what = std::integral<T> ? "a whole number" : "a number";
    bool const isAnyNumber = std::is_signed_v<T> && range.least == kAny.least && range.most == kAny.most;
    std::string const ends = isAnyNumber ? "" : fmt::format(" from {} to {}", range.least, range.most);
    throw UsageError(fmt::format("\"{}\" is not accepted for {}: it takes {}{}", text, option, what, ends));
}

/// Adds an option that takes one number. `target` is a `T` or a `std::optional<T>` and has to outlive the parsing.
template <typename T, typename Target>
Option AddNumber(Verb& verb, std::string const& option, Target& target, std::string const& help,
                 NumberRange<T> const& range = {}) {
    return verb.AddParsed(
        option, [&target, option, range](std::string const& text) { target = ParseOptionNumber(option, text, range); },
        help);
}

}  // namespace Kaltor::Cli
