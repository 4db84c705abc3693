// Smears the picture along circles about a centre, as a camera does that rolls while the shutter is open.

#include "Proc/Effects/EffectsLooks/CentreSettings.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectSpinBlur final : CentreSettings<SettingsEffectSpinBlur> {
    static inline std::string const CLASS_ID = "EffectSpinBlur";
    static constexpr std::string_view SUMMARY = "Smears the picture around a centre, as a turning camera does.";
    static constexpr std::string_view NEUTRAL = "angle=0";

    double angle = 8.0;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::angle>(0.0, 90.0, "degrees of the streaks"), DeclareX(), DeclareY()};
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
uniform float grain;   // 0: samples that touch
varying vec2 TexCoord0;
void main() {
    vec2 arm = (TexCoord0 - centre) * sides;
    float begin = angle * (mix(0.5, Jitter(), grain) / count - 0.5);
    arm = vec2(cos(begin) * arm.x - sin(begin) * arm.y, sin(begin) * arm.x + cos(begin) * arm.y);
    float s = sin(angle / count);
    float c = cos(angle / count);
    vec4 sum = vec4(0.0);
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        sum += texture2D(tex, Mirrored(centre + arm / sides));
        arm = vec2(c * arm.x - s * arm.y, s * arm.x + c * arm.y);
    }
#ifdef LAST
    gl_FragColor = Unmultiply(sum / count);
#else
    gl_FragColor = sum / count;
#endif
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
        DrawStreaks(colors.Get(), dst->FrameData().GetFirstTexture(), pixels, {5.0, 3.0, 6.0, 3},
                    [&](StreakPass const& pass) {
                        Pass(storage, pass.isLast ? "EffectSpinBlur" : "EffectSpinBlur_fine",
                             {kGlslVersion, pass.isLast ? "#define LAST\n" : "", kStraightAlpha, kMirrored,
                              kJitterFunction, kFragment})
                            .Texture("tex", 0, pass.from)
                            .Set("sides", sides)
                            .Set("centre", settings.GetCentre())
                            .Set("angle", angle * pass.share)
                            .Set("count", pass.count)
                            .Set("grain", pass.isFirst ? 1.0 : 0.0)
                            .DrawTo(pass.to);
                    });
    }
};

template void AddEffect<EffectSpinBlur>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
