// Upright rods of glass slide over the picture; behind each one the second picture appears.

uniform int rods; // = 9; // 2 to 40: how many rods
uniform float bend; // = 0.8; // 0 to 2: how strongly they bend the light
uniform float shine; // = 0.35; // 0 to 1: brightness of their highlights

vec4 transition(vec2 uv) {
    float count = float(rods);
    float cell = floor(uv.x * count);
    float inside = fract(uv.x * count) * 2.0 - 1.0;      // -1 to 1 across a rod
    float start = cell / count * 0.5;
    float t = clamp((progress - start) / 0.5, 0.0, 1.0);
    float here = sin(t * 3.14159265);                    // how much of a rod stands here
    float shift = inside * abs(inside) * bend * here / count;
    vec2 at = vec2(uv.x - shift, uv.y);
    float reveal = smoothstep(inside * 0.5 + 0.5 - 0.15, inside * 0.5 + 0.5 + 0.15, t * 1.3 - 0.15);
    vec4 color = mix(getFromColor(at), getToColor(at), t <= 0.0 ? 0.0 : t >= 1.0 ? 1.0 : reveal);
    float light = pow(max(0.0, 1.0 - abs(inside + 0.35) * 2.2), 3.0) - 0.5 * pow(abs(inside), 6.0);
    color.rgb += shine * here * light;
    return color;
}
