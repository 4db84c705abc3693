#include "Apps/Kaltor/Catalog.h"

#include <fmt/format.h>

#include "Apps/Kaltor/Console.h"

namespace Kaltor::Cli {

Catalog LoadCatalog() {
    Catalog catalog = Catalog::Load();
    for (Host::PluginReport const& plugin : catalog.GetPlugins()) {
        if (!plugin.fault.empty()) {
            WriteError(fmt::format("warning: the plug-in {} is not all used: {}", plugin.file.string(), plugin.fault));
        }
    }
    return catalog;
}

}  // namespace Kaltor::Cli
