#include "Media/MediaWriter.h"

#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/EncoderChoice.h"
#include "Media/PartialFile.h"
#include "Media/PictureEncoder.h"
#include "Media/SequenceFiles.h"
#include "Media/SoundEncoder.h"
#include "Media/StreamOutput.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Media {
namespace {

/// An output file of FFmpeg's, closed without another word where it was not closed before.
struct OutputFile {
    AVFormatContext* context = nullptr;

    OutputFile() = default;
    ~OutputFile() {
        if (context != nullptr) {
            if ((context->flags & AVFMT_FLAG_CUSTOM_IO) == 0) {
                avio_closep(&context->pb);
            }
            avformat_free_context(context);
        }
    }
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
};

}  // namespace

void AddChapters(AVFormatContext& context, std::vector<Chapter> const& chapters, Microseconds duration) {
    std::size_t const count = chapters.size();
    if (count == 0) {
        return;
    }
    context.chapters = static_cast<AVChapter**>(CheckAllocated(av_calloc(count, sizeof(AVChapter*))));
    for (std::size_t i = 0; i < count; ++i) {
        auto* const chapter = static_cast<AVChapter*>(CheckAllocated(av_mallocz(sizeof(AVChapter))));
        context.chapters[context.nb_chapters++] = chapter;
        chapter->id = static_cast<std::int64_t>(i);
        chapter->time_base = kMicrosecondBase;
        chapter->start = chapters[i].start.count();
        chapter->end = (i + 1 < count ? chapters[i + 1].start : duration).count();
        av_dict_set(&chapter->metadata, "title", chapters[i].title.c_str(), 0);
    }
}

class MediaWriter::Impl {
public:
    explicit Impl(WriterOptions const& options)
        : path(options.path),
          container(FindContainer(options.path, options.format)),
          videoEncoder(FindVideoEncoder(container, options.codec, options.path)) {
        CaptureFfmpegLog();
        OpenPlace(options);
        int result = avformat_alloc_output_context2(&file.context, &container, nullptr, url.c_str());
        if (result < 0) {
            ThrowMediaError(StreamOutput::NameOf(path), "cannot be written", result);
        }
        if (options.hasPictures) {
            pictures = std::make_unique<PictureEncoder>(options, videoEncoder, *file.context, MakeSink());
        }
        AVCodec const* const audioEncoder =
            options.sound && !sequence ? FindAudioEncoder(container, options.audioCodec, path) : nullptr;
        if (audioEncoder != nullptr) {
            soundFormat = SoundEncoder::ChooseForm(*audioEncoder, *options.sound);
            sound = std::make_unique<SoundEncoder>(StreamOutput::NameOf(path), *audioEncoder, *soundFormat,
                                                   options.audioBitRate, *file.context);
        }
        for (auto const& [key, value] : options.metadata) {
            av_dict_set(&file.context->metadata, key.c_str(), value.c_str(), 0);
        }
        if (!sequence) {
            AddChapters(*file.context, options.chapters, options.duration);
            WriteHeader();
        }
    }

    void Close() {
        if (isClosed) {
            return;
        }
        isClosed = true;
        Guarded([this] {
            if (pictures) {
                pictures->Finish();
            }
            if (sound) {
                sound->Finish();
            }
        });
        if (sequence) {
            return;
        }
        ClearFfmpegLog();
        int result = av_write_trailer(file.context);
        if (result >= 0) {
            avio_flush(file.context->pb);
            result = file.context->pb->error;
        }
        bytes = avio_tell(file.context->pb);
        int const closed = stream ? 0 : avio_closep(&file.context->pb);
        if (result < 0 || closed < 0) {
            ClearFfmpegLog();
            if (stream) {
                stream->ThrowReason();
            }
            ThrowMediaError(StreamOutput::NameOf(path), "cannot be written", result < 0 ? result : closed);
        }
    }

    void Finish() {
        Close();
        if (sequence) {
            sequence->Commit();
        } else if (partial) {
            partial->Commit();
        }
    }

    /// Runs what writes. Where a pipe was closed, that is the error.
    template <typename Work>
    void Guarded(Work const& work) const {
        try {
            work();
        } catch (MediaError const&) {
            if (stream) {
                stream->ThrowReason();
            }
            throw;
        }
    }

    std::int64_t GetSize() const { return file.context->pb != nullptr ? avio_tell(file.context->pb) : bytes; }

