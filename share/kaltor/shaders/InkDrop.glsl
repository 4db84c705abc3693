// Drops of ink spread over the first picture and clear into the second one.

uniform int drops; // = 5; // 1 to 12: how many drops fall
uniform float roughness; // = 0.35; // 0 to 1: how uneven their edges are
uniform float rim; // = 0.06; // 0.005 to 0.3: width of the wet edge
uniform vec3 ink_color; // = vec3(0.07, 0.09, 0.2); // colour of the wet edge

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

float cloud(vec2 p) {
    return 0.55 * noise(p * 3.0) + 0.28 * noise(p * 7.0 + 11.0) + 0.17 * noise(p * 17.0 + 5.0);
}

vec4 transition(vec2 uv) {
    vec2 at = uv * vec2(ratio, 1.0);
    float reach = length(vec2(ratio, 1.0)) + 4.0 * rim + roughness;
    float nearest = 1.0e3;
    for (int i = 0; i < 12; ++i) {
        if (i < drops) {
            float k = float(i);
            vec2 center = vec2(hash(vec2(k, 3.0)), hash(vec2(k, 17.0)));
            float delay = k / float(drops) * 0.25;
            float grown = max(progress - delay, 0.0) / (1.0 - delay);
            float d = distance(at, center * vec2(ratio, 1.0)) + roughness * 0.6 * (cloud(at * 2.0 + k) - 0.5);
            nearest = min(nearest, d - pow(grown, 1.3) * reach + rim * 2.0 + roughness * 0.3);
        }
    }
    vec4 first = getFromColor(uv);
    vec4 second = getToColor(uv);
    float wet = 1.0 - smoothstep(0.0, rim, nearest);
    float clear = 1.0 - smoothstep(-rim * 2.0, -rim * 0.5, nearest);
    vec4 stained = vec4(ink_color * (0.5 + 0.5 * first.rgb), max(first.a, second.a));
    return mix(mix(first, stained, wet), second, clear);
}
