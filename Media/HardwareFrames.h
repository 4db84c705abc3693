#pragma once

#include <memory>
#include <string>

#include "Media/Ffmpeg.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace Kaltor::Media {

/// Frames in the memory of a device that encodes (VAAPI, NVENC, QSV), and the way to them.
class HardwareFrames {
public:
    /// Opens the device of the encoder. `format`: of the pictures that will come, in main memory. Throws
    /// `std::invalid_argument` where this machine has no such device.
    HardwareFrames(AVCodec const& encoder, AVPixelFormat format, int width, int height);

    /// To be called before the encoder is opened.
    void Attach(AVCodecContext& codec) const;
    /// A copy of the picture on the device, with its properties.
    Proc::AvFramePtr Upload(AVFrame const& picture) const;

private:
    struct BufferDeleter {
        void operator()(AVBufferRef* reference) const { av_buffer_unref(&reference); }
    };
    std::string encoderName;
    AVPixelFormat deviceFormat = AV_PIX_FMT_NONE;
    std::unique_ptr<AVBufferRef, BufferDeleter> device;
    std::unique_ptr<AVBufferRef, BufferDeleter> frames;
};

}  // namespace Kaltor::Media
