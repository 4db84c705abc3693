// Programs of flying objects. A vertex knows its object's random numbers; uniforms say what time it is. From both it
// finds where the object is and how it is turned: nothing is written to buffers from frame to frame. All motions have
// a whole number of cycles in the period of their clock, so that they run on without a jump however late it is.

#include "Proc/Effects/EffectsOgl/Effects/FlyingShapes.h"

#include <array>

namespace Kaltor::Ogl {
namespace {

// A flake: soft as one that falls past the lens. Far out of focus it is a disc, as bokeh is.
constexpr char kFlakes[] = R"glsl(
vec4 Draw(vec2 p) {
    float blur = Scale.x * Scale.y;
    float r = length(p);
    float lumpy = 1.0 + 0.10 * sin(3.0 * atan(p.y, p.x + 1.0e-4) + 6.2832 * Seed.x) * (1.0 - min(blur, 1.0));
    float flake = 1.0 - smoothstep(0.05, 0.85, r * lumpy);
    float q = r / (1.0 + blur);
    float disc = (0.85 + 0.15 * smoothstep(0.4, 0.8, q)) * (1.0 - smoothstep(0.72, 1.0, q));
    return vec4(vec3(0.97, 0.99, 1.0), mix(flake, disc, smoothstep(0.15, 0.7, blur)));
}
)glsl";

// A crystal's sector, mirrored and repeated: an arm with three pairs of branches and a plate in the middle. A flake
// that is too small or too blurred to show a crystal is a soft disc.
constexpr char kCrystals[] = R"glsl(
float Branch(vec2 p, float at, float reach) {
    return FromSegment(p - vec2(at, 0.0), vec2(0.5, 0.8660254) * reach);
}
vec4 Draw(vec2 p) {
    vec2 q = abs(p);
    const vec2 kMirror = vec2(-0.5, 0.8660254);
    q -= 2.0 * max(dot(q, kMirror), 0.0) * kMirror;
    q.y = abs(q.y);
    float plate = 0.14 + 0.14 * Seed.x;
    float arm = Line(FromSegment(q, vec2(0.94, 0.0)), 0.028);
    float first = Line(Branch(q, 0.34 + 0.08 * Seed.y, 0.16 + 0.14 * Seed.z), 0.024);
    float second = Line(Branch(q, 0.56 + 0.05 * Seed.z, 0.30 * (1.0 - 0.6 * Seed.w)), 0.023);
    float third = Line(Branch(q, 0.76, 0.10 + 0.09 * Seed.x), 0.020);
    float ring = Line(abs(q.x - plate), 0.022) + 0.35 * (1.0 - Step(q.x - plate, Scale.x));
    float crystal = max(max(max(arm, first), max(second, third)), ring);
    float blade = 0.30 * Line(FromSegment(q, vec2(0.86, 0.0)), 0.085);  // clear ice
    float r = length(p);
    float flake = 0.9 * (1.0 - smoothstep(0.05, 0.75, r));
    float fine = Scale.x * (1.0 + 2.0 * Scale.y);
    float soft = smoothstep(0.07, 0.2, fine);
    float glow = 0.16 * (1.0 - smoothstep(0.0, 1.0, r));
    float alpha = mix(max(crystal, blade), flake, soft);
    return vec4(mix(vec3(0.80, 0.90, 1.0), vec3(0.97, 0.99, 1.0), max(crystal, soft)), max(alpha, glow));
}
)glsl";

