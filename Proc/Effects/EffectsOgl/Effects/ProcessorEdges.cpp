// For each strip of rows, colour by colour: the mean along the rows, that along the columns, each rounded to 8 bits as
// a texture between two passes rounds it, then the operator. Gradients are whole numbers; how dark a line is comes from
// a table.

#include "Proc/Effects/EffectsOgl/Effects/ProcessorEdges.h"

#include <array>
#include <bit>
#include <type_traits>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

constexpr int kBlue = 0;  // of a texel that begins with blue
constexpr int kGreen = 1;
constexpr int kRed = 2;
constexpr int kColors = 3;

/// A sample as itself, or from 0 to 1 as programs read it.
template <typename Number>
[[gnu::always_inline]] inline Number ToNumber(std::int32_t sample) {
    if constexpr (std::is_same_v<Number, float>) {
        return static_cast<float>(sample) * (1.0F / 255.0F);
    } else {
        return static_cast<Number>(sample);
    }
}

/// A mean of pixels, of which the outermost two count in part. Means often lie halfway between two steps of 8 bits, and
/// lines magnify a step: it is therefore found as the program finds it, with the same roundings in single precision.
struct Mean {
    int whole;  ///< pixels to either side that count in full
    float part, norm;

    explicit Mean(double width)
        : whole(static_cast<int>((width - 1.0) / 2.0)),
          part(static_cast<float>((width - 1.0) / 2.0 - whole)),
          norm(static_cast<float>(1.0 / width)) {}
    int GetReach() const { return whole + 1; }

    /// `row(i)` is the row that is `i` pixels away; `sums` is scratch.
    template <typename Row, typename Written>
    [[gnu::always_inline]] void Find(int count, Row const& row, float* sums, Written* out) const {
        Begin(count, row(0), sums);
        int i = 1;
        for (; i < whole; i += 2) {
            AddPairs(count, row(i), row(-i), row(i + 1), row(-i - 1), sums);
        }
        if (i == whole) {
            AddPair(count, row(i), row(-i), sums);
        }
        Finish(count, row(GetReach()), row(-GetReach()), sums, out);
    }

private:
    [[gnu::always_inline]] static void Begin(int count, float const* row, float* __restrict sums) {
        for (int x = 0; x < count; ++x) {
            sums[x] = row[x];
        }
    }
    [[gnu::always_inline]] static void AddPair(int count, float const* a, float const* b, float* __restrict sums) {
        for (int x = 0; x < count; ++x) {
            sums[x] += a[x] + b[x];
        }
    }
    /// Two at once, in the same order.
    [[gnu::always_inline]] static void AddPairs(int count, float const* a, float const* b, float const* c,
                                                float const* d, float* __restrict sums) {
        for (int x = 0; x < count; ++x) {
            sums[x] = sums[x] + (a[x] + b[x]) + (c[x] + d[x]);
        }
    }
    template <typename Written>
    [[gnu::always_inline]] void Finish(int count, float const* a, float const* b, float const* sums,
                                       Written* __restrict out) const {
        constexpr float kWholeNumbers = 1 << 23;  // from here on floats are whole: halves go to even ones
        float const outer = part;
        float const share = norm;
        for (int x = 0; x < count; ++x) {
            float const mean = (sums[x] + (a[x] + b[x]) * outer) * share;
            auto const sample =
                static_cast<std::int32_t>(std::bit_cast<std::uint32_t>(mean * 255.0F + kWholeNumbers) & 255U);
            out[x] = ToNumber<Written>(sample);
        }
    }
};

template <typename Number>
[[gnu::always_inline]] inline void RepeatEdges(Number* row, int count, int pad) {
    std::fill(row - pad, row, row[0]);
    std::fill_n(row + count, pad, row[count - 1]);
}

