#include "Media/Conformer.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Media {
namespace {

bool HasFlag(int format, std::uint64_t flag) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return description != nullptr && (description->flags & flag) != 0;
}

bool IsRgb(int format) {
    return HasFlag(format, AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL);
}

bool IsGray(int format) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return description != nullptr && description->nb_components <= 2 && !IsRgb(format);
}

bool IsFloat(PixFmt format) {
    return format != PixFmt::Unknown && PixFmtDescription::Find(format).IsFloat();
}

char const* MatrixName(ColorMatrix matrix) {
    switch (matrix) {
        case ColorMatrix::Bt709:
            return "bt709";
        case ColorMatrix::Bt2020:
            return "bt2020";
        default:
            return "bt601";
    }
}

char const* RangeName(ColorRange range) {
    return range == ColorRange::Full ? "full" : "limited";
}

/// The deprecated full-range twins are the plain formats with a tag.
AVPixelFormat PlainFormat(int format) {
    PixFmt const ours = Proc::FromAvPixelFormat(static_cast<AVPixelFormat>(format));
    return ours == PixFmt::Unknown ? static_cast<AVPixelFormat>(format) : Proc::ToAvPixelFormat(ours);
}

AVRational PixelAspect(AVRational aspect) {
    return aspect.num > 0 && aspect.den > 0 ? aspect : AVRational{1, 1};
}

AVRational PixelAspect(Conf::FrameInfo const& info) {
    return {static_cast<int>(info.pixelAspectX), static_cast<int>(info.pixelAspectY)};
}

}  // namespace

bool Conformer::Source::operator==(Source const& other) const {
    return width == other.width && height == other.height && format == other.format &&
           av_cmp_q(pixelAspect, other.pixelAspect) == 0 && colorSpec == other.colorSpec && volume == other.volume &&
           std::string_view(filter) == other.filter && isPremultiplied == other.isPremultiplied;
}

Conformer::Conformer(std::string nameOfSource, VideoTarget const& wanted, Alpha alpha)
    : name(std::move(nameOfSource)),
      target(wanted),
      targetFormat(wanted.exact != AV_PIX_FMT_NONE ? wanted.exact : Proc::ToAvPixelFormat(wanted.pixFmt)),
      alphaMode(alpha) {
    target.colorSpec = target.colorSpec.Resolved(target.frame.height);
}

ColorSpec Conformer::ReadAs(AVFrame const& picture) {
    ColorSpec spec = Proc::GetColorSpec(picture);
    if (spec.range == ColorRange::Unspecified && IsGray(picture.format)) {
        spec.range = ColorRange::Full;  // grey pictures without a tag are stills and masks
    }
    return spec.Resolved(static_cast<std::uint32_t>(picture.height));
}

Conf::FrameInfo Conformer::GetFrame(Source const& source, Orientation const& orientation) const {
    if (!target.keepsSize) {
        return target.frame;
    }
    Conf::FrameInfo frame{static_cast<std::uint32_t>(source.width), static_cast<std::uint32_t>(source.height),
                          static_cast<std::uint32_t>(source.pixelAspect.num),
                          static_cast<std::uint32_t>(source.pixelAspect.den)};
    if (orientation.SwapsSides()) {
        std::swap(frame.width, frame.height);
        std::swap(frame.pixelAspectX, frame.pixelAspectY);
    }
    if (target.shrink < 1.0) {
        auto const shrink = [this](std::uint32_t side) {
            return std::max(2U, 2U * static_cast<std::uint32_t>(std::lround(side * target.shrink / 2.0)));
        };
        frame.width = shrink(frame.width);
        frame.height = shrink(frame.height);
    }
    return frame;
}

bool Conformer::IsInForm(AVFrame const& picture, Source const& source) const {
    if (IsFloatTarget() != IsFloat(Proc::GetPixFmt(picture))) {
        return false;
    }
    bool const isSameColor = IsRgb(targetFormat) || source.colorSpec == target.colorSpec;
    Conf::FrameInfo const frame = GetFrame(source, {});
    return *source.filter == '\0' && !source.isPremultiplied && source.width == static_cast<int>(frame.width) &&
           source.height == static_cast<int>(frame.height) && source.format == targetFormat &&
           av_cmp_q(source.pixelAspect, PixelAspect(frame)) == 0 && isSameColor &&
           !NeedsConversion(source.volume, {target.transfer, target.primaries, target.colorSpec.matrix}) &&
           picture.crop_left + picture.crop_top + picture.crop_right + picture.crop_bottom == 0;
}

