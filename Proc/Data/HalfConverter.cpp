#include "Proc/Data/HalfConverter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Proc {
namespace {

using Words = std::uint16_t*;

constexpr float kLargestHalf = 65504.0F;

float ToFloat(std::uint16_t half) {
    std::uint32_t const sign = (half & 0x8000U) << 16U;
    std::uint32_t const rest = half & 0x7FFFU;
    if (rest >= 0x7C00U) {  // infinite or no number
        return std::bit_cast<float>(sign | 0x7F800000U | ((rest & 0x3FFU) << 13U));
    }
    // The exponent's bias is corrected by a product, which is right for the smallest numbers, too.
    float const size = std::bit_cast<float>(rest << 13U) * 0x1p112F;
    return std::bit_cast<float>(std::bit_cast<std::uint32_t>(size) | sign);
}

/// Rounds to the nearest, ties to even. `value` is within 0 to 65504.
std::uint16_t ToHalfWord(float value) {
    constexpr float kSmallestNormal = 0x1p-14F;
    if (value < kSmallestNormal) {
        return static_cast<std::uint16_t>(std::lrintf(value * 0x1p24F));
    }
    std::uint32_t const bits = std::bit_cast<std::uint32_t>(value) - (112U << 23U);
    return static_cast<std::uint16_t>((bits + 0xFFFU + ((bits >> 13U) & 1U)) >> 13U);
}

/// NaN becomes 0.
inline float Limit(float value, float top) {
    return value > 0.0F ? std::min(value, top) : 0.0F;
}

void PackRow(std::array<float const*, 4> const& from, int begin, int count, float top, Words to) {
    for (int i = begin; i < count; ++i) {
        for (std::size_t c = 0; c < 4; ++c) {
            to[4 * i + static_cast<int>(c)] = ToHalfWord(Limit(from[c][i], top));
        }
    }
}

void UnpackRow(std::uint16_t const* from, int begin, int count, std::array<float*, 4> const& to) {
    for (int i = begin; i < count; ++i) {
        for (std::size_t c = 0; c < 4; ++c) {
            to[c][i] = ToFloat(from[4 * i + static_cast<int>(c)]);
        }
    }
}

#if defined(__x86_64__)
bool HasHalfInstructions() {
    // Every processor with AVX2 has F16C, too, which not every compiler can ask for.
    static bool const has = __builtin_cpu_supports("avx2") != 0;
    return has;
}

/// Whole groups of four pixels; the number of pixels done.
__attribute__((target("f16c"))) int PackFours(std::array<float const*, 4> const& from, int count, float top, Words to) {
    __m128 const zero = _mm_setzero_ps();
    __m128 const most = _mm_set1_ps(top);
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        // The second operand is the result where the first is no number.
        __m128 r = _mm_min_ps(_mm_max_ps(_mm_loadu_ps(from[0] + i), zero), most);
        __m128 g = _mm_min_ps(_mm_max_ps(_mm_loadu_ps(from[1] + i), zero), most);
        __m128 b = _mm_min_ps(_mm_max_ps(_mm_loadu_ps(from[2] + i), zero), most);
        __m128 a = _mm_min_ps(_mm_max_ps(_mm_loadu_ps(from[3] + i), zero), most);
        _MM_TRANSPOSE4_PS(r, g, b, a);
        auto* const out = reinterpret_cast<__m128i*>(to + 4 * i);
        _mm_storeu_si128(out, _mm_unpacklo_epi64(_mm_cvtps_ph(r, _MM_FROUND_TO_NEAREST_INT),
                                                 _mm_cvtps_ph(g, _MM_FROUND_TO_NEAREST_INT)));
        _mm_storeu_si128(out + 1, _mm_unpacklo_epi64(_mm_cvtps_ph(b, _MM_FROUND_TO_NEAREST_INT),
                                                     _mm_cvtps_ph(a, _MM_FROUND_TO_NEAREST_INT)));
    }
    return i;
}

