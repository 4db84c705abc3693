// A camera glides over the picture from one view to another. Magnification changes by the same ratio in equal times,
// and all views on the way enlarge about one fixed point, so that the motion looks even; views of one size shift
// steadily. (It is the path of J. J. van Wijk, W. A. A. Nuij, "Smooth and Efficient Zooming and Panning", 2003, between
// views that it need not zoom out for.) A camera looks at nothing but the picture: views are moved into it, or, if they
// are larger, so that they hold all of it. Around it there is the picture itself, enlarged and blurred, or
// black, and transparency if the picture has alpha.

#include <algorithm>
#include <cmath>

#include <glm/common.hpp>

#include "Proc/Effects/EffectsOgl/Effects/View.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

View MoveInside(View const& view) {
    double const half = 0.5 / view.zoom;
    return {glm::clamp(view.centre, std::min(half, 1.0 - half), std::max(half, 1.0 - half)), view.zoom};
}

/// The view at `t` from 0 to 1. Each of its borders lies between those of the two views.
View Glide(View const& first, View const& last, double t) {
    double const ratio = std::log(first.zoom / last.zoom);  // logarithm of the sides' ratio
    constexpr double kSame = 1e-9;
    double const share = std::abs(ratio) < kSame ? t : std::expm1(t * ratio) / std::expm1(ratio);
    return {glm::mix(first.centre, last.centre, share), 1.0 / glm::mix(1.0 / first.zoom, 1.0 / last.zoom, share)};
}

}  // namespace

class EffectPanAndZoom final : public EffectWithSettings<Proc::SettingsEffectPanAndZoom> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double progress, ShaderStorage const& storage,
                    OglCache*) const override {
        View const first = MoveInside({{settings.startX, settings.startY}, settings.startZoom});
        View const last = MoveInside({{settings.endX, settings.endY}, settings.endZoom});
        double const t = std::clamp(progress, 0.0, 1.0);
        View const view = Glide(first, last, settings.smooth ? t * t * (3.0 - 2.0 * t) : t);
        bool const isBlurred = settings.background == Proc::SettingsEffectPanAndZoom::Background::Blurred;
        DrawView(*dst, src, view, isBlurred ? std::nullopt : std::optional(Proc::Color{0, 0, 0, 0}), storage);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectPanAndZoom>();

}  // namespace Kaltor::Ogl
