#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "Ogl/Processor.h"

// What filters on the processor's threads are made of. Samples become numbers of 16 bits, with 255 as 16320; weights
// have 15 bits behind the point. Where weights add up to 1, a sum is one of the numbers plus weighted differences from
// it: flat colours stay as they are, to the bit. The loops are such that compilers make vectors of them; all is whole
// numbers, and therefore the same with vectors of any width.

namespace Kaltor::Ogl {

using Half = std::int16_t;

/// Four samples of a row, wherever they begin.
using FourSamples [[gnu::aligned(1), gnu::may_alias]] = std::uint32_t;

constexpr int kFraction = 6;  ///< bits of a number behind those of a sample
constexpr int kWhite = 255 << kFraction;
constexpr int kWeightBits = 15;

/// value * weight, rounded.
[[gnu::always_inline]] inline Half Times(Half value, Half weight) {
    return static_cast<Half>((((std::int32_t{value} * weight) >> (kWeightBits - 1)) + 1) >> 1);
}

/// The number as a sample; it has to be within black and white, but for what rounding adds.
[[gnu::always_inline]] inline std::uint8_t ToSample(int number) {
    return static_cast<std::uint8_t>((number + (1 << (kFraction - 1))) >> kFraction);
}

/// Below 1.
inline Half ToWeight(double value) {
    constexpr long kOne = 1L << kWeightBits;
    return static_cast<Half>(std::clamp(std::lround(value * kOne), -kOne, kOne - 1));
}

/// The luma of a pixel that begins with blue, 0 to 255.
[[gnu::always_inline]] inline float LumaOf(std::uint32_t pixel) {
    auto const channel = [pixel](unsigned shift) __attribute__((always_inline)) {
        return static_cast<float>(static_cast<std::int32_t>((pixel >> shift) & 255U));
    };
    return 0.2126F * channel(16) + 0.7152F * channel(8) + 0.0722F * channel(0);
}

/// The pixel with this many steps added to each of its colours.
[[gnu::always_inline]] inline std::uint32_t AddGrey(std::uint32_t pixel, float steps) {
    constexpr int kBelow = 1 << 12;  // farther below than what is added ever is: truncation then rounds down
    int const whole = static_cast<int>(steps + (kBelow + 0.5F)) - kBelow;
    auto const add = [ pixel, whole ](unsigned shift) __attribute__((always_inline)) {
        int const sum = static_cast<int>((pixel >> shift) & 255U) + whole;
        return static_cast<std::uint32_t>(std::clamp(sum, 0, 255)) << shift;
    };
    return (pixel & 0xFF000000U) | add(16) | add(8) | add(0);
}

/// A row of numbers with room for `pad` more before and behind it.
class PaddedRow {
public:
    PaddedRow(std::size_t count, std::size_t padding)
        : pad(padding), length(count), numbers(new Half[count + 2 * padding]) {}

    Half* Get() const { return numbers.get() + pad; }
    /// Repeats the first and the last `channels` numbers of the first `used`.
    void RepeatEdges(std::size_t used, std::size_t channels) const {
        Half* const row = Get();
        for (std::size_t i = 1; i <= pad; ++i) {
            *(row - i) = row[channels - 1 - (i - 1) % channels];
        }
        for (std::size_t i = used; i < length + pad; ++i) {
            row[i] = row[i - channels];
        }
    }

private:
    std::size_t pad;
    std::size_t length;
    std::unique_ptr<Half[]> numbers;
};

/// Rows in strips, some for each thread.
inline void ForStrips(int height, Processor& processor, std::function<void(int first, int last)> const& work) {
    constexpr int kLeast = 16;
    int const wanted = 2 * static_cast<int>(Processor::CountThreads());
    int const rows = std::max(kLeast, (height + wanted - 1) / wanted);
    processor.ForEach(static_cast<std::size_t>((height + rows - 1) / rows), [&](std::size_t i) {
        int const first = static_cast<int>(i) * rows;
        work(first, std::min(first + rows, height));
    });
}

/// The rows that `job.DrawRows`, which is always inlined, draws.
template <typename Job>
void DrawStrips(Job const& job, int height, Processor& processor) {
    ForStrips(height, processor, [&job](int first, int last) {
        RunWidest([&]() __attribute__((always_inline)) { job.DrawRows(first, last); });
    });
}

}  // namespace Kaltor::Ogl
