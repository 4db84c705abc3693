#include "Ogl/PlanarPicture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Core/Interfaces/Exception.h"
#include "Ogl/Processor.h"

namespace Kaltor::Ogl {
namespace {

using Proc::DataVideoFF;
using Sample = std::uint8_t;

constexpr std::size_t kPlanes = 3;
constexpr std::size_t kRectangle = 16;  ///< floats
constexpr int kTop = 255;

// Fixed-point shares of samples: 8 bits for two of them, 16 for any number.
constexpr unsigned kHalfBits = 8;
constexpr unsigned kBits = 16;
constexpr unsigned kOne = 1U << kBits;

/// Samples by which a picture may drift and still count as standing still: single precision reaches it.
constexpr double kPlaneDrift = 0.01;

// The loops over rows are written so that compilers can vectorise them: 16-bit arithmetic, no branches.

/// (a * (255 - weight) + b * weight) / 255, rounded.
void MixRow(Sample const* under, Sample const* over, int count, unsigned weight, Sample* out) {
    auto const w = static_cast<std::uint16_t>(weight);
    auto const v = static_cast<std::uint16_t>(kTop - weight);
    for (int i = 0; i < count; ++i) {
        auto const sum = static_cast<std::uint16_t>(over[i] * w + under[i] * v + 128);
        out[i] = static_cast<Sample>(static_cast<std::uint16_t>(sum + (sum >> 8U)) >> 8U);
    }
}

void MixRowWith(Sample under, Sample const* over, int count, unsigned weight, Sample* out) {
    auto const w = static_cast<std::uint16_t>(weight);
    auto const rest = static_cast<std::uint16_t>(under * (kTop - weight) + 128);
    for (int i = 0; i < count; ++i) {
        auto const sum = static_cast<std::uint16_t>(over[i] * w + rest);
        out[i] = static_cast<Sample>(static_cast<std::uint16_t>(sum + (sum >> 8U)) >> 8U);
    }
}

void InvertRow(int sum, Sample const* from, int count, Sample* out) {
    auto const whole = static_cast<std::int16_t>(sum);
    for (int i = 0; i < count; ++i) {
        auto const value = static_cast<std::int16_t>(whole - from[i]);
        out[i] = static_cast<Sample>(std::clamp<std::int16_t>(value, 0, kTop));
    }
}

/// Between each sample and the next one.
void ShiftRow(Sample const* from, int count, unsigned share, Sample* out) {
    auto const w = static_cast<std::uint16_t>(share);
    auto const v = static_cast<std::uint16_t>((1U << kHalfBits) - share);
    for (int i = 0; i < count; ++i) {
        out[i] = static_cast<Sample>(static_cast<std::uint16_t>(from[i] * v + from[i + 1] * w + 128) >> kHalfBits);
    }
}

void ReverseRow(Sample const* last, int count, Sample* out) {
    constexpr int kBytes = sizeof(std::uint64_t);
    int i = 0;
    for (; i + kBytes <= count; i += kBytes) {
        std::uint64_t bytes;
        std::memcpy(&bytes, last - i - (kBytes - 1), kBytes);
        bytes = __builtin_bswap64(bytes);
        std::memcpy(out + i, &bytes, kBytes);
    }
    for (; i < count; ++i) {
        out[i] = last[-i];
    }
}

// What follows is compiled a second time for wider vectors, which can read from many places at once.

[[gnu::always_inline]] inline void AddRowInline(Sample const* from, int count, std::uint32_t share,
                                                std::uint32_t* __restrict sums) {
    for (int i = 0; i < count; ++i) {
        sums[i] += share * from[i];
    }
}

/// Adds each sample's share of the sum at `first`. Sums have 16 more bits than samples; shares have 16.
[[gnu::always_inline]] inline void AddTapInline(std::uint32_t const* sums, int const* first,
                                                std::uint32_t const* shares, int count,
                                                std::uint32_t* __restrict total) {
    for (int i = 0; i < count; ++i) {
        total[i] += shares[i] * (sums[first[i]] >> kHalfBits);
    }
}

void AddRow(Sample const* from, int count, std::uint32_t share, std::uint32_t* sums) {
    RunWidest([&]() __attribute__((always_inline)) { AddRowInline(from, count, share, sums); });
}

void AddTap(std::uint32_t const* sums, int const* first, std::uint32_t const* shares, int count, std::uint32_t* total) {
    RunWidest([&]() __attribute__((always_inline)) { AddTapInline(sums, first, shares, count, total); });
}

/// Where the samples of one plane come from along one axis.
class Axis {
public:
    /// The picture's coordinates `from0` and `from1` stand on the target's `to0` and `to1`, in pixels. The target has
    /// `length` pixels, the picture `sourceLength`, in samples of `size` pixels. `isAveraged`: where the picture
    /// shrinks, pixels show means. `includesEnd`: which of two rectangles has the pixel whose centre is on their
    /// border.
    Axis(double to0, double to1, double from0, double from1, int length, int sourceLength, int size, bool isAveraged,
         bool includesEnd)
        : count((sourceLength + size - 1) / size) {
        auto const toPixel = [&](double edge) {
            double const at = edge - 0.5;
            double const pixel = includesEnd ? std::floor(at) + 1.0 : std::ceil(at);
            return static_cast<int>(std::clamp(pixel, 0.0, static_cast<double>(length)));
        };
        int const firstPixel = toPixel(std::min(to0, to1));
        int const endPixel = toPixel(std::max(to0, to1));
        if (firstPixel >= endPixel) {
            return;
        }
        begin = firstPixel / size;
        end = (endPixel - 1) / size + 1;
        double slope = (from1 - from0) / (to1 - to0);
        double start = from0 - to0 * slope;
        if (std::abs(std::abs(slope) - 1.0) * (endPixel - firstPixel) < kPlaneDrift) {
            // All pixels are moved alike, in spite of single precision.
            slope = slope > 0.0 ? 1.0 : -1.0;
            start = (from0 + from1) / 2.0 - slope * (to0 + to1) / 2.0;
            start = std::abs(start - std::round(start)) < kPlaneDrift ? std::round(start) : start;
        }
        double const scale = std::abs(slope);
        taps = scale > 1.0 ? (static_cast<int>(std::ceil(size * scale)) + 1) / size + 2 : 2;
        for (int i = begin; i < end; ++i) {
            int const a = std::max(firstPixel, i * size);
            int const b = std::min(endPixel, std::min((i + 1) * size, length));
            int const whole = std::min((i + 1) * size, length) - i * size;
            pixels.push_back({a - i * size, b - i * size, whole});
            // What each pixel shows, as if each had a sample of its own.
            parts.clear();
            auto const add = [&](double pixel, double part) {
                int const from = static_cast<int>(std::clamp(pixel, 0.0, sourceLength - 1.0));
                parts.emplace_back(from / size, part / (b - a));
            };
            for (int pixel = a; pixel < b; ++pixel) {
                double const place = start + (pixel + 0.5) * slope;
                if (scale > 1.0 && isAveraged) {
                    double const low = place - scale / 2.0;
                    double const high = place + scale / 2.0;
                    for (double at = std::floor(low); at < high; ++at) {
                        add(at, (std::min(at + 1.0, high) - std::max(at, low)) / scale);
                    }
                } else {
                    double const lower = std::floor(place - 0.5);
                    add(lower, 1.0 - (place - 0.5 - lower));
                    add(lower + 1.0, place - 0.5 - lower);
                }
            }
            AddSample();
        }
        FindStraightPart(slope > 0.0);
    }