__attribute__((target("f16c"))) int UnpackFours(std::uint16_t const* from, int count, std::array<float*, 4> const& to) {
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        auto const load = [&](int pixel) __attribute__((target("f16c"))) {
            return _mm_cvtph_ps(_mm_loadl_epi64(reinterpret_cast<__m128i const*>(from + 4 * (i + pixel))));
        };
        __m128 r = load(0);
        __m128 g = load(1);
        __m128 b = load(2);
        __m128 a = load(3);
        _MM_TRANSPOSE4_PS(r, g, b, a);
        _mm_storeu_ps(to[0] + i, r);
        _mm_storeu_ps(to[1] + i, g);
        _mm_storeu_ps(to[2] + i, b);
        _mm_storeu_ps(to[3] + i, a);
    }
    return i;
}
#endif

void Pack(std::array<float const*, 4> const& from, int count, float top, Words to) {
    int done = 0;
#if defined(__x86_64__)
    if (HasHalfInstructions()) {
        done = PackFours(from, count, top, to);
    }
#endif
    PackRow(from, done, count, top, to);
}

void Unpack(std::uint16_t const* from, int count, std::array<float*, 4> const& to) {
    int done = 0;
#if defined(__x86_64__)
    if (HasHalfInstructions()) {
        done = UnpackFours(from, count, to);
    }
#endif
    UnpackRow(from, done, count, to);
}

/// Where one component's samples lie.
struct Component {
    int plane, step, offset, shift, depth;
};

/// What of a pixel format is needed here.
struct Layout {
    bool isRgb, isFloat, swaps, hasAlpha;
    int colors;  ///< components without alpha
    int chromaX, chromaY;
    std::array<Component, 4> components;

