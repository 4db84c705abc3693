// The picture, again and again, on a strip of film with sprocket holes that runs through the frame, bent towards its
// ends as if over a large roller. Around the strip and through its holes one sees the picture itself, strongly blurred
// and darker, with the strip's shadow; a cut-out keeps its transparent surroundings. Where the picture is transparent
// the film is clear; elsewhere its density is the alpha of its colour.
//
// A picture on the strip is first reduced in place, each pixel to the mean of what it covers, at a width whose pixels
// match the frame's. Then it only moves along the strip, with cubic interpolation: with linear samples its sharpness
// would pulse as it glides.

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <vector>

#include "Ogl/TexturePool.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {
namespace {

// Enlarges with the cubic B-spline; one linear sample replaces each pair of weights (C. Sigg, M. Hadwiger, "Fast
// Third-Order Texture Filtering", GPU Gems 2, 2005).
constexpr char kSmooth[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 size;
varying vec2 TexCoord0;
void main() {
    vec2 p = TexCoord0 * size - vec2(0.5);
    vec2 f = fract(p);
    vec2 e = vec2(1.0) - f;
    vec2 w0 = e * e * e / 6.0;
    vec2 w1 = vec2(4.0 / 6.0) - f * f * (vec2(1.0) - 0.5 * f);
    vec2 w3 = f * f * f / 6.0;
    vec2 low = w0 + w1;
    vec2 high = vec2(1.0) - low;
    vec2 a = (p - f + w1 / low - vec2(0.5)) / size;
    vec2 b = (p - f + w3 / high + vec2(1.5)) / size;
    gl_FragColor = (texture2D(tex, a) * low.x + texture2D(tex, vec2(b.x, a.y)) * high.x) * low.y +
                   (texture2D(tex, vec2(a.x, b.y)) * low.x + texture2D(tex, b) * high.x) * high.y;
}
)glsl";

// How dark it is around the strip, by the distance from its edge.
constexpr char kLightAround[] = R"glsl(
float LightAround(float beside) {
    return 0.5 - 0.3 * (1.0 - smoothstep(-0.02, 0.10, beside));
}
)glsl";

constexpr char kFilmAround[] = R"glsl(
uniform sampler2D around;
uniform vec2 across;  // strip widths: along s, along t
varying vec2 TexCoord0;
void main() {
    vec4 color = texture2D(around, TexCoord0);
    float beside = abs(dot(TexCoord0 - vec2(0.5), across)) - 0.5;
    vec3 seen = color.rgb / max(color.a, 1.0e-4) * LightAround(beside);
    gl_FragColor = Straight(seen, color.a);
}
)glsl";

constexpr char kVertex[] = R"glsl(#version 120
varying vec2 Place;
varying vec2 Screen;
void main() {
    Place = gl_Vertex.xy;
    Screen = gl_Vertex.zw * 0.5 + vec2(0.5);
    gl_Position = vec4(gl_Vertex.zw, 0.0, 1.0);
}
)glsl";

// Lengths are parts of the strip's width.
constexpr char kStrip[] = R"glsl(
uniform sampler2D picture;  // premultiplied, as large as it is seen
uniform sampler2D around;   // premultiplied
uniform float isLevel;      // 1: the strip runs along s
uniform float gone;         // pictures that have passed
uniform float pitch;        // from picture to picture
uniform float share;        // of it, the picture's
uniform float holes;        // a picture
uniform vec2 texels;        // of a picture, across the strip and along it
uniform float perWidth;     // pictures' widths to the strip's
uniform float pixel;
uniform float bend;         // radians a picture
uniform vec4 color;
uniform float shown;        // 1: there is something around the strip
varying vec2 Place;         // across the strip from its middle, and along it, pictures
varying vec2 Screen;

float FromBox(vec2 p, vec2 halves, float radius) {
    vec2 over = abs(p) - halves + vec2(radius);
    return length(max(over, vec2(0.0))) + min(max(over.x, over.y), 0.0) - radius;
}
float Cover(float d) {
    return clamp(0.5 - d / pixel, 0.0, 1.0);
}
vec4 Take(float across, float along) {
    vec2 at = vec2(across, (along + 0.5) / texels.y);
    return texture2D(picture, isLevel > 0.5 ? at.yx : at);
}
// Catmull-Rom along the strip.
vec4 TakePicture(float across, float along) {
    float at = along * texels.y - 0.5;
    float first = floor(at);
    float f = at - first;
    vec4 w = vec4(f * (-0.5 + f * (1.0 - 0.5 * f)), 1.0 + f * f * (-2.5 + 1.5 * f), f * (0.5 + f * (2.0 - 1.5 * f)),
                  f * f * (-0.5 + 0.5 * f));
    vec4 sum = Take(across, first - 1.0) * w.x + Take(across, first) * w.y + Take(across, first + 1.0) * w.z +
               Take(across, first + 2.0) * w.w;
    float alpha = clamp(sum.a, 0.0, 1.0);
    return vec4(clamp(sum.rgb, vec3(0.0), vec3(alpha)), alpha);
}

