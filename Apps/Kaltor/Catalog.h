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

/// The catalogue with all that shader files need. Where the first frame of one is not drawn in time, the program ends
/// with one line.
Catalog LoadCatalog();

}  // namespace Kaltor::Cli
