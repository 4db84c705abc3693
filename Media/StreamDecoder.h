#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Media/Demuxer.h"

namespace Kaltor::Media {

/// Decodes one stream of an open file. Damaged packets and pictures are left out and noted.
class StreamDecoder {
public:
    /// The demuxer must outlive it. Throws `MediaError` where there is no decoder.
    StreamDecoder(Demuxer& demuxer, AVStream& stream);

    /// The next picture or stretch of sound, its `pts` the best guess in the stream's time base (AV_NOPTS_VALUE where
    /// there is none); null at the end.
    Proc::AvFramePtr Next();
    /// To be called after a seek.
    void Flush();

    /// Whether the stream carries alpha beside its pictures, as VP8 and VP9 do.
    static bool HasAlphaBeside(AVStream const& stream);

    /// Whether the file says that the colours of the pictures so far are multiplied by alpha: TIFF and AVIF can,
    /// OpenEXR is always so.
    bool IsPremultiplied() const { return isPremultiplied; }

    AVStream const& GetStream() const { return stream; }
    /// The presentation time, in the stream's time base, near which something could not be read or decoded. An unknown
    /// place is AV_NOPTS_VALUE.
    std::optional<std::int64_t> const& GetDamage() const { return damage; }
    /// What the decoder said of it.
    std::string const& GetDamageText() const { return damageText; }

private:
    /// Alpha that is a picture of its own (AVIF).
    void FindAlpha();
    /// The next packet, or the end, to the decoder.
    void FeedPacket();
    void NoteDamage(std::int64_t time, int error);

    struct AlphaPicture;

    Demuxer& demuxer;
    AVStream& stream;
    std::shared_ptr<AlphaPicture const> alpha;  ///< null for nearly all files
    bool isPremultiplied = false;
    CodecContextPtr codec;
    PacketPtr packet;
    int failures = 0;                         ///< in a row
    std::int64_t packetEnd = AV_NOPTS_VALUE;  ///< of the packet that reaches farthest
    std::int64_t frameEnd = AV_NOPTS_VALUE;   ///< of the last good frame
    std::optional<std::int64_t> damage;
    std::string damageText;
};

}  // namespace Kaltor::Media
