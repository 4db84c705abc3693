// Splits the light towards the edges into a rainbow, as a cheap lens does.

uniform float amount; // = 0.05; // 0 to 0.3: how far the colours part at the edges
uniform vec2 center; // = vec2(0.5); // 0 to 1: the point that stays sharp, from the lower left
uniform float curve; // = 1.6; // 0.5 to 4: above 1 the middle stays clean for longer

vec4 effect(vec2 uv) {
    vec2 away = (uv - center) * vec2(ratio, 1.0);
    float reach = amount * pow(length(away) / (0.5 * length(vec2(ratio, 1.0))), curve - 1.0);
    vec3 sum = vec3(0.0);
    vec3 weights = vec3(0.0);
    for (int i = 0; i < 16; ++i) {
        float t = (float(i) + 0.5) / 16.0;
        vec3 band = max(vec3(0.0), 1.0 - abs(t - vec3(0.83, 0.5, 0.17)) * 3.0);
        sum += band * getColor(uv - (uv - center) * reach * (t - 0.5) * 2.0).rgb;
        weights += band;
    }
    return vec4(sum / weights, getColor(uv).a);
}
