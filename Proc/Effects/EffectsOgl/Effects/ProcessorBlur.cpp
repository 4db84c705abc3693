// Few taps are summed as they are. Many are reduced, blurred and enlarged, as `BlurReduction` describes it. Taps stand
// two texels apart; so along the rows everything is counted in pairs of texels, in which neighbouring taps are
// neighbours and both phases of a row are done at once.

#include "Proc/Effects/EffectsOgl/Effects/ProcessorBlur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

constexpr int kMostSummed = kMostPairsOnProcessor;  // from here on reducing is faster

/// Weights as whole numbers. What rounding takes from one goes to the next.
std::vector<Half> Round(std::vector<double> const& weights) {
    std::vector<Half> rounded;
    double rest = 0.0;
    for (double const weight : weights) {
        double const wanted = weight * (1 << kWeightBits) + rest;
        rounded.push_back(static_cast<Half>(std::lround(wanted)));
        rest = wanted - rounded.back();
    }
    return rounded;
}

/// The weights of the kernel's pairs.
std::vector<double> GetWeights(BlurKernel const& kernel) {
    std::vector<double> weights;
    for (int i = 1; i <= kernel.size; ++i) {
        weights.push_back(kernel.norm * std::exp(static_cast<double>(kernel.sigma) * i * i));
    }
    return weights;
}

/// Adds `Taps` weighted pairs to `sum`.
template <int Taps, typename Number>
[[gnu::always_inline]] inline void AddPairs(int count, Number const* centre, Number const* const* before,
                                            Number const* const* behind, Half const* weights, Half* __restrict sum) {
    constexpr int kShift = sizeof(Number) == 1 ? kFraction : 0;
    std::array<Number const*, Taps> a;
    std::array<Number const*, Taps> b;
    std::array<Half, Taps> w;
    for (std::size_t i = 0; i < Taps; ++i) {
        a[i] = before[i];
        b[i] = behind[i];
        w[i] = weights[i];
    }
    for (int x = 0; x < count; ++x) {
        auto const twice = static_cast<Half>(2 * centre[x]);
        Half total = sum[x];
        for (std::size_t i = 0; i < Taps; ++i) {
            auto const pair = static_cast<Half>(static_cast<Half>(a[i][x] + b[i][x]) - twice);
            total = static_cast<Half>(total + Times(static_cast<Half>(pair << kShift), w[i]));
        }
        sum[x] = total;
    }
}

/// sum = centre + the weighted differences of all pairs from it, for numbers or for samples.
template <typename Number>
[[gnu::always_inline]] inline void SumPairs(int count, int pairs, Number const* centre, Number const* const* before,
                                            Number const* const* behind, Half const* weights, Half* __restrict sum) {
    constexpr int kShift = sizeof(Number) == 1 ? kFraction : 0;
    constexpr int kChunk = 1024;  // stays in the nearest cache
    std::array<Number const*, 4> a{};
    std::array<Number const*, 4> b{};
    for (int begin = 0; begin < count; begin += kChunk) {
        int const length = std::min(kChunk, count - begin);
        for (int x = 0; x < length; ++x) {
            sum[begin + x] = static_cast<Half>(centre[begin + x] << kShift);
        }
        for (int i = 0; i < pairs; i += 4) {
            int const taps = std::min(4, pairs - i);
            for (int k = 0; k < taps; ++k) {
                a[static_cast<std::size_t>(k)] = before[i + k] + begin;
                b[static_cast<std::size_t>(k)] = behind[i + k] + begin;
            }
            auto const add = [&](auto number) __attribute__((always_inline)) {
                AddPairs<decltype(number)::value>(length, centre + begin, a.data(), b.data(), weights + i, sum + begin);
            };
            switch (taps) {
                case 1:
                    add(std::integral_constant<int, 1>());
                    break;
                case 2:
                    add(std::integral_constant<int, 2>());
                    break;
                case 3:
                    add(std::integral_constant<int, 3>());
                    break;
                default:
                    add(std::integral_constant<int, 4>());
            }
        }
    }
}

