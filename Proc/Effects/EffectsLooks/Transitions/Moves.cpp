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

// The turn and the zoom of a part of the way.
vec2 GetTurn(float way) {
    return vec2(cos(angle * way), sin(angle * way)) * exp(-grow * way);
}
vec2 Turned(vec2 arm, vec2 turn) {
    return vec2(turn.x * arm.x + turn.y * arm.y, turn.x * arm.y - turn.y * arm.x);
}

void main() {
    vec2 arm = (TexCoord0 - centre) * sides;
    vec4 sum = vec4(0.0);
    float stride = (last - first) / count;
    float way = first + stride * Jitter();
    vec2 arm1 = Turned(arm, GetTurn(way));
    vec2 arm2 = Turned(arm, GetTurn(way - 1.0));
    vec2 turn = GetTurn(stride);
    for (int i = 0; i < 16; ++i) {
        if (float(i) >= count) {
            break;
        }
        float share = smoothstep(0.42, 0.58, way);
        if (share < 1.0) {
            sum += (1.0 - share) * texture2D(tex1, Mirrored(centre + arm1 / sides));
        }
        if (share > 0.0) {
            sum += share * texture2D(tex2, Mirrored(centre + arm2 / sides));
        }
        way += stride;
        arm1 = Turned(arm1, turn);
        arm2 = Turned(arm2, turn);
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
                          static_cast<double>(glm::length(pictures.sides)) * std::hypot(move.angle, grow);
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
        case 0:
            return {1.0F, 0.0F};
        case 1:
            return {-1.0F, 0.0F};
        case 2:
            return {0.0F, -1.0F};
        default:
            return {0.0F, 1.0F};
    }
}

}  // namespace Kaltor::Ogl
