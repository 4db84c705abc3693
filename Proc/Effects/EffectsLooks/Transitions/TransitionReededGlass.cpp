// A pane of reeded glass slides across: each of its ribs is a small lens that shows a compressed strip of what lies
// behind it, with light on its flank. In front of the pane is the outgoing picture, behind it the incoming one.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionReededGlass final : SettingsOf<SettingsTransitionReededGlass> {
    static inline std::string const CLASS_ID = "TransitionReededGlass";
    static constexpr std::string_view SUMMARY =
        "A pane of ribbed glass slides across, bends both pictures in its ribs and leaves the incoming one behind.";

    std::int32_t ribs = 26;
    double width = 0.55;
    double bend = 0.6;
    double shine = 0.4;
    double angle = 12.0;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::ribs>(4.0, 120.0, "ribs on the length of the longer side"),
                Declare<&This::width>(0.1, 1.5, "width of the pane, as a share of the way"),
                Declare<&This::bend>(0.0, 1.0, "how strongly the ribs bend"),
                Declare<&This::shine>(0.0, 1.0, "how much light the ribs catch"),
                Declare<&This::angle>(-180.0, 180.0, "degrees of the direction in which it slides; 0 is to the right")};
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
uniform vec2 way;
uniform float front;
uniform float width;
uniform float ribs;
uniform float bend;
uniform float shine;
varying vec2 TexCoord0;
void main() {
    vec2 p = (TexCoord0 - 0.5) * sides;
    float along = dot(p, way);
    float inside = (front - along) / width;            // 0 at the front of the pane, 1 at its back
    float pane = smoothstep(0.0, 0.3, inside) * (1.0 - smoothstep(0.7, 1.0, inside));
    float rib = fract(along * ribs + 0.001) - 0.5;
    float lens = rib * (1.0 - 0.35 * cos(6.2831853 * rib));
    vec2 place = TexCoord0 + way * (lens * bend * pane * (0.35 + 2.2 / ribs)) / sides;
    float share = smoothstep(0.35, 0.65, inside + 0.25 * rib);
    float share0 = inside <= 0.0 ? 0.0 : (inside >= 1.0 ? 1.0 : share);
    vec4 color = mix(texture2D(tex1, Mirrored(place)), texture2D(tex2, Mirrored(place)), share0);
    float flank = rib * 2.0;
    color.rgb *= 1.0 - 0.4 * shine * pane * smoothstep(0.4, 1.0, flank);
    color.rgb = Screen(color, vec3(0.7 * shine * pane * pow(clamp(1.0 - abs(flank + 0.62) * 3.0, 0.0, 1.0), 2.0)));
    gl_FragColor = Unmultiply(color);
}
)glsl";

}  // namespace

class TransitionReededGlass final : public TransitionWithSettings<Proc::SettingsTransitionReededGlass> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const angle = settings.angle * std::numbers::pi / 180.0;
        glm::vec2 const way(std::cos(angle), std::sin(angle));
        double const reach = 0.5 * static_cast<double>(glm::dot(glm::abs(way), pictures.sides));
        double const width = 2.0 * reach * settings.width;
        Pass pass(storage, "TransitionReededGlass",
                  {kGlslVersion, kStraightAlpha, kMirrored, kScreenFunction, kFragment});
        pictures.GiveTo(pass)
            .Set("sides", pictures.sides)
            .Set("way", way)
            .Set("front", -reach + (2.0 * reach + width) * EaseInOut(progress, 1.4))
            .Set("width", width)
            .Set("ribs", static_cast<float>(settings.ribs))
            .Set("bend", settings.bend)
            .Set("shine", settings.shine)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionReededGlass>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
