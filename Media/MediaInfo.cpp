#include "Media/MediaInfo.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "Core/Interfaces/Exception.h"
#include "Media/Alpha.h"
#include "Media/Demuxer.h"
#include "Media/Orientation.h"
#include "Media/StreamDecoder.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Media {
namespace {

/// Where packets end, in AV_TIME_BASE units of the file's own clock.
struct Ends {
    std::int64_t video = AV_NOPTS_VALUE;
    std::int64_t any = AV_NOPTS_VALUE;
    std::int64_t videoPackets = 0;  ///< that were seen
    bool isWhole = false;           ///< all packets were
};

/// Rates near a standard one are that one: containers round.
AVRational Snap(AVRational rate) {
    constexpr std::array<AVRational, 12> kStandard{{{24000, 1001},
                                                    {24, 1},
                                                    {25, 1},
                                                    {30000, 1001},
                                                    {30, 1},
                                                    {48, 1},
                                                    {50, 1},
                                                    {60000, 1001},
                                                    {60, 1},
                                                    {15, 1},
                                                    {12, 1},
                                                    {120, 1}}};
    constexpr double kNear = 0.0004;
    for (AVRational const standard : kStandard) {
        if (std::abs(av_q2d(rate) / av_q2d(standard) - 1.0) < kNear) {
            return standard;
        }
    }
    constexpr int kLargest = 60000;  // what encoders' clocks hold
    av_reduce(&rate.num, &rate.den, rate.num, rate.den, kLargest);
    return rate;
}

AVRational FindFrameRate(AVStream const& stream) {
    constexpr double kSlowest = 1.0;
    constexpr double kFastest = 300.0;
    for (AVRational const rate : {stream.avg_frame_rate, stream.r_frame_rate}) {
        if (rate.num > 0 && rate.den > 0 && av_q2d(rate) >= kSlowest && av_q2d(rate) <= kFastest) {
            return Snap(rate);
        }
    }
    return {0, 1};
}

/// Reads packets to the end of the file.
Ends ReadToEnd(Demuxer& demuxer, AVStream const& video, AVRational frameRate) {
    Ends ends;
    PacketPtr const packet = MakePacket();
    std::int64_t const frameDuration =
        frameRate.num > 0 ? av_rescale(AV_TIME_BASE, frameRate.den, frameRate.num) : AV_TIME_BASE / 30;
    for (int unreadable = 0; unreadable < 1000;) {
        int const result = demuxer.Read(*packet);
        if (result == AVERROR_INVALIDDATA) {
            ++unreadable;
            continue;
        }
        if (result < 0) {
            break;
        }
        if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
            continue;  // cut off
        }
        AVStream const& stream = *demuxer.Get().streams[packet->stream_index];
        bool const isVideo = packet->stream_index == video.index;
        std::int64_t const time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
        ends.videoPackets += isVideo ? 1 : 0;
        std::int64_t end = AV_NOPTS_VALUE;
        if (time != AV_NOPTS_VALUE) {
            std::int64_t const duration = packet->duration > 0
                                              ? av_rescale_q(packet->duration, stream.time_base, kMicrosecondBase)
                                              : (isVideo ? frameDuration : 0);
            end = av_rescale_q(time, stream.time_base, kMicrosecondBase) + duration;
        } else if (isVideo) {
            end = demuxer.GetOrigin() + ends.videoPackets * frameDuration;
        }
        ends.any = std::max(ends.any, end);
        if (isVideo) {
            ends.video = std::max(ends.video, end);
        }
    }
    return ends;
}

/// The duration that the file's header gives, or AV_NOPTS_VALUE where FFmpeg only estimates one.
std::int64_t GetHeaderDuration(AVFormatContext const& context) {
    bool const isTold = context.duration != AV_NOPTS_VALUE && context.duration > 0 &&
                        context.duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
    return isTold ? context.duration : AV_NOPTS_VALUE;
}

