// Lets the lights bloom softly, as through a fogged lens.

uniform float radius; // = 0.03; // 0.002 to 0.15: how far light spreads, in heights of the frame
uniform float threshold; // = 0.45; // 0 to 1: how bright what blooms is at least
uniform float strength; // = 0.8; // 0 to 2: how strong the bloom is

vec4 effect(vec2 uv) {
    vec4 color = getColor(uv);
    vec3 bloom = vec3(0.0);
    float weights = 0.0;
    for (int i = 0; i < 40; ++i) {
        float k = float(i) + 0.5;
        float a = k * 2.3999632;                         // the golden angle fills a disc
        float r = sqrt(k / 40.0);
        vec4 one = getColor(uv + radius * r * vec2(cos(a) / ratio, sin(a)));
        float weight = exp(-2.0 * r * r);
        float luma = dot(one.rgb, vec3(0.2126, 0.7152, 0.0722));
        bloom += weight * one.a * one.rgb * smoothstep(threshold, min(threshold + 0.4, 1.0) + 0.001, luma);
        weights += weight;
    }
    vec3 light = clamp(strength * bloom / weights, 0.0, 1.0);
    return vec4(1.0 - (1.0 - color.rgb) * (1.0 - light), color.a);
}
