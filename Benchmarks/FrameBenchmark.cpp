// What frames, transfers, passes and effects cost, in milliseconds and as a ratio to the plain copy ("copies"),
// measured in turn with it, since ratios vary less between runs than times. `kaltor bench` reports the effects alone.

#include <string>
#include <utility>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "Host/EffectRegistry.h"
#include "Host/Plugin.h"
#include "Measure/EffectRun.h"
#include "Measure/PairedTimer.h"
#include "Ogl/DataVideoOGL.h"
#include "Ogl/OglManager.h"
#include "Ogl/ShaderStorage.h"
#include "Proc/Settings/SettingsBlendTransitions.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsServices.h"

namespace {

using namespace Kaltor;
using boost::intrusive_ptr;
using Conf::FrameInfo;
using Measure::EffectRun;
using Measure::FramePtr;
using Measure::NoiseFrames;
using Ogl::DataVideoOGL;
using Ogl::ShaderStorage;

Ogl::OglManager& Manager() {
    return Ogl::OglManager::GetInstance();
}

Measure::FactoryPtr const& Factory() {
    static Measure::FactoryPtr const factory = Host::MakeRegistry()->GetFactory();
    return factory;
}

/// Times batches against the reference, round by round.
void TimeBatches(benchmark::State& state, FrameInfo const& size, Measure::Batch const& batch) {
    constexpr double kBatchSeconds = 0.03;
    Measure::ReferenceCopy reference(size);
    Measure::PairedTimer timer(reference, batch, EffectRun::kPositions, kBatchSeconds);
    for (auto _ : state) {
        state.SetIterationTime(timer.Round());
    }
    state.counters["copies"] = timer.GetTiming().copies;
}

/// The same for a function that draws one frame.
template <typename Action>
void TimeFrames(benchmark::State& state, FrameInfo const& size, Action action) {
    TimeBatches(state, size, [&action](int count) {
        for (int i = 0; i < count; ++i) {
            action();
        }
    });
}

void Upload(benchmark::State& state, FrameInfo size) {
    PixFmt const format = Ogl::GetSupportedPxlFmt().front();
    FramePtr const cpu = Measure::MakeNoise(format, size, 1);
    TimeFrames(state, size, [&] {
        Manager().Invoke([&](ShaderStorage const& storage) {
            Ogl::Frame frame;
            frame.Allocate(format, size.width, size.height);
            frame.Upload(cpu, storage);
        });
    });
}

/// The uploader's conversion on the processor, from 4:2:0; does nothing where the GPU takes such frames unconverted.
void Convert(benchmark::State& state, FrameInfo size) {
    auto const converter =
        Factory()->CreateOneInputEffect(Proc::SettingsColorspaceConverter::CLASS_ID, Proc::ImplNames::DEFAULT);
    converter->SetSettings(Proc::SettingsColorspaceConverter(Ogl::GetSupportedPxlFmt(), true));
    FramePtr const source = Measure::MakeNoise(PixFmt::Yuv420p, size, 1);
    TimeFrames(state, size, [&] {
        FramePtr frame = source;
        converter->Process(frame);
    });
}

void Copy(benchmark::State& state, FrameInfo size) {
    FramePtr const source = Measure::ToGpu(*Factory(), Measure::MakeNoise(kOpaqueFormat, size, 1));
    Ogl::Frame last;  // kept alive: the driver may skip drawing that is overwritten
    TimeFrames(state, size, [&] {
        Manager().Invoke([&](ShaderStorage const& storage) {
            Ogl::Frame target;
            target.Allocate(kOpaqueFormat, size.width, size.height);
            storage.FBO().Attach(target.GetFirstTexture());
            dynamic_cast<DataVideoOGL&>(*source).FrameData().Draw(storage.Quad(), storage);
            last = std::move(target);
        });
    });
}

void Download(benchmark::State& state, FrameInfo size, Proc::SettingsFrameDownloader::Mode mode) {
    Proc::SettingsFrameDownloader settings;
    settings.downloadMode = mode;
    NoiseFrames const frames(Factory(), size);
    EffectRun run(Factory(), settings, false, frames);
    TimeBatches(state, size, [&run](int count) { run.Draw(count); });
}

/// One effect or transition on GPU frames; wrapper and tasks included.
void Draw(benchmark::State& state, FrameInfo size, Proc::Settings const& settings, int inputs) {
    NoiseFrames const frames(Factory(), size);
    EffectRun run(Factory(), settings, inputs == 2, frames);
    TimeBatches(state, size, [&run](int count) { run.Draw(count); });
}

/// 4:2:0 frames in, a 4:2:0 frame out, one at a time.
void EndToEnd(benchmark::State& state, FrameInfo size) {
    NoiseFrames const frames(Factory(), size);
    EffectRun run(Factory(), Proc::SettingsTransitionCrossfade(), true, frames);
    TimeBatches(state, size, [&run](int count) { run.DrawEndToEnd(count); });
}

/// What a frame costs besides its drawing (wrapper, task, thread change, storage), measured on a picture of one pixel.
void Overhead(benchmark::State& state) {
    NoiseFrames const frames(Factory(), {1, 1, 1, 1});
    auto const transition =
        Factory()->CreateTwoInputEffect(Proc::SettingsTransitionCrossfade::CLASS_ID, Proc::ImplNames::OGL);
    for (auto _ : state) {
        FramePtr frame = frames.gpu[0];
        transition->Process(frame, frames.gpu[1]);
        dynamic_cast<DataVideoOGL&>(*frame).Execute();
    }
}

/// Rounds for each row. Fixed, since the reference's time between them does not count towards the row's.
constexpr int kIterations = 12;

template <typename Function, typename... Arguments>
void Register(std::string const& name, Function function, FrameInfo size, Arguments... arguments) {
    benchmark::RegisterBenchmark(fmt::format("{}/{}x{}", name, size.width, size.height).c_str(),
                                 [=](benchmark::State& state) { function(state, size, arguments...); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(kIterations);
}

void RegisterAll() {
    for (FrameInfo const& size : {FrameInfo{1920, 1080, 1, 1}, FrameInfo{3840, 2160, 1, 1}}) {
        Register("Upload", &Upload, size);
        Register("Convert", &Convert, size);
        Register("Copy", &Copy, size);
        Register("DownloadNative", &Download, size, Proc::SettingsFrameDownloader::Mode::Native);
        Register("DownloadYuv420p", &Download, size, Proc::SettingsFrameDownloader::Mode::Yuv420p);
        Register("EndToEndCrossfade", &EndToEnd, size);
        Register(
            "Blur_0.02",
            [](benchmark::State& state, FrameInfo at) {
                Proc::SettingsEffectBlurGaussian settings;
                settings.SetScale(0.02);
                Draw(state, at, settings, 1);
            },
            size);
        Register(
            "Crossfade",
            [](benchmark::State& state, FrameInfo at) { Draw(state, at, Proc::SettingsTransitionCrossfade(), 2); },
            size);
    }
    benchmark::RegisterBenchmark("Overhead", &Overhead)->Unit(benchmark::kMicrosecond);
    // Every registered effect and transition with its defaults.
    std::unique_ptr<Host::EffectRegistry> const registry = Host::MakeRegistry();
    for (Host::RegisteredEffect const& effect : registry->List()) {
        if (effect.implName == Proc::ImplNames::OGL) {
            Register(
                effect.classId,
                [settings = effect.settings, inputs = effect.inputs](benchmark::State& state, FrameInfo size) {
                    Draw(state, size, *settings, inputs);
                },
                FrameInfo{1920, 1080, 1, 1});
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    try {
        Ogl::GlInfo const& info = Manager().GetInfo();
        fmt::print(stderr, "{}, {} ({})\n", info.renderer, info.version, info.platform);
        RegisterAll();
        benchmark::RunSpecifiedBenchmarks();
    } catch (std::exception const& error) {
        fmt::print(stderr, "kaltor-benchmark: {}\n", error.what());
        return 1;
    }
    benchmark::Shutdown();
    return 0;
}
