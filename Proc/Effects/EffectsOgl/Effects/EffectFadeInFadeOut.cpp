// Fades by fixed-function blending: alpha * progress if the output has alpha, else colour * progress.

#include "Proc/Effects/EffectsOgl/Effects/EffectFadeInFadeOut.h"

#include "Ogl/GlState.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"

namespace Kaltor::Ogl {

void EffectFadeInFadeOut::Processing(DataVideoOGL* dst, Src const& src, double, double progress,
                                     ShaderStorage const& storage, OglCache*) const {
    AttachTarget(*dst, storage);
    EnableState const blend(GL_BLEND);
    glBlendColor(0.0F, 0.0F, 0.0F, static_cast<float>(progress));
    if (PixFmtDescription::Find(dst->GetPixFmt()).HasAlpha()) {
        glBlendFuncSeparate(GL_ONE, GL_ZERO, GL_CONSTANT_ALPHA, GL_ZERO);
    } else {
        glBlendFuncSeparate(GL_CONSTANT_ALPHA, GL_ZERO, GL_ONE, GL_ZERO);
    }
    src->FrameData().Draw(storage.Quad(), storage);
}

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectFadeInFadeOut>();

}  // namespace Kaltor::Ogl