Conformer::Box Conformer::FitInto(Source const& source, Orientation const& orientation) const {
    double width = source.width;
    double height = source.height;
    double aspect = av_q2d(source.pixelAspect);
    if (orientation.SwapsSides()) {
        std::swap(width, height);
        aspect = 1.0 / aspect;
    }
    Conf::FrameInfo const frame = GetFrame(source, orientation);
    int const fullWidth = static_cast<int>(frame.width);
    int const fullHeight = static_cast<int>(frame.height);
    double const shape = width * aspect / av_q2d(PixelAspect(frame)) / height;
    double const scale = std::min(fullWidth / shape, static_cast<double>(fullHeight));
    // Even numbers keep the chroma samples in place; a bar one pixel wide on each side would only show a rounding
    // error.
    auto const round = [](double size, int full) {
        int const even = std::max(2, 2 * static_cast<int>(std::lround(size / 2.0)));
        return even + 2 >= full ? full : even;
    };
    Box box{0, 0, round(shape * scale, fullWidth), round(scale, fullHeight)};
    box.x = (fullWidth - box.width) / 4 * 2;
    box.y = (fullHeight - box.height) / 4 * 2;
    return box;
}

std::string Conformer::MakeDivision(Source const& source) {
    if (!source.isPremultiplied) {
        return "";
    }
    if (source.format == AV_PIX_FMT_GBRAPF32) {
        return "unpremultiply=inplace=1,";  // what is above 1 stays
    }
    std::string const readAs = IsRgb(source.format)
                                   ? ""
                                   : fmt::format(":in_color_matrix={}:in_range={}", MatrixName(source.colorSpec.matrix),
                                                 RangeName(source.colorSpec.range));
    return fmt::format("scale=flags=bicubic+accurate_rnd+full_chroma_int{},format=gbrap16,unpremultiply=inplace=1,",
                       readAs);
}

std::string Conformer::MakeChain(Source const& source, Box const& box) const {
    bool const isComposed = source.format != AV_PIX_FMT_NONE && alphaMode == Alpha::OverBlack &&
                            HasFlag(source.format, AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL) &&
                            !HasFlag(targetFormat, AV_PIX_FMT_FLAG_ALPHA);
    std::string const flags = "flags=bicubic+accurate_rnd+full_chroma_int";
    std::string const readAs = fmt::format("in_color_matrix={}:in_range={}", MatrixName(source.colorSpec.matrix),
                                           RangeName(source.colorSpec.range));
    std::string chain;
    if (isComposed && source.isPremultiplied) {
        chain += fmt::format("scale={}:{},format=gbrap,format=gbrp,", flags, readAs);  // black adds nothing
    } else if (source.isPremultiplied) {
        chain += MakeDivision(source);
    } else if (isComposed) {
        chain += fmt::format("scale={}:{},format=gbrap,premultiply=inplace=1,format=gbrp,", flags, readAs);
    }
    if (*source.filter != '\0') {
        chain += fmt::format("{},", source.filter);
    }
    chain += fmt::format("scale={}:{}:{}", box.width, box.height, flags);
    if (!isComposed && !source.isPremultiplied && !IsRgb(source.format)) {
        chain += ":" + readAs;
    }
    if (!IsRgb(targetFormat)) {
        chain += fmt::format(":out_color_matrix={}:out_range={}", MatrixName(target.colorSpec.matrix),
                             RangeName(target.colorSpec.range));
    }
    return chain + fmt::format(",format={}", av_get_pix_fmt_name(targetFormat));
}

std::string Conformer::MakeLinearChain(Source const& source, Box const& box) const {
    bool const hasAlpha = HasFlag(source.format, AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL);
    // What zimg takes; the nearest one is made of others.
    std::string chain = MakeDivision(source);
    chain +=
        hasAlpha
            ? "format=yuva420p|yuva422p|yuva444p|yuva420p10|yuva422p10|yuva444p10|yuva444p16|gbrap|gbrap16|gbrapf32,"
            : "format=gray|gray10|gray16|yuv420p|yuv422p|yuv444p|yuv420p10|yuv422p10|yuv444p10|yuv420p12|yuv422p12|"
              "yuv444p12|yuv420p16|yuv422p16|yuv444p16|gbrp|gbrp10|gbrp12|gbrp16|gbrpf32,";
    if (*source.filter != '\0') {
        chain += fmt::format("{},", source.filter);
    }
    ColorVolume const to{target.transfer, target.primaries, target.colorSpec.matrix};
    chain += MakeLinearFilter(source.volume, source.colorSpec, IsRgb(source.format) || source.isPremultiplied, to);
    return chain + fmt::format(":w={}:h={},format={}", box.width, box.height, hasAlpha ? "gbrapf32" : "gbrpf32");
}

