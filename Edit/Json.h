#pragma once

#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

namespace Kaltor::Edit {

using Json = nlohmann::ordered_json;

/// A JSON document from a file, which nobody has to trust: 16 MiB, 64 levels and 10,000 members in one object at most,
/// and the members keep their order. `//` and `/* */` comments are allowed where `allowComments`. Throws
/// `std::runtime_error` with one line that begins with the file's name.
Json ReadJson(std::string const& path, bool allowComments = false);
/// The same of a text; `name` stands for the file.
Json ParseJson(std::string const& text, std::string const& name, bool allowComments = false);

/// The text of such a file, 16 MiB at most. Throws as `ReadJson`.
std::string ReadJsonText(std::string const& path);
/// What walks a document calls itself for each level.
constexpr std::size_t kMostJsonLevels = 64;
/// Objects that keep their order look through all members for each new one.
constexpr std::size_t kMostJsonMembers = 10'000;
/// So many looks a whole document may take.
constexpr std::size_t kMostJsonComparisons = 100'000'000;

/// A document's text for others to read: what is no UTF-8, as in names of files, shows as U+FFFD.
inline std::string ShowJson(Json const& json, int indent = -1) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace Kaltor::Edit
