#pragma once

#include <functional>
#include <string>

#include "Media/Ffmpeg.h"
#include "Media/MediaInfo.h"

namespace Kaltor::Media {

/// Takes packets in place of a file. They are its own for the call only.
using PacketSink = std::function<void(AVPacket const& packet)>;

/// An encoder and the stream of a file that takes its packets.
class EncodedStream {
public:
    /// Opens the encoder and adds its stream to `file`. `codec` is set up already. Throws `MediaError`.
    /// With a sink, nothing is written to the file.
    EncodedStream(std::string name, AVFormatContext& file, CodecContextPtr codec, PacketSink sink = {});

    /// Before the file's header is written: the light of HDR pictures.
    void SetLevels(HdrLevels const& levels);

    AVCodecContext& GetCodec() { return *codec; }
    AVCodecContext const& GetCodec() const { return *codec; }

    /// Null ends the stream. Throws `MediaError` where the file cannot be written.
    void Write(AVFrame const* frame);

private:
    std::string name;
    AVFormatContext& file;
    CodecContextPtr codec;
    PacketSink sink;
    AVStream* stream = nullptr;
    bool isX265 = false;
    PacketPtr packet;
};

}  // namespace Kaltor::Media