    bool IsEmpty() const { return begin >= end; }

    int count;  ///< samples of the picture
    int begin = 0;
    int end = 0;
    /// Of a sample's pixels, those from `begin` up to `end` are covered.
    struct Pixels {
        int begin;
        int end;
        int count;
    };
    std::vector<Pixels> pixels;  ///< for each sample from `begin` on
    int taps = 2;
    /// For each: the first sample of the picture that it is made of, and the shares of `taps` of them.
    std::vector<int> first;
    std::vector<std::uint32_t> shares;

    // Of these samples, sample i is the one at i * step + offset, with `share` (in 1 / 256) of the one after it.
    int straightBegin = 0;
    int straightEnd = 0;
    int step = 1;
    int offset = 0;
    unsigned share = 0;

    std::uint32_t const* SharesOf(int sample) const {
        return shares.data() + static_cast<std::ptrdiff_t>(sample - begin) * taps;
    }
    int FirstOf(int sample) const { return first[static_cast<std::size_t>(sample - begin)]; }
    Pixels const& PixelsOf(int sample) const { return pixels[static_cast<std::size_t>(sample - begin)]; }
    bool IsWhole(int sample) const { return PixelsOf(sample).end - PixelsOf(sample).begin == PixelsOf(sample).count; }
    /// Within the picture: shares beyond it are 0.
    int Limit(int index) const { return std::min(index, count - 1); }

private:
    /// Samples of the picture with their parts of the present one.
    std::vector<std::pair<int, double>> parts;

