// Contours shine like neon: the gradient of all three channels, taken over a smoothing width, is drawn as light in a
// colour or in the contour's own, with a glow around it, over the darkened picture.

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectEdgeGlow final : SettingsOf<SettingsEffectEdgeGlow> {
    static inline std::string const CLASS_ID = "EffectEdgeGlow";
    static constexpr std::string_view SUMMARY = "Contours shine like neon tubes over the darkened picture.";
    static constexpr std::string_view NEUTRAL = "intensity=0 dim=0";

    double intensity = 0.8;
    double threshold = 0.12;
    double width = 0.0025;
    double glow = 0.7;
    double dim = 0.85;
    Color color{80, 200, 255, 255};
    double own = 0.4;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::intensity>(0.0, 2.0, "how bright the contours are"),
                Declare<&This::threshold>(0.0, 1.0, "contrast from which there is a contour"),
                Declare<&This::width>(0.0005, 0.01, "width of the contours, as a share of the longer side"),
                Declare<&This::glow>(0.0, 2.0, "how bright the glow around them is"),
                Declare<&This::dim>(0.0, 1.0, "how dark the picture becomes"),
                Declare<&This::color>("colour of the light"),
                Declare<&This::own>(0.0, 1.0, "how much of the picture's own colour the light has")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D edges;
uniform sampler2D bloom;
uniform float dim;
uniform float glow;
uniform float intensity;
varying vec2 TexCoord0;
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec3 tube = texture2D(edges, TexCoord0).rgb;
    vec3 light = ToLight(picture.rgb) * (1.0 - dim);
    vec3 added = intensity * (1.5 * tube * tube + glow * texture2D(bloom, TexCoord0).rgb);
    light += (vec3(1.0) - light) * (vec3(1.0) - exp(-added));
    gl_FragColor = Straight(FromLight(light), picture.a);
}
)glsl";

constexpr char kEdges[] = R"glsl(
uniform sampler2D tex;
uniform vec2 reach;
uniform float threshold;
uniform vec4 color;
uniform float own;
varying vec2 TexCoord0;
void main() {
    vec4 a = texture2D(tex, TexCoord0 + reach * vec2(-0.7, -0.7));
    vec4 b = texture2D(tex, TexCoord0 + reach * vec2(0.7, -0.7));
    vec4 c = texture2D(tex, TexCoord0 + reach * vec2(-0.7, 0.7));
    vec4 d = texture2D(tex, TexCoord0 + reach * vec2(0.7, 0.7));
    vec4 dx = b + d - a - c;
    vec4 dy = c + d - a - b;
    vec4 slope = sqrt(dx * dx + dy * dy);
    float edge = max(max(slope.r, slope.g), slope.b);
    float shown = smoothstep(threshold, 1.6 * threshold + 0.1, edge);
    vec3 mean = 0.25 * (a + b + c + d).rgb;
    vec3 hue = mean / max(max(mean.r, max(mean.g, mean.b)), 0.05);
    gl_FragColor = vec4(mix(color.rgb, hue, own) * shown, 1.0);
}
)glsl";

}  // namespace

class EffectEdgeGlow final : public EffectWithSettings<Proc::SettingsEffectEdgeGlow> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.intensity == 0.0 && settings.dim == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Premultiplied const colors(picture, storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        // The contours as a picture of light of their own, from which they glow.
        Frame edges;
        edges.Allocate(PixFmt::Rgb24, picture.GetWidth(), picture.GetHeight());
        Pass(storage, "EffectEdgeGlow_edges", {kGlslVersion, kEdges})
            .Texture("tex", 0, colors.Get())
            .Set("reach", glm::vec2(static_cast<float>(settings.width)) / sides)
            .Set("threshold", settings.threshold)
            .Set("color", settings.color)
            .Set("own", settings.own)
            .DrawTo(edges);
        Bloom const bloom(edges, 0.0, 0.7, storage);
        Pass(storage, "EffectEdgeGlow", {kGlslVersion, kStraightAlpha, kLinearLight, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("edges", 1, edges, TextureFilter::Nearest)
            .Texture("bloom", 2, bloom.Get())
            .Set("dim", settings.dim)
            .Set("glow", 2.5 * settings.glow)
            .Set("intensity", settings.intensity)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectEdgeGlow>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
