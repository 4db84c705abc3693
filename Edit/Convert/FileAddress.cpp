#include "Edit/Convert/FileAddress.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/Text.h"

namespace Kaltor::Edit {
namespace {

[[noreturn]] void Refuse(std::string_view address, char const* why) {
    Core::Throw(std::invalid_argument(fmt::format("{}: {}", address, why)));
}

bool IsLetter(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) != 0;
}

/// What stands before the first colon, if that can be a scheme; a drive letter can, too.
std::string_view SchemeOf(std::string_view address) {
    std::size_t const colon = address.find(':');
    if (colon == std::string_view::npos || colon == 0 || !IsLetter(address.front())) {
        return {};
    }
    std::string_view const scheme = address.substr(0, colon);
    bool const isScheme = std::all_of(scheme.begin(), scheme.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '+' || c == '-' || c == '.';
    });
    return isScheme ? scheme : std::string_view();
}

int ValueOfHex(char c) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::size_t const digit = kDigits.find(Core::ToLower({&c, 1}));
    return digit == std::string_view::npos ? -1 : static_cast<int>(digit);
}

/// A percent sign without two digits stands for itself.
std::string Unescape(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const isEscape =
            text[i] == '%' && i + 2 < text.size() && ValueOfHex(text[i + 1]) >= 0 && ValueOfHex(text[i + 2]) >= 0;
        if (isEscape) {
            result.push_back(static_cast<char>(ValueOfHex(text[i + 1]) * 16 + ValueOfHex(text[i + 2])));
            i += 2;
        } else {
            result.push_back(text[i]);
        }
    }
    return result;
}

}  // namespace

std::string ParseFileAddress(std::string_view address, bool isEscaped) {
    constexpr char kDrive[] = "it lies on a drive of another system; give its path on this one";
    std::string_view const scheme = SchemeOf(address);
    if (scheme.size() == 1) {
        Refuse(address, kDrive);
    }
    if (address.starts_with("\\\\")) {
        Refuse(address, "it lies on another computer; only files of this one are read");
    }
    std::string_view path = address;
    if (!scheme.empty()) {
        if (Core::ToLower(scheme) != "file") {
            Refuse(address, "only files are read, nothing from the network or from elsewhere");
        }
        path.remove_prefix(scheme.size() + 1);
        isEscaped = true;
        if (path.starts_with("//")) {
            path.remove_prefix(2);
            std::string const host = Core::ToLower(path.substr(0, path.find('/')));
            if (host.size() == 2 && host[1] == ':') {
                Refuse(address, kDrive);
            }
            if (!host.empty() && host != "localhost") {
                Refuse(address, "it lies on another computer; only files of this one are read");
            }
            path.remove_prefix(host.size());
        }
    }
    std::string result = isEscaped ? Unescape(path) : std::string(path);
    bool const hasDrive = result.size() > 2 && result[0] == '/' && IsLetter(result[1]) &&
                          (result[2] == ':' || result[2] == '|') && (result.size() == 3 || result[3] == '/');
    if (hasDrive && !scheme.empty()) {
        Refuse(address, kDrive);
    }
    if (result.empty() || result.find('\0') != std::string::npos) {
        Refuse(address, "it names no file");
    }
    return result;
}

std::string FormatFileAddress(std::string const& path) {
    if (!path.starts_with('/')) {
        return SchemeOf(path).empty() ? path : "./" + path;
    }
    constexpr std::string_view kPlain = "-._~/!$&'()*+,;=:@";
    std::string result = "file://";
    for (char const c : path) {
        bool const isPlain =
            (static_cast<unsigned char>(c) < 0x80 && std::isalnum(static_cast<unsigned char>(c)) != 0) ||
            kPlain.find(c) != std::string_view::npos;
        result += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return result;
}

bool IsStillName(std::string_view path) {
    static constexpr std::array<std::string_view, 9> kEndings{".png", ".jpg",  ".jpeg", ".webp", ".bmp",
                                                              ".tif", ".tiff", ".exr",  ".tga"};
    std::string const name = Core::ToLower(path);
    bool const isSequence = name.find('%') != std::string::npos;
    return !isSequence && std::any_of(kEndings.begin(), kEndings.end(),
                                      [&](std::string_view ending) { return name.ends_with(ending); });
}

}  // namespace Kaltor::Edit