[[gnu::always_inline]] inline void Finish(int count, Half const* numbers, std::uint8_t* __restrict samples) {
    for (int x = 0; x < count; ++x) {
        samples[x] = ToSample(numbers[x]);
    }
}

/// What both ways have in common: the pictures, and a vector's worth of a row.
struct BlurJob {
    Samples from, to;
    int spacing;  ///< of taps, texels

    int CountSamples() const { return from.width * from.channels; }
    /// Numbers from one tap to the next.
    int CountStep() const { return spacing * from.channels; }
    std::uint8_t const* Clamped(int y) const { return from.Row(std::clamp(y, 0, from.height - 1)); }
};

struct SummedBlur : BlurJob {
    std::vector<Half> weights;  ///< of the pairs

    [[gnu::always_inline]] void DrawRows(int first, int last) const {
        int const count = CountSamples();
        int const step = CountStep();
        int const pairs = static_cast<int>(weights.size());
        PaddedRow const middle(static_cast<std::size_t>(count), static_cast<std::size_t>(step * pairs));
        PaddedRow const done(static_cast<std::size_t>(count), 0);
        std::array<std::uint8_t const*, kMostSummed> below{};
        std::array<std::uint8_t const*, kMostSummed> above{};
        std::array<Half const*, kMostSummed> left{};
        std::array<Half const*, kMostSummed> right{};
        for (int i = 0; i < pairs; ++i) {
            left[static_cast<std::size_t>(i)] = middle.Get() - step * (i + 1);
            right[static_cast<std::size_t>(i)] = middle.Get() + step * (i + 1);
        }
        for (int y = first; y < last; ++y) {
            for (int i = 0; i < pairs; ++i) {
                below[static_cast<std::size_t>(i)] = Clamped(y - spacing * (i + 1));
                above[static_cast<std::size_t>(i)] = Clamped(y + spacing * (i + 1));
            }
            SumPairs<std::uint8_t>(count, pairs, from.Row(y), below.data(), above.data(), weights.data(), middle.Get());
            middle.RepeatEdges(static_cast<std::size_t>(count), static_cast<std::size_t>(from.channels));
            SumPairs<Half>(count, pairs, middle.Get(), left.data(), right.data(), weights.data(), done.Get());
            Finish(count, done.Get(), to.Row(y));
        }
    }
};

/// Where a place lies between reduced samples.
struct Between {
    int index;  ///< of the nearest one, from the first with its margin on
    Half before, behind;
};

[[gnu::always_inline]] inline Half Interpolate(Half before, Half centre, Half behind, Between const& place) {
    return static_cast<Half>(centre + Times(static_cast<Half>(before - centre), place.before) +
                             Times(static_cast<Half>(behind - centre), place.behind));
}

[[gnu::always_inline]] inline void Interpolate(int count, Half const* before, Half const* centre, Half const* behind,
                                               Between const& place, std::uint8_t* __restrict samples) {
    Between const here = place;
    for (int x = 0; x < count; ++x) {
        samples[x] = ToSample(Interpolate(before[x], centre[x], behind[x], here));
    }
}

// Loops that are no longer than a vector stay loops: compilers know how to make a vector of those.

template <int Step>
[[gnu::always_inline]] inline void Interpolate(Half const* before, Half const* centre, Half const* behind,
                                               Between const& place, Half* __restrict to) {
    Between const here = place;
#pragma GCC unroll 1
    for (int c = 0; c < Step; ++c) {
        to[c] = Interpolate(before[c], centre[c], behind[c], here);
    }
}

template <int Step>
[[gnu::always_inline]] inline void AddWeighted(Half const* from, Half weight, std::int32_t* __restrict sum) {
#pragma GCC unroll 1
    for (int c = 0; c < Step; ++c) {
        sum[c] += from[c] * weight;
    }
}

