// A file that claims to be a picture, a video, a sound or a playlist: looked at, and its first pictures and sounds
// decoded.
#include <array>
#include <vector>

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include "Media/AudioReader.h"
#include "Media/MediaInfo.h"
#include "Media/Picture.h"
#include "Media/VideoReader.h"
#include "Tests/Fuzz/Fuzz.h"

using namespace Kaltor;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    constexpr std::uint32_t kMostSide = 4096;
    constexpr int kPictures = 4;
    constexpr int kSamples = 4800;
    constexpr int kChannels = 2;
    constexpr Media::Microseconds kLater(100'000);
    Fuzz::MayRefuse([&] { Media::DecodePicture({data, data + size}, "-", kMostSide); });
    static int const file = memfd_create("fuzz", 0);
    if (file < 0 || ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) {
        throw std::runtime_error("no memory for a file");
    }
    std::string const path = fmt::format("/proc/self/fd/{}", file);
    Fuzz::MayRefuse([&] {
        Media::MediaInfo const info = Media::Probe(path);
        if (info.frame.width > kMostSide || info.frame.height > kMostSide) {
            return;  // for limits of memory
        }
        Media::VideoTarget target;
        target.frame = {32, 18, 1, 1};
        Media::VideoReader reader(path, target);
        for (int i = 0; i < kPictures; ++i) {
            reader.Read();
        }
        reader.Restart(kLater);
        reader.Read();
    });
    Fuzz::MayRefuse([&] {
        Media::ProbeSound(path);
        Media::AudioReader reader(path, {48'000, kChannels});
        std::vector<float> samples(std::size_t{kChannels} * kSamples);
        std::array<float*, kChannels> const planes{samples.data(), samples.data() + kSamples};
        reader.Read(planes.data(), kSamples);
        reader.Restart(kSamples / 2);
        reader.Read(planes.data(), kSamples);
    });
    return 0;
}
