// Shafts of light: what is bright casts rays away from a source, soft with distance. The rays are gathered on a small
// picture of the highlights, in three passes that each lengthen them, and added in linear light.

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectGodRays final : SettingsOf<SettingsEffectGodRays> {
    static inline std::string const CLASS_ID = "EffectGodRays";
    static constexpr std::string_view SUMMARY =
        "Bright parts cast shafts of light away from a source, as the sun through leaves or haze.";
    static constexpr std::string_view NEUTRAL = "intensity=0";

    double intensity = 0.8;
    double threshold = 0.55;
    double length = 0.6;
    double x = 0.5;
    double y = 0.9;
    Color tint{255, 236, 200, 255};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::intensity>(0.0, 2.0, "how bright the rays are"),
                Declare<&This::threshold>(0.0, 1.0, "brightness from which things shine"),
                Declare<&This::length>(0.0, 1.0, "how far the rays reach"),
                Declare<&This::x>(-0.5, 1.5, "the source, from the left"),
                Declare<&This::y>(-0.5, 1.5, "the source, from below"),
                Declare<&This::tint>("colour of the rays")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D rays;
uniform float intensity;
uniform vec2 source;
uniform vec2 sides;
uniform vec4 tint;
varying vec2 TexCoord0;
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec3 light = ToLight(picture.rgb);
    vec3 shine = Shafts(rays, TexCoord0, source, sides) * tint.rgb * tint.rgb * intensity;
    light += (vec3(1.0) - light) * (vec3(1.0) - exp(-shine));
    gl_FragColor = Straight(FromLight(light), picture.a);
}
)glsl";

}  // namespace

class EffectGodRays final : public EffectWithSettings<Proc::SettingsEffectGodRays> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.intensity == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::vec2 const source(static_cast<float>(settings.x), static_cast<float>(settings.y));
        Rays const rays(picture, settings.threshold, settings.length, source, storage);
        Pass(storage, "EffectGodRays", {kGlslVersion, kStraightAlpha, kLinearLight, kShaftsFunction, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("rays", 1, rays.Get())
            .Set("intensity", 5.0 * settings.intensity)
            .Set("source", source)
            .Set("sides", GetSides(GetDisplayAspect(src->GetFrameInfo())))
            .Set("tint", settings.tint)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectGodRays>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
