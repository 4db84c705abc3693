#include "Media/Demuxer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Media/MostPixels.h"
#include "Media/PipeSource.h"
#include "Media/Playlist.h"

namespace Kaltor::Media {
namespace {

namespace fs = std::filesystem;

constexpr char kNotMedia[] = "not a video or picture that can be read";

[[noreturn]] void Fail(std::string const& name, std::string const& why) {
    Core::Throw(MediaError(fmt::format("{}: {}", name, why)));
}

[[noreturn]] void FailSystem(std::string const& name, std::string const& why) {
    Core::Throw(SystemError(fmt::format("{}: {}", name, why)));
}

/// What can be said of a path before it is opened; a device might block and a folder reads as an empty file.
void CheckReadable(std::string const& path) {
    std::error_code error;
    fs::file_status const status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        FailSystem(path, "no such file");
    }
    if (!fs::status_known(status)) {
        FailSystem(path, fmt::format("cannot be read ({})", error.message()));
    }
    if (fs::is_directory(status)) {
        Fail(path, "is a directory, not a video or picture");
    }
    if (!fs::is_regular_file(status)) {
        Fail(path, "is not a plain file");
    }
    if (::access(path.c_str(), R_OK) != 0) {
        FailSystem(path, fmt::format("cannot be read ({})", std::strerror(errno)));
    }
    if (fs::file_size(path, error) == 0 && !error) {
        Fail(path, "is empty");
    }
}

int IsStopped(void* flag) {
    return static_cast<std::atomic<bool> const*>(flag)->load(std::memory_order_relaxed);
}

}  // namespace

struct Demuxer::Memory {
    std::vector<std::uint8_t> const& content;
    std::size_t position = 0;
    AVIOContext* io = nullptr;
    std::function<void()> beforeReading = {};

    explicit Memory(std::vector<std::uint8_t> const& bytes) : content(bytes) {
        constexpr int kBlock = 1 << 16;
        auto* const block = static_cast<unsigned char*>(CheckAllocated(av_malloc(kBlock)));
        io = CheckAllocated(avio_alloc_context(block, kBlock, 0, this, &Memory::Read, nullptr, &Memory::Seek));
    }
    ~Memory() {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
    Memory(Memory const&) = delete;
    Memory& operator=(Memory const&) = delete;

    static int Read(void* self, std::uint8_t* buffer, int size) {
        auto& memory = *static_cast<Memory*>(self);
        if (memory.beforeReading) {
            std::exchange(memory.beforeReading, {})();
        }
        std::size_t const count = std::min(static_cast<std::size_t>(size), memory.content.size() - memory.position);
        if (count == 0) {
            return AVERROR_EOF;
        }
        std::memcpy(buffer, memory.content.data() + memory.position, count);
        memory.position += count;
        return static_cast<int>(count);
    }
    static std::int64_t Seek(void* self, std::int64_t offset, int whence) {
        auto& memory = *static_cast<Memory*>(self);
        auto const size = static_cast<std::int64_t>(memory.content.size());
        whence &= ~AVSEEK_FORCE;
        if (whence == AVSEEK_SIZE) {
            return size;
        }
        std::int64_t const base = whence == SEEK_SET   ? 0
                                  : whence == SEEK_CUR ? static_cast<std::int64_t>(memory.position)
                                                       : size;
        if (base + offset < 0 || base + offset > size) {
            return AVERROR(EINVAL);
        }
        memory.position = static_cast<std::size_t>(base + offset);
        return base + offset;
    }
};

/// Bytes from a pipe.
struct Demuxer::Pipe {
    std::shared_ptr<PipeReader> reader;
    std::atomic<bool> const* stop;
    AVIOContext* io = nullptr;
    std::int64_t frameEnd = 0;        ///< of the last whole frame, where frames are not compressed
    std::vector<std::uint8_t> start;  ///< what was looked at, and is still to be read

