#include "Proc/Data/AvFrame.h"

#include <algorithm>
#include <array>
#include <list>
#include <mutex>
#include <new>
#include <stdexcept>

#include "Core/Interfaces/Exception.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Proc {
namespace {

struct FormatPair {
    PixFmt ours;
    AVPixelFormat theirs;
};

constexpr std::array kFormats{
    FormatPair{PixFmt::Yuv420p, AV_PIX_FMT_YUV420P},
    FormatPair{PixFmt::Rgb24, AV_PIX_FMT_RGB24},
    FormatPair{PixFmt::Yuv422p, AV_PIX_FMT_YUV422P},
    FormatPair{PixFmt::Yuv444p, AV_PIX_FMT_YUV444P},
    FormatPair{PixFmt::Gray8, AV_PIX_FMT_GRAY8},
    FormatPair{PixFmt::Nv12, AV_PIX_FMT_NV12},
    FormatPair{PixFmt::Rgba, AV_PIX_FMT_RGBA},
    FormatPair{PixFmt::Bgra, AV_PIX_FMT_BGRA},
    FormatPair{PixFmt::Bgrx, AV_PIX_FMT_BGR0},
    FormatPair{PixFmt::Yuv420p10, AV_PIX_FMT_YUV420P10LE},
    FormatPair{PixFmt::Yuv422p10, AV_PIX_FMT_YUV422P10LE},
    FormatPair{PixFmt::Yuv444p10, AV_PIX_FMT_YUV444P10LE},
    // The deprecated full-range formats. Here the range is a tag instead.
    FormatPair{PixFmt::Yuv420p, AV_PIX_FMT_YUVJ420P},
    FormatPair{PixFmt::Yuv422p, AV_PIX_FMT_YUVJ422P},
    FormatPair{PixFmt::Yuv444p, AV_PIX_FMT_YUVJ444P},
};

// What a frame's private pointer points to.
constexpr PixFmt kOpaqueMark = PixFmt::RgbF16;
constexpr PixFmt kAlphaMark = PixFmt::RgbaF16;

bool IsFullRangeTwin(AVPixelFormat format) {
    return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P;
}

struct BufferPoolDeleter {
    void operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }
};
using BufferPoolPtr = std::unique_ptr<AVBufferPool, BufferPoolDeleter>;

/// Pools by buffer size, most recently used first. A fresh buffer of a picture's size costs a page fault for every
/// 4 KiB when it is first written, which is more than most effects do.
class BufferPools {
public:
    AVBufferRef* Get(std::size_t bytes) {
        std::lock_guard const lock(mutex);
        auto found = std::find_if(pools.begin(), pools.end(), [bytes](Entry const& e) { return e.bytes == bytes; });
        if (found == pools.end()) {
            pools.push_front({bytes, BufferPoolPtr(av_buffer_pool_init(bytes, nullptr))});
            if (pools.size() > kMostPools) {
                pools.pop_back();  // buffers in use are freed later
            }
        } else {
            pools.splice(pools.begin(), pools, found);
        }
        return av_buffer_pool_get(pools.front().pool.get());
    }

private:
    static constexpr std::size_t kMostPools = 8;
    struct Entry {
        std::size_t bytes;
        BufferPoolPtr pool;
    };
    std::mutex mutex;
    std::list<Entry> pools;
};

BufferPools& GetBufferPools() {
    static BufferPools pools;
    return pools;
}

}  // namespace

AvFramePtr MakeAvFrame() {
    AvFramePtr frame(av_frame_alloc());
    if (!frame) {
        throw std::bad_alloc();
    }
    return frame;
}

AvFramePtr ShareAvFrame(AVFrame const& frame) {
    AvFramePtr copy(av_frame_clone(&frame));
    if (!copy) {
        throw std::bad_alloc();
    }
    return copy;
}

AvFramePtr AllocateAvFrame(AVPixelFormat format, int width, int height, bool isBottomUp) {
    constexpr int kAlignment = 64;
    constexpr int kLongestSide = 1 << 20;  // beyond any GL's limit; the alignment below cannot overflow
    AvFramePtr frame = MakeAvFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    // FFmpeg would print a message of its own to standard error.
    bool const isPlausible = width > 0 && height > 0 && width <= kLongestSide && height <= kLongestSide;
    int const bytes =
        isPlausible ? av_image_get_buffer_size(format, (width + kAlignment - 1) & ~(kAlignment - 1), height, kAlignment)
                    : -1;
    if (bytes < 0) {
        Core::Throw(std::invalid_argument("a picture cannot have the size " + std::to_string(width) + "x" +
                                          std::to_string(height)));
    }
    // Vector code may read past the last sample.
    frame->buf[0] = GetBufferPools().Get(static_cast<std::size_t>(bytes) + kAlignment);
    if (frame->buf[0] == nullptr) {
        throw std::bad_alloc();
    }
    if (av_image_fill_linesizes(frame->linesize, format, (width + kAlignment - 1) & ~(kAlignment - 1)) < 0) {
        Core::Throw(std::invalid_argument("a pixel format without rows"));
    }
    for (int& linesize : frame->linesize) {
        linesize = (linesize + kAlignment - 1) & ~(kAlignment - 1);
    }
    if (av_image_fill_pointers(frame->data, format, height, frame->buf[0]->data, frame->linesize) < 0) {
        Core::Throw(std::invalid_argument("a pixel format without planes"));
    }
    frame->extended_data = frame->data;
    if (isBottomUp) {
        frame->data[0] += std::ptrdiff_t{frame->linesize[0]} * (height - 1);
        frame->linesize[0] = -frame->linesize[0];
    }
    return frame;
}

