#include "Proc/Effects/ShaderFiles/BlurredCopy.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"

namespace Kaltor::Ogl {
namespace {

constexpr int kPairs = 8;                  // two texels each, to both sides
constexpr double kLargestDeviation = 5.0;  // texels: a third of what the pairs reach

// The mean of two texels along an axis, or, where the border between them is not hit, of the parts of three: all texels
// count alike, whatever the sides are.
constexpr char kHalveFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 texel;
varying vec2 TexCoord0;
void main() {
    vec2 across = vec2(0.5 * texel.x, 0.0);
    vec2 up = vec2(0.0, 0.5 * texel.y);
    gl_FragColor = 0.25 * (texture2D(tex, TexCoord0 - across - up) + texture2D(tex, TexCoord0 + across - up) +
                           texture2D(tex, TexCoord0 - across + up) + texture2D(tex, TexCoord0 + across + up));
}
)glsl";

// One fetch between two texels is both, with their weights.
constexpr char kSpreadFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 texel;
uniform float center;
uniform float weights[8];
uniform float places[8];
varying vec2 TexCoord0;
void main() {
    vec4 sum = center * texture2D(tex, TexCoord0);
    for (int i = 0; i < 8; ++i) {
        vec2 away = texel * places[i];
        sum += weights[i] * (texture2D(tex, TexCoord0 - away) + texture2D(tex, TexCoord0 + away));
    }
    gl_FragColor = sum;
}
)glsl";

/// Along one axis: how often the picture is halved, and what deviation, in texels of the small one, is left to do.
struct Axis {
    Axis(double deviation, std::uint32_t length) : side(length), rest(deviation * length) {
        double variance = rest * rest;
        while (rest > kLargestDeviation && side > 1) {
            // Halving blurs, too, by 1/4 where pairs of texels become one, by 5/12 in the mean where they shift.
            variance -= side % 2 == 0 ? 1.0 / 4.0 : 5.0 / 12.0;
            double const ratio = static_cast<double>((side + 1) / 2) / side;
            variance *= ratio * ratio;
            side = (side + 1) / 2;
            // And so does it that the small picture is sampled between its texels.
            rest = std::sqrt(std::max(variance - 1.0 / 6.0, 0.0));
        }
    }
    std::uint32_t side;
    double rest;
};

void Spread(Texture const& from, Texture const& to, glm::vec2 texel, double deviation, ShaderStorage const& storage) {
    auto const weigh = [deviation](int distance) {
        return deviation < 0.01 ? 0.0 : std::exp(-0.5 * distance * distance / (deviation * deviation));
    };
    double sum = 1.0;
    std::vector<float> weights;
    std::vector<float> places;
    for (int pair = 0; pair < kPairs; ++pair) {
        int const near = 2 * pair + 1;
        double const both = weigh(near) + weigh(near + 1);
        weights.push_back(static_cast<float>(both));
        places.push_back(static_cast<float>(both > 0.0 ? near + weigh(near + 1) / both : near));
        sum += 2.0 * both;
    }
    for (float& weight : weights) {
        weight = static_cast<float>(weight / sum);
    }
    Pass(storage, "ShaderFile_Spread", kSpreadFragment)
        .Texture("tex", 0, from)
        .Set("texel", texel / glm::vec2(from.GetForm().width, from.GetForm().height))
        .Set("center", 1.0 / sum)
        .Set("weights", weights)
        .Set("places", places)
        .DrawTo(to);
}

}  // namespace

PooledTexture MakeBlurredCopy(Texture const& picture, glm::dvec2 deviation, ShaderStorage const& storage) {
    Premultiplied const colors(picture, storage);
    TextureForm form = picture.GetForm();
    form.format = FinerWithAlpha(form.format);
    form.isBlueFirst = false;
    Axis const across(deviation.x, form.width);
    Axis const up(deviation.y, form.height);
    std::optional<PooledTexture> small;
    while (form.width > across.side || form.height > up.side) {
        glm::vec2 texel(0.0F);
        if (form.width > across.side) {
            texel.x = 1.0F / static_cast<float>(form.width);
            form.width = (form.width + 1) / 2;
        }
        if (form.height > up.side) {
            texel.y = 1.0F / static_cast<float>(form.height);
            form.height = (form.height + 1) / 2;
        }
        PooledTexture half(form);
        Pass(storage, "ShaderFile_Halve", kHalveFragment)
            .Texture("tex", 0, small ? small->Get() : colors.Get())
            .Set("texel", texel)
            .DrawTo(half.Get());
        small.emplace(std::move(half));
    }
    PooledTexture middle(form);
    PooledTexture blurred(form);
    Spread(small ? small->Get() : colors.Get(), middle.Get(), {1.0F, 0.0F}, across.rest, storage);
    Spread(middle.Get(), blurred.Get(), {0.0F, 1.0F}, up.rest, storage);
    return blurred;
}

}  // namespace Kaltor::Ogl
