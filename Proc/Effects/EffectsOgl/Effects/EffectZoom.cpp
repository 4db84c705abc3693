// Enlarges or reduces the picture about a point that stays where it is. Around a picture that is smaller than the frame
// there is a background, which may be translucent.

#include "Proc/Effects/EffectsOgl/Effects/View.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {

class EffectZoom final : public EffectWithSettings<Proc::SettingsEffectZoom> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        glm::dvec2 const fixed{settings.x, settings.y};
        View const view{fixed + (0.5 - fixed) / settings.zoom, settings.zoom};
        DrawView(*dst, src, view, settings.background, storage);
    }

    /// The output has alpha also if the background is translucent.
    PixFmt GetOutputFormat(PixFmt srcFormat) const override {
        constexpr std::uint8_t kOpaque = 255;
        return settings.background.alpha < kOpaque ? AlphaFormat(srcFormat) : OutputFormat(srcFormat);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectZoom>();

}  // namespace Kaltor::Ogl
