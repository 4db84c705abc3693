// The mean along the rows, that along the columns, each rounded to 8 bits as a texture between two passes would round
// it, then the operator. Gradients are whole numbers; how dark a line is comes from a table.

#include "Proc/Effects/EffectsOgl/Effects/ProcessorEdges.h"

#include <array>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

constexpr int kTexel = 4;  ///< channels
constexpr int kBlue = 0;   // of a texel that begins with blue
constexpr int kGreen = 1;
constexpr int kRed = 2;

/// A mean of pixels, of which the outermost two count in part.
struct Mean {
    int whole;  ///< pixels to either side that count in full
    std::int32_t inner, outer;

    static constexpr int kBits = 16;

    explicit Mean(double width) : whole(static_cast<int>((width - 1.0) / 2.0)) {
        double const part = (width - 1.0) / 2.0 - whole;
        inner = static_cast<std::int32_t>(std::lround((1 << kBits) / width));
        outer = static_cast<std::int32_t>(std::lround((1 << kBits) * part / width));
    }
};

[[gnu::always_inline]] inline void AddRow(int count, Half const* row, Half* __restrict sum) {
    for (int x = 0; x < count; ++x) {
        sum[x] = static_cast<Half>(sum[x] + row[x]);
    }
}

[[gnu::always_inline]] inline void AddRow(int count, std::uint8_t const* row, Half* __restrict sum) {
    for (int x = 0; x < count; ++x) {
        sum[x] = static_cast<Half>(sum[x] + row[x]);
    }
}

template <typename Number>
[[gnu::always_inline]] inline void WriteMean(int count, Half const* sum, Number const* first, Number const* last,
                                             Mean const& mean, std::uint8_t* __restrict to) {
    std::int32_t const inner = mean.inner;
    std::int32_t const outer = mean.outer;
    for (int x = 0; x < count; ++x) {
        std::int32_t const total = sum[x] * inner + (first[x] + last[x]) * outer;
        to[x] = static_cast<std::uint8_t>((total + (1 << (Mean::kBits - 1))) >> Mean::kBits);
    }
}

struct EdgeJob {
    Samples from, to;
    Mean mean;
    EdgeLook look;
    std::vector<std::uint8_t> ink;  ///< what a pixel is drawn with, by its gradient

    float entriesPerSquare;  ///< of a gradient
    static constexpr int kEntries = 1 << 14;

    [[gnu::always_inline]] void AverageAlong(int first, int last) const {
        int const count = from.width * kTexel;
        int const reach = mean.whole + 1;
        PaddedRow const row(static_cast<std::size_t>(count), static_cast<std::size_t>(reach * kTexel));
        PaddedRow const sum(static_cast<std::size_t>(count), 0);
        for (int y = first; y < last; ++y) {
            std::copy_n(from.Row(y), count, row.Get());
            row.RepeatEdges(static_cast<std::size_t>(count), kTexel);
            std::copy_n(row.Get(), count, sum.Get());
            for (int i = 1; i <= mean.whole; ++i) {
                AddRow(count, row.Get() - i * kTexel, sum.Get());
                AddRow(count, row.Get() + i * kTexel, sum.Get());
            }
            WriteMean(count, sum.Get(), row.Get() - reach * kTexel, row.Get() + reach * kTexel, mean, to.Row(y));
        }
    }

    std::uint8_t const* Clamped(int y) const { return from.Row(std::clamp(y, 0, from.height - 1)); }

    [[gnu::always_inline]] void AverageAcross(int first, int last) const {
        int const count = from.width * kTexel;
        int const reach = mean.whole + 1;
        PaddedRow const sum(static_cast<std::size_t>(count), 0);
        for (int y = first; y < last; ++y) {
            std::copy_n(from.Row(y), count, sum.Get());
            for (int i = 1; i <= mean.whole; ++i) {
                AddRow(count, Clamped(y - i), sum.Get());
                AddRow(count, Clamped(y + i), sum.Get());
            }
            WriteMean(count, sum.Get(), Clamped(y - reach), Clamped(y + reach), mean, to.Row(y));
        }
    }

    /// The squares of all channels' gradients.
    [[gnu::always_inline]] static void FindGradients(int count, int cell, Half const* below, Half const* here,
                                                     Half const* above, std::int32_t* __restrict squares) {
        for (int x = 0; x < count; ++x) {
            int const falling = below[x + cell] - above[x - cell];
            int const rising = above[x + cell] - below[x - cell];
            int const gx = (rising + falling) * 3 + (here[x + cell] - here[x - cell]) * 10;
            int const gy = (rising - falling) * 3 + (above[x] - below[x]) * 10;
            squares[x] = gx * gx + gy * gy;
        }
    }

