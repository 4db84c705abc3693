// Draws outlines that glow in colours of their own over a darkened picture.

uniform float width; // = 0.0022; // 0.0005 to 0.01: width of the lines in heights of the frame
uniform float gain; // = 3.0; // 0.5 to 10: how faint an edge may be
uniform float dim; // = 0.25; // 0 to 1: how much of the picture stays between them
uniform float cycle; // = 0.1; // 0 to 2: how often the colours go round in a second

float luma(vec2 uv) {
    return dot(getColor(uv).rgb, vec3(0.2126, 0.7152, 0.0722));
}

float edge(vec2 uv, float reach) {
    vec2 d = vec2(reach / ratio, reach);
    float l = luma(uv - vec2(d.x, 0.0));
    float r = luma(uv + vec2(d.x, 0.0));
    float b = luma(uv - vec2(0.0, d.y));
    float t = luma(uv + vec2(0.0, d.y));
    return length(vec2(r - l, t - b));
}

vec4 effect(vec2 uv) {
    vec4 color = getColor(uv);
    float line = clamp(edge(uv, width) * gain, 0.0, 1.0);
    float halo = 0.0;
    for (int i = 0; i < 8; ++i) {
        float a = 0.7853982 * float(i);
        halo += edge(uv + width * 4.0 * vec2(cos(a) / ratio, sin(a)), width * 2.0);
    }
    halo = clamp(halo * gain * 0.09, 0.0, 1.0);
    float hue = uv.x * 0.6 + uv.y * 0.4 + time * cycle;
    vec3 neon = 0.5 + 0.5 * cos(6.2831853 * (hue + vec3(0.0, 0.33, 0.67)));
    neon = mix(neon, vec3(1.0), 0.15);
    vec3 drawn = color.rgb * dim + neon * (line + 0.6 * halo) + vec3(0.6) * line * line;
    return vec4(drawn, color.a);
}
