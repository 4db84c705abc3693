// A picture decides where the second one appears first: its dark places, then its bright ones.

uniform sampler2D map; // the picture that decides
uniform float softness; // = 0.1; // 0.005 to 1: how gently each place changes
uniform bool inverted; // = false; // bright places first

vec4 transition(vec2 uv) {
    float when = dot(texture2D(map, uv).rgb, vec3(0.2126, 0.7152, 0.0722));
    when = inverted ? 1.0 - when : when;
    float t = clamp((progress * (1.0 + softness) - when) / softness, 0.0, 1.0);
    return mix(getFromColor(uv), getToColor(uv), t);
}
