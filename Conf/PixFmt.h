#pragma once

#include <array>
#include <cstdint>

namespace Kaltor {

/// How a picture's samples are stored. Numbers 0, 2 and 28 are fixed: they are the formats that GPU effects produce
/// and the downloader's planar one.
enum class PixFmt : std::int32_t {
    Unknown = -1,
    Yuv420p = 0,
    Rgb24 = 2,
    Yuv422p = 4,
    Yuv444p = 5,
    Gray8 = 8,
    Nv12 = 23,
    Rgba = 28,
    Bgra = 30,
    Bgrx = 31,  ///< as Bgra; the fourth byte is always 255
    Yuv420p10 = 62,
    Yuv422p10 = 64,
    Yuv444p10 = 66,
    RgbF16 = 130,   ///< 16-bit float, four words a pixel; the fourth is always 1
    RgbaF16 = 131,  ///< 16-bit float with alpha
};

/// The formats of GPU output frames of 8 bits.
constexpr PixFmt kOpaqueFormat = PixFmt::Rgb24;
constexpr PixFmt kAlphaFormat = PixFmt::Rgba;

/// The properties of a pixel format.
struct PixFmtDescription {
    static constexpr std::uint32_t kYuv = 1;     ///< luma and chroma, or luma alone
    static constexpr std::uint32_t kPlanar = 2;  ///< one plane per component, or luma and interleaved chroma
    static constexpr std::uint32_t kAlpha = 8;
    static constexpr std::uint32_t kFloat = 16;  ///< finer than 8 bits on the GPU too; values above 1 are kept

    PixFmt format;
    char const* name;
    std::uint32_t flags;
    std::uint8_t planes;
    std::uint8_t bits;         ///< bits of one component
    std::uint8_t chromaXLog2;  ///< chroma is 1 / 2^this as wide as luma
    std::uint8_t chromaYLog2;

    bool HasAlpha() const { return (flags & kAlpha) != 0; }
    bool IsYuv() const { return (flags & kYuv) != 0; }
    bool IsFloat() const { return (flags & kFloat) != 0; }

    /// Throws `std::invalid_argument` for a number that is not a format.
    static PixFmtDescription const& Find(PixFmt format);
};

/// The pixel format of a GPU frame drawn from a picture of this one: with alpha where the source has it, of 16-bit
/// float where the source is.
PixFmt OutputFormat(PixFmt source);
/// The same, with alpha and without it whatever the source has.
PixFmt AlphaFormat(PixFmt source);
PixFmt OpaqueFormat(PixFmt source);

/// The matrix between R'G'B' and Y'CbCr. Unspecified: none was tagged.
enum class ColorMatrix : std::uint8_t { Unspecified, Bt601, Bt709, Bt2020 };
enum class ColorRange : std::uint8_t { Unspecified, Limited, Full };

/// How a frame's YUV samples are to be interpreted.
struct ColorSpec {
    ColorMatrix matrix = ColorMatrix::Unspecified;
    ColorRange range = ColorRange::Unspecified;

    bool operator==(ColorSpec const&) const = default;

    /// A copy with the unspecified parts filled in as is usual: BT.709 from 720 lines up, BT.601 below; limited range.
    ColorSpec Resolved(std::uint32_t height) const;
};

/// The luma weights (Kr, Kb) of a matrix: ITU-R BT.601-7, BT.709-6, BT.2020-2 (non-constant luminance).
struct LumaWeights {
    double red;
    double blue;
};
LumaWeights GetLumaWeights(ColorMatrix matrix);

/// An affine map of colours: out = matrix * in + offset, row by row. Samples are 0..1 (code / 255 for 8 bits).
struct ColorTransform {
    std::array<std::array<double, 3>, 3> matrix;
    std::array<double, 3> offset;
};
/// Y'CbCr samples of `spec` (must be resolved) to R'G'B'. `bits` decides what 0..1 means for limited range.
ColorTransform YuvToRgb(ColorSpec const& spec, unsigned bits = 8);
/// The inverse.
ColorTransform RgbToYuv(ColorSpec const& spec, unsigned bits = 8);

}  // namespace Kaltor
