// Light falls past the edge of a film gate: warm clouds of it drift across the picture and hide that one picture fades
// into the other. Light is added in linear light, so bright parts burn out first.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionLightLeak final : SettingsOf<SettingsTransitionLightLeak> {
    static inline std::string const CLASS_ID = "TransitionLightLeak";
    static constexpr std::string_view SUMMARY =
        "Warm light leaks drift across the frame and wash the outgoing picture over into the incoming one.";

    double intensity = 0.85;
    Color color{255, 106, 32, 255};
    Color second{255, 40, 110, 255};
    double angle = 0.0;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::intensity>(0.0, 1.0, "how bright the leaks are"),
                Declare<&This::color>("colour of the leaks"), Declare<&This::second>("colour of their edges"),
                Declare<&This::angle>(-180.0, 180.0, "degrees of the direction in which they drift; 0 is to the right"),
                Declare<&This::seed>(0.0, 99.0, "which leaks")};
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
uniform float share;
uniform float intensity;
uniform vec2 way;      // drift: along it, the leak's middle is at `middle`
uniform float middle;
uniform vec2 sides;
uniform vec4 color;
uniform vec4 second;
varying vec2 TexCoord0;
void main() {
    vec4 cloud = texture2D(clouds, TexCoord0);
    vec2 p = (TexCoord0 - 0.5) * sides;
    float across = dot(p, vec2(-way.y, way.x));
    float along = dot(p, way) - middle + 0.5 * (cloud.x - 0.5) + 0.15 * across;
    float body = exp(-along * along * 14.0);
    float wing = exp(-(along + 0.34) * (along + 0.34) * 30.0) * (0.35 + 0.9 * cloud.y);
    float veil = exp(-along * along * 3.0);
    vec3 light = color.rgb * color.rgb * (1.5 * body + 0.5 * wing) * (0.55 + 0.9 * cloud.z) +
                 second.rgb * second.rgb * (0.55 * veil * (0.4 + cloud.w) + 0.6 * wing) +
                 vec3(1.0, 0.82, 0.55) * body * body * body * 1.5 * cloud.z;
    vec4 picture = mix(texture2D(tex1, TexCoord0), texture2D(tex2, TexCoord0),
                       clamp(share + 0.5 * (body - 0.5) * intensity * share * (1.0 - share) * 4.0, 0.0, 1.0));
    vec3 lit = vec3(1.0) - (vec3(1.0) - ToLight(Unmultiply(picture).rgb)) * exp(-1.6 * intensity * light);
    gl_FragColor = Straight(FromLight(lit), picture.a);
}
)glsl";

}  // namespace

class TransitionLightLeak final : public TransitionWithSettings<Proc::SettingsTransitionLightLeak> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const angle = settings.angle * std::numbers::pi / 180.0;
        glm::vec2 const way(std::cos(angle), std::sin(angle));
        double const reach = 0.5 * static_cast<double>(glm::dot(glm::abs(way), pictures.sides)) + 0.75;
        CloudMap const clouds(pictures.sides, 2.6,
                              glm::dvec2(7.0 * settings.seed - 0.7 * progress, 3.0 * settings.seed), storage);
        Pass pass(storage, "TransitionLightLeak", {kGlslVersion, kStraightAlpha, kLinearLight, kFragment});
        pictures.GiveTo(pass)
            .Texture("clouds", 2, clouds.Get())
            .Set("share", SmoothStep(0.3, 0.7, progress))
            .Set("intensity", settings.intensity * SmoothStep(0.0, 0.2, std::min(progress, 1.0 - progress)))
            .Set("way", way)
            .Set("middle", reach * (2.0 * progress - 1.0))
            .Set("sides", pictures.sides)
            .Set("color", settings.color)
            .Set("second", settings.second)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionLightLeak>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
