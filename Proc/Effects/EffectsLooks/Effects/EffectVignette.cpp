// Darkens (or lightens) the picture towards its corners, as a lens does: in linear light, by an oval whose form goes
// from that of the frame to a circle.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectVignette final : SettingsOf<SettingsEffectVignette> {
    static inline std::string const CLASS_ID = "EffectVignette";
    static constexpr std::string_view SUMMARY =
        "Darkens the corners softly, as a lens does, or fades them to a colour.";
    static constexpr std::string_view NEUTRAL = "amount=0";

    double amount = 0.6;
    double size = 0.55;
    double softness = 0.7;
    double roundness = 0.3;
    double x = 0.5;
    double y = 0.5;
    Color color{0, 0, 0, 255};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::amount>(-1.0, 1.0, "how dark the corners become; below 0 they become lighter"),
                Declare<&This::size>(0.0, 1.0, "how much of the middle is left alone"),
                Declare<&This::softness>(0.05, 1.0, "how soft the border is"),
                Declare<&This::roundness>(0.0, 1.0, "0 follows the frame, 1 is a circle"),
                Declare<&This::x>(0.0, 1.0, "centre, from the left"),
                Declare<&This::y>(0.0, 1.0, "centre, from below"),
                Declare<&This::color>("what the corners fade to")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform float amount;
uniform vec2 centre;
uniform vec2 form;     // of the oval
uniform float from;
uniform float to;
uniform vec4 color;
varying vec2 TexCoord0;
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    float distance = length((TexCoord0 - centre) * form);
    float share = smoothstep(from, to, distance);
    vec3 light = ToLight(picture.rgb);
    // A lens dims by the same number of stops wherever it is; a colour is mixed in.
    vec3 dimmed = light * exp2(-4.0 * amount * share) + ToLight(color.rgb) * (1.0 - exp2(-4.0 * max(amount, 0.0) * share));
    gl_FragColor = Straight(min(FromLight(dimmed), vec3(1.0)), picture.a);
}
)glsl";

}  // namespace

class EffectVignette final : public EffectWithSettings<Proc::SettingsEffectVignette> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.amount == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        // 1 in the corners, whatever the form.
        glm::vec2 const form = glm::mix(glm::vec2(1.0F), sides, static_cast<float>(settings.roundness));
        double const from = 1.1 * settings.size * (1.0 - 0.75 * settings.softness);
        double const to = from + 0.1 + settings.softness;
        Pass(storage, "EffectVignette", {kGlslVersion, kStraightAlpha, kLinearLight, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("amount", settings.amount)
            .Set("centre", glm::vec2(static_cast<float>(settings.x), static_cast<float>(settings.y)))
            .Set("form", form * (2.0F / glm::length(form)))
            .Set("from", from)
            .Set("to", to)
            .Set("color", settings.color)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectVignette>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