/// Takes a row of texels apart. `out(c)` is where the row of colour `c` goes; `pad` numbers before and behind it repeat
/// its edges.
template <typename Out>
[[gnu::always_inline]] inline void Divide(Samples const& from, int y, int pad, Out const& out) {
    auto const* const texels = reinterpret_cast<FourSamples const*>(from.Row(y));
    int const count = from.width;
    for (int c = 0; c < kColors; ++c) {
        auto* __restrict const color = out(c);
        using Number = std::remove_reference_t<decltype(*color)>;
        unsigned const shift = 8U * static_cast<unsigned>(c);
        for (int x = 0; x < count; ++x) {
            color[x] = ToNumber<Number>(static_cast<std::int32_t>(texels[x] >> shift & 255U));
        }
        RepeatEdges(color, count, pad);
    }
}

/// Rows in order, of which the last few are kept.
template <typename Number>
class RowRing {
public:
    /// `pad`: numbers before and behind each row.
    RowRing(int rows, int count, int pad)
        : kept(rows),
          begin(pad),
          length(count + 2 * pad),
          numbers(new Number[static_cast<std::size_t>(kept * length)]) {}
    Number* operator[](int row) const { return numbers.get() + std::ptrdiff_t{row % kept} * length + begin; }

private:
    int kept;
    int begin;
    int length;
    std::unique_ptr<Number[]> numbers;
};

struct EdgeJob {
    Samples from, to;
    Mean mean;
    EdgeLook look;
    std::vector<std::uint32_t> ink;  ///< what a pixel is drawn with, by its gradient

    float entriesPerSquare;  ///< of a gradient
    static constexpr int kEntries = 1 << 14;

    int Clamp(int y) const { return std::clamp(y, 0, from.height - 1); }

    /// The means along a row of each colour. `units` has room for `kColors` rows with the mean's reach around them.
    [[gnu::always_inline]] void AverageAlong(int y, float* units, float* sums, RowRing<float> const& to) const {
        int const reach = mean.GetReach();
        auto const color = [&](int c) { return units + std::ptrdiff_t{c} * (from.width + 2 * reach) + reach; };
        Divide(from, y, reach, color);
        for (int c = 0; c < kColors; ++c) {
            float const* const row = color(c);
            mean.Find(
                from.width, [row](int i) { return row + i; }, sums, to[kColors * y + c]);
        }
    }

    /// The means of rows around `y`.
    [[gnu::always_inline]] void AverageAcross(int y, RowRing<float> const& rows, float* sums,
                                              RowRing<Half> const& to) const {
        for (int c = 0; c < kColors; ++c) {
            Half* const out = to[kColors * y + c];
            auto const row = [&](int i) -> float const* { return rows[kColors * Clamp(y + i) + c]; };
            mean.Find(from.width, row, sums, out);
            RepeatEdges(out, from.width, look.cell);
        }
    }

    /// One channel around a row.
    struct Channel {
        Half const* below;
        Half const* here;
        Half const* above;

        /// The square of the gradient.
        [[gnu::always_inline]] std::int32_t FindSquare(int x, int cell) const {
            auto const falling = static_cast<Half>(below[x + cell] - above[x - cell]);
            auto const rising = static_cast<Half>(above[x + cell] - below[x - cell]);
            auto const across = static_cast<Half>((here[x + cell] - here[x - cell]) * 10);
            auto const along = static_cast<Half>((above[x] - below[x]) * 10);
            auto const gx = static_cast<Half>(static_cast<Half>(rising + falling) * 3 + across);
            auto const gy = static_cast<Half>(static_cast<Half>(rising - falling) * 3 + along);
            return std::int32_t{gx} * gx + std::int32_t{gy} * gy;
        }
    };

    /// The table's entry for each pixel.
    [[gnu::always_inline]] static void FindEntries(int width, int cell, std::array<Channel, kColors> const& channels,
                                                   float scale, std::int32_t* __restrict entries) {
        constexpr auto kLast = static_cast<float>(kEntries - 1);
        Channel const blue = channels[kBlue];
        Channel const green = channels[kGreen];
        Channel const red = channels[kRed];
        for (int x = 0; x < width; ++x) {
            std::int32_t const ofBlue = blue.FindSquare(x, cell);
            std::int32_t const ofGreen = green.FindSquare(x, cell);
            std::int32_t const ofRed = red.FindSquare(x, cell);
            std::int32_t const colder = ofGreen > ofBlue ? ofGreen : ofBlue;
            std::int32_t const square = ofRed > colder ? ofRed : colder;
            std::int32_t const luma = 2126 * red.here[x] + 7152 * green.here[x] + 722 * blue.here[x];
            float const share = 1.0F / (0.35F * 255.0F + 0.9e-4F * static_cast<float>(luma));
            float const entry = static_cast<float>(square) * share * share * scale;
            entries[x] = static_cast<std::int32_t>(entry < kLast ? entry : kLast);
        }
    }

