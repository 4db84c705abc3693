#include "Proc/Effects/Shared/Samples.h"

#include <algorithm>

#include "Ogl/OglManager.h"
#include "Ogl/PixelTransfer.h"
#include "Ogl/Processor.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Data/YuvToRgb.h"

namespace Kaltor::Ogl {
namespace {

constexpr std::size_t kSlack = 64;  // for vectors that begin within the last row

int CountChannels(TexelFormat format) {
    return format == TexelFormat::Rgba8 || format == TexelFormat::Rgbx8 ? 4 : format == TexelFormat::R8 ? 1 : 0;
}

PlaneLayout GetLayout(Texture const& texture) {
    TextureForm const& form = texture.GetForm();
    PixFmt const format = form.format == TexelFormat::R8      ? PixFmt::Gray8
                          : form.format == TexelFormat::Rgba8 ? PixFmt::Bgra
                                                              : PixFmt::Bgrx;
    return GetPlaneLayout(format, 0, form.width, form.height);
}

/// A picture of R'G'B' whose top row comes first.
Samples ViewOf(AVFrame const& frame) {
    std::ptrdiff_t const stride = frame.linesize[0];
    return {frame.data[0] + stride * (frame.height - 1), -stride, frame.width, frame.height, 4};
}

}  // namespace

bool FiltersOnCpu(Texture const& from, Texture const& to) {
    TextureForm const& a = from.GetForm();
    TextureForm const& b = to.GetForm();
    return OglManager::GetInstance().GetStrategy().filtersOnCpu && CountChannels(a.format) != 0 &&
           CountChannels(a.format) == CountChannels(b.format) && a.width == b.width && a.height == b.height &&
           (from.IsOpaque() || !to.IsOpaque()) && glIsEnabled(GL_SCISSOR_TEST) == GL_FALSE;
}

bool FiltersOnCpu(Frame const& from, Frame const& to) {
    bool const isFromMemory = from.IsOnPlanes() || from.GetRgbInMemory() != nullptr;
    if (!isFromMemory) {
        if (PixFmtDescription::Find(from.GetPixFmt()).IsYuv()) {
            return false;
        }
        return FiltersOnCpu(from.GetFirstTexture(), to.GetFirstTexture());
    }
    bool const isSameKind = to.GetPixFmt() == kOpaqueFormat;
    return OglManager::GetInstance().GetStrategy().filtersOnCpu && isSameKind && from.GetWidth() == to.GetWidth() &&
           from.GetHeight() == to.GetHeight() && glIsEnabled(GL_SCISSOR_TEST) == GL_FALSE;
}

bool FiltersOpaqueOnCpu(Frame const& from, Frame const& to) {
    return !PixFmtDescription::Find(from.GetPixFmt()).HasAlpha() && FiltersOnCpu(from, to);
}

Samples TakeSamples(Texture const& texture, std::size_t place, ShaderStorage const& storage) {
    TextureForm const& form = texture.GetForm();
    int const channels = CountChannels(form.format);
    std::size_t const stride = static_cast<std::size_t>(channels) * form.width;
    return {storage.Processor().Memory(place, stride * form.height + kSlack), static_cast<std::ptrdiff_t>(stride),
            static_cast<int>(form.width), static_cast<int>(form.height), channels};
}

Samples ReadSamples(Texture const& texture, std::size_t place, ShaderStorage const& storage) {
    Samples const samples = TakeSamples(texture, place, storage);
    storage.Transfer().Download(texture, storage.FBO(), GetLayout(texture), samples.Row(samples.height - 1),
                                -samples.stride, false);
    return samples;
}

void WriteSamples(Samples const& samples, Texture const& texture, ShaderStorage const& storage) {
    storage.Transfer().Upload(texture, GetLayout(texture), samples.Row(samples.height - 1), -samples.stride, false);
}

Samples ReadSamples(Frame const& frame, std::size_t place, ShaderStorage const& storage) {
    if (Proc::DataVideoFF const* const rgb = frame.GetRgbInMemory()) {
        return ViewOf(rgb->GetFrame());
    }
    if (!frame.IsOnPlanes()) {
        return ReadSamples(frame.GetFirstTexture(), place, storage);
    }
    constexpr int kRows = 32;
    int const width = static_cast<int>(frame.GetWidth());
    int const height = static_cast<int>(frame.GetHeight());
    std::ptrdiff_t const stride = std::ptrdiff_t{4} * width;
    Samples const samples{
        storage.Processor().Memory(place, static_cast<std::size_t>(stride) * frame.GetHeight() + kSlack), stride, width,
        height, 4};
    boost::intrusive_ptr<Proc::DataVideoFF const> const picture = frame.GetPlanes();
    ColorSpec const spec = frame.GetColorSpec().Resolved(frame.GetHeight());
    storage.Processor().ForEach(static_cast<std::size_t>((height + kRows - 1) / kRows), [&](std::size_t i) {
        int const first = static_cast<int>(i) * kRows;
        Proc::YuvToRgbConverter converter(PixFmt::Yuv420p, PixFmt::Bgrx, spec);
        converter.Convert(picture->GetFrame(), first, std::min(kRows, height - first), samples.Row(height - 1 - first),
                          -stride);
    });
    return samples;
}

Samples TakeSamples(Frame const& frame, std::size_t place, ShaderStorage const& storage) {
    if (Proc::DataVideoFF const* const rgb = frame.GetRgbInMemory()) {
        return ViewOf(rgb->GetFrame());
    }
    return TakeSamples(frame.GetFirstTexture(), place, storage);
}

void WriteSamples(Samples const& samples, Frame const& frame, ShaderStorage const& storage) {
    if (frame.GetRgbInMemory() == nullptr) {
        WriteSamples(samples, frame.GetFirstTexture(), storage);
    }
}

}  // namespace Kaltor::Ogl