    void AddSample() {
        constexpr double kLeast = 1.0 / (2U << kHalfBits);
        int lowest = count - 1;
        for (auto const& [index, part] : parts) {
            lowest = part >= kLeast || taps > 2 ? std::min(lowest, index) : lowest;
        }
        std::size_t const begins = shares.size();
        shares.resize(begins + static_cast<std::size_t>(taps));
        std::vector<double> sums(static_cast<std::size_t>(taps));
        for (auto const& [index, part] : parts) {
            sums[static_cast<std::size_t>(std::clamp(index - lowest, 0, taps - 1))] += part;
        }
        // Two shares are kept to 8 bits.
        unsigned const bits = taps == 2 ? kHalfBits : kBits;
        std::uint32_t rest = kOne;
        for (std::size_t tap = sums.size(); tap-- > 1;) {
            auto const wanted = static_cast<std::uint32_t>(std::lround(sums[tap] * (1U << bits)) << (kBits - bits));
            shares[begins + tap] = std::min(wanted, rest);
            rest -= shares[begins + tap];
        }
        shares[begins] = rest;
        first.push_back(lowest);
    }

    void FindStraightPart(bool isUpright) {
        if (taps != 2) {
            return;
        }
        step = isUpright ? 1 : -1;
        // The sample in the middle shows how most are.
        int const middle = (begin + end) / 2;
        share = SharesOf(middle)[1] >> (kBits - kHalfBits);
        offset = FirstOf(middle) - middle * step;
        if (share != 0 && step < 0) {
            return;  // rare: a mirrored picture between pixels
        }
        auto const isAlike = [&](int i) {
            return IsWhole(i) && FirstOf(i) == offset + i * step && SharesOf(i)[1] >> (kBits - kHalfBits) == share &&
                   FirstOf(i) + (share == 0 ? 0 : 1) < count;
        };
        straightBegin = middle;
        straightEnd = middle;
        while (straightBegin > begin && isAlike(straightBegin - 1)) {
            --straightBegin;
        }
        while (straightEnd < end && isAlike(straightEnd)) {
            ++straightEnd;
        }
    }
};

/// One plane of a picture in memory.
template <typename Byte>
struct Plane {
    Byte* data;
    std::ptrdiff_t stride;

    Byte* Row(int y) const { return data + stride * y; }
};

Plane<Sample const> PlaneOf(DataVideoFF const& picture, std::size_t plane) {
    return {picture.GetFrame().data[plane], picture.GetFrame().linesize[plane]};
}
Plane<Sample> PlaneOf(DataVideoFF& picture, std::size_t plane) {
    return {picture.GetWritableFrame().data[plane], picture.GetWritableFrame().linesize[plane]};
}

int SizeOfSample(std::size_t plane) {
    return plane == 0 ? 1 : 2;
}

int CountSamples(std::uint32_t pixels, std::size_t plane) {
    return plane == 0 ? static_cast<int>(pixels) : static_cast<int>((pixels + 1) / 2);
}

/// Blending in one plane.
struct PlaneOperation {
    PlaneBlend::Kind kind;
    unsigned weight;  ///< of 255
    Sample black;
    int inverseSum;  ///< of a sample and its inverse

