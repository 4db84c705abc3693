#include "Farm/Join.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <limits>
#include <memory>
#include <set>
#include <stdexcept>
#include <thread>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Core/Interfaces/Exception.h"
#include "Farm/Packets.h"
#include "Media/Demuxer.h"
#include "Media/EncoderChoice.h"
#include "Media/Ffmpeg.h"
#include "Media/PartialFile.h"

namespace Kaltor::Farm {
namespace {

namespace fs = std::filesystem;
using Media::Demuxer;
using Media::ThrowMediaError;

constexpr char kDoneFile[] = "done.json";

[[noreturn]] void FailJoin(std::string const& text) {
    Core::Throw(std::runtime_error(text));
}

void CheckCancelled(JoinOptions const& options) {
    if (options.cancel != nullptr && options.cancel->load(std::memory_order_relaxed)) {
        Core::Throw(Media::Cancelled());
    }
}

/// Each file on one of a few threads: the checksum is computed while others are read.
void CheckSums(JobFolder const& folder, std::vector<Task> const& tasks, std::vector<PartResult> const& results,
               JoinOptions const& options) {
    constexpr std::size_t kMostThreads = 4;
    std::atomic<std::size_t> next = 0;
    std::vector<char> isBad(tasks.size(), 0);
    auto const holds = [&](PartResult const& result) {
        try {
            if (!result.file.empty() && ChecksumOfFile(folder.PartsFile(result.file)) != result.checksum) {
                return false;
            }
            return std::all_of(result.videos.begin(), result.videos.end(), [](SourceFile const& video) {
                return ChecksumOfFile(video.path) == video.fingerprint.checksum;
            });
        } catch (std::runtime_error const&) {
            return false;
        }
    };
    auto const work = [&] {
        for (std::size_t i = next++; i < tasks.size(); i = next++) {
            if (options.cancel != nullptr && options.cancel->load(std::memory_order_relaxed)) {
                return;
            }
            isBad[i] = holds(results[i]) ? 0 : 1;
        }
    };
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 1; i < std::min(kMostThreads, tasks.size()); ++i) {
            threads.emplace_back(work);
        }
        work();
    }
    CheckCancelled(options);
    std::vector<std::string> bad;
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        if (isBad[i] != 0) {
            folder.Discard(tasks[i]);
            bad.push_back(tasks[i].GetName());
        }
    }
    if (!bad.empty()) {
        FailJoin(fmt::format("{}: damaged or gone: {}; kaltor farm retry makes what is missing", folder.GetPath(),
                         fmt::join(bad, ", ")));
    }
}

/// Why there is nothing to join yet.
[[noreturn]] void FailMissing(JobFolder const& folder, std::vector<Task> const& missing) {
    std::vector<std::int64_t> parts;
    bool isSoundMissing = false;
    std::string reason;
    for (Task const& task : missing) {
        isSoundMissing = isSoundMissing || task.IsSound();
        if (!task.IsSound()) {
            parts.push_back(task.index + 1);
        }
        TaskState const state = folder.GetState(task);
        if (reason.empty() && state.stage == TaskState::Stage::Failed) {
            reason = fmt::format(" ({}: {})", task.GetName(), state.error);
        }
    }
    std::string what = parts.empty() ? ""
                                     : fmt::format("part{} {} of {}", parts.size() == 1 ? "" : "s", ListNumbers(parts),
                                                   folder.GetJob().parts.size());
    if (isSoundMissing) {
        what += what.empty() ? "the sound" : " and the sound";
    }
    FailJoin(fmt::format("{}: not done yet: {}{}", folder.GetPath(), what, reason));
}