template <int Step>
[[gnu::always_inline]] inline void ToNumbers(std::int32_t const* sum, Half* __restrict to) {
#pragma GCC unroll 1
    for (int c = 0; c < Step; ++c) {
        to[c] = static_cast<Half>((sum[c] + (1 << (kWeightBits - 1))) >> kWeightBits);
    }
}

/// Adds a weighted pair of samples, or one where `b` is null.
[[gnu::always_inline]] inline void AddWeighted(int count, std::uint8_t const* a, std::uint8_t const* b, Half weight,
                                               std::int32_t* __restrict sum) {
    if (b == nullptr) {
        for (int x = 0; x < count; ++x) {
            sum[x] += a[x] * weight;
        }
        return;
    }
    for (int x = 0; x < count; ++x) {
        sum[x] += static_cast<Half>(a[x] + b[x]) * weight;
    }
}

[[gnu::always_inline]] inline void ToNumbers(int count, std::int32_t const* sum, Half* __restrict to) {
    constexpr int kShift = kWeightBits - kFraction;
    for (int x = 0; x < count; ++x) {
        to[x] = static_cast<Half>((sum[x] + (1 << (kShift - 1))) >> kShift);
    }
}

std::vector<Between> Divide(int count, BlurReduction const& reduction) {
    std::vector<Between> places;
    for (int t = 0; t < count; ++t) {
        double const u = static_cast<double>(t) / reduction.factor;
        double const k = std::floor(u + 0.5);
        auto const weigh = [](double x) { return ToWeight(0.5 * x * x); };
        places.push_back({static_cast<int>(k) + reduction.margin, weigh(0.5 - (u - k)), weigh(0.5 + (u - k))});
    }
    return places;
}

struct ReducedBlur : BlurJob {
    BlurReduction const& reduction;
    int columns, rows;       ///< of one phase, with margins
    Half* small;             ///< the reduced picture, blurred along the rows: the phase of even rows, then the other
    std::vector<Half> down;  ///< weights of the reducing spline, the centre first
    std::vector<Half> core;  ///< of the pairs of the reduced blur
    std::vector<Between> placesX, placesY;

    ReducedBlur(Samples const& source, Samples const& target, BlurReduction const& toUse)
        : BlurJob{source, target, 2},
          reduction(toUse),
          columns(Count(source.width)),
          rows(Count(source.height)),
          small(nullptr),
          core(Round({toUse.weights.begin() + 1, toUse.weights.end()})),
          placesX(Divide((source.width + 1) / 2, toUse)),
          placesY(Divide((source.height + 1) / 2, toUse)) {
        std::vector<double> spline;
        for (int j = 0; j <= reduction.downPairs; ++j) {
            double const x = static_cast<double>(j) / reduction.factor;
            spline.push_back((x < 0.5 ? 0.75 - x * x : 0.5 * (1.5 - x) * (1.5 - x)) * reduction.downNorm);
        }
        down = Round({spline.begin() + 1, spline.end()});
        int rest = 1 << kWeightBits;
        for (Half const weight : down) {
            rest -= 2 * weight;
        }
        down.insert(down.begin(), static_cast<Half>(rest));
    }

    int Count(int side) const {
        int const phase = (side + 1) / 2;
        return 2 * reduction.margin + (phase + reduction.factor - 1) / reduction.factor + 1;
    }
    std::size_t GetLength() const { return static_cast<std::size_t>(columns) * static_cast<std::size_t>(CountStep()); }
    Half* SmallRow(int row) const { return small + GetLength() * static_cast<std::size_t>(row); }

    [[gnu::always_inline]] void BlurCore(int count, Half const* centre, Half const* const* before,
                                         Half const* const* behind, Half* __restrict to) const {
        SumPairs<Half>(count, BlurReduction::kPairs, centre, before, behind, core.data(), to);
        for (int x = 0; x < count; ++x) {
            to[x] = std::clamp<Half>(to[x], 0, kWhite);
        }
    }

