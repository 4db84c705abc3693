// Planes are copied first, so that they have a padding, and both planes of chroma lie in one: a word then holds all
// that a pixel needs of a row. A chroma sample is the mean of what its four pixels show.

#include "Proc/Effects/EffectsOgl/Effects/ProcessorWarp.h"

#include <algorithm>
#include <cmath>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

constexpr int kPadding = 4;  ///< samples behind each row; there is one more row, too
constexpr int kPlaceBits = 8;

/// A place along an axis of `length` pixels: the pixel before it, and how far it lies behind that one, in 1 / 256.
struct Spot {
    int pixel;
    int share;

    Spot(float at, int length) {
        constexpr float kSteps = 1 << kPlaceBits;
        float const most = static_cast<float>(length - 1);
        float const inside = at > 0.5F ? std::min(at - 0.5F, most) : 0.0F;  // also for what is no number
        int const steps = static_cast<int>(inside * kSteps + 0.5F);
        pixel = steps >> kPlaceBits;
        share = steps & ((1 << kPlaceBits) - 1);
    }
    /// Pixels of a pair show the same chroma.
    int ChromaShare() const { return pixel % 2 != 0 ? share : 0; }
};

int CountHalf(int side) {
    return (side + 1) / 2;
}

std::uint16_t Pack(int shareX, int shareY) {
    return static_cast<std::uint16_t>(shareY << kPlaceBits | shareX);
}

}  // namespace

/// One picture.
struct WarpJob {
    WarpTable const& table;
    Planes const& from;
    Planes const& to;
    std::uint8_t* luma;
    std::uint8_t* chroma;
    int lumaStride;
    int chromaStride;

    static constexpr unsigned kOneShare = 1U << kPlaceBits;

    void CopyRow(int row) const {
        int const width = from[0].width;
        for (int y = 2 * row; y < std::min(2 * row + 2, from[0].height); ++y) {
            std::uint8_t* const out = luma + std::ptrdiff_t{lumaStride} * y;
            std::copy_n(from[0].Row(y), width, out);
            std::fill_n(out + width, kPadding, out[width - 1]);
        }
        int const half = from[1].width;
        std::uint8_t const* const u = from[1].Row(row);
        std::uint8_t const* const v = from[2].Row(row);
        std::uint8_t* __restrict const out = chroma + std::ptrdiff_t{chromaStride} * row;
        for (int x = 0; x < half; ++x) {
            out[2 * x] = u[x];
            out[2 * x + 1] = v[x];
        }
        for (int x = half; x < half + kPadding; ++x) {
            out[2 * x] = u[half - 1];
            out[2 * x + 1] = v[half - 1];
        }
    }

    /// Behind the last rows, which they repeat.
    void CopyLastRows() const {
        std::copy_n(luma + std::ptrdiff_t{lumaStride} * (from[0].height - 1), lumaStride,
                    luma + std::ptrdiff_t{lumaStride} * from[0].height);
        std::copy_n(chroma + std::ptrdiff_t{chromaStride} * (from[1].height - 1), chromaStride,
                    chroma + std::ptrdiff_t{chromaStride} * from[1].height);
    }

    [[gnu::always_inline]] static std::uint32_t Mix(std::uint32_t a, std::uint32_t b, std::uint32_t share) {
        return a * (kOneShare - share) + b * share;
    }

    [[gnu::always_inline]] void DrawLuma(int y) const {
        auto const first = static_cast<std::size_t>(y) * static_cast<std::size_t>(table.width);
        std::int32_t const* const at = table.lumaAt.data() + first;
        std::uint16_t const* const share = table.lumaShare.data() + first;
        std::uint8_t const* const upper = luma;
        std::uint8_t const* const lower = luma + lumaStride;
        std::uint8_t* __restrict const out = to[0].Row(y);
        int const count = table.width;
        for (int x = 0; x < count; ++x) {
            std::uint32_t const a = *reinterpret_cast<FourSamples const*>(upper + at[x]);
            std::uint32_t const b = *reinterpret_cast<FourSamples const*>(lower + at[x]);
            std::uint32_t const shareX = share[x] & 255U;
            std::uint32_t const shareY = static_cast<std::uint32_t>(share[x]) >> 8U;
            std::uint32_t const above = Mix(a & 255U, a >> 8U & 255U, shareX);
            std::uint32_t const below = Mix(b & 255U, b >> 8U & 255U, shareX);
            out[x] = static_cast<std::uint8_t>((Mix(above, below, shareY) + 32768U) >> 16U);
        }
    }

