// Bars cover the picture down to another aspect, as wide-screen films show on a narrower screen: above and below, or
// at the sides.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectLetterbox final : SettingsOf<SettingsEffectLetterbox> {
    static inline std::string const CLASS_ID = "EffectLetterbox";
    static constexpr std::string_view SUMMARY = "Bars that give the picture the aspect of a wide-screen film.";
    static constexpr std::string_view NEUTRAL = "amount=0";

    double aspect = 2.39;
    double amount = 1.0;
    double softness = 0.0;
    Color color{0, 0, 0, 255};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::aspect>(0.3, 4.0, "width by height of what stays visible"),
                Declare<&This::amount>(0.0, 1.0, "how far the bars have come in"),
                Declare<&This::softness>(0.0, 0.2, "softness of the bars' edge, as a share of the longer side"),
                Declare<&This::color>("colour of the bars")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec2 opening;     // half of what stays visible
uniform vec2 softness;    // of the edge, at least a pixel
uniform vec4 color;
varying vec2 TexCoord0;
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec2 inside = clamp((opening - abs(TexCoord0 - 0.5)) / softness + 0.5, 0.0, 1.0);
    float bar = (1.0 - inside.x * inside.y) * color.a;
    float alpha = mix(picture.a, 1.0, bar);
    gl_FragColor = Straight(mix(picture.rgb * picture.a, color.rgb, bar) / max(alpha, 0.001), alpha);
}
)glsl";

}  // namespace

class EffectLetterbox final : public EffectWithSettings<Proc::SettingsEffectLetterbox> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.amount == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        double const ratio = GetDisplayAspect(src->GetFrameInfo()) / settings.aspect;
        glm::dvec2 const visible(std::min(1.0 / ratio, 1.0), std::min(ratio, 1.0));
        glm::dvec2 const opening = 0.5 * glm::mix(glm::dvec2(1.0), visible, settings.amount);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        glm::vec2 const pixel(1.0F / static_cast<float>(picture.GetWidth()),
                              1.0F / static_cast<float>(picture.GetHeight()));
        glm::vec2 const softness = glm::max(static_cast<float>(settings.softness) / sides, pixel);
        // A side without a bar stays clear up to its border.
        glm::vec2 const clear(visible.x < 1.0 ? 0.0F : 1.0F, visible.y < 1.0 ? 0.0F : 1.0F);
        Pass(storage, "EffectLetterbox", {kGlslVersion, kStraightAlpha, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("opening", glm::vec2(opening) + clear)
            .Set("softness", softness)
            .Set("color", settings.color)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectLetterbox>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