    /// Reduces the rows around row `row` of `small`, then this row, and blurs it.
    template <int Step>
    [[gnu::always_inline]] void ReduceRow(int row) const {
        int const factor = reduction.factor;
        int const count = CountSamples();
        int const pad = (factor * (reduction.margin + 1) + reduction.downPairs) * Step;
        PaddedRow const wide(static_cast<std::size_t>((from.width + 1) / 2 * Step), static_cast<std::size_t>(pad));
        PaddedRow const narrow(GetLength(), 0);

        int const y = 2 * factor * (row % rows - reduction.margin) + row / rows;
        constexpr int kChunk = 1024;  // stays in the nearest cache
        std::array<std::int32_t, kChunk> sums;
        for (int begin = 0; begin < count; begin += kChunk) {
            int const length = std::min(kChunk, count - begin);
            sums.fill(0);
            AddWeighted(length, Clamped(y) + begin, nullptr, down[0], sums.data());
            for (int j = 1; j <= reduction.downPairs; ++j) {
                AddWeighted(length, Clamped(y - 2 * j) + begin, Clamped(y + 2 * j) + begin,
                            down[static_cast<std::size_t>(j)], sums.data());
            }
            ToNumbers(length, sums.data(), wide.Get() + begin);
        }
        wide.RepeatEdges(static_cast<std::size_t>(count), static_cast<std::size_t>(from.channels));

        for (int k = 0; k < columns; ++k) {
            Half const* const centre = wide.Get() + factor * (k - reduction.margin) * Step;
            std::array<std::int32_t, Step> sum{};
            for (int j = -reduction.downPairs; j <= reduction.downPairs; ++j) {
                AddWeighted<Step>(centre + j * Step, down[static_cast<std::size_t>(std::abs(j))], sum.data());
            }
            ToNumbers<Step>(sum.data(), narrow.Get() + k * Step);
        }

        // The margins are wide enough that what is beside the blurred part is never used.
        constexpr int kBeside = BlurReduction::kPairs * Step;
        std::array<Half const*, BlurReduction::kPairs> left{};
        std::array<Half const*, BlurReduction::kPairs> right{};
        for (int i = 0; i < BlurReduction::kPairs; ++i) {
            left[static_cast<std::size_t>(i)] = narrow.Get() + kBeside - Step * (i + 1);
            right[static_cast<std::size_t>(i)] = narrow.Get() + kBeside + Step * (i + 1);
        }
        Half* const to = SmallRow(row);
        std::fill_n(to, kBeside, Half{0});
        std::fill_n(to + GetLength() - kBeside, kBeside, Half{0});
        BlurCore(static_cast<int>(GetLength()) - 2 * kBeside, narrow.Get() + kBeside, left.data(), right.data(),
                 to + kBeside);
    }

    /// Row `index` of a phase, blurred along the columns and enlarged to the picture's width.
    template <int Step>
    [[gnu::always_inline]] void MakeWide(int phase, int index, Half* scratch, Half* __restrict to) const {
        std::array<Half const*, BlurReduction::kPairs> below{};
        std::array<Half const*, BlurReduction::kPairs> above{};
        int const row = phase * rows + index;
        for (int i = 0; i < BlurReduction::kPairs; ++i) {
            below[static_cast<std::size_t>(i)] = SmallRow(row - i - 1);
            above[static_cast<std::size_t>(i)] = SmallRow(row + i + 1);
        }
        BlurCore(static_cast<int>(GetLength()), SmallRow(row), below.data(), above.data(), scratch);
        for (Between const& place : placesX) {
            Half const* const from = scratch + place.index * Step;
            Interpolate<Step>(from - Step, from, from + Step, place, to);
            to += Step;
        }
    }

