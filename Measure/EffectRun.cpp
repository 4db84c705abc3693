#include "Measure/EffectRun.h"

#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

#include "Proc/Data/HalfConverter.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Measure {

using boost::intrusive_ptr;
using Ogl::DataVideoOGL;
using Proc::ImplNames;

namespace {

constexpr ColorSpec kFull{ColorMatrix::Bt709, ColorRange::Full};
constexpr ColorSpec kLimited{ColorMatrix::Bt709, ColorRange::Limited};

}  // namespace

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

namespace {

/// Noise of 16-bit float within 0 to 1.
intrusive_ptr<Proc::DataVideoFF> MakeFloatNoise(Conf::FrameInfo const& size, unsigned seed) {
    intrusive_ptr<Proc::DataVideoFF> const bytes = MakeNoise(PixFmt::Rgb24, size, seed);
    intrusive_ptr<Proc::DataVideoFF> noise = Proc::DataVideoFF::Create(PixFmt::RgbF16, size);
    Proc::HalfConverter().ToHalf(bytes->GetFrame(), kFull, noise->GetWritableFrame());
    return noise;
}

/// Noise of 10 bits.
intrusive_ptr<Proc::DataVideoFF> MakeTenBitNoise(Conf::FrameInfo const& size, unsigned seed) {
    intrusive_ptr<Proc::DataVideoFF> const floats = MakeFloatNoise(size, seed);
    intrusive_ptr<Proc::DataVideoFF> noise = Proc::DataVideoFF::Create(PixFmt::Yuv420p10, size);
    Proc::HalfConverter().FromHalf(floats->GetFrame(), noise->GetWritableFrame(), kLimited);
    return noise;
}

}  // namespace

FramePtr ToGpu(Proc::IEffectFactory const& factory, FramePtr frame) {
    factory.CreateOneInputEffect(Proc::SettingsFrameUploader::CLASS_ID, ImplNames::OGL)->Process(frame);
    dynamic_cast<DataVideoOGL&>(*frame).Execute();
    return frame;
}

NoiseFrames::NoiseFrames(FactoryPtr const& factory, Conf::FrameInfo const& frameSize, Depth frameDepth)
    : size(frameSize), depth(frameDepth) {
    for (unsigned i = 0; i < 2; ++i) {
        bool const isDeep = depth == Depth::Float;
        planar[i] = isDeep ? MakeTenBitNoise(size, 1 + i) : MakeNoise(PixFmt::Yuv420p, size, 1 + i);
        gpu[i] = ToGpu(*factory, isDeep ? MakeFloatNoise(size, 1 + i) : MakeNoise(kOpaqueFormat, size, 1 + i));
    }
}

EffectRun::EffectRun(FactoryPtr const& factory, Proc::Settings const& settings, bool isTwoInput,
                     NoiseFrames const& noise)
    : frames(noise), isUploader(settings.GetClassId() == Proc::SettingsFrameUploader::CLASS_ID), uploads(noise.planar) {
    if (isUploader && noise.depth == NoiseFrames::Depth::Float) {
        uploads = {MakeFloatNoise(noise.size, 1), MakeFloatNoise(noise.size, 2)};  // of what it takes
    }
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
    planar.downloadMode = frames.depth == NoiseFrames::Depth::Float ? Proc::SettingsFrameDownloader::Mode::Native
                                                                    : Proc::SettingsFrameDownloader::Mode::Yuv420p;
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
            drawn.push_back(Process(isUploader ? uploads : frames.gpu, i));
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

void EffectRun::DrawDeepEndToEnd(int count) {
    Proc::HalfConverter halves;
    auto const toHalf = [&](FramePtr const& frame) -> FramePtr {
        intrusive_ptr<Proc::DataVideoFF> half = Proc::DataVideoFF::Create(PixFmt::RgbF16, frames.size);
        halves.ToHalf(dynamic_cast<Proc::DataVideoFF&>(*frame).GetFrame(), kLimited, half->GetWritableFrame());
        return half;
    };
    for (int i = 0; i < count; ++i) {
        FramePtr frame = Process({toHalf(frames.planar[0]), two ? toHalf(frames.planar[1]) : nullptr}, i);
        downloader->Process(frame);
        AVFrame const& half = dynamic_cast<Proc::DataVideoFF&>(*frame).GetFrame();
        Proc::AvFramePtr const planar = Proc::AllocateAvFrame(AV_PIX_FMT_YUV420P10, half.width, half.height);
        halves.FromHalf(half, *planar, kLimited);
    }
}

void EffectRun::DrawEndToEnd(int count) {
    if (frames.depth == NoiseFrames::Depth::Float) {
        DrawDeepEndToEnd(count);
        return;
    }
    for (int i = 0; i < count; ++i) {
        FramePtr frame = Process(frames.planar, i);
        downloader->Process(frame);
    }
}

}  // namespace Kaltor::Measure
