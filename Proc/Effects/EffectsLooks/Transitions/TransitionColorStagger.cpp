// The three colours arrive one after the other: red, green and blue of the incoming picture slide in as separate
// layers with weight, so that coloured fringes run ahead and behind until they meet.

#include "Proc/Effects/EffectsLooks/Look.h"
#include "Proc/Effects/EffectsLooks/MoveSettings.h"
#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionColorStagger final : MoveSettings<SettingsTransitionColorStagger> {
    static inline std::string const CLASS_ID = "TransitionColorStagger";
    static constexpr std::string_view SUMMARY =
        "Red, green and blue of the incoming picture slide in one after the other and meet in one picture.";

    double stagger = 0.25;
    double ease = 3.5;
    double overshoot = 0.03;
    double blur = 0.5;

    static std::vector<Field> DeclareFields() {
        return {DeclareDirection("where the layers move to"),
                Declare<&This::stagger>(0.0, 0.8, "how much later the last colour starts"),
                DeclareEase("how sharply the layers speed up and brake; 1 is steady"),
                DeclareOvershoot(0.2, "how far they go beyond their goal before they settle"), DeclareBlur()};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform vec2 way;
uniform vec3 first;
uniform vec3 last;
uniform float count;
uniform float pixels;
varying vec2 TexCoord0;

vec4 Layer(float x) {
    vec2 place = TexCoord0 + way * x;
    float share = clamp((dot(place - 0.5, way) - 0.5) * pixels + 0.5, 0.0, 1.0);
    // The outgoing layer stays behind a little and is pushed off by the incoming one.
    if (share >= 1.0) {
        return texture2D(tex2, Mirrored(place - way));
    }
    vec4 under = texture2D(tex1, Mirrored(TexCoord0 + way * x * 0.35));
    return share <= 0.0 ? under : mix(under, texture2D(tex2, Mirrored(place - way)), share);
}

void main() {
    vec3 colors = vec3(0.0);
    vec3 alphas = vec3(0.0);
    float jitter = Jitter();
    for (int i = 0; i < 6; ++i) {
        if (float(i) >= count) {
            break;
        }
        vec3 x = mix(first, last, (float(i) + jitter) / count);
        vec4 red = Layer(x.r);
        vec4 green = Layer(x.g);
        vec4 blue = Layer(x.b);
        colors += vec3(red.r, green.g, blue.b);
        alphas += vec3(red.a, green.a, blue.a);
    }
    float alpha = max(alphas.r, max(alphas.g, alphas.b)) / count;
    gl_FragColor = Unmultiply(vec4(colors / count, alpha));
}
)glsl";

}  // namespace

class TransitionColorStagger final : public TransitionWithSettings<Proc::SettingsTransitionColorStagger> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const way = GetWay(static_cast<int>(settings.direction));
        WeightedMove const move(settings.ease, settings.overshoot);
        glm::vec3 opens(0.0F);
        glm::vec3 closes(0.0F);
        for (int color = 0; color < 3; ++color) {
            double const start = 0.5 * settings.stagger * color;
            Exposure const exposure(move, (progress - start) / (1.0 - settings.stagger), settings.blur);
            opens[color] = static_cast<float>(exposure.from);
            closes[color] = static_cast<float>(exposure.to);
        }
        glm::vec3 const length = closes - opens;
        double const pixels = way.x != 0.0F ? pictures.outgoing.GetWidth() : pictures.outgoing.GetHeight();
        Pass pass(storage, "TransitionColorStagger",
                  {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment});
        pictures.GiveTo(pass)
            .Set("way", way)
            .Set("first", opens)
            .Set("last", closes)
            .Set("count", CountSamples(static_cast<double>(std::max({length.r, length.g, length.b})) * pixels, 5))
            .Set("pixels", pixels)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionColorStagger>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