    void Apply(Sample const* picture, Sample const* under, int count, Sample* out) const {
        switch (kind) {
            case PlaneBlend::Kind::Replace:
                std::memcpy(out, picture, static_cast<std::size_t>(count));
                break;
            case PlaneBlend::Kind::Mix:
                MixRow(under, picture, count, weight, out);
                break;
            case PlaneBlend::Kind::FromBlack:
                MixRowWith(black, picture, count, weight, out);
                break;
            case PlaneBlend::Kind::Inverse:
                InvertRow(inverseSum, picture, count, out);
                break;
        }
    }
};

/// Makes rows of a plane of the picture as the rectangle shows it.
class RowMaker {
public:
    RowMaker(Plane<Sample const> const& planeOfSource, Axis const& columnAxis, Axis const& rowAxis)
        : source(planeOfSource),
          columns(columnAxis),
          rows(rowAxis),
          row(static_cast<std::size_t>(columns.end - columns.begin) + 1) {
        firstUsed = columns.count;
        for (int i = columns.begin; i < columns.end; ++i) {
            firstUsed = std::min(firstUsed, columns.FirstOf(i));
            endUsed = std::max(endUsed, columns.Limit(columns.FirstOf(i) + columns.taps - 1) + 1);
        }
        int const count = columns.end - columns.begin;
        isStretched = 2 * (columns.straightEnd - columns.straightBegin) < count;
        if (isStretched) {
            total.resize(static_cast<std::size_t>(count));
            auto const taps = static_cast<std::size_t>(columns.taps);
            shares.resize(taps);
            for (std::size_t i = 0; i < columns.shares.size(); ++i) {
                shares[i % taps].push_back(columns.shares[i]);
            }
        }
    }

    /// The samples from `columns.begin` on of target row `y`; valid until the next call.
    Sample const* Make(int y) {
        std::uint32_t const* const rowShares = rows.SharesOf(y);
        int const first = rows.FirstOf(y);
        if (rowShares[0] == kOne && !isStretched) {
            return MakeFromRow(source.Row(first));
        }
        sums.assign(static_cast<std::size_t>(columns.count + columns.taps), 0);
        for (int tap = 0; tap < rows.taps; ++tap) {
            if (rowShares[tap] != 0) {
                AddRow(source.Row(rows.Limit(first + tap)) + firstUsed, endUsed - firstUsed, rowShares[tap],
                       sums.data() + firstUsed);
            }
        }
        if (isStretched) {
            return MakeStretched();
        }
        return MakeFromSums();
    }

private:
    Sample const* MakeStretched() {
        int const count = columns.end - columns.begin;
        std::fill(total.begin(), total.end(), 1U << (kBits + kHalfBits - 1U));
        for (std::size_t tap = 0; tap < shares.size(); ++tap) {
            AddTap(sums.data() + tap, columns.first.data(), shares[tap].data(), count, total.data());
        }
        std::uint32_t const* const sum = total.data();
        Sample* __restrict const out = row.data();
        for (int i = 0; i < count; ++i) {
            out[i] = static_cast<Sample>(sum[i] >> (kBits + kHalfBits));
        }
        return out;
    }

    Sample* RowAt(int column) { return row.data() + (column - columns.begin); }

    Sample const* MakeFromRow(Sample const* from) {
        int const count = columns.straightEnd - columns.straightBegin;
        bool const isAllStraight = columns.straightBegin == columns.begin && columns.straightEnd == columns.end;
        Sample const* const begin = from + columns.offset + columns.step * columns.straightBegin;
        if (columns.step > 0 && columns.share == 0 && isAllStraight) {
            return begin;
        }
        Sample* const out = RowAt(columns.straightBegin);
        if (columns.share != 0 && count > 0) {
            ShiftRow(begin, count, columns.share, out);
        } else if (columns.step > 0 && count > 0) {
            std::memcpy(out, begin, static_cast<std::size_t>(count));
        } else {
            ReverseRow(begin, count, out);
        }
        ForCrooked([&](int column) {
            std::uint32_t sum = kOne / 2;
            for (int tap = 0; tap < columns.taps; ++tap) {
                sum += columns.SharesOf(column)[tap] * from[columns.Limit(columns.FirstOf(column) + tap)];
            }
            return sum >> kBits;
        });
        return row.data();
    }