    template <int Step>
    [[gnu::always_inline]] void EnlargeRows(int first, int last) const {
        int const count = CountSamples();
        std::size_t const width = placesX.size() * Step;
        PaddedRow const scratch(GetLength(), 0);
        PaddedRow const kept(6 * width, 0);  // for each phase the last three rows
        std::array<int, 6> keptIndex;
        keptIndex.fill(-1);
        for (int y = first; y < last; ++y) {
            int const phase = y % 2;
            Between const& place = placesY[static_cast<std::size_t>(y / 2)];
            std::array<Half const*, 3> around{};
            for (int i = 0; i < 3; ++i) {
                int const index = place.index - 1 + i;
                auto const slot = static_cast<std::size_t>(3 * phase + index % 3);
                Half* const row = kept.Get() + slot * width;
                if (keptIndex[slot] != index) {
                    MakeWide<Step>(phase, index, scratch.Get(), row);
                    keptIndex[slot] = index;
                }
                around[static_cast<std::size_t>(i)] = row;
            }
            Interpolate(count, around[0], around[1], around[2], place, to.Row(y));
        }
    }
};

/// Adds `Taps` weighted pairs to sums of 32 bits.
template <int Taps, typename Number>
[[gnu::always_inline]] inline void AddPairsExactly(int count, Number const* const* before, Number const* const* behind,
                                                   Half const* weights, std::int32_t* __restrict sum) {
    std::array<Number const*, Taps> a;
    std::array<Number const*, Taps> b;
    std::array<Half, Taps> w;
    for (std::size_t i = 0; i < Taps; ++i) {
        a[i] = before[i];
        b[i] = behind[i];
        w[i] = weights[i];
    }
    for (int x = 0; x < count; ++x) {
        std::int32_t total = sum[x];
        for (std::size_t i = 0; i < Taps; ++i) {
            total += std::int32_t{static_cast<Half>(a[i][x] + b[i][x])} * w[i];
        }
        sum[x] = total;
    }
}

/// The sum of a row, or a number, and its pairs, with these weights of which the first is the centre's.
template <typename Number>
[[gnu::always_inline]] inline void SumExactly(int count, Number const* centre, std::vector<Number const*> const& before,
                                              std::vector<Number const*> const& behind,
                                              std::vector<Half> const& weights, Half* __restrict to) {
    constexpr int kShift = sizeof(Number) == 1 ? kWeightBits - kFraction : kWeightBits;
    constexpr int kChunk = 1024;  // stays in the nearest cache
    constexpr std::size_t kTaps = 4;
    std::array<std::int32_t, kChunk> sum;
    std::array<Number const*, kTaps> a{};
    std::array<Number const*, kTaps> b{};
    for (int begin = 0; begin < count; begin += kChunk) {
        int const length = std::min(kChunk, count - begin);
        Half const middle = weights[0];
        for (int x = 0; x < length; ++x) {
            sum[static_cast<std::size_t>(x)] = std::int32_t{static_cast<Half>(centre[begin + x])} * middle;
        }
        for (std::size_t i = 0; i < before.size(); i += kTaps) {
            std::size_t const taps = std::min(kTaps, before.size() - i);
            for (std::size_t k = 0; k < taps; ++k) {
                a[k] = before[i + k] + begin;
                b[k] = behind[i + k] + begin;
            }
            Half const* const w = weights.data() + 1 + i;
            if (taps == kTaps) {
                AddPairsExactly<kTaps>(length, a.data(), b.data(), w, sum.data());
                continue;
            }
            for (std::size_t k = 0; k < taps; ++k) {
                AddPairsExactly<1>(length, a.data() + k, b.data() + k, w + k, sum.data());
            }
        }
        for (int x = 0; x < length; ++x) {
            to[begin + x] = static_cast<Half>((sum[static_cast<std::size_t>(x)] + (1 << (kShift - 1))) >> kShift);
        }
    }
}

/// Weights of `pairs` with the centre's before them, which has what they leave of 1.
std::vector<Half> WithCentre(std::vector<Half> const& pairs) {
    int rest = 1 << kWeightBits;
    for (Half const weight : pairs) {
        rest -= 2 * weight;
    }
    std::vector<Half> all{static_cast<Half>(rest)};
    all.insert(all.end(), pairs.begin(), pairs.end());
    return all;
}

