#include "Measure/EffectRun.h"

#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Measure {

using boost::intrusive_ptr;
using Ogl::DataVideoOGL;
using Proc::ImplNames;

intrusive_ptr<Proc::DataVideoFF> MakeNoise(PixFmt format, Conf::FrameInfo const& size, unsigned seed) {
    intrusive_ptr<Proc::DataVideoFF> frame = Proc::DataVideoFF::Create(format, size);
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

FramePtr ToGpu(Proc::IEffectFactory const& factory, FramePtr frame) {
    factory.CreateOneInputEffect(Proc::SettingsFrameUploader::CLASS_ID, ImplNames::OGL)->Process(frame);
    dynamic_cast<DataVideoOGL&>(*frame).Execute();
    return frame;
}

NoiseFrames::NoiseFrames(FactoryPtr const& factory, Conf::FrameInfo const& frameSize) : size(frameSize) {
    for (unsigned i = 0; i < 2; ++i) {
        planar[i] = MakeNoise(PixFmt::Yuv420p, size, 1 + i);
        gpu[i] = ToGpu(*factory, MakeNoise(kOpaqueFormat, size, 1 + i));
    }
}

EffectRun::EffectRun(FactoryPtr const& factory, Proc::Settings const& settings, bool isTwoInput,
                     NoiseFrames const& noise)
    : frames(noise), isUploader(settings.GetClassId() == Proc::SettingsFrameUploader::CLASS_ID) {
    if (isTwoInput) {
        two = factory->CreateTwoInputEffect(settings.GetClassId(), ImplNames::OGL);
        two->SetSettings(settings);
    } else {
        one = factory->CreateOneInputEffect(settings.GetClassId(), ImplNames::OGL);
        one->SetSettings(settings);
    }
    if (settings.GetClassId() == Proc::SettingsFrameDownloader::CLASS_ID) {
        uploader = factory->CreateOneInputEffect(Proc::SettingsFrameUploader::CLASS_ID, ImplNames::OGL);
    }
    Proc::SettingsFrameDownloader planar;
    planar.downloadMode = Proc::SettingsFrameDownloader::Mode::Yuv420p;
    downloader = factory->CreateOneInputEffect(planar.GetClassId(), ImplNames::OGL);
    downloader->SetSettings(planar);
}

FramePtr EffectRun::Process(std::array<FramePtr, 2> const& inputs, int number) {
    constexpr std::int64_t kSecond = 1'000'000;
    FramePtr frame = inputs[0];
    frame->SetTimestamp(kSecond * (2 * (number % kPositions) + 1) / (2 * kPositions));
    if (uploader) {
        uploader->Process(frame);
    }
    if (two) {
        two->Process(frame, inputs[1]);
    } else {
        one->Process(frame);
    }
    return frame;
}

void EffectRun::Draw(int count) {
    for (int done = 0; done < count; done += kPositions) {
        // Several frames run as one task, so that waiting for the GL thread does not count as drawing.
        intrusive_ptr<DataVideoOGL> const all = DataVideoOGL::Create(kOpaqueFormat, {1, 1, 1, 1});
        std::vector<FramePtr> drawn;
        for (int i = 0; i < kPositions && done + i < count; ++i) {
            drawn.push_back(Process(isUploader ? frames.planar : frames.gpu, i));
            if (auto* const frame = dynamic_cast<DataVideoOGL*>(drawn.back().get())) {
                all->ConcatenateTasks(frame);
            }
        }
        all->Execute();
        // The last frame stays alive. Otherwise the next one is drawn into its texture, and the driver may skip the
        // first drawing.
        last = drawn.back();
    }
}

void EffectRun::DrawEndToEnd(int count) {
    for (int i = 0; i < count; ++i) {
        FramePtr frame = Process(frames.planar, i);
        downloader->Process(frame);
    }
}

}  // namespace Kaltor::Measure
