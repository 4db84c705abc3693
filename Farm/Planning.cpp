#include "Farm/Planning.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string_view>
#include <thread>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/DocumentReader.h"
#include "Edit/DocumentWriter.h"
#include "Edit/Prober.h"
#include "Farm/Packets.h"
#include "Media/EncoderChoice.h"
#include "Render/Render.h"

namespace Kaltor::Farm {
namespace {

namespace fs = std::filesystem;
using Edit::Json;

/// An hour of sound mixes and encodes in about a minute and a half.
constexpr double kSoundWork = 0.025;
constexpr double kSoundBytes = 24'000.0;  ///< a second

/// An encoder that only packs pictures.
bool IsCheap(AVCodec const& encoder) {
    return encoder.id == AV_CODEC_ID_FFV1 || encoder.id == AV_CODEC_ID_RAWVIDEO || encoder.id == AV_CODEC_ID_MJPEG ||
           encoder.id == AV_CODEC_ID_HUFFYUV || encoder.id == AV_CODEC_ID_UTVIDEO;
}

/// Roughly what a picture's pixel takes, in bytes.
double BytesPerPixel(AVCodec const& encoder) {
    return encoder.id == AV_CODEC_ID_RAWVIDEO ? 1.5 : IsCheap(encoder) || encoder.id == AV_CODEC_ID_PRORES ? 0.6 : 0.015;
}

/// What is known of the files that several documents share.
class FileList {
public:
    void Add(std::set<std::string> const& paths) { wanted.insert(paths.begin(), paths.end()); }

    /// Several at a time: most of it is waiting for disks.
    std::vector<SourceFile> Finish() const {
        constexpr std::size_t kMostThreads = 8;
        std::vector<SourceFile> files;
        for (std::string const& path : wanted) {
            files.push_back({path, {}});
        }
        std::atomic<std::size_t> next = 0;
        std::vector<std::exception_ptr> errors(files.size());
        auto const work = [&] {
            for (std::size_t i = next++; i < files.size(); i = next++) {
                try {
                    files[i].fingerprint = FingerprintOf(files[i].path);
                } catch (...) {
                    errors[i] = std::current_exception();
                }
            }
        };
        {
            std::vector<std::jthread> threads;
            for (std::size_t i = 1; i < std::min(kMostThreads, files.size()); ++i) {
                threads.emplace_back(work);
            }
            work();
        }
        for (std::exception_ptr const& error : errors) {
            if (error) {
                std::rethrow_exception(error);
            }
        }
        return files;
    }

private:
    std::set<std::string> wanted;
};

/// Paths that hold whatever folder a task starts in.
void MakeAbsolute(Edit::Document& document) {
    auto const make = [](std::string& path) {
        path = path.empty() ? path : fs::absolute(path).lexically_normal().string();
    };
    for (Edit::Clip& clip : document.clips) {
        make(clip.source.file);
    }
    for (Edit::Overlay& overlay : document.overlays) {
        make(overlay.source.file);
    }
    for (Edit::Sound& sound : document.sounds) {
        make(sound.file);
    }
    for (Edit::Subtitles& subtitles : document.subtitles) {
        make(subtitles.file);
    }
}

Job StartJob(PlanningOptions const& options) {
    if (options.output == "-") {
        Core::Throw(std::invalid_argument("a farm writes files, not to standard output"));
    }
    Job job;
    job.version = GetVersion();
    job.editName = options.editName;
    job.output = fs::absolute(options.output).lexically_normal().string();
    job.overwrite = options.overwrite;
    job.allowPlaylists = options.allowPlaylists;
    job.keepsParts = options.keepsParts;
    return job;
}

void CheckPartSeconds(PlanningOptions const& options) {
    if (!(options.partSeconds > 0.0)) {
        Core::Throw(std::invalid_argument(fmt::format("{:g} s is too short for a part", options.partSeconds)));
    }
}

void CheckFree(std::string const& output, PlanningOptions const& options) {
    std::error_code error;
    if (!options.overwrite && fs::exists(output, error)) {
        Core::Throw(std::runtime_error(fmt::format("{} exists; --overwrite replaces it", output)));
    }
}

/// What is read through a pipe is there once only, and for one process.
void CheckFilesOnly(Edit::Plan const& plan) {
    auto const check = [](auto const& parts) {
        for (auto const& part : parts) {
            if (part.feed.pipe) {
                Core::Throw(std::invalid_argument(
                    fmt::format("{}: is a pipe; the parts of a farm read files", part.feed.path)));
            }
        }
    };
    check(plan.clips);
    check(plan.overlays);
}

/// The pictures that an effect reads, and its shader file; one that is known by name may lie elsewhere on each machine.
void AddFiles(Edit::PlannedLook const& look, std::set<std::string>& files) {
    auto const add = [&files](std::string const& path) {
        if (!path.empty()) {
            files.insert(fs::absolute(path).lexically_normal().string());
        }
    };
    if (!look.settings) {
        return;
    }
    if (look.settings->GetClassId() == look.settings->GetOrigin()) {
        add(look.settings->GetOrigin());
    }
    for (Proc::Field const& field : look.settings->GetFields()) {
        if (field.type == Proc::FieldType::File) {
            add(std::get<std::string>(field.get(*look.settings)));
        }
    }
}

void CheckFolder(std::string const& output) {
    fs::path const folder = fs::path(output).parent_path();
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        Core::Throw(std::runtime_error(
            fmt::format("{}: cannot be written: there is no folder {}", output, folder.string())));
    }
}

}  // namespace

