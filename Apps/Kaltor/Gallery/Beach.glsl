// A beach from above at noon: deep and shallow water, waves that run up the sand, parasols and towels.

vec2 shoreward() { return normalize(vec2(0.86, 0.50)); }

// Distance from the mean waterline, positive on land.
float landward(vec2 p) {
    float bays = fractal(p * 1.1 + 3.0, 1.1) - 0.5;
    return dot(p - shape * vec2(0.46, 0.50), shoreward()) + 0.34 * bays + 0.02 * (fractal(p * 6.0, 6.0) - 0.5);
}

vec3 sandAt(vec2 p) {
    float grain = fractal(p * 70.0, 70.0);
    float dunes = fractal(p * 5.0 + 4.0, 5.0);
    float ripples = sin(dot(p, vec2(60.0, 95.0)) + 9.0 * fractal(p * 4.0, 4.0));
    vec3 c = mix(vec3(0.86, 0.74, 0.56), vec3(0.97, 0.89, 0.74), dunes);
    c *= 0.93 + 0.14 * grain;
    c *= 1.0 + 0.018 * ripples;
    // Footprints: small pits with a bright rim towards the light.
    vec2 cell = floor(p * 46.0);
    vec4 r = randomOf(mod(cell, 512.0));
    vec2 q = (fract(p * 46.0) - 0.5 - 0.5 * (r.rg - 0.5)) * turned(kTurn * r.b);
    float pit = 1.0 - smoothstep(0.06, 0.20, length(q * vec2(1.0, 1.9)));
    float walked = smoothstep(0.45, 0.60, fractal(p * 2.3 + 17.0, 2.3)) * step(0.45, r.a);
    return c * (1.0 - 0.16 * pit * walked);
}

// The net of light that waves cast on the ground.
float causticsAt(vec2 p) {
    float t = kTurn * phase;
    vec2 q = p + 0.10 * vec2(sin(5.0 * p.y + t), cos(5.0 * p.x - t));
    float a = abs(2.0 * valueNoise(q * 13.0 + 0.35 * vec2(cos(t), sin(t))) - 1.0);
    float b = abs(2.0 * valueNoise(turned(1.0) * q * 17.0 - 0.35 * vec2(sin(t), cos(t)) + 50.0) - 1.0);
    float net = 1.0 - min(a, b);
    return net * net * net * net * net;
}

vec3 waterAt(vec2 p, float depth) {
    vec3 shallow = vec3(0.62, 0.90, 0.82);
    vec3 middle = vec3(0.10, 0.70, 0.74);
    vec3 deep = vec3(0.015, 0.27, 0.50);
    float d = depth + 0.10 * (fractal(p * 2.6 + 40.0, 2.6) - 0.5);
    vec3 c = mix(shallow, middle, smoothstep(0.0, 0.18, d));
    c = mix(c, deep, smoothstep(0.14, 0.75, d));
    float reef = smoothstep(0.52, 0.68, fractal(p * 4.5 + 70.0, 4.5)) * smoothstep(0.10, 0.20, d) * (1.0 - smoothstep(0.45, 0.75, d));
    c = mix(c, vec3(0.05, 0.36, 0.40), 0.60 * reef);
    c += vec3(0.55, 0.60, 0.50) * 0.42 * causticsAt(p) * (1.0 - smoothstep(0.05, 0.45, d));
    // Swell, seen as slightly lighter and darker bands, and the sun on it.
    float swell = sin(dot(p, shoreward()) * 42.0 + 5.0 * fractal(p * 2.2, 2.2) - kTurn * phase);
    c *= 1.0 + 0.045 * swell * smoothstep(0.05, 0.3, d);
    float t = kTurn * phase;
    float glitter = valueNoise(turned(0.4) * p * 90.0 + 1.5 * vec2(cos(t), sin(t)));
    c += 0.35 * smoothstep(0.90, 0.99, glitter) * smoothstep(0.2, 0.6, d);
    return c;
}

// White water: a lace of bubbles that tears as it ages (0 fresh, 1 gone).
float foamAt(vec2 p, float age) {
    float lace = 1.0 - abs(2.0 * fractal(p * 16.0, 16.0) - 1.0);
    float bubbles = fractal(p * 48.0 + 11.0, 48.0);
    return smoothstep(0.55 + 0.42 * age, 0.75 + 0.42 * age, 0.72 * lace + 0.42 * bubbles);
}

// A parasol or nothing in a cell of the sand: colour, and how much it covers.
vec4 parasolAt(vec2 p, vec2 centre, vec4 r) {
    float radius = 0.050 + 0.012 * r.b;
    vec2 q = (p - centre) / radius;
    float d = length(q);
    float sector = fract((atan(q.y, q.x) / kTurn + r.r) * 6.0);
    vec3 color = r.a < 0.25 ? vec3(0.90, 0.16, 0.16) : r.a < 0.5 ? vec3(0.98, 0.72, 0.10) : r.a < 0.75 ? vec3(0.10, 0.42, 0.80) : vec3(0.95, 0.38, 0.52);
    float soft = 0.03;
    float stripe = smoothstep(0.5 - soft / max(d, 0.1), 0.5 + soft / max(d, 0.1), abs(sector - 0.5) * 2.0);
    vec3 c = mix(vec3(0.98, 0.97, 0.94), color, stripe);
    // Each panel is a slope of its own under light from the upper left; ribs between them.
    float panel = floor((atan(q.y, q.x) / kTurn + r.r) * 12.0) / 12.0 - r.r + 1.0 / 24.0;
    c *= 0.90 + 0.16 * dot(vec2(cos(kTurn * panel), sin(kTurn * panel)), vec2(-0.7, 0.7));
    c *= 1.0 - 0.12 * smoothstep(0.75, 1.0, d);
    c = mix(c, vec3(1.0), 1.0 - smoothstep(0.05, 0.09, d));
    return vec4(c, 1.0 - smoothstep(0.98, 1.02, d + 0.04 * (1.0 - abs(cos(6.0 * atan(q.y, q.x) + 6.0 * kTurn * r.r * 0.5)))));
}