/// The file that is written, closed with it.
class OutputFile {
public:
    OutputFile(std::string const& nameForMessages, AVOutputFormat const& container, std::string const& path)
        : name(nameForMessages) {
        std::string const url = "file:" + path;
        int result = avformat_alloc_output_context2(&context, &container, nullptr, url.c_str());
        if (result >= 0) {
            result = avio_open(&context->pb, url.c_str(), AVIO_FLAG_WRITE);
        }
        if (result < 0) {
            avformat_free_context(context);
            ThrowMediaError(name, "cannot be written", result);
        }
    }
    ~OutputFile() {
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    /// A stream with the form of another file's.
    AVStream& AddStream(AVStream const& source) {
        AVStream& stream = *Media::CheckAllocated(avformat_new_stream(context, nullptr));
        int result = avcodec_parameters_copy(stream.codecpar, source.codecpar);
        for (int i = 0; result >= 0 && i < source.nb_side_data; ++i) {
            AVPacketSideData const& data = source.side_data[i];
            std::uint8_t* const copy = av_stream_new_side_data(&stream, data.type, data.size);
            result = copy == nullptr ? AVERROR(ENOMEM) : 0;
            if (copy != nullptr) {
                std::copy_n(data.data, data.size, copy);
            }
        }
        if (result >= 0) {
            result = av_dict_copy(&stream.metadata, source.metadata, 0);
        }
        if (result < 0) {
            ThrowMediaError(name, "cannot be written", result);
        }
        // Some containers keep it beside the codec's parameters.
        if (source.sample_aspect_ratio.num > 0) {
            stream.codecpar->sample_aspect_ratio = source.sample_aspect_ratio;
        }
        stream.sample_aspect_ratio = stream.codecpar->sample_aspect_ratio;
        stream.disposition = source.disposition;
        return stream;
    }

    void Begin(Job const& job) {
        for (auto const& [key, value] : job.metadata) {
            av_dict_set(&context->metadata, key.c_str(), value.c_str(), 0);
        }
        Media::AddChapters(*context, job.chapters,
                           Media::Microseconds(av_rescale_q(job.frames, av_inv_q(job.frameRate), Media::kMicrosecondBase)));
        AVDictionary* options = nullptr;
        av_dict_set(&options, "movflags", "+faststart", 0);
        Media::ClearFfmpegLog();
        int const result = avformat_write_header(context, &options);
        av_dict_free(&options);
        Check(result);
    }

    void Write(AVPacket& packet) {
        Media::ClearFfmpegLog();
        int result = av_interleaved_write_frame(context, &packet);
        if (result >= 0 && context->pb->error < 0) {
            result = context->pb->error;
        }
        Check(result);
    }

    void Finish() {
        Media::ClearFfmpegLog();
        int result = av_write_trailer(context);
        if (result >= 0) {
            avio_flush(context->pb);
            result = context->pb->error;
        }
        int const closed = avio_closep(&context->pb);
        Check(result < 0 ? result : closed);
    }

private:
    void Check(int result) const {
        if (result < 0) {
            ThrowMediaError(name, "cannot be written", result);
        }
    }

    std::string name;
    AVFormatContext* context = nullptr;
};

/// The packets of the sound, in their order, each given out when the pictures are so far.
class SoundPackets {
public:
    /// `delay`: samples by which the first packet begins before the pictures. A file of sound alone may have lost it.
    SoundPackets(std::string const& path, std::int64_t delay, OutputFile& outputFile)
        : demuxer(path), output(outputFile) {
        source = demuxer.FindAudio();
        if (source == nullptr) {
            FailJoin(fmt::format("{}: has no sound", path));
        }
        demuxer.Select(*source);
        stream = &output.AddStream(*source);
        stream->codecpar->initial_padding = static_cast<int>(delay);
        stream->time_base = {1, source->codecpar->sample_rate};
        Advance();
        if (hasNext) {
            shift = av_rescale_q(-delay, {1, source->codecpar->sample_rate}, source->time_base) - packet->pts;
            Shift();
        }
    }

    /// Writes those that begin before a time, of `base`.
    void WriteUntil(std::int64_t time, AVRational base) {
        while (hasNext && av_compare_ts(packet->dts, source->time_base, time, base) < 0) {
            av_packet_rescale_ts(packet.get(), source->time_base, stream->time_base);
            packet->stream_index = stream->index;
            packet->pos = -1;
            output.Write(*packet);
            Advance();
        }
    }

private:
    void Advance() {
        int const result = demuxer.Read(*packet);
        hasNext = result >= 0;
        if (!hasNext && result != AVERROR_EOF) {
            ThrowMediaError(demuxer.GetName(), "cannot be read", result);
        }
        Shift();
    }

    void Shift() {
        for (std::int64_t* const time : {&packet->pts, &packet->dts}) {
            *time += *time != AV_NOPTS_VALUE ? shift : 0;
        }
    }

