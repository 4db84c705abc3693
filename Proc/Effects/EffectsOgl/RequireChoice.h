#pragma once

#include <string_view>

#include "Proc/Settings/Settings.h"

namespace Kaltor::Ogl {

/// Throws `std::invalid_argument` that names field and value where the choice `key` of `settings` is none of its
/// labels.
void RequireChoice(Proc::Settings const& settings, std::string_view key);

}  // namespace Kaltor::Ogl
