#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "Media/PartialFile.h"

namespace Kaltor::Media {

/// Pictures that are written as files whose names differ by a number. They appear together with `Commit`, and none of
/// them without it; or each of them as soon as it is whole, where that is wanted.
class SequenceFiles {
public:
    struct Options {
        std::string pattern;     ///< "frame%04d.png"
        std::int64_t first = 1;  ///< number of the first picture
        std::int64_t count = 0;  ///< 0: not known
        bool overwrite = false;
        bool keepsEach = false;  ///< each appears at once
    };

    /// Removes what killed processes left of the same sequence, with a warning. Throws `MediaError` where one of the
    /// pictures exists (unless `overwrite`), or where the folder is missing or cannot be written.
    SequenceFiles(Options const& options, PartialFile::WarningFn const& warn);
    ~SequenceFiles();
    SequenceFiles(SequenceFiles const&) = delete;
    SequenceFiles& operator=(SequenceFiles const&) = delete;

    /// The next picture.
    void Write(std::span<std::uint8_t const> content);
    void Commit();

private:
    std::string NameOf(std::int64_t index) const;
    void Sweep(PartialFile::WarningFn const& warn) const;
    void MakeFolder();

    Options options;
    std::filesystem::path target;   ///< the folder
    std::filesystem::path staging;  ///< a hidden folder in it; empty where each picture appears at once
    int lock = -1;                  ///< of the hidden folder
    std::int64_t written = 0;
};

/// How many pictures of a sequence are there from `first` on, without a gap.
std::int64_t CountWritten(std::string const& pattern, std::int64_t first);

}  // namespace Kaltor::Media
