#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Core/Interfaces/Exception.h"
#include "Media/AudioReader.h"
#include "Media/MediaError.h"
#include "Media/MediaInfo.h"
#include "Media/Sequence.h"

namespace Kaltor::Edit {

/// Runs `work`; what it says of a file at fault begins with the place in the document.
template <typename Work>
auto AtPlace(std::string const& place, Work const& work) {
    try {
        return work();
    } catch (Media::SystemError const& error) {
        Core::Throw(Media::SystemError(place + error.what()));
    } catch (Media::MediaError const& error) {
        Core::Throw(Media::MediaError(place + error.what()));
    }
}

/// What is known of the files of a document: each is looked at once, several at a time.
class Prober {
public:
    explicit Prober(Media::InputRules const& inputRules) : rules(inputRules) {}

    /// Looks at all of these files. The first error in the order of the list is thrown: `MediaError`, which begins with
    /// `describe(index)`, or `Cancelled`.
    void Probe(std::vector<std::string> const& paths, std::function<std::string(std::size_t index)> const& describe);
    /// A file that was looked at. A sequence has no time of its own: it is a still, of the form of its first picture.
    Media::MediaInfo const& Get(std::string const& path) const { return known.at(path).info; }
    /// Where it is one.
    std::optional<Media::Sequence> const& GetSequence(std::string const& path) const { return known.at(path).sequence; }
    /// Looks at a file's sound, with or without pictures. Throws `MediaError`, `Cancelled`.
    Media::SoundInfo const& GetSound(std::string const& path);

private:
    Media::InputRules rules;
    struct Known {
        Media::MediaInfo info;
        std::optional<Media::Sequence> sequence;
    };
    std::map<std::string, Known> known;
    std::map<std::string, Media::SoundInfo> sounds;
};

}  // namespace Kaltor::Edit
