#include "Media/MediaWriter.h"

#include <string_view>

#include "Media/EncoderChoice.h"
#include "Media/PartialFile.h"
#include "Media/PictureEncoder.h"
#include "Media/SoundEncoder.h"

namespace Kaltor::Media {
namespace {

/// An output file of FFmpeg's, closed without another word where it was not closed before.
struct OutputFile {
    AVFormatContext* context = nullptr;

    OutputFile() = default;
    ~OutputFile() {
        if (context != nullptr) {
            avio_closep(&context->pb);
            avformat_free_context(context);
        }
    }
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
};

}  // namespace

class MediaWriter::Impl {
public:
    explicit Impl(WriterOptions const& options)
        : path(options.path),
          container(FindContainer(options.path)),
          videoEncoder(FindVideoEncoder(container, options.codec, options.path)),
          partial(options.path, options.overwrite, options.warn) {
        CaptureFfmpegLog();
        std::string const url = "file:" + partial.GetPath();
        int result = avformat_alloc_output_context2(&file.context, &container, nullptr, url.c_str());
        if (result < 0) {
            ThrowMediaError(path, "cannot be written", result);
        }
        if (options.hasPictures) {
            pictures = std::make_unique<PictureEncoder>(options, videoEncoder, *file.context);
        }
        AVCodec const* const audioEncoder = options.sound ? FindAudioEncoder(container) : nullptr;
        if (audioEncoder != nullptr) {
            soundFormat = SoundEncoder::ChooseForm(*audioEncoder, *options.sound);
            sound = std::make_unique<SoundEncoder>(path, *audioEncoder, *soundFormat, *file.context);
        }
        result = avio_open(&file.context->pb, url.c_str(), AVIO_FLAG_WRITE);
        AVDictionary* muxerOptions = nullptr;
        av_dict_set(&muxerOptions, "movflags", "+faststart", 0);  // players on a network begin at once
        if (result >= 0) {
            ClearFfmpegLog();
            result = avformat_write_header(file.context, &muxerOptions);
        }
        av_dict_free(&muxerOptions);
        if (result < 0) {
            ThrowMediaError(path, "cannot be written", result);
        }
    }

    void Close() {
        if (file.context->pb == nullptr) {
            return;
        }
        if (pictures) {
            pictures->Finish();
        }
        if (sound) {
            sound->Finish();
        }
        ClearFfmpegLog();
        int result = av_write_trailer(file.context);
        if (result >= 0) {
            avio_flush(file.context->pb);
            result = file.context->pb->error;
        }
        int const closed = avio_closep(&file.context->pb);
        if (result < 0 || closed < 0) {
            ClearFfmpegLog();
            ThrowMediaError(path, "cannot be written", result < 0 ? result : closed);
        }
    }

    void Finish() {
        Close();
        partial.Commit();
    }

    std::string path;
    AVOutputFormat const& container;
    AVCodec const& videoEncoder;
    PartialFile partial;
    OutputFile file;
    std::unique_ptr<PictureEncoder> pictures;
    std::optional<SoundFormat> soundFormat;
    std::unique_ptr<SoundEncoder> sound;
};

MediaWriter::MediaWriter(WriterOptions const& options) : impl(std::make_unique<Impl>(options)) {}
MediaWriter::~MediaWriter() = default;

std::optional<SoundFormat> MediaWriter::GetSound() const {
    return impl->soundFormat;
}
int MediaWriter::GetSoundDelay() const {
    return impl->sound ? impl->sound->GetDelay() : 0;
}
std::string MediaWriter::GetCodec() const {
    return impl->videoEncoder.name;
}

void MediaWriter::WritePicture(AVFrame const& picture) {
    impl->pictures->Write(picture);
}

void MediaWriter::WriteSound(float const* const* planes, std::size_t count) {
    if (impl->sound) {
        impl->sound->Write(planes, count);
    }
}

void MediaWriter::Close() {
    impl->Close();
}
void MediaWriter::Finish() {
    impl->Finish();
}

}  // namespace Kaltor::Media
