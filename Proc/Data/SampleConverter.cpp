#include "Proc/Data/SampleConverter.h"

#include <new>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace Kaltor::Proc {
namespace {

int const* GetCoefficients(ColorMatrix matrix) {
    switch (matrix) {
        case ColorMatrix::Bt709:
            return sws_getCoefficients(SWS_CS_ITU709);
        case ColorMatrix::Bt2020:
            return sws_getCoefficients(SWS_CS_BT2020);
        default:
            return sws_getCoefficients(SWS_CS_ITU601);
    }
}

bool IsYuv(AVPixelFormat format) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(format);
    return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_RGB) == 0;
}

}  // namespace

/// The parameters of a context.
struct SampleConverter::Conversion {
    AVPixelFormat source;
    AVPixelFormat target;
    int width;
    int height;
    ColorSpec sourceSpec;
    ColorSpec targetSpec;

    bool operator==(Conversion const&) const = default;
};

void SampleConverter::SwsDeleter::operator()(SwsContext* context) const {
    sws_freeContext(context);
}

SampleConverter::SampleConverter() = default;
SampleConverter::~SampleConverter() = default;
SampleConverter::SampleConverter(SampleConverter&&) noexcept = default;
SampleConverter& SampleConverter::operator=(SampleConverter&&) noexcept = default;

void SampleConverter::Reset() {
    context.reset();
    made.reset();
}

void SampleConverter::Convert(AVFrame const& source, ColorSpec const& sourceSpec, AVFrame& target,
                              ColorSpec const& targetSpec) {
    auto const from = static_cast<AVPixelFormat>(source.format);
    auto const to = static_cast<AVPixelFormat>(target.format);
    // R'G'B' is full range, whatever its tags say. The matrix comes from the YUV side.
    ColorSpec const read = IsYuv(from) ? sourceSpec : ColorSpec{targetSpec.matrix, ColorRange::Full};
    ColorSpec const written = IsYuv(to) ? targetSpec : ColorSpec{sourceSpec.matrix, ColorRange::Full};
    Conversion const wanted{from, to, source.width, source.height, read, written};
    if (!made || *made != wanted) {
        Make(wanted);
    }
    // The older call needs no reference-counted buffers.
    int const result =
        sws_scale(context.get(), source.data, source.linesize, 0, source.height, target.data, target.linesize);
    if (result < 0) {
        Core::Throw(std::runtime_error("libswscale failed: " + DescribeAvError(result)));
    }
}

void SampleConverter::Make(Conversion const& wanted) {
    Reset();
    context.reset(sws_alloc_context());
    if (!context) {
        throw std::bad_alloc();
    }
    auto const set = [this](char const* option, std::int64_t value) {
        av_opt_set_int(context.get(), option, value, 0);
    };
    bool const isFromFull = wanted.sourceSpec.range == ColorRange::Full;
    bool const isToFull = wanted.targetSpec.range == ColorRange::Full;
    set("srcw", wanted.width);
    set("srch", wanted.height);
    set("dstw", wanted.width);
    set("dsth", wanted.height);
    set("src_format", wanted.source);
    set("dst_format", wanted.target);
    set("src_range", isFromFull ? 1 : 0);
    set("dst_range", isToFull ? 1 : 0);
    set("sws_flags", SWS_BILINEAR);
    // The conversions to RGB truncate each of up to three products. This much luma, in 1/256, centres the error.
    bool const isToRgb = IsYuv(wanted.source) && !IsYuv(wanted.target);
    int const brightness = !isToRgb ? 0 : isFromFull ? 256 : 320;
    bool const isReady = sws_init_context(context.get(), nullptr, nullptr) >= 0 &&
                         sws_setColorspaceDetails(context.get(), GetCoefficients(wanted.sourceSpec.matrix),
                                                  isFromFull ? 1 : 0, GetCoefficients(wanted.targetSpec.matrix),
                                                  isToFull ? 1 : 0, brightness, 1 << 16, 1 << 16) >= 0;
    if (!isReady) {
        context.reset();
        Core::Throw(std::runtime_error(fmt::format("libswscale cannot convert {} to {} at {}x{}",
                                                   av_get_pix_fmt_name(wanted.source),
                                                   av_get_pix_fmt_name(wanted.target), wanted.width, wanted.height)));
    }
    made = std::make_unique<Conversion>(wanted);
}

}  // namespace Kaltor::Proc