    Demuxer demuxer;
    OutputFile& output;
    AVStream* source = nullptr;
    AVStream* stream = nullptr;
    Media::PacketPtr packet = Media::MakePacket();
    bool hasNext = false;
    std::int64_t shift = 0;  ///< in the source's time base
};

/// What has to be the same in all parts.
bool HasSameForm(AVCodecParameters const& a, AVCodecParameters const& b) {
    return a.codec_id == b.codec_id && a.codec_tag == b.codec_tag && a.format == b.format && a.width == b.width &&
           a.height == b.height && av_cmp_q(a.sample_aspect_ratio, b.sample_aspect_ratio) == 0 &&
           a.color_space == b.color_space && a.color_range == b.color_range && a.color_trc == b.color_trc &&
           a.color_primaries == b.color_primaries && a.extradata_size == b.extradata_size &&
           std::equal(a.extradata, a.extradata + a.extradata_size, b.extradata);
}

/// The pictures of all parts, one after the other.
class PartsJoiner {
public:
    PartsJoiner(JobFolder const& jobFolder, std::vector<PartResult> const& partResults, PartResult const* soundResult,
                std::string const& path, AVOutputFormat const& container, JoinOptions const& joinOptions)
        : folder(jobFolder), job(folder.GetJob()), results(partResults), options(joinOptions),
          output(job.output, container, path) {
        for (PartResult const& result : results) {
            delay = std::max(delay, result.delay);
        }
        first = std::make_unique<Demuxer>(folder.PartsFile(results.front().file));
        AVStream const& source = first->RequireVideo();
        stream = &output.AddStream(source);
        stream->time_base = av_inv_q(job.frameRate);
        stream->avg_frame_rate = job.frameRate;
        stream->r_frame_rate = job.frameRate;
        if (soundResult != nullptr) {
            sound = std::make_unique<SoundPackets>(folder.PartsFile(soundResult->file), soundResult->delay, output);
        }
    }

    std::int64_t Write() {
        output.Begin(job);
        for (std::size_t i = 0; i < results.size(); ++i) {
            if (i == 0) {
                WritePart(*first, job.parts[i]);
            } else {
                Demuxer part(folder.PartsFile(results[i].file));
                WritePart(part, job.parts[i]);
            }
        }
        if (sound) {
            sound->WriteUntil(std::numeric_limits<std::int64_t>::max() / 2, {1, 1});
        }
        output.Finish();
        return written;
    }

private:
    void WritePart(Demuxer& part, Part const& place) {
        AVStream const& source = part.RequireVideo();
        part.Select(source);
        if (!HasSameForm(*source.codecpar, *first->RequireVideo().codecpar)) {
            FailJoin(fmt::format("{}: was encoded in another form than the first part; it cannot be joined to it",
                             part.GetName()));
        }
        AVRational const base = av_inv_q(job.frameRate);
        std::int64_t count = 0;
        int result = 0;
        while ((result = part.Read(*packet)) >= 0) {
            CheckCancelled(options);
            std::int64_t const frame = FrameOf(*packet, source, job.frameRate);
            if (packet->pts == AV_NOPTS_VALUE || frame < 0 || frame >= place.Count()) {
                FailJoin(fmt::format("{}: holds other pictures than the plan says", part.GetName()));
            }
            // One picture in each packet, one packet in each frame's time: decoding goes on evenly over the joints.
            packet->pts = place.first + frame;
            packet->dts = written - delay;
            packet->duration = 1;
            packet->pos = -1;
            if (sound) {
                sound->WriteUntil(packet->dts, base);
            }
            av_packet_rescale_ts(packet.get(), base, stream->time_base);
            packet->stream_index = stream->index;
            output.Write(*packet);
            ++count;
            ++written;
            if (options.onProgress) {
                options.onProgress(written, job.frames);
            }
        }
        if (result != AVERROR_EOF) {
            ThrowMediaError(part.GetName(), "cannot be read", result);
        }
        if (count != place.Count()) {
            FailJoin(fmt::format("{}: holds {} pictures instead of {}", part.GetName(), count, place.Count()));
        }
    }

