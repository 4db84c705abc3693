// A camera glides over the picture from one view to another. Magnification changes by the same ratio in equal times,
// and all views on the way enlarge about one fixed point, so that the motion looks even; views of one size shift
// steadily. (It is the path of J. J. van Wijk, W. A. A. Nuij, "Smooth and Efficient Zooming and Panning", 2003, between
// views that it need not zoom out for.) A camera looks at nothing but the picture: views are moved into it, or, if they
// are larger, so that they hold all of it. Around it there is the picture itself, enlarged and blurred, or black, and
// transparency if the picture has alpha. While the shutter is open each pixel moves along a line: the view of the
// middle of that time is averaged along these lines.

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include "Proc/Effects/EffectsOgl/Effects/View.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
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

// Samples beyond the frame are mirrored: what enters there is not in the view.
constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;     // premultiplied
uniform vec4 begin;        // factor and offset of texture coordinates: where a pixel is when the shutter opens
uniform vec4 end;
varying vec2 TexCoord0;
void main() {
    vec2 from = TexCoord0 * begin.xy + begin.zw;
    vec2 step = (TexCoord0 * end.xy + end.zw - from) / SAMPLES;
    from += 0.5 * step;
    vec4 sum = vec4(0.0);
    for (float i = 0.0; i < SAMPLES; ++i) {
        sum += texture2D(tex, vec2(1.0) - abs(vec2(1.0) - abs(from)));
        from += step;
    }
    gl_FragColor = Unmultiply(sum / SAMPLES);
}
)glsl";

/// Where a pixel of `view` is seen that shows the same place as a pixel of `other`: factor and offset.
glm::dvec4 Follow(View const& view, View const& other) {
    double const factor = view.zoom / other.zoom;
    return {factor, factor, 0.5 - 0.5 * factor + (other.centre - view.centre) * view.zoom};
}

}  // namespace

class EffectPanAndZoom final : public EffectWithSettings<Proc::SettingsEffectPanAndZoom> {
public:
    bool WorksOnPlanes() const override { return true; }
    bool SuitsPlanes(PlaneCase const& drawn) const override {
        Shot const shot = GetShot(drawn.info, drawn.progress);
        return !(shot.pixels > kSeen) && shot.view.zoom >= 1.0 &&
               FillsFrame(shot.view, {drawn.info.width, drawn.info.height});
    }
    void Processing(DataVideoOGL* dst, Src const& src, double, double progress, ShaderStorage const& storage,
                    OglCache*) const override {
        auto const [view, begin, end, pixels] = GetShot(src->GetFrameInfo(), progress);
        if (!(pixels > kSeen)) {
            Draw(*dst, src, view, storage);
            return;
        }
        Src const still = DataVideoOGL::Create(dst->FrameData().GetPixFmt(), dst->GetFrameInfo());
        Draw(*still, src, view, storage);
        Premultiplied const colors(still->FrameData(), storage);
        int const samples = pixels < 4.0 ? 4 : pixels < 12.0 ? 8 : 24;
        Pass(storage, fmt::format("EffectPanAndZoom_{}", samples),
             [samples = samples] {
                 return fmt::format("#version 120\n#define SAMPLES {}.0\n{}{}", samples, kStraightAlpha, kFragment);
             })
            .Texture("tex", 0, colors.Get())
            .Set("begin", glm::vec4(begin))
            .Set("end", glm::vec4(end))
            .DrawTo(*dst);
    }

private:
    static constexpr double kSeen = 0.75;  ///< pixels

    /// A frame's view, and how far its pixels move while the shutter is open.
    struct Shot {
        View view;
        glm::dvec4 begin, end;
        double pixels;
    };

    Shot GetShot(Conf::FrameInfo const& info, double progress) const {
        View const first = MoveInside({{settings.startX, settings.startY}, settings.startZoom});
        View const last = MoveInside({{settings.endX, settings.endY}, settings.endZoom});
        auto const at = [&](double moment) {
            double const t = std::clamp(moment, 0.0, 1.0);
            return Glide(first, last, settings.smooth ? t * t * (3.0 - 2.0 * t) : t);
        };
        View const view = at(progress);
        glm::dvec4 const begin = Follow(view, at(progress - 0.5 * settings.blur));
        glm::dvec4 const end = Follow(view, at(progress + 0.5 * settings.blur));
        return {view, begin, end, GetLength(end - begin, {info.width, info.height})};
    }

    void Draw(DataVideoOGL& target, Src const& src, View const& view, ShaderStorage const& storage) const {
        bool const isBlurred = settings.background == Proc::SettingsEffectPanAndZoom::Background::Blurred;
        DrawView(target, src, view, isBlurred ? std::nullopt : std::optional(Proc::Color{0, 0, 0, 0}), storage);
    }

    /// The longest way of a pixel of the frame.
    static double GetLength(glm::dvec4 const& difference, glm::dvec2 const& size) {
        double longest = 0.0;
        for (glm::dvec2 const& corner : {glm::dvec2(0, 0), glm::dvec2(1, 0), glm::dvec2(0, 1), glm::dvec2(1, 1)}) {
            glm::dvec2 const way =
                (corner * glm::dvec2(difference.x, difference.y) + glm::dvec2(difference.z, difference.w)) * size;
            longest = std::max(longest, glm::length(way));
        }
        return longest;
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectPanAndZoom>();

}  // namespace Kaltor::Ogl