constexpr char kLeaves[] = R"glsl(
vec3 FindLeafColor(float seed) {
    vec3 low = mix(vec3(0.60, 0.13, 0.05), vec3(0.83, 0.38, 0.06), clamp(seed * 3.0, 0.0, 1.0));
    vec3 high = mix(vec3(0.90, 0.64, 0.13), vec3(0.45, 0.47, 0.12), clamp(seed * 3.0 - 2.0, 0.0, 1.0));
    return mix(low, high, clamp(seed * 3.0 - 1.0, 0.0, 1.0));
}
// A pointed oval with a finely toothed edge from (0, -0.62) up; and its veins.
vec2 DrawOval(vec2 p) {
    float y = (p.y + 0.62) / 1.58;
    float inner = clamp(y, 0.0, 1.0);
    float teeth = 0.018 * abs(fract(y * 15.0) - 0.5);
    float width = 1.42 * pow(inner, 0.62) * (1.0 - inner) + teeth - max(max(-y, y - 1.0), 0.0);
    float x = abs(p.x);
    float side = (p.y - 0.85 * x + 0.75) / 0.19;
    float veins = 0.75 * Line((fract(side) - 0.5) * 0.145, 0.011) * (1.0 - smoothstep(0.55, 1.0, x / max(width, 0.01)));
    return vec2(x - width, veins);
}
// A thorn from the origin along `dir`, `reach` long.
float DrawThorn(vec2 p, vec2 dir, float reach, float slope) {
    return max(abs(dir.x * p.y - dir.y * p.x) - slope * (reach - dot(p, dir)), -dot(p, dir) - 0.1);
}
// One of a maple leaf's lobes, along `dir`: a thorn with two pairs of smaller ones at its sides.
float DrawLobe(vec2 p, vec2 dir, float reach) {
    vec2 q = vec2(dot(p, dir), abs(dir.x * p.y - dir.y * p.x)) / reach;
    float tip = DrawThorn(q, vec2(1.0, 0.0), 1.0, 0.30);
    float upper = DrawThorn(q - vec2(0.52, 0.03), vec2(0.82, 0.57), 0.34, 0.42);
    float lower = DrawThorn(q - vec2(0.30, 0.06), vec2(0.80, 0.60), 0.26, 0.50);
    return min(tip, min(upper, lower)) * reach;
}
vec2 DrawMaple(vec2 p) {
    p.x = abs(p.x);
    p.y += 0.32;
    const vec2 kSide = vec2(0.788, 0.616);
    const vec2 kLow = vec2(0.97, -0.24);
    float d = min(min(DrawLobe(p, vec2(0.0, 1.0), 1.24), DrawLobe(p, kSide, 1.10)), DrawLobe(p, kLow, 0.66));
    d = min(d, length(p - vec2(0.0, 0.12)) - 0.33);
    float veins = max(Line(FromSegment(p, kSide * 0.95), 0.014), Line(FromSegment(p, kLow * 0.6), 0.012));
    return vec2(d, 0.8 * veins);
}
vec4 Draw(vec2 p) {
    p.x += 0.10 * (Seed.w - 0.5) * (1.0 - p.y * p.y);  // a little bent
    vec2 leaf = Seed.z < 0.45 ? DrawMaple(p) : DrawOval(p);
    float within = Cover(leaf.x);
    float stem = Line(FromSegment(p - vec2(0.0, -0.45), vec2(0.06, -0.53)), 0.022);
    float vein = max(leaf.y, 0.9 * Line(p.x, 0.018) * step(-0.6, p.y));
    vec3 leafColor = FindLeafColor(Seed.x);
    leafColor = mix(leafColor, leafColor.grb * vec3(1.2, 0.7, 0.6), 0.25 * smoothstep(-0.4, 0.9, p.y) * Seed.y);
    leafColor *= 0.86 + 0.30 * smoothstep(-0.3, 0.0, leaf.x) * (0.4 + Seed.y);
    // The halves are bent up along the middle vein.
    float light = 0.97 + 0.32 * Look.y + 0.10 * Look.x * (p.x > 0.0 ? 1.0 : -1.0) + 0.35 * Look.z;
    leafColor = mix(leafColor, leafColor * 0.5 + vec3(0.42, 0.34, 0.16), 0.55 * vein * (Look.x > 0.0 ? 1.0 : 0.7));
    leafColor *= Look.x > 0.0 ? 1.0 : 0.82;
    float alpha = max(within, stem);
    return vec4(mix(vec3(0.35, 0.20, 0.08), leafColor, within / max(alpha, 1.0e-4)) * light, alpha);
}
)glsl";