vec3 beachThings(vec2 p, vec3 ground, float land) {
    const float kCells = 4.2;
    vec3 c = ground;
    vec3 over = vec3(0.0);
    float cover = 0.0;
    for (int j = -1; j <= 1; ++j) {
        for (int i = -1; i <= 1; ++i) {
            vec2 cell = floor(p * kCells) + vec2(float(i), float(j));
            vec4 r = randomOf(mod(cell + vec2(83.0, 145.0), 512.0));
            vec2 centre = (cell + 0.5 + 0.5 * (r.rg - 0.5)) / kCells;
            if (landward(centre) < 0.19) {
                continue;
            }
            // A towel beside it.
            vec2 q = (p - centre - vec2(-0.062, -0.045)) * turned(1.2 * (r.g - 0.5));
            float towel = (1.0 - smoothstep(0.019, 0.021, abs(q.x))) * (1.0 - smoothstep(0.042, 0.044, abs(q.y)));
            vec3 cloth = mix(vec3(0.96, 0.95, 0.92), r.b < 0.5 ? vec3(0.12, 0.55, 0.62) : vec3(0.93, 0.45, 0.30), step(0.5, fract(q.y * 55.0)));
            float shade = 1.0 - smoothstep(0.75, 1.1, length(p - centre - vec2(0.030, -0.034)) / 0.056);
            float towelShade = (1.0 - smoothstep(0.017, 0.027, abs(q.x - 0.005))) * (1.0 - smoothstep(0.040, 0.050, abs(q.y + 0.005)));
            c *= 1.0 - 0.25 * towelShade * step(0.3, r.g);
            c = mix(c, cloth, towel * step(0.3, r.g));
            c *= 1.0 - vec3(0.50, 0.46, 0.36) * shade;
            vec4 parasol = parasolAt(p, centre, r.gbra);
            over = mix(over, parasol.rgb, parasol.a);
            cover = max(cover, parasol.a);
        }
    }
    return mix(c, over, cover);
}

vec3 pictureAt(vec2 p) {
    float land = landward(p);
    float t = kTurn * phase;
    // The waterline runs up and back once a loop, not everywhere at once.
    float place = 2.5 * fractal(p * 1.3 + 23.0, 1.3);
    float run = 0.045 * sin(t + place) + 0.02 * (fractal(p * 7.0 + 5.0, 7.0) - 0.5);
    float wet = land - 0.055 - 0.02 * (fractal(p * 7.0 + 5.0, 7.0) - 0.5);
    float line = land - run;
    vec3 sand = sandAt(p);
    sand = mix(sand * vec3(0.70, 0.66, 0.62), sand, smoothstep(-0.005, 0.035, wet));
    vec3 c = beachThings(p, sand, land);
    if (line < 0.02) {
        vec3 water = waterAt(p, max(-land, 0.0));
        c = mix(c, mix(c * vec3(0.80, 0.97, 0.95), water, smoothstep(0.0, 0.09, -line)), 1.0 - smoothstep(-0.004, 0.004, line));
    }
    // Foam at the line, and on breakers that come in behind it.
    float edge = foamAt(p, smoothstep(0.0, 0.055, -line)) * (1.0 - smoothstep(-0.002, 0.006, line)) * (1.0 - smoothstep(0.03, 0.07, -line));
    edge = max(edge, 1.0 - smoothstep(0.002, 0.008, abs(line + 0.004)));
    float behind = -land - 0.10 - 0.03 * (fractal(p * 5.0 + 60.0, 5.0) - 0.5);
    const float kApart = 0.17;
    float travel = fract(behind / kApart + phase);
    float strength = smoothstep(0.0, 0.04, behind) * (1.0 - smoothstep(0.18, 0.40, behind)) * smoothstep(0.40, 0.62, fractal(p * 2.0 + 90.0, 2.0));
    float breaker = foamAt(p + 0.1, clamp(travel * 2.2, 0.0, 1.0)) * (1.0 - smoothstep(0.28, 0.5, travel)) * smoothstep(0.0, 0.03, travel);
    c = mix(c, vec3(0.97, 0.99, 1.0), 0.92 * max(edge, strength * breaker));
    return c;
}

void main() {
    // A slow circle over the coast.
    vec2 p = TexCoord0 * shape + 0.02 * vec2(cos(kTurn * phase), sin(kTurn * phase));
    vec3 c = pictureAt(p);
    vec2 v = TexCoord0 - 0.5;
    c *= 1.0 - 0.25 * dot(v, v);
    c += (randomOf(floor(gl_FragCoord.xy)).a - 0.5) * 0.010;
    gl_FragColor = vec4(clamp(c, 0.0, 1.0), 1.0);
}