std::string DescribeAvError(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

PixFmt GetPixFmt(AVFrame const& frame) {
    if (frame.format == AV_PIX_FMT_RGBA64 && (frame.opaque == &kOpaqueMark || frame.opaque == &kAlphaMark)) {
        return *static_cast<PixFmt const*>(frame.opaque);
    }
    return FromAvPixelFormat(static_cast<AVPixelFormat>(frame.format));
}

void MarkPixFmt(AVFrame& frame, PixFmt format) {
    PixFmt const* const mark = format == PixFmt::RgbF16    ? &kOpaqueMark
                               : format == PixFmt::RgbaF16 ? &kAlphaMark
                                                           : nullptr;
    frame.opaque = const_cast<PixFmt*>(mark);
}

PixFmt FromAvPixelFormat(AVPixelFormat format) {
    // FFmpeg leaves the fourth byte of this one undefined: only frames that this system made itself are Bgrx.
    if (format == AV_PIX_FMT_BGR0) {
        return PixFmt::Unknown;
    }
    auto const* const found =
        std::find_if(kFormats.begin(), kFormats.end(), [format](FormatPair const& p) { return p.theirs == format; });
    return found == kFormats.end() ? PixFmt::Unknown : found->ours;
}

AVPixelFormat ToAvPixelFormat(PixFmt format) {
    if (format == PixFmt::RgbF16 || format == PixFmt::RgbaF16) {
        return AV_PIX_FMT_RGBA64;
    }
    auto const* const found =
        std::find_if(kFormats.begin(), kFormats.end(), [format](FormatPair const& p) { return p.ours == format; });
    return found == kFormats.end() ? AV_PIX_FMT_NONE : found->theirs;
}

ColorSpec GetColorSpec(AVFrame const& frame) {
    ColorSpec spec;
    switch (frame.colorspace) {
        case AVCOL_SPC_BT709:
            spec.matrix = ColorMatrix::Bt709;
            break;
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
        case AVCOL_SPC_FCC:
            spec.matrix = ColorMatrix::Bt601;
            break;
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            spec.matrix = ColorMatrix::Bt2020;
            break;
        default:
            break;
    }
    if (frame.color_range == AVCOL_RANGE_JPEG || IsFullRangeTwin(static_cast<AVPixelFormat>(frame.format))) {
        spec.range = ColorRange::Full;
    } else if (frame.color_range == AVCOL_RANGE_MPEG) {
        spec.range = ColorRange::Limited;
    }
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    bool const isRgb = description != nullptr && (description->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    return isRgb ? ColorSpec{} : spec;
}

void SetColorSpec(AVFrame& frame, ColorSpec const& spec) {
    switch (spec.matrix) {
        case ColorMatrix::Bt601:
            frame.colorspace = AVCOL_SPC_SMPTE170M;
            break;
        case ColorMatrix::Bt709:
            frame.colorspace = AVCOL_SPC_BT709;
            break;
        case ColorMatrix::Bt2020:
            frame.colorspace = AVCOL_SPC_BT2020_NCL;
            break;
        case ColorMatrix::Unspecified:
            frame.colorspace = AVCOL_SPC_UNSPECIFIED;
            break;
    }
    switch (spec.range) {
        case ColorRange::Limited:
            frame.color_range = AVCOL_RANGE_MPEG;
            break;
        case ColorRange::Full:
            frame.color_range = AVCOL_RANGE_JPEG;
            break;
        case ColorRange::Unspecified:
            frame.color_range = AVCOL_RANGE_UNSPECIFIED;
            break;
    }
}

Conf::FrameInfo GetFrameInfo(AVFrame const& frame) {
    AVRational const aspect = frame.sample_aspect_ratio;
    bool const isKnown = aspect.num > 0 && aspect.den > 0;
    return {static_cast<std::uint32_t>(frame.width), static_cast<std::uint32_t>(frame.height),
            isKnown ? static_cast<std::uint32_t>(aspect.num) : 1U,
            isKnown ? static_cast<std::uint32_t>(aspect.den) : 1U};
}

}  // namespace Kaltor::Proc
