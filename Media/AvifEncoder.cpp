#include "Media/AvifEncoder.h"

#include <filesystem>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/Text.h"
#include "Media/EncodedStream.h"
#include "Media/EncoderChoice.h"
#include "Media/EncoderForm.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Media {
namespace {

/// A file in memory.
struct MemoryFile {
    AVFormatContext* context = nullptr;

    explicit MemoryFile(std::string const& name) {
        int result = avformat_alloc_output_context2(&context, nullptr, "avif", nullptr);
        if (result >= 0) {
            result = avio_open_dyn_buf(&context->pb);
        }
        if (result < 0) {
            ThrowMediaError(name, "cannot be written", result);
        }
    }
    ~MemoryFile() {
        Take();
        avformat_free_context(context);
    }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    std::vector<std::uint8_t> Take() {
        if (context->pb == nullptr) {
            return {};
        }
        std::uint8_t* bytes = nullptr;
        int const size = avio_close_dyn_buf(context->pb, &bytes);
        context->pb = nullptr;
        std::vector<std::uint8_t> content(bytes, bytes + size);
        av_free(bytes);
        return content;
    }
};

bool TakesFormat(AVCodec const& encoder, AVPixelFormat format) {
    AVPixelFormat const* all = encoder.pix_fmts;
    while (all != nullptr && *all != AV_PIX_FMT_NONE && *all != format) {
        ++all;
    }
    return all != nullptr && *all == format;
}

CodecContextPtr MakeStillCodec(AVCodec const& encoder, AVFrame const& picture) {
    CodecContextPtr codec(CheckAllocated(avcodec_alloc_context3(&encoder)));
    codec->width = picture.width;
    codec->height = picture.height;
    codec->sample_aspect_ratio = picture.sample_aspect_ratio;
    codec->time_base = {1, 1};
    codec->framerate = {1, 1};
    codec->pix_fmt = static_cast<AVPixelFormat>(picture.format);
    av_opt_set_int(codec->priv_data, "still-picture", 1, 0);  // where the encoder has it
    return codec;
}

/// The planes of a picture without its alpha.
Proc::AvFramePtr TakeColors(AVFrame const& picture, AVPixelFormat format) {
    Proc::AvFramePtr colors = Proc::ShareAvFrame(picture);
    colors->format = format;
    colors->pts = 0;
    colors->pict_type = AV_PICTURE_TYPE_NONE;
    return colors;
}

/// Its alpha as a grey picture.
Proc::AvFramePtr TakeAlpha(AVFrame const& picture, AVPixelFormat format) {
    Proc::AvFramePtr alpha = TakeColors(picture, format);
    alpha->data[0] = alpha->data[3];
    alpha->linesize[0] = alpha->linesize[3];
    for (int plane = 1; plane < 4; ++plane) {
        alpha->data[plane] = nullptr;
        alpha->linesize[plane] = 0;
    }
    alpha->color_range = AVCOL_RANGE_JPEG;
    alpha->colorspace = AVCOL_SPC_UNSPECIFIED;
    alpha->color_trc = AVCOL_TRC_UNSPECIFIED;
    alpha->color_primaries = AVCOL_PRI_UNSPECIFIED;
    return alpha;
}

}  // namespace

bool IsAvifName(std::string const& path) {
    return Core::ToLower(std::filesystem::path(path).extension().string()) == ".avif";
}

AVCodec const& RequireAvifEncoder() {
    AVCodec const* encoder = avcodec_find_encoder_by_name("libaom-av1");
    encoder = encoder != nullptr ? encoder : avcodec_find_encoder_by_name("libsvtav1");
    if (encoder == nullptr || av_guess_format("avif", nullptr, nullptr) == nullptr) {
        Core::Throw(MediaError("this FFmpeg writes no AVIF pictures; 5.1 and later do, with libaom or SVT-AV1"));
    }
    return *encoder;
}

std::vector<std::uint8_t> EncodeAvif(AVFrame const& picture, VideoTarget const& form, EncoderSettings const& settings,
                                     AVCodec const& encoder, std::string const& name) {
    constexpr int kFine = 15;
    auto const format = static_cast<AVPixelFormat>(picture.format);
    AVPixFmtDescriptor const& description = *av_pix_fmt_desc_get(format);
    bool const hasAlpha = (description.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    CaptureFfmpegLog();
    MemoryFile file(name);

    Proc::AvFramePtr const colors = TakeColors(picture, hasAlpha ? RemoveAlpha(format) : format);
    CodecContextPtr codec = MakeStillCodec(encoder, *colors);
    TagColors(*codec, form);
    if (form.transfer == AVCOL_TRC_IEC61966_2_1) {
        codec->color_trc = form.transfer;
    }
    EncoderSettings own = settings;
    if (!own.crf && !own.bitRate) {
        own.crf = kFine;
    }
    SetEncoding(*codec, own, true, false);
    EncodedStream colorStream(name, *file.context, std::move(codec));

    Proc::AvFramePtr alpha;
    std::optional<EncodedStream> alphaStream;
    if (hasAlpha) {
        int const depth = description.comp[3].depth;
        AVPixelFormat const grey = depth > 10 ? AV_PIX_FMT_GRAY12 : depth > 8 ? AV_PIX_FMT_GRAY10 : AV_PIX_FMT_GRAY8;
        if (!TakesFormat(encoder, grey)) {
            Core::Throw(MediaError(fmt::format("{}: alpha in AVIF needs libaom; {} has none", name, encoder.name)));
        }
        alpha = TakeAlpha(picture, grey);
        CodecContextPtr alphaCodec = MakeStillCodec(encoder, *alpha);
        alphaCodec->color_range = AVCOL_RANGE_JPEG;
        EncoderSettings exact;
        exact.crf = 0;
        SetEncoding(*alphaCodec, exact, true, false);
        alphaStream.emplace(name, *file.context, std::move(alphaCodec));
    }
    ClearFfmpegLog();
    int result = avformat_write_header(file.context, nullptr);
    if (result < 0) {
        ThrowMediaError(name, "cannot be written", result);
    }
    colorStream.Write(colors.get());
    colorStream.Write(nullptr);
    if (alphaStream) {
        alphaStream->Write(alpha.get());
        alphaStream->Write(nullptr);
    }
    result = av_write_trailer(file.context);
    if (result < 0) {
        ThrowMediaError(name, "cannot be written", result);
    }
    return file.Take();
}

}  // namespace Kaltor::Media
