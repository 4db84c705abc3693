#pragma once

#include <nlohmann/json.hpp>

#include "Apps/Kaltor/Catalog.h"

namespace Kaltor::Cli {

/// What can be known of an entry, with its fields, for programs.
nlohmann::ordered_json DescribeEntry(CatalogEntry const& entry);

}  // namespace Kaltor::Cli