    Pipe(std::shared_ptr<PipeReader> pipe, std::atomic<bool> const* stopFlag)
        : reader(std::move(pipe)), stop(stopFlag) {
        constexpr int kBlock = 1 << 18;
        auto* const block = static_cast<unsigned char*>(CheckAllocated(av_malloc(kBlock)));
        io = CheckAllocated(avio_alloc_context(block, kBlock, 0, this, &Pipe::Read, nullptr, nullptr));
        io->seekable = 0;
    }
    ~Pipe() {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;

    static int Read(void* self, std::uint8_t* buffer, int size) {
        auto& own = *static_cast<Pipe*>(self);
        if (!own.start.empty()) {
            auto const taken = std::min(own.start.size(), static_cast<std::size_t>(size));
            std::copy_n(own.start.begin(), taken, buffer);
            own.start.erase(own.start.begin(), own.start.begin() + static_cast<std::ptrdiff_t>(taken));
            return static_cast<int>(taken);
        }
        int const count = own.reader->Read(buffer, size, own.stop);
        return count == 0 ? AVERROR_EOF : count;
    }

    /// Reads on until there are so many bytes at the start, or the end. Gives FFmpeg's error where the pipe fails.
    int Fill(std::size_t size) {
        std::size_t have = start.size();
        start.resize(size);
        int count = 1;
        while (have < size && count > 0) {
            count = reader->Read(start.data() + have, static_cast<int>(std::min(size - have, kMostAtOnce)), stop);
            have += static_cast<std::size_t>(std::max(count, 0));
        }
        start.resize(have);
        return std::min(count, 0);
    }

    /// An AVIF picture has its alpha in another place than its colours.
    bool IsAvif() {
        constexpr std::size_t kMark = 12;
        Fill(kMark);
        std::string_view const mark(reinterpret_cast<char const*>(start.data()), start.size());
        return mark.size() == kMark && (mark.ends_with("ftypavif") || mark.ends_with("ftypmif1"));
    }

private:
    static constexpr std::size_t kMostAtOnce = std::size_t{1} << 20U;
};

/// A playlist's text and what it may open.
struct Demuxer::List {
    std::vector<std::uint8_t> text;
    Memory memory{text};
    Playlist playlist;
};

Demuxer::Demuxer(std::string const& path, InputRules const& inputRules)
    : name(ShowInput(path)), url("file:" + (path == "-" ? "/dev/stdin" : path)), rules(inputRules) {
    if (rules.openPipe) {
        pipe = std::make_unique<Pipe>(rules.openPipe(), rules.stop);
        url = "pipe:";
        if (pipe->IsAvif()) {
            TakeWhole();
        }
    } else {
        CheckReadable(path == "-" ? "/dev/stdin" : path);
    }
    Open();
}

Demuxer::Demuxer(std::vector<std::uint8_t> const& content, std::string const& nameOfContent) : name(nameOfContent) {
    if (content.empty()) {
        Fail(name, "is empty");
    }
    memory = std::make_unique<Memory>(content);
    Open();
}

/// Reads the pipe as a whole, for what is not read in its order.
void Demuxer::TakeWhole() {
    constexpr std::size_t kMost = std::size_t{256} << 20U;
    constexpr std::size_t kFirst = std::size_t{1} << 20U;
    for (std::size_t size = kFirst; pipe->start.size() <= kMost; size = std::min(2 * size, kMost + 1)) {
        int const error = pipe->Fill(size);
        CheckStop();
        if (error < 0) {
            FailSystem(name, fmt::format("cannot be read ({})", Proc::DescribeAvError(error)));
        }
        if (pipe->start.size() < size) {
            content = std::move(pipe->start);
            memory = std::make_unique<Memory>(content);
            pipe.reset();
            return;
        }
    }
    Fail(name, fmt::format("is a picture of more than {} MiB", kMost >> 20U));
}

Demuxer::~Demuxer() {
    avformat_close_input(&context);
}

/// The one place where a file is opened for reading.
int Demuxer::OpenFile(AVIOContext** io) {
    AVIOInterruptCB const interrupt = context->interrupt_callback;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    int const result = avio_open2(io, url.c_str(), AVIO_FLAG_READ, &interrupt, &options);
    av_dict_free(&options);
    if (result < 0 && systemError == 0) {
        systemError = result;
    }
    return result;
}

/// As FFmpeg does it: by the name where that is enough, by the content otherwise.
AVInputFormat const* Demuxer::FindFormat() {
    if (!rules.raw.empty()) {
        return av_find_input_format("rawvideo");
    }
    if (!memory && !pipe) {
        AVProbeData byName{};
        byName.filename = url.c_str();
        int score = AVPROBE_SCORE_RETRY;
        if (AVInputFormat const* const format = av_probe_input_format2(&byName, 0, &score)) {
            return format;
        }
        AVIOContext* io = nullptr;
        if (int const opened = OpenFile(&io); opened < 0) {
            FailOpening(opened);
        }
        file.reset(io);
    }
    AVInputFormat const* format = nullptr;
    AVIOContext* const io = memory ? memory->io : pipe ? pipe->io : file.get();
    int const score = av_probe_input_buffer2(io, &format, memory || pipe ? "" : url.c_str(), nullptr, 0, 0);
    if (pipe && pipe->reader->GetPosition() == 0) {
        CheckStop();
        Fail(name, "is empty");
    }
    if (score < 0) {
        FailOpening(score);
    }
    return format;
}

void Demuxer::FailOpening(int error) const {
    CheckStop();
    if (list) {
        std::string const& refusal = list->playlist.GetRefusal();
        Fail(name, !refusal.empty() ? refusal
                                    : fmt::format("is a playlist that cannot be read ({}); it may name local videos, "
                                                  "pictures and sounds, and no playlists but HLS's own",
                                                  ExplainFfmpeg(error)));
    }
    if (systemError != 0) {
        FailSystem(name, fmt::format("cannot be read ({})", Proc::DescribeAvError(systemError)));
    }
    ThrowMediaError(name, kNotMedia, error);
}

/// The whole text is read here, so that its size is known before FFmpeg makes anything of it.
void Demuxer::ReadList(AVIOContext& io) {
    list = std::make_unique<List>();
    list->text.resize(Playlist::kMostBytes + 1);
    int const count = avio_read(&io, list->text.data(), static_cast<int>(list->text.size()));
    CheckStop();
    if (count > Playlist::kMostBytes) {
        Fail(name, fmt::format("is a playlist of more than {} bytes", Playlist::kMostBytes));
    }
    list->text.resize(static_cast<std::size_t>(std::max(count, 0)));
    // FFmpeg has let the playlist itself pass by then, and hands the rules on to what it names.
    list->memory.beforeReading = [this] {
        av_freep(&context->format_whitelist);
        context->format_whitelist = av_strdup(Playlist::ListFormatsWithin().c_str());
    };
    context->io_open = [](AVFormatContext* self, AVIOContext** opened, char const* wanted, int flags, AVDictionary**) {
        auto& demuxer = *static_cast<Demuxer*>(self->opaque);
        return demuxer.list->playlist.Open(opened, wanted, flags, self->interrupt_callback);
    };
}

void Demuxer::CheckStop() const {
    if (rules.stop != nullptr && rules.stop->load(std::memory_order_relaxed)) {
        Core::Throw(Cancelled());
    }
}

void Demuxer::Open() {
    CaptureFfmpegLog();
    context = CheckAllocated(avformat_alloc_context());
    try {
        if (rules.stop != nullptr) {
            context->interrupt_callback = {&IsStopped, const_cast<std::atomic<bool>*>(rules.stop)};
        }
        // Formats that hold others hand this list down to them.
        context->protocol_whitelist = CheckAllocated(av_strdup(rules.allowPlaylists ? "file" : ""));
        context->opaque = this;
        if (!rules.allowPlaylists) {
            context->io_open = [](AVFormatContext* self, AVIOContext** io, char const* wanted, int flags,
                                  AVDictionary**) {
                auto& demuxer = *static_cast<Demuxer*>(self->opaque);
                bool const isOwn =
                    !demuxer.memory && !demuxer.pipe && demuxer.url == wanted && (flags & AVIO_FLAG_WRITE) == 0;
                return isOwn ? demuxer.OpenFile(io) : AVERROR(EPERM);
            };
        }
        AVInputFormat const* const format = FindFormat();
        if (std::string const refusal = FindRefusal(format->name, rules.allowPlaylists); !refusal.empty()) {
            Fail(name, refusal);
        }
        AVIOContext* io = memory ? memory->io : pipe ? pipe->io : file.get();
        if (io != nullptr && Playlist::IsFormat(format->name)) {
            ReadList(*io);
            io = list->memory.io;
        }
        context->pb = io;  // from here on it is known that this is not to be closed
        AVDictionary* options = nullptr;
        // A name with a number pattern is a name, not a series of files.
        av_dict_set(&options, "pattern_type", "none", 0);
        if (!rules.raw.empty()) {
            RawForm const form = ParseRawForm(rules.raw);
            av_dict_set(&options, "video_size", form.size.c_str(), 0);
            av_dict_set(&options, "pixel_format", form.pixelFormat.c_str(), 0);
            av_dict_set(&options, "framerate", form.frameRate.c_str(), 0);
        }
        int const opened = avformat_open_input(&context, url.c_str(), format, &options);
        av_dict_free(&options);
        if (opened < 0) {
            FailOpening(opened);  // the context is gone already
        }
        openedSize = context->pb != nullptr && !pipe ? avio_size(context->pb) : 0;
        if (list && !list->playlist.GetRefusal().empty()) {
            Fail(name, list->playlist.GetRefusal());
        }
        if (int const found = FindStreams(); found < 0) {
            FailOpening(found);
        }
        for (unsigned i = 0; i < context->nb_streams; ++i) {
            DropUnknownTags(*context->streams[i]->codecpar);
        }
        CheckStop();
    } catch (...) {
        avformat_close_input(&context);
        throw;
    }
}

/// Pictures are decoded here where only they know their form: those that are too large are not.
int Demuxer::FindStreams() {
    std::vector<AVDictionary*> options(context->nb_streams);
    for (AVDictionary*& one : options) {
        av_dict_set_int(&one, "max_pixels", GetMostPixels(), 0);
    }
    ClearFfmpegLog();
    int const found = avformat_find_stream_info(context, options.empty() ? nullptr : options.data());
    for (AVDictionary*& one : options) {
        av_dict_free(&one);
    }
    fault = ExplainFfmpeg(AVERROR_INVALIDDATA);
    return found;
}

AVStream* Demuxer::FindVideo() const {
    int const best = av_find_best_stream(context, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (best < 0 || (context->streams[best]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
        return nullptr;
    }
    return context->streams[best];
}

AVStream& Demuxer::RequireVideo() const {
    AVStream* const stream = FindVideo();
    if (stream == nullptr) {
        bool const hasSound = FindAudio() != nullptr;
        Fail(name, hasSound ? "has sound but no picture" : fmt::format("{} (it has no video stream)", kNotMedia));
    }
    if (stream->codecpar->width <= 0 || stream->codecpar->height <= 0) {
        // FFmpeg's own words, which speak of its options.
        constexpr std::string_view kTooLarge = "Picture size ";
        if (fault.starts_with(kTooLarge)) {
            std::string const size =
                fault.substr(kTooLarge.size(), fault.find(' ', kTooLarge.size()) - kTooLarge.size());
            if (!size.starts_with("0x") && !size.ends_with("x0")) {
                Fail(name, DescribeTooLarge(size));
            }
        }
        Fail(name, "is damaged: no picture can be decoded that says how large it is");
    }
    return *stream;
}

AVStream* Demuxer::FindAudio() const {
    AVStream const* const video = FindVideo();
    int const best =
        av_find_best_stream(context, AVMEDIA_TYPE_AUDIO, -1, video != nullptr ? video->index : -1, nullptr, 0);
    AVStream* const stream = best < 0 ? nullptr : context->streams[best];
    bool const isUsable =
        stream != nullptr && stream->codecpar->sample_rate > 0 && stream->codecpar->ch_layout.nb_channels > 0;
    return isUsable ? stream : nullptr;
}

void Demuxer::Select(AVStream const& stream) {
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        context->streams[i]->discard = context->streams[i] == &stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

bool Demuxer::IsStillFormat() const {
    std::string_view const format = context->iformat->name;
    return format == "image2" || format.ends_with("_pipe");
}

std::vector<std::uint8_t> Demuxer::ReadAvif() const {
    AVDictionaryEntry const* const brand = av_dict_get(context->metadata, "major_brand", nullptr, 0);
    std::string_view const kind = brand != nullptr ? brand->value : "";
    if ((kind != "avif" && kind != "mif1") || pipe) {
        return {};
    }
    if (memory) {
        return memory->content;
    }
    constexpr std::int64_t kMost = std::int64_t{1} << 30;
    std::int64_t const size = avio_size(context->pb);
    std::vector<std::uint8_t> content(static_cast<std::size_t>(std::clamp<std::int64_t>(size, 0, kMost)));
    std::int64_t const position = avio_tell(context->pb);
    avio_seek(context->pb, 0, SEEK_SET);
    int const count = avio_read(context->pb, content.data(), static_cast<int>(content.size()));
    avio_seek(context->pb, position, SEEK_SET);
    content.resize(static_cast<std::size_t>(std::max(count, 0)));
    return content;
}

std::int64_t Demuxer::GetOrigin() const {
    AVStream const* const video = FindVideo();
    AVStream const* const stream = video != nullptr ? video : FindAudio();
    if (stream == nullptr || stream->start_time == AV_NOPTS_VALUE) {
        return 0;
    }
    // Files may begin at any number; a time of theirs added to this one still fits.
    constexpr std::int64_t kFarthest = std::int64_t{1} << 60U;
    return std::clamp(av_rescale_q(stream->start_time, stream->time_base, kMicrosecondBase), -kFarthest, kFarthest);
}

int Demuxer::Read(AVPacket& packet) {
    av_packet_unref(&packet);
    ClearFfmpegLog();
    CheckStop();
    int const result = av_read_frame(context, &packet);
    if (result >= 0) {
        if (pipe) {
            NoteFrame(packet);
        }
        return result;
    }
    CheckStop();
    if (pipe && result == AVERROR_EOF) {
        CheckWholeFrames();
    }
    // A file that ends early or holds nonsense is damaged; one that the system does not give is another matter.
    int const ioError = context->pb != nullptr && context->pb->error != AVERROR_EOF ? context->pb->error : 0;
    if (int const error = systemError != 0 ? systemError : ioError; error < 0) {
        FailSystem(name, fmt::format("cannot be read ({})", Proc::DescribeAvError(error)));
    }
    return result;
}

void Demuxer::NoteFrame(AVPacket const& packet) {
    std::string_view const format = context->iformat->name;
    bool const isPlain = format == "rawvideo" || format == "yuv4mpegpipe";
    if (isPlain && (packet.flags & AV_PKT_FLAG_CORRUPT) == 0) {
        pipe->frameEnd = packet.pos + packet.size;
    }
}

void Demuxer::CheckWholeFrames() const {
    if (pipe->frameEnd > 0 && pipe->frameEnd != avio_tell(pipe->io)) {
        Fail(name, "ends in the middle of a frame");
    }
}

bool Demuxer::HasShrunk() const {
    return !pipe && context->pb != nullptr && avio_size(context->pb) < openedSize;
}

bool Demuxer::Seek(AVStream const& stream, Microseconds time) {
    if (pipe) {
        return false;
    }
    std::int64_t const target = av_rescale_q(GetOrigin() + time.count(), kMicrosecondBase, stream.time_base);
    return av_seek_frame(context, stream.index, target, AVSEEK_FLAG_BACKWARD) >= 0;
}

}  // namespace Kaltor::Media