    [[gnu::always_inline]] static void FindInk(int width, std::int32_t const* entries, std::uint32_t const* table,
                                               std::uint32_t* __restrict out) {
        for (int x = 0; x < width; ++x) {
            out[x] = table[entries[x]];
        }
    }

    [[gnu::always_inline]] void DrawRows(int first, int last) const {
        int const reach = mean.GetReach();
        bool const isAveraged = look.width > 1.0;
        auto const width = static_cast<std::size_t>(from.width);
        std::vector<float> units(kColors * (width + 2 * static_cast<std::size_t>(reach)));
        std::vector<float> sums(width);
        RowRing<float> const along(kColors * (2 * reach + 1), from.width, 0);
        RowRing<Half> const colors(kColors * (2 * look.cell + 1), from.width, look.cell);
        std::vector<std::int32_t> entries(width);
        int nextAlong = Clamp(first - look.cell - reach);
        int next = Clamp(first - look.cell);
        for (int y = first; y < last; ++y) {
            for (; next <= Clamp(y + look.cell); ++next) {
                if (!isAveraged) {
                    Divide(from, next, look.cell, [&](int c) { return colors[kColors * next + c]; });
                    continue;
                }
                for (; nextAlong <= Clamp(next + reach); ++nextAlong) {
                    AverageAlong(nextAlong, units.data(), sums.data(), along);
                }
                AverageAcross(next, along, sums.data(), colors);
            }
            std::array<Channel, kColors> channels{};
            for (int c = 0; c < kColors; ++c) {
                auto const at = [&](int row) { return colors[kColors * Clamp(row) + c]; };
                channels[static_cast<std::size_t>(c)] = {at(y - look.cell), at(y), at(y + look.cell)};
            }
            FindEntries(from.width, look.cell, channels, entriesPerSquare, entries.data());
            FindInk(from.width, entries.data(), ink.data(), reinterpret_cast<std::uint32_t*>(to.Row(y)));
        }
    }
};

/// Gradients are entered by their squares. Beyond `fullAt` lines are full.
std::vector<std::uint32_t> MakeInk(EdgeLook const& look, double fullAt) {
    std::vector<std::uint32_t> ink;
    for (int i = 0; i < EdgeJob::kEntries; ++i) {
        double const over = fullAt * std::sqrt((i + 0.5) / EdgeJob::kEntries) - look.threshold;
        double const soft = over > 0.0 ? over * over / (over + 0.5 * look.threshold) : 0.0;
        double const share = 1.0 - std::exp(-10.0 * look.strength * soft);
        auto const grey = static_cast<std::uint32_t>(std::lround(255.0 * (look.isInverted ? 1.0 - share : share)));
        ink.push_back(0xFF000000U | (grey * 0x010101U));
    }
    return ink;
}

}  // namespace

void DrawEdgesOnProcessor(Samples const& picture, Samples const& to, EdgeLook const& look, Processor& processor) {
    constexpr double kMost = 4.2;  // the largest gradient there is, where it is dark
    double const fullAt = std::min(kMost, 1.5 * look.threshold + 0.75 / std::max(look.strength, 1e-3));
    double const scale = look.scale / fullAt;
    EdgeJob const job{picture,
                      to,
                      Mean(look.width),
                      look,
                      MakeInk(look, fullAt),
                      static_cast<float>(EdgeJob::kEntries * scale * scale)};
    DrawStrips(job, picture.height, processor);
}

}  // namespace Kaltor::Ogl
