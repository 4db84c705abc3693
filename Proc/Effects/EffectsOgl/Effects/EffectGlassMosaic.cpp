// The picture seen through a wall of square glass bricks. Each is a lens that shows more of the picture than lies
// behind it, increasingly towards its edge. A rounded bevel bends light further and catches light from the upper left.
// Narrow dark joints separate the bricks. A brick's own coordinates q run from -1 to 1.

#include <algorithm>

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/BlockGrid.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsFilterEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;  // premultiplied
uniform vec2 blocks;
uniform vec2 first;
uniform vec2 pixel;      // bricks
uniform float strength;
uniform vec3 rim;        // the bevel's width, half the joint's width, the radius of corners, in q
uniform float light;     // of the rim
varying vec2 TexCoord0;

// The distance to a brick's outline, below 0 within, and the direction to it.
vec3 FindOutline(vec2 q) {
    vec2 side = vec2(q.x < 0.0 ? -1.0 : 1.0, q.y < 0.0 ? -1.0 : 1.0);
    vec2 over = abs(q) - vec2(1.0 - rim.y - rim.z);
    vec2 corner = max(over, vec2(0.0));
    float round = length(corner);
    vec2 normal = over.x > over.y ? vec2(1.0, 0.0) : vec2(0.0, 1.0);
    if (min(over.x, over.y) > 0.0) {
        normal = corner / round;
    }
    return vec3(round + min(max(over.x, over.y), 0.0) - rim.z, normal * side);
}
// How steep the bevel is: level where it begins.
float FindSlope(float distance) {
    float t = clamp(1.0 + distance / max(rim.x, 1.0e-4), 0.0, 1.0);
    return t * t;
}
// The picture's colour behind the point `p`, bricks.
vec4 Look(vec2 p) {
    vec2 cell = floor(p);
    vec2 q = (p - cell) * 2.0 - vec2(1.0);
    vec3 outline = FindOutline(q);
    vec2 bent = q * (1.0 + strength * (0.7 + 0.8 * dot(q, q)));
    bent -= outline.yz * (FindSlope(outline.x) * rim.x * 1.3);
    vec2 at = (cell + bent * 0.5 + vec2(0.5) - first) / blocks;
    at = vec2(1.0) - abs(vec2(1.0) - abs(at));  // mirrored beyond the picture's edge
    return texture2D(tex, at);
}

void main() {
    vec2 p = first + TexCoord0 * blocks;
    vec4 color = 0.25 * (Look(p + pixel * vec2(0.125, 0.375)) + Look(p + pixel * vec2(-0.375, 0.125)) +
                         Look(p + pixel * vec2(-0.125, -0.375)) + Look(p + pixel * vec2(0.375, -0.125)));

    vec2 q = fract(p) * 2.0 - vec2(1.0);
    vec3 outline = FindOutline(q);
    float slope = FindSlope(outline.x);
    float width = 2.0 * max(pixel.x, pixel.y);
    vec3 normal = normalize(vec3(outline.yz * slope * 1.5 + q * 0.12, 1.0));
    const vec3 kLight = vec3(-0.48, 0.60, 0.64);
    const vec3 kHalf = vec3(-0.265, 0.331, 0.906);  // between the light and the eye
    float lit = dot(normal, kLight) - kLight.z;
    float glint = pow(max(dot(normal, kHalf), 0.0), 60.0);
    // Opposite to the light leaves the brick what it has gathered, and its rim shines from within.
    vec2 away = q - vec2(0.42, -0.52);
    float gathered = exp(-1.6 * dot(away, away)) * (1.0 - slope);
    float within = slope * max(-dot(outline.yz, vec2(-0.625, 0.781)), 0.0);
    float shade = 1.0 + light * (0.5 * min(lit, 0.0) + 0.22 * gathered);
    float shine = light * (0.9 * max(lit, 0.0) + 0.8 * glint * smoothstep(0.02, 0.3, slope) + 0.3 * within * within);
    float joint = light * clamp(0.5 + outline.x / width, 0.0, 1.0);
    float alpha = max(color.a, 1.0e-4);
    vec3 seen = color.rgb / alpha * shade;
    seen = mix(seen + (vec3(1.0) - min(seen, vec3(1.0))) * shine, seen * 0.6, joint);
    gl_FragColor = Straight(seen, color.a);
}
)glsl";

}  // namespace

class EffectGlassMosaic final : public EffectWithSettings<Proc::SettingsEffectGlassMosaic> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        double const strength = std::clamp(settings.strength, 0.0, 1.0);
        double const bevel = std::clamp(settings.bevel, 0.0, 1.0);
        if (strength == 0.0 && bevel == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Premultiplied const premultiplied(picture, storage);
        BlockGrid const grid(src->GetFrameInfo(), std::max(settings.count, 1));
        glm::dvec2 const pixel = grid.blocks / glm::dvec2(picture.GetWidth(), picture.GetHeight());
        Pass(storage, "EffectGlassMosaic", {kGlslVersion, kStraightAlpha, kFragment})
            .Texture("tex", 0, premultiplied.Get())
            .Set("blocks", glm::vec2(grid.blocks))
            .Set("first", glm::vec2(grid.first))
            .Set("pixel", glm::vec2(pixel))
            .Set("strength", strength)
            .Set("rim", glm::vec3(0.5 * bevel, 0.03 * bevel, 0.4 * bevel))
            .Set("light", std::min(2.0 * bevel, 1.0))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectGlassMosaic>();

}  // namespace Kaltor::Ogl
