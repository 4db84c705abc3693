#pragma once

#include <memory>
#include <new>
#include <string>

#include "Proc/Data/AvFrame.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

// Owners of FFmpeg's objects, and its messages.
namespace Kaltor::Media {

/// Microseconds, FFmpeg's own time base; its AV_TIME_BASE_Q is C, not C++.
constexpr AVRational kMicrosecondBase{1, AV_TIME_BASE};

struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct CodecContextDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FilterGraphDeleter {
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};
struct SwrDeleter {
    void operator()(SwrContext* context) const { swr_free(&context); }
};
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using FilterGraphPtr = std::unique_ptr<AVFilterGraph, FilterGraphDeleter>;
using SwrPtr = std::unique_ptr<SwrContext, SwrDeleter>;

/// FFmpeg's allocations give null where memory is short.
template <typename T>
T* CheckAllocated(T* pointer) {
    if (pointer == nullptr) {
        throw std::bad_alloc();
    }
    return pointer;
}

inline PacketPtr MakePacket() {
    return PacketPtr(CheckAllocated(av_packet_alloc()));
}

/// Damaged files carry colour tags that FFmpeg has no names for, and FFmpeg hands them on: they become unspecified.
void DropUnknownTags(AVFrame& frame);
void DropUnknownTags(AVCodecParameters& parameters);

/// From now on FFmpeg's error lines are kept, the last one of each thread, and nothing is printed.
void CaptureFfmpegLog();
/// Whether FFmpeg's messages go to standard error, too.
void ShowFfmpegLog(bool isShown);
/// Forgets this thread's line.
void ClearFfmpegLog();
/// Why a call failed: the line that FFmpeg logged on this thread since `ClearFfmpegLog`, else the error's own text.
std::string ExplainFfmpeg(int error);

/// A failure of FFmpeg's in the words "NAME: WHAT (WHY)".
[[noreturn]] void ThrowMediaError(std::string const& name, std::string const& what, int error);

}  // namespace Kaltor::Media
