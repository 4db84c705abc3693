#include "Media/StreamDecoder.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/Alpha.h"
#include "Media/EncoderForm.h"
#include "Media/MostPixels.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/imgutils.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Media {
namespace {

/// Demuxers and decoders mostly find the next good packet after damage; this many failures in a row are an end.
constexpr int kMostFailures = 1000;

/// FFmpeg's own decoders of VP8 and VP9 leave alpha out.
AVCodec const* FindDecoder(AVStream const& stream) {
    AVCodecID const id = stream.codecpar->codec_id;
    AVCodec const* const withAlpha =
        !StreamDecoder::HasAlphaBeside(stream)
            ? nullptr
            : avcodec_find_decoder_by_name(id == AV_CODEC_ID_VP8 ? "libvpx" : "libvpx-vp9");
    return withAlpha != nullptr ? withAlpha : avcodec_find_decoder(id);
}

/// What lies behind the end that a WebP file names is no part of its picture, and makes the decoder refuse it.
void CutAtEndOfWebp(AVPacket& packet) {
    constexpr int kSizeAt = 4;
    constexpr int kHead = 8;
    if (packet.size > kHead) {
        std::uint64_t const size = AV_RL32(packet.data + kSizeAt);
        std::uint64_t const end = kHead + size + size % 2;  // some writers leave the byte of padding out of the size
        av_shrink_packet(&packet, static_cast<int>(std::min<std::uint64_t>(end, packet.size)));
    }
}

/// Sets samples of alpha, of 8 bits or more, from a grey picture's, whatever its depth and range.
void CopyAlpha(AVFrame const& grey, AVFrame& target) {
    int const from = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(grey.format))->comp[0].depth;
    int const to = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(target.format))->comp[3].depth;
    bool const isLimited = grey.color_range == AVCOL_RANGE_MPEG;
    double const step = from > 8 ? 1 << (from - 8) : 1;
    double const floor = isLimited ? 16.0 * step : 0.0;
    double const span = isLimited ? 219.0 * step : (1 << from) - 1;
    double const top = (1 << to) - 1;
    auto const convert = [=](int sample) {
        return static_cast<std::uint16_t>(std::lround(std::clamp((sample - floor) / span, 0.0, 1.0) * top));
    };
    std::vector<std::uint16_t> table(std::size_t{1} << static_cast<unsigned>(from));
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = convert(static_cast<int>(i));
    }
    for (int y = 0; y < target.height; ++y) {
        std::uint8_t const* const in = grey.data[0] + std::ptrdiff_t{y} * grey.linesize[0];
        std::uint8_t* const out = target.data[3] + std::ptrdiff_t{y} * target.linesize[3];
        for (int x = 0; x < target.width; ++x) {
            std::size_t const sample = from > 8 ? reinterpret_cast<std::uint16_t const*>(in)[x] : in[x];
            std::uint16_t const value = table[std::min(sample, table.size() - 1)];
            if (to > 8) {
                reinterpret_cast<std::uint16_t*>(out)[x] = value;
            } else {
                out[x] = static_cast<std::uint8_t>(value);
            }
        }
    }
}

}  // namespace

struct StreamDecoder::AlphaPicture {
    Proc::AvFramePtr frame;

    /// The picture with this alpha. Throws `MediaError`.
    Proc::AvFramePtr AddTo(AVFrame const& picture, std::string const& name) const {
        auto const format = static_cast<AVPixelFormat>(picture.format);
        AVPixelFormat const target = AddAlpha(format);
        if (target == AV_PIX_FMT_NONE || frame->width != picture.width || frame->height != picture.height) {
            Core::Throw(
                MediaError(fmt::format("{}: its alpha cannot be read ({}x{} {} beside {}x{} {})", name, frame->width,
                                       frame->height, av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame->format)),
                                       picture.width, picture.height, av_get_pix_fmt_name(format))));
        }
        Proc::AvFramePtr whole = Proc::AllocateAvFrame(target, picture.width, picture.height);
        av_frame_copy_props(whole.get(), &picture);
        av_image_copy(whole->data, whole->linesize, const_cast<std::uint8_t const**>(picture.data), picture.linesize,
                      format, picture.width, picture.height);
        CopyAlpha(*frame, *whole);
        return whole;
    }
};

StreamDecoder::StreamDecoder(Demuxer& source, AVStream& selected)
    : demuxer(source), stream(selected), packet(MakePacket()) {
    AVCodecParameters const& parameters = *stream.codecpar;
    if (std::int64_t{parameters.width} * parameters.height > GetMostPixels()) {
        Core::Throw(MediaError(fmt::format(
            "{}: {}", demuxer.GetName(), DescribeTooLarge(fmt::format("{}x{}", parameters.width, parameters.height)))));
    }
    AVCodec const* const decoder = FindDecoder(stream);
    if (decoder == nullptr) {
        Core::Throw(MediaError(fmt::format("{}: no decoder for {} is installed", demuxer.GetName(),
                                           avcodec_get_name(parameters.codec_id))));
    }
    codec.reset(CheckAllocated(avcodec_alloc_context3(decoder)));
    ClearFfmpegLog();
    int result = avcodec_parameters_to_context(codec.get(), &parameters);
    if (result >= 0) {
        codec->pkt_timebase = stream.time_base;
        // FFmpeg's threads abort the program where this decoder fails after its picture.
        codec->thread_count = parameters.codec_id == AV_CODEC_ID_WEBP ? 1 : 0;
        codec->max_pixels = GetMostPixels();
        result = avcodec_open2(codec.get(), decoder, nullptr);
    }
    if (result < 0) {
        ThrowMediaError(demuxer.GetName(), fmt::format("cannot be decoded as {}", decoder->name), result);
    }
    demuxer.Select(stream);
    isPremultiplied = parameters.codec_id == AV_CODEC_ID_EXR;
    if (parameters.codec_id == AV_CODEC_ID_AV1) {
        FindAlpha();
    }
}