    explicit Layout(AVPixelFormat format) {
        AVPixFmtDescriptor const& d = *av_pix_fmt_desc_get(format);
        constexpr bool kIsLittle = std::endian::native == std::endian::little;
        isRgb = (d.flags & AV_PIX_FMT_FLAG_RGB) != 0;
        isFloat = (d.flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
        swaps = ((d.flags & AV_PIX_FMT_FLAG_BE) != 0) == kIsLittle && d.comp[0].depth > 8;
        hasAlpha = (d.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
        colors = d.nb_components - (hasAlpha ? 1 : 0);
        chromaX = d.log2_chroma_w;
        chromaY = d.log2_chroma_h;
        components = {};
        for (std::size_t i = 0; i < d.nb_components; ++i) {
            AVComponentDescriptor const& c = d.comp[i];
            components[i] = {c.plane, c.step, c.offset, c.shift, c.depth};
        }
    }

    bool IsChroma(std::size_t component) const { return !isRgb && (component == 1 || component == 2) && colors == 3; }
    Component const& Alpha() const { return components[static_cast<std::size_t>(colors)]; }
};

template <typename Word>
Word Swapped(Word word) {
    if constexpr (sizeof(Word) == 2) {
        return static_cast<Word>((word << 8U) | (word >> 8U));
    } else if constexpr (sizeof(Word) == 4) {
        return __builtin_bswap32(word);
    } else {
        return word;
    }
}

template <typename Word>
void LoadWords(std::uint8_t const* from, Component const& c, bool swaps, float scale, int count, float* to) {
    if (c.step == sizeof(Word) && c.shift == 0 && !swaps) {
        for (int i = 0; i < count; ++i) {
            Word word;
            std::memcpy(&word, from + static_cast<std::ptrdiff_t>(i) * static_cast<int>(sizeof(Word)), sizeof(Word));
            to[i] = static_cast<float>(word) * scale;
        }
        return;
    }
    for (int i = 0; i < count; ++i) {
        Word word;
        std::memcpy(&word, from + static_cast<std::ptrdiff_t>(i) * c.step, sizeof(Word));
        word = swaps ? Swapped(word) : word;
        to[i] = static_cast<float>(word >> c.shift) * scale;
    }
}

std::uint8_t* RowOf(AVFrame const& frame, Component const& c, int row) {
    return frame.data[c.plane] + std::ptrdiff_t{row} * frame.linesize[c.plane] + c.offset;
}

void Load(AVFrame const& frame, Layout const& layout, Component const& c, int row, int count, float* to) {
    std::uint8_t const* const from = RowOf(frame, c, row);
    if (layout.isFloat) {
        for (int i = 0; i < count; ++i) {
            std::uint32_t word;
            std::memcpy(&word, from + static_cast<std::ptrdiff_t>(i) * c.step, sizeof(word));
            to[i] = std::bit_cast<float>(layout.swaps ? Swapped(word) : word);
        }
        return;
    }
    float const scale = 1.0F / static_cast<float>((1 << c.depth) - 1);
    if (c.depth > 8) {
        LoadWords<std::uint16_t>(from, c, layout.swaps, scale, count, to);
    } else {
        LoadWords<std::uint8_t>(from, c, false, scale, count, to);
    }
}

template <typename Word>
void StoreWords(float const* from, Component const& c, bool swaps, int count, std::uint8_t* to) {
    auto const top = static_cast<float>((1 << c.depth) - 1);
    for (int i = 0; i < count; ++i) {
        auto word = static_cast<Word>(static_cast<int>(Limit(from[i], 1.0F) * top + 0.5F) << c.shift);
        word = swaps ? Swapped(word) : word;
        std::memcpy(to + static_cast<std::ptrdiff_t>(i) * c.step, &word, sizeof(Word));
    }
}

void Store(AVFrame& frame, Layout const& layout, Component const& c, int row, int count, float const* from) {
    std::uint8_t* const to = RowOf(frame, c, row);
    if (layout.isFloat) {
        for (int i = 0; i < count; ++i) {
            auto word = std::bit_cast<std::uint32_t>(from[i]);
            word = layout.swaps ? Swapped(word) : word;
            std::memcpy(to + static_cast<std::ptrdiff_t>(i) * c.step, &word, sizeof(word));
        }
    } else if (c.depth > 8) {
        StoreWords<std::uint16_t>(from, c, layout.swaps, count, to);
    } else {
        StoreWords<std::uint8_t>(from, c, false, count, to);
    }
}

/// Repeats each of `count` / 2 samples, in place, from the end on.
void Widen(float* row, int count) {
    for (int i = count - 1; i > 0; --i) {
        row[i] = row[i / 2];
    }
}

void Multiply(std::array<std::array<float, 3>, 3> const& m, std::array<float, 3> const& offset, int count,
              std::array<float const*, 3> const& from, std::array<float*, 3> const& to) {
    float const* const x = from[0];
    float const* const y = from[1];
    float const* const z = from[2];
    for (std::size_t row = 0; row < 3; ++row) {
        float* __restrict const out = to[row];
        float const a = m[row][0];
        float const b = m[row][1];
        float const c = m[row][2];
        float const d = offset[row];
        for (int i = 0; i < count; ++i) {
            out[i] = a * x[i] + b * y[i] + c * z[i] + d;
        }
    }
}

struct FloatTransform {
    std::array<std::array<float, 3>, 3> matrix;
    std::array<float, 3> offset;

    explicit FloatTransform(ColorTransform const& transform) {
        for (std::size_t row = 0; row < 3; ++row) {
            for (std::size_t column = 0; column < 3; ++column) {
                matrix[row][column] = static_cast<float>(transform.matrix[row][column]);
            }
            offset[row] = static_cast<float>(transform.offset[row]);
        }
    }
};

/// The tags by which samples are read and written: floats and R'G'B' know full range only.
ColorTransform TransformOf(Layout const& layout, ColorSpec spec, bool isToRgb) {
    unsigned const bits = layout.isFloat ? 16U : static_cast<unsigned>(layout.components[0].depth);
    if (layout.isFloat) {
        spec.range = ColorRange::Full;
    }
    return isToRgb ? YuvToRgb(spec, bits) : RgbToYuv(spec, bits);
}

}  // namespace

bool HalfConverter::Takes(AVPixelFormat format) {
    AVPixFmtDescriptor const* const d = av_pix_fmt_desc_get(format);
    constexpr std::uint64_t kOthers =
        AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER;
    if (d == nullptr || (d->flags & kOthers) != 0 || d->log2_chroma_w > 1 || d->log2_chroma_h > 1 ||
        format == AV_PIX_FMT_XYZ12LE || format == AV_PIX_FMT_XYZ12BE) {
        return false;
    }
    bool const isFloat = (d->flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
    for (int i = 0; i < d->nb_components; ++i) {
        AVComponentDescriptor const& c = d->comp[i];
        bool const isWhole = isFloat ? c.depth == 32 && c.shift == 0 : c.depth >= 8 && c.depth + c.shift <= 16;
        int const bytes = isFloat ? 4 : c.depth + c.shift > 8 ? 2 : 1;
        bool const isAlone = std::all_of(d->comp, d->comp + d->nb_components, [&](AVComponentDescriptor const& other) {
            return &other == &c || other.plane != c.plane || std::abs(other.offset - c.offset) >= bytes;
        });
        if (!isWhole || !isAlone || c.step < bytes || c.depth != d->comp[0].depth) {
            return false;
        }
    }
    return d->nb_components > 0;
}

void HalfConverter::Resize(int width) {
    auto const size = static_cast<std::size_t>(width) + 1;
    for (Rows* const rows : {&samples, &colors}) {
        for (std::vector<float>& row : *rows) {
            row.resize(size);
        }
    }
}

void HalfConverter::LayOver(Color const& background, float const* alpha, int width) {
    for (std::size_t c = 0; c < 3; ++c) {
        float* const row = colors[c].data();
        for (int i = 0; i < width; ++i) {
            row[i] = row[i] * alpha[i] + background[c] * (1.0F - alpha[i]);
        }
    }
}

void HalfConverter::ToHalf(AVFrame const& source, ColorSpec const& spec, AVFrame& target,
                           std::optional<Color> const& background) {
    Layout const layout(static_cast<AVPixelFormat>(source.format));
    FloatTransform const transform(TransformOf(layout, spec, true));
    int const width = source.width;
    Resize(width);
    std::fill(colors[3].begin(), colors[3].end(), 1.0F);
    bool const keepsAlpha = layout.hasAlpha && Proc::GetPixFmt(target) == PixFmt::RgbaF16;
    float const top = layout.isFloat ? kLargestHalf : 1.0F;
    bool const isYuv = !layout.isRgb && layout.colors == 3;
    for (int y = 0; y < source.height; ++y) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(layout.colors); ++i) {
            float* const row = isYuv || layout.colors == 1 ? samples[i].data() : colors[i].data();
            if (!layout.IsChroma(i)) {
                Load(source, layout, layout.components[i], y, width, row);
            } else if ((y & ((1 << layout.chromaY) - 1)) == 0) {
                int const count = (width + layout.chromaX) >> layout.chromaX;
                Load(source, layout, layout.components[i], y >> layout.chromaY, count, row);
                if (layout.chromaX != 0) {
                    Widen(row, width);
                }
            }
        }
        if (isYuv) {
            Multiply(transform.matrix, transform.offset, width,
                     {samples[0].data(), samples[1].data(), samples[2].data()},
                     {colors[0].data(), colors[1].data(), colors[2].data()});
        } else if (layout.colors == 1) {
            // Chroma is 0; luma's black and white follow from the range.
            float const scale = transform.matrix[0][0];
            float const black = scale * static_cast<float>(TransformOf(layout, spec, false).offset[0]);
            for (int i = 0; i < width; ++i) {
                float const value = samples[0][static_cast<std::size_t>(i)] * scale - black;
                colors[0][static_cast<std::size_t>(i)] = value;
                colors[1][static_cast<std::size_t>(i)] = value;
                colors[2][static_cast<std::size_t>(i)] = value;
            }
        }
        if (keepsAlpha) {
            Load(source, layout, layout.Alpha(), y, width, colors[3].data());
        } else if (layout.hasAlpha && background) {
            Load(source, layout, layout.Alpha(), y, width, samples[3].data());
            LayOver(*background, samples[3].data(), width);
        }
        Pack({colors[0].data(), colors[1].data(), colors[2].data(), colors[3].data()}, width, top,
             reinterpret_cast<Words>(target.data[0] + std::ptrdiff_t{y} * target.linesize[0]));
    }
}