/// Many taps on pictures of one channel: along the rows they are summed as they are, which costs little, because only
/// the reduced rows have to be.
struct PlaneBlur : BlurJob {
    BlurReduction const& reduction;
    int rows;                  ///< reduced ones of a phase, with margins
    Half* small = nullptr;     ///< those of all phases, then what lies wholly above and below the picture
    std::vector<Half> down;    ///< weights of the reducing spline
    std::vector<Half> across;  ///< weights along the rows
    std::vector<Half> core;    ///< of the pairs of the reduced blur
    std::vector<Between> places;

    PlaneBlur(Samples const& source, Samples const& target, int step, BlurKernel const& kernel,
              BlurReduction const& toUse)
        : BlurJob{source, target, step},
          reduction(toUse),
          rows(2 * toUse.margin + (CountPhase() + toUse.factor - 1) / toUse.factor + 1),
          across(WithCentre(Round(GetWeights(kernel)))),
          core(Round({toUse.weights.begin() + 1, toUse.weights.end()})),
          places(Divide(CountPhase(), toUse)) {
        std::vector<double> spline;
        for (int j = 1; j <= reduction.downPairs; ++j) {
            double const x = static_cast<double>(j) / reduction.factor;
            spline.push_back((x < 0.5 ? 0.75 - x * x : 0.5 * (1.5 - x) * (1.5 - x)) * reduction.downNorm);
        }
        down = WithCentre(Round(spline));
    }

    int CountPhase() const { return (from.height + spacing - 1) / spacing; }
    int CountRows() const { return spacing * rows + 2; }
    Half* SmallRow(int row) const { return small + std::ptrdiff_t{row} * from.width; }

    /// The picture's row that is the middle of row `row` of `small`.
    int GetMiddle(int row) const {
        if (row >= spacing * rows) {
            return row == spacing * rows ? -GetReach() : from.height - 1 + GetReach();
        }
        return spacing * reduction.factor * (row % rows - reduction.margin) + row / rows;
    }
    int GetReach() const { return spacing * reduction.downPairs; }
    bool IsBeyond(int row) const {
        return row < spacing * rows &&
               (GetMiddle(row) <= -GetReach() || GetMiddle(row) >= from.height - 1 + GetReach());
    }
    /// A row like row `row`, of which there is only one.
    Half const* FindSmallRow(int row) const {
        return SmallRow(!IsBeyond(row) ? row : spacing * rows + (GetMiddle(row) < 0 ? 0 : 1));
    }

    [[gnu::always_inline]] void ReduceRow(int row) const {
        if (IsBeyond(row)) {
            return;
        }
        int const y = GetMiddle(row);
        std::vector<std::uint8_t const*> below;
        std::vector<std::uint8_t const*> above;
        for (int j = 1; j <= reduction.downPairs; ++j) {
            below.push_back(Clamped(y - spacing * j));
            above.push_back(Clamped(y + spacing * j));
        }
        std::size_t const pairs = across.size() - 1;
        auto const count = static_cast<std::size_t>(from.width);
        PaddedRow const wide(count, static_cast<std::size_t>(spacing) * pairs);
        SumExactly(from.width, Clamped(y), below, above, down, wide.Get());
        wide.RepeatEdges(count, 1);
        std::vector<Half const*> left;
        std::vector<Half const*> right;
        for (std::size_t i = 1; i <= pairs; ++i) {
            left.push_back(wide.Get() - static_cast<std::ptrdiff_t>(i) * spacing);
            right.push_back(wide.Get() + static_cast<std::ptrdiff_t>(i) * spacing);
        }
        SumExactly<Half>(from.width, wide.Get(), left, right, across, SmallRow(row));
    }

