#include "Media/EncodedStream.h"

#include <cstring>

#include <fmt/format.h>

namespace Kaltor::Media {
namespace {

/// x265 3.5 subtracts a delay from the times of decoding, which it learns at the third picture only: in a shorter
/// stream the delay is whatever stood in the memory. Such a stream is in the order of its display.
void MendTimeOfDecoding(AVPacket& packet) {
    constexpr std::int64_t kMostReordered = 64;  // HEVC keeps 16 pictures at most; times count pictures here
    if (packet.dts > packet.pts || packet.dts < packet.pts - kMostReordered) {
        packet.dts = packet.pts;
    }
}

}  // namespace

EncodedStream::EncodedStream(std::string nameOfFile, AVFormatContext& fileContext, CodecContextPtr codecContext,
                             PacketSink packetSink)
    : name(std::move(nameOfFile)),
      file(fileContext),
      codec(std::move(codecContext)),
      sink(std::move(packetSink)),
      packet(MakePacket()) {
    if ((file.oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    codec->thread_count = 0;
    ClearFfmpegLog();
    std::string const encoder = codec->codec->name;  // a failed opening forgets it
    int result = avcodec_open2(codec.get(), nullptr, nullptr);
    if (result >= 0) {
        stream = CheckAllocated(avformat_new_stream(&file, nullptr));
        stream->time_base = codec->time_base;
        stream->sample_aspect_ratio = codec->sample_aspect_ratio;
        stream->avg_frame_rate = codec->framerate;
        result = avcodec_parameters_from_context(stream->codecpar, codec.get());
    }
    if (result < 0) {
        ThrowMediaError(name, fmt::format("the encoder {} cannot be used for it", encoder), result);
    }
    isX265 = encoder == "libx265";
}

void EncodedStream::SetLevels(HdrLevels const& levels) {
    auto const add = [this](AVPacketSideDataType type, auto const& data) {
        std::uint8_t* const place = CheckAllocated(av_stream_new_side_data(stream, type, sizeof(data)));
        std::memcpy(place, &data, sizeof(data));
    };
    if (levels.mastering) {
        add(AV_PKT_DATA_MASTERING_DISPLAY_METADATA, *levels.mastering);
    }
    if (levels.content) {
        add(AV_PKT_DATA_CONTENT_LIGHT_LEVEL, *levels.content);
    }
}

void EncodedStream::Write(AVFrame const* frame) {
    ClearFfmpegLog();
    int result = avcodec_send_frame(codec.get(), frame);
    if (result < 0) {
        ThrowMediaError(name, fmt::format("the encoder {} failed", codec->codec->name), result);
    }
    for (;;) {
        result = avcodec_receive_packet(codec.get(), packet.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
            return;
        }
        if (result < 0) {
            ThrowMediaError(name, fmt::format("the encoder {} failed", codec->codec->name), result);
        }
        if (isX265) {
            MendTimeOfDecoding(*packet);
        }
        if (sink) {
            sink(*packet);
            av_packet_unref(packet.get());
            continue;
        }
        if (codec->codec_type == AVMEDIA_TYPE_VIDEO && packet->duration == 0) {
            packet->duration = 1;
        }
        av_packet_rescale_ts(packet.get(), codec->time_base, stream->time_base);
        packet->stream_index = stream->index;
        result = av_interleaved_write_frame(&file, packet.get());
        // A write that failed behind the buffer shows on the file only.
        if (result >= 0 && file.pb != nullptr && file.pb->error < 0) {
            result = file.pb->error;
        }
        if (result < 0) {
            ClearFfmpegLog();
            ThrowMediaError(name, "cannot be written", result);
        }
    }
}

}  // namespace Kaltor::Media
