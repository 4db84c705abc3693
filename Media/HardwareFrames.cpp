#include "Media/HardwareFrames.h"

#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Media {
namespace {

/// More than any encoder keeps at a time.
constexpr int kDeviceFrames = 32;

struct DeviceKind {
    AVHWDeviceType type;
    AVPixelFormat format;
    std::string_view name;
};

DeviceKind FindDevice(std::string_view encoder) {
    return encoder.ends_with("_vaapi")   ? DeviceKind{AV_HWDEVICE_TYPE_VAAPI, AV_PIX_FMT_VAAPI, "VAAPI"}
           : encoder.ends_with("_nvenc") ? DeviceKind{AV_HWDEVICE_TYPE_CUDA, AV_PIX_FMT_CUDA, "CUDA"}
                                         : DeviceKind{AV_HWDEVICE_TYPE_QSV, AV_PIX_FMT_QSV, "QSV"};
}

[[noreturn]] void FailDevice(std::string_view encoder, std::string_view what, int error) {
    Core::Throw(std::invalid_argument(fmt::format("the encoder {} cannot be used: {} ({}); libx264 and libx265 need no "
                                                  "device",
                                                  encoder, what, ExplainFfmpeg(error))));
}

}  // namespace

HardwareFrames::HardwareFrames(AVCodec const& encoder, AVPixelFormat format, int width, int height)
    : encoderName(encoder.name) {
    DeviceKind const kind = FindDevice(encoderName);
    deviceFormat = kind.format;
    ClearFfmpegLog();
    AVBufferRef* reference = nullptr;
    int result = av_hwdevice_ctx_create(&reference, kind.type, nullptr, nullptr, 0);
    device.reset(reference);
    if (result < 0) {
        FailDevice(encoderName, fmt::format("there is no {} device here", kind.name), result);
    }
    frames.reset(CheckAllocated(av_hwframe_ctx_alloc(device.get())));
    auto& context = *reinterpret_cast<AVHWFramesContext*>(frames->data);
    context.format = deviceFormat;
    context.sw_format = format;
    context.width = width;
    context.height = height;
    context.initial_pool_size = kDeviceFrames;
    result = av_hwframe_ctx_init(frames.get());
    if (result < 0) {
        FailDevice(encoderName, fmt::format("the {} device takes no such pictures", kind.name), result);
    }
}

void HardwareFrames::Attach(AVCodecContext& codec) const {
    codec.pix_fmt = deviceFormat;
    codec.hw_frames_ctx = CheckAllocated(av_buffer_ref(frames.get()));
}

Proc::AvFramePtr HardwareFrames::Upload(AVFrame const& picture) const {
    Proc::AvFramePtr uploaded = Proc::MakeAvFrame();
    ClearFfmpegLog();
    int result = av_hwframe_get_buffer(frames.get(), uploaded.get(), 0);
    if (result >= 0) {
        result = av_hwframe_transfer_data(uploaded.get(), &picture, 0);
    }
    if (result >= 0) {
        result = av_frame_copy_props(uploaded.get(), &picture);
    }
    if (result < 0) {
        ThrowMediaError(encoderName, "a picture cannot be brought to the device", result);
    }
    return uploaded;
}

}  // namespace Kaltor::Media
