// The picture is a card that turns about its middle in space, with perspective: the outgoing picture is on its front,
// the incoming one on its back. It catches light while it turns, and stands before a dark, blurred copy of both.

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/LensBlur.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionCardFlip final : SettingsOf<SettingsTransitionCardFlip> {
    static inline std::string const CLASS_ID = "TransitionCardFlip";
    static constexpr std::string_view SUMMARY =
        "The picture turns over like a card in space, with the incoming picture on its back.";

    enum class Axis : std::int32_t { Vertical, Horizontal };

    Axis axis = Axis::Vertical;
    bool reverse = false;
    double distance = 1.6;
    double shrink = 0.22;
    double ease = 2.6;
    double overshoot = 0.03;
    double light = 0.6;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::axis>({{Axis::Vertical, "vertical"}, {Axis::Horizontal, "horizontal"}},
                                     "the axis of the turn"),
                Declare<&This::reverse>("turn the other way"),
                Declare<&This::distance>(0.6, 6.0, "how far away the viewer is, in longer sides"),
                Declare<&This::shrink>(0.0, 0.6, "how much smaller the card is in the middle of the turn"),
                Declare<&This::ease>(1.0, 6.0, "how sharply it speeds up and brakes; 1 is steady"),
                Declare<&This::overshoot>(0.0, 0.2, "how far it turns beyond its goal before it settles"),
                Declare<&This::light>(0.0, 1.0, "how much light and shade it catches")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D back1;
uniform sampler2D back2;
uniform vec2 sides;
uniform vec2 axis;       // across the axis of the turn
uniform float sine;
uniform float cosine;
uniform float viewer;
uniform float size;
uniform float isBack;
uniform float light;
uniform float fade;
uniform float dim;
uniform float room;      // 0 where the card is a cut-out, which turns in empty space
uniform float pixel;
varying vec2 TexCoord0;
void main() {
    vec2 p = (TexCoord0 - 0.5) * sides / size;
    float u = dot(p, axis);
    float v = dot(p, axis.yx);
    // The ray from the viewer meets the turned card.
    float depth = viewer * cosine - u * sine;
    float t = viewer / (abs(depth) < 0.0001 ? 0.0001 : depth);
    float along = u * t;
    float other = v * viewer * cosine / (abs(depth) < 0.0001 ? 0.0001 : depth);
    vec2 q = along * axis + other * axis.yx;
    vec2 place = q / sides;
    vec2 inside = (vec2(0.5) - abs(place)) * sides;
    float cover = clamp(min(inside.x, inside.y) * size * abs(cosine) / pixel + 0.5, 0.0, 1.0);
    cover *= step(0.0, t * sign(cosine)) * step(0.0005, abs(cosine));
    if (isBack > 0.5) {
        place *= vec2(1.0) - 2.0 * axis;
    }
    vec4 card = isBack > 0.5 ? texture2D(tex2, Mirrored(place + 0.5)) : texture2D(tex1, Mirrored(place + 0.5));
    float facing = 1.0 - light * (0.75 * abs(sine) * (0.6 + 0.4 * sign(sine * cosine)));
    card.rgb *= facing;
    float gleam = exp(-pow((abs(sine) - 0.55 + 0.7 * along) * 3.5, 2.0)) * light * 0.35 * smoothstep(0.0, 0.3, abs(sine));
    card.rgb = Screen(card, vec3(gleam));
    vec4 back = mix(texture2D(back1, TexCoord0), texture2D(back2, TexCoord0), fade);
    back = vec4(back.rgb * dim, back.a) * room;
    gl_FragColor = Unmultiply(mix(back, card, cover));
}
)glsl";

}  // namespace

class TransitionCardFlip final : public TransitionWithSettings<Proc::SettingsTransitionCardFlip> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        bool const isVertical = settings.axis == Proc::SettingsTransitionCardFlip::Axis::Vertical;
        double const turned = std::numbers::pi * WeightedMove(settings.ease, settings.overshoot).At(progress);
        bool const isOpaque =
            pictures.outgoing.GetFirstTexture().IsOpaque() && pictures.incoming.GetFirstTexture().IsOpaque();
        double const sine = std::sin(turned) * (settings.reverse ? -1.0 : 1.0);
        double const lift = std::pow(std::fabs(std::sin(turned)), 1.3);
        constexpr std::uint32_t kBehind = 160;  // dark and soft: no disc of it is seen
        LensBlur const behind1(MakeSmall(pictures.outgoing, kBehind, storage), {0.03}, storage);
        LensBlur const behind2(MakeSmall(pictures.incoming, kBehind, storage), {0.03}, storage);
        Pass pass(storage, "TransitionCardFlip", {kGlslVersion, kStraightAlpha, kMirrored, kScreenFunction, kFragment});
        pictures.GiveTo(pass)
            .Texture("back1", 2, behind1.Get())
            .Texture("back2", 3, behind2.Get())
            .Set("sides", pictures.sides)
            .Set("axis", isVertical ? glm::vec2(1.0F, 0.0F) : glm::vec2(0.0F, 1.0F))
            .Set("sine", sine)
            .Set("cosine", std::cos(turned))
            .Set("viewer", settings.distance)
            .Set("size", 1.0 - settings.shrink * lift)
            .Set("isBack", std::cos(turned) < 0.0 ? 1.0 : 0.0)
            .Set("light", settings.light)
            .Set("fade", SmoothStep(0.3, 0.7, progress))
            .Set("dim", 0.35)
            .Set("room", isOpaque ? 1.0 : 0.0)
            .Set("pixel", 1.0 / pictures.GetPixels())
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionCardFlip>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
