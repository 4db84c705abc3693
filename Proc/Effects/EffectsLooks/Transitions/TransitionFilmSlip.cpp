// The film loses its loop in the projector: frames run through the gate, with the black line between them, faster and
// faster, the last ones being the incoming picture, until the claw catches it again. Blurred as a shutter would.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionFilmSlip final : SettingsOf<SettingsTransitionFilmSlip> {
    static inline std::string const CLASS_ID = "TransitionFilmSlip";
    static constexpr std::string_view SUMMARY =
        "The film slips in the gate: frames race past with black lines between them until the incoming picture "
        "catches.";

    std::int32_t frames = 6;
    double line = 0.05;
    double weave = 0.5;
    double ease = 3.0;
    double overshoot = 0.015;
    double blur = 0.4;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::frames>(2.0, 20.0, "how many frames run through"),
                Declare<&This::line>(0.0, 0.2, "height of the black line, as a share of the frame"),
                Declare<&This::weave>(0.0, 1.0, "how much the frames sway and flicker"),
                Declare<&This::ease>(1.0, 6.0, "how sharply it speeds up and brakes; 1 is steady"),
                Declare<&This::overshoot>(0.0, 0.1, "how far it goes beyond its goal, as a share of the way"),
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
uniform float half_;     // frame from which the incoming picture runs
uniform float count;
uniform float first;
uniform float last;
uniform float line;
uniform float sway;
uniform float dim;
uniform float pixel;
varying vec2 TexCoord0;
void main() {
    vec4 sum = vec4(0.0);
    float jitter = Jitter();
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        float x = mix(first, last, (float(i) + jitter) / count);
        // Frames are further apart by the line while the film runs.
        float along = TexCoord0.y + x * (1.0 + line);
        float number = floor((along + 0.5 * line) / (1.0 + line));
        float inside = along - number * (1.0 + line);
        vec2 place = vec2(TexCoord0.x + sway, inside);
        float cover = clamp((0.5 - abs(inside - 0.5)) / pixel + 0.5, 0.0, 1.0);
        vec4 color = number < half_ ? texture2D(tex1, Mirrored(place)) : texture2D(tex2, Mirrored(place));
        sum += vec4(color.rgb * cover, mix(1.0, color.a, cover));
    }
    sum /= count;
    gl_FragColor = Unmultiply(vec4(sum.rgb * dim, sum.a));
}
)glsl";

}  // namespace

class TransitionFilmSlip final : public TransitionWithSettings<Proc::SettingsTransitionFilmSlip> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        Exposure const exposure(WeightedMove(settings.ease, settings.overshoot, settings.frames), progress,
                                settings.blur);
        double const goal = settings.frames;
        double const middle = goal * exposure.GetMiddle();
        double const moving = Hump(progress) * settings.weave;
        Pass pass(storage, "TransitionFilmSlip", {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment});
        pictures.GiveTo(pass)
            .Set("half_", std::floor(0.5 * (goal + 1.0)))
            .Set("count", CountSamples(goal * exposure.GetLength() * pictures.outgoing.GetHeight(), 10))
            .Set("first", goal * exposure.from)
            .Set("last", goal * exposure.to)
            .Set("line", settings.line)
            .Set("sway", 0.012 * moving * std::sin(7.0 * middle))
            .Set("dim", 1.0 - 0.25 * moving * (0.5 + 0.5 * std::sin(11.0 * middle + 1.0)))
            .Set("pixel", 1.0 / pictures.outgoing.GetHeight())
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionFilmSlip>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
