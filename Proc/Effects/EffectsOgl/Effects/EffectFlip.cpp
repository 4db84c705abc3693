// Mirrors the picture left to right, top to bottom or both: the source is drawn, in its own format, through a quad with
// its corners swapped.

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {

class EffectFlip final : public EffectWithSettings<Proc::SettingsEffectFlip> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        float const a = settings.horizontal ? -1.0F : 1.0F;
        float const b = settings.vertical ? -1.0F : 1.0F;
        AttachTarget(*dst, storage);
        Quad quad(GL_DYNAMIC_DRAW);
        quad.SetCorners({0, 0, -a, -b, 1, 0, a, -b, 1, 1, a, b, 0, 1, -a, b});
        src->FrameData().Draw(quad, storage);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectFlip>();

}  // namespace Kaltor::Ogl
