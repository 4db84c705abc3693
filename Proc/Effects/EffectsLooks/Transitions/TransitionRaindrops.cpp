// Drops of rain fall onto the picture as onto a pane: each is a lens that shows the incoming picture upside down and
// catches light on its rim; they grow, join and at last cover everything.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionRaindrops final : SettingsOf<SettingsTransitionRaindrops> {
    static inline std::string const CLASS_ID = "TransitionRaindrops";
    static constexpr std::string_view SUMMARY =
        "Drops of rain land like small lenses that show the incoming picture, grow together and cover everything.";

    double size = 1.0;
    double bend = 0.6;
    double shine = 0.7;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::size>(0.3, 3.0, "size of the drops"),
                Declare<&This::bend>(0.0, 1.0, "how strongly the drops bend what is seen in them"),
                Declare<&This::shine>(0.0, 1.0, "how much light they catch"),
                Declare<&This::seed>(0.0, 99.0, "which drops")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform float progress;
uniform vec2 sides;
uniform float size;
uniform float bend;
uniform float shine;
uniform float seed;
varying vec2 TexCoord0;

// Adds the height of the water of one grid of drops, and its slope.
void Drops(vec2 p, float cell, float layer, float start, inout float height, inout vec2 slope) {
    vec2 q = p / cell;
    vec2 home = floor(q);
    for (int y = -1; y <= 1; ++y) {
        for (int x = -1; x <= 1; ++x) {
            vec2 at = home + vec2(float(x), float(y));
            vec4 r = Random(at + vec2(layer * 53.0 + 60.0, seed * 7.0 + 60.0));
            float age = clamp((progress - start * r.z - 0.02) / (0.94 - start * r.z), 0.0, 1.0);
            float radius = (0.22 + 0.34 * r.w * r.w) * smoothstep(0.0, 0.07, age) + 1.35 * age * age;
            vec2 arm = q - at - 0.2 - 0.6 * r.xy;
            float d = dot(arm, arm) / max(radius * radius, 0.0001);
            float h = radius > 0.0 ? max(1.0 - d, 0.0) : 0.0;  // nothing is seen of a drop that has yet to fall
            height += h * h;
            slope += -arm * h * (4.0 / max(radius, 0.05));
        }
    }
}

void main() {
    vec2 p = TexCoord0 * sides;
    // No drop is quite round.
    vec2 wobble = (Noise(p * 22.0 / size + 7.0).xy - 0.5) * 0.02 * size;
    float height = 0.0;
    vec2 slope = vec2(0.0);
    Drops(p + wobble, 0.16 * size, 1.0, 0.72, height, slope);
    Drops(p + wobble + 0.37, 0.075 * size, 2.0, 0.8, height, slope);
    float rest = smoothstep(0.8, 1.0, progress);
    height += rest * 1.2;
    float water = smoothstep(0.05, 0.11, height);
    // The surface is steep at the rim and flat where the water is deep: what has run together is a clear film.
    float steep = 1.0 - smoothstep(0.0, 1.0, height);
    vec2 normal = slope / (0.35 + length(slope)) * steep * (1.0 - rest);
    vec4 incoming = texture2D(tex2, Mirrored(TexCoord0 - normal * bend * 0.14 * size / sides));
    vec4 outgoing = texture2D(tex1, TexCoord0);
    // A soft shadow lies around each drop.
    outgoing.rgb *= 1.0 - 0.4 * shine * smoothstep(0.0, 0.06, height) * (1.0 - water);
    // Light from above comes out below; the rim is dark where it turns away, and the lamp is seen near the top.
    float up = dot(normal, vec2(-0.4, 0.9));
    incoming.rgb *= 1.0 - shine * (0.5 * clamp(up, 0.0, 1.0) + 0.3 * dot(normal, normal) * steep);
    float glint = smoothstep(0.42, 0.58, up) * (1.0 - smoothstep(0.62, 0.82, up)) * smoothstep(0.1, 0.3, height);
    incoming.rgb = Screen(incoming, vec3(shine * (0.5 * clamp(-up, 0.0, 1.0) + 0.85 * glint)));
    gl_FragColor = Unmultiply(mix(outgoing, incoming, water));
}
)glsl";

}  // namespace

class TransitionRaindrops final : public TransitionWithSettings<Proc::SettingsTransitionRaindrops> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        Pass pass(
            storage, "TransitionRaindrops",
            {kGlslVersion, kStraightAlpha, kMirrored, kNoiseFunctions, kRandomFunction, kScreenFunction, kFragment});
        pictures.GiveTo(pass)
            .Texture("noise", 2, storage.Noise())
            .Set("progress", progress)
            .Set("sides", pictures.sides)
            .Set("size", settings.size)
            .Set("bend", settings.bend)
            .Set("shine", settings.shine)
            .Set("seed", static_cast<float>(settings.seed))
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionRaindrops>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
