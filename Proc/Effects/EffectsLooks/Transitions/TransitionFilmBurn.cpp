// The projector stops and its lamp burns the film: a hole of white light eats its way in from an edge, rimmed by
// yellow, orange and dark red where the emulsion melts, and the incoming picture comes out of the glare.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionFilmBurn final : SettingsOf<SettingsTransitionFilmBurn> {
    static inline std::string const CLASS_ID = "TransitionFilmBurn";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture melts in a projector's lamp, through red, orange and white, and the incoming one cools "
        "out of the glare.";

    double intensity = 1.0;
    double scale = 1.0;
    double x = 0.85;
    double y = 0.6;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::intensity>(0.0, 1.0, "how bright the burn is"),
                Declare<&This::scale>(0.3, 3.0, "size of its blisters"),
                Declare<&This::x>(0.0, 1.0, "where it begins, from the left"),
                Declare<&This::y>(0.0, 1.0, "where it begins, from below"),
                Declare<&This::seed>(0.0, 99.0, "which burn")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D clouds;
uniform float heat;      // how far the burn has spread
uniform float cooling;   // of the incoming picture, 0 to 1
uniform float share;
uniform float intensity;
uniform vec2 origin;
uniform vec2 sides;
varying vec2 TexCoord0;
void main() {
    vec4 cloud = texture2D(clouds, TexCoord0);
    float distance = length((TexCoord0 - origin) * sides);
    float blister = 0.55 * (cloud.x - 0.5) + 0.3 * (abs(cloud.y - 0.5) * 2.0 - 0.25);
    float burn = heat - distance - blister;
    // The emulsion buckles where it is about to melt.
    vec2 bent = TexCoord0 + (cloud.zw - 0.5) * 0.12 * smoothstep(-0.35, 0.0, burn) * (1.0 - cooling);
    vec4 picture = mix(texture2D(tex1, Mirrored(bent)), texture2D(tex2, Mirrored(bent)), share);
    float h = min(burn, 0.4) - cooling * (0.5 + 1.2 * cloud.x);
    vec3 glow = vec3(1.3, 0.16, 0.03) * smoothstep(-0.32, -0.02, h) + vec3(2.2, 1.1, 0.2) * smoothstep(-0.1, 0.1, h) +
                vec3(3.0, 3.0, 2.4) * smoothstep(0.02, 0.3, h);
    vec3 base = ToLight(Unmultiply(picture).rgb);
    base *= 1.0 - 0.75 * intensity * smoothstep(-0.2, -0.03, h) * (1.0 - smoothstep(-0.03, 0.05, h));
    vec3 lit = vec3(1.0) - (vec3(1.0) - base) * exp(-intensity * glow);
    gl_FragColor = Straight(FromLight(lit), picture.a);
}
)glsl";

}  // namespace

class TransitionFilmBurn final : public TransitionWithSettings<Proc::SettingsTransitionFilmBurn> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const origin(static_cast<float>(settings.x), static_cast<float>(settings.y));
        glm::vec2 const farCorner = glm::max(origin, glm::vec2(1.0F) - origin) * pictures.sides;
        CloudMap const clouds(pictures.sides, 5.0 / settings.scale,
                              glm::dvec2(7.0 * settings.seed + 0.4 * progress, 5.0 * settings.seed - 0.3 * progress),
                              storage);
        double const reach = static_cast<double>(glm::length(farCorner)) + 0.75;
        Pass pass(storage, "TransitionFilmBurn", {kGlslVersion, kStraightAlpha, kMirrored, kLinearLight, kFragment});
        pictures.GiveTo(pass)
            .Texture("clouds", 2, clouds.Get())
            .Set("heat", reach * std::pow(std::min(progress / 0.6, 1.0), 2.2) -
                             0.38 * std::pow(1.0 - std::min(progress / 0.3, 1.0), 1.5) - 0.2)
            .Set("cooling", SmoothStep(0.5, 0.97, progress))
            .Set("share", SmoothStep(0.44, 0.52, progress))
            .Set("intensity", settings.intensity * std::min(1.0, 12.0 * std::min(progress, 1.0 - progress)))
            .Set("origin", origin)
            .Set("sides", pictures.sides)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionFilmBurn>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
