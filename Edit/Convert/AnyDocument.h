#pragma once

#include <string>

#include "Edit/DocumentReader.h"
#include "Media/VideoReader.h"

namespace Kaltor::Edit {

struct ReadingOptions {
    Trust trust = Trust::OwnFolder;
    bool allowPlaylists = false;
    /// Takes one line for each thing of another program's document that has no counterpart.
    Media::WarningFn warn;
};

/// Reads a document of this program (.json), a timeline in OpenTimelineIO's form (.otio or .json) or an editly document
/// (.json or .json5): what it holds decides. Paths come back as the program can open them. Throws as
/// `ReadDocumentFile`.
Document ReadAnyDocument(std::string const& path, Host::Catalog const& catalog, ReadingOptions const& options);

}  // namespace Kaltor::Edit
