#include "Proc/Data/YuvToRgb.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace Kaltor::Proc {
namespace {

// All loops here are written so that compilers can vectorise them: they keep the upper halves of 16-bit products and
// write two 16-bit words for each pixel.

/// Fraction bits below an 8-bit step. With more of them a bright saturated colour would overflow 16 bits.
constexpr int kFraction = 5;
constexpr int kWordBits = 16;
static_assert(std::endian::native == std::endian::little, "bytes are written two at a time");

inline std::int16_t UpperHalf(std::int16_t a, std::int16_t b) {
    return static_cast<std::int16_t>((static_cast<std::int32_t>(a) * b) >> kWordBits);
}

inline std::int16_t UpperHalf(std::uint16_t a, std::uint16_t b) {
    return static_cast<std::int16_t>((static_cast<std::uint32_t>(a) * b) >> kWordBits);
}

inline std::uint16_t ToByte(int value) {
    auto const byte = static_cast<std::int16_t>(static_cast<std::int16_t>(value) >> kFraction);
    return static_cast<std::uint16_t>(std::clamp<std::int16_t>(byte, 0, 255));
}

template <typename Sample>
constexpr int kShift = sizeof(Sample) == 1 ? 8 : 6;  // brings 8 or 10 bits to 16

/// A chroma sample as a signed 16-bit word over the full scale.
template <typename Sample>
inline std::int16_t Centred(Sample sample) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(sample << kShift<Sample>) - 0x8000);
}

template <typename Sample>
void WeighChroma(Sample const* __restrict cb, Sample const* __restrict cr, YuvToRgbConverter::Coefficients const& by,
                 int count, std::int16_t* __restrict red, std::int16_t* __restrict green,
                 std::int16_t* __restrict blue) {
    YuvToRgbConverter::Coefficients const weights = by;  // a copy that no output can alias
    for (int i = 0; i < count; ++i) {
        std::int16_t const blueness = Centred(cb[i]);
        std::int16_t const redness = Centred(cr[i]);
        red[i] = static_cast<std::int16_t>(weights.offset + UpperHalf(redness, weights.crToRed));
        green[i] = static_cast<std::int16_t>(weights.offset + UpperHalf(blueness, weights.cbToGreen) +
                                             UpperHalf(redness, weights.crToGreen));
        blue[i] = static_cast<std::int16_t>(weights.offset + UpperHalf(blueness, weights.cbToBlue));
    }
}

void RepeatEach(std::int16_t const* __restrict from, int count, std::int16_t* __restrict to) {
    for (int i = 0; i < count; ++i) {
        to[2 * i] = from[i];
        to[2 * i + 1] = from[i];
    }
}

/// Four bytes per pixel: first, second, third, 255.
template <typename Sample>
void AddLuma(Sample const* __restrict luma, std::uint16_t weight, std::int16_t const* __restrict first,
             std::int16_t const* __restrict second, std::int16_t const* __restrict third, int count,
             std::uint16_t* __restrict out) {
    for (int i = 0; i < count; ++i) {
        std::int16_t const y = UpperHalf(static_cast<std::uint16_t>(luma[i] << kShift<Sample>), weight);
        out[2 * i] = static_cast<std::uint16_t>(ToByte(y + first[i]) | (ToByte(y + second[i]) << 8));
        out[2 * i + 1] = static_cast<std::uint16_t>(ToByte(y + third[i]) | 0xFF00);
    }
}

template <typename Sample>
Sample const* RowOf(AVFrame const& frame, int plane, int row) {
    return reinterpret_cast<Sample const*>(frame.data[plane] +
                                           static_cast<std::ptrdiff_t>(row) * frame.linesize[plane]);
}

}  // namespace

YuvToRgbConverter::YuvToRgbConverter(PixFmt source, PixFmt target, ColorSpec const& spec)
    : from(PixFmtDescription::Find(source)), to(target), readAs(spec) {
    ColorTransform const transform = YuvToRgb(spec, from.bits);
    double const top = static_cast<double>((1U << from.bits) - 1U);
    auto const step = [&](std::size_t row, std::size_t column) {
        // One source step in 8-bit steps. Taking the product's upper half divides by 2^bits again.
        return std::lround(std::ldexp(transform.matrix[row][column] * 255.0 / top, kFraction + from.bits));
    };
    double const zero = static_cast<double>(1U << (from.bits - 1U)) / top;
    auto const& red = transform.matrix[0];
    double const black = transform.offset[0] + (red[1] + red[2]) * zero;  // without chroma's share
    // Half a step is added for rounding. Each truncated upper half is too low by half of its last bit on average.
    constexpr double kCutOff = 1.0;
    coefficients = {static_cast<std::uint16_t>(step(0, 0)),
                    static_cast<std::int16_t>(step(0, 2)),
                    static_cast<std::int16_t>(step(1, 1)),
                    static_cast<std::int16_t>(step(1, 2)),
                    static_cast<std::int16_t>(step(2, 1)),
                    static_cast<std::int16_t>(std::lround(std::ldexp(black * 255.0 + 0.5, kFraction) + kCutOff))};
}

