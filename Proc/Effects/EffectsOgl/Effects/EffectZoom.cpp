// Enlarges or reduces the picture about a point that stays where it is. Around a picture that is smaller than the frame
// there is the picture itself, enlarged and blurred, or a background, which may be translucent.

#include "Proc/Effects/EffectsOgl/Effects/View.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {

class EffectZoom final : public EffectWithSettings<Proc::SettingsEffectZoom> {
public:
    bool WorksOnPlanes() const override { return true; }
    bool SuitsPlanes(PlaneCase const& drawn) const override {
        View const view = GetView();
        return view.zoom >= 1.0 && FillsFrame(view, {drawn.info.width, drawn.info.height});
    }
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        DrawView(*dst, src, GetView(), IsBlurred() ? std::nullopt : std::optional(settings.background), storage);
    }

    /// The output has alpha also if the background is translucent.
    PixFmt GetOutputFormat(PixFmt srcFormat) const override {
        constexpr std::uint8_t kOpaque = 255;
        return !IsBlurred() && settings.background.alpha < kOpaque ? AlphaFormat(srcFormat) : OutputFormat(srcFormat);
    }

private:
    View GetView() const {
        glm::dvec2 const fixed{settings.x, settings.y};
        return {fixed + (0.5 - fixed) / settings.zoom, settings.zoom};
    }
    bool IsBlurred() const { return settings.fill == Proc::SettingsEffectZoom::Fill::Blurred; }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectZoom>();

}  // namespace Kaltor::Ogl
