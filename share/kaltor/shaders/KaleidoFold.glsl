// The first picture folds into a turning kaleidoscope, which unfolds into the second one.

uniform int mirrors; // = 6; // 2 to 16: how many mirrors
uniform float turns; // = 0.5; // -3 to 3: how often it turns
uniform float zoom; // = 1.6; // 1 to 4: how close the mirrors are in the middle

vec4 transition(vec2 uv) {
    float middle = sin(progress * 3.14159265);
    float fold = smoothstep(0.0, 1.0, middle);
    vec2 p = (uv - 0.5) * vec2(ratio, 1.0);
    float radius = length(p);
    float angle = atan(p.y, p.x) + fold * turns * 6.2831853 * progress;
    float sector = 3.14159265 / float(mirrors);
    float folded = abs(mod(angle, 2.0 * sector) - sector);
    vec2 mirrored = radius / mix(1.0, zoom, fold) * vec2(cos(folded), sin(folded));
    vec2 at = mix(p, mirrored, fold) / vec2(ratio, 1.0) + 0.5;
    at = 1.0 - abs(1.0 - mod(at, 2.0));                  // mirrored beyond the edges
    if (fold <= 0.0) {
        at = uv;
    }
    return mix(getFromColor(at), getToColor(at), smoothstep(0.4, 0.6, progress));
}