/// Reads the last packets where the header says where they are, and all packets otherwise.
Ends FindEnds(std::unique_ptr<Demuxer>& demuxer, std::string const& path, AVRational frameRate,
              InputRules const& rules) {
    AVStream const* video = demuxer->FindVideo();
    std::int64_t const declared = GetHeaderDuration(demuxer->Get());
    bool const isShort = declared != AV_NOPTS_VALUE && declared < 2 * AV_TIME_BASE;
    // FFmpeg 5.1's ffconcat crashes where it seeks in a list with a file that is not there.
    bool const isList = std::string_view(demuxer->Get().iformat->name) == "concat";
    if (declared != AV_NOPTS_VALUE && !isShort && !isList) {
        std::int64_t const last =
            av_rescale_q(demuxer->GetOrigin() + declared - AV_TIME_BASE, kMicrosecondBase, video->time_base);
        if (av_seek_frame(&demuxer->Get(), video->index, last, AVSEEK_FLAG_BACKWARD) >= 0) {
            Ends const ends = ReadToEnd(*demuxer, *video, frameRate);
            if (ends.videoPackets > 0 && ends.video != AV_NOPTS_VALUE) {
                return ends;
            }
        }
        demuxer = std::make_unique<Demuxer>(path, rules);
        video = &demuxer->RequireVideo();
    }
    Ends ends = ReadToEnd(*demuxer, *video, frameRate);
    ends.isWhole = true;
    return ends;
}

/// Where the file ends well before its declared duration. Some containers count that from 0, others from their start.
bool IsCutOff(Ends const& ends, std::int64_t startTime, std::int64_t declared) {
    constexpr std::int64_t kTolerance = AV_TIME_BASE / 2;
    if (declared == AV_NOPTS_VALUE || ends.any == AV_NOPTS_VALUE) {
        return false;
    }
    std::int64_t const start = startTime == AV_NOPTS_VALUE ? 0 : startTime;
    return std::max(ends.any, ends.any - start) + kTolerance < declared;
}

bool IsPictureCodec(AVCodecID codec) {
    AVCodecDescriptor const* const descriptor = avcodec_descriptor_get(codec);
    bool const isIntraOnly = descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY) != 0;
    constexpr std::array kPictures{AV_CODEC_ID_GIF, AV_CODEC_ID_APNG, AV_CODEC_ID_PNG, AV_CODEC_ID_WEBP,
                                   AV_CODEC_ID_AV1, AV_CODEC_ID_TIFF, AV_CODEC_ID_BMP};
    return std::find(kPictures.begin(), kPictures.end(), codec) != kPictures.end() ||
           (isIntraOnly && codec == AV_CODEC_ID_MJPEG);
}

Conf::FrameInfo GetDisplayInfo(int width, int height, AVRational aspect, Orientation const& orientation) {
    if (aspect.num <= 0 || aspect.den <= 0) {
        aspect = {1, 1};
    }
    Conf::FrameInfo info{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                         static_cast<std::uint32_t>(aspect.num), static_cast<std::uint32_t>(aspect.den)};
    if (orientation.SwapsSides()) {
        std::swap(info.width, info.height);
        std::swap(info.pixelAspectX, info.pixelAspectY);
    }
    return info;
}

/// What the pixel format says.
void NoteFormat(MediaInfo& info, AVPixelFormat format) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(format);
    if (description == nullptr || (description->flags & AV_PIX_FMT_FLAG_PAL) != 0) {
        info.isRgb = description != nullptr;
        info.chromaXLog2 = info.chromaYLog2 = 0;
        return;
    }
    info.isRgb = (description->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    info.hasAlpha = (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    info.bits = description->comp[0].depth;
    info.chromaXLog2 = description->log2_chroma_w;
    info.chromaYLog2 = description->log2_chroma_h;
}

/// Whether any pixel is translucent.
bool IsTranslucent(AVFrame const& frame) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (description == nullptr) {
        return false;
    }
    if ((description->flags & AV_PIX_FMT_FLAG_PAL) != 0) {
        constexpr std::uint32_t kOpaque = 0xFF000000U;
        auto const* const entries = reinterpret_cast<std::uint32_t const*>(frame.data[1]);
        std::array<bool, AVPALETTE_COUNT> isClear{};
        std::transform(entries, entries + AVPALETTE_COUNT, isClear.begin(),
                       [](std::uint32_t entry) { return (entry & kOpaque) != kOpaque; });
        for (int y = 0; y < frame.height; ++y) {
            std::uint8_t const* const row = frame.data[0] + std::ptrdiff_t{y} * frame.linesize[0];
            if (std::any_of(row, row + frame.width, [&](std::uint8_t index) { return isClear[index]; })) {
                return true;
            }
        }
        return false;
    }
    if ((description->flags & AV_PIX_FMT_FLAG_ALPHA) == 0) {
        return false;
    }
    if ((description->flags & AV_PIX_FMT_FLAG_FLOAT) != 0) {
        return true;
    }
    int const alpha = description->nb_components - 1;
    auto const top = static_cast<std::uint16_t>((1 << description->comp[alpha].depth) - 1);
    std::vector<std::uint16_t> row(static_cast<std::size_t>(frame.width));
    std::uint8_t const* const data[4] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
    for (int y = 0; y < frame.height; ++y) {
        av_read_image_line(row.data(), const_cast<std::uint8_t const**>(data), frame.linesize, description, 0, y, alpha,
                           frame.width, 0);
        if (std::any_of(row.begin(), row.end(), [top](std::uint16_t value) { return value != top; })) {
            return true;
        }
    }
    return false;
}

