#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Edit/Json.h"
#include "Edit/Plan.h"
#include "Edit/Prober.h"
#include "Host/Catalog.h"
#include "Studio/FileAccess.h"

namespace Kaltor::Studio {

/// A document that can be made, with its plan.
struct PlannedDocument {
    /// The same for the same document and the same content of its files.
    std::string id;
    /// The same where the sound is.
    std::string soundId;
    Edit::Document document;
    Edit::Plan plan;
    std::vector<std::string> warnings;

    boost::intrusive_ptr<Proc::IEffectFactory const> factory;
};

/// A document that is refused.
class DocumentError : public std::invalid_argument {
public:
    DocumentError(std::string const& message, std::string const& jsonPointer)
        : std::invalid_argument(message), place(jsonPointer) {}
    /// A JSON pointer into the document; "" where nothing more is known.
    std::string const& GetPlace() const { return place; }

private:
    std::string place;
};

/// Turns documents into plans, and keeps the last ones. Thread-safe.
class Plans {
public:
    /// `seed`: of what is random in documents that name none; a clock's would give each frame another one.
    Plans(FileAccess const& access, bool allowPlaylists, std::uint32_t seed,
          std::function<Host::Catalog()> loadCatalog);

    /// Throws `DocumentError` for a document that cannot be, and for files at fault.
    std::shared_ptr<PlannedDocument const> Make(Edit::Json const& document);
    /// One of the last ones; null where it is forgotten.
    std::shared_ptr<PlannedDocument const> Find(std::string const& id);
    /// The document alone, without a look at its media. Throws `DocumentError`.
    Edit::Document Read(Edit::Json const& json);

    /// Calls `use(catalog)`, while nobody else uses it.
    template <typename Use>
    auto WithCatalog(Use const& use) {
        std::lock_guard const lock(mutex);
        RefreshCatalog();
        return use(*catalog);
    }

private:
    void RefreshCatalog();
    Edit::Document ReadLocked(Edit::Json const& json);
    void ForgetChangedFiles();

    FileAccess const& access;
    bool allowPlaylists;
    std::uint32_t seed;
    std::function<Host::Catalog()> loadCatalog;
    std::mutex mutex;
    std::shared_ptr<Host::Catalog> catalog;
    std::unique_ptr<Edit::Prober> prober;
    std::map<std::string, std::string> fingerprints;  ///< of the files that the prober knows
    std::map<std::string, std::string> shaders;       ///< and of the shader files that the catalogue has read
    std::list<std::shared_ptr<PlannedDocument const>> kept;  ///< the last used one first
};

/// Changes with a file's content, as far as its size and its time show it; "" where there is no such file.
std::string FingerprintOf(std::filesystem::path const& file);

}  // namespace Kaltor::Studio
