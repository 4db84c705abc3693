// A bank of smoke rolls over the outgoing picture until it hides it, and drifts away from the incoming one: puffs come
// before what lies between them, and go last. Two layers move at different speeds; puffs are lit from above and take
// some of the colour of what is behind them.

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionSmoke final : SettingsOf<SettingsTransitionSmoke> {
    static inline std::string const CLASS_ID = "TransitionSmoke";
    static constexpr std::string_view SUMMARY =
        "Rolling smoke thickens over the outgoing picture and clears away from the incoming one.";

    double density = 0.9;
    double scale = 1.0;
    double speed = 1.0;
    Color color{232, 234, 238, 255};
    Color shade{52, 58, 72, 255};
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
uniform sampler2D room1; // the pictures, very small
uniform sampler2D room2;
uniform float progress;
uniform float density;
uniform float share;
uniform vec2 way;        // in texture coordinates: 0 to 1 across the frame
uniform float begin;
uniform vec2 toLight;
uniform vec4 color;
uniform vec4 shade;
varying vec2 TexCoord0;

// Billows: folds of the noise are the creases between puffs. They are round: sharp ones would look like marble.
float Puff(vec4 cloud) {
    float fold = 2.0 * abs(2.0 * cloud.y - 1.0);
    return 0.7 * cloud.x + 0.3 * (1.0 - fold * fold / (fold + 0.25));
}

// How much smoke there is: puffs stand out first.
float Body(float puff, float thick, float soft) {
    return smoothstep(0.0, soft, puff - mix(1.05, -soft, thick));
}

void main() {
    vec2 whirl = texture2D(far, TexCoord0).zw - 0.5;
    vec2 bent = TexCoord0 + whirl * 0.16;
    vec4 fine = texture2D(near, Mirrored(bent * 2.7 + 0.31));
    float a = Puff(texture2D(near, bent)) + 0.22 * (Puff(fine) - 0.5);
    float b = Puff(texture2D(far, bent)) + 0.12 * (Puff(fine) - 0.5);
    // The bank comes in over one side and leaves over the other.
    float s = dot(TexCoord0, way) + begin;
    float thick = smoothstep(-0.06 + 0.2 * s, 0.3 + 0.2 * s, progress) *
                  (1.0 - smoothstep(0.5 + 0.2 * s, 0.86 + 0.2 * s, progress));
    float dense = density * Body(a, thick, 0.55);
    float behind = density * Body(b, min(1.0, 1.15 * thick), 0.8);
    float above = Puff(texture2D(near, bent + toLight));
    float above2 = Puff(texture2D(far, bent + 1.5 * toLight));
    // Light goes through smoke: no side of it is all dark.
    float light = smoothstep(-0.3, 1.1, 0.55 + 1.9 * (a - above) + 0.8 * (a - 0.5));
    float light2 = smoothstep(-0.3, 1.1, 0.42 + 1.5 * (b - above2) + 0.7 * (b - 0.5));
    vec3 room = mix(texture2D(room1, TexCoord0).rgb, texture2D(room2, TexCoord0).rgb, share);
    vec3 lit = mix(color.rgb, color.rgb * (0.35 + room), 0.35);
    vec4 picture = mix(texture2D(tex1, TexCoord0), texture2D(tex2, TexCoord0), share);
    vec4 veiled = mix(picture, vec4(mix(shade.rgb, lit, 0.85 * light2), 1.0), behind);
    gl_FragColor = Unmultiply(mix(veiled, vec4(mix(shade.rgb, lit, light), 1.0), dense));
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
        glm::dvec2 const direction(std::cos(angle), std::sin(angle));
        glm::dvec2 const drift = -direction * (settings.speed * progress);
        glm::dvec2 const seed(7.0 * settings.seed, 3.0 * settings.seed);
        // Along the direction the frame is from 0 to 1.
        glm::vec2 const way =
            glm::vec2(direction) * pictures.sides / glm::dot(glm::abs(glm::vec2(direction)), pictures.sides);
        CloudMap const near(pictures.sides, 3.0 / settings.scale, seed + 2.0 * drift, storage);
        CloudMap const far(pictures.sides, 4.5 / settings.scale, seed + glm::dvec2(91.0, 37.0) + 1.2 * drift, storage);
        Frame const room1 = MakeSmall(pictures.outgoing, 12, storage);
        Frame const room2 = MakeSmall(pictures.incoming, 12, storage);
        Pass pass(storage, "TransitionSmoke", {kGlslVersion, kStraightAlpha, kMirrored, kFragment});
        pictures.GiveTo(pass)
            .Texture("near", 2, near.Get())
            .Texture("far", 3, far.Get())
            .Texture("room1", 4, room1)
            .Texture("room2", 5, room2)
            .Set("progress", progress)
            .Set("density", settings.density)
            .Set("share", SmoothStep(0.42, 0.58, progress))
            .Set("way", way)
            .Set("begin", 0.5F - 0.5F * (way.x + way.y))
            .Set("toLight", glm::vec2(-0.018F, 0.05F) * static_cast<float>(settings.scale) / pictures.sides)
            .Set("color", settings.color)
            .Set("shade", settings.shade)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionSmoke>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
