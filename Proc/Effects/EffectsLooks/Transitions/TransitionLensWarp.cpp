// The picture bulges as through an ever stronger wide-angle lens and rushes towards the viewer, with colours parting
// at the rim; at the strongest bulge it becomes the incoming one, which flattens out.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionLensWarp final : SettingsOf<SettingsTransitionLensWarp> {
    static inline std::string const CLASS_ID = "TransitionLensWarp";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture bulges towards the viewer as in an extreme lens, and the incoming one flattens out of "
        "it.";

    double strength = 0.6;
    double zoom = 0.5;
    double fringe = 0.4;
    double x = 0.5;
    double y = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "how strong the lens becomes"),
                Declare<&This::zoom>(0.0, 1.0, "how far it rushes in"),
                Declare<&This::fringe>(0.0, 1.0, "how far colours part"),
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
uniform float share;
uniform float bulge1;
uniform float bulge2;
uniform float grow1;
uniform float grow2;
uniform float fringe;
varying vec2 TexCoord0;

vec2 Warp(float bulge, float grow, float color) {
    vec2 arm = (TexCoord0 - centre) * sides;
    float r = dot(arm, arm);
    float scale = grow * (1.0 + bulge * (1.0 + fringe * color) * r) / (1.0 + 0.12 * bulge);
    return Mirrored(centre + arm * scale / sides);
}

void main() {
    vec4 sum = vec4(0.0);
    if (share < 1.0) {
        vec4 middle = texture2D(tex1, Warp(bulge1, grow1, 0.0));
        middle.r = texture2D(tex1, Warp(bulge1, grow1, -1.0)).r;
        middle.b = texture2D(tex1, Warp(bulge1, grow1, 1.0)).b;
        sum += (1.0 - share) * middle;
    }
    if (share > 0.0) {
        vec4 middle = texture2D(tex2, Warp(bulge2, grow2, 0.0));
        middle.r = texture2D(tex2, Warp(bulge2, grow2, -1.0)).r;
        middle.b = texture2D(tex2, Warp(bulge2, grow2, 1.0)).b;
        sum += share * middle;
    }
    sum.rgb = min(sum.rgb, vec3(sum.a));
    gl_FragColor = Unmultiply(sum);
}
)glsl";

}  // namespace

class TransitionLensWarp final : public TransitionWithSettings<Proc::SettingsTransitionLensWarp> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const in = std::pow(std::min(progress / 0.58, 1.0), 2.0);
        double const out = std::pow(std::min((1.0 - progress) / 0.58, 1.0), 2.0);
        glm::vec2 const centre(static_cast<float>(settings.x), static_cast<float>(settings.y));
        Pass pass(storage, "TransitionLensWarp", {kGlslVersion, kStraightAlpha, kMirrored, kFragment});
        pictures.GiveTo(pass)
            .Set("sides", pictures.sides)
            .Set("centre", centre)
            .Set("share", SmoothStep(0.42, 0.58, progress))
            .Set("bulge1", 9.0 * settings.strength * in)
            .Set("bulge2", -2.2 * settings.strength * out)
            .Set("grow1", 1.0 - 0.9 * settings.zoom * in)
            .Set("grow2", 1.0 + 0.7 * settings.zoom * out)
            .Set("fringe", 0.35 * settings.fringe * Hump(progress))
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionLensWarp>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
