// A lamp in the picture, and what a lens makes of it: a glow, a starburst with as many rays as the aperture asks for,
// a streak, and ghosts: images of the aperture on the line through the middle of the picture, each with coloured rims.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectLensFlare final : SettingsOf<SettingsEffectLensFlare> {
    static inline std::string const CLASS_ID = "EffectLensFlare";
    static constexpr std::string_view SUMMARY =
        "A lens flare: glow, star, streak and a row of ghosts on the line through the picture's middle.";
    static constexpr std::string_view NEUTRAL = "intensity=0";

    double x = 0.25;
    double y = 0.75;
    double intensity = 0.8;
    double size = 1.0;
    double ghosts = 0.6;
    double streak = 0.4;
    std::int32_t blades = 7;
    Color color{255, 222, 170, 255};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::x>(-0.5, 1.5, "the lamp, from the left"),
                Declare<&This::y>(-0.5, 1.5, "the lamp, from below"),
                Declare<&This::intensity>(0.0, 2.0, "how bright it is"),
                Declare<&This::size>(0.2, 4.0, "size of glow and star"),
                Declare<&This::ghosts>(0.0, 1.0, "how bright the ghosts are"),
                Declare<&This::streak>(0.0, 1.0, "how bright the streak is"),
                Declare<&This::blades>(
                    0.0, 12.0, "blades of the aperture: ghosts have as many corners; with less than 3 they are round"),
                Declare<&This::color>("colour of the light")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec2 sides;
uniform vec2 lamp;       // in lengths from the middle
uniform float intensity;
uniform float size;
uniform float ghosts;
uniform float streak;
uniform float sector;    // angle of a blade; 0 for a round aperture
uniform float turn;
uniform vec4 color;
varying vec2 TexCoord0;

// The aperture's image: bright near its soft rim, and so faint in the middle that it is no plate before the picture.
float Ghost(vec2 p, vec2 middle, float radius) {
    vec2 arm = p - middle;
    float r = length(arm);
    if (sector > 0.0) {
        float angle = mod(atan(arm.y, arm.x), sector) - 0.5 * sector;
        r *= cos(angle) / cos(0.5 * sector);
    }
    float inside = 1.0 - smoothstep(radius * 0.84, radius, r);
    float rim = r / radius;
    return inside * (0.16 + 0.84 * rim * rim * rim);
}

void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec2 p = (TexCoord0 - 0.5) * sides;
    vec2 arm = p - lamp;
    float r = length(arm) / size;
    float angle = atan(arm.y, arm.x);
    float rays = 0.5 + 0.5 * cos(angle * 6.0 + turn);
    rays = pow(rays, 18.0) + 0.6 * pow(0.5 + 0.5 * cos(angle * 9.0 - 1.7 * turn), 30.0);
    vec3 tone = color.rgb * color.rgb;
    vec3 light = tone * (0.012 / (r * r + 0.0018) * exp(-3.0 * r) + 0.22 * exp(-7.0 * r));
    light += tone * rays * 0.5 * exp(-9.0 * r);
    // Dust and scratches on the glass: fine needles of uneven length.
    float needles = Noise(50.0 + 14.0 * arm / max(length(arm), 0.0001)).x;
    light += tone * 0.35 * needles * needles * needles * exp(-(15.0 - 8.0 * needles) * r);
    float ring = exp(-pow((r - 0.17) * 60.0, 2.0));
    light += ring * 0.08 * (0.5 + 0.5 * cos(vec3(0.0, 2.1, 4.2) + 40.0 * (r - 0.17)));
    light += tone * vec3(0.55, 0.75, 1.3) * streak * 0.55 * exp(-abs(arm.y) * 130.0 / size) * exp(-abs(arm.x) * 2.6);
    if (ghosts > 0.0) {
        vec3 sum = vec3(0.0);
        sum += vec3(0.9, 0.5, 0.2) * vec3(Ghost(p, lamp * 0.55, 0.030), Ghost(p, lamp * 0.545, 0.029), Ghost(p, lamp * 0.54, 0.028));
        sum += vec3(0.25, 0.6, 0.35) * Ghost(p, lamp * 0.28, 0.016);
        sum += vec3(0.3, 0.45, 0.9) * vec3(Ghost(p, -lamp * 0.25, 0.055), Ghost(p, -lamp * 0.255, 0.056), Ghost(p, -lamp * 0.26, 0.057));
        sum += vec3(0.7, 0.4, 0.7) * Ghost(p, -lamp * 0.52, 0.024);
        sum += vec3(0.35, 0.55, 0.3) * vec3(Ghost(p, -lamp * 0.9, 0.097), Ghost(p, -lamp * 0.905, 0.1), Ghost(p, -lamp * 0.91, 0.103));
        light += ghosts * 0.27 * sum * tone;
    }
    light *= intensity;
    vec3 lit = ToLight(picture.rgb);
    lit += (vec3(1.0) - lit) * (vec3(1.0) - exp(-1.8 * light));
    gl_FragColor = Straight(FromLight(lit), picture.a);
}
)glsl";

}  // namespace

class EffectLensFlare final : public EffectWithSettings<Proc::SettingsEffectLensFlare> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.intensity == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        glm::vec2 const lamp =
            (glm::vec2(static_cast<float>(settings.x), static_cast<float>(settings.y)) - 0.5F) * sides;
        Pass(storage, "EffectLensFlare", {kGlslVersion, kStraightAlpha, kLinearLight, kNoiseFunctions, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("noise", 1, storage.Noise())
            .Set("sides", sides)
            .Set("lamp", lamp)
            .Set("intensity", settings.intensity)
            .Set("size", settings.size)
            .Set("ghosts", settings.ghosts)
            .Set("streak", settings.streak)
            .Set("sector", settings.blades < 3 ? 0.0 : 2.0 * std::numbers::pi / settings.blades)
            .Set("turn", 2.0 * (settings.x + settings.y))
            .Set("color", settings.color)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectLensFlare>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
