// An old television is switched over: the outgoing picture collapses into a bright line and a dot, snow flickers up,
// and the incoming picture opens out of the line again.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionTvSwitch final : SettingsOf<SettingsTransitionTvSwitch> {
    static inline std::string const CLASS_ID = "TransitionTvSwitch";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture collapses to a glowing line as on an old television, and the incoming one opens out of "
        "it.";

    double snow = 0.6;
    double glow = 0.8;
    double curve = 0.4;
    Color color{190, 220, 255, 255};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::snow>(0.0, 1.0, "how strong the snow is"),
                Declare<&This::glow>(0.0, 1.0, "how bright the line glows"),
                Declare<&This::curve>(0.0, 1.0, "how round the screen is"),
                Declare<&This::color>("colour of the glow")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform vec2 opening;    // half height and half width of the picture on the screen
uniform float incoming;
uniform float shine;
uniform float snow;
uniform float glow;
uniform float bend;
uniform float number;
uniform vec4 color;
uniform float tube;
uniform vec2 pixel;
varying vec2 TexCoord0;
void main() {
    vec2 p = TexCoord0 - 0.5;
    p *= 1.0 + bend * dot(p, p) * (1.0 - 0.6 * step(0.999, 2.0 * opening.x));
    vec2 q = p / (2.0 * opening.yx) + 0.5;
    vec2 inside = clamp((opening.yx - abs(p)) / pixel + 0.5, 0.0, 1.0);
    float cover = inside.x * inside.y;
    vec4 picture = incoming > 0.5 ? texture2D(tex2, Mirrored(q)) : texture2D(tex1, Mirrored(q));
    vec3 lit = picture.rgb + (vec3(picture.a) - picture.rgb) * color.rgb * shine;
    float grain = Random(floor(TexCoord0 / vec2(0.004, 0.006)) + vec2(number * 13.0, number * 29.0)).x;
    lit = mix(lit, vec3(grain) * picture.a, snow);
    float far = length(max(abs(p) - opening.yx, 0.0) * vec2(0.5, 2.2));
    vec3 halo = color.rgb * glow * exp(-far * 18.0);
    vec3 back = halo;
    // Behind what is transparent in the picture lies the dark tube.
    float alpha = max(picture.a, tube);
    gl_FragColor = Straight(mix(back, lit / max(alpha, 0.001), cover), mix(1.0, alpha, cover));
}
)glsl";

}  // namespace

class TransitionTvSwitch final : public TransitionWithSettings<Proc::SettingsTransitionTvSwitch> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        bool const isIncoming = progress >= 0.5;
        // 1 when the picture fills the screen, 0 at the line, below 0 when the line shrinks to a dot.
        double const fall = progress / 0.38;
        double const size = isIncoming ? (progress - 0.56) / 0.34 : 1.0 - fall * fall * (2.0 - fall);
        // Falls together faster and faster; opens fast, and comes to rest when it fills the screen.
        double const share = std::clamp(size, 0.0, 1.0);
        double const height = std::max(0.0035, isIncoming ? SmoothStep(0.0, 1.0, share) : std::pow(share, 2.2));
        double const width = size > 0.0 ? 1.0 : std::max(0.004, 1.0 + (isIncoming ? size * 5.5 : size * 3.4));
        double const shine = settings.glow * std::pow(1.0 - share, 1.5);
        double const settled = isIncoming ? SmoothStep(1.0, 0.72, progress) : 0.6 * SmoothStep(0.1, 0.38, progress);
        Pass pass(storage, "TransitionTvSwitch",
                  {kGlslVersion, kStraightAlpha, kMirrored, "uniform sampler2D noise;", kRandomFunction, kFragment});
        pictures.GiveTo(pass)
            .Texture("noise", 2, storage.Noise())
            .Set("opening", glm::vec2(static_cast<float>(0.5 * height), static_cast<float>(0.5 * width)))
            .Set("incoming", isIncoming ? 1.0 : 0.0)
            .Set("shine", shine)
            .Set("snow", settings.snow * settled * (size > 0.0 ? 1.0 : 0.0))
            .Set("glow", settings.glow * std::clamp(1.6 - 1.6 * size, 0.0, 1.0))
            .Set("bend", 0.6 * settings.curve * (1.0 - share))
            // Other snow in each frame, whatever the rate.
            .Set("number", std::floor(progress * 997.0))
            .Set("color", settings.color)
            .Set("tube", SmoothStep(0.0, 0.12, progress) * SmoothStep(1.0, 0.88, progress))
            .Set("pixel", glm::vec2(1.0F / static_cast<float>(pictures.outgoing.GetWidth()),
                                    1.0F / static_cast<float>(pictures.outgoing.GetHeight())))
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionTvSwitch>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
