#pragma once

#include <optional>
#include <string>

#include "Apps/Kaltor/Catalog.h"
#include "Edit/Document.h"

namespace Kaltor::Cli {

/// The `kaltor render` command that means the same as a document, with paths relative to `folder` where they lie below
/// it. Nothing where the command line has no words for all of it. Reads the command back to be sure.
std::optional<std::string> WriteCommand(Edit::Document const& document, Catalog const& catalog,
                                        std::string const& folder);

}  // namespace Kaltor::Cli
