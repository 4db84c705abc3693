#pragma once

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
    /// What pictures of BT.2020 are tagged with; none are converted.
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
};

/// Takes one line that names the file.
using WarningFn = std::function<void(std::string const& message)>;

/// Streams a clip's pictures at a constant rate: picture k is the last one that begins before start + (k + 0.29)
/// / rate. Pictures of other sizes are scaled with their aspect kept and centred on
/// black; alpha is composed over black; interlaced ones are made whole. A picture that is already in the target's form
/// is handed on as the decoder made it: the same buffers, no copy. A still gives the same picture without end.
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

    /// Of the pictures as they are in the file, before any rotation.
    Conf::FrameInfo GetStoredSize() const;

    /// No picture of the clip itself is left for the next `Read`.
    bool IsAtEnd() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace Kaltor::Media
