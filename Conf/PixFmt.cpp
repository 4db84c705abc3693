#include "Conf/PixFmt.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "Core/Interfaces/Exception.h"

namespace Kaltor {
namespace {

using D = PixFmtDescription;

constexpr std::array kDescriptions{
    D{PixFmt::Yuv420p, "yuv420p", D::kYuv | D::kPlanar, 3, 8, 1, 1},
    D{PixFmt::Rgb24, "rgb24", 0, 1, 8, 0, 0},
    D{PixFmt::Yuv422p, "yuv422p", D::kYuv | D::kPlanar, 3, 8, 1, 0},
    D{PixFmt::Yuv444p, "yuv444p", D::kYuv | D::kPlanar, 3, 8, 0, 0},
    D{PixFmt::Gray8, "gray", D::kYuv | D::kPlanar, 1, 8, 0, 0},
    D{PixFmt::Nv12, "nv12", D::kYuv | D::kPlanar, 2, 8, 1, 1},
    D{PixFmt::Rgba, "rgba", D::kAlpha, 1, 8, 0, 0},
    D{PixFmt::Bgra, "bgra", D::kAlpha, 1, 8, 0, 0},
    D{PixFmt::Bgrx, "bgr0", 0, 1, 8, 0, 0},
    D{PixFmt::Yuv420p10, "yuv420p10le", D::kYuv | D::kPlanar, 3, 10, 1, 1},
    D{PixFmt::Yuv422p10, "yuv422p10le", D::kYuv | D::kPlanar, 3, 10, 1, 0},
    D{PixFmt::Yuv444p10, "yuv444p10le", D::kYuv | D::kPlanar, 3, 10, 0, 0},
    D{PixFmt::RgbF16, "rgbf16", D::kFloat, 1, 16, 0, 0},
    D{PixFmt::RgbaF16, "rgbaf16", D::kAlpha | D::kFloat, 1, 16, 0, 0},
};

/// Black and white of luma, the zero of chroma and its reach from there, as fractions of the full code range.
struct Levels {
    double black, lumaSpan, chromaZero, chromaSpan;
};

Levels GetLevels(ColorRange range, unsigned bits) {
    double const top = static_cast<double>((1U << bits) - 1U);
    double const step = static_cast<double>(1U << (bits - 8U));
    if (range == ColorRange::Full) {
        return {0.0, 1.0, 128.0 * step / top, 1.0};
    }
    return {16.0 * step / top, 219.0 * step / top, 128.0 * step / top, 224.0 * step / top};
}

}  // namespace

PixFmtDescription const& PixFmtDescription::Find(PixFmt format) {
    auto const* const found = std::find_if(kDescriptions.begin(), kDescriptions.end(),
                                           [format](D const& description) { return description.format == format; });
    if (found == kDescriptions.end()) {
        Core::Throw(std::invalid_argument("unknown pixel format " + std::to_string(static_cast<int>(format))));
    }
    return *found;
}

PixFmt OutputFormat(PixFmt source) {
    return PixFmtDescription::Find(source).HasAlpha() ? AlphaFormat(source) : OpaqueFormat(source);
}

PixFmt AlphaFormat(PixFmt source) {
    return PixFmtDescription::Find(source).IsFloat() ? PixFmt::RgbaF16 : kAlphaFormat;
}

PixFmt OpaqueFormat(PixFmt source) {
    return PixFmtDescription::Find(source).IsFloat() ? PixFmt::RgbF16 : kOpaqueFormat;
}

ColorSpec ColorSpec::Resolved(std::uint32_t height) const {
    constexpr std::uint32_t kHighDefinition = 720;
    ColorSpec spec = *this;
    if (spec.matrix == ColorMatrix::Unspecified) {
        spec.matrix = height >= kHighDefinition ? ColorMatrix::Bt709 : ColorMatrix::Bt601;
    }
    if (spec.range == ColorRange::Unspecified) {
        spec.range = ColorRange::Limited;
    }
    return spec;
}

LumaWeights GetLumaWeights(ColorMatrix matrix) {
    switch (matrix) {
        case ColorMatrix::Bt709:
            return {0.2126, 0.0722};
        case ColorMatrix::Bt2020:
            return {0.2627, 0.0593};
        default:
            return {0.299, 0.114};
    }
}

ColorTransform YuvToRgb(ColorSpec const& spec, unsigned bits) {
    auto const [red, blue] = GetLumaWeights(spec.matrix);
    double const green = 1.0 - red - blue;
    auto const [black, lumaSpan, zero, chromaSpan] = GetLevels(spec.range, bits);
    double const y = 1.0 / lumaSpan;
    double const crToRed = 2.0 * (1.0 - red) / chromaSpan;
    double const cbToBlue = 2.0 * (1.0 - blue) / chromaSpan;
    double const crToGreen = -crToRed * red / green;
    double const cbToGreen = -cbToBlue * blue / green;
    ColorTransform result{{{{y, 0.0, crToRed}, {y, cbToGreen, crToGreen}, {y, cbToBlue, 0.0}}}, {}};
    for (std::size_t row = 0; row < 3; ++row) {
        auto const& m = result.matrix[row];
        result.offset[row] = -m[0] * black - (m[1] + m[2]) * zero;
    }
    return result;
}

ColorTransform RgbToYuv(ColorSpec const& spec, unsigned bits) {
    auto const [red, blue] = GetLumaWeights(spec.matrix);
    double const green = 1.0 - red - blue;
    auto const [black, lumaSpan, zero, chromaSpan] = GetLevels(spec.range, bits);
    double const cb = chromaSpan * 0.5 / (1.0 - blue);
    double const cr = chromaSpan * 0.5 / (1.0 - red);
    return {{{{lumaSpan * red, lumaSpan * green, lumaSpan * blue},
              {-cb * red, -cb * green, cb * (1.0 - blue)},
              {cr * (1.0 - red), -cr * green, -cr * blue}}},
            {black, zero, zero}};
}

}  // namespace Kaltor