std::string GetVersion() {
    return KALTOR_VERSION;
}

std::set<std::string> ListFiles(Edit::Plan const& plan, std::int64_t first, std::int64_t end) {
    std::set<std::string> files;
    auto const addLooks = [&files](std::vector<Edit::PlannedLook> const& looks) {
        for (Edit::PlannedLook const& look : looks) {
            AddFiles(look, files);
        }
    };
    auto const isNeeded = [&](auto const& part) { return part.first < end && part.GetEnd() > first; };
    auto const add = [&](auto const& part) {
        if (!part.feed.path.empty()) {
            files.insert(part.feed.path);
        }
        addLooks(part.effects);
    };
    for (Edit::PlannedClip const& clip : plan.clips) {
        if (isNeeded(clip)) {
            add(clip);
            AddFiles(clip.joint, files);
        }
    }
    for (Edit::PlannedOverlay const& overlay : plan.overlays) {
        if (isNeeded(overlay)) {
            add(overlay);
            AddFiles(overlay.enter.value_or(Edit::PlannedLook()), files);
            AddFiles(overlay.leave.value_or(Edit::PlannedLook()), files);
        }
    }
    addLooks(plan.effects);
    for (std::optional<Edit::PlannedEdge> const& edge : {plan.opening, plan.closing}) {
        AddFiles(edge ? edge->look : Edit::PlannedLook(), files);
    }
    for (Edit::PlannedSubtitles const& subtitles : plan.subtitles) {
        files.insert(subtitles.path);
    }
    return files;
}

std::set<std::string> ListSoundFiles(Edit::Plan const& plan) {
    std::set<std::string> files;
    for (Edit::PlannedSound const& sound : plan.sounds) {
        files.insert(sound.path);
    }
    return files;
}

PlannedJob PlanVideo(Edit::Document document, std::uint32_t seed, PlanningOptions const& options) {
    CheckPartSeconds(options);
    MakeAbsolute(document);
    document.output.seed = document.output.seed.value_or(seed);
    PlannedJob planned;
    Job& job = planned.job = StartJob(options);
    Media::EncoderSettings const encoding = Media::ApplyProfile(document.output, job.output);
    AVOutputFormat const& container = Media::FindContainer(job.output, encoding.format);
    AVCodec const& encoder = Media::FindVideoEncoder(container, encoding.codec, job.output);
    CheckJoinable(container, encoder, job.output);
    job.container = container.name;
    job.metadata = encoding.metadata;
    CheckFolder(job.output);
    CheckFree(job.output, options);
    Edit::Prober prober({options.allowPlaylists, options.cancel});
    Edit::Plan const plan =
        Edit::MakePlan(document, {options.allowPlaylists, options.editName, options.cancel, options.warn, &prober});
    CheckFilesOnly(plan);
    if (encoding.hasChapters) {
        job.chapters = Render::ListChapters(plan);
    }
    planned.texts.edit = Edit::WriteDocument(document).dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
    job.editChecksum = ChecksumOfText(planned.texts.edit);
    planned.texts.files = prober.Save().dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    job.filesChecksum = ChecksumOfText(planned.texts.files);
    job.frames = plan.frames;
    job.frameRate = plan.time.frameRate;
    job.hasSound = plan.sound && Media::FindAudioEncoder(container, encoding.audioCodec, job.output) != nullptr;
    if (plan.sound && !job.hasSound && options.warn) {
        options.warn(fmt::format("{}: this kind of file carries no sound; it is left out", job.output));
    }
    FileList files;
    files.Add(ListFiles(plan, 0, plan.frames));
    double const seconds = plan.time.SecondsOf(plan.frames);
    if (job.hasSound) {
        files.Add(ListSoundFiles(plan));
        planned.soundWork = seconds * kSoundWork;
    }
    job.files = files.Finish();
    job.parts = Cut(EstimateWork(plan, IsCheap(encoder)),
                    std::max<std::int64_t>(1, std::llround(seconds / options.partSeconds)));
    planned.bytes = static_cast<std::uint64_t>(static_cast<double>(plan.frames) * plan.target.frame.width *
                                                   plan.target.frame.height * BytesPerPixel(encoder) +
                                               (job.hasSound ? seconds * kSoundBytes : 0.0));
    return planned;
}

