// Contours shine like neon tubes: along the line where a channel changes most there is a bright core, with the light of
// a colour or of the contour's own around it, over the darkened picture. A line is where the picture is steeper than on
// both sides, as a share of how steep it is there, so that strong and weak contours give lines of one width.

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
    double own = 0.25;

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

// The line's profile is stored before it is cut off: what is cut off after its samples are interpolated is equally
// bright wherever the line lies between texels, and does not twinkle when the picture moves.
constexpr char kTube[] = R"glsl(
vec3 Tube(vec4 edge) {
    return edge.rgb * smoothstep(0.0, 0.5, 2.0 * edge.a - 1.0);
}
)glsl";

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
    vec3 tube = Tube(texture2D(edges, TexCoord0));
    vec3 light = ToLight(picture.rgb) * (1.0 - dim);
    float peak = max(tube.r, max(tube.g, tube.b));
    float core = peak * peak * peak;
    vec3 added = intensity * (2.0 * tube * tube + vec3(1.2 * core * core) + glow * texture2D(bloom, TexCoord0).rgb);
    light += (vec3(1.0) - light) * (vec3(1.0) - exp(-added));
    gl_FragColor = Straight(FromLight(light), picture.a);
}
)glsl";

// How steep the picture is, and which way, of the channel that changes most.
constexpr char kSlope[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 reach;
varying vec2 TexCoord0;
void main() {
    vec3 a = texture2D(tex, TexCoord0 + reach * vec2(-0.5, -0.5)).rgb;
    vec3 b = texture2D(tex, TexCoord0 + reach * vec2(0.5, -0.5)).rgb;
    vec3 c = texture2D(tex, TexCoord0 + reach * vec2(-0.5, 0.5)).rgb;
    vec3 d = texture2D(tex, TexCoord0 + reach * vec2(0.5, 0.5)).rgb;
    vec3 dx = b + d - a - c;
    vec3 dy = c + d - a - b;
    vec3 square = dx * dx + dy * dy;
    float most = max(max(square.r, square.g), square.b);
    vec2 way = square.r == most ? vec2(dx.r, dy.r) : (square.g == most ? vec2(dx.g, dy.g) : vec2(dx.b, dy.b));
    float steep = sqrt(most);  // at most 2.83, of which 0.35 fits a texel
    gl_FragColor = vec4(0.35 * steep, vec2(0.5) + 0.5 * way / max(steep, 1.0e-4), 1.0);
}
)glsl";

constexpr char kEdges[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D slope;
uniform sampler2D coarse;  // the picture, blurred
uniform vec2 reach;
uniform float threshold;
uniform vec4 color;
uniform float own;
varying vec2 TexCoord0;
void main() {
    vec4 here = texture2D(slope, TexCoord0);
    vec2 way = reach * (2.0 * here.gb - vec2(1.0));
    float sides = texture2D(slope, TexCoord0 + way).r + texture2D(slope, TexCoord0 - way).r;
    float ridge = clamp((2.0 * here.r - sides) / (here.r + 0.01), -1.0, 1.0);
    // Grain and gravel have as much contrast around them: a contour stands out from its surroundings.
    vec4 wide = abs(texture2D(coarse, TexCoord0 + vec2(3.0, 0.0) * reach) - texture2D(coarse, TexCoord0 - vec2(3.0, 0.0) * reach)) +
                abs(texture2D(coarse, TexCoord0 + vec2(0.0, 3.0) * reach) - texture2D(coarse, TexCoord0 - vec2(0.0, 3.0) * reach));
    float across = max(max(wide.r, wide.g), wide.b);
    float shown = smoothstep(0.35 * threshold, 0.35 * (1.6 * threshold + 0.1), here.r) *
                  smoothstep(0.2 * threshold, 0.9 * threshold, across);
    vec3 mean = texture2D(tex, TexCoord0).rgb;
    vec3 hue = mean / max(max(mean.r, max(mean.g, mean.b)), 0.05);
    gl_FragColor = vec4(mix(color.rgb, hue * hue, own) * shown, 0.5 + 0.5 * ridge);
}
)glsl";

constexpr char kLight[] = R"glsl(
uniform sampler2D edges;
varying vec2 TexCoord0;
void main() {
    gl_FragColor = vec4(Tube(texture2D(edges, TexCoord0)), 1.0);
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
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        // Of one fineness for each size of a picture: a few texels for the width of a line.
        auto const reduce = [&](double texels) {
            return MakeSmall(picture, static_cast<std::uint32_t>(std::max(std::lround(texels / settings.width), 1L)),
                             storage);
        };
        Frame const reduced = reduce(3.0);
        Premultiplied const colors(reduced, storage);
        Frame const small = reduce(0.6);
        Premultiplied const coarse(small, storage);
        // The contours as a picture of light of their own, from which they glow.
        Frame light;
        light.Allocate(PixFmt::Rgb24, reduced.GetWidth(), reduced.GetHeight());
        PooledTexture const edges(TextureForm{reduced.GetWidth(), reduced.GetHeight(), TexelFormat::Rgba8, false});
        glm::vec2 const reach = glm::vec2(static_cast<float>(settings.width)) / sides;
        PooledTexture const slope(TextureForm{reduced.GetWidth(), reduced.GetHeight(), TexelFormat::Rgba16, false});
        Pass(storage, "EffectEdgeGlow_slope", kSlope)
            .Texture("tex", 0, colors.Get())
            .Set("reach", reach)
            .DrawTo(slope.Get());
        Pass(storage, "EffectEdgeGlow_edges", {kGlslVersion, kEdges})
            .Texture("tex", 0, colors.Get())
            .Texture("slope", 1, slope.Get())
            .Texture("coarse", 2, coarse.Get())
            .Set("reach", reach)
            .Set("threshold", std::max(settings.threshold, 1e-3))  // the edges of a step must differ
            .Set("color", settings.color)
            .Set("own", settings.own)
            .DrawTo(edges.Get());
        Pass(storage, "EffectEdgeGlow_light", {kGlslVersion, kTube, kLight})
            .Texture("edges", 0, edges.Get(), TextureFilter::Nearest)
            .DrawTo(light);
        Bloom const bloom(light, 0.0, 0.7, storage);
        Pass(storage, "EffectEdgeGlow", {kGlslVersion, kStraightAlpha, kLinearLight, kTube, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("edges", 1, edges.Get())
            .Texture("bloom", 2, bloom.Get())
            .Set("dim", settings.dim)
            .Set("glow", 5.0 * settings.glow)
            .Set("intensity", settings.intensity)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectEdgeGlow>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
