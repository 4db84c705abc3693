#include "Media/Picture.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/Alpha.h"
#include "Media/AvifEncoder.h"
#include "Media/Conformer.h"
#include "Media/EncoderForm.h"
#include "Media/PartialFile.h"
#include "Media/StreamDecoder.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Media {
namespace {

/// A palette has alpha only where an entry uses it.
bool HasAlpha(AVFrame const& picture) {
    if (picture.format == AV_PIX_FMT_PAL8) {
        constexpr std::uint32_t kOpaque = 0xFF000000U;
        auto const* const entries = reinterpret_cast<std::uint32_t const*>(picture.data[1]);
        return std::any_of(entries, entries + AVPALETTE_COUNT,
                           [](std::uint32_t e) { return (e & kOpaque) != kOpaque; });
    }
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

/// The picture's own size and pixel shape in another pixel format.
Proc::AvFramePtr Repack(AVFrame const& picture, Orientation const& orientation, ColorSpec const& colorSpec,
                        PixFmt format, std::string const& name, AVPixelFormat exact = AV_PIX_FMT_NONE,
                        bool isPremultiplied = false) {
    Conf::FrameInfo info = Proc::GetFrameInfo(picture);
    if (orientation.SwapsSides()) {
        std::swap(info.width, info.height);
        std::swap(info.pixelAspectX, info.pixelAspectY);
    }
    VideoTarget target{info, {1, 1}, colorSpec, format};
    target.exact = exact;
    Conformer conformer(name, target, Conformer::Alpha::Drop);
    conformer.SetPremultiplied(isPremultiplied);
    return conformer.Convert(picture, orientation);
}

bool IsDeep(AVFrame const& picture) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_PAL) == 0 && description->comp[0].depth > 8;
}

boost::intrusive_ptr<Proc::DataVideoFF> DecodeFirst(Demuxer& demuxer, std::uint32_t maximumSide, bool keepsDepth) {
    AVStream& stream = demuxer.RequireVideo();
    auto const checkSize = [&](int width, int height) {
        if (static_cast<std::uint32_t>(std::max(width, height)) > maximumSide) {
            Core::Throw(MediaError(fmt::format("{}: {}x{} is too large; the largest side possible is {} pixels",
                                               demuxer.GetName(), width, height, maximumSide)));
        }
    };
    checkSize(stream.codecpar->width, stream.codecpar->height);
    StreamDecoder decoder(demuxer, stream);
    Proc::AvFramePtr frame = decoder.Next();
    if (!frame) {
        Core::Throw(MediaError(fmt::format("{}: no picture can be decoded ({})", demuxer.GetName(),
                                           decoder.GetDamage() ? decoder.GetDamageText() : "it is cut off")));
    }
    checkSize(frame->width, frame->height);
    Orientation const ofFrame = Orientation::Of(*frame);
    Orientation const orientation = *ofFrame.filter != '\0' ? ofFrame : Orientation::Of(stream);
    PixFmt const plain = HasAlpha(*frame) ? PixFmt::Rgba : PixFmt::Rgb24;
    PixFmt const deep = HasAlpha(*frame) ? PixFmt::RgbaF16 : PixFmt::RgbF16;
    return Proc::DataVideoFF::Wrap(Repack(*frame, orientation, {}, keepsDepth && IsDeep(*frame) ? deep : plain,
                                          demuxer.GetName(), AV_PIX_FMT_NONE, decoder.IsPremultiplied()));
}

/// One picture's packet. `quality`: of lossy codecs, in lambda units.
std::vector<std::uint8_t> Encode(AVFrame& picture, AVCodecID id, std::string const& name, char const* options,
                                 int quality) {
    CaptureFfmpegLog();
    AVCodec const* const encoder = avcodec_find_encoder(id);
    if (encoder == nullptr) {
        Core::Throw(MediaError(fmt::format("this FFmpeg has no {} encoder", name)));
    }
    CodecContextPtr const codec(CheckAllocated(avcodec_alloc_context3(encoder)));
    codec->width = picture.width;
    codec->height = picture.height;
    codec->pix_fmt = static_cast<AVPixelFormat>(picture.format);
    codec->color_range = picture.color_range;
    codec->time_base = {1, 1};
    codec->sample_aspect_ratio = picture.sample_aspect_ratio;
    picture.pts = 0;
    if (quality > 0) {
        codec->flags |= AV_CODEC_FLAG_QSCALE;
        codec->global_quality = quality;
        picture.quality = quality;
    }
    AVDictionary* dictionary = nullptr;
    av_dict_parse_string(&dictionary, options, "=", ":", 0);
    int result = avcodec_open2(codec.get(), encoder, &dictionary);
    av_dict_free(&dictionary);
    PacketPtr const packet = MakePacket();
    if (result >= 0) {
        result = avcodec_send_frame(codec.get(), &picture);
    }
    if (result >= 0) {
        result = avcodec_send_frame(codec.get(), nullptr);
    }
    if (result >= 0) {
        result = avcodec_receive_packet(codec.get(), packet.get());
    }
    if (result < 0) {
        ThrowMediaError(name, "the picture cannot be encoded", result);
    }
    return {packet->data, packet->data + packet->size};
}

