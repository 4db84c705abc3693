#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Edit/DocumentReader.h"
#include "Edit/Json.h"

namespace Kaltor::Studio {

/// Which files a page may reach: those in the edit's folder and below, with symbolic links resolved, and single files
/// that the user named.
class FileAccess {
public:
    FileAccess(std::filesystem::path const& folder, std::vector<std::string> const& named, bool isTrusted);

    /// The edit's folder, without symbolic links.
    std::filesystem::path const& GetFolder() const { return folder; }
    std::vector<std::filesystem::path> const& GetNamed() const { return named; }
    Edit::Home GetHome() const;

    /// The path of a file to be read; `name` is relative to the folder, or absolute. Throws `RequestError` for files
    /// that may not be reached.
    std::filesystem::path ToRead(std::string const& name) const;
    /// That of a file to be written: below the folder, whose own folder is there, not hidden, and no device or pipe.
    std::filesystem::path ToWrite(std::string const& name) const;
    /// A folder of the edit's; "" is the edit's own.
    std::filesystem::path ToList(std::string const& name) const;
    /// How a document names a file: relative to the folder where it lies below it.
    std::string NameOf(std::filesystem::path const& path) const;

    /// `{folder, parent, entries}` of a folder: what an edit can use, by kind.
    Edit::Json List(std::string const& name) const;

private:
    bool IsBelow(std::filesystem::path const& canonical) const;

    std::filesystem::path folder;
    std::vector<std::filesystem::path> named;
    bool isTrusted;
};

}  // namespace Kaltor::Studio
