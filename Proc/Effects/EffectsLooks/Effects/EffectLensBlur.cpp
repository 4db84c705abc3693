// The picture as a lens out of focus shows it: each point is a disc of the aperture's shape, and highlights stand out
// as bright discs. A disc may stay in focus.

#include "Proc/Effects/EffectsLooks/LensBlur.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectLensBlur final : SettingsOf<SettingsEffectLensBlur> {
    static inline std::string const CLASS_ID = "EffectLensBlur";
    static constexpr std::string_view SUMMARY =
        "Defocuses as a lens does, with bright discs or polygons for highlights, around an optional sharp area.";
    static constexpr std::string_view NEUTRAL = "radius=0";

    double radius = 0.015;
    std::int32_t blades = 6;
    double angle = 15.0;
    double boost = 0.6;
    double focus = 0.0;
    double x = 0.5;
    double y = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::radius>(0.0, 0.1, "radius of the discs, as a share of the longer side"),
                Declare<&This::blades>(0.0, 12.0, "blades of the aperture; with less than 3 it is round"),
                Declare<&This::angle>(0.0, 180.0, "degrees by which the aperture is turned"),
                Declare<&This::boost>(0.0, 1.0, "how much highlights stand out"),
                Declare<&This::focus>(0.0, 1.0, "radius of the sharp area, as a share of the longer side"),
                Declare<&This::x>(0.0, 1.0, "centre of the sharp area, from the left"),
                Declare<&This::y>(0.0, 1.0, "centre of the sharp area, from below")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D blur;
uniform vec2 sides;
uniform vec2 centre;
uniform float focus;
uniform float soft;
varying vec2 TexCoord0;
void main() {
    float share = soft;
    if (focus > 0.0) {
        share *= smoothstep(focus, 1.6 * focus, length((TexCoord0 - centre) * sides));
    }
    gl_FragColor = Unmultiply(mix(texture2D(tex, TexCoord0), texture2D(blur, TexCoord0), share));
}
)glsl";

}  // namespace

class EffectLensBlur final : public EffectWithSettings<Proc::SettingsEffectLensBlur> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.radius == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Premultiplied const colors(picture, storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        LensBlur const blur(
            picture,
            {settings.radius, settings.blades, settings.angle * std::numbers::pi / 180.0, 24.0 * settings.boost},
            storage);
        Pass(storage, "EffectLensBlur", {kGlslVersion, kStraightAlpha, kFragment})
            .Texture("tex", 0, colors.Get())
            .Texture("blur", 1, blur.Get())
            .Set("sides", sides)
            .Set("centre", glm::vec2(static_cast<float>(settings.x), static_cast<float>(settings.y)))
            .Set("focus", settings.focus)
            .Set("soft", LensBlur::GetShare(settings.radius, std::max(picture.GetWidth(), picture.GetHeight())))
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectLensBlur>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
