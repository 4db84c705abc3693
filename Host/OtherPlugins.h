#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Host/EffectRegistry.h"

namespace Kaltor::Host {

/// The environment variable with folders of plug-ins, separated by colons.
constexpr char const* kPluginPathVariable = "KALTOR_PLUGIN_PATH";

/// Where plug-ins of others are looked for, whether the folders exist or not: those of `KALTOR_PLUGIN_PATH`, then
/// `kaltor/plugins` in the user's data folder ($XDG_DATA_HOME, or ~/.local/share) and in the folder of the libraries.
/// Paths that are not absolute are left out: what is loaded must not depend on where a program was started.
std::vector<std::filesystem::path> ListPluginFolders();

/// Loads what ends in ".so" in these folders, by name within each, and adds what it registers. Faults do no harm: a
/// plug-in that is made for another version of the library, does not load, throws or registers nothing is left out, and
/// so are effects whose name an earlier plug-in has. Gives a report of each plug-in.
std::vector<PluginReport> LoadOtherPlugins(EffectRegistry& registry, std::vector<std::filesystem::path> const& folders);

/// The libraries of ours that a shared object needs ("libkaltor.so.0"), read from the file without running it. Empty
/// where it needs none or is no shared object. Throws `std::runtime_error` where the file ends before what would be
/// loaded of it.
std::vector<std::string> FindNeededLibraries(std::filesystem::path const& file);

}  // namespace Kaltor::Host
