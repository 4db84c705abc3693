// The outgoing picture turns liquid: it is stirred by slow whirls, and the incoming one wells up through it in drops
// that join. The surface between them bends like a meniscus and catches the light.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionLiquid final : SettingsOf<SettingsTransitionLiquid> {
    static inline std::string const CLASS_ID = "TransitionLiquid";
    static constexpr std::string_view SUMMARY =
        "The incoming picture wells up through the stirred outgoing one like a liquid, with a glossy edge.";

    double scale = 1.0;
    double stir = 0.5;
    double gloss = 0.6;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::scale>(0.3, 3.0, "size of the whirls"),
                Declare<&This::stir>(0.0, 1.0, "how strongly both pictures are stirred"),
                Declare<&This::gloss>(0.0, 1.0, "how much light the edge catches"),
                Declare<&This::seed>(0.0, 99.0, "which whirls")};
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
uniform float level;
uniform float progress;
uniform float stir;
uniform float gloss;
uniform vec2 texel;
varying vec2 TexCoord0;

float Height(vec2 place) {
    vec4 cloud = texture2D(clouds, place);
    return 0.75 * cloud.x + 0.25 * cloud.y;
}

void main() {
    vec2 dx = vec2(texel.x, 0.0);
    vec2 dy = vec2(0.0, texel.y);
    vec2 bent = TexCoord0 + (texture2D(clouds, TexCoord0).zw - 0.5) * 0.12 * stir * progress * (1.0 - progress) * 4.0;
    float height = Height(bent);
    vec2 slope = vec2(Height(bent + dx) - Height(bent - dx), Height(bent + dy) - Height(bent - dy));
    float steep = length(slope) + 0.0001;
    // Distance from the edge, positive inside of the incoming picture, in steps of the slope's samples.
    float inside = (level - height) / steep;
    float share = smoothstep(-0.06, 0.06, inside);
    float rim = exp(-inside * inside * 3.0);
    vec2 normal = -slope / steep;
    vec2 lens = normal * rim * texel * 1.6;
    vec2 whirl = vec2(slope.y, -slope.x) * stir;
    vec4 outgoing = texture2D(tex1, Mirrored(bent + whirl * progress * 0.8 + lens));
    vec4 incoming = texture2D(tex2, Mirrored(bent - whirl * (1.0 - progress) * 0.8 + (bent - TexCoord0) - lens));
    vec4 color = mix(outgoing, incoming, share);
    float facing = dot(normal, vec2(0.5547, -0.83205));
    float ridge = exp(-(inside - 0.35) * (inside - 0.35) * 14.0);
    color.rgb *= 1.0 - 0.45 * gloss * rim * clamp(facing, 0.0, 1.0);
    color.rgb *= 1.0 - 0.3 * gloss * (1.0 - share) * exp(-inside * inside * 0.8);
    color.rgb = Screen(color, vec3(gloss * ridge * pow(clamp(-facing, 0.0, 1.0), 3.0)));
    gl_FragColor = Unmultiply(color);
}
)glsl";

}  // namespace

class TransitionLiquid final : public TransitionWithSettings<Proc::SettingsTransitionLiquid> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        CloudMap const clouds(pictures.sides, 3.2 / settings.scale,
                              glm::dvec2(9.0 * settings.seed + 0.35 * progress, 4.0 * settings.seed - 0.25 * progress),
                              storage);
        // Nearly all heights lie between the first two numbers; the few beyond are reached at the very ends.
        double const level = 0.24 + 0.52 * EaseInOut(progress, 1.3) -
                             kBeyond * (SmoothStep(0.15, 0.0, progress) - SmoothStep(0.85, 1.0, progress));
        Pass pass(storage, "TransitionLiquid", {kGlslVersion, kStraightAlpha, kMirrored, kScreenFunction, kFragment});
        pictures.GiveTo(pass)
            .Texture("clouds", 2, clouds.Get())
            .Set("level", level)
            .Set("progress", SmoothStep(0.0, 1.0, progress))
            .Set("stir", settings.stir)
            .Set("gloss", settings.gloss)
            .Set("texel", glm::vec2(static_cast<float>(0.016 * settings.scale)) / pictures.sides)
            .DrawTo(*dst);
    }

private:
    static constexpr double kBeyond = 0.2;
};

template void AddTransition<TransitionLiquid>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
