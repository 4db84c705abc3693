// Smears the picture along rays from a centre, as a zoom does while the shutter is open.

#include "Proc/Effects/EffectsLooks/CentreSettings.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectZoomBlur final : CentreSettings<SettingsEffectZoomBlur> {
    static inline std::string const CLASS_ID = "EffectZoomBlur";
    static constexpr std::string_view SUMMARY = "Streaks along rays from a centre, as a zoom with an open shutter.";
    static constexpr std::string_view NEUTRAL = "strength=0";

    double strength = 0.2;
    double clear = 0.1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "length of the streaks, as a share of the distance from the centre"),
                DeclareX(), DeclareY(), Declare<&This::clear>(0.0, 1.0, "how much of the middle stays sharp")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

// Places come ever nearer to the centre by the same factor, so that streaks of streaks have no gaps.
constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec2 sides;
uniform vec2 centre;
uniform float strength;
uniform float share;   // of the streak's length
uniform float clear;
uniform float count;
uniform float grain;   // 0: samples that touch
varying vec2 TexCoord0;
void main() {
    vec2 arm = TexCoord0 - centre;
    float reach = strength * smoothstep(0.5 * clear, clear + 0.05, length(arm * sides));
    float way = share * log(1.0 - min(reach, 0.98)) / count;
    float factor = exp(way);
    arm *= exp(way * mix(0.5, Jitter(), grain));
    vec4 sum = vec4(0.0);
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        sum += texture2D(tex, centre + arm);
        arm *= factor;
    }
#ifdef LAST
    gl_FragColor = Unmultiply(sum / count);
#else
    gl_FragColor = sum / count;
#endif
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
        DrawStreaks(
            colors.Get(), dst->FrameData().GetFirstTexture(), pixels, {9.0, 4.0, 8.0}, [&](StreakPass const& pass) {
                Pass(storage, pass.isLast ? "EffectZoomBlur" : "EffectZoomBlur_fine",
                     {kGlslVersion, pass.isLast ? "#define LAST\n" : "", kStraightAlpha, kJitterFunction, kFragment})
                    .Texture("tex", 0, pass.from)
                    .Set("sides", sides)
                    .Set("centre", settings.GetCentre())
                    .Set("strength", settings.strength)
                    .Set("share", pass.share)
                    .Set("clear", 0.5 * settings.clear)
                    .Set("count", pass.count)
                    .Set("grain", pass.isFirst ? 1.0 : 0.0)
                    .DrawTo(pass.to);
            });
    }
};

template void AddEffect<EffectZoomBlur>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
