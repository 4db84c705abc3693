// Warm light leaks in from the side, burns the picture out and fades into the second one.

uniform vec3 warm_color; // = vec3(1.0, 0.45, 0.12); // colour of the outer light
uniform float strength; // = 1.4; // 0.2 to 3: how bright the light is
uniform float angle; // = 20.0; // -90 to 90: slant of the light in degrees

float band(float x, float center, float width) {
    float d = (x - center) / width;
    return exp(-d * d);
}

vec4 transition(vec2 uv) {
    float a = radians(angle);
    vec2 p = (uv - 0.5) * vec2(ratio, 1.0);
    float x = (p.x * cos(a) + p.y * sin(a)) / ratio + 0.5;
    float wobble = 0.06 * sin(p.y * 5.0 + progress * 6.0) + 0.03 * sin(p.y * 13.0 - progress * 9.0);
    float front = mix(-0.5, 1.5, progress);
    float envelope = sin(progress * 3.14159265);
    float wide = band(x + wobble, front, 0.42) * envelope;
    float core = band(x + 0.5 * wobble, front, 0.16) * envelope;
    float turned = 1.0 - smoothstep(-0.12, 0.12, x + wobble * 0.5 - front);
    turned = progress <= 0.0 ? 0.0 : progress >= 1.0 ? 1.0 : turned;
    vec4 color = mix(getFromColor(uv), getToColor(uv), turned);
    vec3 light = strength * (warm_color * wide + vec3(1.0, 0.9, 0.7) * core);
    color.rgb = 1.0 - (1.0 - color.rgb) * exp(-light);
    return color;
}
