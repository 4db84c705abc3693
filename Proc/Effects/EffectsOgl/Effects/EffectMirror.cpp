// Reflects the side of the picture before an axis onto the side behind it; "quarters" does so along both axes and keeps
// the upper left. Where the side behind is the larger one, the reflection is reflected again on the picture's border,
// as between two mirrors: only the kept side is ever seen. The axis is moved to the nearest edge or centre of a texel,
// so that every pixel is an unchanged pixel of the picture. A kaleidoscope reflects a sector of the picture to and fro
// all around the frame's middle, and the picture on its borders.

#include <algorithm>
#include <cmath>
#include <numbers>

#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 size;     // texels
uniform vec2 kept;     // twice the texels before the axis
uniform vec2 outside;  // the border that the kept side begins at: 0 left or bottom, 1 right or top
varying vec2 TexCoord0;
void main() {
    vec2 x = mod(abs(TexCoord0 - outside) * size, kept);
    gl_FragColor = texture2D(tex, abs(min(x, kept - x) / size - outside));
}
)glsl";

constexpr char kKaleidoscope[] = R"glsl(
uniform sampler2D tex;    // premultiplied
uniform vec2 extent;      // of the frame, its height is 1
uniform vec2 pixel;       // of the frame, texture coordinates
uniform float sector;     // half of what repeats, radians
uniform float turn;
uniform float middle;     // of what is seen
varying vec2 TexCoord0;
vec4 See(vec2 offset) {
    vec2 p = (TexCoord0 + offset * pixel - vec2(0.5)) * extent;
    float angle = abs(mod((p.x == 0.0 && p.y == 0.0 ? 0.0 : atan(p.y, p.x)) - 1.5707963 + sector, 2.0 * sector) - sector) + turn;
    vec2 at = vec2(middle) + length(p) * vec2(cos(angle), sin(angle)) / extent;
    return texture2D(tex, abs(mod(at + vec2(1.0), vec2(2.0)) - vec2(1.0)));
}
void main() {
    gl_FragColor = Unmultiply(0.25 * (See(vec2(0.125, 0.375)) + See(vec2(-0.375, 0.125)) + See(vec2(-0.125, -0.375)) +
                                      See(vec2(0.375, -0.125))));
}
)glsl";

/// The fold along one side of the picture.
struct Fold {
    float kept;
    float outside = 0.0F;
};

/// For an axis at `position` of a side with this many texels.
Fold MakeFold(std::uint32_t texels, double position, bool isFarKept) {
    double const whole = 2.0 * texels;
    double const kept = std::round((isFarKept ? 1.0 - position : position) * whole);
    return {static_cast<float>(std::clamp(kept, 1.0, whole)), isFarKept ? 1.0F : 0.0F};
}

}  // namespace

class EffectMirror final : public EffectWithSettings<Proc::SettingsEffectMirror> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        using Axis = Proc::SettingsEffectMirror::Axis;
        Axis const axis = settings.axis;
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        if (axis == Axis::Kaleidoscope) {
            DrawKaleidoscope(*dst, picture, GetDisplayAspect(src->GetFrameInfo()), storage);
            return;
        }
        std::uint32_t const width = picture.GetWidth();
        std::uint32_t const height = picture.GetHeight();
        Fold x{2.0F * static_cast<float>(width)};
        Fold y{2.0F * static_cast<float>(height)};
        if (axis != Axis::BottomToTop && axis != Axis::TopToBottom) {
            x = MakeFold(width, settings.position, axis == Axis::RightToLeft);
        }
        if (axis != Axis::LeftToRight && axis != Axis::RightToLeft) {
            y = MakeFold(height, settings.position, axis != Axis::BottomToTop);
        }
        Pass(storage, "EffectMirror", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("size", static_cast<float>(width), static_cast<float>(height))
            .Set("kept", x.kept, y.kept)
            .Set("outside", x.outside, y.outside)
            .DrawTo(*dst);
    }

private:
    void DrawKaleidoscope(DataVideoOGL& dst, Frame const& picture, double aspect, ShaderStorage const& storage) const {
        Premultiplied const seen(picture, storage);
        int const sectors = (settings.segments + 1) / 2 * 2;
        Pass(storage, "EffectMirror_kaleidoscope", {kGlslVersion, kStraightAlpha, kKaleidoscope})
            .Texture("tex", 0, seen.Get())
            .Set("extent", static_cast<float>(aspect), 1.0F)
            .Set("pixel", 1.0F / static_cast<float>(picture.GetWidth()), 1.0F / static_cast<float>(picture.GetHeight()))
            .Set("sector", 2.0 * std::numbers::pi / sectors)
            .Set("turn", settings.turn * std::numbers::pi / 180.0)
            .Set("middle", settings.position)
            .DrawTo(dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectMirror>();

}  // namespace Kaltor::Ogl