    /// Sums have 16 more bits than samples.
    Sample const* MakeFromSums() {
        constexpr std::uint32_t kHalf = kOne / 2;
        int const count = columns.straightEnd - columns.straightBegin;
        std::uint32_t const* const begin = sums.data() + columns.offset + columns.step * columns.straightBegin;
        Sample* const out = RowAt(columns.straightBegin);
        if (columns.step > 0) {
            std::uint32_t const w = columns.share;
            std::uint32_t const v = (1U << kHalfBits) - w;
            for (int i = 0; i < count && w == 0; ++i) {
                out[i] = static_cast<Sample>((begin[i] + kHalf) >> kBits);
            }
            for (int i = 0; i < count && w != 0; ++i) {
                out[i] = static_cast<Sample>(((begin[i] >> kHalfBits) * v + (begin[i + 1] >> kHalfBits) * w + kHalf) >>
                                             kBits);
            }
        } else {
            for (int i = 0; i < count; ++i) {
                out[i] = static_cast<Sample>((begin[-i] + kHalf) >> kBits);
            }
        }
        ForCrooked([&](int column) {
            // Eight bits fewer, so that the products fit.
            std::uint32_t sum = kHalf << kHalfBits;
            for (int tap = 0; tap < columns.taps; ++tap) {
                auto const at = static_cast<std::size_t>(columns.Limit(columns.FirstOf(column) + tap));
                sum += columns.SharesOf(column)[tap] * (sums[at] >> kHalfBits);
            }
            return sum >> (kBits + kHalfBits);
        });
        return row.data();
    }

    /// For the samples outside the straight part.
    template <typename Compute>
    void ForCrooked(Compute const& compute) {
        for (int i = columns.begin; i < columns.straightBegin; ++i) {
            *RowAt(i) = static_cast<Sample>(compute(i));
        }
        for (int i = std::max(columns.straightEnd, columns.begin); i < columns.end; ++i) {
            *RowAt(i) = static_cast<Sample>(compute(i));
        }
    }

