#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kaltor::Core {

/// What lies between the separators; one part where there is none.
inline std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t at = text.find(separator); at != std::string_view::npos; at = text.find(separator)) {
        parts.push_back(text.substr(0, at));
        text.remove_prefix(at + 1);
    }
    parts.push_back(text);
    return parts;
}

/// The text with A to Z in lower case, in any locale: the C library's own functions leave I as it is in a Turkish one.
inline std::string ToLower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return lower;
}

/// The beginning of UTF-8 text, at most so many bytes; no character is cut.
inline std::string_view BeginningOf(std::string_view text, std::size_t most) {
    if (text.size() <= most) {
        return text;
    }
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0U) == 0x80U) {
        --most;
    }
    return text.substr(0, most);
}

inline bool IsDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace Kaltor::Core
