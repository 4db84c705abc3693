#include "Proc/Effects/EffectsLooks/LensBlur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/Easing.h"
#include "Proc/Effects/EffectsLooks/Pieces.h"

namespace Kaltor::Ogl {
namespace {

constexpr std::uint32_t kSide = 640;
constexpr int kMostTaps = 128;
constexpr double kTexelsForTap = 5.0;

// The picture, smaller, with highlights stronger than the rest, and in alpha how much each texel counts: before small
// lights are lost in a mean.
constexpr char kWeightFragment[] = R"glsl(
uniform sampler2D tex;
uniform float boost;
uniform vec2 texel;      // of the picture to be made
uniform float steps;     // samples along its sides
varying vec2 TexCoord0;
void main() {
    vec4 sum = vec4(0.0);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            vec2 part = vec2(float(x), float(y)) + 0.5;
            if (max(part.x, part.y) < steps) {
                vec4 color = texture2D(tex, TexCoord0 + texel * (part / steps - 0.5));
                float light = dot(color.rgb, vec3(0.2126, 0.7152, 0.0722));
                sum += color * (1.0 + boost * light * light * light * light);
            }
        }
    }
    gl_FragColor = sum / (steps * steps * (1.0 + boost));
}
)glsl";

constexpr char kLensFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D weighted;
uniform float taps[256];
uniform float count;
uniform float opaque;
uniform vec2 radius;
varying vec2 TexCoord0;
void main() {
    vec4 sum = vec4(0.0);
    float alpha = 0.0;
    for (int i = 0; i < 128; ++i) {
        if (float(i) >= count) {
            break;
        }
        vec2 place = TexCoord0 + radius * vec2(taps[2 * i], taps[2 * i + 1]);
        sum += texture2D(weighted, place);
        if (opaque < 0.5) {
            alpha += texture2D(tex, place).a;
        }
    }
    alpha = opaque < 0.5 ? alpha / count : 1.0;
    gl_FragColor = vec4(sum.rgb / max(sum.a, 0.0001) * alpha, alpha);
}
)glsl";

/// Points spread evenly over the aperture of radius 1, x and y in turn.
std::vector<float> MakeTaps(LensBlur::Aperture const& aperture, int count) {
    std::vector<float> taps;
    taps.reserve(std::size_t{2} * kMostTaps);
    constexpr double kGolden = 2.399963229728653;
    for (int i = 0; i < count; ++i) {
        double const turn = i * kGolden;
        double radius = std::sqrt((i + 0.5) / count);
        if (aperture.blades >= 3) {
            double const sector = 2.0 * std::numbers::pi / aperture.blades;
            double const from = std::remainder(turn, sector);
            radius *= std::cos(0.5 * sector) / std::cos(from);
        }
        taps.push_back(static_cast<float>(radius * std::cos(turn + aperture.angle)));
        taps.push_back(static_cast<float>(radius * std::sin(turn + aperture.angle)));
    }
    taps.resize(std::size_t{2} * kMostTaps);
    return taps;
}

/// The longer side of the small picture. Samples lie so close in the disc that none of them is seen alone: the wider
/// the disc, the smaller the picture. There are few sizes, so that textures are used again.
std::uint32_t GetSide(double radius) {
    constexpr double kWidest = 15.0;
    for (std::uint32_t const side : {kSide, 480U, 320U, 240U}) {
        if (radius * side <= kWidest) {
            return side;
        }
    }
    return 160;
}

TextureForm MakeForm(Frame const& picture, std::uint32_t most) {
    std::uint32_t const longer = std::max(picture.GetWidth(), picture.GetHeight());
    std::uint32_t const side = std::min(longer, most);
    auto const scaled = [&](std::uint32_t length) { return std::max(length * side / longer, 1U); };
    return {scaled(picture.GetWidth()), scaled(picture.GetHeight()), TexelFormat::Rgba16, false};
}

}  // namespace

LensBlur::LensBlur(Frame const& picture, Aperture const& aperture, ShaderStorage const& storage)
    : blurred(MakeForm(picture, GetSide(aperture.radius))) {
    std::uint32_t const side = GetSide(aperture.radius);
    auto const longer = static_cast<double>(std::max(picture.GetWidth(), picture.GetHeight()));
    glm::vec2 const radius(aperture.radius * longer / picture.GetWidth(),
                           aperture.radius * longer / picture.GetHeight());
    double const texels = aperture.radius * std::min(longer, static_cast<double>(side));
    int const count = std::clamp(static_cast<int>(std::numbers::pi * texels * texels / kTexelsForTap), 24, kMostTaps);
    Frame const small = MakeSmall(picture, kSide, storage);
    Premultiplied const colors(small, storage);
    // Where taps are further apart than texels, each stands for what lies around it.
    double const apart = texels * std::sqrt(std::numbers::pi / count);
    TextureForm const form = MakeForm(picture, apart < 1.5 ? side : side / 2);
    PooledTexture const weighted(form);
    Pass(storage, "Looks_LensWeight", {kGlslVersion, kWeightFragment})
        .Texture("tex", 0, colors.Get())
        .Set("boost", aperture.boost)
        .Set("texel", glm::vec2(1.0F / static_cast<float>(form.width), 1.0F / static_cast<float>(form.height)))
        .Set("steps", static_cast<float>(std::clamp(colors.Get().GetForm().width / form.width, 1U, 4U)))
        .DrawTo(weighted.Get());
    Pass(storage, "Looks_Lens", {kGlslVersion, kLensFragment})
        .Texture("tex", 0, colors.Get())
        .Texture("weighted", 1, weighted.Get())
        .Set("taps", MakeTaps(aperture, count))
        .Set("count", static_cast<float>(count))
        .Set("opaque", small.GetFirstTexture().IsOpaque() ? 1.0 : 0.0)
        .Set("radius", radius)
        .DrawTo(blurred.Get());
}

double LensBlur::GetShare(double radius, double pixels) {
    // In pixels of the small picture, which is as sharp as its size allows.
    double const texel = std::max(1.0 / kSide, 1.0 / pixels);
    return SmoothStep(0.3, 1.6, radius / texel);
}

}  // namespace Kaltor::Ogl
