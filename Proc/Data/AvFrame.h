#pragma once

#include <memory>
#include <string>

#include "Conf/FrameInfo.h"
#include "Conf/PixFmt.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Kaltor::Proc {

struct AvFrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
/// A reference to one of FFmpeg's pictures or pieces of sound.
using AvFramePtr = std::unique_ptr<AVFrame, AvFrameDeleter>;

/// An empty frame. Throws `std::bad_alloc`.
AvFramePtr MakeAvFrame();
/// A new reference to the same buffers.
AvFramePtr ShareAvFrame(AVFrame const& frame);
/// A picture with buffers of its own from a pool that all threads share; its content is undefined. Bottom up: the last
/// row comes first in memory (one plane only), which is the order of textures.
AvFramePtr AllocateAvFrame(AVPixelFormat format, int width, int height, bool isBottomUp = false);

/// The readable text for an error number of FFmpeg.
std::string DescribeAvError(int error);

/// `PixFmt::Unknown` for formats that this system does not have.
PixFmt FromAvPixelFormat(AVPixelFormat format);
AVPixelFormat ToAvPixelFormat(PixFmt format);

/// The frame's colour tags; Unspecified for RGB and for missing tags.
ColorSpec GetColorSpec(AVFrame const& frame);
void SetColorSpec(AVFrame& frame, ColorSpec const& spec);

/// Size and pixel aspect; an unknown aspect is 1 : 1.
Conf::FrameInfo GetFrameInfo(AVFrame const& frame);

}  // namespace Kaltor::Proc