void main() {
    vec2 place = isLevel > 0.5 ? Place.yx : Place;
    float run = place.y - gone;
    float middle = run - floor(run + 0.5);  // from that of a picture
    float nextHole = (run * holes - floor(run * holes) - 0.5) * pitch / holes;
    float x = abs(place.x);
    float window = FromBox(vec2(x, middle * pitch), vec2(0.36, 0.5 * share * pitch), 0.012);
    float hole = FromBox(vec2(x - 0.43, nextHole), vec2(0.040, 0.029), 0.013);

    float angle = place.y * bend;
    float shade = 1.0 - 1.5 * angle * angle;
    float gloss = (angle - (isLevel > 0.5 ? -0.2 : 0.2)) / 0.13;
    gloss = exp(-gloss * gloss);
    float sheen = 0.07 * gloss + 0.10 * Cover(abs(hole - 0.003) - 0.003) + 0.05 * Cover(abs(x - 0.494) - 0.004);
    vec4 film = vec4(color.rgb * shade + vec3(sheen * shade), 1.0) * color.a;
    vec4 seen = TakePicture(0.5 + place.x * perWidth, 0.5 + middle / share);
    seen.rgb = seen.rgb * shade + vec3(0.03 * gloss * seen.a) * (seen.a - seen.rgb);
    film = mix(film, seen, Cover(window)) * (Cover(x - 0.5) * (1.0 - Cover(hole)));

    vec4 behind = texture2D(around, Screen) * shown;
    behind.rgb *= mix(LightAround(x - 0.5), 0.42, Cover(hole));
    gl_FragColor = Unmultiply(film + behind * (1.0 - film.a));
}
)glsl";

constexpr double kWindow = 0.72;  // a picture's part of the strip's width
constexpr double kBend = 0.5;     // radians from the frame's middle to its edge
constexpr int kSlices = 64;

using StripDirection = Proc::SettingsEffectFilmStrip::Direction;

/// Where the strip and its pictures are. Lengths are in pixels of the frame; those along the strip are whole pixels
/// before it is bent.
struct Layout {
    Layout(Conf::FrameInfo const& info, Proc::SettingsEffectFilmStrip const& settings)
        : isLevel(settings.direction == StripDirection::Left || settings.direction == StripDirection::Right) {
        double const size = std::clamp(settings.size, 0.01, 1.0);
        frameAcross = isLevel ? info.height : info.width;
        frameAlong = isLevel ? info.width : info.height;
        double const free = frameAcross - size * frameAcross;
        pictureAcross = frameAcross - 2.0 * std::min(std::round(0.5 * free), std::floor(0.5 * (frameAcross - 1.0)));
        double const pixelAspect = static_cast<double>(info.pixelAspectX) / info.pixelAspectY;
        double const strip = pictureAcross / kWindow;
        double const stripAlong = strip * (isLevel ? 1.0 / pixelAspect : pixelAspect);  // the same length, along
        double const picture = size * frameAlong;
        constexpr double kGap = 0.05;
        double const pitchAlong = picture + kGap * stripAlong;
        radius = 0.5 * frameAlong / std::sin(kBend);
        pitchAngle = pitchAlong / radius;
        width = strip;
        pitch = pitchAlong / stripAlong;
        share = picture / pitchAlong;
        pictureAlong = std::max(std::round(picture), 1.0);
        constexpr double kHoleDistance = 0.135;
        holes = std::max(std::round(pitch / kHoleDistance), 1.0);
    }
    bool operator==(Layout const&) const = default;

    bool CoversFrame() const { return width >= frameAcross; }

    bool isLevel;
    double frameAcross, frameAlong;      ///< pixels
    double pictureAcross, pictureAlong;  ///< pixels, whole
    double width;                        ///< of the strip, pixels
    double radius;                       ///< of the bend, pixels
    double pitchAngle;                   ///< radians
    double pitch;                        ///< strip widths
    double share;                        ///< a picture's part of the pitch
    double holes;                        ///< per picture
};

