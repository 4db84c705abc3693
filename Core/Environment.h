#pragma once

#include <cstdlib>
#include <string>

namespace Kaltor::Core {

/// An environment variable's text; empty where it is not set. The command's documentation lists all that are read.
inline std::string GetVariable(char const* name) {
    char const* const text = std::getenv(name);
    return text != nullptr ? text : "";
}

}  // namespace Kaltor::Core
