#include "Media/KeptReaders.h"

#include <algorithm>

#include <fmt/format.h>
#include <sys/stat.h>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace Kaltor::Media {
namespace {

/// Each has an open file and the threads of its decoder.
constexpr std::size_t kMostReaders = 6;
constexpr std::size_t kMostPictureBytes = std::size_t{96} << 20U;

}  // namespace

KeptReaders::Key KeptReaders::KeyOf(std::string const& path, VideoTarget const& target) {
    struct stat found {};
    ::stat(path.c_str(), &found);
    std::string form = fmt::format(
        "{} {} {} {} {} {} {} {} {} {} {} {} {} {} {} {} {} {}", static_cast<int>(target.pixFmt), target.keepsSize,
        target.frameRate.num, target.frameRate.den, target.shrink, static_cast<int>(target.colorSpec.matrix),
        static_cast<int>(target.colorSpec.range), static_cast<int>(target.transfer), static_cast<int>(target.primaries),
        static_cast<int>(target.exact), static_cast<int>(target.like), target.background[0], target.background[1],
        target.background[2], target.frame.width, target.frame.height, target.frame.pixelAspectX,
        target.frame.pixelAspectY);
    return {path,
            fmt::format("{} {} {} {}", found.st_ino, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec),
            std::move(form)};
}

std::unique_ptr<VideoReader> KeptReaders::Open(std::string const& path, VideoTarget const& target,
                                               Microseconds start) {
    Key const key = KeyOf(path, target);
    std::unique_ptr<VideoReader> reader;
    {
        std::lock_guard const lock(mutex);
        auto const found = std::find_if(readers.begin(), readers.end(), [&](Reader const& one) { return one.key == key; });
        if (found != readers.end()) {
            reader = std::move(found->reader);
            readers.erase(found);
        }
    }
    if (reader) {
        reader->Restart(start);
        return reader;
    }
    return std::make_unique<VideoReader>(path, target, start, WarningFn{}, rules);
}

void KeptReaders::Keep(std::string const& path, VideoTarget const& target, std::unique_ptr<VideoReader> reader) {
    Reader kept{KeyOf(path, target), std::move(reader)};
    std::lock_guard const lock(mutex);
    readers.push_front(std::move(kept));
    if (readers.size() > kMostReaders) {
        readers.pop_back();
    }
}

Proc::AvFramePtr KeptReaders::ReadOne(std::string const& path, VideoTarget const& target, Microseconds start) {
    Key const key = KeyOf(path, target);
    {
        std::lock_guard const lock(mutex);
        auto const found = std::find_if(pictures.begin(), pictures.end(),
                                        [&](Picture const& one) { return one.start == start && one.key == key; });
        if (found != pictures.end()) {
            pictures.splice(pictures.begin(), pictures, found);
            return Proc::ShareAvFrame(*pictures.front().frame);
        }
    }
    std::unique_ptr<VideoReader> reader = Open(path, target, start);
    Picture made{key, start, reader->Read(), 0};
    made.bytes = static_cast<std::size_t>(std::max(
        0, av_image_get_buffer_size(static_cast<AVPixelFormat>(made.frame->format), made.frame->width,
                                    made.frame->height, 1)));
    Proc::AvFramePtr picture = Proc::ShareAvFrame(*made.frame);
    Keep(path, target, std::move(reader));
    std::lock_guard const lock(mutex);
    pictureBytes += made.bytes;
    pictures.push_front(std::move(made));
    while (pictureBytes > kMostPictureBytes && pictures.size() > 1) {
        pictureBytes -= pictures.back().bytes;
        pictures.pop_back();
    }
    return picture;
}

}  // namespace Kaltor::Media