/// As browsers' pictures are: full range, and R'G'B' of sRGB.
std::vector<std::uint8_t> EncodeAvifPicture(Proc::DataVideoFF const& picture, AVPixelFormat wanted, bool hasAlpha) {
    AVCodec const& encoder = RequireAvifEncoder();
    AVPixelFormat const format = FindNearestFormat(encoder, wanted);
    VideoTarget form;
    form.colorSpec = {ColorMatrix::Bt709, ColorRange::Full};
    form.transfer = AVCOL_TRC_IEC61966_2_1;
    form.exact = hasAlpha ? AddAlpha(format) : format;
    Proc::AvFramePtr const frame =
        Repack(*picture.Share(), {}, form.colorSpec, picture.GetPixFmt(), "the picture", form.exact);
    form.frame = Proc::GetFrameInfo(*frame);
    return EncodeAvif(*frame, form, {}, encoder, "the picture");
}

}  // namespace

boost::intrusive_ptr<Proc::DataVideoFF> ReadPicture(std::string const& path, std::uint32_t maximumSide,
                                                    bool keepsDepth) {
    Demuxer demuxer(path);
    return DecodeFirst(demuxer, maximumSide, keepsDepth);
}

boost::intrusive_ptr<Proc::DataVideoFF> DecodePicture(std::vector<std::uint8_t> const& content, std::string const& name,
                                                      std::uint32_t maximumSide, bool keepsDepth) {
    Demuxer demuxer(content, name);
    return DecodeFirst(demuxer, maximumSide, keepsDepth);
}

std::vector<std::uint8_t> EncodePng(Proc::DataVideoFF const& picture) {
    PixFmtDescription const& description = PixFmtDescription::Find(picture.GetPixFmt());
    if (description.IsFloat()) {
        return Encode(*Repack(*picture.Share(), {}, {}, picture.GetPixFmt(), "PNG",
                              description.HasAlpha() ? AV_PIX_FMT_RGBA64BE : AV_PIX_FMT_RGB48BE),
                      AV_CODEC_ID_PNG, "PNG", "pred=mixed", 0);
    }
    PixFmt const format = OutputFormat(picture.GetPixFmt());
    Proc::AvFramePtr const tagged = picture.Share();
    Proc::AvFramePtr const frame =
        picture.GetPixFmt() == format ? Proc::ShareAvFrame(*tagged) : Repack(*tagged, {}, {}, format, "PNG");
    return Encode(*frame, AV_CODEC_ID_PNG, "PNG", "pred=mixed", 0);
}

std::vector<std::uint8_t> EncodePicture(Proc::DataVideoFF const& picture, std::string const& ending) {
    if (ending == ".png") {
        return EncodePng(picture);
    }
    PixFmtDescription const& description = PixFmtDescription::Find(picture.GetPixFmt());
    bool const hasAlpha = description.HasAlpha();
    if (ending == ".avif") {
        return EncodeAvifPicture(picture, description.IsFloat() ? AV_PIX_FMT_YUV444P10 : AV_PIX_FMT_YUV444P, hasAlpha);
    }
    bool const isTiff = ending == ".tif" || ending == ".tiff";
    if (!isTiff && ending != ".exr") {
        Core::Throw(std::invalid_argument(fmt::format("{} is no kind of picture that is written", ending)));
    }
    AVPixelFormat const format = !isTiff                 ? (hasAlpha ? AV_PIX_FMT_GBRAPF32 : AV_PIX_FMT_GBRPF32)
                                 : description.IsFloat() ? (hasAlpha ? AV_PIX_FMT_RGBA64LE : AV_PIX_FMT_RGB48LE)
                                                         : (hasAlpha ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24);
    Proc::AvFramePtr const frame = Repack(*picture.Share(), {}, {}, picture.GetPixFmt(), "the picture", format);
    if (isTiff) {
        return Encode(*frame, AV_CODEC_ID_TIFF, "TIFF", "compression_algo=deflate", 0);
    }
    if (hasAlpha) {
        MultiplyByAlpha(*frame);
    }
    return Encode(*frame, AV_CODEC_ID_EXR, "OpenEXR", "format=half:compression=zip16", 0);
}

std::vector<std::uint8_t> EncodeJpeg(Proc::DataVideoFF const& picture) {
    constexpr int kQuality = 4 * FF_QP2LAMBDA;
    ColorSpec const jfif{ColorMatrix::Bt601, ColorRange::Full};
    return Encode(*Repack(*picture.Share(), {}, jfif, PixFmt::Yuv420p, "JPEG"), AV_CODEC_ID_MJPEG, "JPEG",
                  "huffman=optimal", kQuality);
}

void WritePng(std::string const& path, Proc::DataVideoFF const& picture, bool overwrite) {
    WriteFile(path, EncodePng(picture), overwrite);
}

}  // namespace Kaltor::Media
