// Hexagons of the second picture bloom outwards from a point until they meet.

uniform float size; // = 0.07; // 0.02 to 0.3: size of a hexagon in heights of the frame
uniform vec2 origin; // = vec2(0.5, 0.5); // 0 to 1: where it begins, from the lower left
uniform float softness; // = 0.35; // 0.05 to 1: how long one hexagon takes, in spans of the whole
uniform vec3 glow_color; // = vec3(1.0, 0.92, 0.7); // colour of the growing edges

// Distance from a hexagon's centre, 1 at its sides.
float hexagon(vec2 p) {
    p = abs(p);
    return max(dot(p, vec2(0.5, 0.8660254)), p.x) * 2.0;
}

vec4 transition(vec2 uv) {
    vec2 grid = vec2(1.0, 1.7320508);
    vec2 at = uv * vec2(ratio, 1.0) / size;
    vec2 a = mod(at, grid) - grid * 0.5;
    vec2 b = mod(at - grid * 0.5, grid) - grid * 0.5;
    vec2 p = dot(a, a) < dot(b, b) ? a : b;
    vec2 center = (at - p) * size;                       // in heights
    vec2 begin = origin * vec2(ratio, 1.0);
    float farthest = length(max(begin, vec2(ratio, 1.0) - begin)) + size;
    float delay = distance(center, begin) / farthest * (1.0 - softness);
    float grown = clamp((progress - delay) / softness, 0.0, 1.0);
    grown = grown * grown * (3.0 - 2.0 * grown);
    float d = hexagon(p);
    float border = 0.12 * sin(grown * 3.14159265);
    float covered = grown >= 1.0 ? 1.0 : 1.0 - smoothstep(grown - 0.03, grown + 0.0001, d);
    vec4 color = mix(getFromColor(uv), getToColor(uv), grown <= 0.0 ? 0.0 : covered);
    float edge = border > 0.0 ? 1.0 - smoothstep(0.0, border, abs(d - grown)) : 0.0;
    color.rgb = mix(color.rgb, glow_color, 0.75 * edge);
    return color;
}
