// Means are sums over rows, then differences of a running sum along the columns, all in whole numbers: the borders of
// rectangles lie on 1/256 of a pixel. A row of rectangles is enlarged once, for all rows of pixels that show it.

#include "Proc/Effects/EffectsOgl/Effects/ProcessorPixels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

constexpr int kUnitBits = 8;
constexpr int kUnits = 1 << kUnitBits;  ///< of a pixel, and of a share

int PixelsOf(std::size_t plane) {
    return plane == 0 ? 1 : 2;
}

/// The borders of `count` equal parts of a length, in units.
std::vector<int> FindBorders(int pixels, int count) {
    std::vector<int> borders;
    for (int i = 0; i <= count; ++i) {
        borders.push_back(static_cast<int>(std::lround(static_cast<double>(i) * pixels * kUnits / count)));
    }
    return borders;
}

[[gnu::always_inline]] inline void AddShareInline(std::uint8_t const* row, int count, std::uint32_t share,
                                                  std::uint32_t* __restrict sums) {
    for (int x = 0; x < count; ++x) {
        sums[x] += share * row[x];
    }
}

struct MeansJob {
    Planes const& picture;
    BlockMeans& means;
    std::vector<int> const& columns;  ///< borders
    std::vector<int> const& rows;

    /// One row of rectangles; `add` is `AddShareInline`.
    template <typename Add>
    void FindRow(std::size_t plane, int row, Add const& add) const {
        Samples const& from = picture[plane];
        int const sample = PixelsOf(plane) * kUnits;
        int const low = rows[static_cast<std::size_t>(row)];
        int const high = rows[static_cast<std::size_t>(row) + 1];
        std::vector<std::uint32_t> sums(static_cast<std::size_t>(from.width) + 1);
        for (int y = low / sample; y * sample < high; ++y) {
            int const covered = std::min(high, (y + 1) * sample) - std::max(low, y * sample);
            add(from.Row(y), from.width, static_cast<std::uint32_t>(covered), sums.data());
        }
        std::int32_t* const out = means.planes[plane].data() + std::ptrdiff_t{row} * means.columns;
        std::uint64_t before = 0;  // all samples to the left of `x`
        std::uint64_t last = 0;    // up to the border before
        int x = 0;
        for (int column = 0; column < means.columns; ++column) {
            int const begin = columns[static_cast<std::size_t>(column)];
            int const end = columns[static_cast<std::size_t>(column) + 1];
            for (; (x + 1) * sample <= end; ++x) {
                before += static_cast<std::uint64_t>(sample) * sums[static_cast<std::size_t>(x)];
            }
            std::uint64_t const here =
                before + static_cast<std::uint64_t>(end - x * sample) * sums[static_cast<std::size_t>(x)];
            double const area = static_cast<double>(end - begin) * (high - low);
            out[column] = static_cast<std::int32_t>(static_cast<double>(here - last) * ((1 << kFraction) / area) + 0.5);
            last = here;
        }
    }
};

/// Which rectangles pixels along one axis show: `share` (in units) of the second of two, the rest of the first.
struct PixelSteps {
    std::vector<std::int32_t> first, second, share;

    PixelSteps(int pixels, int count) {
        for (int i = 0; i < pixels; ++i) {
            double const at = (i + 0.5) * count / pixels;
            double const border = std::floor(at + 0.5);
            double const part = std::clamp((at - border) * pixels / count + 0.5, 0.0, 1.0);
            first.push_back(std::clamp(static_cast<int>(border) - 1, 0, count - 1));
            second.push_back(std::clamp(static_cast<int>(border), 0, count - 1));
            share.push_back(static_cast<std::int32_t>(std::lround(part * kUnits)));
        }
    }
};

[[gnu::always_inline]] inline void EnlargeRowInline(std::int32_t const* means, PixelSteps const& steps, int count,
                                                    Half* __restrict out) {
    std::int32_t const* const first = steps.first.data();
    std::int32_t const* const second = steps.second.data();
    std::int32_t const* const share = steps.share.data();
    for (int x = 0; x < count; ++x) {
        std::int32_t const sum = means[first[x]] * (kUnits - share[x]) + means[second[x]] * share[x];
        out[x] = static_cast<Half>((sum + kUnits / 2) >> kUnitBits);
    }
}

/// The means of pairs; `count` is that of the results.
[[gnu::always_inline]] inline void JoinPairs(Half const* from, int count, Half* __restrict out) {
    for (int x = 0; x < count; ++x) {
        out[x] = static_cast<Half>((from[2 * x] + from[2 * x + 1] + 1) >> 1);
    }
}

