#include "Farm/Job.h"

#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Farm {
namespace {

using Edit::Json;

constexpr int kFormat = 2;

Json FileToJson(SourceFile const& file) {
    return {{"path", file.path}, {"size", file.fingerprint.size}, {"checksum", file.fingerprint.checksum}};
}

SourceFile FileFromJson(Json const& file) {
    return {file.at("path"), {file.at("size"), file.at("checksum")}};
}

Json FilesToJson(std::vector<SourceFile> const& files) {
    Json list = Json::array();
    for (SourceFile const& file : files) {
        list.push_back(FileToJson(file));
    }
    return list;
}

std::vector<SourceFile> FilesFromJson(Json const& list) {
    std::vector<SourceFile> files;
    for (Json const& file : list) {
        files.push_back(FileFromJson(file));
    }
    return files;
}

[[noreturn]] void FailDamaged(std::string const& name) {
    Core::Throw(std::runtime_error(fmt::format("{}: damaged, or no file of this program", name)));
}

/// Runs `read`; what is missing or of another type is a damaged file.
template <typename Read>
auto Reading(std::string const& name, Read const& read) {
    try {
        return read();
    } catch (Json::exception const&) {
        FailDamaged(name);
    }
}

/// Whether the parts are all frames, each once.
bool HasWholeParts(Job const& job) {
    std::int64_t end = 0;
    for (Part const& part : job.parts) {
        if (part.first != end || part.end <= end) {
            return false;
        }
        end = part.end;
    }
    return end > 0 && end == job.frames && job.frameRate.num > 0 && job.frameRate.den > 0;
}

}  // namespace

bool Job::MakesTheSame(Job const& other) const {
    return version == other.version && kind == other.kind && editChecksum == other.editChecksum &&
           rowsChecksum == other.rowsChecksum && output == other.output && frames == other.frames &&
           hasSound == other.hasSound && files == other.files;
}

Json ToJson(Job const& job) {
    Json json{{"format", kFormat},
              {"version", job.version},
              {"kind", job.kind == Job::Kind::Batch ? "batch" : "video"},
              {"edit", {{"name", job.editName}, {"checksum", job.editChecksum}}},
              {"output", job.output},
              {"container", job.container},
              {"metadata", job.metadata},
              {"overwrite", job.overwrite},
              {"allowPlaylists", job.allowPlaylists},
              {"keepParts", job.keepsParts},
              {"sound", job.hasSound},
              {"frameRate", {job.frameRate.num, job.frameRate.den}},
              {"frames", job.frames},
              {"files", FilesToJson(job.files)}};
    if (job.kind == Job::Kind::Batch) {
        json["edit"]["folder"] = job.editFolder;
        json["edit"]["trusted"] = job.isTrusted;
        json["rows"] = job.rowsChecksum;
    } else {
        json["known"] = job.filesChecksum;
    }
    Json& chapters = json["chapters"] = Json::array();
    for (Media::Chapter const& chapter : job.chapters) {
        chapters.push_back({{"start", chapter.start.count()}, {"title", chapter.title}});
    }
    Json& parts = json["parts"] = Json::array();
    for (Part const& part : job.parts) {
        parts.push_back({{"first", part.first}, {"end", part.end}, {"work", part.work}});
    }
    return json;
}

Job JobFromJson(Json const& json, std::string const& name) {
    return Reading(name, [&] {
        if (json.at("format") != kFormat) {
            Core::Throw(std::runtime_error(fmt::format("{}: written by another version of this program", name)));
        }
        Job job;
        job.version = json.at("version");
        job.kind = json.at("kind") == "batch" ? Job::Kind::Batch : Job::Kind::Video;
        job.editName = json.at("edit").at("name");
        job.editChecksum = json.at("edit").at("checksum");
        if (job.kind == Job::Kind::Batch) {
            job.editFolder = json.at("edit").at("folder");
            job.isTrusted = json.at("edit").at("trusted");
            job.rowsChecksum = json.at("rows");
        } else {
            job.filesChecksum = json.at("known");
        }
        job.output = json.at("output");
        job.container = json.at("container");
        job.metadata = json.at("metadata").get<Media::TextMap>();
        for (Json const& chapter : json.at("chapters")) {
            job.chapters.push_back({Media::Microseconds(chapter.at("start").get<std::int64_t>()), chapter.at("title")});
        }
        job.overwrite = json.at("overwrite");
        job.allowPlaylists = json.at("allowPlaylists");
        job.keepsParts = json.at("keepParts");
        job.hasSound = json.at("sound");
        job.frameRate = {json.at("frameRate").at(0), json.at("frameRate").at(1)};
        job.frames = json.at("frames");
        job.files = FilesFromJson(json.at("files"));
        for (Json const& part : json.at("parts")) {
            job.parts.push_back({part.at("first"), part.at("end"), part.at("work")});
        }
        if (job.kind == Job::Kind::Video && !HasWholeParts(job)) {
            FailDamaged(name);
        }
        return job;
    });
}

Json ToJson(PartResult const& result) {
    Json videos = Json::array();
    for (MadeVideo const& video : result.videos) {
        videos.push_back(FileToJson(video));
        videos.back()["frames"] = video.frames;
    }
    return {{"file", result.file},
            {"checksum", result.checksum},
            {"bytes", result.bytes},
            {"frames", result.frames},
            {"delay", result.delay},
            {"seconds", result.seconds},
            {"startSeconds", result.startSeconds},
            {"machine", result.machine},
            {"renderer", result.renderer},
            {"videos", std::move(videos)}};
}

PartResult PartResultFromJson(Json const& json, std::string const& name) {
    return Reading(name, [&] {
        PartResult result;
        result.file = json.at("file");
        if (result.file.find('/') != std::string::npos || result.file.starts_with('.')) {
            FailDamaged(name);  // it would be read, and removed, elsewhere
        }
        result.checksum = json.at("checksum");
        result.bytes = json.at("bytes");
        result.frames = json.at("frames");
        result.delay = json.at("delay");
        result.seconds = json.at("seconds");
        result.startSeconds = json.at("startSeconds");
        result.machine = json.at("machine");
        result.renderer = json.at("renderer");
        for (Json const& video : json.at("videos")) {
            result.videos.push_back({FileFromJson(video), video.at("frames")});
        }
        return result;
    });
}

}  // namespace Kaltor::Farm