/// Slices across the strip, from end to end of the frame.
PackedQuad MakeStrip(Layout const& layout) {
    double const half = std::min(0.5 + 2.0 / layout.width, 0.5 * layout.frameAcross / layout.width);
    auto const side = static_cast<float>(half);
    auto const edge = static_cast<float>(2.0 * half * layout.width / layout.frameAcross);
    auto const screen = [](int i) { return 2.0 * i / kSlices - 1.0; };
    auto const film = [&](int i) {
        return static_cast<float>(std::asin(screen(i) * std::sin(kBend)) / layout.pitchAngle);
    };
    std::vector<Stretch> slices;
    for (int i = 0; i < kSlices; ++i) {
        slices.push_back({film(i), film(i + 1), static_cast<float>(screen(i)), static_cast<float>(screen(i + 1))});
    }
    std::vector<Stretch> const across{{-side, side, -edge, edge}};
    return layout.isLevel ? MakeLattice(slices, across) : MakeLattice(across, slices);
}

/// The picture, blurred to little more than its colours.
PooledTexture MakeAround(Frame const& picture, ShaderStorage const& storage) {
    constexpr double kTexels = 14.0;  // along the longer side
    constexpr double kDivisor = 8.0;
    double const width = picture.GetWidth();
    double const height = picture.GetHeight();
    double const scale = std::min(kTexels / std::max(width, height), 1.0);
    Frame const tiny = MakeScaled(picture, static_cast<std::uint32_t>(std::ceil(width * scale)),
                                  static_cast<std::uint32_t>(std::ceil(height * scale)), storage);
    Premultiplied const premultiplied(tiny, storage);
    PooledTexture smooth(TextureForm{static_cast<std::uint32_t>(std::ceil(width / kDivisor)),
                                     static_cast<std::uint32_t>(std::ceil(height / kDivisor)),
                                     FinerWithAlpha(picture.GetFirstTexture().GetForm().format), false});
    Pass(storage, "EffectFilmStrip_smooth", kSmooth)
        .Texture("tex", 0, premultiplied.Get())
        .Set("size", glm::vec2(tiny.GetWidth(), tiny.GetHeight()))
        .DrawTo(smooth.Get());
    return smooth;
}

}  // namespace

class EffectFilmStrip final : public EffectWithSettings<Proc::SettingsEffectFilmStrip> {
public:
    class CacheImpl final : public OglCache {
    public:
        Mesh const& Get(Layout const& wanted) {
            if (!strip || layout != wanted) {
                strip.emplace(MakeStrip(wanted), GL_STATIC_DRAW);
                layout = wanted;
            }
            return *strip;
        }

    private:
        std::optional<Layout> layout;
        std::optional<Quad> strip;
    };

    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache* cache) const override {
        auto& strips = GetCache<CacheImpl>(cache);
        Frame const source = src->FrameData().ConvertToRGBA(storage);
        Layout const layout(src->GetFrameInfo(), settings);
        auto const across = static_cast<std::uint32_t>(layout.pictureAcross);
        auto const along = static_cast<std::uint32_t>(layout.pictureAlong);
        Frame const picture =
            MakeScaled(source, layout.isLevel ? along : across, layout.isLevel ? across : along, storage);
        Premultiplied const premultiplied(picture, storage);
        PooledTexture const around = MakeAround(source, storage);
        bool const hasSurroundings = dst->FrameData().GetFirstTexture().IsOpaque();
        if (hasSurroundings && !layout.CoversFrame()) {
            auto const widths = static_cast<float>(layout.frameAcross / layout.width);
            Pass(storage, "EffectFilmStrip_around", {kGlslVersion, kStraightAlpha, kLightAround, kFilmAround})
                .Texture("around", 0, around.Get())
                .Set("across", layout.isLevel ? glm::vec2(0.0F, widths) : glm::vec2(widths, 0.0F))
                .DrawTo(*dst);
        } else {
            AttachTarget(*dst, storage);
        }

        static constexpr std::array kSigns{1.0, -1.0, -1.0, 1.0};
        double const gone =
            std::fmod(kSigns.at(static_cast<std::size_t>(settings.direction)) * settings.speed * time, 1.0);
        Pass(storage, "EffectFilmStrip", kVertex, {kGlslVersion, kStraightAlpha, kLightAround, kStrip})
            .Texture("picture", 0, premultiplied.Get(), TextureFilter::Nearest)
            .Texture("around", 1, around.Get())
            .Set("isLevel", layout.isLevel ? 1.0F : 0.0F)
            .Set("gone", gone)
            .Set("pitch", layout.pitch)
            .Set("share", layout.share)
            .Set("holes", layout.holes)
            .Set("texels", static_cast<float>(layout.pictureAcross), static_cast<float>(layout.pictureAlong))
            .Set("perWidth", 1.0 / kWindow)
            .Set("pixel", 1.0 / layout.width)
            .Set("bend", layout.pitchAngle)
            .Set("color", settings.color)
            .Set("shown", hasSurroundings ? 1.0F : 0.0F)
            .Draw(strips.Get(layout));
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectFilmStrip>();

}  // namespace Kaltor::Ogl
