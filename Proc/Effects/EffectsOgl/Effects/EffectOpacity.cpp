// Multiplies alpha by `opacity` by fixed-function blending; the output always has alpha.

#include "Ogl/GlState.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {

class EffectOpacity final : public EffectWithSettings<Proc::SettingsEffectOpacity> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        AttachTarget(*dst, storage);
        EnableState const blend(GL_BLEND);
        glBlendColor(1.0F, 1.0F, 1.0F, static_cast<float>(settings.opacity));
        glBlendFunc(GL_CONSTANT_COLOR, GL_ZERO);
        src->FrameData().Draw(storage.Quad(), storage);
    }

    PixFmt GetOutputFormat(PixFmt srcFormat) const override { return AlphaFormat(srcFormat); }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectOpacity>();

}  // namespace Kaltor::Ogl
