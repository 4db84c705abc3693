// Filters on the processor's threads, against sums in double precision and against what a GPU draws.

#include <atomic>
#include <random>
#include <stdexcept>

#include "Ogl/Processor.h"
#include "Proc/Effects/EffectsOgl/Effects/ProcessorBlur.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using Bytes = std::vector<std::uint8_t>;

Ogl::Samples ToSamples(Bytes& bytes, int width, int height, int channels) {
    return {bytes.data(), std::ptrdiff_t{width} * channels, width, height, channels};
}

/// Noise, with a white square and a black one, whose edges show what a slightly wrong kernel does.
Bytes MakeSamples(int width, int height, int channels) {
    Bytes bytes;
    std::minstd_rand random(7);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            bool const isSquare = y > height / 2 && x % 32 < 20;
            for (int c = 0; c < channels; ++c) {
                bytes.push_back(static_cast<std::uint8_t>(isSquare ? (x % 64 < 32 ? 255 : 0) : random() >> 8U));
            }
        }
    }
    return bytes;
}

/// The sum along one axis; `count` samples lie `step` apart, clamped at both ends.
void SumAlong(Ogl::BlurKernel const& kernel, std::vector<double>& picture, std::size_t first, int count, int step) {
    std::vector<double> line;
    for (int i = 0; i < count; ++i) {
        line.push_back(picture[first + static_cast<std::size_t>(i * step)]);
    }
    for (int i = 0; i < count; ++i) {
        double sum = 0.0;
        for (int k = -kernel.size; k <= kernel.size; ++k) {
            sum += line[static_cast<std::size_t>(std::clamp(i + 2 * k, 0, count - 1))] * kernel.norm *
                   std::exp(static_cast<double>(kernel.sigma) * k * k);
        }
        picture[first + static_cast<std::size_t>(i * step)] = sum;
    }
}

TEST(ProcessorTest, BlursAsTheSumDoesAtAnyRadiusAndAlwaysTheSame) {
    Ogl::Processor processor;
    std::vector<double> scales;
    for (int size = 1; size <= 24; ++size) {
        scales.push_back((size + 0.5) / 131.0);  // both ways, and all numbers of taps that are summed at once
    }
    for (double const scale : {0.3, 0.5, 1.0}) {
        scales.push_back(scale);
    }
    for (auto const& [width, height, channels] :
         {std::tuple{131, 90, 4}, {75, 131, 1}, {131, 1, 4}, {1, 131, 4}, {3, 131, 1}}) {
        Bytes before = MakeSamples(width, height, channels);
        for (double const scale : scales) {
            Ogl::BlurKernel const kernel(static_cast<unsigned>(width), static_cast<unsigned>(height), scale);
            std::vector<double> expected(before.begin(), before.end());
            for (int y = 0; y < height; ++y) {
                for (int c = 0; c < channels; ++c) {
                    SumAlong(kernel, expected, static_cast<std::size_t>(y * width * channels + c), width, channels);
                }
            }
            for (int x = 0; x < width * channels; ++x) {
                SumAlong(kernel, expected, static_cast<std::size_t>(x), height, width * channels);
            }
            Bytes after(before.size());
            Ogl::BlurOnProcessor(ToSamples(before, width, height, channels), ToSamples(after, width, height, channels),
                                 kernel, processor);
            double worst = 0.0;
            for (std::size_t i = 0; i < after.size(); ++i) {
                worst = std::max(worst, std::abs(after[i] - expected[i]));
            }
            // Half of it is rounding; the rest is what the fitted weights of many taps and 16 bits leave.
            EXPECT_LT(worst, 1.0) << width << "x" << height << ", " << channels << " channels, size " << kernel.size;
            Bytes again(before.size());
            Ogl::BlurOnProcessor(ToSamples(before, width, height, channels), ToSamples(again, width, height, channels),
                                 kernel, processor);
            EXPECT_EQ(after, again) << width << "x" << height << ", size " << kernel.size;
        }
    }
}

TEST(ProcessorTest, DoesEachPieceOfWorkOnceAndPassesExceptionsOn) {
    Ogl::Processor processor;
    for (std::size_t const count : {0U, 1U, 2U, 1000U}) {
        std::vector<std::atomic<int>> runs(count);
        processor.ForEach(count, [&runs](std::size_t i) { ++runs[i]; });
        EXPECT_TRUE(std::all_of(runs.begin(), runs.end(), [](int n) { return n == 1; })) << count;
    }
    auto const fail = [](std::size_t i) {
        if (i == 3) {
            throw std::range_error("the third");
        }
    };
    EXPECT_THROW(processor.ForEach(1000, fail), std::range_error);
    EXPECT_NO_THROW(processor.ForEach(1000, [](std::size_t) {})) << "what failed before is forgotten";
}

