#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Edit/Document.h"
#include "Edit/Json.h"
#include "Host/Catalog.h"

namespace Kaltor::Studio {

/// The pictures of an entry's card, side by side.
constexpr int kCardFrames = 12;
constexpr std::uint32_t kCardWidth = 160;
constexpr std::uint32_t kCardHeight = 90;

/// A file of the page.
struct PageFile {
    std::string_view name;
    std::string_view content;
};

/// What the studio opens, and what it needs of the program that runs it.
struct Options {
    /// Where files are read and written; edits are saved there or below.
    std::string folder;
    /// The edit's file, below the folder; "" where it has none yet.
    std::string document;
    /// What is shown where there is no such file, as JSON.
    Edit::Json initial;
    /// Files elsewhere that may be read.
    std::vector<std::string> named;
    bool isTrusted = false;
    bool allowPlaylists = false;
    std::uint16_t port = 0;  ///< 0: any that is free
    /// The random part of the address; "" makes one.
    std::string token;
    /// Ends some time after the last page has gone.
    bool exitsWithPage = false;
    /// For the head of a request, from when the connection is served. Its body has a minute.
    std::chrono::milliseconds longestHead{5000};

    std::string version;
    std::span<PageFile const> page;
    std::function<Host::Catalog()> loadCatalog;
    /// An entry for programs, as `list --json` has it.
    std::function<Edit::Json(Host::CatalogEntry const&)> describeEntry;
    /// A row of `kCardFrames` small pictures of an entry in motion, as JPEG. Calls `pause` between them.
    std::function<std::vector<std::uint8_t>(Host::CatalogEntry const&, Proc::IEffectFactory const&,
                                            std::function<void()> const& pause)>
        drawCard;
    /// The command line that makes a document whose files lie in a folder; nothing where there is none.
    std::function<std::optional<std::string>(Edit::Document const&, Host::Catalog const&, std::string const& folder)>
        writeCommand;
};

/// 128 random bits. Throws `std::runtime_error` where the system gives none.
std::string MakeToken();

/// "http://127.0.0.1:PORT/TOKEN/"
std::string FormatAddress(std::uint16_t port, std::string const& token);

/// Serves the studio's page and what it asks for, on the loopback address, to those who know the address with its
/// random token.
class Server {
public:
    /// Binds the port. Throws `std::runtime_error` where that fails.
    explicit Server(Options options);
    ~Server();
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

    std::string GetAddress() const;
    std::uint16_t GetPort() const;
    /// Serves until a page asks for the end, or `cancel` becomes true.
    void Run(std::atomic<bool> const& cancel);

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace Kaltor::Studio