[[gnu::always_inline]] inline void WriteRowInline(Half const* from, int count, std::uint8_t* __restrict out) {
    for (int x = 0; x < count; ++x) {
        out[x] = ToSample(from[x]);
    }
}

[[gnu::always_inline]] inline void MixHalvesInline(Half const* from, Half const* over, Half weight, int count,
                                                   std::uint8_t* __restrict out) {
    for (int x = 0; x < count; ++x) {
        out[x] = ToSample(static_cast<Half>(from[x] + Times(static_cast<Half>(over[x] - from[x]), weight)));
    }
}

[[gnu::always_inline]] inline void MixSamplesInline(Half const* from, std::uint8_t const* over, Half weight, int count,
                                                    std::uint8_t* __restrict out) {
    for (int x = 0; x < count; ++x) {
        auto const difference = static_cast<Half>((over[x] << kFraction) - from[x]);
        out[x] = ToSample(static_cast<Half>(from[x] + Times(difference, weight)));
    }
}

/// The rows of one plane of enlarged means, in their order.
class EnlargedRows {
public:
    EnlargedRows(BlockMeans const& blocks, std::size_t plane, PixelSteps const& acrossSteps,
                 PixelSteps const& downSteps)
        : columns(blocks.columns),
          means(blocks.planes[plane].data()),
          size(PixelsOf(plane)),
          across(acrossSteps),
          down(downSteps),
          pixels(static_cast<int>(across.first.size())),
          height(static_cast<int>(down.first.size())),
          width((pixels + size - 1) / size),
          row(static_cast<std::size_t>(pixels) + 1),
          sums(static_cast<std::size_t>(width)),
          mixed(static_cast<std::size_t>(width)) {}

    /// Row `y` of the plane; valid until the next call.
    [[gnu::always_inline]] Half const* Make(int y) {
        // A row of chroma is the mean of two of pixels.
        int const end = std::min(size * y + size, height);
        int const count = end - size * y;
        auto const isAlone = [&](std::size_t at) {
            return down.share[at] == 0 || down.share[at] == kUnits || down.first[at] == down.second[at];
        };
        auto const shown = [&](std::size_t at) { return down.share[at] == kUnits ? down.second[at] : down.first[at]; };
        auto const top = static_cast<std::size_t>(size * y);
        auto const bottom = static_cast<std::size_t>(end - 1);
        if (isAlone(top) && isAlone(bottom) && shown(top) == shown(bottom)) {
            return Enlarge(shown(top));
        }
        std::fill(sums.begin(), sums.end(), kUnits * count / 2);
        for (std::size_t at = top; at <= bottom; ++at) {
            Add(down.first[at], kUnits - down.share[at]);
            Add(down.second[at], down.share[at]);
        }
        std::int32_t const* const from = sums.data();
        Half* __restrict const out = mixed.data();
        int const shift = count == 1 ? kUnitBits : kUnitBits + 1;
        for (int x = 0; x < width; ++x) {
            out[x] = static_cast<Half>(from[x] >> shift);
        }
        return out;
    }

private:
    struct Kept {
        int number = -1;
        std::vector<Half> numbers;
    };

    [[gnu::always_inline]] Half const* Enlarge(int number) {
        Kept& place = kept[static_cast<std::size_t>(number) % kept.size()];
        if (place.number != number) {
            place.number = number;
            place.numbers.resize(row.size());
            Half* const whole = size == 1 ? place.numbers.data() : row.data();
            EnlargeRowInline(means + std::ptrdiff_t{number} * columns, across, pixels, whole);
            if (size == 2) {
                row[static_cast<std::size_t>(pixels)] = row[static_cast<std::size_t>(pixels) - 1];  // an odd width
                JoinPairs(row.data(), width, place.numbers.data());
            }
        }
        return place.numbers.data();
    }

    [[gnu::always_inline]] void Add(int number, std::int32_t share) {
        if (share == 0) {
            return;
        }
        Half const* const from = Enlarge(number);
        std::int32_t* __restrict const to = sums.data();
        for (int x = 0; x < width; ++x) {
            to[x] += from[x] * share;
        }
    }

    int columns;
    std::int32_t const* means;
    int size;
    PixelSteps const& across;
    PixelSteps const& down;
    int pixels;
    int height;
    int width;  ///< samples
    std::array<Kept, 2> kept;
    std::vector<Half> row;
    std::vector<std::int32_t> sums;
    std::vector<Half> mixed;
};

