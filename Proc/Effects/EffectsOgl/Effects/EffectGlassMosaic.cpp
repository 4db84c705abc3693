// The picture seen through a wall of square glass bricks. Each is a lens that shows more of the picture than lies
// behind it, increasingly towards its edge. A rounded bevel bends light further and catches light from the upper left;
// at the opposite side the brick shines with what it has gathered. Narrow frosted joints separate the bricks. Bricks
// are cast by hand: each leans, bends and lets light through in its own way. Glass bends blue more than red. A brick's
// own coordinates q run from -1 to 1.

#include <algorithm>

#include "Ogl/Noise.h"
#include "Proc/Effects/EffectsOgl/Effects/BlockGrid.h"
#include "Proc/Effects/Shared/Blend.h"
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
uniform float variation;
uniform float dispersion;
uniform sampler2D noise;
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
// What is a brick's own, -1 to 1 each.
vec4 Own(vec2 cell) {
    return (texture2D(noise, (cell + vec2(71.5, 29.5)) / kNoiseSize) * 2.0 - vec4(1.0)) * variation;
}
// The picture's colour behind the point `p`, bricks, where the glass bends by `more`.
vec4 Look(vec2 p, float more) {
    vec2 cell = floor(p);
    vec2 q = (p - cell) * 2.0 - vec2(1.0);
    vec3 outline = FindOutline(q);
    vec4 own = Own(cell);
    vec2 lens = q * (strength * (1.0 + 0.5 * own.z) * (0.6 + 1.0 * dot(q, q)));
    lens -= outline.yz * (FindSlope(outline.x) * rim.x * 1.6);
    lens += own.xy * (0.45 + 0.35 * strength * (vec2(1.0) - q.yx * q.yx));
    vec2 at = (cell + (q + lens * (1.0 + more)) * 0.5 + vec2(0.5) - first) / blocks;
    at = vec2(1.0) - abs(vec2(1.0) - abs(at));  // mirrored beyond the picture's edge
    return texture2D(tex, at);
}

void main() {
    vec2 p = first + TexCoord0 * blocks;
    // Four samples over the pixel are four wavelengths, too.
    vec4 red = Look(p + pixel * vec2(0.125, 0.375), -0.5 * dispersion);
    vec4 yellow = Look(p + pixel * vec2(-0.375, 0.125), -0.17 * dispersion);
    vec4 cyan = Look(p + pixel * vec2(-0.125, -0.375), 0.17 * dispersion);
    vec4 blue = Look(p + pixel * vec2(0.375, -0.125), 0.5 * dispersion);
    float apart = min(4.0 * dispersion, 1.0);
    vec3 outer = mix(vec3(0.25), vec3(0.55, 0.10, 0.0), apart);
    vec3 inner = mix(vec3(0.25), vec3(0.35, 0.40, 0.10), apart);
    vec4 color = vec4(red.rgb * outer + yellow.rgb * inner + cyan.rgb * inner.bgr + blue.rgb * outer.bgr,
                      0.25 * (red.a + yellow.a + cyan.a + blue.a));

    vec2 q = fract(p) * 2.0 - vec2(1.0);
    vec4 own = Own(floor(p));
    vec3 outline = FindOutline(q);
    float slope = FindSlope(outline.x);
    float width = 2.0 * max(pixel.x, pixel.y);
    vec3 normal = normalize(vec3(outline.yz * slope * 1.6 + q * 0.16 + own.xy * 0.10, 1.0));
    const vec3 kLight = vec3(-0.48, 0.60, 0.64);
    const vec3 kHalf = vec3(-0.265, 0.331, 0.906);  // between the light and the eye
    float lit = dot(normal, kLight) - kLight.z;
    float glint = pow(max(dot(normal, kHalf), 0.0), 40.0);
    // Opposite to the light leaves the brick what it has gathered, and its rim shines from within.
    vec2 away = q - vec2(0.42, -0.52);
    float gathered = exp(-1.6 * dot(away, away)) * (1.0 - slope);
    float within = slope * max(-dot(outline.yz, vec2(-0.625, 0.781)), 0.0);
    // A thin line of light runs round where the bevel begins.
    float line = max(1.0 - abs(outline.x + rim.x) / max(0.22 * rim.x, width), 0.0);
    float shade = 1.0 + light * (0.5 * min(lit, 0.0) + 0.25 * gathered + 0.12 * own.w);
    float shine = light * (0.8 * max(lit, 0.0) + 0.75 * glint * smoothstep(0.02, 0.3, slope) + 0.5 * within * within +
                           0.16 * line * line);
    float joint = light * clamp(0.5 + outline.x / width, 0.0, 1.0);
    float alpha = max(color.a, 1.0e-4);
    vec3 seen = color.rgb / alpha * shade;
    seen += (vec3(1.0) - min(seen, vec3(1.0))) * shine;
    seen = mix(seen, seen * 0.55 + vec3(0.30), 0.75 * joint);
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
        if (strength == 0.0 && bevel == 0.0 && settings.variation <= 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Premultiplied const premultiplied(picture, storage);
        BlockGrid const grid(src->GetFrameInfo(), std::max(settings.count, 1));
        glm::dvec2 const pixel = grid.blocks / glm::dvec2(picture.GetWidth(), picture.GetHeight());
        Pass(storage, "EffectGlassMosaic", {kGlslVersion, kNoiseSizeGlsl, kStraightAlpha, kFragment})
            .Texture("tex", 0, premultiplied.Get())
            .Set("blocks", glm::vec2(grid.blocks))
            .Set("first", glm::vec2(grid.first))
            .Set("pixel", glm::vec2(pixel))
            .Set("strength", strength)
            .Set("rim", glm::vec3(0.45 * bevel, 0.025 * bevel, 0.4 * bevel))
            .Set("light", std::min(2.0 * bevel, 1.0))
            .Set("variation", 0.6 * settings.variation)
            .Set("dispersion", 0.5 * settings.dispersion)
            .Texture("noise", 1, storage.Noise(), TextureFilter::Nearest)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectGlassMosaic>();

}  // namespace Kaltor::Ogl
