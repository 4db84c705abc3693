// The picture is tiled by hexagons that turn over in space one after the other, in a wave with a little disorder: each
// leans back into the dark and comes up with the incoming picture and a glint.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionHexagons final : SettingsOf<SettingsTransitionHexagons> {
    static inline std::string const CLASS_ID = "TransitionHexagons";
    static constexpr std::string_view SUMMARY =
        "Hexagonal tiles turn over in a wave, each with a glint on its edge, from the outgoing picture to the incoming "
        "one.";

    std::int32_t count = 11;
    double angle = 25.0;
    double spread = 0.72;
    double disorder = 0.12;
    double glint = 0.7;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::count>(3.0, 60.0, "hexagons along the longer side"),
            Declare<&This::angle>(-180.0, 180.0, "degrees of the direction in which the wave runs; 0 is to the right"),
            Declare<&This::spread>(0.0, 0.9, "how much of the time the wave takes"),
            Declare<&This::disorder>(0.0, 1.0, "how irregularly tiles start"),
            Declare<&This::glint>(0.0, 1.0, "how bright the glint is")};
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
uniform float size;      // width of a hexagon
uniform vec2 way;
uniform float reach;
uniform float spread;
uniform float disorder;
uniform float glint;
uniform vec2 sides;
uniform float pixel;
varying vec2 TexCoord0;
void main() {
    vec2 q = (TexCoord0 - 0.5) * sides / size;
    vec2 lattice = vec2(1.0, 1.7320508);
    vec2 a = (floor(q / lattice) + 0.5) * lattice;
    vec2 b = floor(q / lattice + 0.5) * lattice;
    vec2 middle = dot(q - a, q - a) < dot(q - b, q - b) ? a : b;
    vec2 arm = q - middle;
    vec4 number = Random(floor(2.0 * middle / lattice + 128.5));
    float wave = 0.5 + 0.5 * dot(middle * size, way) / reach;
    float delay = mix(clamp(wave, 0.0, 1.0), number.x, 0.6 * disorder) * spread;
    float turn = clamp((progress - delay) / (1.0 - spread), 0.0, 1.0);
    turn = smoothstep(0.0, 1.0, smoothstep(0.0, 1.0, turn));
    // A tile turns about an axis across the wave: it is narrowed along the wave, its near half is larger than its far
    // one, and it is a little smaller than its place, all the more the further it is turned.
    float lean = sin(3.14159265 * turn);
    float width = abs(1.0 - 2.0 * turn);
    float along = dot(arm, way);
    float depth = 1.0 + 0.5 * lean * along * (turn < 0.5 ? 1.0 : -1.0);
    float stretched = along / max(width, 0.02);
    vec2 upright = (arm - way * along) * depth * (1.0 + 0.08 * lean) + way * stretched;
    vec2 uprightFar = abs(upright);
    float uprightRim = max(dot(uprightFar, vec2(0.5, 0.8660254)), uprightFar.x);
    float gap = 0.02 * lean;
    float rest = step(turn, 0.0) + step(1.0, turn);
    float cover = max(clamp((0.5 - gap - uprightRim) * width * size / pixel + 0.5, 0.0, 1.0), rest);
    vec2 place = (middle + upright) * size / sides + 0.5;
    vec4 color = turn < 0.5 ? texture2D(tex1, Mirrored(place)) : texture2D(tex2, Mirrored(place));
    color.rgb *= 1.0 - 0.45 * lean * lean * (turn < 0.5 ? 1.0 : 0.6);
    // The lamp is reflected as a tile comes up, in a band that runs over it; edges catch a line of light.
    float band = stretched + 5.0 * (turn - 0.78);
    float shine = glint * min(1.0, 1.6 * lean) * exp(-band * band * 12.0) * step(0.5, turn);
    float edge = (1.0 - smoothstep(0.0, 0.035, 0.5 - gap - uprightRim)) * lean;
    color.rgb = Screen(color, vec3(0.75 * shine + 0.3 * glint * edge));
    // Behind the tiles lies the incoming picture, in their shadow.
    vec4 back = texture2D(tex2, TexCoord0);
    back.rgb *= mix(0.15, 0.6, turn);
    gl_FragColor = Unmultiply(mix(back, color, cover));
}
)glsl";

}  // namespace

class TransitionHexagons final : public TransitionWithSettings<Proc::SettingsTransitionHexagons> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const angle = settings.angle * std::numbers::pi / 180.0;
        glm::vec2 const way(std::cos(angle), std::sin(angle));
        Pass pass(storage, "TransitionHexagons",
                  {kGlslVersion, kStraightAlpha, kMirrored, "uniform sampler2D noise;", kRandomFunction,
                   kScreenFunction, kFragment});
        pictures.GiveTo(pass)
            .Texture("noise", 2, storage.Noise())
            .Set("progress", progress)
            .Set("size", 1.0 / settings.count)
            .Set("way", way)
            .Set("reach", 0.5F * glm::dot(glm::abs(way), pictures.sides))
            .Set("spread", settings.spread)
            .Set("disorder", settings.disorder)
            .Set("glint", settings.glint)
            .Set("sides", pictures.sides)
            .Set("pixel", 1.0 / pictures.GetPixels())
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionHexagons>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
