// Smears the picture along circles about a centre, as a camera does that rolls while the shutter is open.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectSpinBlur final : SettingsOf<SettingsEffectSpinBlur> {
    static inline std::string const CLASS_ID = "EffectSpinBlur";
    static constexpr std::string_view SUMMARY = "Smears the picture around a centre, as a turning camera does.";
    static constexpr std::string_view NEUTRAL = "angle=0";

    double angle = 8.0;
    double x = 0.5;
    double y = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::angle>(0.0, 90.0, "degrees of the streaks"),
                Declare<&This::x>(0.0, 1.0, "centre, from the left"),
                Declare<&This::y>(0.0, 1.0, "centre, from below")};
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
uniform float angle;
uniform float count;
varying vec2 TexCoord0;
void main() {
    vec2 arm = (TexCoord0 - centre) * sides;
    vec4 sum = vec4(0.0);
    float jitter = Jitter();
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        float turn = angle * ((float(i) + jitter) / count - 0.5);
        float s = sin(turn);
        float c = cos(turn);
        sum += texture2D(tex, Mirrored(centre + vec2(c * arm.x - s * arm.y, s * arm.x + c * arm.y) / sides));
    }
    gl_FragColor = Unmultiply(sum / count);
}
)glsl";

}  // namespace

class EffectSpinBlur final : public EffectWithSettings<Proc::SettingsEffectSpinBlur> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.angle == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Premultiplied const colors(picture, storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        double const angle = settings.angle * std::numbers::pi / 180.0;
        double const pixels = 0.5 * angle * std::max(picture.GetWidth(), picture.GetHeight());
        Pass(storage, "EffectSpinBlur", {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kFragment})
            .Texture("tex", 0, colors.Get())
            .Set("sides", sides)
            .Set("centre", glm::vec2(static_cast<float>(settings.x), static_cast<float>(settings.y)))
            .Set("angle", angle)
            .Set("count", CountSamples(pixels, 14))
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectSpinBlur>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
