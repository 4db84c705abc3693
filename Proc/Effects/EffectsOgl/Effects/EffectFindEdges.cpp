// Draws edges as lines: dark ones on white or bright ones on black, with their own colours if wanted. What decides is
// the Scharr gradient (H. Scharr, "Optimale Operatoren in der Digitalen Bildverarbeitung", 2000) of the channel where
// it is largest, so that borders between colours of one brightness are found too; 1 stands for a full step.
//
// Lines are as wide in relation to the picture at every size: the operator's cells are 1/960 of the larger side wide,
// and where that is more than a pixel the picture is first averaged over them. Where it is less, gradients are weaker
// by as much, as those of a larger picture made smaller would be. Neighbours count as far as they cover, so that what
// is transparent makes no lines. Alpha is kept.

#include "Proc/Effects/EffectsOgl/Effects/EffectFindEdges.h"

#include <algorithm>
#include <cmath>

#include "Proc/Effects/EffectsOgl/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Pass.h"

namespace Kaltor::Ogl {
namespace {

// The mean over a stretch of pixels of which the two outermost count in part. The pass along x multiplies colours by
// alpha, the one along y divides them again.
constexpr char kMean[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 local_step;
uniform int whole;      // pixels to each side that count in full
uniform float part;     // how far the next one to each side counts
uniform float norm;
uniform bool is_first;
varying vec2 TexCoord0;
vec4 tap(float offset) {
    vec4 c = texture2D(tex, TexCoord0 + local_step * offset);
    return is_first ? vec4(c.rgb * c.a, c.a) : c;
}
void main() {
    vec4 sum = tap(0.0);
    for (int i = 1; i <= whole; ++i) {
        sum += tap(float(i)) + tap(-float(i));
    }
    float last = float(whole + 1);
    sum = (sum + (tap(last) + tap(-last)) * part) * norm;
    gl_FragColor = is_first || sum.a == 0.0 ? sum : vec4(sum.rgb / sum.a, sum.a);
}
)glsl";

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;      // averaged over the operator's cells
uniform sampler2D origin;
uniform vec2 cell;
uniform float scale;
uniform float strength;
uniform float threshold;
uniform bool inverted;
uniform bool color;
varying vec2 TexCoord0;
vec3 here;
vec3 tap(float x, float y) {
    vec4 c = texture2D(tex, TexCoord0 + cell * vec2(x, y));
    return (c.rgb - here) * c.a;
}
void main() {
    here = texture2D(tex, TexCoord0).rgb;
    vec3 falling = tap(1.0, -1.0) - tap(-1.0, 1.0);
    vec3 rising = tap(1.0, 1.0) - tap(-1.0, -1.0);
    vec3 gx = (rising + falling) * 3.0 + (tap(1.0, 0.0) - tap(-1.0, 0.0)) * 10.0;
    vec3 gy = (rising - falling) * 3.0 + (tap(0.0, 1.0) - tap(0.0, -1.0)) * 10.0;
    vec3 squares = gx * gx + gy * gy;
    float over = sqrt(max(squares.r, max(squares.g, squares.b))) * scale - threshold;
    // Rises slowly from the threshold on, so that noise close to it does not flicker, and saturates.
    float soft = over > 0.0 ? over * over / (over + 0.5 * threshold) : 0.0;
    float ink = 1.0 - exp(-10.0 * strength * soft);
    vec4 c = texture2D(origin, TexCoord0);
    vec3 ground = inverted ? vec3(1.0) : vec3(0.0);
    vec3 line = vec3(1.0) - ground;
    if (color) {
        // Bright colours are taken down on white and dark ones up on black: a line stays a line.
        float luma = dot(c.rgb, vec3(0.2126, 0.7152, 0.0722));
        float peak = max(c.r, max(c.g, c.b));
        line = c.rgb * (inverted ? min(1.0, 0.45 / max(luma, 0.01)) : 1.0 / max(peak, 0.25));
    }
    gl_FragColor = vec4(mix(ground, line, ink), c.a);
}
)glsl";

/// `picture` averaged over squares of `side` pixels, 1 or more.
Frame AverageOver(Frame const& picture, double side, ShaderStorage const& storage) {
    int const whole = static_cast<int>((side - 1.0) / 2.0);
    double const part = (side - 1.0) / 2.0 - whole;
    auto const draw = [&](Frame const& from, bool isFirst) {
        Frame to = Frame::Create();
        to.Allocate(picture.GetPixFmt(), picture.GetWidth(), picture.GetHeight());
        Pass(storage, "EffectFindEdges_mean", kMean)
            .Texture("tex", 0, from, TextureFilter::Nearest)
            .Set("local_step", isFirst ? 1.0F / static_cast<float>(picture.GetWidth()) : 0.0F,
                 isFirst ? 0.0F : 1.0F / static_cast<float>(picture.GetHeight()))
            .Set("whole", whole)
            .Set("part", part)
            .Set("norm", 1.0 / side)
            .Set("is_first", isFirst ? 1 : 0)
            .DrawTo(to);
        return to;
    };
    return draw(draw(picture, true), false);
}

}  // namespace

void EffectFindEdges::Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                                 OglCache*) const {
    constexpr double kCellsPerSide = 960.0;
    constexpr double kLeastScale = 0.5;  // small pictures keep their lines
    constexpr double kWeights = 16.0;    // 3 + 10 + 3
    Frame const picture = src->FrameData().ConvertToRGBA(storage);
    double const wanted = std::max(picture.GetWidth(), picture.GetHeight()) / kCellsPerSide;
    double const cell = std::max(wanted, 1.0);
    bool const isWide = cell > 1.0;
    Frame const averaged = isWide ? AverageOver(picture, cell, storage) : picture;
    bool const isAtTexels = cell == std::floor(cell);
    Pass(storage, "EffectFindEdges", kFragment)
        .Texture("tex", 0, averaged, isAtTexels ? TextureFilter::Nearest : TextureFilter::Linear)
        .Texture("origin", 1, picture, TextureFilter::Nearest)
        .Set("cell", static_cast<float>(cell / picture.GetWidth()), static_cast<float>(cell / picture.GetHeight()))
        .Set("scale", std::clamp(wanted, kLeastScale, 1.0) / kWeights)
        .Set("strength", settings.GetStrength())
        .Set("threshold", settings.GetThreshold())
        .Set("inverted", settings.GetInverted() ? 1 : 0)
        .Set("color", settings.GetColor() ? 1 : 0)
        .DrawTo(*dst);
}

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectFindEdges>();

}  // namespace Kaltor::Ogl
