#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "Edit/Document.h"
#include "Edit/Json.h"
#include "Studio/FileAccess.h"

namespace Kaltor::Studio {

/// The edit's file: reading, saving, and the copy that is kept beside it while it is worked on. Thread-safe.
class Session {
public:
    /// `name`: of the edit's file in the folder, "" where it has none yet; `initial`: what is shown then.
    Session(FileAccess const& access, std::string name, Edit::Json initial);

    /// `{document, path, revision, autosave}`. Throws `std::runtime_error` for a file that cannot be read.
    Edit::Json Describe() const;

    /// Writes the document. `revision`: of the file that the page has read or written before, null where there was
    /// none; a file that is another one now is left alone with a `RequestError`, unless `overwrite`. Gives
    /// `{path, revision}`.
    Edit::Json Save(Edit::Document const& document, std::optional<std::string> const& path,
                    std::optional<std::string> const& revision, bool overwrite);
    /// Keeps the document beside the edit's file. Saving removes it.
    void Autosave(Edit::Json const& document);
    /// The same by the page: what was kept is not wanted.
    void DiscardAutosave();

    /// The edit's file as a name in the folder; "" where it has none.
    std::string GetPath() const;

private:
    std::filesystem::path AutosavePath() const;

    FileAccess const& access;
    mutable std::mutex mutex;
    std::string name;
    Edit::Json initial;
};

}  // namespace Kaltor::Studio
