#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Kaltor::Media {

/// A file that grows under a hidden name beside the one that it is to have. Unless `Commit` succeeds, the destructor
/// removes it.
class PartialFile {
public:
    /// Creates it. Throws `MediaError` where `path` exists (unless `overwrite`), is no plain file, or where the folder
    /// is missing or cannot be written.
    PartialFile(std::string const& path, bool overwrite);
    ~PartialFile();
    PartialFile(PartialFile const&) = delete;
    PartialFile& operator=(PartialFile const&) = delete;

    /// Where to write now.
    std::string GetPath() const { return partial.string(); }
    /// Gives the file its name. Throws `MediaError`, also where another file has taken the name and `overwrite` is off.
    void Commit();

private:
    std::string name;  ///< as given, for messages
    std::filesystem::path target;
    std::filesystem::path partial;
    bool isOverwriting;
    bool isCommitted = false;
};

/// Writes a whole file, which appears under its name only when it is complete. Throws as `PartialFile`.
void WriteFile(std::string const& path, std::vector<std::uint8_t> const& content, bool overwrite);

}  // namespace Kaltor::Media
