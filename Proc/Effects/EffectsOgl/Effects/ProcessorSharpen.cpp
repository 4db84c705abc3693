#include "Proc/Effects/EffectsOgl/Effects/ProcessorSharpen.h"

#include <array>
#include <utility>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

struct SharpenJob {
    Samples from, soft, to;
    float strength, threshold;  ///< of samples

    [[gnu::always_inline]] void ReadLuma(int y, float* __restrict luma) const {
        auto const* const row = reinterpret_cast<std::uint32_t const*>(from.Row(std::clamp(y, 0, from.height - 1)));
        for (int x = 0; x < from.width; ++x) {
            luma[x] = LumaOf(row[x]);
        }
        luma[-1] = luma[0];
        luma[from.width] = luma[from.width - 1];
    }

    [[gnu::always_inline]] static void Sharpen(std::uint32_t const* pixels, std::uint32_t const* mean,
                                               float const* below, float const* here, float const* above, int width,
                                               float by, float least, std::uint32_t* __restrict out) {
        constexpr float kMargin = 0.06F * 255.0F;
        for (int x = 0; x < width; ++x) {
            float detail = here[x] - LumaOf(mean[x]);
            detail -= std::clamp(detail, -least, least);
            float const darkest = std::min(std::min(below[x], above[x]), std::min(here[x - 1], here[x + 1]));
            float const brightest = std::max(std::max(below[x], above[x]), std::max(here[x - 1], here[x + 1]));
            float const low = std::min(darkest - here[x], 0.0F);
            float const high = std::max(brightest - here[x], 0.0F);
            float const margin = kMargin + 0.5F * (high - low);
            out[x] = AddGrey(pixels[x], std::min(std::max(detail * by, low - margin), high + margin));
        }
    }

    [[gnu::always_inline]] void DrawRows(int first, int last) const {
        std::size_t const length = static_cast<std::size_t>(from.width) + 2;
        std::vector<float> lumas(3 * length);
        std::array<float*, 3> rows{&lumas[1], &lumas[length + 1], &lumas[2 * length + 1]};
        ReadLuma(first - 1, rows[0]);
        ReadLuma(first, rows[1]);
        for (int y = first; y < last; ++y) {
            ReadLuma(y + 1, rows[2]);
            auto const* const mean = reinterpret_cast<std::uint32_t const*>(soft.Row(y));
            Sharpen(reinterpret_cast<std::uint32_t const*>(from.Row(y)), mean, rows[0], rows[1], rows[2], from.width,
                    strength, threshold, reinterpret_cast<std::uint32_t*>(to.Row(y)));
            std::rotate(rows.begin(), rows.begin() + 1, rows.end());
        }
    }
};

}  // namespace

void SharpenOnProcessor(Samples const& from, Samples const& soft, Samples const& to, double strength, double threshold,
                        Processor& processor) {
    constexpr double kWhiteSample = 255.0;
    SharpenJob const job{from, soft, to, static_cast<float>(strength), static_cast<float>(threshold * kWhiteSample)};
    DrawStrips(job, from.height, processor);
}

}  // namespace Kaltor::Ogl