    Plane<Sample const> source;
    Axis const& columns;
    Axis const& rows;
    std::vector<Sample> row;
    std::vector<std::uint32_t> sums;
    /// Each sample has shares of its own of `taps` samples, here by the tap.
    bool isStretched = false;
    std::vector<std::vector<std::uint32_t>> shares;
    std::vector<std::uint32_t> total;
    int firstUsed;
    int endUsed = 0;
};

/// Draws one plane of a picture through one rectangle.
void DrawPlane(Plane<Sample const> const& source, Axis const& columns, Axis const& rows,
               PlaneOperation const& operation, Plane<Sample> const& target, PlaneSeams& seams) {
    seams.Forget([&](int x, int y) {
        auto const isWithin = [](Axis const& axis, int at) {
            return at >= axis.begin && at < axis.end && axis.IsWhole(at);
        };
        return isWithin(columns, x) && isWithin(rows, y);
    });
    RowMaker maker(source, columns, rows);
    int const count = columns.end - columns.begin;
    std::vector<Sample> blended;
    for (int y = rows.begin; y < rows.end; ++y) {
        Sample const* const picture = maker.Make(y);
        Sample* const out = target.Row(y) + columns.begin;
        if (rows.IsWhole(y) && columns.IsWhole(columns.begin) && columns.IsWhole(columns.end - 1)) {
            operation.Apply(picture, out, count, out);
            continue;
        }
        blended.resize(static_cast<std::size_t>(count));
        operation.Apply(picture, out, count, blended.data());
        Axis::Pixels const& tall = rows.PixelsOf(y);
        for (int i = 0; i < count; ++i) {
            if (rows.IsWhole(y) && columns.IsWhole(columns.begin + i)) {
                out[i] = blended[static_cast<std::size_t>(i)];
                continue;
            }
            Axis::Pixels const& wide = columns.PixelsOf(columns.begin + i);
            PlaneSeams::Pixels& shown = seams.Find(columns.begin + i, y, out[i]);
            int sum = 0;
            for (int row = 0; row < tall.count; ++row) {
                for (int column = 0; column < wide.count; ++column) {
                    Sample& pixel = shown[static_cast<std::size_t>(2 * row + column)];
                    if (row >= tall.begin && row < tall.end && column >= wide.begin && column < wide.end) {
                        operation.Apply(picture + i, &pixel, 1, &pixel);
                    }
                    sum += pixel;
                }
            }
            int const all = tall.count * wide.count;
            out[i] = static_cast<Sample>((sum + all / 2) / all);
        }
    }
}

/// Whether four vertices are a rectangle whose sides are upright, in the target and in the picture.
bool IsUpright(std::span<float const> v) {
    return v[0] == v[12] && v[4] == v[8] && v[1] == v[5] && v[9] == v[13] &&  // s, t
           v[2] == v[14] && v[6] == v[10] && v[3] == v[7] && v[11] == v[15];  // x, y
}

constexpr std::array<float, kRectangle> kWhole{0, 0, -1, -1, 1, 0, 1, -1, 1, 1, 1, 1, 0, 1, -1, 1};

}  // namespace

PlanarPicture::PlanarPicture(boost::intrusive_ptr<DataVideoFF const> picture)
    : width(picture->GetFrameInfo().width),
      height(picture->GetFrameInfo().height),
      spec(picture->GetColorSpec().Resolved(height)),
      shared(std::move(picture)) {}

PlanarPicture::PlanarPicture(std::uint32_t pictureWidth, std::uint32_t pictureHeight, ColorSpec const& tags)
    : width(pictureWidth), height(pictureHeight), spec(tags.Resolved(pictureHeight)), flat({0.0, 0.0, 0.0}) {}

PlanarPicture::Codes PlanarPicture::Encode(std::array<double, 3> const& color) const {
    ColorTransform const transform = RgbToYuv(spec);
    Codes codes{};
    for (std::size_t i = 0; i < kPlanes; ++i) {
        std::array<double, 3> const& row = transform.matrix[i];
        double const value = row[0] * color[0] + row[1] * color[1] + row[2] * color[2] + transform.offset[i];
        codes[i] = static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * kTop));
    }
    return codes;
}

void PlanarPicture::Fill(std::array<double, 3> const& color) {
    seams = {};
    shared.reset();
    own.reset();
    flat = color;
}

void PlanarPicture::Show(boost::intrusive_ptr<DataVideoFF const> picture) {
    seams = {};
    own.reset();
    flat.reset();
    shared = std::move(picture);
}

void PlanarPicture::Own(bool keepsContent) {
    if (own && own->GetRefCount() == 1) {
        return;
    }
    boost::intrusive_ptr<DataVideoFF> const made = DataVideoFF::Create(PixFmt::Yuv420p, {width, height, 1, 1});
    boost::intrusive_ptr<DataVideoFF const> before = shared;
    if (own) {
        before = own;
    }
    Codes const codes = flat ? Encode(*flat) : Codes{};
    for (std::size_t plane = 0; plane < kPlanes && keepsContent; ++plane) {
        auto const count = static_cast<std::size_t>(CountSamples(width, plane));
        Plane<Sample> const to = PlaneOf(*made, plane);
        for (int y = 0; y < CountSamples(height, plane); ++y) {
            before ? std::memcpy(to.Row(y), PlaneOf(*before, plane).Row(y), count)
                   : std::memset(to.Row(y), codes[plane], count);
        }
    }
    made->SetColorSpec(spec);
    own = made;
    shared.reset();
    flat.reset();
}

boost::intrusive_ptr<DataVideoFF const> PlanarPicture::Get() {
    if (shared) {
        return shared;
    }
    if (!own) {
        Own(true);
    }
    return own;
}