/// Only a decoded still knows its orientation and its true pixel format.
void ProbeStill(MediaInfo& info, std::string const& path, InputRules const& rules) {
    Demuxer demuxer(path, rules);
    AVStream& stream = demuxer.RequireVideo();
    StreamDecoder decoder(demuxer, stream);
    Proc::AvFramePtr const frame = decoder.Next();
    if (!frame) {
        Core::Throw(MediaError(path + ": no picture can be decoded (" +
                               (decoder.GetDamage() ? decoder.GetDamageText() : "it is cut off") + ")"));
    }
    Orientation const orientation = Orientation::Of(*frame);
    info.isStill = true;
    info.frameRate = {0, 1};
    info.duration = Microseconds(0);
    info.frame = GetDisplayInfo(frame->width, frame->height, frame->sample_aspect_ratio, orientation);
    info.rotation = orientation.rotation;
    info.colorSpec = Proc::GetColorSpec(*frame);
    info.transfer = frame->color_trc;
    info.primaries = frame->color_primaries;
    NoteFormat(info, static_cast<AVPixelFormat>(frame->format));
    info.hasAlpha = IsTranslucent(*frame);
    info.resolvedColorSpec = info.colorSpec.Resolved(static_cast<std::uint32_t>(frame->height));
}

HdrLevels MakeLevels(std::uint8_t const* mastering, std::uint8_t const* content) {
    HdrLevels levels;
    if (mastering != nullptr) {
        levels.mastering = *reinterpret_cast<AVMasteringDisplayMetadata const*>(mastering);
    }
    if (content != nullptr) {
        levels.content = *reinterpret_cast<AVContentLightMetadata const*>(content);
    }
    return levels;
}

/// The first picture where only that knows: whether GIF is transparent, how bright PQ is.
void ProbePicture(MediaInfo& info, std::string const& path, InputRules const& rules, bool isAlphaWanted) {
    Demuxer demuxer(path, rules);
    StreamDecoder decoder(demuxer, demuxer.RequireVideo());
    Proc::AvFramePtr const frame = decoder.Next();
    if (!frame) {
        return;
    }
    if (isAlphaWanted) {
        info.hasAlpha = IsTranslucent(*frame);
    }
    info.levels = GetHdrLevels(*frame);
}

ColorSpec GetTags(AVCodecParameters const& parameters) {
    Proc::AvFramePtr const frame = Proc::MakeAvFrame();
    frame->format = parameters.format;
    frame->colorspace = parameters.color_space;
    frame->color_range = parameters.color_range;
    return Proc::GetColorSpec(*frame);
}

}  // namespace

HdrLevels GetHdrLevels(AVStream const& stream) {
    return MakeLevels(av_stream_get_side_data(&stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA, nullptr),
                      av_stream_get_side_data(&stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, nullptr));
}

HdrLevels GetHdrLevels(AVFrame const& frame) {
    AVFrameSideData const* const mastering = av_frame_get_side_data(&frame, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA);
    AVFrameSideData const* const content = av_frame_get_side_data(&frame, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL);
    return MakeLevels(mastering != nullptr ? mastering->data : nullptr, content != nullptr ? content->data : nullptr);
}

