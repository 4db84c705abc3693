#pragma once

#include <cstddef>
#include <memory>

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

/// Makes a default-constructed object of one settings class.
using SettingsMaker = std::unique_ptr<Settings> (*)();

/// Adds a settings class that comes with a plug-in, not with the library: from then on `MakeSettings`, `FindRowKind` and
/// `MakeAllSettings` know it, after the library's own and those added before. A plug-in calls this when it registers
/// the effect; adding a class again replaces its maker. Throws `std::invalid_argument` for a name that the library has.
/// Any thread.
void AddSettings(RowKind kind, SettingsMaker make);

/// How many of `MakeAllSettings` are the library's own classes. They come first.
std::size_t CountOwnSettings();

}  // namespace Kaltor::Proc
