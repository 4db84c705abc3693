#include "Measure/PairedTimer.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <utility>

#include "Ogl/OglManager.h"
#include "Ogl/ShaderStorage.h"

namespace Kaltor::Measure {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// What all threads of this process have used.
double GetProcessorSeconds() {
    constexpr double kNano = 1e-9;
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * kNano;
}

double Median(std::vector<double> values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return values.size() % 2 == 1 ? *middle : (*middle + *std::max_element(values.begin(), middle)) / 2.0;
}

}  // namespace

ReferenceCopy::ReferenceCopy(Conf::FrameInfo const& size) {
    Ogl::OglManager::GetInstance().Invoke([&](Ogl::ShaderStorage const& storage) {
        for (Ogl::Texture& texture : textures) {
            texture = Ogl::Texture({size.width, size.height, Ogl::TexelFormat::Rgba8, false});
            storage.FBO().Attach(texture);
        }
    });
}

void ReferenceCopy::Draw(int times) {
    Ogl::OglManager::GetInstance().Invoke([&](Ogl::ShaderStorage const& storage) {
        storage.Copy().Use();
        storage.Copy().Uniform("tex", 0);
        for (int i = 0; i < times; ++i) {
            // Two targets in turn: the driver may skip drawing that is overwritten.
            storage.FBO().Attach(textures[1 + static_cast<std::size_t>(i % 2)]);
            textures[0].Use(0);
            storage.Quad().Activate();
            storage.Quad().Draw();
        }
    });
}

PairedTimer::PairedTimer(ReferenceCopy& reference, Batch drawFrames, int step, double batchSeconds)
    : draw(std::move(drawFrames)), copy([&reference](int count) { reference.Draw(count); }) {
    constexpr int kFewestCopies = 2;
    constexpr int kMost = 4096;
    Time(draw, step);  // compiles programs and fills pools
    Time(copy, kFewestCopies);
    auto const choose = [&](Batch const& batch, int multiple, double seconds) {
        double const steps = seconds / (Time(batch, multiple).wall * multiple);
        return multiple * static_cast<int>(std::clamp(std::round(steps), 1.0, static_cast<double>(kMost / multiple)));
    };
    drawCount = choose(draw, step, batchSeconds);
    copyCount = choose(copy, kFewestCopies, batchSeconds / 2.0);
    lastCopy = Time(copy, copyCount);
}

double PairedTimer::Round() {
    Cost const frame = Time(draw, drawCount);
    Cost const nextCopy = Time(copy, copyCount);
    frameSeconds.push_back(frame.wall);
    copySeconds.push_back(nextCopy.wall);
    ratios.push_back(2.0 * frame.wall / (lastCopy.wall + nextCopy.wall));
    processorRatios.push_back(2.0 * frame.processor / (lastCopy.processor + nextCopy.processor));
    lastCopy = nextCopy;
    return frame.wall;
}

PairedTimer::Timing PairedTimer::Run(double seconds) {
    constexpr int kFewestRounds = 3;
    Clock::time_point const start = Clock::now();
    for (int i = 0; i < kFewestRounds || SecondsSince(start) < seconds; ++i) {
        Round();
    }
    return GetTiming();
}

PairedTimer::Timing PairedTimer::GetTiming() const {
    constexpr double kMilli = 1e3;
    return {Median(frameSeconds) * kMilli, Median(copySeconds) * kMilli, Median(ratios), Median(processorRatios)};
}

PairedTimer::Cost PairedTimer::Time(Batch const& batch, int count) {
    Clock::time_point const start = Clock::now();
    double const processorStart = GetProcessorSeconds();
    batch(count);
    Ogl::OglManager::GetInstance().Invoke([](Ogl::ShaderStorage const&) { glFinish(); });
    return {SecondsSince(start) / count, (GetProcessorSeconds() - processorStart) / count};
}

}  // namespace Kaltor::Measure
