// Whole pixels become keys of 32 bits that are in the order of luma and from which the pixel can be made again, so that
// a minimum of whole numbers picks a pixel. A square is a stretch along x, joined of stretches that double in length,
// and along y three minima for each pixel, whatever the radius: rows are taken in blocks as high as the square, and
// each square is the end of one block and the beginning of the next (M. van Herk, "A fast algorithm for local minimum
// and maximum filters on rectangular and octagonal kernels", 1992; J. Gil, M. Werman, "Computing 2-D Min, Median, and
// Max Filters", 1993). A disc is the union of its rows.

#include "Proc/Effects/EffectsOgl/Effects/ProcessorMorphology.h"

#include <cstring>
#include <limits>
#include <utility>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

// A key is the luma, in 1e-5 of a step, and seven bits of red. Red is odd where the luma is, since the other two
// weights are even; what remains is 6 (kGreen g + kBlue b), in which b is known by the remainder.
constexpr std::uint32_t kRedLuma = 21263;
constexpr std::uint32_t kGreenLuma = 71520;
constexpr std::uint32_t kBlueLuma = 7218;
constexpr unsigned kRedBits = 7;
constexpr int kCommon = 6;
constexpr int kGreenPart = kGreenLuma / kCommon;
constexpr int kBluePart = kBlueLuma / kCommon;
static_assert(kRedLuma % 2 == 1 && kGreenLuma % kCommon == 0 && kBlueLuma % kCommon == 0);
static_assert((255ULL * (kRedLuma + kGreenLuma + kBlueLuma) + 1) << kRedBits <= 1ULL << 32U);

/// The number whose product with the blue part leaves 1 when it is divided by the green part.
constexpr int FindInverse() {
    int inverse = 1;
    while (inverse * kBluePart % kGreenPart != 1) {
        ++inverse;
    }
    return inverse;
}
constexpr int kInverse = FindInverse();

[[gnu::always_inline]] inline void ToKeys(std::uint32_t const* pixels, int count, std::uint32_t* __restrict keys) {
    for (int x = 0; x < count; ++x) {
        std::uint32_t const blue = pixels[x] & 255U;
        std::uint32_t const green = (pixels[x] >> 8U) & 255U;
        std::uint32_t const red = (pixels[x] >> 16U) & 255U;
        keys[x] = ((red * kRedLuma + green * kGreenLuma + blue * kBlueLuma) << kRedBits) | (red >> 1U);
    }
}

[[gnu::always_inline]] inline void ToPixels(std::uint32_t const* keys, int count, std::uint32_t* __restrict pixels) {
    constexpr float kShare = 1.0F / kGreenPart;
    constexpr int kMost = 255;
    for (int x = 0; x < count; ++x) {
        auto const luma = static_cast<int>(keys[x] >> kRedBits);
        int const red = static_cast<int>((keys[x] << 1U) & 254U) + (luma & 1);
        // Divisions by floats, of numbers below 2^24 that lie half of one away from the next quotient.
        int const rest =
            static_cast<int>((static_cast<float>(luma - red * static_cast<int>(kRedLuma)) + 3.0F) * (1.0F / kCommon));
        int const remainder = rest - static_cast<int>((static_cast<float>(rest) + 0.5F) * kShare) * kGreenPart;
        // This product is larger: the quotient may be one beside the right one.
        int const product = remainder * kInverse;
        int blue = product - static_cast<int>(static_cast<float>(product) * kShare) * kGreenPart;
        blue += blue < 0 ? kGreenPart : 0;
        blue -= blue > kMost ? kGreenPart : 0;
        int const green = static_cast<int>(static_cast<float>(rest - blue * kBluePart) * kShare + 0.5F);
        pixels[x] = 0xFF000000U | (static_cast<std::uint32_t>(red) << 16U) | (static_cast<std::uint32_t>(green) << 8U) |
                    static_cast<std::uint32_t>(blue);
    }
}

template <typename Number, bool isDilation>
[[gnu::always_inline]] inline Number Choose(Number a, Number b) {
    return (isDilation ? a > b : a < b) ? a : b;
}

/// `Number`: a key for each pixel, or a byte for each channel.
template <typename Number, bool isDilation>
struct MorphologyJob {
    Samples from, to;
    int radius;

    static constexpr int kStep = sizeof(Number) == 1 ? 4 : 1;  ///< numbers in a pixel
    static constexpr Number kNeutral = isDilation ? 0 : std::numeric_limits<Number>::max();

    int Count() const { return from.width * kStep; }

    /// Rows of numbers, each with `pad` neutral ones at either side.
    class Rows {
    public:
        Rows(int rows, int count, int pad)
            : length(static_cast<std::size_t>(count + 2 * pad)),
              begin(pad),
              numbers(length * static_cast<std::size_t>(rows), kNeutral) {}
        Number* operator[](int row) { return numbers.data() + length * static_cast<std::size_t>(row) + begin; }

    private:
        std::size_t length;
        int begin;
        std::vector<Number> numbers;
    };

    [[gnu::always_inline]] static void Add(int count, Number const* from, Number* __restrict to) {
        for (int x = 0; x < count; ++x) {
            to[x] = Choose<Number, isDilation>(to[x], from[x]);
        }
    }
    [[gnu::always_inline]] static void Join(int count, Number const* a, Number const* b, Number* __restrict to) {
        for (int x = 0; x < count; ++x) {
            to[x] = Choose<Number, isDilation>(a[x], b[x]);
        }
    }

