// Light spills from what is bright: everything above a threshold glows in linear light, near and far at once, by a
// pyramid of small pictures. Mist mixes the whole picture's glow in, as a diffusion filter before the lens does.

#include <optional>

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectGlow final : SettingsOf<SettingsEffectGlow> {
    static inline std::string const CLASS_ID = "EffectGlow";
    static constexpr std::string_view SUMMARY =
        "Highlights glow in linear light, and an optional mist softens the picture as a diffusion filter does.";
    static constexpr std::string_view NEUTRAL = "intensity=0 mist=0";

    double intensity = 0.6;
    double threshold = 0.6;
    double width = 0.6;
    Color tint{255, 255, 255, 255};
    double mist = 0.0;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::intensity>(0.0, 3.0, "how bright the glow is"),
                Declare<&This::threshold>(0.0, 1.0, "brightness from which things glow"),
                Declare<&This::width>(0.0, 1.0, "how far the glow reaches"), Declare<&This::tint>("colour of the glow"),
                Declare<&This::mist>(0.0, 1.0, "how much of the soft picture is mixed in")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D bloom;
uniform sampler2D soft;
uniform float intensity;
uniform float mist;
uniform vec4 tint;
varying vec2 TexCoord0;
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec3 light = ToLight(picture.rgb);
    vec3 glow = texture2D(bloom, TexCoord0).rgb * tint.rgb * tint.rgb * intensity;
    vec3 haze = texture2D(soft, TexCoord0).rgb;
    light = mix(light, haze, 0.5 * mist);
    // What is added cannot pass white: it uses the room that is left.
    light += (vec3(1.0) - light) * (vec3(1.0) - exp(-glow));
    gl_FragColor = Straight(FromLight(min(light, vec3(1.0))), picture.a);
}
)glsl";

}  // namespace

class EffectGlow final : public EffectWithSettings<Proc::SettingsEffectGlow> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.intensity == 0.0 && settings.mist == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Bloom const bloom(picture, settings.threshold, settings.width, storage);
        std::optional<Bloom> haze;
        if (settings.mist > 0.0) {
            haze.emplace(picture, 0.0, settings.width, storage);
        }
        Pass(storage, "EffectGlow", {kGlslVersion, kStraightAlpha, kLinearLight, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("bloom", 1, bloom.Get())
            .Texture("soft", 2, (haze ? *haze : bloom).Get())
            .Set("intensity", 2.0 * settings.intensity)
            .Set("mist", settings.mist)
            .Set("tint", settings.tint)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectGlow>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