    /// Adds what the pixels of row `y` show of both planes.
    [[gnu::always_inline]] void AddChroma(int y, std::uint32_t* __restrict sumU, std::uint32_t* __restrict sumV) const {
        auto const first = static_cast<std::size_t>(y) * static_cast<std::size_t>(table.width);
        std::int32_t const* const at = table.chromaAt.data() + first;
        std::uint16_t const* const share = table.chromaShare.data() + first;
        std::uint8_t const* const upper = chroma;
        std::uint8_t const* const lower = chroma + chromaStride;
        int const count = table.width;
        for (int x = 0; x < count; ++x) {
            std::uint32_t const a = *reinterpret_cast<FourSamples const*>(upper + at[x]);
            std::uint32_t const b = *reinterpret_cast<FourSamples const*>(lower + at[x]);
            std::uint32_t const shareX = share[x] & 255U;
            std::uint32_t const shareY = static_cast<std::uint32_t>(share[x]) >> 8U;
            sumU[x] += Mix(Mix(a & 255U, a >> 16U & 255U, shareX), Mix(b & 255U, b >> 16U & 255U, shareX), shareY);
            sumV[x] += Mix(Mix(a >> 8U & 255U, a >> 24U, shareX), Mix(b >> 8U & 255U, b >> 24U, shareX), shareY);
        }
    }

    /// Chroma rows from `first` to `last`, and the pixels' rows that share them.
    [[gnu::always_inline]] void DrawRows(int first, int last) const {
        int const width = table.width;
        std::vector<std::uint32_t> sumU(static_cast<std::size_t>(width));
        std::vector<std::uint32_t> sumV(static_cast<std::size_t>(width));
        for (int row = first; row < last; ++row) {
            std::fill(sumU.begin(), sumU.end(), 0);
            std::fill(sumV.begin(), sumV.end(), 0);
            int const end = std::min(2 * row + 2, table.height);
            for (int y = 2 * row; y < end; ++y) {
                DrawLuma(y);
                AddChroma(y, sumU.data(), sumV.data());
            }
            auto const rows = static_cast<std::uint32_t>(end - 2 * row);
            auto const finish = [&](std::uint32_t const* sums, std::uint8_t* __restrict out) {
                std::uint32_t const pixels = 2 * rows;
                for (int x = 0; x < width / 2; ++x) {
                    out[x] = static_cast<std::uint8_t>(((sums[2 * x] + sums[2 * x + 1]) / pixels + 32768U) >> 16U);
                }
                if (width % 2 != 0) {
                    out[width / 2] = static_cast<std::uint8_t>((sums[width - 1] / rows + 32768U) >> 16U);
                }
            };
            finish(sumU.data(), to[1].Row(row));
            finish(sumV.data(), to[2].Row(row));
        }
    }
};

WarpTable::WarpTable(int pictureWidth, int pictureHeight, WarpRow const& row, Processor& processor)
    : width(pictureWidth), height(pictureHeight) {
    std::size_t const pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    lumaAt.resize(pixels);
    lumaShare.resize(pixels);
    chromaAt.resize(pixels);
    chromaShare.resize(pixels);
    ForStrips(height, processor, [&](int first, int last) {
        std::vector<float> placesX(static_cast<std::size_t>(width));
        std::vector<float> placesY(static_cast<std::size_t>(width));
        for (int y = first; y < last; ++y) {
            row(y, placesX.data(), placesY.data());
            for (int x = 0; x < width; ++x) {
                auto const i =
                    static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
                Spot const column(placesX[static_cast<std::size_t>(x)], width);
                Spot const line(placesY[static_cast<std::size_t>(x)], height);
                lumaAt[i] = line.pixel * (width + kPadding) + column.pixel;
                lumaShare[i] = Pack(column.share, line.share);
                chromaAt[i] = 2 * (line.pixel / 2 * (CountHalf(width) + kPadding) + column.pixel / 2);
                chromaShare[i] = Pack(column.ChromaShare(), line.ChromaShare());
            }
        }
    });
}

void WarpTable::Draw(Planes const& from, Planes const& to, Processor& processor) const {
    int const lumaStride = width + kPadding;
    int const chromaStride = 2 * (CountHalf(width) + kPadding);
    auto const bytes = [](int stride, int rows) {
        return static_cast<std::size_t>(stride) * static_cast<std::size_t>(rows + 1) + kPadding;
    };
    WarpJob const job{*this,
                      from,
                      to,
                      processor.Memory(0, bytes(lumaStride, height)),
                      processor.Memory(1, bytes(chromaStride, CountHalf(height))),
                      lumaStride,
                      chromaStride};
    ForStrips(from[1].height, processor, [&job](int first, int last) {
        for (int row = first; row < last; ++row) {
            job.CopyRow(row);
        }
    });
    job.CopyLastRows();
    DrawStrips(job, to[1].height, processor);
}

}  // namespace Kaltor::Ogl
