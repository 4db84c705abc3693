// What frames, passes and effects cost, in milliseconds and as a ratio to one plain full-frame pass from an RGBA8
// texture to an RGBA8 texture with linear filter ("copy"), measured in turn with it: machines are noisy, ratios less so.

#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "Host/EffectRegistry.h"
#include "Host/Plugin.h"
#include "Ogl/DataVideoOGL.h"
#include "Ogl/OglManager.h"
#include "Ogl/ShaderStorage.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Settings/SettingsBlendTransitions.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsServices.h"

namespace {

using namespace Kaltor;
using boost::intrusive_ptr;
using Ogl::DataVideoOGL;
using Ogl::ShaderStorage;
using Proc::IDataVideo;

struct Size {
    unsigned width;
    unsigned height;
};

Ogl::OglManager& Manager() { return Ogl::OglManager::GetInstance(); }

intrusive_ptr<Proc::IEffectFactory const> const& Factory() {
    static intrusive_ptr<Proc::IEffectFactory const> const factory = Host::MakeRegistry()->GetFactory();
    return factory;
}

/// A picture that nothing can compress or skip.
intrusive_ptr<Proc::DataVideoFF> MakeNoise(PixFmt format, Size size, unsigned seed) {
    intrusive_ptr<Proc::DataVideoFF> frame = Proc::DataVideoFF::Create(format, {size.width, size.height, 1, 1});
    AVFrame& samples = frame->GetWritableFrame();
    std::minstd_rand random(seed);
    PixFmtDescription const& description = PixFmtDescription::Find(format);
    for (int plane = 0; plane < description.planes; ++plane) {
        bool const isChroma = plane != 0;
        unsigned const rows = (size.height + (isChroma ? 1U : 0U)) >> (isChroma ? description.chromaYLog2 : 0U);
        std::ptrdiff_t const stride = samples.linesize[plane];
        for (unsigned y = 0; y < rows; ++y) {
            std::uint8_t* const row = samples.data[plane] + stride * static_cast<std::ptrdiff_t>(y);
            for (std::ptrdiff_t x = 0; x < std::abs(stride); ++x) {
                row[x] = static_cast<std::uint8_t>(random() >> 8U);
            }
        }
    }
    return frame;
}

intrusive_ptr<IDataVideo> ToGpu(intrusive_ptr<IDataVideo> frame) {
    Factory()->CreateOneInputEffect(Proc::SettingsFrameUploader::CLASS_ID, Proc::ImplNames::OGL)->Process(frame);
    dynamic_cast<DataVideoOGL&>(*frame).Execute();
    return frame;
}

void Finish() {
    Manager().Invoke([](ShaderStorage const&) { glFinish(); });
}

/// The pass that everything is compared with.
class ReferenceCopy {
public:
    explicit ReferenceCopy(Size size) {
        Manager().Invoke([&](ShaderStorage const& storage) {
            for (Ogl::Texture& texture : textures) {
                texture = Ogl::Texture({size.width, size.height, Ogl::TexelFormat::Rgba8, false});
                storage.FBO().Attach(texture);
            }
        });
    }

