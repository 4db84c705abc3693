#pragma once

#include <cstdint>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

namespace Kaltor::Media {

/// How a stored picture is to be turned for display.
struct Orientation {
    /// The filters for one of the eight right-angled cases of FFmpeg's display matrix (nine elements); "" for none.
    char const* filter = "";
    /// Clockwise degrees: 0, 90, 180, 270.
    int rotation = 0;

    bool SwapsSides() const { return rotation % 180 != 0; }

    static Orientation FromMatrix(std::int32_t const* matrix);
    /// 1 to 8; other numbers are none.
    static Orientation FromExif(int number);
    /// The orientation in a stream's side data.
    static Orientation Of(AVStream const& stream);
    /// The orientation of a decoded still, from its side data or metadata.
    static Orientation Of(AVFrame const& frame);
};

}  // namespace Kaltor::Media
