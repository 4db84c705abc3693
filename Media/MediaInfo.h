#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "Conf/FrameInfo.h"
#include "Conf/PixFmt.h"
#include "Media/InputRules.h"
#include "Media/MediaError.h"

extern "C" {
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

struct AVFrame;
struct AVStream;

namespace Kaltor::Media {

using Microseconds = std::chrono::microseconds;

/// The sound that a file carries or is to carry.
struct SoundFormat {
    int sampleRate = 48000;
    int channels = 2;

    bool operator==(SoundFormat const&) const = default;
};

/// The light of HDR pictures, as tagged (SMPTE ST 2086, CTA-861.3).
struct HdrLevels {
    std::optional<AVMasteringDisplayMetadata> mastering;
    std::optional<AVContentLightMetadata> content;

    /// The brightest that pictures get, cd/m2; 1000 where nothing is known.
    double GetPeak() const;
};

/// As the container says, and as a decoded picture does.
HdrLevels GetHdrLevels(AVStream const& stream);
HdrLevels GetHdrLevels(AVFrame const& frame);

/// What can be known of a clip without decoding it whole.
struct MediaInfo {
    /// As displayed: rotation is applied, a pixel's shape is kept.
    Conf::FrameInfo frame;
    /// Degrees by which the stored picture is turned clockwise for display: 0, 90, 180 or 270.
    int rotation = 0;
    /// 0/1 where there is none, for example in stills.
    AVRational frameRate{0, 1};
    /// From the first picture to the end of the last one that is there; zero for stills.
    Microseconds duration{0};
    /// Where the data end before the time that the file declares: the declared duration.
    std::optional<Microseconds> declaredDuration;
    /// Nothing says where it ends: a pipe. `duration` is zero then.
    bool isOpenEnded = false;
    bool isStill = false;
    /// Subtitles that the file carries.
    int subtitles = 0;
    std::optional<SoundFormat> sound;
    /// As tagged; Unspecified where it is not.
    ColorSpec colorSpec;
    /// The tags with what is missing filled in by practice, from the stored height.
    ColorSpec resolvedColorSpec;
    /// As tagged.
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    HdrLevels levels;
    bool hasAlpha = false;
    /// It has alpha that FFmpeg does not decode (HEVC).
    bool hasLostAlpha = false;
    bool isRgb = false;
    int bits = 8;         ///< of a channel; 32 for floats
    int chromaXLog2 = 1;  ///< chroma is 1 / 2^this as wide as luma
    int chromaYLog2 = 1;
    std::string container;
    std::string codec;
    std::string pixelFormat;
};

/// Whether pictures with this transfer have a high dynamic range: PQ or HLG.
bool IsHdr(AVColorTransferCharacteristic transfer);
/// "HDR (PQ)" or "HDR (HLG)", after ITU-R BT.2100; "standard range" otherwise.
char const* GetDynamicRange(AVColorTransferCharacteristic transfer);

/// Looks at a file's headers and last packets. Throws `MediaError` for what is missing, unreadable, not media or has
/// no video stream.
MediaInfo Probe(std::string const& path, InputRules const& rules = {});

}  // namespace Kaltor::Media
