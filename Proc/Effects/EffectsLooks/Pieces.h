#pragma once

#include <functional>

#include "Ogl/Frame.h"
#include "Ogl/TexturePool.h"
#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"

namespace Kaltor::Ogl {

/// GLSL: `vec2 Mirrored(vec2 place)` folds texture coordinates outside of the picture back into it.
constexpr char kMirrored[] = R"glsl(
vec2 Mirrored(vec2 place) {
    return vec2(1.0) - abs(vec2(1.0) - mod(place, 2.0));
}
)glsl";

/// GLSL, with the sampler `noise`: `vec4 Noise(vec2)` is smooth value noise with one cell for each unit, four
/// independent channels from 0 to 1; `vec4 Clouds(vec2)` adds four octaves of it, mean 0.5.
constexpr char kNoiseFunctions[] = R"glsl(
uniform sampler2D noise;
vec4 Noise(vec2 place) {
    vec2 cell = floor(place);
    vec2 part = place - cell;
    return texture2D(noise, (cell + part * part * (3.0 - 2.0 * part) + 0.5) / 512.0);
}
vec4 Clouds(vec2 place) {
    return (8.0 * Noise(place) + 4.0 * Noise(place * 2.03 + 17.3) + 2.0 * Noise(place * 4.01 + 41.7) +
            Noise(place * 8.05 + 5.1)) / 15.0;
}
)glsl";

/// GLSL: `vec4 Random(vec2 cell)` are four numbers of a whole-numbered cell, with the sampler `noise`; where it is used
/// without `kNoiseFunctions`, the sampler is declared beside it.
constexpr char kRandomFunction[] = R"glsl(
vec4 Random(vec2 cell) {
    return texture2D(noise, (cell + 0.5) / 512.0);
}
)glsl";

/// GLSL: `float Jitter()` is a number from 0 to 1 that differs from its neighbours' as evenly as possible, so that few
/// samples along a line show as fine grain and not as copies. After J. Jimenez, "Next Generation Post Processing in
/// Call of Duty: Advanced Warfare", SIGGRAPH 2014.
constexpr char kJitterFunction[] = R"glsl(
float Jitter() {
    return fract(52.9829189 * fract(dot(gl_FragCoord.xy, vec2(0.06711056, 0.00583715))));
}
)glsl";

/// GLSL: colours to and from light, near enough to the curves of video for what is added to a picture.
constexpr char kLinearLight[] = R"glsl(
vec3 ToLight(vec3 color) {
    return color * color;
}
vec3 FromLight(vec3 light) {
    return sqrt(max(light, vec3(0.0)));
}
)glsl";

/// Screens light onto a premultiplied colour.
constexpr char kScreenFunction[] = R"glsl(
vec3 Screen(vec4 color, vec3 light) {
    return color.rgb + light * (vec3(color.a) - color.rgb);
}
)glsl";

/// Both pictures of a transition, premultiplied, as the samplers `tex1` (unit 0) and `tex2` (unit 1).
struct Pictures {
    Pictures(Src const& first, Src const& second, ShaderStorage const& storage);

    Pass& GiveTo(Pass& pass) const;
    /// Pixels along the longer side.
    double GetPixels() const;

    Frame outgoing;
    Frame incoming;
    Premultiplied from;
    Premultiplied to;
    glm::vec2 sides;  ///< of texture coordinates to lengths; the longer side is 1
};

/// A small picture of four independent cloud fields over the whole frame, for what needs slow noise in each pixel:
/// cheap to make for each frame, sampled linearly. The fields are those of `Clouds`.
class CloudMap {
public:
    /// `cells`: of the coarsest octave along the longer side; `offset` moves the fields, as far as one likes.
    CloudMap(glm::vec2 sides, double cells, glm::dvec2 offset, ShaderStorage const& storage);

    Texture const& Get() const { return map.Get(); }

private:
    PooledTexture map;
};

/// A pass that smears a premultiplied picture.
struct StreakPass {
    Texture const& from;
    Texture const& to;
    double share;  ///< of the streak's length
    double count;  ///< samples
    bool isFirst;  ///< its samples lie apart: each pixel begins somewhere else
    bool isLast;   ///< it draws the result, without its multiplication by alpha
};
/// How long streaks are made of short ones: the pixels between two samples, the samples of a pass, and how many passes.
struct StreakForm {
    double between, least, most;
    int passes = 2;
};
/// Smears `colors` into `target`: streaks of so many pixels in one pass, or long ones as short streaks of short
/// streaks, which is n * n samples for the price of 2 * n; with three passes n * n * n for 3 * n.
void DrawStreaks(Texture const& colors, Texture const& target, double pixels, StreakForm const& form,
                 std::function<void(StreakPass const&)> const& draw);

}  // namespace Kaltor::Ogl
