#include "Farm/Packets.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/Demuxer.h"
#include "Media/Ffmpeg.h"

namespace Kaltor::Farm {
namespace {

/// Those whose groups of pictures need nothing of what came before.
constexpr std::array kJoinable{AV_CODEC_ID_H264,  AV_CODEC_ID_HEVC,    AV_CODEC_ID_VP8,        AV_CODEC_ID_VP9,
                               AV_CODEC_ID_AV1,   AV_CODEC_ID_MPEG4,   AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_MPEG1VIDEO,
                               AV_CODEC_ID_FFV1,  AV_CODEC_ID_PRORES,  AV_CODEC_ID_DNXHD,      AV_CODEC_ID_MJPEG,
                               AV_CODEC_ID_PNG,   AV_CODEC_ID_HUFFYUV, AV_CODEC_ID_FFVHUFF,    AV_CODEC_ID_UTVIDEO,
                               AV_CODEC_ID_QTRLE, AV_CODEC_ID_V210,    AV_CODEC_ID_RAWVIDEO,   AV_CODEC_ID_MAGICYUV,
                               AV_CODEC_ID_CFHD};

/// Those that keep each packet's time.
constexpr std::array<std::string_view, 8> kContainers{"mp4", "mov", "ipod", "3gp", "3g2", "matroska", "webm", "nut"};

[[noreturn]] void FailPackets(std::string const& path, std::string const& why) {
    Core::Throw(std::runtime_error(fmt::format("{}: {}", path, why)));
}

}  // namespace

void CheckJoinable(AVOutputFormat const& container, AVCodec const& encoder, std::string const& path) {
    if (std::find(kContainers.begin(), kContainers.end(), container.name) == kContainers.end()) {
        Core::Throw(std::invalid_argument(fmt::format(
            "{}: parts in {} files cannot be joined; those in .mp4, .mov, .mkv and .webm files can", path,
            container.name)));
    }
    if (std::find(kJoinable.begin(), kJoinable.end(), encoder.id) == kJoinable.end()) {
        Core::Throw(std::invalid_argument(
            fmt::format("{}: parts that {} has encoded cannot be joined; those of libx264, libx265, libvpx-vp9, "
                        "prores_ks and ffv1 are some that can",
                        path, encoder.name)));
    }
}

std::int64_t FrameOf(AVPacket const& packet, AVStream const& stream, AVRational frameRate) {
    std::int64_t const origin = stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time;
    return av_rescale_q_rnd(packet.pts - origin, stream.time_base, av_inv_q(frameRate), AV_ROUND_NEAR_INF);
}

PacketCount CountPackets(std::string const& path, AVRational frameRate, std::int64_t frames) {
    Media::Demuxer demuxer(path);
    AVStream& stream = demuxer.RequireVideo();
    demuxer.Select(stream);
    Media::PacketPtr const packet = Media::MakePacket();
    std::vector<bool> isThere(static_cast<std::size_t>(frames), false);
    PacketCount count;
    int result = 0;
    while ((result = demuxer.Read(*packet)) >= 0) {
        if (packet->pts == AV_NOPTS_VALUE) {
            FailPackets(path, "has pictures without a time; such parts cannot be joined");
        }
        std::int64_t const frame = FrameOf(*packet, stream, frameRate);
        if (frame < 0 || frame >= frames || isThere[static_cast<std::size_t>(frame)]) {
            FailPackets(path, fmt::format("holds other pictures than its {}; such parts cannot be joined", frames));
        }
        if (count.frames == 0 && (packet->flags & AV_PKT_FLAG_KEY) == 0) {
            FailPackets(path, "does not begin with a key frame; such parts cannot be joined");
        }
        isThere[static_cast<std::size_t>(frame)] = true;
        count.delay = std::max(count.delay, count.frames - frame);
        ++count.frames;
    }
    if (result != AVERROR_EOF) {
        Media::ThrowMediaError(path, "cannot be read", result);
    }
    if (count.frames != frames) {
        FailPackets(path, fmt::format("holds {} pictures instead of {}", count.frames, frames));
    }
    return count;
}

}  // namespace Kaltor::Farm
