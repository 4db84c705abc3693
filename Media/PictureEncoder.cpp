#include "Media/PictureEncoder.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Core/Interfaces/Exception.h"
#include "Media/Alpha.h"
#include "Media/AvifEncoder.h"
#include "Media/EncoderChoice.h"
#include "Media/EncoderForm.h"
#include "Media/Sequence.h"
#include "Media/StreamOutput.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Media {
namespace {

[[noreturn]] void Refuse(std::string const& message) {
    Core::Throw(std::invalid_argument(message));
}

bool IsPaletteEncoder(AVCodec const& encoder) {
    return encoder.id == AV_CODEC_ID_GIF;
}

void CheckFrameRate(AVCodec const& encoder, AVRational rate) {
    if (rate.num <= 0 || rate.den <= 0) {
        Refuse(fmt::format("{}/{} is not accepted as a frame rate", rate.num, rate.den));
    }
    if (encoder.supported_framerates == nullptr) {
        return;
    }
    std::vector<std::string> rates;
    for (AVRational const* r = encoder.supported_framerates; r->num != 0; ++r) {
        if (av_cmp_q(*r, rate) == 0) {
            return;
        }
        rates.push_back(fmt::format("{:.5g}", av_q2d(*r)));
    }
    Refuse(fmt::format("the codec {} has no {:.5g} frames per second; it has {}", encoder.name, av_q2d(rate),
                       fmt::join(rates, ", ")));
}

/// A format by FFmpeg's name that the encoder takes and that can be made.
AVPixelFormat FindPixelFormat(AVCodec const& encoder, std::string const& wanted) {
    AVPixelFormat const format = av_get_pix_fmt(wanted.c_str());
    auto const canBeMade = [](AVPixelFormat one) {
        return Proc::FromAvPixelFormat(one) != PixFmt::Unknown || Proc::HalfConverter::Takes(one);
    };
    std::vector<std::string> names;
    bool isTaken = encoder.pix_fmts == nullptr && format != AV_PIX_FMT_NONE;
    for (AVPixelFormat const* f = encoder.pix_fmts; f != nullptr && *f != AV_PIX_FMT_NONE; ++f) {
        isTaken = isTaken || *f == format;
        if (canBeMade(*f)) {
            names.emplace_back(av_get_pix_fmt_name(*f));
        }
    }
    if (!isTaken || !canBeMade(format)) {
        Refuse(fmt::format(
            "the codec {} is not given the pixel format {}; it can have {}", encoder.name, wanted,
            names.empty() ? "yuv420p, yuv444p, rgb24 and the like" : fmt::format("{}", fmt::join(names, ", "))));
    }
    return format;
}

}  // namespace

PictureEncoder::PictureEncoder(WriterOptions const& options, AVCodec const& chosen, AVFormatContext& file,
                               PacketSink sink)
    : name(StreamOutput::NameOf(options.path)),
      form(ChooseForm(options, chosen)),
      conformer(name, form),
      encoder(chosen),
      settings(options) {
    if (sink && IsAvifName(name)) {
        pictureSink = std::move(sink);
        TryAvif();
        return;
    }
    stream.emplace(name, file, SetUp(options, sink != nullptr), std::move(sink));
    stream->SetLevels(form.levels);
    if (IsPaletteEncoder(encoder)) {
        BuildPaletteGraph();
    }
}

