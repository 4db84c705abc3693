// Both pictures are smeared along rays from a centre, most in the middle of the time, where one fades into the other;
// what is bright leaves the longest streaks.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionZoomBlur final : SettingsOf<SettingsTransitionZoomBlur> {
    static inline std::string const CLASS_ID = "TransitionZoomBlur";
    static constexpr std::string_view SUMMARY =
        "Both pictures streak along rays from a centre, as in a zoom with an open shutter, while one fades into the "
        "other.";

    double strength = 0.5;
    double x = 0.5;
    double y = 0.5;
    double glow = 0.4;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "how long the streaks are"),
                Declare<&This::x>(0.0, 1.0, "centre, from the left"), Declare<&This::y>(0.0, 1.0, "centre, from below"),
                Declare<&This::glow>(0.0, 1.0, "how much brighter highlights become")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform float share;
uniform float reach;     // streak as a share of the distance from the centre
uniform float grow;      // of the outgoing picture, which is flown into
uniform float back;      // of the incoming one, which comes to rest
uniform float glow;
uniform vec2 centre;
uniform float count;
varying vec2 TexCoord0;

vec4 Lit(vec4 color) {
    float light = dot(color.rgb, vec3(0.2126, 0.7152, 0.0722));
    return color * (1.0 + 6.0 * glow * light * light * light);
}

void main() {
    vec2 arm = TexCoord0 - centre;
    float jitter = Jitter();
    vec4 sum = vec4(0.0);
    float plain = 0.0;
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        float along = (float(i) + jitter) / count;
        float scale = 1.0 - reach * along;
        if (share < 1.0) {
            vec4 color = texture2D(tex1, Mirrored(centre + arm * scale * grow));
            sum += (1.0 - share) * Lit(color);
            plain += (1.0 - share) * color.a;
        }
        if (share > 0.0) {
            vec4 color = texture2D(tex2, Mirrored(centre + arm * scale * back));
            sum += share * Lit(color);
            plain += share * color.a;
        }
    }
    float alpha = plain / count;
    gl_FragColor = Straight(min(sum.rgb / max(sum.a, 0.0001) * (1.0 + glow * reach), vec3(1.0)), alpha);
}
)glsl";

}  // namespace

class TransitionZoomBlur final : public TransitionWithSettings<Proc::SettingsTransitionZoomBlur> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const reach = settings.strength * Hump(progress);
        Pass pass(storage, "TransitionZoomBlur", {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment});
        pictures.GiveTo(pass)
            .Set("share", SmoothStep(0.3, 0.7, progress))
            .Set("reach", 0.75 * reach)
            .Set("grow", 1.0 - 0.3 * settings.strength * EaseInOut(progress, 2.0))
            .Set("back", 1.0 + 0.3 * settings.strength * (1.0 - EaseInOut(progress, 2.0)))
            .Set("glow", settings.glow * Hump(progress))
            .Set("centre", glm::vec2(static_cast<float>(settings.x), static_cast<float>(settings.y)))
            .Set("count", CountSamples(0.4 * reach * pictures.GetPixels(), 12))
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionZoomBlur>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