    void Run(int times) {
        Manager().Invoke([&](ShaderStorage const& storage) {
            for (int i = 0; i < times; ++i) {
                // Targets in turn, or the driver may leave out what is overdrawn.
                storage.Copy().Use();
                storage.Copy().Uniform("tex", 0);
                storage.FBO().Attach(textures[1 + i % 2]);
                textures[0].Use(0);
                storage.Quad().Activate();
                storage.Quad().Draw();
            }
            glFinish();
        });
    }

private:
    Ogl::Texture textures[3];
};

/// Times `action` (one frame) against the reference, batch by batch.
template <typename Action>
void Measure(benchmark::State& state, Size size, Action action) {
    using Clock = std::chrono::steady_clock;
    constexpr int kBatch = 4;
    ReferenceCopy reference(size);
    action(0);
    reference.Run(1);
    Finish();
    double actionSeconds = 0.0;
    double copySeconds = 0.0;
    for (auto _ : state) {
        Clock::time_point const start = Clock::now();
        for (int i = 0; i < kBatch; ++i) {
            action(i);
        }
        Finish();
        Clock::time_point const middle = Clock::now();
        reference.Run(kBatch);
        Clock::time_point const end = Clock::now();
        double const seconds = std::chrono::duration<double>(middle - start).count() / kBatch;
        state.SetIterationTime(seconds);
        actionSeconds += seconds;
        copySeconds += std::chrono::duration<double>(end - middle).count() / kBatch;
    }
    state.counters["copies"] = actionSeconds / copySeconds;
}

void Upload(benchmark::State& state, Size size) {
    PixFmt const format = Ogl::GetSupportedPxlFmt().front();
    intrusive_ptr<IDataVideo> const cpu = MakeNoise(format, size, 1);
    Measure(state, size, [&](int) {
        Manager().Invoke([&](ShaderStorage const& storage) {
            Ogl::Frame frame;
            frame.Allocate(format, size.width, size.height);
            frame.Upload(cpu, storage);
        });
    });
}

/// The uploader's conversion on the processor, from 4:2:0; nothing where the GPU takes such frames as they are.
void Convert(benchmark::State& state, Size size) {
    auto const converter =
        Factory()->CreateOneInputEffect(Proc::SettingsColorspaceConverter::CLASS_ID, Proc::ImplNames::DEFAULT);
    converter->SetSettings(Proc::SettingsColorspaceConverter(Ogl::GetSupportedPxlFmt(), true));
    intrusive_ptr<IDataVideo> const source = MakeNoise(PixFmt::Yuv420p, size, 1);
    Measure(state, size, [&](int) {
        intrusive_ptr<IDataVideo> frame = source;
        converter->Process(frame);
    });
}

void Copy(benchmark::State& state, Size size) {
    intrusive_ptr<IDataVideo> const source = ToGpu(MakeNoise(PixFmt::Rgb24, size, 1));
    Measure(state, size, [&](int) {
        Manager().Invoke([&](ShaderStorage const& storage) {
            Ogl::Frame target;
            target.Allocate(kOpaqueFormat, size.width, size.height);
            storage.FBO().Attach(target.GetFirstTexture());
            dynamic_cast<DataVideoOGL&>(*source).FrameData().Draw(storage.Quad(), storage);
        });
    });
}

void Download(benchmark::State& state, Size size, int mode) {
    Proc::SettingsFrameDownloader settings;
    settings.SetDownloadMode(mode);
    auto const downloader = Factory()->CreateOneInputEffect(settings.GetClassId(), Proc::ImplNames::OGL);
    downloader->SetSettings(settings);
    intrusive_ptr<IDataVideo> const source = ToGpu(MakeNoise(PixFmt::Rgb24, size, 1));
    Measure(state, size, [&](int) {
        intrusive_ptr<IDataVideo> frame = source;
        downloader->Process(frame);
    });
}

double AtHalf(long long const&, long long const&, long long const&) { return 0.5; }

Proc::TimeToProgress Halfway() {
    Proc::TimeToProgress progress;
    progress.mapping = &AtHalf;
    return progress;
}

/// One effect or transition on GPU frames; wrapper, tasks and thread change included.
void Draw(benchmark::State& state, Size size, Proc::Settings const& settings, int inputs) {
    intrusive_ptr<IDataVideo> const first = ToGpu(MakeNoise(PixFmt::Rgb24, size, 1));
    intrusive_ptr<IDataVideo> const second = ToGpu(MakeNoise(PixFmt::Rgb24, size, 2));
    first->SetTimestamp(500'000);
    auto const prepare = [&](auto const& effect) {
        effect->SetSettings(settings);
        effect->SetProgress(Halfway());
    };
    auto const execute = [](intrusive_ptr<IDataVideo> const& frame) {
        if (auto* const gpu = dynamic_cast<DataVideoOGL*>(frame.get())) {
            gpu->Execute();
        }
    };
    if (inputs == 1) {
        auto const effect = Factory()->CreateOneInputEffect(settings.GetClassId(), Proc::ImplNames::OGL);
        prepare(effect);
        Measure(state, size, [&](int) {
            intrusive_ptr<IDataVideo> frame = first;
            effect->Process(frame);
            execute(frame);
        });
    } else {
        auto const transition = Factory()->CreateTwoInputEffect(settings.GetClassId(), Proc::ImplNames::OGL);
        prepare(transition);
        Measure(state, size, [&](int) {
            intrusive_ptr<IDataVideo> frame = first;
            transition->Process(frame, second);
            execute(frame);
        });
    }
}

/// 4:2:0 frames in, a 4:2:0 frame out, one at a time.
void EndToEnd(benchmark::State& state, Size size) {
    auto const transition = Factory()->CreateTwoInputEffect(Proc::SettingsTransitionCrossfade::CLASS_ID,
                                                            Proc::ImplNames::OGL);
    transition->SetProgress(Halfway());
    Proc::SettingsFrameDownloader settings;
    settings.SetDownloadMode(1);
    auto const downloader = Factory()->CreateOneInputEffect(settings.GetClassId(), Proc::ImplNames::OGL);
    downloader->SetSettings(settings);
    intrusive_ptr<IDataVideo> const first = MakeNoise(PixFmt::Yuv420p, size, 1);
    intrusive_ptr<IDataVideo> const second = MakeNoise(PixFmt::Yuv420p, size, 2);
    Measure(state, size, [&](int) {
        intrusive_ptr<IDataVideo> frame = first;
        transition->Process(frame, second);
        downloader->Process(frame);
    });
}

/// What a frame costs beside its drawing: wrapper, task, thread change, storage, on a picture of one pixel.
void Overhead(benchmark::State& state) {
    auto const transition = Factory()->CreateTwoInputEffect(Proc::SettingsTransitionCrossfade::CLASS_ID,
                                                            Proc::ImplNames::OGL);
    transition->SetProgress(Halfway());
    intrusive_ptr<IDataVideo> const first = ToGpu(MakeNoise(PixFmt::Rgb24, {1, 1}, 1));
    intrusive_ptr<IDataVideo> const second = ToGpu(MakeNoise(PixFmt::Rgb24, {1, 1}, 2));
    for (auto _ : state) {
        intrusive_ptr<IDataVideo> frame = first;
        transition->Process(frame, second);
        dynamic_cast<DataVideoOGL&>(*frame).Execute();
    }
}

/// Batches a row takes. Fixed, since the time of the reference between them does not count as the row's.
constexpr int kIterations = 12;

template <typename Function, typename... Arguments>
void Register(std::string const& name, Function function, Size size, Arguments... arguments) {
    benchmark::RegisterBenchmark(fmt::format("{}/{}x{}", name, size.width, size.height).c_str(),
                                 [=](benchmark::State& state) { function(state, size, arguments...); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(kIterations);
}

void RegisterAll() {
    for (Size const size : {Size{1920, 1080}, Size{3840, 2160}}) {
        Register("Upload", &Upload, size);
        Register("Convert", &Convert, size);
        Register("Copy", &Copy, size);
        Register("DownloadNative", &Download, size, 0);
        Register("DownloadYuv420p", &Download, size, 1);
        Register("EndToEndCrossfade", &EndToEnd, size);
        Register(
            "Blur_0.02", [](benchmark::State& state, Size at) {
                Proc::SettingsEffectBlurGaussian settings;
                settings.SetScale(0.02);
                Draw(state, at, settings, 1);
            },
            size);
        Register(
            "Crossfade",
            [](benchmark::State& state, Size at) { Draw(state, at, Proc::SettingsTransitionCrossfade(), 2); }, size);
    }
    benchmark::RegisterBenchmark("Overhead", &Overhead)->Unit(benchmark::kMicrosecond);
    // Every registered effect and transition with its defaults.
    std::unique_ptr<Host::EffectRegistry> const registry = Host::MakeRegistry();
    for (Host::RegisteredEffect const& effect : registry->List()) {
        if (effect.implName == Proc::ImplNames::OGL) {
            Register(
                effect.classId,
                [classId = effect.classId, inputs = effect.inputs](benchmark::State& state, Size size) {
                    Draw(state, size, *Proc::MakeSettings(classId), inputs);
                },
                Size{1920, 1080});
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