struct ShowJob {
    struct Lattice {
        BlockMeans const& means;
        PixelSteps across, down;

        Lattice(BlockMeans const& blocks, Samples const& luma)
            : means(blocks), across(luma.width, blocks.columns), down(luma.height, blocks.rows) {}
    };

    Lattice const& large;
    Lattice const* small;
    Planes const* picture;
    Half weight;
    Planes const& to;

    [[gnu::always_inline]] void DrawPlane(std::size_t plane, int first, int last) const {
        int const width = to[plane].width;
        EnlargedRows larger(large.means, plane, large.across, large.down);
        std::optional<EnlargedRows> smaller;
        if (small != nullptr) {
            smaller.emplace(small->means, plane, small->across, small->down);
        }
        for (int y = first; y < last; ++y) {
            Half const* const from = larger.Make(y);
            std::uint8_t* const out = to[plane].Row(y);
            if (smaller) {
                MixHalvesInline(from, smaller->Make(y), weight, width, out);
            } else if (picture != nullptr) {
                MixSamplesInline(from, (*picture)[plane].Row(y), weight, width, out);
            } else {
                WriteRowInline(from, width, out);
            }
        }
    }

    /// Chroma rows from `first` to `last`, and the pixels' rows that share them.
    [[gnu::always_inline]] void DrawRows(int first, int last) const {
        DrawPlane(0, 2 * first, std::min(2 * last, to[0].height));
        DrawPlane(1, first, last);
        DrawPlane(2, first, last);
    }
};

void AddShare(std::uint8_t const* row, int count, std::uint32_t share, std::uint32_t* sums) {
    RunWidest([&]() __attribute__((always_inline)) { AddShareInline(row, count, share, sums); });
}

}  // namespace

BlockMeans FindMeans(Planes const& picture, int columns, int rows, Processor& processor) {
    BlockMeans means{columns, rows, {}};
    for (std::vector<std::int32_t>& plane : means.planes) {
        plane.resize(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    }
    std::vector<int> const acrossBorders = FindBorders(picture[0].width, columns);
    std::vector<int> const downBorders = FindBorders(picture[0].height, rows);
    MeansJob const job{picture, means, acrossBorders, downBorders};
    processor.ForEach(static_cast<std::size_t>(rows), [&job](std::size_t row) {
        for (std::size_t plane = 0; plane < job.picture.size(); ++plane) {
            job.FindRow(plane, static_cast<int>(row), AddShare);
        }
    });
    return means;
}

BlockMeans JoinMeans(BlockMeans const& means) {
    BlockMeans joined{means.columns / 2, means.rows / 2, {}};
    for (std::size_t plane = 0; plane < joined.planes.size(); ++plane) {
        for (int row = 0; row < joined.rows; ++row) {
            std::int32_t const* const upper = means.planes[plane].data() + std::ptrdiff_t{2} * row * means.columns;
            std::int32_t const* const lower = upper + means.columns;
            for (int column = 0; column < joined.columns; ++column) {
                int const i = 2 * column;
                joined.planes[plane].push_back((upper[i] + upper[i + 1] + lower[i] + lower[i + 1] + 2) / 4);
            }
        }
    }
    return joined;
}

BlockMeans MixMeans(BlockMeans const& below, BlockMeans const& above,
                    std::function<double(int column, int row)> const& share) {
    BlockMeans mixed = below;
    std::size_t i = 0;
    for (int row = 0; row < below.rows; ++row) {
        for (int column = 0; column < below.columns; ++column, ++i) {
            double const part = share(column, row);
            for (std::size_t plane = 0; plane < mixed.planes.size(); ++plane) {
                std::int32_t& mean = mixed.planes[plane][i];
                mean += static_cast<std::int32_t>(std::lround(part * (above.planes[plane][i] - mean)));
            }
        }
    }
    return mixed;
}

void ShowMeans(BlockMeans const& means, FinerMeans const& finer, Planes const& to, Processor& processor) {
    bool const isMixed = finer.weight > 0.0;
    ShowJob::Lattice const large(means, to[0]);
    std::optional<ShowJob::Lattice> small;
    if (isMixed && finer.means != nullptr) {
        small.emplace(*finer.means, to[0]);
    }
    ShowJob const job{large, small ? &*small : nullptr, isMixed ? finer.picture : nullptr, ToWeight(finer.weight), to};
    DrawStrips(job, to[1].height, processor);
}

}  // namespace Kaltor::Ogl
