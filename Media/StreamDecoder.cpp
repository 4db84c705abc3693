#include "Media/StreamDecoder.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Media {
namespace {

/// Larger pictures than this are taken for damaged headers: a megapixel costs four megabytes and more.
constexpr std::int64_t kMostPixels = std::int64_t{1} << 28;
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

}  // namespace

StreamDecoder::StreamDecoder(Demuxer& source, AVStream& selected)
    : demuxer(source), stream(selected), packet(MakePacket()) {
    AVCodecParameters const& parameters = *stream.codecpar;
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
        codec->thread_count = 0;
        codec->max_pixels = kMostPixels;
        result = avcodec_open2(codec.get(), decoder, nullptr);
    }
    if (result < 0) {
        ThrowMediaError(demuxer.GetName(), fmt::format("cannot be decoded as {}", decoder->name), result);
    }
    demuxer.Select(stream);
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
        packetEnd = std::max(packetEnd, time + std::max<std::int64_t>(packet->duration, 0));
    }
    if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
        ClearFfmpegLog();
        NoteDamage(time, AVERROR_INVALIDDATA);
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
            frame->pts = frame->best_effort_timestamp;
            bool const isDamaged = (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->decode_error_flags != 0;
            if (isDamaged) {
                NoteDamage(frame->pts, AVERROR_INVALIDDATA);
                av_frame_unref(frame.get());
                continue;
            }
            if (frame->pts != AV_NOPTS_VALUE) {
                frameEnd = frame->pts + std::max<std::int64_t>(frame->pkt_duration, 0);
            }
            return frame;
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
            }
            return nullptr;
        }
        NoteDamage(packetEnd, result);
    }
}

}  // namespace Kaltor::Media
