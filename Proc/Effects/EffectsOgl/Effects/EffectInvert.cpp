// Turns each colour into its complement by fixed-function blending over white. Alpha is kept.

#include "Ogl/GlState.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {

class EffectInvert final : public EffectWithSettings<Proc::SettingsEffectInvert> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        dst->FrameData().Fill({1.0, 1.0, 1.0}, storage.FBO());
        EnableState const blend(GL_BLEND);
        glBlendColor(1.0F, 1.0F, 1.0F, 0.0F);
        glBlendFuncSeparate(GL_ZERO, GL_ONE_MINUS_SRC_COLOR, GL_ONE, GL_ZERO);
        src->FrameData().Draw(storage.Quad(), storage);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectInvert>();

}  // namespace Kaltor::Ogl
