#include "Edit/Convert/AnyDocument.h"

#include <chrono>
#include <exception>
#include <filesystem>
#include <map>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/Text.h"
#include "Edit/Convert/Editly.h"
#include "Edit/Convert/Json5.h"
#include "Edit/Convert/Otio.h"
#include "Media/AudioReader.h"
#include "Media/MediaInfo.h"
#include "Media/Sequence.h"

namespace Kaltor::Edit {
namespace {

std::string EndingOf(std::string const& path) {
    return Core::ToLower(std::filesystem::path(path).extension().string());
}

/// Looks at each file once, and only at those that the document may name.
class Files {
public:
    Files(std::string documentsFolder, ReadingOptions const& readingOptions)
        : folder(std::move(documentsFolder)), options(readingOptions) {}

    std::optional<FileFacts> Look(std::string const& file) {
        auto const [found, isNew] = known.try_emplace(file);
        if (isNew) {
            found->second = Probe(file);
        }
        return found->second;
    }

private:
    std::optional<FileFacts> Probe(std::string const& file) const {
        Document document;
        document.clips.emplace_back().source.file = file;
        try {
            ResolvePaths(document, folder, options.trust);
        } catch (std::invalid_argument const&) {
            return std::nullopt;  // refused with its place later
        }
        std::string const& path = document.clips.front().source.file;
        Media::InputRules const rules{options.allowPlaylists, nullptr};
        try {
            std::optional<Media::Sequence> const sequence =
                Media::Sequence::IsPattern(path) ? std::optional(Media::Sequence::Find(path)) : std::nullopt;
            Media::MediaInfo const info = Media::Probe(sequence ? sequence->GetName(0) : path, rules);
            FileFacts facts{InSeconds(info.duration), info.isStill && !sequence,      true,
                            info.sound.has_value(),   sequence ? sequence->count : 0, 0.0};
            double const shape = static_cast<double>(info.frame.pixelAspectX) / info.frame.pixelAspectY;
            facts.aspect = shape * info.frame.width / info.frame.height;
            return facts;
        } catch (Media::MediaError const&) {
            return ProbeSound(path, rules);
        }
    }
    static std::optional<FileFacts> ProbeSound(std::string const& path, Media::InputRules const& rules) {
        try {
            return FileFacts{InSeconds(Media::ProbeSound(path, rules).duration), false, false, true, 0, 0.0};
        } catch (Media::MediaError const&) {
            return std::nullopt;
        }
    }

    std::string folder;
    ReadingOptions const& options;
    std::map<std::string, std::optional<FileFacts>> known;
};

}  // namespace

Document ReadAnyDocument(std::string const& path, Host::Catalog const& catalog, ReadingOptions const& options) {
    std::string const ending = EndingOf(path);
    Json const json = ending == ".json5" ? ReadJson5(path) : ReadJson(path, ending != ".otio");
    std::string const folder = std::filesystem::path(path).parent_path().string();
    Files files(folder, options);
    Conversion const conversion{catalog,
                                {folder, options.trust},
                                [&files](std::string const& file) { return files.Look(file); },
                                [&](std::string const& message) {
                                    if (options.warn) {
                                        options.warn(fmt::format("{}: {}", path, message));
                                    }
                                }};
    try {
        bool const isTimeline = json.is_object() && json.contains("OTIO_SCHEMA");
        Document document;
        if (isTimeline) {
            document = ReadOtio(json, conversion);
        } else if (ending != ".otio" && IsEditly(json)) {
            document = ReadEditly(json, conversion);
        } else if (ending != ".otio" && json.is_object() && (json.contains("version") || json.contains("clips"))) {
            document = ReadDocument(json, catalog, conversion.home);
        } else {
            Core::Throw(std::invalid_argument(
                "it is no document of a video: neither an edit, with \"version\" and \"clips\", nor a timeline of "
                "OpenTimelineIO, with \"OTIO_SCHEMA\", nor an editly document, with \"clips\" of \"layers\""));
        }
        ResolvePaths(document, folder, options.trust);
        return document;
    } catch (std::invalid_argument const& error) {
        Core::Throw(std::invalid_argument(fmt::format("{}: {}", path, error.what())));
    }
}

}  // namespace Kaltor::Edit
