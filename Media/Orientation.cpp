#include "Media/Orientation.h"

#include <cmath>
#include <cstdlib>

extern "C" {
#include <libavutil/display.h>
}

namespace Kaltor::Media {

Orientation Orientation::FromMatrix(std::int32_t const* matrix) {
    double const counterClockwise = av_display_rotation_get(matrix);
    if (std::isnan(counterClockwise)) {
        return {};
    }
    // The rotation that it reports leaves a mirror open; the signs of the matrix decide.
    int const clockwise = ((static_cast<int>(std::lround(-counterClockwise / 90.0)) * 90) % 360 + 360) % 360;
    switch (clockwise) {
        case 90:
            return {matrix[3] > 0 ? "transpose=cclock_flip" : "transpose=clock", 90};
        case 180:
            if (matrix[0] < 0 && matrix[4] < 0) {
                return {"hflip,vflip", 180};
            }
            return {matrix[0] < 0 ? "hflip" : "vflip", 0};
        case 270:
            return {matrix[3] < 0 ? "transpose=clock_flip" : "transpose=cclock", 270};
        default:
            return {matrix[4] < 0 ? "vflip" : "", 0};
    }
}

Orientation Orientation::FromExif(int number) {
    switch (number) {
        case 2:
            return {"hflip", 0};
        case 3:
            return {"hflip,vflip", 180};
        case 4:
            return {"vflip", 0};
        case 5:
            return {"transpose=cclock_flip", 90};
        case 6:
            return {"transpose=clock", 90};
        case 7:
            return {"transpose=clock_flip", 270};
        case 8:
            return {"transpose=cclock", 270};
        default:
            return {};
    }
}

Orientation Orientation::Of(AVStream const& stream) {
    std::size_t size = 0;
    std::uint8_t const* const data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    return data != nullptr && size >= 9 * sizeof(std::int32_t) ? FromMatrix(reinterpret_cast<std::int32_t const*>(data))
                                                               : Orientation{};
}

Orientation Orientation::Of(AVFrame const& frame) {
    if (AVFrameSideData const* const data = av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX)) {
        return FromMatrix(reinterpret_cast<std::int32_t const*>(data->data));
    }
    AVDictionaryEntry const* const tag = av_dict_get(frame.metadata, "Orientation", nullptr, 0);
    return tag != nullptr ? FromExif(std::atoi(tag->value)) : Orientation{};
}

}  // namespace Kaltor::Media