// Two ovals that lean together at the foot leave the notch of a cherry's petal between their tips.
constexpr char kPetals[] = R"glsl(
vec4 Draw(vec2 p) {
    vec2 q = vec2(abs(p.x), p.y);
    const vec2 kLean = vec2(0.966, 0.259);
    q = vec2(dot(q - vec2(0.15, 0.02), kLean.xy * vec2(1.0, -1.0)), dot(q - vec2(0.15, 0.02), kLean.yx));
    float d = length(q / vec2(0.44 + 0.08 * Seed.y, 0.92)) - 1.0;
    float within = Cover(d);
    float along = clamp(0.5 + 0.55 * p.y, 0.0, 1.0);
    vec3 petal = mix(vec3(0.90, 0.38, 0.55), vec3(1.0, 0.84, 0.89), smoothstep(0.0, 0.75, along));
    petal = mix(petal, vec3(1.0, 0.95, 0.95), 0.5 * Seed.x);
    float streak = cos(40.0 * atan(p.x, p.y + 1.5));
    petal -= vec3(0.01, 0.035, 0.025) * streak * (1.0 - along) * (1.0 - min(Scale.y * 0.3, 1.0));
    // Hollow as a spoon.
    float light = 0.97 + 0.20 * Look.y + 0.16 * Look.x * p.x + 0.10 * d + 0.35 * Look.z;
    return vec4(petal * light * (Look.x > 0.0 ? 1.0 : 0.92), 0.96 * within);
}
)glsl";

// A square on its corner with two half discs; inflated like a balloon.
constexpr char kHearts[] = R"glsl(
vec4 Draw(vec2 p) {
    vec2 q = vec2(abs(p.x), p.y * 1.02 + 0.92) / 1.68;
    float d;
    if (q.x + q.y > 1.0) {
        d = length(q - vec2(0.25, 0.75)) - 0.35355339;
    } else {
        vec2 edge = q - vec2(0.5 * max(q.x + q.y, 0.0));
        vec2 notch = q - vec2(0.0, 1.0);
        d = sqrt(min(dot(edge, edge), dot(notch, notch))) * (q.x > q.y ? 1.0 : -1.0);
    }
    float within = Cover(d);
    float steep = 1.0 - smoothstep(0.0, 0.30, -d);
    vec2 slope = FindSlope(d) * steep;
    float facing = dot(slope, kLight);
    vec3 heart = mix(vec3(0.84, 0.04, 0.13), vec3(0.97, 0.28, 0.45), Seed.x * Seed.x);
    heart *= 0.95 + 0.25 * Look.y + 0.32 * facing;
    vec2 spot = (p - vec2(-0.38, 0.42)) * vec2(1.0, 1.3);
    float shine = 0.75 * exp(-26.0 * dot(spot, spot)) * (Look.x > 0.0 ? 1.0 : 0.4) + 0.5 * Look.z;
    heart += vec3(1.0, 0.55, 0.6) * 0.30 * steep * max(-facing, 0.0) * smoothstep(0.02, 0.10, -d);  // from within
    return vec4(mix(heart, vec3(1.0), shine), within);
}
)glsl";

// Five arms with a ridge along each, like one of folded foil. A facet's light follows from the way its outer edge
// looks.
constexpr char kStars[] = R"glsl(
const float kSector = 1.2566371;  // 72 degrees
const vec2 kEdge = vec2(0.4067366, 0.9135455);  // normal of the edge from a tip to a notch: along the arm, across it
float LightFacet(float arm, float side) {
    vec2 along = vec2(sin(arm), cos(arm));
    vec2 normal = along * kEdge.x + vec2(along.y, -along.x) * (kEdge.y * side);
    return dot(vec2(normal.x * Turn.x - normal.y * Turn.y, normal.x * Turn.y + normal.y * Turn.x), kLight);
}
vec4 Draw(vec2 p) {
    float r = length(p);
    float angle = r > 0.0 ? atan(p.x, p.y) : 0.0;
    float arm = kSector * floor(angle / kSector + 0.5);
    float off = angle - arm;
    float side = off < 0.0 ? -1.0 : 1.0;
    float d = dot(r * vec2(cos(off), sin(abs(off))) - vec2(0.97, 0.0), kEdge);
    float within = Cover(d);
    float own = LightFacet(arm, side);
    float overRidge = mix(LightFacet(arm, -side), own, Step(r * sin(abs(off)), Scale.x));
    float overValley = LightFacet(arm + kSector * side, -side);
    float facing = mix(overValley, overRidge, Step(r * sin(0.5 * kSector - abs(off)), Scale.x));
    vec3 star = mix(vec3(1.0, 0.70, 0.14), vec3(1.0, 0.86, 0.44), Seed.x);
    star *= 0.84 + 0.32 * facing + 0.16 * Look.y;
    star += vec3(0.5, 0.45, 0.3) * (0.5 * Look.z + 0.35 * max(0.0, 1.0 - 2.2 * r));
    float glow = 0.20 * (1.0 - smoothstep(0.2, 1.0, r));
    return vec4(mix(vec3(1.0, 0.85, 0.5), star, within), max(within, glow));
}
)glsl";