void Conformer::Build(Source const& source, Box const& box, Road road) {
    ClearFfmpegLog();
    graph.reset(CheckAllocated(avfilter_graph_alloc()));
    std::string chain;
    if (road == Road::Linear) {
        chain = MakeLinearChain(source, box);
        encoder = std::make_unique<LightEncoder const>(source.volume.transfer, levels.GetPeak(), target.transfer);
    } else if (road == Road::InForm) {
        chain = MakeChain(source, box);
    } else {
        bool const hasAlpha = HasFlag(source.format, AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL);
        chain = MakeDivision(source);
        chain += *source.filter != '\0' ? fmt::format("{},", source.filter) : "";
        if (HasFlag(source.format, AV_PIX_FMT_FLAG_FLOAT)) {
            // FFmpeg's own scaler would cut off what is above 1.
            chain += fmt::format("zscale=w={}:h={}:filter=bicubic,format={}", box.width, box.height,
                                 hasAlpha ? "gbrapf32" : "gbrpf32");
        } else {
            chain += fmt::format("scale={}:{}:flags=bicubic+accurate_rnd+full_chroma_int", box.width, box.height);
            if (!IsRgb(source.format) && !source.isPremultiplied) {
                chain += fmt::format(":in_color_matrix={}:in_range={}", MatrixName(source.colorSpec.matrix),
                                     RangeName(source.colorSpec.range));
            }
            chain += fmt::format(",format={}", hasAlpha ? "gbrap16" : "gbrp16");
        }
    }

    std::string const parameters =
        fmt::format("video_size={}x{}:pix_fmt={}:time_base=1/1000000:pixel_aspect={}/{}", source.width, source.height,
                    source.format, source.pixelAspect.num, source.pixelAspect.den);
    int result = avfilter_graph_create_filter(&input, avfilter_get_by_name("buffer"), "in", parameters.c_str(), nullptr,
                                              graph.get());
    if (result >= 0) {
        result = avfilter_graph_create_filter(&output, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr,
                                              graph.get());
    }
    if (result >= 0) {
        AVFilterInOut* inputs = avfilter_inout_alloc();
        AVFilterInOut* outputs = avfilter_inout_alloc();
        if (inputs == nullptr || outputs == nullptr) {
            throw std::bad_alloc();
        }
        *outputs = {av_strdup("in"), input, 0, nullptr};
        *inputs = {av_strdup("out"), output, 0, nullptr};
        result = avfilter_graph_parse_ptr(graph.get(), chain.c_str(), &inputs, &outputs, nullptr);
        avfilter_inout_free(&inputs);
        avfilter_inout_free(&outputs);
    }
    if (result >= 0) {
        result = avfilter_graph_config(graph.get(), nullptr);
    }
    if (result < 0) {
        ThrowMediaError(name, "its pictures cannot be converted", result);
    }
    built = source;
    builtRoad = road;
}

Proc::AvFramePtr Conformer::Finish(Proc::AvFramePtr picture, Conf::FrameInfo const& frame) const {
    picture->format = targetFormat;
    picture->sample_aspect_ratio = PixelAspect(frame);
    if (IsRgb(targetFormat)) {
        picture->colorspace = AVCOL_SPC_RGB;
        picture->color_range = AVCOL_RANGE_JPEG;
    } else {
        Proc::SetColorSpec(*picture, target.colorSpec);
    }
    if (target.transfer != AVCOL_TRC_UNSPECIFIED) {
        picture->color_trc = target.transfer;
        picture->color_primaries = target.primaries;
    }
    picture->pict_type = AV_PICTURE_TYPE_NONE;  // an encoder would take it for an order
    picture->key_frame = 0;
    picture->interlaced_frame = 0;
    return picture;
}

bool Conformer::IsFloatTarget() const {
    return target.exact == AV_PIX_FMT_NONE && IsFloat(target.pixFmt);
}

