#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Media/MediaInfo.h"
#include "Proc/Data/AvFrame.h"

namespace Kaltor::Media {

/// The form that pictures are brought to.
struct VideoTarget {
    Conf::FrameInfo frame;
    AVRational frameRate{30, 1};
    /// Resolved.
    ColorSpec colorSpec{ColorMatrix::Bt709, ColorRange::Limited};
    PixFmt pixFmt = PixFmt::Yuv420p;
    /// Pictures keep their own size and pixel aspect, upright: someone else brings them to `frame`.
    bool keepsSize = false;
    /// Pictures whose transfer or primaries are known to be others are converted, through linear light.
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    /// Takes the place of `pixFmt` for a form that only encoders know.
    AVPixelFormat exact = AV_PIX_FMT_NONE;
    /// What an encoder should come nearest to where `pixFmt` is not planar 4:2:0 of 8 bits.
    AVPixelFormat like = AV_PIX_FMT_NONE;
    /// Red, green and blue, 0 to 1, below what loses its alpha.
    std::array<float, 3> background{0.0F, 0.0F, 0.0F};
    /// What PQ pictures are tagged with.
    HdrLevels levels{};
    /// Pictures that keep their own size are made smaller by this factor, for previews.
    double shrink = 1.0;
};

/// FFmpeg's format of a target's pictures.
inline AVPixelFormat GetAvFormat(VideoTarget const& target) {
    return target.exact != AV_PIX_FMT_NONE ? target.exact : Proc::ToAvPixelFormat(target.pixFmt);
}

/// Makes the colours of an HDR target those of BT.709; others stay.
void MakeStandardRange(VideoTarget& target);

/// Takes one line that names the file.
using WarningFn = std::function<void(std::string const& message)>;

/// Streams a clip's pictures at a constant rate: picture k is the last one that begins before start + (k + 0.29)
/// / rate. Pictures of other sizes are scaled with their aspect kept and centred on black; alpha is composed over the
/// target's background where the target has none; interlaced ones are made whole. A picture that is already in the
/// target's form is handed on as the decoder made it: the same buffers, no copy. A still gives the same picture without
/// end.
///
/// What cannot be decoded gives one warning with the time from which the clip is damaged; the last good picture stands
/// in for what is missing, so that later ones keep their time.
class VideoReader {
public:
    /// Throws `MediaError`, `Cancelled`.
    VideoReader(std::string const& path, VideoTarget const& target, Microseconds start = Microseconds(0),
                WarningFn warn = {}, InputRules const& rules = {});
    ~VideoReader();
    VideoReader(VideoReader const&) = delete;
    VideoReader& operator=(VideoReader const&) = delete;

    /// The next picture; without end: after the clip's last picture, that one again. Its timestamp `pts` is its number.
    /// Throws `MediaError` where not one picture can be decoded.
    Proc::AvFramePtr Read();

    /// Goes on at another place, as a new reader would begin there. Not for pipes.
    void Restart(Microseconds start);

    /// Of the pictures as they are in the file, before any rotation.
    Conf::FrameInfo GetStoredSize() const;

    /// No picture of the clip itself is left for the next `Read`.
    bool IsAtEnd() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace Kaltor::Media