void PlanarPicture::Draw(PlanarPicture& source, std::span<float const> vertices, PlaneBlend const& blend,
                         bool isAveraged) {
    bool const hasSameSize = source.width == width && source.height == height;
    bool const isOneWhole = hasSameSize && std::equal(vertices.begin(), vertices.end(), kWhole.begin(), kWhole.end());
    if (blend.kind == PlaneBlend::Kind::Inverse && (!isOneWhole || flat != std::array{1.0, 1.0, 1.0})) {
        Core::Throw(std::logic_error("planes are inverted only as a whole, over white"));
    }
    if (isOneWhole) {
        DrawWhole(source, blend);
        return;
    }
    boost::intrusive_ptr<DataVideoFF const> const picture = source.Get();
    Codes const black = Encode({0.0, 0.0, 0.0});
    bool coversAll = false;
    if (vertices.size() == kRectangle && blend.kind != PlaneBlend::Kind::Mix) {
        auto const reaches = [&](std::size_t item) {
            return std::min(vertices[item], vertices[item + 8]) <= -1.0F &&
                   std::max(vertices[item], vertices[item + 8]) >= 1.0F;
        };
        coversAll = reaches(2) && reaches(3);
    }
    Own(!coversAll);
    for (; vertices.size() >= kRectangle; vertices = vertices.subspan(kRectangle)) {
        if (!IsUpright(vertices.first(kRectangle))) {
            Core::Throw(std::logic_error("only upright rectangles are drawn on planes"));
        }
        // Rows are counted from the top, t and y from the bottom.
        auto const toX = [&](std::size_t i) { return (vertices[i] + 1.0) / 2.0 * width; };
        auto const toY = [&](std::size_t i) { return (1.0 - vertices[i]) / 2.0 * height; };
        for (std::size_t plane = 0; plane < kPlanes; ++plane) {
            int const size = SizeOfSample(plane);
            Axis const columns(toX(2), toX(10), double{vertices[0]} * source.width, double{vertices[8]} * source.width,
                               static_cast<int>(width), static_cast<int>(source.width), size, isAveraged, false);
            Axis const rows(toY(3), toY(11), (1.0 - vertices[1]) * source.height, (1.0 - vertices[9]) * source.height,
                            static_cast<int>(height), static_cast<int>(source.height), size, isAveraged, true);
            if (columns.IsEmpty() || rows.IsEmpty()) {
                continue;
            }
            PlaneOperation const operation{blend.kind, static_cast<unsigned>(std::lround(blend.weight * kTop)),
                                           black[plane], 0};
            DrawPlane(PlaneOf(*picture, plane), columns, rows, operation, PlaneOf(*own, plane), seams[plane]);
        }
    }
}

void PlanarPicture::DrawWhole(PlanarPicture& source, PlaneBlend const& blend) {
    using Kind = PlaneBlend::Kind;
    seams = {};
    auto const weight = static_cast<unsigned>(std::lround(blend.weight * kTop));
    bool const isAll = blend.kind == Kind::Replace || (blend.kind != Kind::Inverse && weight == kTop);
    boost::intrusive_ptr<DataVideoFF const> const picture = source.Get();
    if (isAll) {
        Show(picture);
        return;
    }
    if (weight == 0 && blend.kind == Kind::Mix) {
        return;
    }
    Codes const black = Encode({0.0, 0.0, 0.0});
    Codes const white = Encode({1.0, 1.0, 1.0});
    boost::intrusive_ptr<DataVideoFF const> const under = blend.kind == Kind::Mix ? Get() : nullptr;
    Own(false);
    for (std::size_t plane = 0; plane < kPlanes; ++plane) {
        PlaneOperation const operation{blend.kind, weight, black[plane], black[plane] + white[plane]};
        Plane<Sample const> const from = PlaneOf(*picture, plane);
        Plane<Sample> const to = PlaneOf(*own, plane);
        for (int y = 0; y < CountSamples(height, plane); ++y) {
            operation.Apply(from.Row(y), under ? PlaneOf(*under, plane).Row(y) : nullptr, CountSamples(width, plane),
                            to.Row(y));
        }
    }
}

}  // namespace Kaltor::Ogl
