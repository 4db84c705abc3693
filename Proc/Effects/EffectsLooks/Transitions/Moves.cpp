#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>

namespace Kaltor::Ogl {
namespace {

constexpr char kMoveFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform vec2 sides;
uniform vec2 centre;
uniform float count;
uniform float first;   // place on the way when the shutter opens
uniform float last;
uniform float angle;
uniform float grow;    // logarithm of the zoom
varying vec2 TexCoord0;

vec2 Place(vec2 arm, float way) {
    float s = sin(angle * way);
    float c = cos(angle * way);
    return Mirrored(centre + vec2(c * arm.x + s * arm.y, c * arm.y - s * arm.x) * exp(-grow * way) / sides);
}

void main() {
    vec2 arm = (TexCoord0 - centre) * sides;
    vec4 sum = vec4(0.0);
    float jitter = Jitter();
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        float way = mix(first, last, (float(i) + jitter) / count);
        float share = smoothstep(0.42, 0.58, way);
        if (share < 1.0) {
            sum += (1.0 - share) * texture2D(tex1, Place(arm, way));
        }
        if (share > 0.0) {
            sum += share * texture2D(tex2, Place(arm, way - 1.0));
        }
    }
    gl_FragColor = Unmultiply(sum / count);
}
)glsl";

}  // namespace

void DrawMove(DataVideoOGL& target, Pictures const& pictures, TurnAndZoom const& move, Exposure const& exposure,
              ShaderStorage const& storage) {
    double const grow = std::log(move.zoom);
    // In the corners.
    double const streak = exposure.GetLength() * 0.5 * pictures.GetPixels() *
                          static_cast<double>(glm::length(pictures.sides)) *
                          std::hypot(move.angle, grow);
    Pass pass(storage, "Looks_Move", {kGlslVersion, kStraightAlpha, kMirrored, kJitterFunction, kMoveFragment});
    pictures.GiveTo(pass)
        .Set("sides", pictures.sides)
        .Set("centre", move.centre)
        .Set("count", CountSamples(streak, 12))
        .Set("first", exposure.from)
        .Set("last", exposure.to)
        .Set("angle", move.angle)
        .Set("grow", grow)
        .DrawTo(target);
}

glm::vec2 GetWay(int direction) {
    switch (direction) {
        case 0: return {1.0F, 0.0F};
        case 1: return {-1.0F, 0.0F};
        case 2: return {0.0F, -1.0F};
        default: return {0.0F, 1.0F};
    }
}

}  // namespace Kaltor::Ogl
