#include "Media/EncoderForm.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Media/AvifEncoder.h"
#include "Media/EncoderChoice.h"
#include "Proc/Data/HalfConverter.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Media {
namespace {

bool HasAlphaPlane(AVPixelFormat format) {
    AVPixFmtDescriptor const& description = *av_pix_fmt_desc_get(format);
    return (description.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

int BitsOf(AVPixelFormat format) {
    return std::min(av_pix_fmt_desc_get(format)->comp[0].depth, 16);
}

/// Those in main memory that can be made of what effects make.
std::vector<AVPixelFormat> ListFormats(AVCodec const& encoder) {
    std::vector<AVPixelFormat> formats;
    for (AVPixelFormat const* f = encoder.pix_fmts; f != nullptr && *f != AV_PIX_FMT_NONE; ++f) {
        if (Proc::HalfConverter::Takes(*f)) {
            formats.push_back(*f);
        }
    }
    return formats;
}

/// Alpha beside VP8 and VP9 is known to Matroska only.
bool CarriesAlpha(AVOutputFormat const& container, AVCodec const& encoder) {
    std::string_view const name = container.name;
    bool const isBeside = encoder.id == AV_CODEC_ID_VP8 || encoder.id == AV_CODEC_ID_VP9;
    return !isBeside || name == "webm" || name == "matroska";
}

/// Formats of pictures that say nothing of their transfer.
bool IsUntagged(AVCodecID codec) {
    constexpr std::array kPictures{AV_CODEC_ID_GIF,  AV_CODEC_ID_APNG,  AV_CODEC_ID_PNG,
                                   AV_CODEC_ID_WEBP, AV_CODEC_ID_QTRLE, AV_CODEC_ID_MJPEG,
                                   AV_CODEC_ID_TIFF, AV_CODEC_ID_BMP,   AV_CODEC_ID_EXR};
    return std::find(kPictures.begin(), kPictures.end(), codec) != kPictures.end();
}

}  // namespace

EncoderAbilities GetAbilities(std::string const& path, EncoderSettings const& settings) {
    AVOutputFormat const& container = FindContainer(path, settings.format);
    AVCodec const& encoder = FindVideoEncoder(container, settings.codec, path);
    EncoderAbilities abilities{encoder.name, encoder.id};
    abilities.hasHdr = !IsUntagged(encoder.id);
    std::vector<AVPixelFormat> formats = ListFormats(encoder);
    AVPixelFormat const wanted =
        settings.pixelFormat.empty() ? AV_PIX_FMT_NONE : av_get_pix_fmt(settings.pixelFormat.c_str());
    if (wanted != AV_PIX_FMT_NONE) {
        formats = {wanted};
    } else if (encoder.pix_fmts == nullptr) {
        abilities.bits = 16;
        abilities.alphaBits = 16;
    }
    if (std::string_view(container.name) == "image2" && IsAvifName(path)) {
        for (AVPixelFormat const format : std::vector<AVPixelFormat>(formats)) {
            formats.push_back(AddAlpha(format));
        }
        std::erase_if(formats, [](AVPixelFormat format) { return !Proc::HalfConverter::Takes(format); });
    }
    for (AVPixelFormat const format : formats) {
        abilities.bits = std::max(abilities.bits, BitsOf(format));
        if (HasAlphaPlane(format) && CarriesAlpha(container, encoder)) {
            abilities.alphaBits = std::max(abilities.alphaBits, BitsOf(format));
        }
    }
    if (encoder.id == AV_CODEC_ID_GIF) {
        abilities.alphaBits = 8;  // an entry of the palette
    }
    return abilities;
}

std::string FindDeepEncoder(std::string const& path, EncoderSettings const& settings) {
    AVOutputFormat const& container = FindContainer(path, settings.format);
    AVCodec const& usual = FindVideoEncoder(container, "", path);
    // Hardly a player takes H.264 of 10 bits.
    AVCodec const* const hevc = avcodec_find_encoder_by_name("libx265");
    bool const isBetter = usual.id == AV_CODEC_ID_H264 && hevc != nullptr &&
                          avformat_query_codec(&container, AV_CODEC_ID_HEVC, FF_COMPLIANCE_NORMAL) > 0;
    return isBetter ? hevc->name : "";
}

std::string FindAlphaEncoder(std::string const& path, EncoderSettings const& settings) {
    EncoderSettings named = settings;
    named.codec.clear();
    if (GetAbilities(path, named).alphaBits > 0) {
        return "";
    }
    // Others take alpha too, in files that hardly a player knows.
    std::vector<std::string> const names = ListEncoders(FindContainer(path, settings.format), AVMEDIA_TYPE_VIDEO);
    for (char const* const name : {"libvpx-vp9", "prores_ks", "qtrle", "ffv1"}) {
        named.codec = name;
        if (std::find(names.begin(), names.end(), name) != names.end() && GetAbilities(path, named).alphaBits > 0) {
            return name;
        }
    }
    return "";
}

AVPixelFormat MakeLike(MediaInfo const& source, int bits, bool hasAlpha) {
    constexpr std::array kDepths{8, 10, 12, 16};
    for (int const depth : kDepths) {
        if (depth < bits) {
            continue;
        }
        std::string const sampling = source.chromaXLog2 == 0 ? "444" : source.chromaYLog2 == 0 ? "422" : "420";
        std::string name = source.isRgb ? fmt::format("gbr{}p", hasAlpha ? "a" : "")
                                        : fmt::format("yuv{}{}p", hasAlpha ? "a" : "", sampling);
        if (depth > 8) {
            name += fmt::format("{}le", depth);
        }
        if (AVPixelFormat const format = av_get_pix_fmt(name.c_str()); format != AV_PIX_FMT_NONE) {
            return format;
        }
    }
    return hasAlpha ? AV_PIX_FMT_YUVA444P16 : AV_PIX_FMT_YUV444P16;
}

AVPixelFormat AddAlpha(AVPixelFormat format) {
    std::string name = av_get_pix_fmt_name(format);
    return name.starts_with("yuv") || name.starts_with("gbr") ? av_get_pix_fmt(name.insert(3, "a").c_str())
                                                              : AV_PIX_FMT_NONE;
}

AVPixelFormat RemoveAlpha(AVPixelFormat format) {
    std::string name = av_get_pix_fmt_name(format);
    return name.starts_with("yuva") || name.starts_with("gbra") ? av_get_pix_fmt(name.erase(3, 1).c_str())
                                                                : AV_PIX_FMT_NONE;
}

AVPixelFormat FindNearestFormat(AVCodec const& encoder, AVPixelFormat like) {
    if (encoder.pix_fmts == nullptr) {
        return like;
    }
    std::vector<AVPixelFormat> formats = ListFormats(encoder);
    auto const narrow = [&formats](auto const& fits) {
        if (std::any_of(formats.begin(), formats.end(), fits)) {
            std::erase_if(formats, [&fits](AVPixelFormat format) { return !fits(format); });
        }
    };
    bool const hasAlpha = HasAlphaPlane(like);
    narrow([hasAlpha](AVPixelFormat format) { return HasAlphaPlane(format) == hasAlpha; });
    if (BitsOf(like) > 8) {
        narrow([](AVPixelFormat format) { return BitsOf(format) > 8; });
    }
    if (formats.empty()) {
        return AV_PIX_FMT_NONE;
    }
    formats.push_back(AV_PIX_FMT_NONE);
    return avcodec_find_best_pix_fmt_of_list(formats.data(), like, hasAlpha ? 1 : 0, nullptr);
}

void TagColors(AVCodecContext& codec, VideoTarget const& form) {
    AVPixelFormat const format = GetAvFormat(form);
    bool const isHdr = IsHdr(form.transfer);
    if ((av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0) {
        codec.colorspace = AVCOL_SPC_RGB;
        codec.color_range = AVCOL_RANGE_JPEG;
        if (isHdr) {
            codec.color_primaries = form.primaries;
            codec.color_trc = form.transfer;
        }
        return;
    }
    codec.color_range = form.colorSpec.range == ColorRange::Full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    bool const isP3 = form.primaries == AVCOL_PRI_SMPTE431 || form.primaries == AVCOL_PRI_SMPTE432;
    switch (form.colorSpec.matrix) {
        case ColorMatrix::Bt709:
            codec.colorspace = AVCOL_SPC_BT709;
            codec.color_primaries = isP3 || isHdr ? form.primaries : AVCOL_PRI_BT709;
            codec.color_trc = isHdr ? form.transfer : AVCOL_TRC_BT709;
            break;
        case ColorMatrix::Bt2020:
            codec.colorspace = AVCOL_SPC_BT2020_NCL;
            codec.color_primaries = isP3 ? form.primaries : AVCOL_PRI_BT2020;
            codec.color_trc = form.transfer;  // there are several
            break;
        default:
            // 525 or 625 lines: the primaries differ, the matrix does not.
            bool const is625 = form.frame.height == 576 || form.frame.height == 288;
            codec.colorspace = is625 ? AVCOL_SPC_BT470BG : AVCOL_SPC_SMPTE170M;
            codec.color_primaries = is625 ? AVCOL_PRI_BT470BG : AVCOL_PRI_SMPTE170M;
            codec.color_trc = AVCOL_TRC_SMPTE170M;
            break;
    }
}

std::string MakeX265Levels(HdrLevels const& levels) {
    std::string text;
    if (levels.mastering && levels.mastering->has_primaries != 0 && levels.mastering->has_luminance != 0) {
        AVMasteringDisplayMetadata const& m = *levels.mastering;
        auto const place = [](AVRational value) { return std::lround(av_q2d(value) * 50000.0); };
        auto const light = [](AVRational value) { return std::lround(av_q2d(value) * 10000.0); };
        text = fmt::format("master-display=G({},{})B({},{})R({},{})WP({},{})L({},{})", place(m.display_primaries[1][0]),
                           place(m.display_primaries[1][1]), place(m.display_primaries[2][0]),
                           place(m.display_primaries[2][1]), place(m.display_primaries[0][0]),
                           place(m.display_primaries[0][1]), place(m.white_point[0]), place(m.white_point[1]),
                           light(m.max_luminance), light(m.min_luminance));
    }
    if (levels.content) {
        text +=
            fmt::format("{}max-cll={},{}", text.empty() ? "" : ":", levels.content->MaxCLL, levels.content->MaxFALL);
    }
    return text;
}

}  // namespace Kaltor::Media