VideoTarget PictureEncoder::ChooseForm(WriterOptions const& options, AVCodec const& encoder) {
    CheckFrameRate(encoder, options.video.frameRate);
    VideoTarget form = options.video;
    if (form.frame.width == 0 || form.frame.height == 0) {
        Refuse(fmt::format("a video cannot have {}x{} pixels", form.frame.width, form.frame.height));
    }
    form.colorSpec = form.colorSpec.Resolved(form.frame.height);
    bool const hasAlpha =
        form.like != AV_PIX_FMT_NONE && (av_pix_fmt_desc_get(form.like)->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    if (IsPaletteEncoder(encoder)) {
        form.pixFmt = hasAlpha ? PixFmt::Bgra : PixFmt::Rgb24;
        return form;
    }
    if (encoder.id == AV_CODEC_ID_MJPEG) {
        form.colorSpec = {ColorMatrix::Bt601, ColorRange::Full};  // what JPEG readers take for granted
    }
    AVPixelFormat const wanted = Proc::ToAvPixelFormat(options.video.pixFmt);
    std::vector<AVPixelFormat> candidates;
    if (IsHardware(encoder)) {
        bool const isDeep = form.like != AV_PIX_FMT_NONE && av_pix_fmt_desc_get(form.like)->comp[0].depth > 8;
        form.pixFmt = PixFmt::Nv12;
        form.exact = isDeep ? AV_PIX_FMT_P010 : AV_PIX_FMT_NONE;
        return form;
    }
    if (!options.pixelFormat.empty()) {
        AVPixelFormat const format = FindPixelFormat(encoder, options.pixelFormat);
        PixFmt const ours = Proc::FromAvPixelFormat(format);
        if (ours != PixFmt::Unknown) {
            form.pixFmt = ours;
        } else {
            form.exact = format;
        }
        return form;
    }
    if (form.like != AV_PIX_FMT_NONE) {
        bool const isBeside = hasAlpha && IsAvifName(options.path) && HasNumberPlace(options.path);
        form.exact = isBeside ? AddAlpha(FindNearestFormat(encoder, RemoveAlpha(form.like)))
                              : FindNearestFormat(encoder, form.like);
        if (isBeside && form.exact == AV_PIX_FMT_NONE) {
            form.exact = AV_PIX_FMT_YUVA444P10;  // FFmpeg has no alpha beside 4:2:0 of 12 bits
        }
        if (form.exact == AV_PIX_FMT_NONE) {
            Refuse(fmt::format("the codec {} takes none of the pixel formats that can be made", encoder.name));
        }
        return form;
    }
    for (AVPixelFormat const* f = encoder.pix_fmts; f != nullptr && *f != AV_PIX_FMT_NONE; ++f) {
        if (Proc::FromAvPixelFormat(*f) != PixFmt::Unknown) {
            candidates.push_back(*f);
        }
    }
    if (encoder.pix_fmts == nullptr || std::find(candidates.begin(), candidates.end(), wanted) != candidates.end()) {
        return form;
    }
    if (candidates.empty()) {
        form.exact = FindNearestFormat(encoder, wanted);
        if (form.exact == AV_PIX_FMT_NONE) {
            Refuse(fmt::format("the codec {} takes none of the pixel formats that can be made", encoder.name));
        }
        return form;
    }
    candidates.push_back(AV_PIX_FMT_NONE);
    AVPixelFormat const best = avcodec_find_best_pix_fmt_of_list(candidates.data(), wanted, 0, nullptr);
    form.pixFmt = Proc::FromAvPixelFormat(best);
    if (best != Proc::ToAvPixelFormat(form.pixFmt)) {
        form.colorSpec.range = ColorRange::Full;  // one of the twins that exist for it
    }
    return form;
}

CodecContextPtr PictureEncoder::SetUp(WriterOptions const& options, bool isPicture) {
    CodecContextPtr codec(CheckAllocated(avcodec_alloc_context3(&encoder)));
    codec->width = static_cast<int>(form.frame.width);
    codec->height = static_cast<int>(form.frame.height);
    codec->sample_aspect_ratio = {static_cast<int>(form.frame.pixelAspectX), static_cast<int>(form.frame.pixelAspectY)};
    codec->framerate = form.frameRate;
    codec->time_base = av_inv_q(form.frameRate);
    codec->pix_fmt = GetAvFormat(form);
    if (IsPaletteEncoder(encoder)) {
        codec->pix_fmt = AV_PIX_FMT_PAL8;
    } else {
        TagColors(*codec, form);
    }
    bool const hasAlpha = (av_pix_fmt_desc_get(codec->pix_fmt)->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    if (hasAlpha && (encoder.id == AV_CODEC_ID_VP8 || encoder.id == AV_CODEC_ID_VP9)) {
        settings.encoderOptions.try_emplace("auto-alt-ref", "0");  // libvpx has no other way for alpha
    }
    if (encoder.id == AV_CODEC_ID_EXR) {
        settings.encoderOptions.try_emplace("format", "half");
        settings.encoderOptions.try_emplace("compression", "zip16");
    }
    if (std::string const levels = MakeX265Levels(form.levels);
        std::string_view(encoder.name) == "libx265" && !levels.empty()) {
        std::string& own = settings.encoderOptions["x265-params"];
        own = levels + (own.empty() ? "" : ":" + own);
    }
    SetEncoding(*codec, settings, isPicture, options.isVerbose);
    if (IsHardware(encoder)) {
        hardware.emplace(encoder, codec->pix_fmt, codec->width, codec->height);
        hardware->Attach(*codec);
    }
    return codec;
}

void PictureEncoder::BuildPaletteGraph() {
    paletteGraph.reset(CheckAllocated(avfilter_graph_alloc()));
    std::string const parameters =
        fmt::format("video_size={}x{}:pix_fmt={}:time_base={}/{}:pixel_aspect={}/{}", form.frame.width,
                    form.frame.height, static_cast<int>(Proc::ToAvPixelFormat(form.pixFmt)), form.frameRate.den,
                    form.frameRate.num, form.frame.pixelAspectX, form.frame.pixelAspectY);
    // A palette for each picture: nothing needs to be known of later ones.
    std::string const text = fmt::format(
        "buffer@in={}[a];[a]split[b][c];[b]palettegen=stats_mode=single[p];"
        "[c][p]paletteuse=new=1:dither=sierra2_4a,buffersink@out",
        parameters);
    AVFilterInOut* inputs = nullptr;
    AVFilterInOut* outputs = nullptr;
    ClearFfmpegLog();
    int result = avfilter_graph_parse2(paletteGraph.get(), text.c_str(), &inputs, &outputs);
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    if (result >= 0) {
        result = avfilter_graph_config(paletteGraph.get(), nullptr);
    }
    if (result < 0) {
        ThrowMediaError(name, "its palette cannot be made", result);
    }
    for (unsigned i = 0; i < paletteGraph->nb_filters; ++i) {
        AVFilterContext* const filter = paletteGraph->filters[i];
        std::string_view const kind = filter->filter->name;
        paletteInput = kind == "buffer" ? filter : paletteInput;
        paletteOutput = kind == "buffersink" ? filter : paletteOutput;
    }
}

Proc::AvFramePtr PictureEncoder::ToPalette(AVFrame const& picture) {
    Proc::AvFramePtr const shared = Proc::ShareAvFrame(picture);
    Proc::AvFramePtr result = Proc::MakeAvFrame();
    ClearFfmpegLog();
    int error = av_buffersrc_add_frame_flags(paletteInput, shared.get(), AV_BUFFERSRC_FLAG_PUSH);
    if (error >= 0) {
        error = av_buffersink_get_frame(paletteOutput, result.get());
    }
    if (error < 0) {
        ThrowMediaError(name, "its palette cannot be made", error);
    }
    return result;
}

std::string PictureEncoder::GetPixelFormat() const {
    return paletteGraph ? "pal8" : av_get_pix_fmt_name(GetAvFormat(form));
}

void PictureEncoder::Write(AVFrame const& picture) {
    Proc::AvFramePtr frame = conformer.Convert(picture);
    frame->pts = number;
    if (paletteGraph) {
        frame = ToPalette(*frame);
        frame->pts = number;
    }
    ++number;
    if (hardware) {
        frame = hardware->Upload(*frame);
    }
    if (encoder.id == AV_CODEC_ID_EXR && frame->format == AV_PIX_FMT_GBRAPF32) {
        if (av_frame_make_writable(frame.get()) < 0) {
            throw std::bad_alloc();
        }
        MultiplyByAlpha(*frame);  // as is its custom
    }
    if (pictureSink) {
        WriteAvif(*frame);
    } else {
        stream->Write(frame.get());
    }
}

/// Settings that the encoder does not take show with a small picture, before the first one is drawn.
void PictureEncoder::TryAvif() const {
    constexpr int kSide = 64;  // SVT-AV1 takes no smaller ones
    Proc::AvFramePtr const blank = Proc::AllocateAvFrame(GetAvFormat(form), kSide, kSide);
    for (std::size_t plane = 0; plane < std::size(blank->buf) && blank->buf[plane] != nullptr; ++plane) {
        std::fill_n(blank->buf[plane]->data, blank->buf[plane]->size, std::uint8_t{0});
    }
    EncodeAvif(*blank, form, settings, encoder, name);
}

void PictureEncoder::WriteAvif(AVFrame const& picture) const {
    std::vector<std::uint8_t> content = EncodeAvif(picture, form, settings, encoder, name);
    PacketPtr const packet = MakePacket();
    packet->data = content.data();
    packet->size = static_cast<int>(content.size());
    pictureSink(*packet);
}

void PictureEncoder::Finish() {
    if (stream) {
        stream->Write(nullptr);
    }
}

}  // namespace Kaltor::Media
