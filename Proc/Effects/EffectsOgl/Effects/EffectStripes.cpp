// Coloured stripes lie over the picture. They run along `angle`, `count` of them across the diagonal, and drift at a
// right angle to that, counter-clockwise. The picture's alpha is kept: stripes colour only the visible parts.

#include <algorithm>
#include <cmath>
#include <numbers>

#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {
namespace {

// The profile of a stripe with smoothstep edges has a closed integral, so that each pixel's coverage is the profile's
// mean over the pixel: very narrow stripes become an even tone instead of moire.
constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec3 place;   // stripes: by s, by t, at the lower left
uniform float fill;
uniform float inner;  // from a stripe's middle to where its edge begins
uniform float ramp;   // width of the edge
uniform float pixel;  // width of a pixel
uniform vec4 color;
varying vec2 TexCoord0;

// Integral, from the middle of the nearest stripe, of its profile less its mean; both without the whole stripes.
float Excess(float u) {
    float v = u - floor(u + 0.5);
    float d = abs(v);
    float x = clamp((d - inner) / ramp, 0.0, 1.0);
    float covered = min(d, inner) + ramp * (x - x * x * x * (1.0 - 0.5 * x));
    return sign(v) * (covered - fill * d);
}

void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    float u = dot(place, vec3(TexCoord0, 1.0));
    float coverage = fill + (Excess(u + 0.5 * pixel) - Excess(u - 0.5 * pixel)) / pixel;
    gl_FragColor = vec4(mix(picture.rgb, color.rgb, clamp(coverage, 0.0, 1.0) * color.a), picture.a);
}
)glsl";

}  // namespace

class EffectStripes final : public EffectWithSettings<Proc::SettingsEffectStripes> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        double const fill = std::clamp(settings.fill, 0.0, 1.0);
        if (fill == 0.0 || settings.color.alpha == 0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        // Stripes for each unit of the picture's height as it is shown, along its width and its height.
        double const aspect = GetDisplayAspect(src->GetFrameInfo());
        double const density = settings.count / std::hypot(aspect, 1.0);
        double const angle = settings.angle * std::numbers::pi / 180.0;
        double const byS = -std::sin(angle) * aspect * density;
        double const byT = std::cos(angle) * density;
        double const drift = std::fmod(settings.speed * time, 1.0);
        // As wide as the box that has the variance of the pixel's projection.
        double const pixel = std::hypot(byS / picture.GetWidth(), byT / picture.GetHeight());
        constexpr double kLeastRamp = 1.0e-6;
        double const softness = std::clamp(settings.softness, 0.0, 1.0);
        double const ramp = std::max(softness * std::min(fill, 1.0 - fill), kLeastRamp);
        Pass(storage, "EffectStripes", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("place", glm::vec3(byS, byT, -0.5 * (byS + byT) - drift))
            .Set("fill", fill)
            .Set("inner", 0.5 * (fill - ramp))
            .Set("ramp", ramp)
            .Set("pixel", pixel)
            .Set("color", settings.color)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectStripes>();

}  // namespace Kaltor::Ogl
