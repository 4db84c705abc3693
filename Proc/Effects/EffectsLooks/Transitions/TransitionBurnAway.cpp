// The outgoing picture is paper that burns away from a place: first it browns, then a glowing line eats along it and
// leaves a black rim that crumbles; the incoming picture lies beneath, in the shadow of the sheet. Sparks fly off the
// line.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionBurnAway final : SettingsOf<SettingsTransitionBurnAway> {
    static inline std::string const CLASS_ID = "TransitionBurnAway";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture burns away like paper, with a charred rim, a glowing line and sparks.";

    double x = 0.3;
    double y = 0.15;
    double scale = 1.0;
    Color flame{255, 122, 24, 255};
    double rim = 0.5;
    double sparks = 0.6;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::x>(0.0, 1.0, "where it catches fire, from the left"),
                Declare<&This::y>(0.0, 1.0, "where it catches fire, from below"),
                Declare<&This::scale>(0.3, 3.0, "how coarse the ragged line is"),
                Declare<&This::flame>("colour of the glowing line"),
                Declare<&This::rim>(0.0, 1.0, "how wide the browned rim is"),
                Declare<&This::sparks>(0.0, 1.0, "how many sparks fly"),
                Declare<&This::seed>(0.0, 99.0, "which line")};
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
uniform float front;
uniform float progress;
uniform vec2 origin;
uniform vec2 sides;
uniform vec4 flame;
uniform float rim;
uniform float sparks;
uniform float grain;
varying vec2 TexCoord0;

float Ember(vec2 place, float size, float layer) {
    // Sparks rise and drift; each cell has one, which glows for a part of the time.
    vec2 drift = vec2(0.15 * sin(6.0 * place.y + layer), -0.9 * progress - 0.2 * layer);
    vec2 q = (place + drift) / size;
    vec2 cell = floor(q);
    vec4 number = Random(cell + vec2(layer * 37.0 + 70.0, layer * 11.0));
    vec2 arm = q - cell - 0.2 - 0.6 * number.xy;
    float flicker = 0.6 + 0.4 * sin(60.0 * progress * (0.5 + number.z) + 40.0 * number.w);
    return step(0.72, number.w) * flicker * exp(-dot(arm, arm) * 420.0 * (0.6 + number.z));
}

void main() {
    vec4 cloud = texture2D(clouds, TexCoord0);
    vec2 p = TexCoord0 * sides;
    float fibre = Noise(p * grain).x - 0.5;
    float field = length((TexCoord0 - origin) * sides) + 0.5 * (cloud.x - 0.5) + 0.16 * (cloud.y - 0.5) + 0.012 * fibre;
    float ahead = field - front;  // of the burnt line: negative where nothing is left
    vec4 under = texture2D(tex2, TexCoord0);
    under.rgb *= 1.0 - 0.55 * exp(min(ahead, 0.0) * 16.0) * (1.0 - smoothstep(0.9, 1.0, progress));

    float width = 0.02 + 0.11 * rim;
    float brown = exp(-max(ahead, 0.0) / width);
    vec2 curl = (cloud.zw - 0.5) * 0.05 * brown;
    vec4 paper = texture2D(tex1, Mirrored(TexCoord0 + curl));
    float light = dot(paper.rgb, vec3(0.2126, 0.7152, 0.0722));
    vec3 toasted = light * vec3(0.62, 0.36, 0.16);
    paper.rgb = mix(paper.rgb, toasted, smoothstep(0.15, 0.7, brown));
    paper.rgb *= 1.0 - smoothstep(0.55, 0.9, brown);
    float left = smoothstep(-0.0015, 0.0015, ahead);
    vec4 color = mix(under, paper, left);

    float heat = 0.6 + 0.8 * cloud.w;
    float core = exp(-abs(ahead - 0.002) / 0.0035);
    float halo = exp(-abs(ahead) / 0.03);
    float near = exp(-abs(ahead) / 0.12) * step(-0.25, ahead);
    float lit = Ember(p, 0.05, 1.0) + Ember(p, 0.09, 2.0);
    vec3 hot = mix(flame.rgb, vec3(1.0, 0.93, 0.7), 0.75);
    vec3 glow = hot * core * heat + flame.rgb * 0.4 * halo * heat + hot * lit * near * sparks * 2.0;
    color.rgb = Screen(color, clamp(glow, 0.0, 1.0));
    gl_FragColor = Unmultiply(color);
}
)glsl";

}  // namespace

class TransitionBurnAway final : public TransitionWithSettings<Proc::SettingsTransitionBurnAway> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const origin(static_cast<float>(settings.x), static_cast<float>(settings.y));
        glm::vec2 const farCorner = glm::max(origin, glm::vec2(1.0F) - origin) * pictures.sides;
        CloudMap const clouds(pictures.sides, 4.0 / settings.scale,
                              glm::dvec2(7.0 * settings.seed, 3.0 * settings.seed), storage);
        // From before the first brown to the last corner, and then at once to behind the last glow.
        double const begin = -0.22;
        double const corner = static_cast<double>(glm::length(farCorner)) + 0.04;
        double const front = begin + (corner - begin) * std::pow(std::min(progress / 0.94, 1.0), 0.8) +
                             0.22 * SmoothStep(0.84, 1.0, progress);
        Pass pass(
            storage, "TransitionBurnAway",
            {kGlslVersion, kStraightAlpha, kMirrored, kNoiseFunctions, kRandomFunction, kScreenFunction, kFragment});
        pictures.GiveTo(pass)
            .Texture("clouds", 2, clouds.Get())
            .Texture("noise", 3, storage.Noise())
            .Set("front", front)
            .Set("progress", progress)
            .Set("origin", origin)
            .Set("sides", pictures.sides)
            .Set("flame", settings.flame)
            .Set("rim", settings.rim)
            .Set("sparks", settings.sparks)
            .Set("grain", 120.0 / settings.scale)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionBurnAway>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
