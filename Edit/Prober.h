#pragma once

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "Media/MediaInfo.h"

namespace Kaltor::Edit {

/// What is known of the files of a document: each is looked at once, several at a time.
class Prober {
public:
    explicit Prober(Media::InputRules const& inputRules) : rules(inputRules) {}

    /// Looks at all of these files. The first error in the order of the list is thrown: `MediaError`, `Cancelled`.
    void Probe(std::vector<std::string> const& paths);
    /// A file that was looked at.
    Media::MediaInfo const& Get(std::string const& path) const { return known.at(path); }

private:
    Media::InputRules rules;
    std::map<std::string, Media::MediaInfo> known;
};

}  // namespace Kaltor::Edit
