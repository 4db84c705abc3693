#pragma once

#include "Host/Catalog.h"
#include "Tests/Support/Common.h"

namespace Kaltor::Edit::Tests {

/// What the real plug-in offers.
inline Host::Catalog const& GetCatalog() {
    static Host::Catalog const catalog = Host::Catalog::Load();
    return catalog;
}

}  // namespace Kaltor::Edit::Tests
