#pragma once

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
/// frame of a shader file is not drawn in time, the program ends with one line; off where something else sees to that.
enum class HangGuard : bool { Off, On };
Catalog LoadCatalog(HangGuard guard = HangGuard::On);

}  // namespace Kaltor::Cli
