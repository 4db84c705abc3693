// Prints shadows in one colour and lights in another.

uniform vec3 shadow_color; // = vec3(0.13, 0.05, 0.35); // colour of what is dark
uniform vec3 light_color; // = vec3(1.0, 0.83, 0.45); // colour of what is bright
uniform float contrast; // = 1.25; // 0.2 to 4: above 1 the middle tones part
uniform float strength; // = 1.0; // 0 to 1: how much of it is mixed in

vec4 effect(vec2 uv) {
    vec4 color = getColor(uv);
    float luma = dot(color.rgb, vec3(0.2126, 0.7152, 0.0722));
    float tone = clamp((luma - 0.45) * contrast + 0.45, 0.0, 1.0);
    return vec4(mix(color.rgb, mix(shadow_color, light_color, tone), strength), color.a);
}
