// Reflects the side of the picture before an axis onto the side behind it; "quarters" does so along both axes and keeps
// the upper left. Where the side behind is the larger one, the reflection is reflected again on the picture's border,
// as between two mirrors: only the kept side is ever seen. The axis is moved to the nearest edge or centre of a texel,
// so that every pixel is an unchanged pixel of the picture.

#include <algorithm>
#include <cmath>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
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
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectMirror>();

}  // namespace Kaltor::Ogl