Proc::AvFramePtr Conformer::Filter(AVFrame const& picture, Source const& source, Box const& box, Road road) {
    if (!graph || !(source == built) || road != builtRoad) {
        if (HdrLevels const own = GetHdrLevels(picture); own.mastering || own.content) {
            levels = own;
        }
        Build(source, box, road);
    }
    Proc::AvFramePtr const tagged = Proc::ShareAvFrame(picture);
    tagged->format = source.format;
    tagged->pts = 0;
    if (!IsRgb(source.format)) {
        Proc::SetColorSpec(*tagged, source.colorSpec);
    }
    Proc::AvFramePtr scaled = Proc::MakeAvFrame();
    ClearFfmpegLog();
    int result = av_buffersrc_add_frame_flags(input, tagged.get(), AV_BUFFERSRC_FLAG_PUSH);
    if (result >= 0) {
        result = av_buffersink_get_frame(output, scaled.get());
    }
    if (result < 0) {
        graph.reset();
        ThrowMediaError(name, "its pictures cannot be converted", result);
    }
    return scaled;
}

void Conformer::RestoreAlpha(AVFrame& picture) const {
    AVFilterContext** const end = graph->filters + graph->nb_filters;
    AVFilterContext** const zscale = std::find_if(graph->filters, end, [](AVFilterContext const* filter) {
        return std::string_view(filter->filter->name) == "zscale";
    });
    int const format = (*zscale)->inputs[0]->format;
    if (!HasFlag(format, AV_PIX_FMT_FLAG_ALPHA) || HasFlag(format, AV_PIX_FMT_FLAG_FLOAT)) {
        return;
    }
    // zscale takes alpha for limited range when it makes integers floats, whatever the range of the colours is.
    int const depth = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format))->comp[3].depth;
    auto const most = static_cast<float>((1 << depth) - 1);
    float const scale = static_cast<float>(219 << (depth - 8)) / most;
    float const black = static_cast<float>(16 << (depth - 8)) / most;
    for (int y = 0; y < picture.height; ++y) {
        auto* const row = reinterpret_cast<float*>(picture.data[3] + std::ptrdiff_t{y} * picture.linesize[3]);
        std::transform(row, row + picture.width, row,
                       [=](float alpha) { return std::clamp(alpha * scale + black, 0.0F, 1.0F); });
    }
}

Proc::AvFramePtr Conformer::AddBars(Proc::AvFramePtr scaled, Box const& box, Conf::FrameInfo const& frame) const {
    if (box.width == static_cast<int>(frame.width) && box.height == static_cast<int>(frame.height)) {
        return scaled;
    }
    // The pad filter takes the range from the pixel format, not from the frame's tag.
    Proc::AvFramePtr barred =
        Proc::AllocateAvFrame(targetFormat, static_cast<int>(frame.width), static_cast<int>(frame.height));
    std::ptrdiff_t const strides[4] = {barred->linesize[0], barred->linesize[1], barred->linesize[2],
                                       barred->linesize[3]};
    av_image_fill_black(barred->data, strides, targetFormat,
                        target.colorSpec.range == ColorRange::Full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG, barred->width,
                        barred->height);
    AVPixFmtDescriptor const& description = *av_pix_fmt_desc_get(targetFormat);
    std::uint8_t* corner[4] = {};
    for (int plane = 0; plane < av_pix_fmt_count_planes(targetFormat); ++plane) {
        bool const isChroma = plane == 1 || plane == 2;
        int const row = isChroma ? box.y >> description.log2_chroma_h : box.y;
        int const bytes = av_image_get_linesize(targetFormat, box.x, plane);
        corner[plane] = barred->data[plane] + std::ptrdiff_t{row} * barred->linesize[plane] + bytes;
    }
    av_image_copy(corner, barred->linesize, const_cast<std::uint8_t const**>(scaled->data), scaled->linesize,
                  targetFormat, box.width, box.height);
    return barred;
}

Proc::AvFramePtr Conformer::FromHalf(AVFrame const& half) {
    if (!Proc::HalfConverter::Takes(targetFormat)) {
        Core::Throw(MediaError(
            fmt::format("{}: pictures of 16-bit float cannot become {}", name, av_get_pix_fmt_name(targetFormat))));
    }
    Proc::AvFramePtr made = Proc::AllocateAvFrame(targetFormat, half.width, half.height);
    halves.FromHalf(half, *made, target.colorSpec,
                    alphaMode == Alpha::OverBlack ? std::optional(target.background) : std::nullopt);
    return made;
}

