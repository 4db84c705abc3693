#pragma once

#include <cstdint>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

// Parts as packets.
namespace Kaltor::Farm {

/// Throws `std::invalid_argument`, with the name of what cannot be joined, where parts in such a file, of such an
/// encoder, could not be put together without encoding again.
void CheckJoinable(AVOutputFormat const& container, AVCodec const& encoder, std::string const& path);

/// What was written of a part.
struct PacketCount {
    std::int64_t frames = 0;
    std::int64_t delay = 0;  ///< packets by which the encoder's order is behind the pictures'
};

/// Reads a part's packets. Throws `std::runtime_error` where it does not begin with a key frame, or its pictures are
/// not `frames` in a row, one in each packet.
PacketCount CountPackets(std::string const& path, AVRational frameRate, std::int64_t frames);

/// The number of the picture in a packet, counted from the stream's first one.
std::int64_t FrameOf(AVPacket const& packet, AVStream const& stream, AVRational frameRate);

}  // namespace Kaltor::Farm
