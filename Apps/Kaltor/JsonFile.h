#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace Kaltor::Cli {

/// A JSON document from a file, which nobody has to trust: 16 MiB, 64 levels and 10,000 members in one object at most,
/// and the members keep their order. Throws `std::runtime_error` with one line that begins with the file's name.
nlohmann::ordered_json ReadJson(std::string const& path);

}  // namespace Kaltor::Cli
