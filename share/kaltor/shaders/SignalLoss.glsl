// The signal is lost: lines tear, colours part, and the second picture comes in.

uniform float tear; // = 0.12; // 0 to 0.5: how far lines are torn aside, in widths of the frame
uniform float parting; // = 0.02; // 0 to 0.1: how far the colours part, in widths of the frame
uniform int bands; // = 24; // 4 to 120: how many bands there are

float hash(vec2 p) {
    p = mod(floor(p), 289.0);
    float n = mod((34.0 * p.x + 1.0) * p.x, 289.0) + p.y;
    return mod((34.0 * n + 1.0) * n, 289.0) / 289.0;
}

vec4 pick(vec2 at, float isSecond) {
    at.x = fract(at.x);
    return isSecond > 0.5 ? getToColor(at) : getFromColor(at);
}

vec4 transition(vec2 uv) {
    if (progress <= 0.0 || progress >= 1.0) {
        return progress <= 0.0 ? getFromColor(uv) : getToColor(uv);
    }
    float storm = sin(progress * 3.14159265);
    float moment = floor(progress * 24.0);
    float band = floor(uv.y * float(bands) + 3.0 * hash(vec2(moment, 5.0)));
    float wild = hash(vec2(band, moment));
    float shift = (hash(vec2(band, moment + 40.0)) - 0.5) * 2.0 * tear * storm * step(0.45, wild);
    float isSecond = step(hash(vec2(band, 9.0)) * 0.7 + 0.15, progress);
    vec2 at = uv + vec2(shift, 0.0);
    vec2 apart = vec2(parting * storm * (0.4 + wild), 0.0);
    vec4 color = pick(at, isSecond);
    color.r = pick(at + apart, isSecond).r;
    color.b = pick(at - apart, isSecond).b;
    float lines = 0.5 + 0.5 * sin(uv.y * 1200.0);
    color.rgb *= 1.0 - 0.12 * storm * lines;
    color.rgb += 0.18 * storm * (hash(floor(uv * vec2(320.0 * ratio, 320.0)) + moment) - 0.5);
    return color;
}
