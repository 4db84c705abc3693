// Prints the picture with dots of ink on paper, each colour on a screen of its own angle.

uniform float size; // = 0.012; // 0.004 to 0.1: distance of the dots in heights of the frame
uniform float strength; // = 1.0; // 0 to 1: how much of it is mixed in
uniform vec3 paper_color; // = vec3(0.98, 0.96, 0.9); // colour of the paper

float dots(vec2 uv, float angle, float ink) {
    float s = sin(radians(angle));
    float c = cos(radians(angle));
    vec2 p = mat2(c, -s, s, c) * (uv * vec2(ratio, 1.0)) / size;
    vec2 inside = fract(p) - 0.5;
    float radius = sqrt(ink) * 0.74;
    float soft = clamp(1.2 / (resolution.y * size), 0.02, 0.5);
    return 1.0 - smoothstep(radius - soft, radius + soft, length(inside));
}

vec4 effect(vec2 uv) {
    vec4 color = getColor(uv);
    vec3 ink = 1.0 - color.rgb;
    float black = min(min(ink.r, ink.g), ink.b);
    vec3 cmy = (ink - black) / max(1.0 - black, 0.001);
    vec3 print = paper_color;
    print *= mix(vec3(1.0), vec3(0.0, 0.62, 0.88), dots(uv, 15.0, cmy.r));
    print *= mix(vec3(1.0), vec3(0.9, 0.08, 0.5), dots(uv, 75.0, cmy.g));
    print *= mix(vec3(1.0), vec3(1.0, 0.9, 0.05), dots(uv, 0.0, cmy.b));
    print *= mix(vec3(1.0), vec3(0.1), dots(uv, 45.0, black * 0.9));
    return vec4(mix(color.rgb, print, strength), color.a);
}
