#pragma once

#include <functional>
#include <set>
#include <string>

#include "Apps/Kaltor/Specs.h"
#include "Host/Catalog.h"

namespace Kaltor::Cli {

using Host::Catalog;
using Host::CatalogEntry;
using Host::GetName;
using Host::GetUsualNames;
using Host::Kind;
using Host::MakeEffect;
using Host::MakeSettings;

/// The catalogue with all that shader files need, and a warning for each plug-in that cannot be used. Where the first
/// frame of a shader file is not drawn in time, the program ends with one line, and without what it has begun of
/// `output`; off where something else sees to that.
enum class HangGuard : bool { Off, On };
Catalog LoadCatalog(HangGuard guard = HangGuard::On, std::string const& output = {});

/// What a process knows of shader files that a process before it has not drawn in time; see `Proc::ShaderHost`.
struct HungShaders {
    std::set<std::string> programs;
    /// Is called with a program's name before this process ends.
    std::function<void(std::string const& program)> note;
};
Catalog LoadCatalog(HungShaders const& hung);

}  // namespace Kaltor::Cli
