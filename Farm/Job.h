#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Edit/Json.h"
#include "Edit/TimeLine.h"
#include "Farm/Checksum.h"
#include "Media/MediaWriter.h"

namespace Kaltor::Farm {

/// What one task makes: a run of the video's frames, or in a batch a run of rows, each of them a whole video.
struct Part {
    std::int64_t first = 0;
    std::int64_t end = 0;  ///< not among them
    double work = 0.0;     ///< estimated, seconds of one processor

    std::int64_t Count() const { return end - first; }
    bool operator==(Part const&) const = default;
};

struct SourceFile {
    std::string path;
    Fingerprint fingerprint;

    bool operator==(SourceFile const&) const = default;
};

/// A whole video of a batch.
struct MadeVideo : SourceFile {
    std::int64_t frames = 0;
};

/// A video, or a batch of videos, cut into parts that any machine can make in any order. It holds all that the parts
/// follow from, and nothing of where they are made.
struct Job {
    enum class Kind : std::uint8_t { Video, Batch };

    std::string version;  ///< of the program that planned it, which all parts have to be made by
    Kind kind = Kind::Video;
    std::string editName;  ///< for messages
    std::string editChecksum;
    std::string rowsChecksum;  ///< of a batch
    std::string filesChecksum;  ///< of a video
    std::string editFolder;    ///< to which a batch's paths are relative
    bool isTrusted = false;
    std::string output;  ///< absolute; a batch's with its fields
    /// What the joined file gets besides the parts: its container by FFmpeg's name, metadata, and chapters.
    std::string container;
    Media::TextMap metadata;
    std::vector<Media::Chapter> chapters;
    bool overwrite = false;
    bool allowPlaylists = false;
    bool keepsParts = false;
    bool hasSound = false;
    AVRational frameRate{30, 1};
    std::int64_t frames = 0;  ///< of all videos together
    std::vector<SourceFile> files;
    std::vector<Part> parts;

    /// Whether the same is to be made of the same: how it is cut does not matter.
    bool MakesTheSame(Job const& other) const;
};

Edit::Json ToJson(Job const& job);
/// Throws `std::runtime_error` with one line that begins with `name` where it is not a job.
Job JobFromJson(Edit::Json const& json, std::string const& name);

/// What was made of a part, as its machine reports it.
struct PartResult {
    std::string file;  ///< in the folder of parts; empty in a batch, whose videos are at their places
    std::string checksum;
    std::uint64_t bytes = 0;
    std::int64_t frames = 0;
    /// Packets by which the encoder's order is behind the pictures'; of the sound, samples by which it begins before
    /// them.
    std::int64_t delay = 0;
    double seconds = 0.0;    ///< that it took
    double startSeconds = 0.0;  ///< of those, before the first frame was done
    std::string machine;
    std::string renderer;
    /// A batch's, in the order of the rows.
    std::vector<MadeVideo> videos;
};

Edit::Json ToJson(PartResult const& result);
PartResult PartResultFromJson(Edit::Json const& json, std::string const& name);

}  // namespace Kaltor::Farm
