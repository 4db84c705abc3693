#pragma once

#include <string>

#include "Media/VideoReader.h"

namespace Kaltor::Edit {

/// Reads the system's list of fonts, once, before anything else asks for one. Throws `std::runtime_error` where there
/// is no font.
void LoadFonts();

/// The installed family that stands in for a missing one, or empty where it is installed, or names no family in
/// particular ("sans-serif"). Several names have commas between them; one that is installed is enough.
std::string FindReplacement(std::string const& family);

/// Warns where the family is missing, with the name of what is used instead.
void WarnOfMissingFamily(std::string const& family, Media::WarningFn const& warn);

}  // namespace Kaltor::Edit