    JobFolder const& folder;
    Job const& job;
    std::vector<PartResult> const& results;
    JoinOptions const& options;
    OutputFile output;
    AVStream* stream = nullptr;
    std::unique_ptr<Demuxer> first;
    std::unique_ptr<SoundPackets> sound;
    std::int64_t delay = 0;
    std::int64_t written = 0;
    Media::PacketPtr packet = Media::MakePacket();
};

void WarnOfRenderers(std::vector<PartResult> const& results, JobFolder const& folder, JoinOptions const& options) {
    std::set<std::string> renderers;
    for (PartResult const& result : results) {
        if (!result.renderer.empty()) {
            renderers.insert(result.renderer);
        }
    }
    if (renderers.size() > 1 && options.onWarning) {
        options.onWarning(fmt::format("{}: drawn by different GLs, which may show at the joints: {}", folder.GetPath(),
                                      fmt::join(renderers, "; ")));
    }
}

}  // namespace

std::string ListNumbers(std::vector<std::int64_t> const& numbers) {
    std::vector<std::string> runs;
    for (std::size_t i = 0; i < numbers.size();) {
        std::size_t end = i + 1;
        while (end < numbers.size() && numbers[end] == numbers[end - 1] + 1) {
            ++end;
        }
        if (end - i > 2) {
            runs.push_back(fmt::format("{} to {}", numbers[i], numbers[end - 1]));
        } else {
            for (std::size_t k = i; k < end; ++k) {
                runs.push_back(fmt::format("{}", numbers[k]));
            }
        }
        i = end;
    }
    constexpr std::size_t kMost = 12;
    if (runs.size() > kMost) {
        std::size_t const left = runs.size() - kMost;
        runs.resize(kMost);
        return fmt::format("{} and {} more", fmt::join(runs, ", "), left);
    }
    std::string const last = runs.empty() ? "" : runs.back();
    if (runs.size() < 2) {
        return last;
    }
    runs.pop_back();
    return fmt::format("{} and {}", fmt::join(runs, ", "), last);
}

std::optional<Joined> FindJoined(JobFolder const& folder) {
    std::optional<Edit::Json> const done = folder.ReadFile(kDoneFile);
    if (!done) {
        return std::nullopt;
    }
    return Joined{done->value("output", ""), done->value("frames", std::int64_t{0}),
                  done->value("bytes", std::uint64_t{0}), done->value("seconds", 0.0)};
}

Joined Join(JobFolder const& folder, JoinOptions const& options) {
    auto const begin = std::chrono::steady_clock::now();
    Job const& job = folder.GetJob();
    if (std::optional<Joined> done = FindJoined(folder)) {
        return std::move(*done);
    }
    Media::CaptureFfmpegLog();
    std::vector<Task> const tasks = folder.ListTasks();
    std::vector<PartResult> results;
    std::vector<Task> missing;
    for (Task const& task : tasks) {
        if (std::optional<PartResult> result = folder.FindResult(task)) {
            results.push_back(std::move(*result));
        } else {
            missing.push_back(task);
        }
    }
    if (!missing.empty()) {
        FailMissing(folder, missing);
    }
    CheckSums(folder, tasks, results, options);
    WarnOfRenderers(results, folder, options);
    Joined joined;
    joined.output = job.output;
    if (job.kind == Job::Kind::Video) {
        AVOutputFormat const& container = Media::FindContainer(job.output, job.container);
        Media::PartialFile file(job.output, job.overwrite, options.onWarning);
        std::optional<PartResult> sound;
        if (job.hasSound) {
            sound = std::move(results.back());
            results.pop_back();
        }
        PartsJoiner joiner(folder, results, sound ? &*sound : nullptr, file.GetPath(), container, options);
        joined.frames = joiner.Write();
        joined.bytes = fs::file_size(file.GetPath());
        file.Commit();
    } else {
        for (PartResult const& result : results) {
            joined.frames += result.frames;
            joined.bytes += result.bytes;
        }
    }
    joined.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    folder.WriteFile(kDoneFile, {{"output", joined.output},
                                 {"frames", joined.frames},
                                 {"bytes", joined.bytes},
                                 {"seconds", joined.seconds}});
    if (!job.keepsParts && job.kind == Job::Kind::Video) {
        folder.RemoveParts();
    }
    return joined;
}

}  // namespace Kaltor::Farm