void StreamDecoder::FindAlpha() {
    std::optional<AvifAlpha> const found = FindAvifAlpha(demuxer.ReadAvif());
    if (!found) {
        return;
    }
    Demuxer beside(found->content, demuxer.GetName());
    StreamDecoder decoder(beside, beside.RequireVideo());
    Proc::AvFramePtr frame = decoder.Next();
    if (!frame) {
        Core::Throw(MediaError(fmt::format("{}: its alpha cannot be decoded", demuxer.GetName())));
    }
    alpha = std::make_shared<AlphaPicture const>(AlphaPicture{std::move(frame)});
    isPremultiplied = found->isPremultiplied;
}

bool StreamDecoder::HasAlphaBeside(AVStream const& stream) {
    AVCodecID const id = stream.codecpar->codec_id;
    AVDictionaryEntry const* const mode = av_dict_get(stream.metadata, "alpha_mode", nullptr, 0);
    return (id == AV_CODEC_ID_VP8 || id == AV_CODEC_ID_VP9) && mode != nullptr && std::string_view(mode->value) == "1";
}

void StreamDecoder::NoteDamage(std::int64_t time, int error) {
    std::string text = ExplainFfmpeg(error);
    if (!damage) {
        damage = time;
        damageText = std::move(text);
    }
}

void StreamDecoder::Flush() {
    avcodec_flush_buffers(codec.get());
    failures = 0;
    packetEnd = frameEnd = AV_NOPTS_VALUE;
    damage.reset();
}

void StreamDecoder::FeedPacket() {
    int const read = demuxer.Read(*packet);
    if (read < 0) {
        if (read != AVERROR_EOF) {
            NoteDamage(packetEnd, read);
            if (read == AVERROR_INVALIDDATA && ++failures < kMostFailures) {
                return;
            }
        }
        avcodec_send_packet(codec.get(), nullptr);
        return;
    }
    if (packet->stream_index != stream.index) {
        return;
    }
    std::int64_t const time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    if (time != AV_NOPTS_VALUE) {
        packetEnd = std::max(packetEnd, av_sat_add64(time, std::max<std::int64_t>(packet->duration, 0)));
    }
    if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
        ClearFfmpegLog();
        NoteDamage(time, AVERROR_INVALIDDATA);
    }
    if (stream.codecpar->codec_id == AV_CODEC_ID_TIFF) {
        isPremultiplied = IsTiffPremultiplied({packet->data, static_cast<std::size_t>(packet->size)});
    }
    if (stream.codecpar->codec_id == AV_CODEC_ID_WEBP) {
        CutAtEndOfWebp(*packet);
    }
    ClearFfmpegLog();
    int const sent = avcodec_send_packet(codec.get(), packet.get());
    if (sent < 0 && sent != AVERROR_EOF) {
        NoteDamage(time, sent);
    }
}

Proc::AvFramePtr StreamDecoder::Next() {
    Proc::AvFramePtr frame = Proc::MakeAvFrame();
    for (;;) {
        ClearFfmpegLog();
        int const result = avcodec_receive_frame(codec.get(), frame.get());
        if (result == 0) {
            failures = 0;
            DropUnknownTags(*frame);
            frame->pts = frame->best_effort_timestamp;
            bool const isDamaged = (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->decode_error_flags != 0;
            if (isDamaged) {
                NoteDamage(frame->pts, AVERROR_INVALIDDATA);
                av_frame_unref(frame.get());
                continue;
            }
            if (frame->pts != AV_NOPTS_VALUE) {
                frameEnd = av_sat_add64(frame->pts, std::max<std::int64_t>(frame->pkt_duration, 0));
            }
            return alpha ? alpha->AddTo(*frame, demuxer.GetName()) : std::move(frame);
        }
        if (result == AVERROR(EAGAIN)) {
            FeedPacket();
            continue;
        }
        if (result == AVERROR_EOF || ++failures > kMostFailures) {
            // Packets at the end that gave no picture.
            bool const isShort = frameEnd == AV_NOPTS_VALUE ? packetEnd != AV_NOPTS_VALUE : frameEnd < packetEnd;
            if (isShort && stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !damage) {
                NoteDamage(frameEnd, AVERROR_INVALIDDATA);
            } else if (!damage && demuxer.HasShrunk()) {
                NoteDamage(frameEnd, AVERROR_EOF);
            }
            return nullptr;
        }
        NoteDamage(packetEnd, result);
    }
}

}  // namespace Kaltor::Media
