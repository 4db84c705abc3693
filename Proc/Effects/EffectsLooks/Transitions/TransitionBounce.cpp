// The incoming picture falls in, hits the edge of the frame, bounces twice, each time lower, is squashed a little when
// it lands, and comes to rest. The outgoing one below it lies in its shadow. Blurred along its way as a shutter would.

#include "Proc/Effects/EffectsLooks/Look.h"
#include "Proc/Effects/EffectsLooks/MoveSettings.h"
#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionBounce final : MoveSettings<SettingsTransitionBounce> {
    static inline std::string const CLASS_ID = "TransitionBounce";
    static constexpr std::string_view SUMMARY =
        "The incoming picture drops in, bounces on the frame's edge and comes to rest over the outgoing one.";

    double bounce = 0.4;
    double squash = 0.4;
    double shadow = 0.6;
    double blur = 0.5;

    SettingsTransitionBounce() { direction = Direction::Down; }

    static std::vector<Field> DeclareFields() {
        return {DeclareDirection("where it falls to"), Declare<&This::bounce>(0.0, 0.8, "how high it bounces"),
                Declare<&This::squash>(0.0, 1.0, "how much it is squashed when it lands"),
                Declare<&This::shadow>(0.0, 1.0, "how dark its shadow is"), DeclareBlur()};
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
uniform float first;     // how far above its place the sheet is when the shutter opens, in pictures
uniform float last;
uniform float count;
uniform float pixels;
uniform float side;
uniform float squash;
uniform float shadow;
uniform float dim;
varying vec2 TexCoord0;
void main() {
    vec4 sum = vec4(0.0);
    float jitter = Jitter();
    float depth = 0.5 - dot(TexCoord0 - 0.5, way);  // above the edge that it lands on
    for (int i = 0; i < 12; ++i) {
        if (float(i) >= count) {
            break;
        }
        float height = mix(first, last, (float(i) + jitter) / count);
        float own = (depth - height) / (1.0 - squash);  // 0 on the sheet's lower edge
        float share = clamp(own * pixels + 0.5, 0.0, 1.0);
        float below = max(-own, 0.0) * side;
        if (share < 1.0) {
            vec4 under = texture2D(tex1, TexCoord0);
            under.rgb *= dim * (1.0 - shadow * exp(-below / 0.06) * (1.0 - smoothstep(0.8, 1.0, height)));
            sum += (1.0 - share) * under;
        }
        if (share > 0.0) {
            sum += share * texture2D(tex2, Mirrored(TexCoord0 + way * (depth - own)));
        }
    }
    gl_FragColor = Unmultiply(sum / count);
}
)glsl";

}  // namespace

class TransitionBounce final : public TransitionWithSettings<Proc::SettingsTransitionBounce> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const way = GetWay(static_cast<int>(settings.direction)) * -1.0F;
        // Before its beginning the sheet does not move.
        double const open = std::min(0.03 * settings.blur, std::clamp(progress, 0.0, 1.0));
        double const from = Height(progress - open);
        double const to = Height(progress + open);
        double const pixels = way.x != 0.0F ? pictures.outgoing.GetWidth() : pictures.outgoing.GetHeight();
        // Squashed for a moment after each landing.
        double squash = 0.0;
        for (double const landing : {kFall, kFall + GetSpan(0), kFall + GetSpan(0) + GetSpan(1)}) {
            double const since = (progress - landing) / 0.07;
            squash += std::exp(-(since - 0.3) * (since - 0.3) * 4.0) * (landing == kFall ? 1.0 : 0.45);
        }
        squash *= SmoothStep(1.0, 0.9, progress);
        Pass pass(storage, "TransitionBounce", {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment});
        pictures.GiveTo(pass)
            .Set("way", way)
            .Set("first", from)
            .Set("last", to)
            .Set("count", CountSamples(std::fabs(to - from) * pixels, 10))
            .Set("pixels", pixels)
            .Set("side", way.x != 0.0F ? pictures.sides.x : pictures.sides.y)
            .Set("squash", 0.12 * settings.squash * std::min(squash, 1.0))
            .Set("shadow", settings.shadow * SmoothStep(0.0, 0.15, progress))
            .Set("dim", 1.0 - 0.35 * settings.shadow * SmoothStep(0.0, kFall, progress))
            .DrawTo(*dst);
    }

private:
    static constexpr double kFall = 0.28;  ///< when it lands first

    /// How long a bounce takes: its height is as the square of its time.
    double GetSpan(int number) const {
        double const longest = 2.0 * kFall * std::sqrt(settings.bounce);
        double const shares = longest * (1.0 + std::sqrt(0.35));
        double const fits = std::min(1.0, (0.97 - kFall) / std::max(shares, 1e-6));
        return longest * fits * (number == 0 ? 1.0 : std::sqrt(0.35));
    }

    double Height(double time) const {
        if (time < kFall) {
            double const t = std::max(time, 0.0) / kFall;
            return 1.0 - t * t;
        }
        double start = kFall;
        double top = settings.bounce;
        for (int number = 0; number < 2; ++number) {
            double const span = GetSpan(number);
            if (time < start + span) {
                double const t = (time - start) / span;
                return 4.0 * top * t * (1.0 - t);
            }
            start += span;
            top *= 0.35;
        }
        return 0.0;
    }
};

template void AddTransition<TransitionBounce>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