// Thin films shine at their rims, in colours that go round with their thickness.
constexpr char kBubbles[] = R"glsl(
vec4 Draw(vec2 p) {
    float r = length(p);
    float within = Cover(r - 0.97);
    float rim = smoothstep(0.55, 0.97, r);
    rim *= rim * rim;
    float film = 1.6 * r * r + 0.25 * p.y + 0.35 * sin(2.0 * p.x + 3.0 * p.y + 6.2832 * Seed.x) + Seed.y;
    vec3 colors = vec3(0.5) + 0.5 * cos(6.2832 * (vec3(film) + vec3(0.0, 0.33, 0.67)));
    vec2 window = p - vec2(-0.42, 0.46);
    window = vec2(window.x + window.y, window.y - window.x) * vec2(0.7071, 1.25);
    float shine = exp(-34.0 * dot(window, window));
    vec2 low = p - vec2(0.40, -0.50);
    low = vec2(low.x + low.y, low.y - low.x) * vec2(0.7071, 1.5);
    shine += 0.45 * exp(-50.0 * dot(low, low));
    float band = exp(-90.0 * (r - 0.86) * (r - 0.86)) * max(dot(p / max(r, 1.0e-3), kLight), 0.0);
    float alpha = 0.05 + 0.16 * smoothstep(0.2, 0.9, r) + 0.55 * rim + 0.35 * band;
    vec3 bubble = mix(mix(vec3(1.0), colors, 0.75 * smoothstep(0.15, 0.8, r)), vec3(1.0), 0.35 * rim + 0.4 * band);
    alpha = alpha + (1.0 - alpha) * min(shine, 1.0);
    return vec4(mix(bubble, vec3(1.0), min(shine, 1.0)), alpha * within);
}
)glsl";

constexpr char kConfetti[] = R"glsl(
vec4 Draw(vec2 p) {
    vec2 side = vec2(0.30 + 0.28 * Seed.y, 0.86);
    float d = Seed.z < 0.3 ? length(p) - 0.62 : max(abs(p.x) - side.x, abs(p.y) - side.y);
    float within = Cover(d);
    float hue = floor(Seed.x * 9.0) / 9.0;
    vec3 paper = clamp(abs(fract(vec3(hue) + vec3(1.0, 0.6667, 0.3333)) * 6.0 - vec3(3.0)) - vec3(1.0), 0.0, 1.0);
    paper = mix(vec3(0.96), paper, 0.82) * vec3(0.98, 0.92, 0.98);
    paper = Look.x > 0.0 ? paper : mix(paper, vec3(0.9), 0.35) * 0.85;
    return vec4(paper * (0.90 + 0.32 * Look.y) + vec3(0.8 * Look.z), within);
}
)glsl";

constexpr std::array kShapes{
    FlyingShape{"snow", kFlakes, 6, 0, 0.001F, 0.0F, 1.2F, 20, false},
    FlyingShape{"leaves", kLeaves, 4, 14, 0.0F, 0.5F, 2.5F, 22, false},
    FlyingShape{"petals", kPetals, 6, 20, 0.0F, 0.4F, 2.2F, 24, false},
    FlyingShape{"hearts", kHearts, 0, 14, 0.9F, 0.3F, 1.0F, 18, true},
    FlyingShape{"stars", kStars, 8, 12, 0.8F, 0.0F, 0.6F, 14, false},
    FlyingShape{"bubbles", kBubbles, 0, 0, 0.001F, 0.0F, 1.2F, 16, true},
    FlyingShape{"confetti", kConfetti, 20, 80, 0.0F, 0.3F, 1.2F, 40, false},
};
constexpr FlyingShape kCrystalShape{"crystals", kCrystals, 6, 8, 0.7F, 0.0F, 1.2F, 20, false};

}  // namespace

