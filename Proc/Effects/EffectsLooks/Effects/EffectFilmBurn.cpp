// The tail of a reel: overexposed flames of red, orange and white lick in from the sides and flicker, as film does
// that light has reached.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectFilmBurn final : SettingsOf<SettingsEffectFilmBurn> {
    static inline std::string const CLASS_ID = "EffectFilmBurn";
    static constexpr std::string_view SUMMARY =
        "Fogged film: flickering red, orange and white burns lick in from the sides.";
    static constexpr std::string_view NEUTRAL = "intensity=0";

    double intensity = 0.7;
    double reach = 0.5;
    double speed = 0.6;
    double flicker = 0.5;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::intensity>(0.0, 1.0, "how bright the burns are"),
                Declare<&This::reach>(0.0, 1.0, "how far they lick into the picture"),
                Declare<&This::speed>(0.0, 2.0, "how fast they move"),
                Declare<&This::flicker>(0.0, 1.0, "how unsteady their light is"),
                Declare<&This::seed>(0.0, 99.0, "which burns")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D clouds;
uniform float intensity;
uniform float reach;
varying vec2 TexCoord0;
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec4 cloud = texture2D(clouds, TexCoord0);
    float edge = min(TexCoord0.x, 1.0 - TexCoord0.x) * 2.0;
    float heat = reach * 1.1 - edge + 1.5 * (cloud.x - 0.5) + 0.6 * (abs(cloud.y - 0.5) * 2.0 - 0.3) - 0.25;
    vec3 glow = vec3(1.3, 0.16, 0.03) * smoothstep(-0.35, 0.05, heat) + vec3(2.2, 1.1, 0.2) * smoothstep(-0.05, 0.25, heat) +
                vec3(3.0, 3.0, 2.4) * smoothstep(0.15, 0.6, heat);
    vec3 lit = vec3(1.0) - (vec3(1.0) - ToLight(picture.rgb)) * exp(-intensity * glow);
    gl_FragColor = Straight(FromLight(lit), picture.a);
}
)glsl";

}  // namespace

class EffectFilmBurn final : public EffectWithSettings<Proc::SettingsEffectFilmBurn> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.intensity == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        double const drift = time * settings.speed;
        // The lamp's light wavers smoothly: three waves that never meet.
        double const waver = (std::sin(17.0 * time + 1.0) + std::sin(29.3 * time) + std::sin(41.9 * time + 2.0)) / 3.0;
        CloudMap const clouds(sides, 3.4, glm::dvec2(7.0 * settings.seed + 0.35 * drift, 3.0 * settings.seed + drift),
                              storage);
        Pass(storage, "EffectFilmBurn", {kGlslVersion, kStraightAlpha, kLinearLight, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("clouds", 1, clouds.Get())
            .Set("intensity", settings.intensity * (1.0 - 0.35 * settings.flicker * (0.5 - 0.5 * waver)))
            .Set("reach", settings.reach + 0.12 * settings.flicker * waver)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectFilmBurn>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
