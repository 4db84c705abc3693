// Each row of the picture is filtered along x once; four of these rows are joined along y for each row of the target.

#include "Proc/Effects/EffectsOgl/Effects/ProcessorCubic.h"

#include <array>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

struct WholeTaps {
    int first;
    Half before, behind, last;
};

std::vector<WholeTaps> ToWhole(std::vector<CubicTaps> const& taps, int side) {
    std::vector<WholeTaps> whole;
    for (CubicTaps const& tap : taps) {
        // Farther out all taps see the edge.
        whole.push_back(
            {std::clamp(tap.first, -3, side + 1), ToWeight(tap.before), ToWeight(tap.behind), ToWeight(tap.last)});
    }
    return whole;
}

/// What four numbers give with these taps. Beyond black and white there is room for what the kernel overshoots.
[[gnu::always_inline]] inline Half Join(Half a, Half centre, Half b, Half c, WholeTaps const& taps) {
    return static_cast<Half>(centre + Times(static_cast<Half>(a - centre), taps.before) +
                             Times(static_cast<Half>(b - centre), taps.behind) +
                             Times(static_cast<Half>(c - centre), taps.last));
}

/// For one channel: where each column's four samples begin, from the first with its padding on, and their weights.
struct PlaneTaps {
    std::vector<std::int32_t> begin;
    std::array<std::vector<std::int32_t>, 4> weights;

    PlaneTaps(std::vector<WholeTaps> const& columns, int padding) {
        for (WholeTaps const& taps : columns) {
            begin.push_back(taps.first - 1 + padding);
            weights[0].push_back(taps.before);
            weights[1].push_back((1 << kWeightBits) - taps.before - taps.behind - taps.last);
            weights[2].push_back(taps.behind);
            weights[3].push_back(taps.last);
        }
    }
};

struct CubicJob {
    Samples from, to;
    std::vector<WholeTaps> columns, rows;

    static constexpr int kChannels = 4;
    static constexpr int kPlanePad = 8;
    PlaneTaps plane{columns, kPlanePad};

    [[gnu::always_inline]] void FilterPlaneRow(int row, std::vector<std::uint8_t>& padded, Half* __restrict out) const {
        auto const width = static_cast<std::size_t>(from.width);
        std::uint8_t const* const samples = from.Row(std::clamp(row, 0, from.height - 1));
        padded.resize(width + 2 * kPlanePad);
        std::fill_n(padded.begin(), kPlanePad, samples[0]);
        std::copy_n(samples, width, padded.begin() + kPlanePad);
        std::fill_n(padded.end() - kPlanePad, kPlanePad, samples[width - 1]);
        std::uint8_t const* const first = padded.data();
        std::int32_t const* const begin = plane.begin.data();
        std::int32_t const* const a = plane.weights[0].data();
        std::int32_t const* const centre = plane.weights[1].data();
        std::int32_t const* const b = plane.weights[2].data();
        std::int32_t const* const c = plane.weights[3].data();
        int const count = to.width;
        for (int x = 0; x < count; ++x) {
            std::uint32_t const four = *reinterpret_cast<FourSamples const*>(first + begin[x]);
            auto const sample = [four](unsigned i) { return static_cast<std::int32_t>((four >> (8U * i)) & 255U); };
            std::int32_t const sum = sample(0) * a[x] + sample(1) * centre[x] + sample(2) * b[x] + sample(3) * c[x];
            constexpr int kShift = kWeightBits - kFraction;
            out[x] = static_cast<Half>((sum + (1 << (kShift - 1))) >> kShift);
        }
    }

    [[gnu::always_inline]] void FilterRow(int row, PaddedRow const& scratch, Half* __restrict out) const {
        int const count = from.width * kChannels;
        std::uint8_t const* const samples = from.Row(std::clamp(row, 0, from.height - 1));
        Half* __restrict const numbers = scratch.Get();
        for (int x = 0; x < count; ++x) {
            numbers[x] = static_cast<Half>(samples[x] << kFraction);
        }
        scratch.RepeatEdges(static_cast<std::size_t>(count), kChannels);
        for (WholeTaps const& taps : columns) {
            Half const* const at = numbers + taps.first * kChannels;
#pragma GCC unroll 1
            for (int c = 0; c < kChannels; ++c) {
                out[c] = Join(at[c - kChannels], at[c], at[c + kChannels], at[c + 2 * kChannels], taps);
            }
            out += kChannels;
        }
    }

    [[gnu::always_inline]] void DrawRows(int first, int last) const {
        constexpr std::size_t kPad = 5 * kChannels;
        constexpr std::size_t kKept = 4;
        std::size_t const width = columns.size() * static_cast<std::size_t>(from.channels);
        int const count = static_cast<int>(width);
        PaddedRow const scratch(static_cast<std::size_t>(from.width) * kChannels, kPad);
        std::vector<std::uint8_t> padded;
        PaddedRow const kept(kKept * width, 0);
        std::array<int, kKept> keptRow;
        constexpr int kNone = -100;
        keptRow.fill(kNone);
        for (int y = first; y < last; ++y) {
            WholeTaps const taps = rows[static_cast<std::size_t>(y)];
            std::array<Half const*, kKept> around{};
            for (int i = 0; i < static_cast<int>(kKept); ++i) {
                int const row = taps.first - 1 + i;
                auto const slot = static_cast<std::size_t>(row & 3);
                Half* const place = kept.Get() + slot * width;
                if (keptRow[slot] != row) {
                    from.channels == 1 ? FilterPlaneRow(row, padded, place) : FilterRow(row, scratch, place);
                    keptRow[slot] = row;
                }
                around[static_cast<std::size_t>(i)] = place;
            }
            Half const* const a = around[0];
            Half const* const centre = around[1];
            Half const* const b = around[2];
            Half const* const c = around[3];
            std::uint8_t* __restrict const out = to.Row(y);
            for (int x = 0; x < count; ++x) {
                Half const number = Join(a[x], centre[x], b[x], c[x], taps);
                out[x] = ToSample(std::clamp<Half>(number, 0, kWhite));
            }
        }
    }
};

}  // namespace

void DrawCubicOnProcessor(Samples const& from, Samples const& to, std::vector<CubicTaps> const& columns,
                          std::vector<CubicTaps> const& rows, Processor& processor) {
    CubicJob const job{from, to, ToWhole(columns, from.width), ToWhole(rows, from.height)};
    DrawStrips(job, to.height, processor);
}

}  // namespace Kaltor::Ogl