    [[gnu::always_inline]] void EnlargeRows(int first, int last) const {
        int const count = from.width;
        constexpr int kKept = 3;  // for each phase
        PaddedRow const kept(static_cast<std::size_t>(2 * kKept) * static_cast<std::size_t>(count), 0);
        std::array<int, std::size_t{2} * kKept> keptIndex;
        keptIndex.fill(-1);
        std::array<Half const*, BlurReduction::kPairs> below{};
        std::array<Half const*, BlurReduction::kPairs> above{};
        for (int y = first; y < last; ++y) {
            int const phase = y % spacing;
            Between const& place = places[static_cast<std::size_t>(y / spacing)];
            std::array<Half const*, kKept> around{};
            for (int i = 0; i < kKept; ++i) {
                int const index = place.index - 1 + i;
                int const slot = kKept * phase + index % kKept;
                Half* const row = kept.Get() + std::ptrdiff_t{slot} * count;
                if (keptIndex[static_cast<std::size_t>(slot)] != index) {
                    for (int k = 0; k < BlurReduction::kPairs; ++k) {
                        below[static_cast<std::size_t>(k)] = FindSmallRow(phase * rows + index - k - 1);
                        above[static_cast<std::size_t>(k)] = FindSmallRow(phase * rows + index + k + 1);
                    }
                    SumPairs<Half>(count, BlurReduction::kPairs, FindSmallRow(phase * rows + index), below.data(),
                                   above.data(), core.data(), row);
                    for (int x = 0; x < count; ++x) {
                        row[x] = std::clamp<Half>(row[x], 0, kWhite);
                    }
                    keptIndex[static_cast<std::size_t>(slot)] = index;
                }
                around[static_cast<std::size_t>(i)] = row;
            }
            Interpolate(count, around[0], around[1], around[2], place, to.Row(y));
        }
    }
};

constexpr std::size_t kSmallPlace = Processor::kPlaces - 1;

void BlurPlane(PlaneBlur blur, Processor& processor) {
    auto const rows = static_cast<std::size_t>(blur.CountRows());
    std::size_t const bytes = rows * static_cast<std::size_t>(blur.from.width) * sizeof(Half);
    blur.small = reinterpret_cast<Half*>(processor.Memory(kSmallPlace, bytes));
    processor.ForEach(rows, [&blur](std::size_t i) {
        int const row = static_cast<int>(i);
        RunWidest([&]() __attribute__((always_inline)) { blur.ReduceRow(row); });
    });
    ForStrips(blur.from.height, processor, [&blur](int first, int last) {
        RunWidest([&]() __attribute__((always_inline)) { blur.EnlargeRows(first, last); });
    });
}

}  // namespace

void SumOnProcessor(Samples const& from, Samples const& to, std::vector<double> const& weights, int spacing,
                    Processor& processor) {
    SummedBlur const sum{{from, to, spacing}, Round(weights)};
    DrawStrips(sum, from.height, processor);
}

void BlurOnProcessor(Samples const& from, Samples const& to, BlurKernel const& kernel, Processor& processor,
                     int spacing) {
    if (kernel.size <= kMostSummed) {
        SumOnProcessor(from, to, GetWeights(kernel), spacing, processor);
        return;
    }
    BlurReduction const reduction(kernel);
    if (from.channels == 1) {
        BlurPlane(PlaneBlur(from, to, spacing, kernel, reduction), processor);
        return;
    }
    ReducedBlur reduce(from, to, reduction);
    auto const rows = static_cast<std::size_t>(2 * reduce.rows);
    reduce.small = reinterpret_cast<Half*>(processor.Memory(kSmallPlace, reduce.GetLength() * rows * sizeof(Half)));
    processor.ForEach(rows, [&reduce](std::size_t i) {
        int const row = static_cast<int>(i);
        RunWidest([&]() __attribute__((always_inline)) { reduce.ReduceRow<8>(row); });
    });
    ForStrips(from.height, processor, [&reduce](int first, int last) {
        RunWidest([&]() __attribute__((always_inline)) { reduce.EnlargeRows<8>(first, last); });
    });
}

}  // namespace Kaltor::Ogl
