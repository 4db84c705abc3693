// Cross-fades two files of raw yuv420p pictures the way a render does, with one frame on the GL while the one before
// is downloaded, and prints the milliseconds a frame takes. The files are read first: only the cross-fade counts.

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Host/Plugin.h"
#include "Ogl/DataVideoOGL.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Settings/SettingsBlendTransitions.h"
#include "Proc/Settings/SettingsServices.h"

namespace {

using namespace Kaltor;
using boost::intrusive_ptr;
using Proc::DataVideoFF;
using Proc::IDataVideo;

std::vector<intrusive_ptr<IDataVideo>> Read(std::string const& path, unsigned width, unsigned height) {
    std::ifstream file(path, std::ios::binary);
    std::vector<intrusive_ptr<IDataVideo>> frames;
    while (file) {
        intrusive_ptr<DataVideoFF> frame = DataVideoFF::Create(PixFmt::Yuv420p, {width, height, 1, 1});
        AVFrame& samples = frame->GetWritableFrame();
        for (int plane = 0; plane < 3; ++plane) {
            unsigned const planeWidth = plane == 0 ? width : (width + 1) / 2;
            unsigned const planeHeight = plane == 0 ? height : (height + 1) / 2;
            for (unsigned y = 0; y < planeHeight; ++y) {
                auto* const row = samples.data[plane] + static_cast<std::ptrdiff_t>(y) * samples.linesize[plane];
                file.read(reinterpret_cast<char*>(row), planeWidth);
            }
        }
        if (file) {
            frames.push_back(std::move(frame));
        }
    }
    if (frames.empty()) {
        throw std::runtime_error(path + ": holds no whole picture of this size");
    }
    return frames;
}

double Measure(std::vector<intrusive_ptr<IDataVideo>> const& first,
               std::vector<intrusive_ptr<IDataVideo>> const& second) {
    auto const registry = Host::MakeRegistry();
    auto const factory = registry->GetFactory();
    auto const transition =
        factory->CreateTwoInputEffect(Proc::SettingsTransitionCrossfade::CLASS_ID, Proc::ImplNames::OGL);
    Proc::SettingsFrameDownloader settings;
    settings.downloadMode = Proc::SettingsFrameDownloader::Mode::Yuv420p;
    auto const downloader = factory->CreateOneInputEffect(settings.GetClassId(), Proc::ImplNames::OGL);
    downloader->SetSettings(settings);

    std::size_t const count = std::min(first.size(), second.size());
    transition->SetProgress({0, static_cast<long long>(count), &Proc::TimeToProgress::Linear});
    auto const draw = [&](std::size_t i) {
        intrusive_ptr<IDataVideo> frame = first[i];
        frame->SetTimestamp(static_cast<std::int64_t>(i));
        transition->Process(frame, second[i]);
        dynamic_cast<Ogl::DataVideoOGL&>(*frame).Execute();
        return frame;
    };
    auto const run = [&] {
        std::future<void> download;
        for (std::size_t i = 0; i < count; ++i) {
            intrusive_ptr<IDataVideo> frame = draw(i);
            if (download.valid()) {
                download.get();
            }
            download = std::async(std::launch::async, [&downloader, frame]() mutable { downloader->Process(frame); });
        }
        download.get();
    };
    run();  // pools and programs are made
    auto const start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count() /
           static_cast<double>(count);
}

}  // namespace

int main(int argc, char** argv) {
    constexpr int kArguments = 5;
    if (argc != kArguments) {
        fmt::print(stderr, "usage: {} FIRST.yuv SECOND.yuv WIDTH HEIGHT\n", argv[0]);
        return 2;
    }
    try {
        auto const width = static_cast<unsigned>(std::stoul(argv[3]));
        auto const height = static_cast<unsigned>(std::stoul(argv[4]));
        fmt::print("{:.3f}\n", Measure(Read(argv[1], width, height), Read(argv[2], width, height)));
    } catch (std::exception const& error) {
        fmt::print(stderr, "{}: {}\n", argv[0], error.what());
        return 1;
    }
    return 0;
}
