// The first picture is torn in two like paper, and the halves fall away from the second one.

uniform float jag; // = 0.05; // 0 to 0.2: how ragged the tear is
uniform float edge; // = 0.012; // 0 to 0.05: width of the white torn edge
uniform float turn; // = 0.25; // 0 to 1: how far the halves turn as they fall, in radians

float ragged(float y) {
    float wave = sin(y * 9.0 + 1.0) * 0.5 + sin(y * 23.0) * 0.28 + sin(y * 57.0 + 2.0) * 0.14 + sin(y * 141.0) * 0.08;
    return 0.5 + jag * wave;
}

// Where a half that has moved by `t` shows the point `uv`; it turns about its lower outer corner.
vec2 unmove(vec2 uv, float side, float t) {
    vec2 pivot = vec2(0.5 + 0.5 * side, 0.0);
    float angle = -side * turn * t;
    vec2 p = (uv - pivot - vec2(side * 0.65 * t, -0.12 * t)) * vec2(ratio, 1.0);
    p = mat2(cos(angle), -sin(angle), sin(angle), cos(angle)) * p;
    return p / vec2(ratio, 1.0) + pivot;
}

bool isInside(vec2 uv) {
    return uv.x >= 0.0 && uv.x <= 1.0 && uv.y >= 0.0 && uv.y <= 1.0;
}

vec4 transition(vec2 uv) {
    float tear = min(progress / 0.35, 1.0);             // from the top down
    float t = max(progress - 0.25, 0.0) / 0.75;
    t = t * t * 1.35;
    float torn = step(1.0 - tear * 1.001, uv.y) * step(0.0001, progress);
    vec2 left = unmove(uv, -1.0, t);
    vec2 right = unmove(uv, 1.0, t);
    float split = ragged(left.y);
    float white = edge * (0.6 + 0.4 * sin(left.y * 87.0));
    vec4 result = getToColor(uv);
    if (isInside(left) && left.x < split) {
        result = torn > 0.0 && left.x > split - white && progress > 0.0 ? vec4(0.96, 0.95, 0.92, 1.0) : getFromColor(left);
    } else if (isInside(right) && right.x >= ragged(right.y)) {
        result = getFromColor(right);
    } else {
        float gap = min(abs(left.x - split), abs(right.x - ragged(right.y)));
        result.rgb *= mix(1.0, 0.55, exp(-gap * 40.0) * (1.0 - progress) * min(progress * 20.0, 1.0));
    }
    return result;
}
