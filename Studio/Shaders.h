#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Edit/Json.h"
#include "Host/Catalog.h"
#include "Studio/FileAccess.h"

namespace Kaltor::Studio {

/// An entry for programs, as `list --json` has it.
using DescribeEntry = std::function<Edit::Json(Host::CatalogEntry const&)>;

/// Reads and compiles a shader file's text without drawing anything: what `describe` says of it (`kind` is null where
/// it cannot be read), and `errors: [{line, message}]`. `line` is null where the compiler does not say it.
Edit::Json CheckShader(std::string const& name, std::string const& source, DescribeEntry const& describe);

/// The shader files in the folder and the folders in it, by their names there; those that can be read.
std::vector<Host::CatalogEntry> ListShaders(FileAccess const& access);

/// `{path, source, revision}` of a shader file.
Edit::Json ReadShader(FileAccess const& access, std::string const& path);
/// Writes one. `revision` as in `Session::Save`. Gives `{path, revision}`.
Edit::Json SaveShader(FileAccess const& access, std::string const& path, std::string const& source,
                      std::string const& revision, bool overwrite);

}  // namespace Kaltor::Studio
