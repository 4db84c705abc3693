#pragma once

#include <filesystem>
#include <memory>

#include "Host/EffectRegistry.h"

namespace Kaltor::Host {

/// The environment variable that names the plug-in's file. It is looked at before any other place.
constexpr char const* kPluginVariable = "KALTOR_PLUGIN";

/// The plug-in's file: what `KALTOR_PLUGIN` names; else the first that exists beside the running program, beside the
/// host's library (a build tree) or in its folder `kaltor` (an installation). Throws `std::runtime_error` with the
/// places that were searched.
std::filesystem::path FindPlugin();

/// The file of the second plug-in, the looks, beside the first one; "" where it is not installed.
std::filesystem::path FindLooks(std::filesystem::path const& plugin);

/// Loads a plug-in, for the rest of the process, and lets it register its effects. Throws `std::runtime_error` where
/// the file is missing, is made for another version of the library, does not load, or exports no `Registrator`;
/// exceptions of the plug-in pass through.
void LoadPlugin(std::filesystem::path const& file, Proc::IEffectRegistry& registry);

/// The folders of the running program and of the library that the host and the plug-ins use; "" where it is not known.
std::filesystem::path GetProgramFolder();
std::filesystem::path GetLibraryFolder();
/// $XDG_DATA_HOME, or its standard place in the home folder; "" where neither is known.
std::filesystem::path GetUsersDataFolder();

/// The default effects, those of the plug-in, the looks where they are installed, and the effects of other plug-ins
/// (see `ListPluginFolders`). Throws as `FindPlugin` and `LoadPlugin`, and where one of our own registers nothing;
/// faults of others stand in the registry's reports. Effects read pictures with `reader`.
std::unique_ptr<EffectRegistry> MakeRegistry(Proc::PictureReader const& reader = {});

}  // namespace Kaltor::Host
