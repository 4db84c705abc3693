// The picture folds into a kaleidoscope: mirrors come in from the border, turn, and zoom, and fold out again with the
// incoming picture between them.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionKaleidoscope final : SettingsOf<SettingsTransitionKaleidoscope> {
    static inline std::string const CLASS_ID = "TransitionKaleidoscope";
    static constexpr std::string_view SUMMARY =
        "Mirrors fold the outgoing picture into a turning kaleidoscope, which unfolds into the incoming one.";

    std::int32_t segments = 6;
    double turn = 90.0;
    double zoom = 0.4;
    double x = 0.5;
    double y = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::segments>(2.0, 16.0, "mirrors around the centre"),
                Declare<&This::turn>(-360.0, 360.0, "degrees by which the pattern turns, clockwise"),
                Declare<&This::zoom>(0.0, 1.0, "how far it zooms in"),
                Declare<&This::x>(0.0, 1.0, "centre, from the left"),
                Declare<&This::y>(0.0, 1.0, "centre, from below")};
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
uniform float clear;     // radius within which nothing is folded yet
uniform float sector;
uniform float turn;
uniform float scale;
uniform float share;
uniform float soft;
varying vec2 TexCoord0;
void main() {
    vec2 arm = (TexCoord0 - centre) * sides;
    float radius = length(arm);
    float angle = atan(arm.y, arm.x) + turn;
    float within = abs(mod(angle, 2.0 * sector) - sector) - 0.5 * turn;
    vec2 folded = radius * scale * vec2(cos(within), sin(within));
    vec2 plain = arm * scale;
    // The fold spreads from the border inwards; the ring between is drawn from both.
    float amount = smoothstep(clear, clear + soft, radius);
    vec2 place1 = Mirrored(centre + plain / sides);
    vec2 place2 = Mirrored(centre + folded / sides);
    vec4 color = vec4(0.0);
    if (share < 1.0) {
        color += (1.0 - share) * mix(texture2D(tex1, place1), texture2D(tex1, place2), amount);
    }
    if (share > 0.0) {
        color += share * mix(texture2D(tex2, place1), texture2D(tex2, place2), amount);
    }
    gl_FragColor = Unmultiply(color);
}
)glsl";

}  // namespace

class TransitionKaleidoscope final : public TransitionWithSettings<Proc::SettingsTransitionKaleidoscope> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const fold = Hump(progress);
        glm::vec2 const centre(static_cast<float>(settings.x), static_cast<float>(settings.y));
        glm::vec2 const farCorner = glm::max(centre, glm::vec2(1.0F) - centre) * pictures.sides;
        double const soft = 0.12;
        double const reach = static_cast<double>(glm::length(farCorner)) + soft;
        Pass pass(storage, "TransitionKaleidoscope", {kGlslVersion, kStraightAlpha, kMirrored, kFragment});
        pictures.GiveTo(pass)
            .Set("sides", pictures.sides)
            .Set("centre", centre)
            .Set("clear", reach * (1.0 - 1.6 * fold))
            .Set("sector", std::numbers::pi / settings.segments)
            .Set("turn", settings.turn * std::numbers::pi / 180.0 * (EaseInOut(progress, 2.0) - 0.5) * fold)
            .Set("scale", 1.0 - 0.6 * settings.zoom * fold)
            .Set("share", SmoothStep(0.35, 0.65, progress))
            .Set("soft", soft)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionKaleidoscope>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