    /// The table's entry for each pixel.
    [[gnu::always_inline]] static void FindEntries(int width, Half const* here, std::int32_t const* squares,
                                                   float scale, std::int32_t* __restrict entries) {
        constexpr auto kLast = static_cast<float>(kEntries - 1);
        for (int x = 0; x < width; ++x) {
            std::int32_t const red = squares[kTexel * x + kRed];
            std::int32_t const green = squares[kTexel * x + kGreen];
            std::int32_t const blue = squares[kTexel * x + kBlue];
            std::int32_t const colder = green > blue ? green : blue;
            std::int32_t const square = red > colder ? red : colder;
            std::int32_t const luma =
                2126 * here[kTexel * x + kRed] + 7152 * here[kTexel * x + kGreen] + 722 * here[kTexel * x + kBlue];
            float const share = 1.0F / (0.35F * 255.0F + 0.9e-4F * static_cast<float>(luma));
            float const entry = static_cast<float>(square) * share * share * scale;
            entries[x] = static_cast<std::int32_t>(entry < kLast ? entry : kLast);
        }
    }

    [[gnu::always_inline]] void DrawLines(int first, int last) const {
        int const count = from.width * kTexel;
        int const step = look.cell * kTexel;
        std::array<PaddedRow, 3> const rows{PaddedRow(static_cast<std::size_t>(count), static_cast<std::size_t>(step)),
                                            PaddedRow(static_cast<std::size_t>(count), static_cast<std::size_t>(step)),
                                            PaddedRow(static_cast<std::size_t>(count), static_cast<std::size_t>(step))};
        std::vector<std::int32_t> squares(static_cast<std::size_t>(count));
        std::vector<std::int32_t> entries(static_cast<std::size_t>(from.width));
        for (int y = first; y < last; ++y) {
            for (int i = 0; i < 3; ++i) {
                PaddedRow const& row = rows[static_cast<std::size_t>(i)];
                std::copy_n(Clamped(y + (i - 1) * look.cell), count, row.Get());
                row.RepeatEdges(static_cast<std::size_t>(count), kTexel);
            }
            FindGradients(count, step, rows[0].Get(), rows[1].Get(), rows[2].Get(), squares.data());
            FindEntries(from.width, rows[1].Get(), squares.data(), entriesPerSquare, entries.data());
            std::uint8_t* const out = to.Row(y);
            for (int x = 0; x < from.width; ++x) {
                std::uint8_t const grey = ink[static_cast<std::size_t>(entries[static_cast<std::size_t>(x)])];
                out[kTexel * x] = grey;
                out[kTexel * x + 1] = grey;
                out[kTexel * x + 2] = grey;
                out[kTexel * x + 3] = 255;
            }
        }
    }
};

#if defined(__x86_64__)
[[gnu::target("avx2")]] void AverageAlongWide(EdgeJob const& job, int first, int last) {
    job.AverageAlong(first, last);
}
[[gnu::target("avx2")]] void AverageAcrossWide(EdgeJob const& job, int first, int last) {
    job.AverageAcross(first, last);
}
[[gnu::target("avx2")]] void DrawLinesWide(EdgeJob const& job, int first, int last) {
    job.DrawLines(first, last);
}
#else
void AverageAlongWide(EdgeJob const&, int, int) {}
void AverageAcrossWide(EdgeJob const&, int, int) {}
void DrawLinesWide(EdgeJob const&, int, int) {}
#endif

/// Gradients are entered by their squares. Beyond `fullAt` lines are full.
std::vector<std::uint8_t> MakeInk(EdgeLook const& look, double fullAt) {
    std::vector<std::uint8_t> ink;
    for (int i = 0; i < EdgeJob::kEntries; ++i) {
        double const over = fullAt * std::sqrt((i + 0.5) / EdgeJob::kEntries) - look.threshold;
        double const soft = over > 0.0 ? over * over / (over + 0.5 * look.threshold) : 0.0;
        double const share = 1.0 - std::exp(-10.0 * look.strength * soft);
        ink.push_back(static_cast<std::uint8_t>(std::lround(255.0 * (look.isInverted ? 1.0 - share : share))));
    }
    return ink;
}

}  // namespace

void DrawEdgesOnProcessor(Samples const& picture, Samples const& to, EdgeLook const& look, Processor& processor) {
    constexpr double kMost = 4.2;  // the largest gradient there is, where it is dark
    double const fullAt = std::min(kMost, 1.5 * look.threshold + 0.75 / std::max(look.strength, 1e-3));
    double const scale = look.scale / fullAt;
    EdgeJob job{picture,
                to,
                Mean(look.width),
                look,
                MakeInk(look, fullAt),
                static_cast<float>(EdgeJob::kEntries * scale * scale)};
    bool const isWide = HasWideVectors();
    if (look.width > 1.0) {
        ForStrips(picture.height, processor, [&](int first, int last) {
            isWide ? AverageAlongWide(job, first, last) : job.AverageAlong(first, last);
        });
        std::swap(job.from, job.to);
        ForStrips(picture.height, processor, [&](int first, int last) {
            isWide ? AverageAcrossWide(job, first, last) : job.AverageAcross(first, last);
        });
        std::swap(job.from, job.to);
    }
    ForStrips(picture.height, processor,
              [&](int first, int last) { isWide ? DrawLinesWide(job, first, last) : job.DrawLines(first, last); });
}

}  // namespace Kaltor::Ogl
