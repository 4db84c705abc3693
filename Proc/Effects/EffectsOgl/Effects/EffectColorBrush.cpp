// A drawing of the picture's edges is painted in by brush strokes: at 0 the drawing, at 1 exactly the picture. The
// drawing is `EffectFindEdges`, the brush `TransitionWaterbrush`, whose cache this effect uses.

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/EffectFindEdges.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Transitions/TransitionWaterbrush.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {

class EffectColorBrush final : public IEffectAlgorithm {
public:
    EffectColorBrush() { SetSettings(Proc::SettingsEffectColorBrush()); }

    void SetSettings(Proc::Settings const& value) override {
        auto const& settings = dynamic_cast<Proc::SettingsEffectColorBrush const&>(value);
        settings.Validate();
        Proc::SettingsTransitionWaterbrush strokes;
        // Strokes that start with nothing painted and end with everything painted.
        strokes.type = Proc::SettingsTransitionWaterbrush::Type::Inset;
        strokes.angle = settings.angle;
        strokes.size = settings.size;
        strokes.rough = settings.rough;
        brush.SetSettings(strokes);
    }

    void Processing(DataVideoOGL* dst, Src const& src, double time, double progress, ShaderStorage const& storage,
                    OglCache* cache) const override {
        if (progress >= 1.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Src const drawing = DataVideoOGL::Create(dst->GetPixFmt(), src->GetFrameInfo());
        edges.Processing(drawing.get(), src, time, progress, storage, nullptr);
        brush.Processing(dst, drawing, src, time, progress, storage, cache);
    }

    OglCache* CreateCache() const override { return brush.CreateCache(); }

private:
    EffectFindEdges edges;
    TransitionWaterbrush brush;
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectColorBrush>();

}  // namespace Kaltor::Ogl
