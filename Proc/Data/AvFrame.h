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

/// The format of a picture, by its mark where FFmpeg has no such format; `PixFmt::Unknown` for those that this system
/// does not have.
PixFmt GetPixFmt(AVFrame const& frame);
/// Marks a picture of RGBA64 whose words are 16-bit floats, for which FFmpeg has no format: RgbF16 or RgbaF16. Any
/// other format removes the mark.
void MarkPixFmt(AVFrame& frame, PixFmt format);

/// `PixFmt::Unknown` for formats that this system does not have.
PixFmt FromAvPixelFormat(AVPixelFormat format);
/// Pictures of 16-bit float are RGBA64 with a mark.
AVPixelFormat ToAvPixelFormat(PixFmt format);

/// The frame's colour tags; Unspecified for RGB and for missing tags.
ColorSpec GetColorSpec(AVFrame const& frame);
void SetColorSpec(AVFrame& frame, ColorSpec const& spec);

/// Size and pixel aspect; an unknown aspect is 1 : 1.
Conf::FrameInfo GetFrameInfo(AVFrame const& frame);

}  // namespace Kaltor::Proc
