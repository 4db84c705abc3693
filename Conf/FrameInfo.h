#pragma once

#include <cstdint>

namespace Kaltor::Conf {

/// A picture's size in pixels and the shape of one pixel (its width : height).
struct FrameInfo {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t pixelAspectX = 1;
    std::uint32_t pixelAspectY = 1;

    bool operator==(FrameInfo const&) const = default;
};

}  // namespace Kaltor::Conf
