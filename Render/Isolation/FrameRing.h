#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "Proc/Data/AvFrame.h"

namespace Kaltor::Render {

/// What there is to know of a picture in a ring, beside its samples.
struct RingPicture {
    std::uint32_t slot = 0;
    std::int32_t format = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    AVRational pixelAspect{0, 1};
    std::int32_t matrix = 0;
    std::int32_t range = 0;
    std::int32_t primaries = 0;
    std::int32_t transfer = 0;
    std::int32_t chromaLocation = 0;
    std::int32_t mark = 0;  ///< the `PixFmt` of a picture of 16-bit float, else 0
};

/// Places for pictures in memory that a process shares with the copies that it makes of itself. One process puts
/// pictures in, the other one takes them out, without copying them again. Memory is taken when a place is first used.
class FrameRing : public std::enable_shared_from_this<FrameRing> {
public:
    /// For pictures of up to this size, in any format of up to eight bytes a pixel. Throws `std::bad_alloc`.
    static std::shared_ptr<FrameRing> Create(std::uint32_t width, std::uint32_t height);
    ~FrameRing();
    FrameRing(FrameRing const&) = delete;
    FrameRing& operator=(FrameRing const&) = delete;

    /// Copies a picture into a free place, for which it waits. Throws `std::logic_error` where it is too large.
    RingPicture Put(AVFrame const& picture);
    /// The picture itself; its place is free again when the last reference has gone. A copy where many are out
    /// already: encoders may keep pictures. `described` is checked: throws `std::runtime_error` for what cannot be.
    Proc::AvFramePtr Take(RingPicture const& described);

private:
    static constexpr std::uint32_t kSlots = 6;
    /// Pictures that are out at a time, without those that are copies.
    static constexpr std::uint32_t kMostOut = 3;
    /// At the beginning of the memory that is shared.
    struct Shared;

    FrameRing(std::size_t sizeOfSlot, std::size_t sizeOfAll);
    std::uint8_t* PlaceOf(std::uint32_t slot) const;
    void GiveBack(std::uint32_t slot);

    std::size_t slotBytes;
    std::size_t bytes;
    Shared* shared;
    std::atomic<std::uint32_t> out{0};
};

}  // namespace Kaltor::Render
