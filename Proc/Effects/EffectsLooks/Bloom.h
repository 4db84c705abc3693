#pragma once

#include <vector>

#include <glm/vec2.hpp>

#include "Ogl/Frame.h"
#include "Ogl/TexturePool.h"

namespace Kaltor::Ogl {

class ShaderStorage;

/// The glow around what is bright in a picture: light above a threshold, spread by a pyramid of small pictures, so that
/// a wide glow costs no more than a narrow one. In linear light, premultiplied. GL thread only.
class Bloom {
public:
    /// `threshold`: the brightness (0 to 1, as in the picture) from which light glows. `width`, 0 to 1: how much of it
    /// goes into the wide layers.
    Bloom(Frame const& picture, double threshold, double width, ShaderStorage const& storage);

    /// The glow over the whole picture; sampled linearly.
    Texture const& Get() const { return levels.front().Get(); }

private:
    std::vector<PooledTexture> levels;
};

/// A small copy of a picture, whose longer side has at most this many pixels; each is the mean of what
/// it covers.
Frame MakeSmall(Frame const& picture, std::uint32_t side, ShaderStorage const& storage);

/// The light of what is brighter than a threshold (0 to 1, as in the picture), linear, over at most `side` pixels.
PooledTexture MakeBright(Frame const& picture, double threshold, std::uint32_t side, ShaderStorage const& storage);

/// GLSL: `vec3 Shafts(sampler2D rays, vec2 place, vec2 source, vec2 sides)` is the light of `Rays` with their shafts
/// brought out: what is bright all around becomes a faint haze, so that a bright picture does not drown.
constexpr char kShaftsFunction[] = R"glsl(
vec3 Shafts(sampler2D rays, vec2 place, vec2 source, vec2 sides) {
    vec2 arm = (place - source) * sides;
    vec2 across = 0.09 * vec2(-arm.y, arm.x) / sides;
    vec3 own = texture2D(rays, place).rgb;
    vec3 around = 0.25 * (texture2D(rays, place - across).rgb + texture2D(rays, place + across).rgb +
                          texture2D(rays, place - 2.3 * across).rgb + texture2D(rays, place + 2.3 * across).rgb);
    // By luma: shafts keep their colour.
    vec3 luma = vec3(0.2126, 0.7152, 0.0722);
    return own * (0.09 + 1.4 * max(1.0 - 0.9 * dot(around, luma) / max(dot(own, luma), 0.001), 0.0));
}
)glsl";

/// Shafts of light that what is bright casts away from a source. In linear light. GL thread only.
class Rays {
public:
    /// `source` in texture coordinates, also outside of the picture; `length`, 0 to 1, as a share of the way to it.
    Rays(Frame const& picture, double threshold, double length, glm::vec2 source, ShaderStorage const& storage);

    Texture const& Get() const { return second.Get(); }

private:
    PooledTexture first;
    PooledTexture second;
};

}  // namespace Kaltor::Ogl