// Coordinates of a shape run from -1 to 1, y up; distances are negative within it.
char const* const kFlyingBegin = R"glsl(#version 120
uniform vec4 color;
varying vec2 Local;    // the place in the shape's plane
varying vec4 Look;     // the side that is seen (1: front, -1: back), light on it (-1 to 1), its glint, opacity
varying vec2 Scale;    // a pixel in the shape's units, blur in pixels
varying vec4 Seed;     // random numbers
varying vec2 Turn;     // cosine and sine of the turn in its plane
varying vec3 Smear;    // in the shape's plane, from the middle of the way while the shutter is open to its end; pixels

// How far a step is done at distance `d` of a pixel's or a blurred edge's middle.
float Step(float d, float pixel) {
    return smoothstep(-0.5, 0.5, d / (pixel * (1.4 + 2.0 * Scale.y)));
}
// How much a shape covers where its distance is `d`, whatever it is scaled by.
float Cover(float d) {
    return 1.0 - Step(d, max(length(vec2(dFdx(d), dFdy(d))), 1.0e-4));
}
// How much a line of half width `h` covers at distance `d`.
float Line(float d, float h) {
    return Step(d + h, Scale.x) - Step(d - h, Scale.x);
}
// Where `d` grows to on the screen: which way a slope looks.
vec2 FindSlope(float d) {
    vec2 slope = vec2(dFdx(d), dFdy(d));
    return slope / max(length(slope), 1.0e-6);
}
float FromSegment(vec2 p, vec2 to) {
    return length(p - to * clamp(dot(p, to) / dot(to, to), 0.0, 1.0));
}
const vec2 kLight = vec2(-0.6, 0.8);  // on the screen
)glsl";

// What moves is the mean of where it has been while the shutter was open.
char const* const kFlyingEnd = R"glsl(
vec4 Moment(float t) {
    vec4 drawn = Draw(Local + Smear.xy * t);
    float alpha = clamp(drawn.a, 0.0, 1.0);
    return vec4(clamp(drawn.rgb, 0.0, 1.0) * alpha, alpha);
}
void main() {
    vec4 sum = Moment(0.0);
    if (Smear.z > 0.75) {
        sum = (sum + Moment(-0.857) + Moment(-0.571) + Moment(-0.286) + Moment(0.286) + Moment(0.571) +
               Moment(0.857)) / 7.0;
    }
    gl_FragColor = vec4(sum.rgb * color.rgb, sum.a) * (Look.w * color.a);
}
)glsl";

char const* const kFlyingVertex = R"glsl(#version 120
attribute vec2 start;   // see FlyingVertex
attribute float pace;
attribute vec3 random;
attribute vec2 quad_corner;
uniform vec2 extent;    // of the picture, its height is 1
uniform vec2 heading;   // where the objects drift to
uniform float margin;   // how far beyond the picture they go
uniform float radius;   // of the nearest
uniform float height;   // of the picture, pixels
uniform float laps;     // done by an object of one lap
uniform float minute;   // 0 to 1
uniform vec4 turning;   // spin and tumble, a minute; tilt; rocking
uniform vec3 swaying;   // radii, a minute; 1: upright
uniform float speed;    // of the nearest, heights a second
uniform vec3 air;       // depth of field, gusts, half the time that the shutter is open
varying vec2 Local;
varying vec4 Look;
varying vec2 Scale;
varying vec4 Seed;
varying vec2 Turn;
varying vec3 Smear;
const float kTurn = 6.2831853;

vec2 Rotate(vec2 p, float angle) {
    float c = cos(angle);
    float s = sin(angle);
    return vec2(c * p.x - s * p.y, s * p.x + c * p.y);
}
// A whole number from -most to most, but not 0.
float PickRate(float most, float random) {
    float rate = floor((2.0 * random - 1.0) * most + 0.5);
    return most < 0.5 ? 0.0 : (rate == 0.0 ? 1.0 : rate);
}

