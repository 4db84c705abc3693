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

/// Refuses what has too many levels or keys. Ends without a word at what is no JSON.
class LimitCheck final : public nlohmann::json_sax<Json> {
public:
    explicit LimitCheck(std::string const& nameOfFile) : path(nameOfFile) {}

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, string_t const&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool start_object(std::size_t) override { return Begin(); }
    bool start_array(std::size_t) override { return Begin(); }
    bool end_object() override { return End(); }
    bool end_array() override { return End(); }
    bool key(string_t&) override {
        comparisons += members.back();
        if (++members.back() > kMostJsonMembers) {
            Fail(path, fmt::format("has an object with more than {} members", kMostJsonMembers));
        }
        if (comparisons > kMostJsonComparisons) {
            Fail(path, "has too many objects with thousands of members");
        }
        return true;
    }
    bool parse_error(std::size_t, std::string const&, Json::exception const&) override { return false; }

private:
    bool Begin() {
        if (members.size() >= kMostJsonLevels) {
            Fail(path, fmt::format("has more than {} levels of brackets", kMostJsonLevels));
        }
        members.push_back(0);
        return true;
    }
    bool End() {
        members.pop_back();
        return true;
    }

    std::string const& path;
    std::vector<std::size_t> members;  ///< of the lists and objects around the present place
    std::size_t comparisons = 0;
};

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
    // Beforehand: the library's own filter of what it parses looks through a list again for each object in it.
    LimitCheck check(path);
    Json::sax_parse(text, &check, Json::input_format_t::json, true, allowComments);
    try {
        return Json::parse(text, nullptr, true, allowComments);
    } catch (Json::parse_error const& error) {
        Fail(path, fmt::format("is no JSON: there is something wrong near byte {}", error.byte));
    } catch (Json::out_of_range const&) {
        Fail(path, "has a number that is too large");
    }
}

}  // namespace Kaltor::Edit
