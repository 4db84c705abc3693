#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

#include "Proc/Settings/Settings.h"

namespace Kaltor::Ogl {

// Both throw `std::invalid_argument` that names field and value.

/// The choice `key` of `settings` must be one of its labels.
void RequireChoice(Proc::Settings const& settings, std::string_view key);

/// The whole number `key` of `settings` must lie between `least` and `most`, both included.
void RequireRange(Proc::Settings const& settings, std::string_view key, std::int32_t least,
                  std::int32_t most = std::numeric_limits<std::int32_t>::max());

}  // namespace Kaltor::Ogl