void main() {
    vec3 more = fract(random * 7.3125 + random.yzx * 3.71875);
    float nearness = pace / 64.0;
    // Most are small.
    float own = radius * nearness * (0.5 + 0.5 * more.x * more.x);

    float swayRate = floor(swaying.y * (0.5 + 0.5 * more.y) + 0.5);
    float swayPhase = kTurn * (swayRate * minute + random.y);
    vec2 across = vec2(-heading.y, heading.x);
    float way = dot(abs(heading), extent) + 2.0 * margin;
    float side = dot(abs(across), extent) + 2.0 * margin;
    // Gusts of three lengths; they carry what is near further, and reach one place after the other.
    vec3 gusts = kTurn * (vec3(7.0, 11.0, 17.0) * minute + vec3(0.0, 0.3, 0.7) + 0.15 * start.x);
    const vec3 kShares = vec3(0.08, 0.045, 0.025);
    float gust = air.y * nearness * dot(kShares, sin(gusts));
    float gale = air.y * nearness * dot(kShares * vec3(7.0, 11.0, 17.0), cos(gusts)) * kTurn / 60.0;
    vec2 centre = heading * (fract(start.y + pace * laps) - 0.5) * way +
                  across * ((fract(start.x + gust / side) - 0.5) * side + own * swaying.x * sin(swayPhase));
    vec2 smear = (heading * speed * nearness + across * gale) * air.z;

    float spin = kTurn * (turning.x < 0.5 ? 0.0 : random.x) + kTurn * PickRate(turning.x, more.z) * minute +
                 turning.w * cos(swayPhase);
    float tumblePhase = kTurn * (random.z + PickRate(turning.y, more.y) * minute);
    float tumble = turning.z > 0.0 ? turning.z * sin(tumblePhase) : tumblePhase;
    float axis = swaying.z > 0.5 ? 0.25 * kTurn : kTurn * more.x;
    float face = cos(tumble) < 0.0 ? -1.0 : 1.0;
    float narrowed = face * max(abs(cos(tumble)), 0.08);

    float pixel = 1.0 / (own * height);
    // Out of focus by the distance from the plane of focus, which lies among the distant ones.
    float unfocused = nearness > 0.55 ? 3.2 * (nearness - 0.55) : 0.3 * (0.55 - nearness);
    float blur = air.x * unfocused * radius * height * 0.5;
    vec2 corner = quad_corner * (1.0 + (blur + 1.5) * pixel + length(smear) / own);
    vec2 turned = Rotate(corner, -axis);
    Local = Rotate(turned / vec2(1.0, narrowed), axis - spin);
    Smear = vec3(Rotate(Rotate(smear / own, -axis) / vec2(1.0, narrowed), axis - spin), length(smear) * height);

    vec3 normal = face * vec3(Rotate(vec2(0.0, sin(tumble)), axis), cos(tumble));
    const vec3 kLight = vec3(-0.40, 0.62, 0.675);
    const vec3 kHalf = vec3(-0.219, 0.339, 0.915);
    // Seen from the edge there is nothing of them: there the sides change.
    // Blur spreads the same light over more of the picture.
    float wider = 1.0 + blur * pixel;
    float opacity = smoothstep(0.0, 0.1, abs(cos(tumble))) / (wider * wider);
    float glint = turning.y > 0.5 ? pow(max(dot(normal, kHalf), 0.0), 40.0) : 0.0;
    Look = vec4(face, dot(normal, kLight) - kLight.z, glint, opacity);
    Turn = vec2(cos(spin), sin(spin));
    Scale = vec2(pixel, blur);
    Seed = vec4(more.z, fract(random.x * 5.1875 + more.y), fract(random.z * 11.28125), fract(random.y * 9.40625));
    gl_Position = vec4((centre + corner * own) * 2.0 / extent, 0.0, 1.0);
}
)glsl";

FlyingShape const& GetFlyingShape(Proc::SettingsEffectFlyingObjects::Kind kind, bool crystals) {
    if (crystals && kind == Proc::SettingsEffectFlyingObjects::Kind::Snow) {
        return kCrystalShape;
    }
    return kShapes.at(static_cast<std::size_t>(kind));
}

}  // namespace Kaltor::Ogl
