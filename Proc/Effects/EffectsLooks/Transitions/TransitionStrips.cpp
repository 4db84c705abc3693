// The picture is cut into strips that slide away one after the other, each second one in the other direction, and
// bring strips of the incoming picture behind them. Each has weight and is blurred along its way.

#include <vector>

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionStrips final : SettingsOf<SettingsTransitionStrips> {
    static inline std::string const CLASS_ID = "TransitionStrips";
    static constexpr std::string_view SUMMARY =
        "Strips slide away alternately, each a little later than its neighbour, and pull in the incoming picture.";

    enum class Axis : std::int32_t { Vertical, Horizontal };

    std::int32_t count = 9;
    Axis axis = Axis::Vertical;
    double stagger = 0.45;
    bool alternate = true;
    double ease = 3.0;
    double overshoot = 0.03;
    double blur = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::count>(2.0, 40.0, "strips"),
                Declare<&This::axis>({{Axis::Vertical, "vertical"}, {Axis::Horizontal, "horizontal"}},
                                     "how the strips lie"),
                Declare<&This::stagger>(0.0, 0.9, "how much later the last strip starts"),
                Declare<&This::alternate>("each second strip goes the other way"),
                Declare<&This::ease>(1.0, 6.0, "how sharply they speed up and brakes; 1 is steady"),
                Declare<&This::overshoot>(0.0, 0.2, "how far they go beyond their goal before they settle"),
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
uniform float moves[80];   // place of each strip when the shutter opens and when it closes
uniform float count;
uniform vec2 across;       // the axis on which the strips lie beside each other
uniform float samples;
uniform float pixels;
uniform float alternate;
varying vec2 TexCoord0;
void main() {
    float number = clamp(floor(dot(TexCoord0, across) * count + 0.0005), 0.0, count - 1.0);
    int index = int(number + 0.5);
    float first = moves[2 * index];
    float last = moves[2 * index + 1];
    vec2 way = across.yx * (alternate > 0.5 && mod(number, 2.0) > 0.5 ? -1.0 : 1.0);
    float side = fract(dot(TexCoord0, across) * count + 0.0005);
    vec4 sum = vec4(0.0);
    float jitter = Jitter();
    for (int i = 0; i < 8; ++i) {
        if (float(i) >= samples) {
            break;
        }
        vec2 place = TexCoord0 + way * mix(first, last, (float(i) + jitter) / samples);
        float share = clamp((dot(place - 0.5, way) - 0.5) * pixels + 0.5, 0.0, 1.0);
        if (share < 1.0) {
            sum += (1.0 - share) * texture2D(tex1, Mirrored(place));
        }
        if (share > 0.0) {
            sum += share * texture2D(tex2, Mirrored(place - way));
        }
    }
    sum /= samples;
    // A strip that moves lies a little lower than those at rest.
    float moving = clamp(4.0 * min(first, 1.0 - min(last, 1.0)), 0.0, 1.0);
    sum.rgb *= 1.0 - 0.35 * moving * (exp(-side * 14.0) + exp(-(1.0 - side) * 14.0));
    gl_FragColor = Unmultiply(sum);
}
)glsl";

}  // namespace

class TransitionStrips final : public TransitionWithSettings<Proc::SettingsTransitionStrips> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        bool const isVertical = settings.axis == Proc::SettingsTransitionStrips::Axis::Vertical;
        WeightedMove const move(settings.ease, settings.overshoot);
        std::vector<float> moves(80, 0.0F);
        double streak = 0.0;
        for (int i = 0; i < settings.count; ++i) {
            double const start = settings.stagger * i / std::max(settings.count - 1, 1);
            Exposure const exposure(move, (progress - start) / (1.0 - settings.stagger), settings.blur);
            moves[static_cast<std::size_t>(2 * i)] = static_cast<float>(exposure.from);
            moves[static_cast<std::size_t>(2 * i + 1)] = static_cast<float>(exposure.to);
            streak = std::max(streak, exposure.GetLength());
        }
        double const pixels = isVertical ? pictures.outgoing.GetHeight() : pictures.outgoing.GetWidth();
        Pass pass(storage, "TransitionStrips", {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment});
        pictures.GiveTo(pass)
            .Set("moves", moves)
            .Set("count", static_cast<float>(settings.count))
            .Set("across", isVertical ? glm::vec2(1.0F, 0.0F) : glm::vec2(0.0F, 1.0F))
            .Set("samples", CountSamples(streak * pixels, 8))
            .Set("pixels", pixels)
            .Set("alternate", settings.alternate ? 1.0 : 0.0)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionStrips>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
