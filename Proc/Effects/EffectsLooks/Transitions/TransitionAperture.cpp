// The blades of a lens's aperture close over the outgoing picture, turning as they do, and open on the incoming one.
// Each blade overlaps the next, with a lit edge.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionAperture final : SettingsOf<SettingsTransitionAperture> {
    static inline std::string const CLASS_ID = "TransitionAperture";
    static constexpr std::string_view SUMMARY =
        "An aperture's metal blades close over the outgoing picture and open on the incoming one.";

    std::int32_t blades = 8;
    double turn = 70.0;
    Color color{34, 36, 42, 255};
    double shine = 0.6;
    double ease = 2.0;
    double x = 0.5;
    double y = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::blades>(3.0, 16.0, "blades"),
                Declare<&This::turn>(-180.0, 180.0, "degrees by which the opening turns while it closes"),
                Declare<&This::color>("colour of the blades"),
                Declare<&This::shine>(0.0, 1.0, "how much light the edges catch"),
                Declare<&This::ease>(1.0, 6.0, "how sharply it speeds up and brakes; 1 is steady"),
                Declare<&This::x>(0.0, 1.0, "centre, from the left"),
                Declare<&This::y>(0.0, 1.0, "centre, from below")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform vec2 sides;
uniform vec2 centre;
uniform float opening;   // distance of the blades' edges from the centre
uniform float blades;
uniform float turn;
uniform float incoming;
uniform float shade;     // of the blades on the picture
uniform vec4 color;
uniform float shine;
uniform float pixel;
varying vec2 TexCoord0;
void main() {
    vec2 p = (TexCoord0 - centre) * sides;
    float sector = 6.2831853 / blades;
    float angle = atan(p.y, p.x) + turn;
    float number = floor(angle / sector + 0.5);
    float within = angle - number * sector;
    float radius = length(p);
    // Distance behind the nearest edge, and place along it.
    float behind = radius * cos(within) - opening;
    float along = radius * sin(within);
    // The blade's other edge runs out to the rim from the corner that it shares with the next blade.
    float corner = opening * tan(0.5 * sector);
    float seam = along + corner - behind * 0.55;
    float cover = clamp(behind / pixel + 0.5, 0.0, 1.0);
    vec4 picture = incoming > 0.5 ? texture2D(tex2, TexCoord0) : texture2D(tex1, TexCoord0);
    // The opening is dimmed a little by the blades' shadow.
    picture.rgb *= 1.0 - shade * exp(min(behind, 0.0) * 28.0);
    float tone = mod(number, 2.0) < 0.5 ? 1.0 : 0.88;
    float light = 0.75 + 0.25 * sin(number * sector - turn + 0.8) + 0.12 * along / max(radius, 0.001);
    float brushed = 0.94 + 0.12 * fract(radius * 40.0 + 0.5 * sin(radius * 300.0));
    vec3 metal = color.rgb * tone * light * brushed;
    metal += shine * 0.55 * exp(-behind / 0.006) * (0.4 + 0.6 * light);
    metal += shine * 0.16 * exp(-abs(seam) / 0.004);
    metal *= 1.0 - 0.5 * exp(-max(seam, 0.0) / 0.03) * step(0.0, seam);
    gl_FragColor = Unmultiply(mix(picture, vec4(clamp(metal, 0.0, 1.0), 1.0), cover));
}
)glsl";

}  // namespace

class TransitionAperture final : public TransitionWithSettings<Proc::SettingsTransitionAperture> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        bool const isIncoming = progress >= 0.5;
        double const closed = EaseInOut(isIncoming ? 2.0 - 2.0 * progress : 2.0 * progress, settings.ease);
        glm::vec2 const centre(static_cast<float>(settings.x), static_cast<float>(settings.y));
        glm::vec2 const farCorner = glm::max(centre, glm::vec2(1.0F) - centre) * pictures.sides;
        double const reach = static_cast<double>(glm::length(farCorner)) + 0.02;
        Pass pass(storage, "TransitionAperture", {kGlslVersion, kStraightAlpha, kFragment});
        pictures.GiveTo(pass)
            .Set("sides", pictures.sides)
            .Set("centre", centre)
            .Set("opening", reach * (1.0 - closed) - 0.01 * closed)
            .Set("blades", static_cast<float>(settings.blades))
            .Set("turn", settings.turn * std::numbers::pi / 180.0 * EaseInOut(progress, settings.ease))
            .Set("incoming", isIncoming ? 1.0 : 0.0)
            .Set("shade", 0.5 * SmoothStep(0.0, 0.3, closed))
            .Set("color", settings.color)
            .Set("shine", settings.shine)
            .Set("pixel", 1.0 / pictures.GetPixels())
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionAperture>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
