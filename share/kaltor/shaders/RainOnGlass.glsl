// Raindrops run down a window and bend the picture behind it.

uniform float scale; // = 6.0; // 2 to 20: how many columns of drops there are in the frame's height
uniform float speed; // = 0.4; // 0 to 3: how fast they run
uniform float bend; // = 0.06; // 0 to 0.3: how strongly a drop bends the picture
uniform float mist; // = 0.35; // 0 to 1: how misty the window is between them

float hash(vec2 p) {
    p = mod(floor(p), 289.0);
    float n = mod((34.0 * p.x + 1.0) * p.x, 289.0) + p.y;
    return mod((34.0 * n + 1.0) * n, 289.0) / 289.0;
}

// The slope of a drop's surface in xy, and how much of a drop or of its trace is here.
vec3 drops(vec2 p, float t, float seed) {
    float column = floor(p.x);
    float pace = 0.5 + hash(vec2(column, seed));
    vec2 q = vec2(fract(p.x) - 0.5, p.y * 0.55 + t * pace + 7.0 * hash(vec2(column, seed + 3.0)));
    float row = floor(q.y);
    float drawn = hash(vec2(column * 3.0 + seed, row));
    if (drawn < 0.35) {
        return vec3(0.0);
    }
    vec2 center = vec2((hash(vec2(column, row + seed)) - 0.5) * 0.5, 0.35);
    vec2 d = vec2(q.x - center.x, (fract(q.y) - center.y) / 0.55);
    float radius = 0.12 + 0.16 * (drawn - 0.35);
    d.x *= 1.0 + 0.6 * max(0.0, d.y) / radius;           // narrower above
    float inside = 1.0 - smoothstep(radius * 0.75, radius, length(d));
    float trace = (1.0 - smoothstep(radius * 0.35, radius * 0.6, abs(d.x))) * step(0.0, d.y) * (1.0 - fract(q.y));
    return vec3(d / radius * inside, max(inside, 0.7 * trace));
}

vec4 effect(vec2 uv) {
    vec2 p = uv * vec2(ratio, 1.0) * scale;
    vec3 large = drops(p, time * speed, 1.0);
    vec3 small = drops(p * 2.3 + 4.7, time * speed * 0.5, 23.0);
    vec3 drop = large.z > 0.05 ? large : small;
    vec2 at = uv - drop.xy * bend * vec2(1.0 / ratio, 1.0);
    float fog = mist * (1.0 - drop.z);
    vec4 sum = vec4(0.0);
    for (int i = 0; i < 12; ++i) {
        float k = float(i) + 0.5;
        float a = k * 2.3999632;                         // the golden angle fills a disc
        vec2 offset = vec2(cos(a) / ratio, sin(a)) * sqrt(k / 12.0) * 0.018 * fog;
        sum += getColor(at + offset);
    }
    vec4 color = sum / 12.0;
    color.rgb = mix(color.rgb, vec3(0.78, 0.82, 0.86), 0.25 * fog);
    color.rgb += 0.25 * max(0.0, dot(drop.xy, normalize(vec2(-0.5, 0.8)))) * drop.z;
    return vec4(color.rgb, color.a);
}
