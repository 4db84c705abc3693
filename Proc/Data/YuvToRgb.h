#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Proc/Data/DataVideoFF.h"

namespace Kaltor::Proc {

/// Converts Y'CbCr pictures to packed R'G'B' with 8 bits per channel, opaque, full range; chroma is repeated. Every
/// channel is within 0.6 / 255 of the formula (see `Kaltor::YuvToRgb`), also far outside the gamut. libswscale's fast
/// path takes a quarter less time but is off by up to 2.9 / 255; its accurate path takes ten times as long, and bright
/// colours wrap around.
class YuvToRgbConverter {
public:
    /// A step of one sample, in 2^-kFraction of an 8-bit step, times 2^bits.
    struct Coefficients {
        std::uint16_t luma;
        std::int16_t crToRed;
        std::int16_t cbToGreen;
        std::int16_t crToGreen;
        std::int16_t cbToBlue;
        std::int16_t offset;  ///< for black, and half of the last bit
    };

    /// `spec` must be resolved.
    YuvToRgbConverter(PixFmt source, PixFmt target, ColorSpec const& spec);

    bool IsFor(PixFmt source, PixFmt target, ColorSpec const& spec) const {
        return source == from.format && target == to && spec == readAs;
    }

    /// Both pictures have the formats given to the constructor, and the same size.
    void Convert(AVFrame const& source, AVFrame& target);
    /// `rows` rows from an even one on. `target`: where the first one goes, `stride` bytes before the next one.
    void Convert(AVFrame const& source, int firstRow, int rows, std::uint8_t* target, std::ptrdiff_t stride);

private:
    /// What chroma adds to each channel, one value per pixel.
    struct ChromaRow {
        std::vector<std::int16_t> red;
        std::vector<std::int16_t> green;
        std::vector<std::int16_t> blue;
    };

    template <typename Sample>
    void ConvertRows(AVFrame const& source, int firstRow, int rows, std::uint8_t* target, std::ptrdiff_t stride);
    template <typename Sample>
    void FillChroma(AVFrame const& source, int row, int width);

    PixFmtDescription from;
    PixFmt to;
    ColorSpec readAs;
    Coefficients coefficients{};
    ChromaRow subsampled;
    ChromaRow full;
    std::vector<std::uint8_t> cb;  ///< of interleaved chroma
    std::vector<std::uint8_t> cr;
    std::vector<std::uint16_t> packed;  ///< a row with four bytes per pixel, for targets with three
};

}  // namespace Kaltor::Proc