Proc::AvFramePtr Conformer::ConvertDeep(AVFrame const& picture, Source const& source, Box const& box,
                                        Conf::FrameInfo const& frame, bool hasOtherColors) {
    bool const isOpaque = !HasFlag(source.format, AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL);
    bool const keepsForm = !hasOtherColors && !source.isPremultiplied && *source.filter == '\0' &&
                           source.width == box.width && source.height == box.height &&
                           Proc::HalfConverter::Takes(static_cast<AVPixelFormat>(source.format)) &&
                           picture.crop_left + picture.crop_top + picture.crop_right + picture.crop_bottom == 0;
    Proc::AvFramePtr filtered;
    if (!keepsForm) {
        filtered = Filter(picture, source, box, hasOtherColors ? Road::Linear : Road::Scaled);
        if (hasOtherColors) {
            if (av_frame_make_writable(filtered.get()) < 0) {
                throw std::bad_alloc();
            }
            RestoreAlpha(*filtered);
            encoder->Encode(*filtered);
        }
    }
    bool const keepsAlpha = !isOpaque && (!IsFloatTarget() || target.pixFmt == PixFmt::RgbaF16);
    PixFmt const form =
        keepsAlpha || (IsFloatTarget() && target.pixFmt == PixFmt::RgbaF16) ? PixFmt::RgbaF16 : PixFmt::RgbF16;
    Proc::AvFramePtr half =
        Proc::AllocateAvFrame(AV_PIX_FMT_RGBA64, static_cast<int>(frame.width), static_cast<int>(frame.height));
    Proc::MarkPixFmt(*half, form);
    AVFrame part = *half;  // a view without references
    if (box.width != part.width || box.height != part.height) {
        // Opaque black: of four words, the last is 1.
        constexpr std::uint64_t kBlack = std::uint64_t{0x3C00U} << 48U;
        for (int y = 0; y < half->height; ++y) {
            auto* const row = reinterpret_cast<std::uint64_t*>(half->data[0] + std::ptrdiff_t{y} * half->linesize[0]);
            std::fill(row, row + half->width, kBlack);
        }
        constexpr std::ptrdiff_t kPixel = 8;
        part.data[0] += std::ptrdiff_t{box.y} * half->linesize[0] + box.x * kPixel;
        part.width = box.width;
        part.height = box.height;
    }
    halves.ToHalf(filtered ? *filtered : picture, source.colorSpec, part,
                  alphaMode == Alpha::OverBlack ? std::optional(target.background) : std::nullopt);
    return IsFloatTarget() ? std::move(half) : FromHalf(*half);
}

Proc::AvFramePtr Conformer::Convert(AVFrame const& picture, Orientation const& orientation) {
    Source const source{picture.width,
                        picture.height,
                        PlainFormat(picture.format),
                        PixelAspect(picture.sample_aspect_ratio),
                        ReadAs(picture),
                        {picture.color_trc, picture.color_primaries, Proc::GetColorSpec(picture).matrix},
                        orientation.filter,
                        isPremultiplied && HasFlag(picture.format, AV_PIX_FMT_FLAG_ALPHA)};
    Conf::FrameInfo const frame = GetFrame(source, orientation);
    if (IsInForm(picture, source)) {
        return Finish(Proc::ShareAvFrame(picture), frame);
    }
    if (IsFloat(Proc::GetPixFmt(picture))) {
        // Only effects make such pictures, in the target's size and colours.
        return Finish(IsFloatTarget() ? Proc::ShareAvFrame(picture) : FromHalf(picture), frame);
    }
    Box const box = FitInto(source, orientation);
    bool const hasOtherColors =
        NeedsConversion(source.volume, {target.transfer, target.primaries, target.colorSpec.matrix});
    bool const isLaidOverColor = alphaMode == Alpha::OverBlack && target.background != Proc::HalfConverter::Color{} &&
                                 HasFlag(source.format, AV_PIX_FMT_FLAG_ALPHA) &&
                                 !HasFlag(targetFormat, AV_PIX_FMT_FLAG_ALPHA);
    if (IsFloatTarget() || hasOtherColors || isLaidOverColor) {
        return Finish(ConvertDeep(picture, source, box, frame, hasOtherColors), frame);
    }
    return Finish(AddBars(Filter(picture, source, box, Road::InForm), box, frame), frame);
}

}  // namespace Kaltor::Media
