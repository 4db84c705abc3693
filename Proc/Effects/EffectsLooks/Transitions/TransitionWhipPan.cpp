// The camera is whipped round: mirrored copies of the outgoing picture rush past, then such of the incoming one, and
// the camera comes to rest on it. Streaks are long, so the pictures are first made narrow along the way, which blurs
// them there and nowhere else, and are then sampled along the streak.

#include "Proc/Effects/EffectsLooks/Look.h"
#include "Proc/Effects/EffectsLooks/MoveSettings.h"
#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionWhipPan final : MoveSettings<SettingsTransitionWhipPan> {
    static inline std::string const CLASS_ID = "TransitionWhipPan";
    static constexpr std::string_view SUMMARY =
        "The camera whips away from the outgoing picture and comes to rest on the incoming one, blurred to streaks.";

    std::int32_t distance = 4;
    double ease = 3.5;
    double overshoot = 0.01;
    double blur = 0.7;

    static std::vector<Field> DeclareFields() {
        return {DeclareDirection("where the pictures rush to"),
                Declare<&This::distance>(2, 8, "how many pictures rush past"), DeclareEase(),
                DeclareOvershoot(0.1, "how far it goes beyond its goal, as a share of the way"), DeclareBlur()};
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
uniform float goal;
varying vec2 TexCoord0;
void main() {
    vec4 sum = vec4(0.0);
    float jitter = Jitter();
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        float x = mix(first, last, (float(i) + jitter) / count);
        float along = dot(TexCoord0 - 0.5, way) + x;
        float share = smoothstep(-0.35, 0.35, along - 0.5 * goal);
        if (share < 1.0) {
            sum += (1.0 - share) * texture2D(tex1, Mirrored(TexCoord0 + way * x));
        }
        if (share > 0.0) {
            sum += share * texture2D(tex2, Mirrored(TexCoord0 + way * (x - goal)));
        }
    }
    gl_FragColor = Unmultiply(sum / count);
}
)glsl";

/// The picture with that many of its pixels along the way made one.
Frame Squeeze(Frame const& picture, bool isAcross, std::uint32_t factor, ShaderStorage const& storage) {
    if (factor < 2) {
        return picture;
    }
    auto const less = [factor](std::uint32_t side) { return std::max(side / factor, 1U); };
    std::uint32_t const width = picture.GetWidth();
    std::uint32_t const height = picture.GetHeight();
    return MakeScaled(picture, isAcross ? less(width) : width, isAcross ? height : less(height), storage);
}

}  // namespace

class TransitionWhipPan final : public TransitionWithSettings<Proc::SettingsTransitionWhipPan> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        glm::vec2 const way = GetWay(static_cast<int>(settings.direction));
        bool const isAcross = way.x != 0.0F;
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        double const goal = settings.distance;
        double const pixels = goal * (isAcross ? outgoing.GetWidth() : outgoing.GetHeight());
        Exposure const exposure(WeightedMove(settings.ease, settings.overshoot, settings.distance), progress,
                                settings.blur);
        constexpr int kMost = 12;
        double const streak = exposure.GetLength() * pixels;
        // Few sizes, so that textures are used again.
        auto const factor = 1U << static_cast<unsigned>(std::clamp(std::log2(streak / kMost), 0.0, 5.0));
        double const reach = 0.5 + 0.35 + 0.001;  // of the change-over, and of the picture about its centre
        bool const isBefore = goal * std::max(exposure.from, exposure.to) + reach < 0.5 * goal;
        bool const isAfter = goal * std::min(exposure.from, exposure.to) - reach > 0.5 * goal;
        Frame const from = isAfter ? outgoing : Squeeze(outgoing, isAcross, factor, storage);
        Frame const to = isBefore ? incoming : Squeeze(incoming, isAcross, factor, storage);
        Premultiplied const fromColors(from, storage);
        Premultiplied const toColors(to, storage);
        Pass(storage, "TransitionWhipPan", {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment})
            .Texture("tex1", 0, fromColors.Get())
            .Texture("tex2", 1, toColors.Get())
            .Set("way", way)
            .Set("count", CountSamples(streak, kMost))
            .Set("first", goal * exposure.from)
            .Set("last", goal * exposure.to)
            .Set("goal", goal)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionWhipPan>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
