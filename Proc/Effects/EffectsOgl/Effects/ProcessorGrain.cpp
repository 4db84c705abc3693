// Grain is read from a table in which each number stands beside its neighbour, so that one access reads both. Tiles are
// narrow enough for what they read to stay in the nearest cache while the rows go by.

#include "Proc/Effects/EffectsOgl/Effects/ProcessorGrain.h"

#include <bit>

#include "Ogl/Noise.h"
#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

constexpr int kTile = 256;  ///< pixels

/// 1 / sqrt(x), within 5 millionths: without the library's, which keeps loops from becoming vectors.
[[gnu::always_inline]] inline float InverseRoot(float x) {
    float root = std::bit_cast<float>(0x5F375A86 - (std::bit_cast<std::int32_t>(x) >> 1));
    root *= 1.5F - 0.5F * x * root * root;
    return root * (1.5F - 0.5F * x * root * root);
}

std::vector<std::uint32_t> PairUp(std::vector<std::uint16_t> const& noise) {
    std::vector<std::uint32_t> pairs;
    pairs.reserve(noise.size());
    for (std::size_t i = 0; i < noise.size(); ++i) {
        std::size_t const next = i % kNoiseSize + 1 == kNoiseSize ? i + 1 - kNoiseSize : i + 1;
        pairs.push_back(noise[i] | (std::uint32_t{noise[next]} << 16U));
    }
    return pairs;
}

/// A place on a lattice, and the way from one pixel to the next.
struct Walk {
    float x, y, stepX, stepY;

    /// `matrix` and `begin`: from texture coordinates to points of the lattice.
    Walk(glm::dmat2 const& matrix, glm::dvec2 const& begin, glm::dvec2 const& uv, int width) {
        glm::dvec2 const at = matrix * uv + begin;
        // The lattice repeats; beyond 0 a cell is found by truncation.
        auto const wrap = [](double place) {
            return static_cast<float>(place - std::floor(place / kNoiseSize) * kNoiseSize + kNoiseSize);
        };
        x = wrap(at.x);
        y = wrap(at.y);
        stepX = static_cast<float>(matrix[0][0] / width);
        stepY = static_cast<float>(matrix[0][1] / width);
    }
};

struct GrainJob {
    Samples from, to;
    GrainLayout layout;
    float gain;
    std::uint32_t const* noise;

    /// Adds the lattice's numbers to `sum`.
    [[gnu::always_inline]] static void AddLattice(Walk const& by, std::uint32_t const* table, int count,
                                                  float* __restrict sum) {
        constexpr int kMask = kNoiseSize - 1;
        constexpr int kRow = std::bit_width(kNoiseSize) - 1;
        constexpr float kScale = 4.0F / 65535.0F;
        Walk const walk = by;
        for (int i = 0; i < count; ++i) {
            float const x = walk.x + walk.stepX * static_cast<float>(i);
            float const y = walk.y + walk.stepY * static_cast<float>(i);
            auto const cellX = static_cast<std::int32_t>(x);
            auto const cellY = static_cast<std::int32_t>(y);
            float const linearX = x - static_cast<float>(cellX);
            float const linearY = y - static_cast<float>(cellY);
            float const shareX = linearX * linearX * (3.0F - 2.0F * linearX);
            float const shareY = linearY * linearY * (3.0F - 2.0F * linearY);
            std::uint32_t const lower = table[((cellY & kMask) << kRow) | (cellX & kMask)];
            std::uint32_t const upper = table[(((cellY + 1) & kMask) << kRow) | (cellX & kMask)];
            auto const number = [](std::uint32_t pair) __attribute__((always_inline)) {
                return static_cast<float>(static_cast<std::int32_t>(pair));
            };
            float const lowerLeft = number(lower & 0xFFFFU);
            float const upperLeft = number(upper & 0xFFFFU);
            float const low = lowerLeft + (number(lower >> 16U) - lowerLeft) * shareX;
            float const high = upperLeft + (number(upper >> 16U) - upperLeft) * shareX;
            float const normX = shareX * shareX + (1.0F - shareX) * (1.0F - shareX);
            float const normY = shareY * shareY + (1.0F - shareY) * (1.0F - shareY);
            sum[i] += ((low + (high - low) * shareY) * kScale - 2.0F) * InverseRoot(normX * normY);
        }
    }

    [[gnu::always_inline]] static void Add(std::uint32_t const* pixels, float const* grain, float by, int count,
                                           std::uint32_t* __restrict out) {
        constexpr float kUnit = 1.0F / 255.0F;
        for (int i = 0; i < count; ++i) {
            float const tone = LumaOf(pixels[i]) * kUnit;
            float const variance = std::fabs(tone * (1.0F - tone));
            out[i] = AddGrey(pixels[i], variance * InverseRoot(variance) * grain[i] * by);
        }
    }

    [[gnu::always_inline]] void DrawRows(int first, int last) const {
        std::array<float, kTile> sum;
        for (int left = 0; left < from.width; left += kTile) {
            int const count = std::min(kTile, from.width - left);
            for (int y = first; y < last; ++y) {
                glm::dvec2 const uv((left + 0.5) / from.width, (y + 0.5) / from.height);
                sum.fill(0.0F);
                AddLattice(Walk(layout.first, {layout.begin.x, layout.begin.y}, uv, from.width), noise, count,
                           sum.data());
                AddLattice(Walk(layout.second, {layout.begin.z, layout.begin.w}, uv, from.width), noise, count,
                           sum.data());
                Add(reinterpret_cast<std::uint32_t const*>(from.Row(y)) + left, sum.data(), gain, count,
                    reinterpret_cast<std::uint32_t*>(to.Row(y)) + left);
            }
        }
    }
};

}  // namespace

void AddGrainOnProcessor(Samples const& from, Samples const& to, GrainLayout const& layout, double strength,
                         Processor& processor) {
    static std::vector<std::uint32_t> const kNoise = PairUp(MakeGreyNoise());
    constexpr double kWhiteSample = 255.0;
    GrainJob const job{from, to, layout, static_cast<float>(layout.gain * strength * kWhiteSample), kNoise.data()};
    DrawStrips(job, from.height, processor);
}

}  // namespace Kaltor::Ogl
