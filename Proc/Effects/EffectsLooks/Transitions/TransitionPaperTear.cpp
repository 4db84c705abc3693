// The outgoing picture is a sheet of paper that is torn in two along a ragged line: the white core of the paper shows
// on the tear, the halves move apart and turn a little, with shadows on the incoming picture below.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionPaperTear final : SettingsOf<SettingsTransitionPaperTear> {
    static inline std::string const CLASS_ID = "TransitionPaperTear";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture is torn in two like paper, with white torn edges and shadows, and its halves move apart.";

    double angle = 75.0;
    double roughness = 0.5;
    double edge = 0.5;
    double turn = 9.0;
    double shadow = 0.6;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::angle>(-180.0, 180.0, "degrees of the tear; 0 lies flat, 90 stands"),
                Declare<&This::roughness>(0.0, 1.0, "how ragged the tear is"),
                Declare<&This::edge>(0.0, 1.0, "how much of the white core shows"),
                Declare<&This::turn>(0.0, 45.0, "degrees by which the halves turn"),
                Declare<&This::shadow>(0.0, 1.0, "how dark the shadows are"),
                Declare<&This::seed>(0.0, 99.0, "which tear")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform vec2 sides;
uniform vec2 along;      // the tear's direction
uniform float apart;     // how far the halves have moved
uniform float reach;     // until the halves are out of the frame
uniform float turn;
uniform float rough;
uniform float core;
uniform float shadow;
uniform float seed;
uniform float pixel;
varying vec2 TexCoord0;

// How far the tear lies off its straight line.
float Tear(float place) {
    return rough * (0.16 * (Noise(vec2(place * 3.0, seed)).x - 0.5) + 0.05 * (Noise(vec2(place * 14.0, seed + 7.0)).x - 0.5) +
                    0.014 * (Noise(vec2(place * 70.0, seed + 13.0)).x - 0.5));
}

// What a half covers here: picture, its share, its core's share, and its shadow.
void Half(float side, out vec2 place, out float sheet, out float white, out float dark) {
    vec2 across = vec2(-along.y, along.x);
    vec2 p = (TexCoord0 - 0.5) * sides;
    float s = sin(side * turn * apart);
    float c = cos(side * turn * apart);
    p -= across * (side * apart * reach);
    p = vec2(c * p.x + s * p.y, c * p.y - s * p.x);
    float distance = side * (dot(p, across) - Tear(dot(p, along)));
    // The upper layer is torn further back than the core below it.
    float back = core * 0.028 * (0.35 + 1.3 * Noise(vec2(dot(p, along) * 9.0, seed + 31.0)).y);
    vec2 inside = 0.5 * sides - abs(p);
    float frame = min(inside.x, inside.y);
    // The lower half reaches a little below the upper one: nothing shines through where they still touch.
    float whole = min(side > 0.0 ? distance : distance + pixel, frame);
    sheet = clamp(whole / pixel + 0.5, 0.0, 1.0);
    white = side > 0.0 ? (1.0 - smoothstep(back - pixel, back + pixel, distance)) * min(apart * 60.0, 1.0) : 0.0;
    dark = shadow * min(apart * 8.0, 1.0) * smoothstep(-0.05, 0.012, min(distance, frame));
    place = p / sides + 0.5;
}

void main() {
    vec2 place1;
    vec2 place2;
    float sheet1;
    float sheet2;
    float white1;
    float white2;
    float dark1;
    float dark2;
    Half(1.0, place1, sheet1, white1, dark1);
    Half(-1.0, place2, sheet2, white2, dark2);
    vec4 color = texture2D(tex2, TexCoord0);
    color.rgb *= (1.0 - dark1 * (1.0 - sheet1)) * (1.0 - dark2 * (1.0 - sheet2));
    float fibre = 0.9 + 0.1 * Noise(TexCoord0 * sides * 260.0).z;
    vec4 lower = texture2D(tex1, Mirrored(place2));
    lower.rgb *= 1.0 - 0.5 * dark1 * (1.0 - sheet1);
    color = mix(color, lower, sheet2);
    vec4 upper = texture2D(tex1, Mirrored(place1));
    // The core is there where the paper is.
    upper.rgb = mix(upper.rgb, vec3(0.96, 0.95, 0.93) * fibre * upper.a, white1);
    color = mix(color, upper, sheet1);
    gl_FragColor = Unmultiply(color);
}
)glsl";

}  // namespace

class TransitionPaperTear final : public TransitionWithSettings<Proc::SettingsTransitionPaperTear> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const angle = settings.angle * std::numbers::pi / 180.0;
        // The paper gives slowly, then goes at once.
        double const apart = std::pow(progress, 2.4);
        // Until no corner is left in the frame.
        double const half =
            0.5 * (std::fabs(std::sin(angle)) * pictures.sides.x + std::fabs(std::cos(angle)) * pictures.sides.y);
        double const reach =
            half * (1.15 + 0.9 * std::sin(settings.turn * std::numbers::pi / 180.0)) + 0.1 * settings.roughness;
        Pass pass(storage, "TransitionPaperTear",
                  {kGlslVersion, kStraightAlpha, kMirrored, kNoiseFunctions, kFragment});
        pictures.GiveTo(pass)
            .Texture("noise", 2, storage.Noise())
            .Set("sides", pictures.sides)
            .Set("along", glm::vec2(std::cos(angle), std::sin(angle)))
            .Set("apart", apart)
            .Set("reach", reach)
            .Set("turn", settings.turn * std::numbers::pi / 180.0)
            .Set("rough", settings.roughness)
            .Set("core", settings.edge)
            .Set("shadow", settings.shadow)
            .Set("seed", static_cast<float>(7 * settings.seed))
            .Set("pixel", 1.0 / pictures.GetPixels())
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionPaperTear>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
