// Lets the lights bloom softly, as through a fogged lens.

// What is bright is drawn by itself, at half the size, and a blurred copy of that is laid over the picture.
// pass: lights scale=0.5
// blurred: bloom of=lights radius=radius

uniform float radius; // = 0.04; // 0.002 to 0.3: how far light spreads, in heights of the frame
uniform float threshold; // = 0.45; // 0 to 1: how bright what blooms is at least
uniform float strength; // = 0.8; // 0 to 2: how strong the bloom is

vec4 lights(vec2 uv) {
    vec4 color = getColor(uv);
    float luma = dot(color.rgb, vec3(0.2126, 0.7152, 0.0722));
    float share = smoothstep(threshold, min(threshold + 0.4, 1.0) + 0.001, luma);
    return vec4(share * color.a * color.rgb, 1.0);
}

vec4 effect(vec2 uv) {
    vec4 color = getColor(uv);
    vec3 light = clamp(strength * getBloom(uv).rgb, 0.0, 1.0);
    return vec4(1.0 - (1.0 - color.rgb) * (1.0 - light), color.a);
}