    std::string path;
    AVOutputFormat const& container;
    AVCodec const& videoEncoder;
    // One of them.
    std::optional<PartialFile> partial;
    std::optional<StreamOutput> stream;
    std::optional<SequenceFiles> sequence;
    OutputFile file;
    std::unique_ptr<PictureEncoder> pictures;
    std::optional<SoundFormat> soundFormat;
    std::unique_ptr<SoundEncoder> sound;

private:
    void OpenPlace(WriterOptions const& options) {
        if (std::string_view(container.name) == "image2") {
            sequence.emplace(SequenceFiles::Options{path, options.firstNumber, options.pictures, options.overwrite,
                                                    options.keepsEach},
                             options.warn);
            url = path;
        } else if (StreamOutput::IsStream(path)) {
            // They write what they did not know at first when all else is written, at the beginning.
            for (std::string_view const name : {"webp", "apng"}) {
                if (name == container.name) {
                    Core::Throw(std::invalid_argument(
                        fmt::format("{} cannot go through a pipe; give it the name of a file", name)));
                }
            }
            stream.emplace(path, options.cancel, options.stop);
        } else {
            partial.emplace(path, options.overwrite, options.warn);
            url = "file:" + partial->GetPath();
        }
    }

    PacketSink MakeSink() {
        if (!sequence) {
            return {};
        }
        return [this](AVPacket const& packet) {
            sequence->Write({packet.data, static_cast<std::size_t>(packet.size)});
            bytes += packet.size;
        };
    }

    void WriteHeader() {
        AVDictionary* options = nullptr;
        int result = 0;
        if (stream) {
            file.context->pb = stream->GetIo();
            file.context->flags |= AVFMT_FLAG_CUSTOM_IO;
            file.context->flush_packets = 1;
            // A file that nobody goes back in: no index, but pieces that each have their own.
            av_dict_set(&options, "movflags", "+frag_keyframe+empty_moov+default_base_moof", 0);
        } else {
            result = avio_open(&file.context->pb, url.c_str(), AVIO_FLAG_WRITE);
            av_dict_set(&options, "movflags", "+faststart", 0);  // players on a network begin at once
        }
        if (std::string_view(container.name) == "webp") {
            av_dict_set(&options, "loop", "0", 0);  // again and again, as GIF does
        }
        if (std::string_view(container.name) == "yuv4mpegpipe") {
            file.context->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;  // more than 8 bits
        }
        if (result >= 0) {
            ClearFfmpegLog();
            result = avformat_write_header(file.context, &options);
        }
        av_dict_free(&options);
        if (result < 0) {
            if (stream) {
                stream->ThrowReason();
            }
            ThrowMediaError(StreamOutput::NameOf(path), "cannot be written", result);
        }
    }

    std::string url;
    bool isClosed = false;
    std::int64_t bytes = 0;
};

OutputForm DescribeOutput(WriterOptions const& options) {
    AVOutputFormat const& container = FindContainer(options.path, options.format);
    AVCodec const& encoder = FindVideoEncoder(container, options.codec, options.path);
    VideoTarget const form = PictureEncoder::ChooseForm(options, encoder);
    OutputForm result{container.name, encoder.name, av_get_pix_fmt_name(GetAvFormat(form)), {}};
    bool const isSequence = std::string_view(container.name) == "image2";
    AVCodec const* const audio =
        options.sound && !isSequence ? FindAudioEncoder(container, options.audioCodec, options.path) : nullptr;
    if (audio != nullptr) {
        result.sound = SoundEncoder::ChooseForm(*audio, *options.sound);
    }
    return result;
}

MediaWriter::MediaWriter(WriterOptions const& options) : impl(std::make_unique<Impl>(options)) {}
MediaWriter::~MediaWriter() = default;

std::optional<SoundFormat> MediaWriter::GetSound() const {
    return impl->soundFormat;
}
VideoTarget const& MediaWriter::GetForm() const {
    return impl->pictures->GetForm();
}
int MediaWriter::GetSoundDelay() const {
    return impl->sound ? impl->sound->GetDelay() : 0;
}
std::string MediaWriter::GetCodec() const {
    return impl->videoEncoder.name;
}

std::string MediaWriter::GetContainer() const {
    return impl->container.name;
}
std::string MediaWriter::GetPixelFormat() const {
    return impl->pictures ? impl->pictures->GetPixelFormat() : "";
}
std::int64_t MediaWriter::GetSize() const {
    return impl->GetSize();
}

void MediaWriter::WritePicture(AVFrame const& picture) {
    impl->Guarded([&] { impl->pictures->Write(picture); });
}

void MediaWriter::WriteSound(float const* const* planes, std::size_t count) {
    if (impl->sound) {
        impl->Guarded([&] { impl->sound->Write(planes, count); });
    }
}

void MediaWriter::Close() {
    impl->Close();
}
void MediaWriter::Finish() {
    impl->Finish();
}

}  // namespace Kaltor::Media
