#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "Edit/Document.h"
#include "Edit/Json.h"
#include "Host/Catalog.h"

namespace Kaltor::Edit {

/// Whether a document may name files outside of its own folder.
enum class Trust : std::uint8_t { OwnFolder, Everywhere };

/// Where a document comes from: the shader files that it names, and their pictures, are relative to the folder.
struct Home {
    std::string folder;
    Trust trust = Trust::OwnFolder;
    /// Files elsewhere that the user named: absolute, without symbolic links.
    std::vector<std::filesystem::path> named = {};
};

/// Reads a document. Classes are looked up in the catalogue. Throws `std::invalid_argument` with one line: the place
/// from the document's root, what is wrong there and what would be right ("clips/2/effects/0/scale: 3 is above 1").
Document ReadDocument(Json const& json, Host::Catalog const& catalog, Home const& home = {});

/// Reads a part of a document by itself. Throws as above, with places within the part.
Overlay ReadOverlay(Json const& json, Host::Catalog const& catalog);
Sound ReadSound(Json const& json, Host::Catalog const& catalog);

/// Reads a document's file (see `ReadJson`; comments are allowed). Paths in it are relative to its folder, and come
/// back as the program can open them. Throws as above with the file's name before, and `std::runtime_error`.
Document ReadDocumentFile(std::string const& path, Host::Catalog const& catalog, Trust trust);

/// Makes the paths of a document relative to a folder into paths that the program can open. Throws
/// `std::invalid_argument` with the place of a file that is not trusted.
void ResolvePaths(Document& document, Home const& home);
void ResolvePaths(Document& document, std::string const& folder, Trust trust);

/// A colour as documents write it. Throws `std::invalid_argument`.
Proc::Color ParseColor(std::string_view text);

}  // namespace Kaltor::Edit
