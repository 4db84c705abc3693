// Colours part towards the border, as a cheap lens bends blue more than red: the picture is spread along rays into its
// spectrum, with samples between red and blue.

#include "Proc/Effects/EffectsLooks/CentreSettings.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectChromaticAberration final : CentreSettings<SettingsEffectChromaticAberration> {
    static inline std::string const CLASS_ID = "EffectChromaticAberration";
    static constexpr std::string_view SUMMARY = "Coloured fringes that grow towards the border, as with a cheap lens.";
    static constexpr std::string_view NEUTRAL = "strength=0";

    double strength = 0.3;
    double curve = 1.0;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "how far the colours part in the corners"), DeclareX(), DeclareY(),
                Declare<&This::curve>(0.0, 3.0, "how much more the corners are affected than the middle")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec2 sides;
uniform vec2 centre;
uniform float strength;
uniform float curve;
varying vec2 TexCoord0;
void main() {
    vec2 arm = TexCoord0 - centre;
    vec2 shift = arm * (strength * pow(length(arm * sides) * 2.0 + 0.0001, curve));
    vec4 sum = vec4(0.0);
    vec3 weights = vec3(0.0);
    for (int i = 0; i < 7; ++i) {
        float along = (float(i) - 3.0) / 3.0;
        // Overlapping bands of red, green and blue.
        vec3 band = max(vec3(0.0), 1.0 - abs(vec3(along + 0.667, along, along - 0.667)) * 1.5) + 0.0001;
        vec4 color = texture2D(tex, TexCoord0 - shift * along);
        sum += vec4(color.rgb * band, color.a);
        weights += band;
    }
    vec4 own = texture2D(tex, TexCoord0);
    vec3 spread = sum.rgb / weights / max(sum.a / 7.0, 0.001);
    gl_FragColor = Straight(min(spread, vec3(1.0)), own.a);
}
)glsl";

}  // namespace

class EffectChromaticAberration final : public EffectWithSettings<Proc::SettingsEffectChromaticAberration> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.strength == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Premultiplied const colors(picture, storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        Pass(storage, "EffectChromaticAberration", {kGlslVersion, kStraightAlpha, kFragment})
            .Texture("tex", 0, colors.Get())
            .Set("sides", sides)
            .Set("centre", settings.GetCentre())
            .Set("strength", 0.06 * settings.strength)
            .Set("curve", settings.curve)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectChromaticAberration>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
