// Shadows take one colour and highlights another, by brightness, with a third one between them where it is wanted.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectDuotone final : SettingsOf<SettingsEffectDuotone> {
    static inline std::string const CLASS_ID = "EffectDuotone";
    static constexpr std::string_view SUMMARY = "Maps shadows and highlights to two colours, as a two-ink print.";
    static constexpr std::string_view NEUTRAL = "mix=0";

    Color shadows{30, 20, 90, 255};
    Color highlights{255, 214, 120, 255};
    double contrast = 1.2;
    double balance = 0.0;
    double mix = 1.0;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::shadows>("colour of black"), Declare<&This::highlights>("colour of white"),
                Declare<&This::contrast>(0.0, 3.0, "contrast of the brightness"),
                Declare<&This::balance>(-1.0, 1.0, "moves the middle towards the highlights"),
                Declare<&This::mix>(0.0, 1.0, "how much of it is mixed in")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec4 shadows;
uniform vec4 highlights;
uniform float contrast;
uniform float power;
uniform float amount;
varying vec2 TexCoord0;
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    float light = dot(picture.rgb, vec3(0.2126, 0.7152, 0.0722));
    light = pow(clamp((light - 0.5) * contrast + 0.5, 0.0, 1.0), power);
    vec3 toned = mix(shadows.rgb * shadows.rgb, highlights.rgb * highlights.rgb, light * light);
    gl_FragColor = Straight(mix(picture.rgb, sqrt(toned), amount), picture.a);
}
)glsl";

}  // namespace

class EffectDuotone final : public EffectWithSettings<Proc::SettingsEffectDuotone> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.mix == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectDuotone", {kGlslVersion, kStraightAlpha, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("shadows", settings.shadows)
            .Set("highlights", settings.highlights)
            .Set("contrast", settings.contrast)
            .Set("power", std::exp2(-1.5 * settings.balance))
            .Set("amount", settings.mix)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectDuotone>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
