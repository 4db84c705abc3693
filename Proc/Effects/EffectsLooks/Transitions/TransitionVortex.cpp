// A whirl turns the outgoing picture in, faster towards its centre, and lets the incoming one out of it, turning back.
// Each pixel is smeared along its circle as far as it moves.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionVortex final : SettingsOf<SettingsTransitionVortex> {
    static inline std::string const CLASS_ID = "TransitionVortex";
    static constexpr std::string_view SUMMARY =
        "A whirl draws the outgoing picture into its centre and unwinds into the incoming one.";

    double turns = 1.2;
    double size = 0.8;
    double pull = 0.5;
    double x = 0.5;
    double y = 0.5;
    double blur = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::turns>(-4.0, 4.0, "turns at the centre, clockwise"),
                Declare<&This::size>(0.1, 1.5, "radius of the whirl, as a share of the longer side"),
                Declare<&This::pull>(0.0, 1.0, "how far things are drawn in"),
                Declare<&This::x>(0.0, 1.0, "centre, from the left"),
                Declare<&This::y>(0.0, 1.0, "centre, from below"),
                Declare<&This::blur>(0.0, 1.0, "how long the shutter is open")};
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
uniform vec2 centre;
uniform float size;
uniform float angle1;
uniform float angle2;
uniform float pull1;
uniform float pull2;
uniform float share;
uniform float smear;
uniform float pixels;  // of the longer side
varying vec2 TexCoord0;

vec2 Turn(vec2 arm, float angle, float pull, float fall) {
    float s = sin(angle * fall);
    float c = cos(angle * fall);
    return Mirrored(centre + vec2(c * arm.x - s * arm.y, s * arm.x + c * arm.y) * (1.0 + pull * fall) / sides);
}

void main() {
    vec2 arm = (TexCoord0 - centre) * sides;
    float fall = max(1.0 - length(arm) / size, 0.0);
    fall *= fall;
    float jitter = Jitter();
    // The centre changes over first, and what lies further out follows.
    float changed = clamp(share * 1.6 - 0.6 * (1.0 - fall), 0.0, 1.0);
    changed = changed * changed * (3.0 - 2.0 * changed);
    // Where a pixel's way is short, few samples do.
    float count = clamp(ceil(smear * fall * length(arm) * pixels / 6.0), 1.0, 12.0);
    vec4 sum = vec4(0.0);
    for (int i = 0; i < 12; ++i) {
        if (float(i) >= count) {
            break;
        }
        float part = smear * ((float(i) + jitter) / count - 0.5);
        if (changed < 1.0) {
            sum += (1.0 - changed) * texture2D(tex1, Turn(arm, angle1 + part, pull1, fall));
        }
        if (changed > 0.0) {
            sum += changed * texture2D(tex2, Turn(arm, angle2 + part, pull2, fall));
        }
    }
    gl_FragColor = Unmultiply(sum / count);
}
)glsl";

}  // namespace

class TransitionVortex final : public TransitionWithSettings<Proc::SettingsTransitionVortex> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const whole = 2.0 * std::numbers::pi * settings.turns;
        double const in = std::pow(progress, 2.0);
        double const out = std::pow(1.0 - progress, 2.0);
        double const smear = 0.09 * settings.blur * std::fabs(whole) * std::sin(std::numbers::pi * progress);
        Pass pass(storage, "TransitionVortex", {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment});
        pictures.GiveTo(pass)
            .Set("sides", pictures.sides)
            .Set("centre", glm::vec2(static_cast<float>(settings.x), static_cast<float>(settings.y)))
            .Set("size", settings.size)
            .Set("angle1", whole * in)
            .Set("angle2", -whole * out)
            .Set("pull1", 4.0 * settings.pull * in)
            .Set("pull2", 4.0 * settings.pull * out)
            .Set("share", SmoothStep(0.25, 0.75, progress))
            .Set("smear", smear)
            .Set("pixels", pictures.GetPixels())
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionVortex>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
