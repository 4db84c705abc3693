#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Proc/Data/AvFrame.h"

namespace Kaltor::Proc {

/// Converts packed R'G'B' (`PixFmt::Bgrx`) to planar 4:2:0 of 8 bits. A chroma sample is that of the mean of its 2 x 2
/// pixels; beyond an odd side its last column or row counts twice. Samples are within 0.6 / 255 of the formula (see
/// `Kaltor::RgbToYuv`).
class RgbToYuvConverter {
public:
    /// `spec` must be resolved.
    explicit RgbToYuvConverter(ColorSpec const& spec);

    bool IsFor(ColorSpec const& spec) const { return spec == writtenAs; }

    /// Writes `rows` rows from an even one on. `source`: where the first one begins, `stride` bytes before the next
    /// one. Other than at the picture's end, `rows` is even.
    void Convert(std::uint8_t const* source, std::ptrdiff_t stride, int firstRow, int rows, AVFrame& target) const;

    /// What a sample has of blue, green and red, in 2^-15, and what is added.
    struct Weights {
        std::array<std::int16_t, 3> channels;
        std::int32_t offset;
    };

private:
    ColorSpec writtenAs;
    std::array<Weights, 3> weights;
};

}  // namespace Kaltor::Proc
