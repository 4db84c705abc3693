#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/CommandLine.h"
#include "Edit/Document.h"

namespace Kaltor::Cli {

/// How far what a user names may reach.
struct TrustOptions {
    bool isTrusted = false;
    bool allowPlaylists = false;
};
void AddTrustOptions(Verb& verb, TrustOptions& options);

/// Reads a document or another program's timeline; what has no counterpart is a warning on standard error.
Edit::Document ReadDocument(std::string const& path, Catalog const& catalog, TrustOptions const& options);

/// What `render` and `check` are given to make a document of, as it is typed. Options that are not given change nothing
/// of a document that is read.
struct DocumentOptions : TrustOptions {
    /// Clips, or the file of one document.
    std::vector<std::string> clips;
    std::vector<std::string> transitions;
    std::string transitionDuration;
    std::string stillDuration;
    std::vector<std::string> effects;
    std::vector<std::string> fits;
    std::vector<std::string> speeds;
    std::vector<std::string> volumes;
    std::vector<std::string> titles;
    std::vector<std::string> overlays;
    std::vector<std::string> music;
    std::vector<std::string> subtitles;
    std::string fadeIn;
    std::string fadeOut;
    std::optional<double> loudness;
    std::string size;
    std::string rate;
    std::string background;
    /// What is set here wins over the document's.
    std::string depth;
    std::string hdr;
    std::string alpha;
    Media::EncoderSettings encoder;
    std::vector<std::string> encoderOptions;  ///< KEY=VALUE
    std::vector<std::string> metadata;        ///< KEY=VALUE
    std::optional<std::uint32_t> firstNumber;
    std::optional<unsigned> seed;
    bool hasNoAudio = false;
};

/// Whether this is the name of a document, not of a clip.
bool IsDocumentName(std::string const& path);

/// Adds the options that make or change a document.
void AddDocumentOptions(Verb& verb, DocumentOptions& options);

/// The document that the options mean. Throws `UsageError` for what was typed wrongly, and as
/// `Edit::ReadDocumentFile`.
Edit::Document MakeDocument(DocumentOptions const& options, Catalog const& catalog);

}  // namespace Kaltor::Cli
