#include "Edit/Json.h"

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>

namespace Kaltor::Edit {
namespace {

constexpr std::size_t kPiece = 65'536;
constexpr std::size_t kMostBytes = std::size_t{16} << 20U;

[[noreturn]] void Fail(std::string const& path, std::string const& why) {
    throw std::runtime_error(fmt::format("{}: {}", path, why));
}

}  // namespace

std::string ReadJsonText(std::string const& path) {
    // Devices and pipes may have no end.
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text;
    std::vector<char> piece(kPiece);
    while (file && text.size() <= kMostBytes) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (!file.is_open() || file.bad()) {
        Fail(path, errno == ENOENT ? "no such file" : "cannot be read");
    }
    if (text.size() > kMostBytes) {
        Fail(path, fmt::format("is larger than {} MiB, too large for JSON here", kMostBytes >> 20U));
    }
    return text;
}

Json ReadJson(std::string const& path, bool allowComments) {
    return ParseJson(ReadJsonText(path), path, allowComments);
}

Json ParseJson(std::string const& text, std::string const& path, bool allowComments) {
    std::vector<std::size_t> members;  // of the objects around the present place
    std::size_t comparisons = 0;
    auto const check = [&](int depth, Json::parse_event_t event, Json const&) {
        switch (event) {
            case Json::parse_event_t::object_start:
            case Json::parse_event_t::array_start:
                if (static_cast<std::size_t>(depth) >= kMostJsonLevels) {
                    Fail(path, fmt::format("has more than {} levels of brackets", kMostJsonLevels));
                }
                members.resize(static_cast<std::size_t>(depth) + 1);
                members.back() = 0;
                break;
            case Json::parse_event_t::key: {
                std::size_t& count = members[static_cast<std::size_t>(depth) - 1];
                comparisons += count;
                if (++count > kMostJsonMembers) {
                    Fail(path, fmt::format("has an object with more than {} members", kMostJsonMembers));
                }
                if (comparisons > kMostJsonComparisons) {
                    Fail(path, "has too many objects with thousands of members");
                }
                break;
            }
            default:
                break;
        }
        return true;
    };
    try {
        return Json::parse(text, check, true, allowComments);
    } catch (Json::parse_error const& error) {
        Fail(path, fmt::format("is no JSON: there is something wrong near byte {}", error.byte));
    } catch (Json::out_of_range const&) {
        Fail(path, "has a number that is too large");
    }
}

}  // namespace Kaltor::Edit
