#include "Proc/Data/RgbToYuv.h"

#include <algorithm>
#include <cmath>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Kaltor::Proc {
namespace {

using Weights = RgbToYuvConverter::Weights;

constexpr int kFractionBits = 15;
constexpr int kPixel = 4;  ///< bytes

std::uint8_t ToSample(std::int32_t sum, int bits) {
    return static_cast<std::uint8_t>(std::clamp(sum >> bits, 0, 255));
}

std::int32_t Weigh(Weights const& by, int blue, int green, int red) {
    return by.channels[0] * blue + by.channels[1] * green + by.channels[2] * red;
}

#if defined(__SSE2__)
/// Sixteen bytes hold four pixels. Blue and red are words of 16 bits, as green and nothing are, so that one
/// instruction weighs and adds two of them.
struct Vectors {
    explicit Vectors(Weights const& by, int extraBits)
        : blueRed(Pair(by.channels[0], by.channels[2])),
          green(Pair(by.channels[1], 0)),
          offset(_mm_set1_epi32((by.offset << extraBits) + (1 << (kFractionBits + extraBits - 1)))) {}

    static __m128i Pair(std::int16_t low, std::int16_t high) {
        return _mm_set1_epi32(static_cast<std::int32_t>(
            static_cast<std::uint16_t>(low) | (static_cast<std::uint32_t>(static_cast<std::uint16_t>(high)) << 16U)));
    }
    __m128i Sum(__m128i blueAndRed, __m128i greenAndNone) const {
        return _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(blueAndRed, blueRed), _mm_madd_epi16(greenAndNone, green)),
                             offset);
    }

    __m128i blueRed;
    __m128i green;
    __m128i offset;
};

__m128i Load(std::uint8_t const* from) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(from));
}
__m128i BlueRedOf(__m128i pixels) {
    return _mm_and_si128(pixels, _mm_set1_epi32(0x00FF00FF));
}
__m128i GreenOf(__m128i pixels) {
    return _mm_and_si128(_mm_srli_epi32(pixels, 8), _mm_set1_epi32(0x000000FF));
}

/// Four sums to bytes in the lower words.
__m128i Narrow(__m128i a, __m128i b, __m128i c, __m128i d) {
    return _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
}

/// The number of pixels that were converted, from the left.
int ConvertLumaVectors(std::uint8_t const* row, int width, Weights const& by, std::uint8_t* out) {
    Vectors const luma(by, 0);
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        auto const four = [&](int part) {
            __m128i const pixels = Load(row + (x + 4 * part) * kPixel);
            return _mm_srai_epi32(luma.Sum(BlueRedOf(pixels), GreenOf(pixels)), kFractionBits);
        };
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), Narrow(four(0), four(1), four(2), four(3)));
    }
    return x;
}

/// The same for chroma samples, from two rows of pixels.
int ConvertChromaVectors(std::uint8_t const* upper, std::uint8_t const* lower, int width, Weights const& blueness,
                         Weights const& redness, std::uint8_t* cb, std::uint8_t* cr) {
    Vectors const blue(blueness, 2);
    Vectors const red(redness, 2);
    int i = 0;
    for (; 2 * (i + 8) <= width; i += 8) {
        __m128i cbSums[2];
        __m128i crSums[2];
        for (int half = 0; half < 2; ++half) {
            // Sums of two rows for four samples, then of neighbours: pixels 0 and 2 of each four against 1 and 3.
            auto const sumOf = [&](int part, auto const& channels) {
                int const at = (2 * i + 8 * half + 4 * part) * kPixel;
                return _mm_add_epi16(channels(Load(upper + at)), channels(Load(lower + at)));
            };
            auto const pairs = [&](auto const& channels) {
                __m128 const a = _mm_castsi128_ps(sumOf(0, channels));
                __m128 const b = _mm_castsi128_ps(sumOf(1, channels));
                return _mm_add_epi16(_mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))),
                                     _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))));
            };
            __m128i const blueAndRed = pairs(BlueRedOf);
            __m128i const green = pairs(GreenOf);
            cbSums[half] = _mm_srai_epi32(blue.Sum(blueAndRed, green), kFractionBits + 2);
            crSums[half] = _mm_srai_epi32(red.Sum(blueAndRed, green), kFractionBits + 2);
        }
        __m128i const both = Narrow(cbSums[0], cbSums[1], crSums[0], crSums[1]);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cb + i), both);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cr + i), _mm_srli_si128(both, 8));
    }
    return i;
}
#else
int ConvertLumaVectors(std::uint8_t const*, int, Weights const&, std::uint8_t*) {
    return 0;
}
int ConvertChromaVectors(std::uint8_t const*, std::uint8_t const*, int, Weights const&, Weights const&, std::uint8_t*,
                         std::uint8_t*) {
    return 0;
}
#endif

