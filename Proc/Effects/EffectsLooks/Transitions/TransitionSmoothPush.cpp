// The incoming picture pushes the outgoing one away, edge to edge, as one strip that has weight: it speeds up, goes a
// little too far and settles, blurred along its way as a shutter would. Behind the strip's end it is mirrored.

#include "Proc/Effects/EffectsLooks/Look.h"
#include "Proc/Effects/EffectsLooks/MoveSettings.h"
#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionSmoothPush final : MoveSettings<SettingsTransitionSmoothPush> {
    static inline std::string const CLASS_ID = "TransitionSmoothPush";
    static constexpr std::string_view SUMMARY =
        "The incoming picture pushes the outgoing one away with momentum and motion blur, overshoots and settles.";

    double ease = 3.0;
    double overshoot = 0.04;
    double blur = 0.6;

    static std::vector<Field> DeclareFields() {
        return {DeclareDirection("where both pictures move to"), DeclareEase(), DeclareOvershoot(), DeclareBlur()};
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
uniform float pixels;  // along the way
varying vec2 TexCoord0;
void main() {
    vec4 sum = vec4(0.0);
    float jitter = Jitter();
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        vec2 place = TexCoord0 + way * mix(first, last, (float(i) + jitter) / count);
        float share = clamp((dot(place - 0.5, way) - 0.5) * pixels + 0.5, 0.0, 1.0);
        if (share < 1.0) {
            sum += (1.0 - share) * texture2D(tex1, Mirrored(place));
        }
        if (share > 0.0) {
            sum += share * texture2D(tex2, Mirrored(place - way));
        }
    }
    gl_FragColor = Unmultiply(sum / count);
}
)glsl";

}  // namespace

class TransitionSmoothPush final : public TransitionWithSettings<Proc::SettingsTransitionSmoothPush> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const way = GetWay(static_cast<int>(settings.direction));
        double const pixels = way.x != 0.0F ? pictures.outgoing.GetWidth() : pictures.outgoing.GetHeight();
        Exposure const exposure(WeightedMove(settings.ease, settings.overshoot), progress, settings.blur);
        Pass pass(storage, "TransitionSmoothPush",
                  {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment});
        pictures.GiveTo(pass)
            .Set("way", way)
            .Set("count", CountSamples(exposure.GetLength() * pixels, 14))
            .Set("first", exposure.from)
            .Set("last", exposure.to)
            .Set("pixels", pixels)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionSmoothPush>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