    [[gnu::always_inline]] void ReadRow(int y, Number* __restrict to) const {
        std::uint8_t const* const row = from.Row(std::clamp(y, 0, from.height - 1));
        if constexpr (sizeof(Number) == 1) {
            std::memcpy(to, row, static_cast<std::size_t>(Count()));
        } else {
            ToKeys(reinterpret_cast<std::uint32_t const*>(row), Count(), to);
        }
    }
    [[gnu::always_inline]] void WriteRow(Number const* numbers, int y) const {
        if constexpr (sizeof(Number) == 1) {
            std::memcpy(to.Row(y), numbers, static_cast<std::size_t>(Count()));
        } else {
            ToPixels(numbers, Count(), reinterpret_cast<std::uint32_t*>(to.Row(y)));
        }
    }

    [[gnu::always_inline]] void DrawSquares(int first, int last) const {
        int const count = Count();
        int const side = 2 * radius + 1;
        Rows scratch(2, count, (radius + 1) * kStep);
        Rows ends(side, count, 0);    // of the block that began last: the extrema from each row to its end
        Rows begins(side, count, 0);  // of the next one: its rows
        Rows lines(2, count, 0);      // from the beginning of a block on; what is drawn
        auto const stretch = [&](int y, Number* out) __attribute__((always_inline)) {
            Number* row = scratch[0] - radius * kStep;
            Number* longer = scratch[1] - radius * kStep;
            std::fill_n(row, radius * kStep, kNeutral);
            std::fill_n(row + radius * kStep + count, (radius + 1) * kStep, kNeutral);
            ReadRow(y, row + radius * kStep);
            int length = 1;
            for (; 2 * length <= side; length *= 2) {
                Join(count + (side - length) * kStep, row, row + length * kStep, longer);
                std::swap(row, longer);
            }
            Join(count, row, row + (side - length) * kStep, out);
        };
        for (int i = 0; i < side; ++i) {
            stretch(first - radius + i, ends[i]);
        }
        for (int block = first; block < last; block += side) {
            for (int i = side - 2; i >= 0; --i) {
                Add(count, ends[i + 1], ends[i]);
            }
            WriteRow(ends[0], block);
            for (int i = 1; i < side && block + i < last; ++i) {
                Number* const next = begins[i - 1];
                stretch(block + radius + i, next);
                if (i == 1) {
                    std::copy_n(next, count, lines[0]);
                } else {
                    Add(count, next, lines[0]);
                }
                Join(count, ends[i], lines[0], lines[1]);
                WriteRow(lines[1], block + i);
            }
            if (block + side < last) {
                stretch(block + radius + side, begins[side - 1]);
            }
            std::swap(ends, begins);
        }
    }

    [[gnu::always_inline]] void DrawDiscs(int first, int last) const {
        int const count = Count();
        int const pad = radius * kStep;  // what lies farther out never has a pixel of the picture
        int const open = 2 * radius + 1;
        Rows stretches(2, count, 2 * pad);
        Rows best(open, count, 0);
        auto const halfRow = [this](int y) { return static_cast<int>(std::sqrt(radius * (radius + 1.0) - y * y)); };
        for (int y = first - radius; y < last + radius; ++y) {
            if (y + radius < last) {
                std::fill_n(best[(y + radius - first) % open], count, kNeutral);
            }
            if (y >= 0 && y < from.height) {
                int half = 0;
                int current = 0;
                Number* row = stretches[0];
                std::fill_n(row - pad, pad, kNeutral);
                std::fill_n(row + count, pad, kNeutral);
                ReadRow(y, row);
                for (int distance = radius; distance >= 0; --distance) {
                    for (int const wanted = halfRow(distance); half < wanted;) {
                        // Stretches overlap, or touch the one in the middle.
                        int const next = std::min(wanted, std::max(2 * half, 1));
                        int const shift = (next - half) * kStep;
                        Number* const wider = stretches[1 - current];
                        Join(count + 2 * pad, row - pad - shift, row - pad + shift, wider - pad);
                        if (half == 0) {
                            Add(count + 2 * pad, row - pad, wider - pad);
                        }
                        half = next;
                        current = 1 - current;
                        row = wider;
                    }
                    for (int target = y - distance; target <= y + distance; target += std::max(2 * distance, 1)) {
                        if (target >= first && target < last) {
                            Add(count, row, best[(target - first) % open]);
                        }
                    }
                }
            }
            if (y - radius >= first) {
                WriteRow(best[(y - radius - first) % open], y - radius);
            }
        }
    }
};

template <typename Number, bool isDilation>
void RunMorphology(Samples const& from, Samples const& to, Neighbourhood const& around, Processor& processor) {
    MorphologyJob<Number, isDilation> const job{from, to, around.radius};
    ForStrips(from.height, processor, [&](int first, int last) {
        RunWidest([&]() __attribute__((always_inline)) {
            around.isDisc ? job.DrawDiscs(first, last) : job.DrawSquares(first, last);
        });
    });
}

}  // namespace

void PickOnProcessor(Samples const& from, Samples const& to, Neighbourhood const& around, Processor& processor) {
    (around.isDilation ? RunMorphology<std::uint32_t, true> : RunMorphology<std::uint32_t, false>)(from, to, around,
                                                                                                   processor);
}

void FindExtremaOnProcessor(Samples const& from, Samples const& to, Neighbourhood const& around, Processor& processor) {
    (around.isDilation ? RunMorphology<std::uint8_t, true> : RunMorphology<std::uint8_t, false>)(from, to, around,
                                                                                                 processor);
}

}  // namespace Kaltor::Ogl
