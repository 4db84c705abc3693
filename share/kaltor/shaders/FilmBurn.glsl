// The film catches fire: holes with glowing edges eat the first picture away.

uniform float scale; // = 4.0; // 1 to 16: how many holes, more are smaller
uniform float glow; // = 0.09; // 0.01 to 0.3: width of the glowing edge
uniform vec2 center; // = vec2(0.55, 0.45); // 0 to 1: where the fire begins, from the lower left

float hash(vec2 p) {
    p = mod(floor(p), 289.0);
    float n = mod((34.0 * p.x + 1.0) * p.x, 289.0) + p.y;
    return mod((34.0 * n + 1.0) * n, 289.0) / 289.0;
}

float noise(vec2 p) {
    vec2 cell = floor(p);
    vec2 t = fract(p);
    t = t * t * (3.0 - 2.0 * t);
    return mix(mix(hash(cell), hash(cell + vec2(1.0, 0.0)), t.x),
               mix(hash(cell + vec2(0.0, 1.0)), hash(cell + vec2(1.0, 1.0)), t.x), t.y);
}

vec4 transition(vec2 uv) {
    vec2 p = uv * vec2(ratio, 1.0);
    float cloud = 0.5 * noise(p * scale) + 0.3 * noise(p * scale * 2.3 + 7.0) + 0.2 * noise(p * scale * 5.1 + 3.0);
    float away = distance(p, center * vec2(ratio, 1.0)) / length(vec2(ratio, 1.0));
    float fuel = 0.6 * cloud + 0.55 * away;              // what burns last is high
    float heat = mix(-glow * 1.5, 1.25, pow(progress, 1.6)) - fuel;
    vec4 first = getFromColor(uv);
    vec4 second = getToColor(uv);
    float charred = smoothstep(-glow * 1.5, 0.0, heat);
    vec3 ember = mix(vec3(0.9, 0.22, 0.02), vec3(1.0, 0.85, 0.4), smoothstep(-glow * 0.5, 0.0, heat));
    float burning = smoothstep(-glow, -glow * 0.25, heat) * (1.0 - smoothstep(0.0, glow * 0.2, heat));
    vec3 color = mix(first.rgb, first.rgb * vec3(0.12, 0.07, 0.05), charred);
    color = mix(color, ember, burning);
    vec4 burnt = vec4(color, first.a);
    return mix(burnt, second, smoothstep(0.0, glow * 0.15, heat));
}
