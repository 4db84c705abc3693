#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Edit/Document.h"
#include "Edit/Json.h"
#include "Studio/FileAccess.h"

namespace Kaltor::Studio {

/// The edit's file: reading, saving, and the copies that pages keep beside it while they work on it. A copy is locked
/// while its page is open, so that neither another page nor another studio takes or removes it. Thread-safe.
class Session {
public:
    /// `name`: of the edit's file in the folder, "" where it has none yet; `initial`: what is shown then.
    Session(FileAccess const& access, std::string name, Edit::Json initial);

    /// `{document, path, revision, autosave}` of the edit that was opened or saved last, or of the one that `path`
    /// names ("": the one without a name). `autosave` is null or a copy that was kept, `{document, time, copy, open}`:
    /// the newest one whose page is gone, or else the newest one of a page that is `open`. Throws `std::runtime_error`
    /// for a file that cannot be read.
    Edit::Json Describe(std::optional<std::string> const& path = {}) const;

    /// Writes the document. `revision`: of the file that the page has read or written before, null where there was
    /// none; a file that is another one now is left alone with a `RequestError`, unless `overwrite`. Removes the page's
    /// `copy`. Gives `{path, revision}`.
    Edit::Json Save(Edit::Document const& document, std::optional<std::string> const& path,
                    std::optional<std::string> const& revision, std::string const& copy, std::string const& page,
                    bool overwrite);
    /// Keeps the document beside the file that the page edits (`path`, the one opened last where there is none) and
    /// gives the copy's mark, with which the page replaces or removes it later. A copy that another page or studio
    /// keeps, or has written since, is left alone: there may be several.
    std::string Autosave(Edit::Json const& document, std::optional<std::string> const& path, std::string const& copy,
                         std::string const& page);
    /// Removes what the mark stands for, unless another page keeps it.
    void DiscardAutosave(std::string const& copy, std::string const& page);
    /// The page is open and has this copy. False where that is gone or another page's by now.
    bool Keep(std::string const& copy, std::string const& page);
    /// Lets go of the copies of pages that are gone.
    void Release(std::function<bool(std::string const& page)> const& isOpen);

    /// The edit's file as a name in the folder; "" where it has none.
    std::string GetPath() const;

private:
    /// An open descriptor with a lock, closed with it.
    class Lock {
    public:
        explicit Lock(std::filesystem::path const& file);
        ~Lock();
        Lock(Lock&& other) noexcept;
        Lock& operator=(Lock&& other) noexcept;

        /// Where it has it already, nothing changes.
        void Take() const;

    private:
        int descriptor;
    };
    struct KeptCopy {
        std::string page;
        Lock lock;
    };

    std::filesystem::path Target(std::string const& wanted) const;
    std::filesystem::path At(std::string const& file) const { return access.GetFolder() / file; }
    /// "FILE|FINGERPRINT" of a copy as it is now.
    std::string MarkOf(std::string const& file) const;
    /// The copy's file; "" where there is none or it is another one now.
    std::string Recognise(std::string const& mark) const;
    bool IsKeptElsewhere(std::string const& file, std::string const& page) const;
    std::string WriteNewCopy(std::string const& edit, std::string const& text) const;
    void Hold(std::string const& file, std::string const& page);
    void RemoveCopy(std::string const& mark, std::string const& page);

    FileAccess const& access;
    mutable std::mutex mutex;
    std::string name;
    Edit::Json initial;
    std::map<std::string, KeptCopy> kept;  ///< by file
};

}  // namespace Kaltor::Studio
