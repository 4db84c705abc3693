#pragma once

#include <string>

#include "Edit/Json.h"

namespace Kaltor::Edit {

/// A document in JSON5 (json5.org, version 1.0), with the limits of `ReadJson`. Throws `std::runtime_error` with one
/// line: the file's name, the line and column, and what is wrong there.
Json ReadJson5(std::string const& path);
/// The same of a text; `name` stands for the file.
Json ParseJson5(std::string const& text, std::string const& name);

}  // namespace Kaltor::Edit