using ProcessorEffectsTest = GlTest;

/// Whether Mesa draws on the processor, also through virgl, as where the processor's threads are used. Other drivers round
/// means that lie halfway another way, and lines magnify that.
bool IsDrawnByMesa() {
    Ogl::GlInfo const info = Ogl::OglManager::GetInstance().GetInfo();
    return info.isSoftware || info.renderer.find("virgl") != std::string::npos;
}

TEST_F(ProcessorEffectsTest, DrawWhatAGpuDraws) {
    struct Case {
        char const* settings;
        double tolerance;
    };
    // Whole pixels are picked; grain is rounded, after a table of 16 bits; a step of the blurred copy is multiplied.
    constexpr double kExactly = 0.5 / 255.0;
    constexpr double kGrain = 1.5 / 255.0;
    constexpr double kSharp = 3.5 / 255.0;
    // A step of the ink's table.
    constexpr double kLines = 1.5 / 255.0;
    // Linear filtering on software GL weights with 8 bits; the processor has more.
    for (auto const& [settings, tolerance] :
         {Case{"EffectZoom zoom=1.37 x=0.3 y=0.8", kFiltered},
          {"EffectZoom zoom=5", kFiltered},
          {"EffectZoom zoom=0.83 fill=color", kFiltered},
          {"EffectErosion size=0.02", kExactly},
          {"EffectErosion mode=dilation size=0.05", kExactly},
          {"EffectErosion shape=disc size=0.05", kExactly},
          {"EffectErosion shape=disc mode=dilation size=0.03 channels=1", kExactly},
          {"EffectErosion size=0.04 channels=1", kExactly},
          {"EffectAddNoize strength=1", kGrain},
          {"EffectAddNoize strength=0.4 size=0.02", kGrain},
          {"EffectSharpen radius=0.03 strength=2", kSharp},
          {"EffectSharpen radius=0.05 strength=2 threshold=0.1", kSharp},
          {"EffectFindEdges smoothing=0.02 strength=0.3", kLines},
          {"EffectFindEdges smoothing=0 strength=2 threshold=0.3 inverted=0", kLines}}) {
        for (auto const& [width, height] : {std::pair{101U, 60U}, {37U, 90U}, {1U, 5U}, {64U, 1U}}) {
            for (bool const isFlat : {false, true}) {
                Rgba const orange{1.0, 128.0 / 255.0, 0.0, 1.0};
                Picture const input = isFlat ? Picture::Flat(width, height, orange) : Picture::Noise(width, height);
                Picture drawn;
                if (std::string_view(settings).starts_with("EffectFindEdges") && !IsDrawnByMesa()) {
                    continue;
                }
                {
                    ScopedStrategy const scoped(kGpuStrategy);
                    drawn = Run(settings, input);
                }
                ScopedStrategy const scoped(kSoftwareStrategy);
                EXPECT_TRUE(IsNear(Run(settings, input), drawn, tolerance))
                    << settings << " " << width << "x" << height;
            }
        }
    }
}

// Means over 2, 4, 4.8 and 38.4 pixels; most of them often lie halfway between two steps: lines magnify a step.
TEST_F(ProcessorEffectsTest, LinesAreThoseOfAGpuWhereMeansAreHalves) {
    if (!IsDrawnByMesa()) {
        GTEST_SKIP() << "another driver rounds another way";
    }
    for (char const* const settings :
         {"smoothing=0", "smoothing=0.00208333333333333333", "smoothing=0.0025", "smoothing=0.02"}) {
        Picture const input = Picture::Noise(1920, 24);
        std::string const effect = fmt::format("EffectFindEdges {}", settings);
        Picture drawn;
        {
            ScopedStrategy const scoped(kGpuStrategy);
            drawn = Run(effect, input);
        }
        ScopedStrategy const scoped(kSoftwareStrategy);
        EXPECT_TRUE(IsNear(Run(effect, input), drawn, 1.5 / 255.0)) << settings;
    }
}

}  // namespace
}  // namespace Kaltor::Tests
