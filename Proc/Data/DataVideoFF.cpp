#include "Proc/Data/DataVideoFF.h"

#include <stdexcept>
#include <utility>

#include "Core/Interfaces/Exception.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Proc {

boost::intrusive_ptr<DataVideoFF> DataVideoFF::Create(PixFmt format, Conf::FrameInfo const& info) {
    // RGB pictures move to and from textures. In the textures' row order that needs no copy.
    bool const isBottomUp = !PixFmtDescription::Find(format).IsYuv();
    AvFramePtr picture = AllocateAvFrame(ToAvPixelFormat(format), static_cast<int>(info.width),
                                         static_cast<int>(info.height), isBottomUp);
    MarkPixFmt(*picture, format);
    picture->sample_aspect_ratio = {static_cast<int>(info.pixelAspectX), static_cast<int>(info.pixelAspectY)};
    return {new DataVideoFF(format, info, std::move(picture))};
}

boost::intrusive_ptr<DataVideoFF> DataVideoFF::Wrap(AvFramePtr frame) {
    auto const avFormat = static_cast<AVPixelFormat>(frame->format);
    PixFmt const format = Proc::GetPixFmt(*frame);
    if (format == PixFmt::Unknown) {
        char const* const name = av_get_pix_fmt_name(avFormat);
        Core::Throw(std::invalid_argument(std::string("unsupported pixel format ") + (name ? name : "?")));
    }
    Conf::FrameInfo const info = Proc::GetFrameInfo(*frame);
    ColorSpec const spec = Proc::GetColorSpec(*frame);
    boost::intrusive_ptr<DataVideoFF> data(new DataVideoFF(format, info, std::move(frame)));
    data->SetColorSpec(spec);
    return data;
}

void DataVideoFF::ShareSamples(DataVideoFF const& source) {
    // Its samples alone: what else a decoder says of a picture, an encoder would take for a wish.
    AvFramePtr const all = ShareAvFrame(*source.frame);
    AvFramePtr samples = MakeAvFrame();
    samples->format = ToAvPixelFormat(GetPixFmt());
    samples->width = frame->width;
    samples->height = frame->height;
    samples->sample_aspect_ratio = frame->sample_aspect_ratio;
    for (std::size_t i = 0; i < AV_NUM_DATA_POINTERS; ++i) {
        std::swap(samples->buf[i], all->buf[i]);
        samples->data[i] = all->data[i];
        samples->linesize[i] = all->linesize[i];
    }
    samples->extended_data = samples->data;
    frame = std::move(samples);
}

AvFramePtr DataVideoFF::Share() const {
    AvFramePtr copy = ShareAvFrame(*frame);
    if (PixFmtDescription::Find(GetPixFmt()).IsYuv()) {
        Proc::SetColorSpec(*copy, GetColorSpec());
    }
    return copy;
}

}  // namespace Kaltor::Proc