void YuvToRgbConverter::Convert(AVFrame const& source, AVFrame& target) {
    Convert(source, 0, source.height, target.data[0], target.linesize[0]);
}

void YuvToRgbConverter::Convert(AVFrame const& source, int firstRow, int rows, std::uint8_t* target,
                                std::ptrdiff_t stride) {
    if (from.bits == 8) {
        ConvertRows<std::uint8_t>(source, firstRow, rows, target, stride);
    } else {
        ConvertRows<std::uint16_t>(source, firstRow, rows, target, stride);
    }
}

template <typename Sample>
void YuvToRgbConverter::FillChroma(AVFrame const& source, int row, int width) {
    bool const isHalved = from.chromaXLog2 != 0;
    int const count = isHalved ? (width + 1) / 2 : width;
    ChromaRow& sums = isHalved ? subsampled : full;
    for (std::vector<std::int16_t>* const sum : {&sums.red, &sums.green, &sums.blue}) {
        sum->resize(static_cast<std::size_t>(count));
    }
    Sample const* blueDifference = RowOf<Sample>(source, 1, row);
    Sample const* redDifference = RowOf<Sample>(source, from.planes == 3 ? 2 : 1, row);
    if constexpr (sizeof(Sample) == 1) {
        if (from.planes == 2) {
            cb.resize(static_cast<std::size_t>(count));
            cr.resize(static_cast<std::size_t>(count));
            for (int i = 0; i < count; ++i) {
                cb[static_cast<std::size_t>(i)] = blueDifference[2 * i];
                cr[static_cast<std::size_t>(i)] = blueDifference[2 * i + 1];
            }
            blueDifference = cb.data();
            redDifference = cr.data();
        }
    }
    WeighChroma(blueDifference, redDifference, coefficients, count, sums.red.data(), sums.green.data(),
                sums.blue.data());
    if (isHalved) {
        for (auto const channel : {&ChromaRow::red, &ChromaRow::green, &ChromaRow::blue}) {
            (full.*channel).resize(static_cast<std::size_t>(count) * 2);
            RepeatEach((subsampled.*channel).data(), count, (full.*channel).data());
        }
    }
}

template <typename Sample>
void YuvToRgbConverter::ConvertRows(AVFrame const& source, int firstRow, int rows, std::uint8_t* target,
                                    std::ptrdiff_t stride) {
    int const width = source.width;
    bool const isRedFirst = to == PixFmt::Rgba || to == PixFmt::Rgb24;
    bool const isThreeBytes = to == PixFmt::Rgb24;
    if (from.planes == 1) {
        for (auto const channel : {&ChromaRow::red, &ChromaRow::green, &ChromaRow::blue}) {
            (full.*channel).assign(static_cast<std::size_t>(width), coefficients.offset);
        }
    }
    packed.resize(isThreeBytes ? static_cast<std::size_t>(width) * 2 : 0);
    for (int y = firstRow; y < firstRow + rows; ++y) {
        bool const isNewChroma = from.planes > 1 && (y & ((1 << from.chromaYLog2) - 1)) == 0;
        if (isNewChroma) {
            FillChroma<Sample>(source, y >> from.chromaYLog2, width);
        }
        std::uint8_t* const row = target + stride * (y - firstRow);
        std::uint16_t* const out = isThreeBytes ? packed.data() : reinterpret_cast<std::uint16_t*>(row);
        AddLuma(RowOf<Sample>(source, 0, y), coefficients.luma, isRedFirst ? full.red.data() : full.blue.data(),
                full.green.data(), isRedFirst ? full.blue.data() : full.red.data(), width, out);
        auto const* const bytes = reinterpret_cast<std::uint8_t const*>(out);
        for (int x = 0; isThreeBytes && x < width; ++x) {
            std::memcpy(row + static_cast<std::ptrdiff_t>(x) * 3, bytes + static_cast<std::ptrdiff_t>(x) * 4, 3);
        }
    }
}

}  // namespace Kaltor::Proc
