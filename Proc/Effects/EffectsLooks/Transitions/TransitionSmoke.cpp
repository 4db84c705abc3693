// Smoke rolls in front of the outgoing picture until it hides it, and clears away from the incoming one. Two layers
// move at different speeds; the upper edge of each puff is lit.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionSmoke final : SettingsOf<SettingsTransitionSmoke> {
    static inline std::string const CLASS_ID = "TransitionSmoke";
    static constexpr std::string_view SUMMARY =
        "Rolling smoke thickens over the outgoing picture and clears away from the incoming one.";

    double density = 0.8;
    double scale = 1.0;
    double speed = 0.5;
    Color color{214, 218, 226, 255};
    Color shade{58, 64, 78, 255};
    double angle = 20.0;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::density>(0.0, 1.0, "how thick the smoke becomes"),
                Declare<&This::scale>(0.3, 3.0, "size of the puffs"),
                Declare<&This::speed>(0.0, 2.0, "how fast it rolls"),
                Declare<&This::color>("colour of lit smoke"),
                Declare<&This::shade>("colour of its shaded side"),
                Declare<&This::angle>(-180.0, 180.0, "degrees of the direction in which it moves; 0 is to the right"),
                Declare<&This::seed>(0.0, 99.0, "which smoke")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D near;
uniform sampler2D far;
uniform float thick;
uniform float share;
uniform vec2 texel;
uniform vec4 color;
uniform vec4 shade;
varying vec2 TexCoord0;

float Puff(vec4 cloud) {
    // Billows: folds of the noise are the creases between puffs.
    float fold = 2.0 * cloud.y - 1.0;
    return 0.7 * cloud.x + 0.3 * (1.0 - fold * fold);
}

void main() {
    vec2 bent = TexCoord0 + (texture2D(far, TexCoord0).zw - 0.5) * 0.12;
    float a = Puff(texture2D(near, bent));
    float b = Puff(texture2D(far, bent));
    float above = Puff(texture2D(near, bent + texel));
    float above2 = Puff(texture2D(far, bent + texel));
    float density = clamp(thick * 2.4 + 2.6 * (a - 0.66) * min(thick * 3.0, 1.0), 0.0, 1.0);
    float behind = clamp(thick * 2.0 + 2.6 * (b - 0.68) * min(thick * 3.0, 1.0), 0.0, 1.0);
    float light = clamp(0.5 + 1.5 * (a - above) + 1.1 * (a - 0.62), 0.0, 1.0);
    float light2 = clamp(0.35 + 1.2 * (b - above2) + 0.9 * (b - 0.62), 0.0, 1.0);
    vec4 picture = mix(texture2D(tex1, TexCoord0), texture2D(tex2, TexCoord0), share);
    vec4 veiled = mix(picture, vec4(mix(shade.rgb, color.rgb, 0.8 * light2), 1.0), behind * behind);
    veiled = mix(veiled, vec4(mix(shade.rgb, color.rgb, light), 1.0), density * density * (3.0 - 2.0 * density));
    gl_FragColor = Unmultiply(veiled);
}
)glsl";

}  // namespace

class TransitionSmoke final : public TransitionWithSettings<Proc::SettingsTransitionSmoke> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const angle = settings.angle * std::numbers::pi / 180.0;
        glm::dvec2 const drift = -glm::dvec2(std::cos(angle), std::sin(angle)) * (settings.speed * progress);
        glm::dvec2 const seed(7.0 * settings.seed, 3.0 * settings.seed);
        CloudMap const near(pictures.sides, 3.0 / settings.scale, seed + 2.0 * drift, storage);
        CloudMap const far(pictures.sides, 4.5 / settings.scale, seed + glm::dvec2(91.0, 37.0) + 1.2 * drift, storage);
        Pass pass(storage, "TransitionSmoke", {kGlslVersion, kStraightAlpha, kFragment});
        pictures.GiveTo(pass)
            .Texture("near", 2, near.Get())
            .Texture("far", 3, far.Get())
            .Set("thick", settings.density * Hump(progress))
            .Set("share", SmoothStep(0.42, 0.58, progress))
            .Set("texel", glm::vec2(-0.02F, 0.05F) * static_cast<float>(settings.scale) / pictures.sides)
            .Set("color", settings.color)
            .Set("shade", settings.shade)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionSmoke>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
