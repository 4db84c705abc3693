// The picture as printed: dots on a turned screen grow with the darkness below them. In colour there are four screens
// of ink (cyan, magenta, yellow, black) at the angles of the printing trade; in one ink a single screen.

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectHalftone final : SettingsOf<SettingsEffectHalftone> {
    static inline std::string const CLASS_ID = "EffectHalftone";
    static constexpr std::string_view SUMMARY =
        "Newspaper dots that grow with darkness, in one ink or in the four of colour printing.";

    enum class Inks : std::int32_t { Colour, Black };

    Inks inks = Inks::Colour;
    double size = 0.01;
    double angle = 15.0;
    double softness = 0.2;
    Color paper{250, 247, 238, 255};
    Color ink{20, 18, 24, 255};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::inks>({{Inks::Colour, "colour"}, {Inks::Black, "black"}}, "how many inks are printed"),
                Declare<&This::size>(0.003, 0.05, "distance of the dots, as a share of the longer side"),
                Declare<&This::angle>(0.0, 90.0, "degrees by which the screens are turned"),
                Declare<&This::softness>(0.0, 1.0, "how soft the dots are"),
                Declare<&This::paper>("colour of the paper"),
                Declare<&This::ink>("colour of the black ink")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D mean;  // the picture in cells of about a dot
uniform vec2 sides;
uniform float size;
uniform float edge;      // softness of a dot, in cells
uniform float angle;
uniform vec4 paper;
uniform vec4 ink;
varying vec2 TexCoord0;

// How much of the place is covered by an ink whose screen is turned by `turn`.
float Cover(float turn, vec4 part) {
    float s = sin(turn);
    float c = cos(turn);
    vec2 p = TexCoord0 * sides / size;
    vec2 q = vec2(c * p.x + s * p.y, c * p.y - s * p.x);
    vec2 cell = floor(q) + 0.5;
    vec2 middle = vec2(c * cell.x - s * cell.y, s * cell.x + c * cell.y) * size / sides;
    vec4 color = texture2D(mean, clamp(middle, 0.0, 1.0));
    vec3 straight = color.rgb / max(color.a, 0.001);
    float black = 1.0 - max(straight.r, max(straight.g, straight.b));
#ifdef COLOUR
    vec3 inks = (vec3(1.0) - straight - black * 0.8) / (1.0 - black * 0.8 + 0.0001);
    float amount = dot(part, vec4(inks, black * black));
#else
    float amount = 1.0 - dot(straight, vec3(0.2126, 0.7152, 0.0722));
#endif
    amount = clamp(amount, 0.0, 1.0);
    // A round dot up to half cover; from there on the white between the dots is round.
    vec2 arm = q - cell;
    float dotCover = 1.0 - smoothstep(-edge, edge, length(arm) - 0.5642 * sqrt(amount) * 1.02);
    vec2 corner = 0.5 - abs(arm);
    float gap = smoothstep(-edge, edge, length(corner) - 0.5642 * sqrt(1.0 - amount));
    return amount > 0.5 ? gap : dotCover;
}

void main() {
    float alpha = texture2D(tex, TexCoord0).a;
    vec3 printed = paper.rgb;
#ifdef COLOUR
    printed *= mix(vec3(1.0), vec3(0.02, 0.66, 0.9), Cover(angle, vec4(1.0, 0.0, 0.0, 0.0)));
    printed *= mix(vec3(1.0), vec3(0.9, 0.06, 0.52), Cover(angle + 1.0472, vec4(0.0, 1.0, 0.0, 0.0)));
    printed *= mix(vec3(1.0), vec3(1.0, 0.93, 0.05), Cover(angle - 0.2618, vec4(0.0, 0.0, 1.0, 0.0)));
    printed = mix(printed, ink.rgb, Cover(angle + 0.5236, vec4(0.0, 0.0, 0.0, 1.0)));
#else
    printed = mix(printed, ink.rgb, Cover(angle, vec4(0.0)));
#endif
    gl_FragColor = Straight(printed, alpha);
}
)glsl";

}  // namespace

class EffectHalftone final : public EffectWithSettings<Proc::SettingsEffectHalftone> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        // Dots have the mean colour of their cells.
        auto const side = static_cast<std::uint32_t>(std::clamp(1.0 / settings.size, 16.0, 400.0));
        Frame const small = MakeSmall(picture, side, storage);
        Premultiplied const means(small, storage);
        Premultiplied const colors(picture, storage);
        double const pixel = 1.0 / (settings.size * std::max(picture.GetWidth(), picture.GetHeight()));
        bool const isColour = settings.inks == Proc::SettingsEffectHalftone::Inks::Colour;
        Pass(storage, isColour ? "EffectHalftone_colour" : "EffectHalftone",
             {kGlslVersion, isColour ? "#define COLOUR\n" : "", kStraightAlpha, kFragment})
            .Texture("tex", 0, colors.Get())
            .Texture("mean", 1, means.Get())
            .Set("sides", sides)
            .Set("size", settings.size)
            .Set("edge", 0.25 * settings.softness + 0.7 * std::min(pixel, 0.5))
            .Set("angle", settings.angle * std::numbers::pi / 180.0)
            .Set("paper", settings.paper)
            .Set("ink", settings.ink)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectHalftone>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
