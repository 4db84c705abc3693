// A playlist beside a video that it may name: looked at, and its first pictures decoded, with playlists allowed.
#include <filesystem>
#include <fstream>

#include <fmt/format.h>
#include <unistd.h>

#include "Media/MediaInfo.h"
#include "Media/VideoReader.h"
#include "Tests/Fuzz/Fuzz.h"

using namespace Kaltor;
namespace fs = std::filesystem;

namespace {

/// A folder with a video of two pictures in it.
class Folder {
public:
    Folder() : path(fs::temp_directory_path() / fmt::format("kaltor-fuzz-{}", ::getpid())) {
        fs::create_directory(path);
        std::ofstream video(path / "a.y4m", std::ios::binary);
        video << "YUV4MPEG2 W4 H2 F10:1 Ip C420jpeg\n";
        for (char const level : {'0', 'x'}) {
            video << "FRAME\n" << std::string(12, level);
        }
    }
    ~Folder() { fs::remove_all(path); }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;

    std::string Put(std::uint8_t const* data, std::size_t size) const {
        std::ofstream(path / "list", std::ios::binary)
            .write(reinterpret_cast<char const*>(data), static_cast<long>(size));
        return (path / "list").string();
    }

private:
    fs::path path;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    constexpr std::uint32_t kMostSide = 4096;
    constexpr int kPictures = 4;
    static Folder const folder;
    std::string const path = folder.Put(data, size);
    Fuzz::MayRefuse([&] {
        Media::InputRules rules;
        rules.allowPlaylists = true;
        Media::MediaInfo const info = Media::Probe(path, rules);
        if (info.frame.width > kMostSide || info.frame.height > kMostSide) {
            return;
        }
        Media::VideoTarget target;
        target.frame = {32, 18, 1, 1};
        Media::VideoReader reader(path, target, Media::Microseconds(0), {}, rules);
        for (int i = 0; i < kPictures; ++i) {
            reader.Read();
        }
    });
    return 0;
}
