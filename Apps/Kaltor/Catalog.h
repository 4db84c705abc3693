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

/// The catalogue, with a warning for each plug-in that cannot be used.
Catalog LoadCatalog();

}  // namespace Kaltor::Cli
