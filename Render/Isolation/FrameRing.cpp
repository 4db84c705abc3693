#include "Render/Isolation/FrameRing.h"

#include <array>
#include <cerrno>
#include <new>
#include <stdexcept>

#include <semaphore.h>
#include <sys/mman.h>

#include "Core/Interfaces/Exception.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Render {
namespace {

constexpr int kRowAlignment = 64;
/// Vector code may read past the last sample.
constexpr std::size_t kSlack = 64;

/// Lays a picture out at `place`; the number of bytes that it takes, or a negative number where there is no such
/// picture.
int LayOut(AVFrame& frame, std::uint8_t* place) {
    auto const format = static_cast<AVPixelFormat>(frame.format);
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(format);
    if (description == nullptr || (description->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL)) != 0 ||
        av_image_fill_linesizes(frame.linesize, format, frame.width) < 0) {
        return -1;
    }
    for (int& linesize : frame.linesize) {
        linesize = (linesize + kRowAlignment - 1) & ~(kRowAlignment - 1);
    }
    frame.extended_data = frame.data;
    return av_image_fill_pointers(frame.data, format, frame.height, place, frame.linesize);
}

}  // namespace

struct FrameRing::Shared {
    ::sem_t free;
    std::array<std::atomic<bool>, kSlots> isTaken;
};

std::shared_ptr<FrameRing> FrameRing::Create(std::uint32_t width, std::uint32_t height) {
    constexpr std::size_t kBytesPerPixel = 8;
    constexpr std::size_t kPage = 4096;
    auto const roundUp = [](std::size_t size, std::size_t unit) { return (size + unit - 1) / unit * unit; };
    // Rows are aligned in each plane, and those of smaller planes may be rounded up.
    std::size_t const slot =
        roundUp((std::size_t{width} + kRowAlignment) * kBytesPerPixel * (std::size_t{height} + 1) + kSlack, kPage);
    return std::shared_ptr<FrameRing>(new FrameRing(slot, roundUp(sizeof(Shared), kPage) + slot * kSlots));
}

FrameRing::FrameRing(std::size_t sizeOfSlot, std::size_t sizeOfAll) : slotBytes(sizeOfSlot), bytes(sizeOfAll) {
    void* const memory =
        ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    shared = new (memory) Shared{};
    ::sem_init(&shared->free, 1, kSlots);
}

FrameRing::~FrameRing() {
    ::munmap(shared, bytes);
}

std::uint8_t* FrameRing::PlaceOf(std::uint32_t slot) const {
    return reinterpret_cast<std::uint8_t*>(shared) + (bytes - slotBytes * kSlots) + slot * slotBytes;
}

void FrameRing::GiveBack(std::uint32_t slot) {
    shared->isTaken[slot] = false;
    ::sem_post(&shared->free);
}

RingPicture FrameRing::Put(AVFrame const& picture) {
    RingPicture described;
    described.format = picture.format;
    described.width = picture.width;
    described.height = picture.height;
    described.pixelAspect = picture.sample_aspect_ratio;
    described.matrix = picture.colorspace;
    described.range = picture.color_range;
    described.primaries = picture.color_primaries;
    described.transfer = picture.color_trc;
    described.chromaLocation = picture.chroma_location;
    PixFmt const format = Proc::GetPixFmt(picture);
    described.mark =
        format == PixFmt::RgbF16 || format == PixFmt::RgbaF16 ? static_cast<std::int32_t>(format) : std::int32_t{0};

    while (::sem_wait(&shared->free) != 0 && errno == EINTR) {
    }
    while (shared->isTaken[described.slot].exchange(true)) {
        described.slot = (described.slot + 1) % kSlots;
    }
    Proc::AvFramePtr const target = Proc::MakeAvFrame();
    target->format = picture.format;
    target->width = picture.width;
    target->height = picture.height;
    int const size = LayOut(*target, PlaceOf(described.slot));
    if (size < 0 || static_cast<std::size_t>(size) + kSlack > slotBytes) {
        GiveBack(described.slot);
        Core::Throw(std::logic_error("a picture does not fit into the memory that two processes share"));
    }
    av_image_copy(target->data, target->linesize, const_cast<std::uint8_t const**>(picture.data), picture.linesize,
                  static_cast<AVPixelFormat>(picture.format), picture.width, picture.height);
    return described;
}

Proc::AvFramePtr FrameRing::Take(RingPicture const& described) {
    constexpr int kLongestSide = 1 << 20;
    constexpr char const* kDamaged = "the process that draws has sent something that is no picture";
    Proc::AvFramePtr frame = Proc::MakeAvFrame();
    frame->format = described.format;
    frame->width = described.width;
    frame->height = described.height;
    bool const isPlausible = described.slot < kSlots && described.width > 0 && described.height > 0 &&
                             described.width < kLongestSide && described.height < kLongestSide;
    int const size = isPlausible ? LayOut(*frame, PlaceOf(described.slot)) : -1;
    if (size < 0 || static_cast<std::size_t>(size) + kSlack > slotBytes) {
        Core::Throw(std::runtime_error(kDamaged));
    }
    struct Use {
        std::shared_ptr<FrameRing> ring;
        std::uint32_t slot;
    };
    auto use = std::make_unique<Use>(Use{shared_from_this(), described.slot});
    frame->buf[0] = av_buffer_create(
        PlaceOf(described.slot), slotBytes,
        [](void* opaque, std::uint8_t*) {
            std::unique_ptr<Use> const last(static_cast<Use*>(opaque));
            --last->ring->out;
            last->ring->GiveBack(last->slot);
        },
        use.get(), AV_BUFFER_FLAG_READONLY);
    if (frame->buf[0] == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(use.release());  // the buffer's now
    if (++out > kMostOut) {
        Proc::AvFramePtr copy =
            Proc::AllocateAvFrame(static_cast<AVPixelFormat>(described.format), described.width, described.height);
        av_image_copy(copy->data, copy->linesize, const_cast<std::uint8_t const**>(frame->data), frame->linesize,
                      static_cast<AVPixelFormat>(frame->format), frame->width, frame->height);
        frame = std::move(copy);
    }
    frame->sample_aspect_ratio = described.pixelAspect;
    frame->colorspace = static_cast<AVColorSpace>(described.matrix);
    frame->color_range = static_cast<AVColorRange>(described.range);
    frame->color_primaries = static_cast<AVColorPrimaries>(described.primaries);
    frame->color_trc = static_cast<AVColorTransferCharacteristic>(described.transfer);
    frame->chroma_location = static_cast<AVChromaLocation>(described.chromaLocation);
    if (described.mark != 0) {
        Proc::MarkPixFmt(*frame, static_cast<PixFmt>(described.mark));
    }
    return frame;
}

}  // namespace Kaltor::Render
