#include "Proc/Effects/Shared/Samples.h"

#include "Ogl/OglManager.h"
#include "Ogl/PixelTransfer.h"
#include "Ogl/Processor.h"

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

}  // namespace

bool FiltersOnCpu(Texture const& from, Texture const& to) {
    TextureForm const& a = from.GetForm();
    TextureForm const& b = to.GetForm();
    return OglManager::GetInstance().GetStrategy().filtersOnCpu && CountChannels(a.format) != 0 &&
           CountChannels(a.format) == CountChannels(b.format) && a.width == b.width && a.height == b.height &&
           (from.IsOpaque() || !to.IsOpaque()) && glIsEnabled(GL_SCISSOR_TEST) == GL_FALSE;
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

}  // namespace Kaltor::Ogl