RowEdit MakeRow(Job const& job, Json const& form, Table const& table, std::size_t row, Host::Catalog const& catalog) {
    RowEdit edit;
    edit.name = fmt::format("{}: row {}", job.editName, row + 1);
    try {
        edit.output = fs::path(FillName(job.output, table, row)).lexically_normal().string();
        Edit::Home const home{job.editFolder, job.isTrusted ? Edit::Trust::Everywhere : Edit::Trust::OwnFolder};
        edit.document = Edit::ReadDocument(Fill(form, table, row), catalog, home);
        Edit::ResolvePaths(edit.document, home);
    } catch (std::invalid_argument const& error) {
        Core::Throw(std::invalid_argument(fmt::format("{}: {}", edit.name, error.what())));
    }
    return edit;
}

PlannedJob PlanBatch(BatchSource const& source, std::uint32_t seed, Host::Catalog const& catalog,
                     PlanningOptions const& options) {
    CheckPartSeconds(options);
    PlannedJob planned;
    Job& job = planned.job = StartJob(options);
    job.kind = Job::Kind::Batch;
    job.editFolder = fs::absolute(source.folder).lexically_normal().string();
    job.isTrusted = source.isTrusted;
    Json form = source.form;
    if (form.is_object()) {
        Json& output = *form.emplace("output", Json::object()).first;
        if (output.is_object()) {  // what it is otherwise is refused with the first row
            output.emplace("seed", seed);
        }
    }
    planned.texts.edit = form.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
    planned.texts.rows = ToJson(source.table).dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    job.editChecksum = ChecksumOfText(planned.texts.edit);
    job.rowsChecksum = ChecksumOfText(planned.texts.rows);
    Edit::Prober prober({options.allowPlaylists, options.cancel});
    FileList files;
    std::map<std::string, std::size_t> outputs;
    std::set<std::string> folders;
    double seconds = 0.0;
    for (std::size_t row = 0; row < source.table.rows.size(); ++row) {
        RowEdit const edit = MakeRow(job, form, source.table, row, catalog);
        auto const [other, isNew] = outputs.emplace(edit.output, row);
        if (!isNew) {
            Core::Throw(std::invalid_argument(fmt::format("{} and row {}: both would be written to {}", edit.name,
                                                          other->second + 1, edit.output)));
        }
        CheckFree(edit.output, options);
        if (folders.insert(fs::path(edit.output).parent_path().string()).second) {
            CheckFolder(edit.output);
        }
        Media::EncoderSettings const encoding = Media::ApplyProfile(edit.document.output, edit.output);
        AVOutputFormat const& container = Media::FindContainer(edit.output, encoding.format);
        AVCodec const& encoder = Media::FindVideoEncoder(container, encoding.codec, edit.output);
        Edit::Plan const plan = Edit::MakePlan(
            edit.document, {options.allowPlaylists, edit.name, options.cancel, row == 0 ? options.warn : nullptr, &prober});
        CheckFilesOnly(plan);
        files.Add(ListFiles(plan, 0, plan.frames));
        files.Add(ListSoundFiles(plan));
        double const length = plan.time.SecondsOf(plan.frames);
        double const work = SumWork(EstimateWork(plan, IsCheap(encoder))) + (plan.sound ? length * kSoundWork : 0.0);
        // Short videos share a part, which pays for its beginning once.
        if (job.parts.empty() || seconds + length > options.partSeconds) {
            job.parts.push_back({static_cast<std::int64_t>(row), static_cast<std::int64_t>(row), 0.0});
            seconds = 0.0;
        }
        job.parts.back().end = static_cast<std::int64_t>(row) + 1;
        job.parts.back().work += work;
        seconds += length;
        job.frames += plan.frames;
        job.frameRate = plan.time.frameRate;
        job.hasSound = job.hasSound || plan.sound;
        planned.bytes += static_cast<std::uint64_t>(static_cast<double>(plan.frames) * plan.target.frame.width *
                                                    plan.target.frame.height * BytesPerPixel(encoder));
    }
    job.files = files.Finish();
    return planned;
}

}  // namespace Kaltor::Farm
