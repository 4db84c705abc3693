#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Kaltor::Media {

/// A file that grows under a hidden name beside the one that it is to have. Unless `Commit` succeeds, the destructor
/// removes it. It is locked while it grows, so that what a killed process left can be told from what still grows.
class PartialFile {
public:
    /// Takes one line that names the file.
    using WarningFn = std::function<void(std::string const& message)>;

    /// Creates it, and removes what killed processes left of the same file, with a warning. Where `path` is a symbolic
    /// link, the file that it leads to is meant, and the link stays. Throws `MediaError` where `path` exists (unless
    /// `overwrite`), is no plain file, or where the folder is missing or cannot be written.
    PartialFile(std::string const& path, bool overwrite, WarningFn const& warn = {});
    ~PartialFile();
    PartialFile(PartialFile const&) = delete;
    PartialFile& operator=(PartialFile const&) = delete;

    /// Where to write now.
    std::string GetPath() const { return partial.string(); }
    /// Gives the file its name, and the permissions of the one that it replaces. Throws `MediaError`, also where
    /// another file has taken the name and `overwrite` is off.
    void Commit();

private:
    /// An open descriptor, closed with it.
    struct Descriptor {
        int number = -1;

        Descriptor() = default;
        ~Descriptor();
        Descriptor(Descriptor const&) = delete;
        Descriptor& operator=(Descriptor const&) = delete;
    };

    void CheckTarget() const;
    bool Create(std::filesystem::path const& folder, std::string const& stem);
    void Sweep(std::filesystem::path const& folder, std::string const& stem, WarningFn const& warn) const;

    std::string name;  ///< as given, for messages
    std::filesystem::path target;
    std::filesystem::path partial;
    bool isOverwriting;
    bool isCommitted = false;
    Descriptor lock;
};

/// ".STEM.PROCESS-NUMBER.partial", another one each time; a long stem is cut.
std::string MakePartialName(std::string const& stem);
bool IsPartialName(std::string_view file, std::string_view stem);
/// Removes what this process has begun of an output, for where it ends without destructors.
void RemoveBegun(std::string const& path);

/// Writes a whole file, which appears under its name only when it is complete. Throws and warns as `PartialFile`.
void WriteFile(std::string const& path, std::vector<std::uint8_t> const& content, bool overwrite,
               PartialFile::WarningFn const& warn = {});

}  // namespace Kaltor::Media