double HdrLevels::GetPeak() const {
    constexpr double kUsual = 1000.0;
    if (content && content->MaxCLL > 0) {
        return content->MaxCLL;
    }
    double const display = mastering && mastering->has_luminance != 0 ? av_q2d(mastering->max_luminance) : 0.0;
    return display > 0.0 ? display : kUsual;
}

bool IsHdr(AVColorTransferCharacteristic transfer) {
    return transfer == AVCOL_TRC_SMPTE2084 || transfer == AVCOL_TRC_ARIB_STD_B67;
}

char const* GetDynamicRange(AVColorTransferCharacteristic transfer) {
    return transfer == AVCOL_TRC_SMPTE2084      ? "HDR (PQ)"
           : transfer == AVCOL_TRC_ARIB_STD_B67 ? "HDR (HLG)"
                                                : "standard range";
}

MediaInfo Probe(std::string const& path, InputRules const& rules) {
    auto demuxer = std::make_unique<Demuxer>(path, rules);
    AVStream& stream = demuxer->RequireVideo();
    AVCodecParameters const& parameters = *stream.codecpar;
    MediaInfo info;
    info.container = demuxer->Get().iformat->name;
    info.codec = avcodec_get_name(parameters.codec_id);
    char const* const pixelFormat = av_get_pix_fmt_name(static_cast<AVPixelFormat>(parameters.format));
    info.pixelFormat = pixelFormat != nullptr ? pixelFormat : "unknown";
    if (AVStream const* const audio = demuxer->FindAudio()) {
        info.sound = SoundFormat{audio->codecpar->sample_rate, audio->codecpar->ch_layout.nb_channels};
    }
    for (unsigned i = 0; i < demuxer->Get().nb_streams; ++i) {
        info.subtitles += demuxer->Get().streams[i]->codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE ? 1 : 0;
    }
    if (demuxer->IsStillFormat()) {
        ProbeStill(info, path, rules);
        return info;
    }
    Orientation const orientation = Orientation::Of(stream);
    info.rotation = orientation.rotation;
    info.frame = GetDisplayInfo(parameters.width, parameters.height,
                                av_guess_sample_aspect_ratio(&demuxer->Get(), &stream, nullptr), orientation);
    info.frameRate = FindFrameRate(stream);
    info.colorSpec = GetTags(parameters);
    info.resolvedColorSpec = info.colorSpec.Resolved(static_cast<std::uint32_t>(parameters.height));
    info.transfer = parameters.color_trc;
    info.primaries = parameters.color_primaries;
    info.levels = GetHdrLevels(stream);
    NoteFormat(info, static_cast<AVPixelFormat>(parameters.format));
    info.hasAlpha = info.hasAlpha || StreamDecoder::HasAlphaBeside(stream);
    info.hasLostAlpha =
        !info.hasAlpha && parameters.codec_id == AV_CODEC_ID_HEVC &&
        HasHevcAlpha({parameters.extradata, static_cast<std::size_t>(std::max(parameters.extradata_size, 0))});
    bool const isUnsure = parameters.codec_id == AV_CODEC_ID_GIF;
    if (isUnsure || (parameters.color_trc == AVCOL_TRC_SMPTE2084 && !info.levels.mastering)) {
        ProbePicture(info, path, rules, isUnsure);
    }

    std::int64_t const origin = demuxer->GetOrigin();
    std::int64_t const startTime = demuxer->Get().start_time;
    std::int64_t const declared = GetHeaderDuration(demuxer->Get());
    if (demuxer->IsPipe()) {
        info.isOpenEnded = declared == AV_NOPTS_VALUE;
        info.duration = Microseconds(info.isOpenEnded ? 0 : declared);
        return info;
    }
    bool const isPicture = IsPictureCodec(parameters.codec_id) && stream.nb_frames <= 1;
    Ends const ends = FindEnds(demuxer, path, info.frameRate, rules);  // `stream` may be gone
    if (isPicture && ends.isWhole && ends.videoPackets == 1) {
        ProbeStill(info, path, rules);
        return info;
    }
    if (ends.video == AV_NOPTS_VALUE || ends.video <= origin) {
        Core::Throw(MediaError(path + ": no picture can be decoded (it is cut off)"));
    }
    info.duration = Microseconds(ends.video - origin);
    if (IsCutOff(ends, startTime, declared)) {
        info.declaredDuration = Microseconds(declared);
    }
    return info;
}

}  // namespace Kaltor::Media
