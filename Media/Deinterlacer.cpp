#include "Media/Deinterlacer.h"

#include <utility>

#include <fmt/format.h>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace Kaltor::Media {
namespace {

constexpr int kLeastSide = 4;  // what the filter takes

}  // namespace

Deinterlacer::Deinterlacer(std::string nameOfSource, AVRational unit) : name(std::move(nameOfSource)), timeBase(unit) {}

void Deinterlacer::Reset() {
    ready.clear();
    graph.reset();
}

void Deinterlacer::Push(Proc::AvFramePtr picture) {
    bool const isOther = picture && (picture->width != width || picture->height != height || picture->format != format);
    if (graph && (!picture || isOther)) {
        Feed(nullptr);
        graph.reset();
    }
    if (!picture) {
        return;
    }
    if (!graph && picture->interlaced_frame != 0 && picture->width >= kLeastSide && picture->height >= kLeastSide) {
        Build(*picture);
    }
    if (graph) {
        Feed(picture.get());
    } else {
        ready.push_back(std::move(picture));
    }
}

Proc::AvFramePtr Deinterlacer::Pull() {
    if (ready.empty()) {
        return nullptr;
    }
    Proc::AvFramePtr picture = std::move(ready.front());
    ready.pop_front();
    return picture;
}

void Deinterlacer::Build(AVFrame const& picture) {
    ClearFfmpegLog();
    graph.reset(CheckAllocated(avfilter_graph_alloc()));
    width = picture.width;
    height = picture.height;
    format = picture.format;
    std::string const parameters =
        fmt::format("video_size={}x{}:pix_fmt={}:time_base={}/{}", width, height, format, timeBase.num, timeBase.den);
    AVFilterContext* filter = nullptr;
    int result = avfilter_graph_create_filter(&input, avfilter_get_by_name("buffer"), "in", parameters.c_str(), nullptr,
                                              graph.get());
    if (result >= 0) {
        result = avfilter_graph_create_filter(&filter, avfilter_get_by_name("bwdif"), "whole",
                                              "mode=send_frame:deint=interlaced", nullptr, graph.get());
    }
    if (result >= 0) {
        result = avfilter_graph_create_filter(&output, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr,
                                              graph.get());
    }
    if (result >= 0) {
        result = avfilter_link(input, 0, filter, 0);
    }
    if (result >= 0) {
        result = avfilter_link(filter, 0, output, 0);
    }
    if (result >= 0) {
        result = avfilter_graph_config(graph.get(), nullptr);
    }
    if (result < 0) {
        ThrowMediaError(name, "its fields cannot be made into whole pictures", result);
    }
}

void Deinterlacer::Feed(AVFrame* picture) {
    ClearFfmpegLog();
    int result = av_buffersrc_add_frame_flags(input, picture, AV_BUFFERSRC_FLAG_PUSH);
    while (result >= 0) {
        Proc::AvFramePtr whole = Proc::MakeAvFrame();
        result = av_buffersink_get_frame(output, whole.get());
        if (result >= 0) {
            if (whole->pts != AV_NOPTS_VALUE) {
                whole->pts = av_rescale_q(whole->pts, av_buffersink_get_time_base(output), timeBase);
            }
            whole->interlaced_frame = 0;
            ready.push_back(std::move(whole));
        }
    }
    if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
        ThrowMediaError(name, "its fields cannot be made into whole pictures", result);
    }
}

}  // namespace Kaltor::Media
