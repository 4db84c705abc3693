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
constexpr int kTaps = 48;

constexpr char kLensFragment[] = R"glsl(
uniform sampler2D tex;
uniform float taps[96];
uniform float boost;
uniform vec2 radius;
varying vec2 TexCoord0;
void main() {
    vec4 sum = vec4(0.0);
    float weights = 0.0;
    for (int i = 0; i < 48; ++i) {
        vec4 color = texture2D(tex, TexCoord0 + radius * vec2(taps[2 * i], taps[2 * i + 1]));
        float light = dot(color.rgb, vec3(0.2126, 0.7152, 0.0722));
        float weight = 1.0 + boost * light * light * light * light;
        sum += vec4(color.rgb * weight, color.a * weight);
        weights += weight;
    }
    gl_FragColor = sum / weights;
}
)glsl";

/// Points spread evenly over the aperture of radius 1, x and y in turn.
std::vector<float> MakeTaps(LensBlur::Aperture const& aperture) {
    std::vector<float> taps;
    taps.reserve(std::size_t{2} * kTaps);
    constexpr double kGolden = 2.399963229728653;
    for (int i = 0; i < kTaps; ++i) {
        double const turn = i * kGolden;
        double radius = std::sqrt((i + 0.5) / kTaps);
        if (aperture.blades >= 3) {
            double const sector = 2.0 * std::numbers::pi / aperture.blades;
            double const from = std::remainder(turn, sector);
            radius *= std::cos(0.5 * sector) / std::cos(from);
        }
        taps.push_back(static_cast<float>(radius * std::cos(turn + aperture.angle)));
        taps.push_back(static_cast<float>(radius * std::sin(turn + aperture.angle)));
    }
    return taps;
}

TextureForm MakeForm(Frame const& picture) {
    std::uint32_t const longer = std::max(picture.GetWidth(), picture.GetHeight());
    std::uint32_t const side = std::min(longer, kSide);
    auto const scaled = [&](std::uint32_t length) { return std::max(length * side / longer, 1U); };
    return {scaled(picture.GetWidth()), scaled(picture.GetHeight()), TexelFormat::Rgba16, false};
}

}  // namespace

LensBlur::LensBlur(Frame const& picture, Aperture const& aperture, ShaderStorage const& storage)
    : blurred(MakeForm(picture)) {
    Frame const small = MakeSmall(picture, kSide, storage);
    Premultiplied const colors(small, storage);
    auto const longer = static_cast<double>(std::max(picture.GetWidth(), picture.GetHeight()));
    glm::vec2 const radius(aperture.radius * longer / picture.GetWidth(),
                           aperture.radius * longer / picture.GetHeight());
    Pass(storage, "Looks_Lens", {kGlslVersion, kLensFragment})
        .Texture("tex", 0, colors.Get())
        .Set("taps", MakeTaps(aperture))
        .Set("boost", aperture.boost)
        .Set("radius", radius)
        .DrawTo(blurred.Get());
}

double LensBlur::GetShare(double radius, double pixels) {
    // In pixels of the small picture, which is as sharp as its size allows.
    double const texel = std::max(1.0 / kSide, 1.0 / pixels);
    return SmoothStep(0.3, 1.6, radius / texel);
}

}  // namespace Kaltor::Ogl
