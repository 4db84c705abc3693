#include "Proc/Effects/EffectsOgl/EffectResizer.h"

#include "Proc/Effects/Shared/Blend.h"

namespace Kaltor::Ogl {

void EffectResizer::CacheImpl::Initialize(Conf::FrameInfo const& info, Proc::SettingsResizer const& settings) {
    Geometry wanted{{}, {}, info.width, info.height, {}};
    wanted.output = settings.GetROI(info, wanted.source, wanted.destination);
    if (quad && wanted == geometry) {
        return;
    }
    if (!quad) {
        quad.emplace(GL_DYNAMIC_DRAW);
    }
    auto const part = [](std::uint32_t margin, std::uint32_t side) {
        return static_cast<float>(margin) / static_cast<float>(side);
    };
    Proc::CropInfo const& source = wanted.source;
    Proc::CropInfo const& destination = wanted.destination;
    float const left = part(source.left, info.width);
    float const right = 1.0F - part(source.right, info.width);
    float const bottom = part(source.bottom, info.height);
    float const top = 1.0F - part(source.top, info.height);
    float const x0 = 2.0F * part(destination.left, wanted.output.width) - 1.0F;
    float const x1 = 1.0F - 2.0F * part(destination.right, wanted.output.width);
    float const y0 = 2.0F * part(destination.bottom, wanted.output.height) - 1.0F;
    float const y1 = 1.0F - 2.0F * part(destination.top, wanted.output.height);
    quad->SetCorners({left, bottom, x0, y0, right, bottom, x1, y0, right, top, x1, y1, left, top, x0, y1});
    geometry = wanted;
}

void EffectResizer::Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                               OglCache* cache) const {
    Conf::FrameInfo const& info = src->GetFrameInfo();
    auto& kept = GetCache<CacheImpl>(cache);
    kept.Initialize(info, settings);
    Proc::Color const& color = settings.background;
    auto const channel = [](std::uint8_t value) { return value / 255.0; };
    if (PixFmtDescription::Find(dst->GetPixFmt()).HasAlpha()) {
        AttachTarget(*dst, storage);
        glClearColor(static_cast<float>(channel(color.red)), static_cast<float>(channel(color.green)),
                     static_cast<float>(channel(color.blue)), static_cast<float>(channel(color.alpha)));
        glClear(GL_COLOR_BUFFER_BIT);
    } else {
        dst->FrameData().Fill({channel(color.red), channel(color.green), channel(color.blue)}, storage.FBO());
    }
    src->FrameData().Draw(kept.GetQuad(), storage);
}

OglCache* EffectResizer::CreateCache() const {
    return new CacheImpl;
}

boost::intrusive_ptr<DataVideoOGL> EffectResizer::CreateDst(PixFmt srcFormat, Conf::FrameInfo const& info) {
    constexpr std::uint8_t kOpaque = 255;
    PixFmt const format = settings.background.alpha < kOpaque ? AlphaFormat(srcFormat) : OutputFormat(srcFormat);
    return DataVideoOGL::Create(format, settings.GetOutputFrameSize(info));
}

}  // namespace Kaltor::Ogl
