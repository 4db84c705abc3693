// A miniature: a band stays in focus, the blur grows with the distance from it, as with a lens that has a tilted plane
// of focus, and colours are livelier. Band and distances are measured along the band's normal in fractions of the
// picture's extent in that direction, from below. Alpha is kept.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include "Proc/Effects/EffectsOgl/Effects/BlurLevels.h"
#include "Proc/Effects/EffectsOgl/Effects/DiscBlur.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsFilterEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kAmount[] = R"glsl(
uniform vec3 normal;        // dot with (s, t, 1): place across the band, 0 in its middle
uniform float half_size;
uniform float slope;
float Amount(vec2 uv) {
    return clamp((abs(dot(normal, vec3(uv, 1.0))) - half_size) * slope, 0.0, 1.0);
}
)glsl";

// Without blur the function does not exist.
constexpr char kMain[] = R"glsl(
uniform sampler2D tex;
uniform float saturation;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    vec4 color = origin;
#ifdef WITH_BLUR
    color = Blurred(origin, TexCoord0, Amount(TexCoord0));
#endif
    float lum = dot(color.rgb, vec3(0.2126, 0.7152, 0.0722));
    gl_FragColor = vec4(mix(vec3(lum), color.rgb, saturation), color.a);
}
)glsl";

}  // namespace

class EffectTiltShift final : public EffectWithSettings<Proc::SettingsEffectTiltShiftQEL> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        bool const isBlurred = settings.blur > 0.0;
        if (!isBlurred && settings.saturation == 1.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        auto const prepare = [&](Pass& pass) {
            pass.Texture("tex", 0, picture, TextureFilter::Nearest).Set("saturation", settings.saturation);
        };
        if (!isBlurred) {
            Pass pass(storage, "EffectTiltShift_sharp", {kGlslVersion, kMain});
            prepare(pass);
            pass.DrawTo(*dst);
            return;
        }
        double const angle = settings.angle * std::numbers::pi / 180.0;
        double const aspect = GetDisplayAspect(src->GetFrameInfo());
        double const extent = aspect * std::fabs(std::sin(angle)) + std::fabs(std::cos(angle));
        glm::dvec2 const normal(-std::sin(angle) * aspect / extent, std::cos(angle) / extent);
        double const offset = 0.5 - settings.position - 0.5 * (normal.x + normal.y);
        double const halfSize = 0.5 * settings.size;
        double const pixel = 1.0 / std::max(picture.GetWidth(), picture.GetHeight());
        double const slope = 1.0 / std::max(settings.feather, pixel);

        AmountCells const cells(picture.GetWidth(), picture.GetHeight(), [&](glm::dvec4 const& area) {
            glm::dvec2 const low(area.x, area.y);
            glm::dvec2 const high(area.z, area.w);
            double const place = std::fabs(glm::dot(normal, 0.5 * (low + high)) + offset);
            double const reach = glm::dot(glm::abs(normal), 0.5 * (high - low));
            glm::dvec2 const beyond(std::max(place - reach, 0.0), place + reach);
            return glm::clamp((beyond - halfSize) * slope, 0.0, 1.0);
        });
        auto const setAmount = [&](Pass& pass) {
            pass.Set("normal", glm::vec3(normal, offset)).Set("half_size", halfSize).Set("slope", slope);
        };
        std::string const program = std::string("#define WITH_BLUR\n") + kMain;
        if (settings.bokeh == Proc::SettingsEffectTiltShiftQEL::Bokeh::Disc) {
            DiscBlur const blur(picture, {settings.blur, settings.highlights}, "EffectTiltShift", kAmount, cells,
                                setAmount, storage);
            blur.DrawTo(*dst, program, prepare);
            return;
        }
        BlurLevels const levels(picture, settings.blur, cells, storage);
        levels.DrawTo(*dst, "EffectTiltShift", kAmount + program, [&](Pass& pass, bool usesAmount) {
            prepare(pass);
            if (usesAmount) {
                setAmount(pass);
            }
        });
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectTiltShift>();

}  // namespace Kaltor::Ogl