void ConvertLuma(std::uint8_t const* row, int width, Weights const& by, std::uint8_t* out) {
    for (int x = ConvertLumaVectors(row, width, by, out); x < width; ++x) {
        std::uint8_t const* const pixel = row + static_cast<std::ptrdiff_t>(x) * kPixel;
        out[x] =
            ToSample(Weigh(by, pixel[0], pixel[1], pixel[2]) + by.offset + (1 << (kFractionBits - 1)), kFractionBits);
    }
}

void ConvertChroma(std::uint8_t const* upper, std::uint8_t const* lower, int width, Weights const& blueness,
                   Weights const& redness, std::uint8_t* cb, std::uint8_t* cr) {
    int const samples = (width + 1) / 2;
    for (int i = ConvertChromaVectors(upper, lower, width, blueness, redness, cb, cr); i < samples; ++i) {
        std::ptrdiff_t const left = std::ptrdiff_t{2} * i * kPixel;
        std::ptrdiff_t const right = std::ptrdiff_t{std::min(2 * i + 1, width - 1)} * kPixel;
        auto const sum = [&](int channel) {
            return upper[left + channel] + upper[right + channel] + lower[left + channel] + lower[right + channel];
        };
        auto const convert = [&](Weights const& by) {
            return ToSample(Weigh(by, sum(0), sum(1), sum(2)) + 4 * by.offset + (1 << (kFractionBits + 1)),
                            kFractionBits + 2);
        };
        cb[i] = convert(blueness);
        cr[i] = convert(redness);
    }
}

}  // namespace

RgbToYuvConverter::RgbToYuvConverter(ColorSpec const& spec) : writtenAs(spec) {
    ColorTransform const transform = RgbToYuv(spec);
    auto const round = [](double value) { return std::lround(std::ldexp(value, kFractionBits)); };
    for (std::size_t i = 0; i < weights.size(); ++i) {
        std::array<double, 3> const& row = transform.matrix[i];
        for (std::size_t channel = 0; channel < row.size(); ++channel) {
            weights[i].channels[channel] = static_cast<std::int16_t>(round(row[row.size() - 1 - channel]));
        }
        weights[i].offset = static_cast<std::int32_t>(round(transform.offset[i] * 255.0));
    }
}

void RgbToYuvConverter::Convert(std::uint8_t const* source, std::ptrdiff_t stride, int firstRow, int rows,
                                AVFrame& target) const {
    auto const rowOf = [&target](std::size_t plane, int row) {
        return target.data[plane] + static_cast<std::ptrdiff_t>(row) * target.linesize[plane];
    };
    for (int y = 0; y < rows; y += 2) {
        std::uint8_t const* const upper = source + stride * y;
        std::uint8_t const* const lower = y + 1 < rows ? upper + stride : upper;
        ConvertLuma(upper, target.width, weights[0], rowOf(0, firstRow + y));
        if (lower != upper) {
            ConvertLuma(lower, target.width, weights[0], rowOf(0, firstRow + y + 1));
        }
        int const row = (firstRow + y) / 2;
        ConvertChroma(upper, lower, target.width, weights[1], weights[2], rowOf(1, row), rowOf(2, row));
    }
}

}  // namespace Kaltor::Proc
