// A miniature: a band stays in focus, what lies away from it is blurred the more the farther, as a lens with a tilted
// plane of focus shows it, and colours are livelier. Band and distances are measured along the band's normal in
// fractions of the picture's extent in that direction, from below. Alpha is kept.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include "Proc/Effects/EffectsOgl/Aspect.h"
#include "Proc/Effects/EffectsOgl/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/BlurLevels.h"
#include "Proc/Effects/EffectsOgl/MakeAlgorithm.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kVersion[] = "#version 120\n";

// Without blur the function is not there.
constexpr char kMain[] = R"glsl(
uniform sampler2D tex;
uniform vec3 normal;        // dot with (s, t, 1): place across the band, 0 in its middle
uniform float half_size;
uniform float slope;
uniform float saturation;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    vec3 color = origin.rgb;
#ifdef WITH_BLUR
    float beyond = abs(dot(normal, vec3(TexCoord0, 1.0))) - half_size;
    color = Blurred(origin, TexCoord0, clamp(beyond * slope, 0.0, 1.0));
#endif
    float lum = dot(color, vec3(0.2126, 0.7152, 0.0722));
    gl_FragColor = vec4(mix(vec3(lum), color, saturation), origin.a);
}
)glsl";

}  // namespace

class EffectTiltShift final : public EffectWithSettings<Proc::SettingsEffectTiltShiftQEL> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        bool const isBlurred = settings.GetBlur() > 0.0;
        if (!isBlurred && settings.GetSaturation() == 1.0) {
            AttachTarget(*dst, storage);
            src->FrameData().Draw(storage.Quad(), storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        if (!isBlurred) {
            Draw(Pass(storage, "EffectTiltShift_sharp", [] { return std::string(kVersion) + kMain; }), picture, *dst);
            return;
        }
        double const angle = settings.GetAngle() * std::numbers::pi / 180.0;
        double const aspect = GetDisplayAspect(src->GetFrameInfo());
        double const extent = aspect * std::fabs(std::sin(angle)) + std::fabs(std::cos(angle));
        double const s = -std::sin(angle) * aspect / extent;
        double const t = std::cos(angle) / extent;
        double const pixel = 1.0 / std::max(picture.GetWidth(), picture.GetHeight());

        BlurLevels const levels(blur, picture, settings.GetBlur(), storage);
        Pass pass(storage, "EffectTiltShift",
                  [] { return std::string(BlurLevels::kFunction) + "#define WITH_BLUR\n" + kMain; });
        levels.SetOn(pass, 1);
        pass.Set("normal", glm::vec3(s, t, 0.5 - settings.GetPosition() - 0.5 * (s + t)))
            .Set("half_size", 0.5 * settings.GetSize())
            .Set("slope", 1.0 / std::max(settings.GetFeather(), pixel));
        Draw(std::move(pass), picture, *dst);
    }

private:
    void Draw(Pass pass, Frame const& picture, DataVideoOGL& dst) const {
        pass.Texture("tex", 0, picture, TextureFilter::Nearest).Set("saturation", settings.GetSaturation()).DrawTo(dst);
    }

    mutable EffectBlur blur{0.02};
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectTiltShift>();

}  // namespace Kaltor::Ogl
