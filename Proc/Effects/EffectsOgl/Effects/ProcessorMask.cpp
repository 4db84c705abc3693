#include "Proc/Effects/EffectsOgl/Effects/ProcessorMask.h"

#include <vector>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

struct MaskJob {
    Planes const& below;
    Planes const& above;
    Planes const& to;
    MaskRow const& mask;

    [[gnu::always_inline]] static void ToWeights(int count, float const* shares, Half* __restrict weights) {
        constexpr float kOne = (1 << kWeightBits) - 1;
        for (int x = 0; x < count; ++x) {
            float const positive = shares[x] > 0.0F ? shares[x] : 0.0F;  // also for what is no number
            float const share = positive < 1.0F ? positive : 1.0F;
            weights[x] = static_cast<Half>(static_cast<std::int32_t>(share * kOne + 0.5F));
        }
    }

    [[gnu::always_inline]] static void MixRow(int count, std::uint8_t const* under, std::uint8_t const* over,
                                              Half const* weights, std::uint8_t* __restrict out) {
        for (int x = 0; x < count; ++x) {
            auto const difference = static_cast<Half>((over[x] - under[x]) << kFraction);
            out[x] = ToSample(static_cast<Half>((under[x] << kFraction) + Times(difference, weights[x])));
        }
    }

    /// The mean of the pixels of each chroma sample, in two rows; `count` is even.
    [[gnu::always_inline]] static void Halve(int count, Half const* first, Half const* second, Half* __restrict out) {
        for (int x = 0; x < count / 2; ++x) {
            int const sum = first[2 * x] + first[2 * x + 1] + second[2 * x] + second[2 * x + 1];
            out[x] = static_cast<Half>((sum + 2) >> 2);
        }
    }

    /// What the pixels of a cell show, as far as it is one of the pictures alone.
    enum class Shown : std::uint8_t { Below, Above, Both };

    [[gnu::always_inline]] static Shown Look(int count, float const* shares) {
        int some = 0;
        int whole = 0;
        for (int x = 0; x < count; ++x) {
            some += shares[x] > 0.0F ? 1 : 0;
            whole += shares[x] >= 1.0F ? 1 : 0;
        }
        return some == 0 ? Shown::Below : whole == count ? Shown::Above : Shown::Both;
    }

    /// Chroma rows from `first` to `last`, and the pixels' rows that share them.
    [[gnu::always_inline]] void DrawRows(int first, int last) const {
        constexpr int kCell = 128;  // pixels of a row
        int const width = to[0].width;
        int const height = to[0].height;
        auto const even = static_cast<std::size_t>(2 * to[1].width);
        std::vector<float> shares(2 * even);
        std::vector<Half> weights(std::size_t{2} * kCell);
        std::vector<Half> halved(kCell / 2);
        for (int row = first; row < last; ++row) {
            int const count = std::min(2, height - 2 * row);
            float* const upper = shares.data();
            float* const lower = upper + (count == 2 ? even : 0);
            mask(2 * row, upper);
            if (count == 2) {
                mask(2 * row + 1, lower);
            }
            for (int x = 0; x < width; x += kCell) {
                int const pixels = std::min(kCell, width - x);
                Shown const shown = Look(pixels, upper + x);
                if (shown != Shown::Both && Look(pixels, lower + x) == shown) {
                    Copy(shown == Shown::Below ? below : above, row, x, pixels);
                } else {
                    Mix(row, x, pixels, upper + x, lower + x, weights.data(), halved.data());
                }
            }
        }
    }

private:
    /// A cell of one of the pictures.
    void Copy(Planes const& from, int row, int x, int pixels) const {
        for (int y = 2 * row; y < std::min(2 * row + 2, to[0].height); ++y) {
            std::copy_n(from[0].Row(y) + x, pixels, to[0].Row(y) + x);
        }
        for (std::size_t plane = 1; plane < to.size(); ++plane) {
            std::copy_n(from[plane].Row(row) + x / 2, (pixels + 1) / 2, to[plane].Row(row) + x / 2);
        }
    }

    /// A cell by the shares of its two rows; `weights` and `halved` are scratch.
    [[gnu::always_inline]] void Mix(int row, int x, int pixels, float const* upper, float const* lower, Half* weights,
                                    Half* halved) const {
        int const even = pixels + pixels % 2;
        Half* const second = weights + even;
        auto const mix = [&](int y, float const* shares, Half* shareOfRow) __attribute__((always_inline)) {
            ToWeights(pixels, shares, shareOfRow);
            shareOfRow[even - 1] = shareOfRow[pixels - 1];  // where the width is odd
            MixRow(pixels, below[0].Row(y) + x, above[0].Row(y) + x, shareOfRow, to[0].Row(y) + x);
        };
        mix(2 * row, upper, weights);
        if (lower != upper) {
            mix(2 * row + 1, lower, second);
        }
        Halve(even, weights, lower != upper ? second : weights, halved);
        for (std::size_t plane = 1; plane < to.size(); ++plane) {
            MixRow(even / 2, below[plane].Row(row) + x / 2, above[plane].Row(row) + x / 2, halved,
                   to[plane].Row(row) + x / 2);
        }
    }
};

}  // namespace

void MixOnProcessor(Planes const& below, Planes const& above, Planes const& to, MaskRow const& mask,
                    Processor& processor) {
    MaskJob const job{below, above, to, mask};
    DrawStrips(job, to[1].height, processor);
}

}  // namespace Kaltor::Ogl
