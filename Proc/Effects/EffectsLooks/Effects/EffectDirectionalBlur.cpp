// Smears the picture along a line, as a camera does that moves while the shutter is open. Mirrored at the borders.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectDirectionalBlur final : SettingsOf<SettingsEffectDirectionalBlur> {
    static inline std::string const CLASS_ID = "EffectDirectionalBlur";
    static constexpr std::string_view SUMMARY = "Smears the picture along a direction, as a moving camera does.";
    static constexpr std::string_view NEUTRAL = "length=0";

    double length = 0.06;
    double angle = 0.0;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::length>(0.0, 0.5, "length of the streaks, as a share of the longer side"),
            Declare<&This::angle>(-180.0, 180.0, "degrees of their direction, counterclockwise; 0 is to the right")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec2 streak;
uniform float count;
uniform float grain;   // 0: samples that touch
varying vec2 TexCoord0;
void main() {
    vec4 sum = vec4(0.0);
    float jitter = mix(0.5, Jitter(), grain);
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        sum += texture2D(tex, Mirrored(TexCoord0 + streak * ((float(i) + jitter) / count - 0.5)));
    }
#ifdef LAST
    gl_FragColor = Unmultiply(sum / count);
#else
    gl_FragColor = sum / count;
#endif
}
)glsl";

}  // namespace

class EffectDirectionalBlur final : public EffectWithSettings<Proc::SettingsEffectDirectionalBlur> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.length == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        double const angle = settings.angle * std::numbers::pi / 180.0;
        glm::vec2 const way(std::cos(angle), std::sin(angle));
        Premultiplied const colors(picture, storage);
        double const pixels = settings.length * std::max(picture.GetWidth(), picture.GetHeight());
        DrawStreaks(colors.Get(), dst->FrameData().GetFirstTexture(), pixels, {3.0, 1.0, 12.0},
                    [&](StreakPass const& pass) {
                        Pass(storage, pass.isLast ? "EffectDirectionalBlur" : "EffectDirectionalBlur_fine",
                             {kGlslVersion, pass.isLast ? "#define LAST\n" : "", kStraightAlpha, kMirrored,
                              kJitterFunction, kFragment})
                            .Texture("tex", 0, pass.from)
                            .Set("streak", way * static_cast<float>(settings.length * pass.share) / sides)
                            .Set("count", pass.count)
                            .Set("grain", pass.isFirst ? 1.0 : 0.0)
                            .DrawTo(pass.to);
                    });
    }
};

template void AddEffect<EffectDirectionalBlur>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
