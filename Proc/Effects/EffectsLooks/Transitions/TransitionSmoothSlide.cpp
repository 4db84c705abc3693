// The incoming picture slides over the outgoing one, which follows more slowly, grows dark and lies in the shadow of
// the edge above it. The move has weight and is blurred as a shutter would. Behind its end the sheet is mirrored.

#include "Proc/Effects/EffectsLooks/Look.h"
#include "Proc/Effects/EffectsLooks/MoveSettings.h"
#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionSmoothSlide final : MoveSettings<SettingsTransitionSmoothSlide> {
    static inline std::string const CLASS_ID = "TransitionSmoothSlide";
    static constexpr std::string_view SUMMARY =
        "The incoming picture slides over the darkening outgoing one with a soft shadow, momentum and motion blur.";

    double parallax = 0.3;
    double dim = 0.4;
    double shadow = 0.6;
    double ease = 3.0;
    double overshoot = 0.0;
    double blur = 0.5;

    static std::vector<Field> DeclareFields() {
        return {DeclareDirection("where the incoming picture moves to"),
                Declare<&This::parallax>(0.0, 1.0, "how fast the outgoing picture follows; 1 is as fast"),
                Declare<&This::dim>(0.0, 1.0, "how dark the outgoing picture becomes"),
                Declare<&This::shadow>(0.0, 1.0, "how dark the shadow of the edge is"),
                DeclareEase(),
                DeclareOvershoot(),
                DeclareBlur()};
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
uniform float count;
uniform float first;
uniform float last;
uniform float pixels;
uniform float side;      // length along the way
uniform float parallax;
uniform float dim;
uniform float shadow;
varying vec2 TexCoord0;
void main() {
    vec4 sum = vec4(0.0);
    float jitter = Jitter();
    float along = dot(TexCoord0 - 0.5, way) + 0.5;
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        float x = mix(first, last, (float(i) + jitter) / count);
        float beyond = along + x - 1.0;  // behind the edge of the sheet that slides in
        float share = clamp(beyond * pixels + 0.5, 0.0, 1.0);
        if (share < 1.0) {
            float reach = max(-beyond * side, 0.0);
            float dark = (1.0 - dim * min(x, 1.0)) * (1.0 - shadow * exp(-reach / 0.035) * smoothstep(0.0, 0.05, x));
            vec4 under = texture2D(tex1, Mirrored(TexCoord0 + way * x * parallax));
            sum += (1.0 - share) * vec4(under.rgb * dark, under.a);
        }
        if (share > 0.0) {
            sum += share * texture2D(tex2, Mirrored(TexCoord0 + way * (x - 1.0)));
        }
    }
    gl_FragColor = Unmultiply(sum / count);
}
)glsl";

}  // namespace

class TransitionSmoothSlide final : public TransitionWithSettings<Proc::SettingsTransitionSmoothSlide> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const way = GetWay(static_cast<int>(settings.direction));
        bool const isAcross = way.x != 0.0F;
        double const pixels = isAcross ? pictures.outgoing.GetWidth() : pictures.outgoing.GetHeight();
        Exposure const exposure(WeightedMove(settings.ease, settings.overshoot), progress, settings.blur);
        Pass pass(storage, "TransitionSmoothSlide",
                  {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment});
        pictures.GiveTo(pass)
            .Set("way", way)
            .Set("count", CountSamples(exposure.GetLength() * pixels, 14))
            .Set("first", exposure.from)
            .Set("last", exposure.to)
            .Set("pixels", pixels)
            .Set("side", isAcross ? pictures.sides.x : pictures.sides.y)
            .Set("parallax", settings.parallax)
            .Set("dim", settings.dim)
            .Set("shadow", settings.shadow)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionSmoothSlide>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
