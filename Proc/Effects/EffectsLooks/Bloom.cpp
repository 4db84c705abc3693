#include "Proc/Effects/EffectsLooks/Bloom.h"

#include <algorithm>

#include "Ogl/GlState.h"
#include "Proc/Effects/EffectsLooks/Pieces.h"
#include "Proc/Effects/Shared/Blend.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kBrightFragment[] = R"glsl(
uniform sampler2D tex;
uniform float threshold;
varying vec2 TexCoord0;
void main() {
    vec4 color = texture2D(tex, TexCoord0);
    vec3 light = ToLight(color.rgb / max(color.a, 0.001)) * color.a;
    float peak = max(light.r, max(light.g, light.b));
    float floor2 = threshold * threshold;
    // A soft knee: what just passes the threshold does not pop.
    float knee = clamp((peak - 0.6 * floor2) / max(0.8 * floor2, 0.0001), 0.0, 1.0);
    gl_FragColor = vec4(light * knee * knee, color.a);
}
)glsl";

// Four bilinear samples: a tent over 4 x 4 texels.
constexpr char kSpreadFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec2 texel;
uniform float gain;
varying vec2 TexCoord0;
void main() {
    vec4 sum = texture2D(tex, TexCoord0 + texel * vec2(-1.0, -0.5)) + texture2D(tex, TexCoord0 + texel * vec2(0.5, -1.0)) +
               texture2D(tex, TexCoord0 + texel * vec2(1.0, 0.5)) + texture2D(tex, TexCoord0 + texel * vec2(-0.5, 1.0));
    gl_FragColor = vec4(sum.rgb * (0.25 * gain), gain);
}
)glsl";

constexpr char kRayFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec2 source;
uniform float reach;
varying vec2 TexCoord0;
void main() {
    vec3 sum = vec3(0.0);
    float weights = 0.0;
    for (int i = 0; i < 6; ++i) {
        float along = float(i) / 6.0;
        float weight = 1.0 - 0.6 * along * reach;
        sum += weight * texture2D(tex, mix(TexCoord0, source, reach * along)).rgb;
        weights += weight;
    }
    gl_FragColor = vec4(sum / weights, 1.0);
}
)glsl";

glm::vec2 TexelOf(Texture const& texture) {
    return {1.0F / static_cast<float>(texture.GetForm().width), 1.0F / static_cast<float>(texture.GetForm().height)};
}

void Spread(Texture const& from, Texture const& to, double gain, ShaderStorage const& storage) {
    Pass(storage, "Looks_Spread", {kGlslVersion, kSpreadFragment})
        .Texture("tex", 0, from)
        .Set("texel", TexelOf(from))
        .Set("gain", gain)
        .DrawTo(to);
}

}  // namespace

Frame MakeSmall(Frame const& picture, std::uint32_t side, ShaderStorage const& storage) {
    std::uint32_t const width = picture.GetWidth();
    std::uint32_t const height = picture.GetHeight();
    std::uint32_t const longer = std::max(width, height);
    if (longer <= side) {
        return picture;
    }
    auto const scaled = [&](std::uint32_t length) { return std::max(length * side / longer, 1U); };
    return MakeScaled(picture, scaled(width), scaled(height), storage);
}

PooledTexture MakeBright(Frame const& picture, double threshold, std::uint32_t side, ShaderStorage const& storage) {
    Frame const small = MakeSmall(picture, side, storage);
    Premultiplied const colors(small, storage);
    // Of the same size for each size of a picture.
    std::uint32_t const longer = std::max(picture.GetWidth(), picture.GetHeight());
    auto const scaled = [&](std::uint32_t length) { return std::max(length * side / longer, 1U); };
    PooledTexture bright(
        TextureForm{scaled(picture.GetWidth()), scaled(picture.GetHeight()), TexelFormat::Rgba16, false});
    Pass(storage, "Looks_Bright", {kGlslVersion, kLinearLight, kBrightFragment})
        .Texture("tex", 0, colors.Get())
        .Set("threshold", threshold)
        .DrawTo(bright.Get());
    return bright;
}

Bloom::Bloom(Frame const& picture, double threshold, double width, ShaderStorage const& storage) {
    constexpr std::size_t kLevels = 6;
    levels.reserve(kLevels);
    levels.push_back(MakeBright(picture, threshold, 512, storage));
    TextureForm const largest = levels.front().Get().GetForm();
    for (std::size_t level = 1; level < kLevels; ++level) {
        levels.emplace_back(TextureForm{std::max(largest.width >> level, 1U), std::max(largest.height >> level, 1U),
                                        TexelFormat::Rgba16, false});
        Spread(levels[level - 1].Get(), levels[level].Get(), 1.0, storage);
    }
    // Upwards each level becomes its own light mixed with that of the wider ones.
    EnableState const blend(GL_BLEND);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    double const wide = 0.35 + 0.55 * width;
    for (std::size_t level = levels.size() - 1; level > 0; --level) {
        Spread(levels[level].Get(), levels[level - 1].Get(), wide, storage);
    }
}

Rays::Rays(Frame const& picture, double threshold, double length, glm::vec2 source, ShaderStorage const& storage)
    : first(MakeBright(picture, threshold, 512, storage)), second(first.Get().GetForm()) {
    // Each pass takes steps that fill the gaps of the one before; the last one draws to the second texture.
    Texture const* from = &first.Get();
    Texture const* to = &second.Get();
    for (double const share : {1.0 / 36.0, 1.0 / 6.0, 1.0}) {
        Pass(storage, "Looks_Rays", {kGlslVersion, kRayFragment})
            .Texture("tex", 0, *from)
            .Set("source", source)
            .Set("reach", 0.95 * length * share)
            .DrawTo(*to);
        std::swap(from, to);
    }
}

}  // namespace Kaltor::Ogl