void HalfConverter::FromHalf(AVFrame const& source, AVFrame& target, ColorSpec const& spec,
                             std::optional<Color> const& background) {
    Layout const layout(static_cast<AVPixelFormat>(target.format));
    FloatTransform const transform(TransformOf(layout, spec, false));
    int const width = source.width;
    int const groupRows = 1 << layout.chromaY;
    int const groupColumns = 1 << layout.chromaX;
    Resize(width);
    bool const isYuv = !layout.isRgb && layout.colors == 3;
    bool const isLaid = background && !layout.hasAlpha && Proc::GetPixFmt(source) == PixFmt::RgbaF16;
    Rows sums;
    for (int y = 0; y < source.height; ++y) {
        Unpack(reinterpret_cast<std::uint16_t const*>(source.data[0] + std::ptrdiff_t{y} * source.linesize[0]), width,
               {colors[0].data(), colors[1].data(), colors[2].data(), colors[3].data()});
        if (isLaid) {
            LayOver(*background, colors[3].data(), width);
        }
        if (!layout.isFloat) {
            for (std::size_t c = 0; c < 3; ++c) {
                std::transform(colors[c].begin(), colors[c].end(), colors[c].begin(),
                               [](float value) { return Limit(value, 1.0F); });
            }
        }
        if (layout.hasAlpha) {
            Store(target, layout, layout.Alpha(), y, width, colors[3].data());
        }
        if (layout.isRgb) {
            for (std::size_t c = 0; c < 3; ++c) {
                Store(target, layout, layout.components[c], y, width, colors[c].data());
            }
            continue;
        }
        Multiply(transform.matrix, transform.offset, width, {colors[0].data(), colors[1].data(), colors[2].data()},
                 {samples[0].data(), samples[1].data(), samples[2].data()});
        Store(target, layout, layout.components[0], y, width, samples[0].data());
        if (!isYuv) {
            continue;
        }
        int const inGroup = y & (groupRows - 1);
        int const count = (width + groupColumns - 1) / groupColumns;
        bool const isLast = inGroup == groupRows - 1 || y == source.height - 1;
        for (std::size_t c = 1; c < 3; ++c) {
            std::vector<float>& sum = sums[c];
            if (inGroup == 0) {
                sum.assign(static_cast<std::size_t>(count), 0.0F);
            }
            samples[c][static_cast<std::size_t>(width)] = samples[c][static_cast<std::size_t>(width) - 1];
            float const weight = 1.0F / static_cast<float>(groupColumns);
            for (int i = 0; i < count; ++i) {
                float const* const first = samples[c].data() + std::ptrdiff_t{i} * groupColumns;
                sum[static_cast<std::size_t>(i)] += (groupColumns == 2 ? first[0] + first[1] : first[0]) * weight;
            }
            if (isLast) {
                float const rows = 1.0F / static_cast<float>(inGroup + 1);
                for (float& value : sum) {
                    value *= rows;
                }
                Store(target, layout, layout.components[c], y >> layout.chromaY, count, sum.data());
            }
        }
    }
}

}  // namespace Kaltor::Proc
