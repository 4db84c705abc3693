// Smears the picture along rays from a centre, as a zoom does while the shutter is open.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectZoomBlur final : SettingsOf<SettingsEffectZoomBlur> {
    static inline std::string const CLASS_ID = "EffectZoomBlur";
    static constexpr std::string_view SUMMARY = "Streaks along rays from a centre, as a zoom with an open shutter.";
    static constexpr std::string_view NEUTRAL = "strength=0";

    double strength = 0.2;
    double x = 0.5;
    double y = 0.5;
    double clear = 0.1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "length of the streaks, as a share of the distance from the centre"),
                Declare<&This::x>(0.0, 1.0, "centre, from the left"), Declare<&This::y>(0.0, 1.0, "centre, from below"),
                Declare<&This::clear>(0.0, 1.0, "how much of the middle stays sharp")};
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
uniform float clear;
uniform float count;
varying vec2 TexCoord0;
void main() {
    vec2 arm = TexCoord0 - centre;
    float reach = strength * smoothstep(0.5 * clear, clear + 0.05, length(arm * sides));
    vec4 sum = vec4(0.0);
    float jitter = Jitter();
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        sum += texture2D(tex, centre + arm * (1.0 - reach * (float(i) + jitter) / count));
    }
    gl_FragColor = Unmultiply(sum / count);
}
)glsl";

}  // namespace

class EffectZoomBlur final : public EffectWithSettings<Proc::SettingsEffectZoomBlur> {
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
        double const pixels = 0.5 * settings.strength * std::max(picture.GetWidth(), picture.GetHeight());
        Pass(storage, "EffectZoomBlur", {kGlslVersion, kStraightAlpha, kJitterFunction, kFragment})
            .Texture("tex", 0, colors.Get())
            .Set("sides", sides)
            .Set("centre", glm::vec2(static_cast<float>(settings.x), static_cast<float>(settings.y)))
            .Set("strength", settings.strength)
            .Set("clear", 0.5 * settings.clear)
            .Set("count", CountSamples(pixels, 14))
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectZoomBlur>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
