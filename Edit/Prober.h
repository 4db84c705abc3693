#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/Interfaces/Exception.h"
#include "Edit/Json.h"
#include "Media/AudioReader.h"
#include "Media/MediaError.h"
#include "Media/MediaInfo.h"
#include "Media/PipeSource.h"
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

    struct Input {
        std::string path;
        std::string raw;  ///< see `Source`
        auto operator<=>(Input const&) const = default;
    };

    /// Looks at all of these files. The first error in the order of the list is thrown: `MediaError`, which begins with
    /// `describe(index)`, or `Cancelled`.
    void Probe(std::vector<Input> const& inputs, std::function<std::string(std::size_t index)> const& describe);
    /// A file that was looked at. A sequence has no time of its own: it is a still, of the form of its first picture.
    Media::MediaInfo const& Get(Input const& input) const { return known.at(input).info; }
    /// Where it is one.
    std::optional<Media::Sequence> const& GetSequence(Input const& input) const { return known.at(input).sequence; }
    /// A reader of its own at the beginning, where the input is a pipe; null otherwise.
    std::shared_ptr<Media::PipeReader> OpenPipe(Input const& input) const {
        auto const& pipe = known.at(input).pipe;
        return pipe ? pipe->NewReader() : nullptr;
    }
    /// Looks at a file's sound, with or without pictures. Throws `MediaError`, `Cancelled`.
    Media::SoundInfo const& GetSound(std::string const& path);

    /// What is known of plain files, for another process that is to plan the same without looking at them.
    Json Save() const;
    /// Takes what was saved. Throws `Json::exception` where it is something else.
    void Load(Json const& saved);

private:
    Media::InputRules rules;
    struct Known {
        Media::MediaInfo info;
        std::optional<Media::Sequence> sequence;
        std::shared_ptr<Media::PipeSource> pipe;
        std::shared_ptr<Media::PipeReader> beginning;  ///< keeps the pipe's beginning for later readers
    };
    Known Look(Input const& input) const;
    std::map<Input, Known> known;
    std::map<std::string, Media::SoundInfo> sounds;
};

}  // namespace Kaltor::Edit
