// A mountain lake at sunset: sky, drifting clouds, ridges in haze, pines on the shore, and all of it in the water.

const float kShore = 0.36;

vec3 skyAt(vec2 p, vec2 sun) {
    float h = clamp((p.y - kShore) / (1.0 - kShore), 0.0, 1.0);
    vec3 c = mix(vec3(1.00, 0.70, 0.36), vec3(0.96, 0.48, 0.37), smoothstep(0.0, 0.28, h));
    c = mix(c, vec3(0.56, 0.36, 0.55), smoothstep(0.20, 0.62, h));
    c = mix(c, vec3(0.13, 0.20, 0.43), smoothstep(0.50, 1.0, h));
    float d = length(p - sun);
    c += vec3(1.0, 0.62, 0.25) * 0.55 * exp(-d * 5.0);
    c += vec3(1.0, 0.85, 0.55) * 0.9 * exp(-d * d * 260.0);
    c = mix(c, vec3(1.0, 0.97, 0.86), 1.0 - smoothstep(0.040, 0.044, d));
    return c;
}

// Density of the clouds, thin near the horizon where they are seen along their layer.
float cloudsAt(vec2 p, float drift) {
    float h = p.y - kShore;
    if (h < 0.03) {
        return 0.0;
    }
    vec2 q = vec2(p.x * 1.3 + drift, h * 4.2);
    float n = fractal(q * vec2(1.0, 1.3) + 0.55 * vec2(fractal(q * 1.7 + 9.0, 7.0), fractal(q * 1.7 + 31.0, 7.0)), 5.0);
    return smoothstep(0.46, 0.78, n) * smoothstep(0.03, 0.20, h);
}

float cloudsLooped(vec2 p) {
    float drift = 0.30;
    float second = fract(phase + 0.5);
    return mix(cloudsAt(p, drift * phase), cloudsAt(p + vec2(7.3, 0.0), drift * second), loopBlend(phase + 0.5));
}

// One pine in each cell along the shore; 1 inside.
float pinesAt(vec2 p, float base, float cells, float seed, float highest) {
    float result = 0.0;
    if (p.y > base + highest) {
        return 0.0;
    }
    for (int i = -1; i <= 1; ++i) {
        float cell = floor(p.x * cells) + float(i);
        vec4 r = randomOf(vec2(mod(cell, 512.0), seed));
        float x = (cell + 0.5 + 0.7 * (r.r - 0.5)) / cells;
        float height = highest * (0.45 + 0.55 * r.g);
        float t = (p.y - base) / height;
        // Branches in tiers, longer below, hanging a little.
        float tier = fract(t * (7.0 + 4.0 * r.b) + 2.0 * abs(p.x - x) / height);
        float halfWidth = 0.20 * height * (1.0 - t) * (0.45 + 0.55 * (1.0 - tier)) + 0.006 * height;
        float inside = above(halfWidth - abs(p.x - x)) * step(t, 1.0);
        result = max(result, inside);
    }
    return result;
}

vec3 landAt(vec2 p, vec2 sun, float pan) {
    vec3 c = skyAt(p, sun);
    float cloud = cloudsLooped(p);
    float lit = exp(-1.9 * length((p - sun) * vec2(0.8, 1.4)));
    vec3 cloudColor = mix(vec3(0.42, 0.31, 0.48), vec3(1.0, 0.66, 0.42), lit);
    cloudColor += vec3(1.0, 0.55, 0.25) * 0.35 * lit * (1.0 - cloud);
    c = mix(c, cloudColor, 0.88 * cloud);

    // Five ridges, each nearer, darker and less hazy, and faster as the camera moves.
    for (int i = 0; i < 5; ++i) {
        float n = float(i) / 4.0;
        float x = p.x + pan * (0.15 + 0.85 * n);
        if (p.y > kShore + mix(0.44, 0.10, n)) {
            continue;
        }
        float height = kShore + mix(0.30, 0.05, n) * (0.30 + 1.05 * ridged(vec2(x * mix(1.1, 2.6, n) + 13.7 * float(i), 4.0 * float(i) + 0.5), mix(1.1, 2.6, n)) - 0.25 * n);
        height += 0.012 * (1.0 - n) * (fractal(vec2(x * 22.0, float(i)), 22.0) - 0.5);
        float inside = above(height - p.y);
        if (inside <= 0.0) {
            continue;
        }
        float haze = (1.0 - smoothstep(-0.02, 0.10, p.y - kShore)) * (1.0 - 0.55 * n);
        vec3 rock = mix(vec3(0.50, 0.36, 0.50), vec3(0.075, 0.085, 0.135), pow(n, 0.7));
        float slope = fractal(vec2(x * 9.0, p.y * 14.0) + 5.0 * float(i), 14.0);
        float facing = smoothstep(0.35, 0.75, slope) * (1.0 - n);
        rock += facing * vec3(0.30, 0.14, 0.08) * exp(-1.6 * abs(p.x - sun.x));
        rock *= 0.86 + 0.28 * slope;
        vec3 air = mix(vec3(0.86, 0.50, 0.42), vec3(0.98, 0.66, 0.40), exp(-2.5 * abs(p.x - sun.x)));
        c = mix(c, mix(rock, air, 0.80 * haze), inside);
    }

    // Pines on the far shore, and taller ones nearer on both sides.
    float x = p.x + pan;
    float bank = kShore + 0.012 * fractal(vec2(x * 5.0, 2.0), 5.0);
    c = mix(c, vec3(0.045, 0.050, 0.075), max(max(pinesAt(vec2(x, p.y), bank, 61.0, 7.0, 0.040), pinesAt(vec2(x, p.y), bank, 38.0, 9.0, 0.052)), above(bank - p.y)));
    return c;
}

vec3 pictureAt(vec2 p) {
    float pan = 0.05 * sin(kTurn * phase);
    vec2 sun = vec2(0.64 * shape.x, kShore + 0.175 * min(shape.y, 1.3));
    float depth = kShore - p.y;
    vec3 c;
    if (depth < 0.0) {
        c = landAt(p, sun, pan);
    } else {
        // Waves, finer and flatter towards the far shore; each runs a whole number of times round the loop.
        float nearness = depth / kShore;
        float scale = 1.0 / (0.035 + depth);
        vec2 q = vec2(p.x * scale * 0.9, scale * 2.2);
        float wave = sin(q.y * 9.0 + 3.0 * valueNoise(q * vec2(1.2, 2.0)) + kTurn * 2.0 * phase);
        wave += 0.6 * sin(q.y * 17.0 + q.x * 3.0 + 5.0 * valueNoise(q * 2.3 + 40.0) - kTurn * 3.0 * phase);
        float chop = valueNoise(q * vec2(2.5, 9.0) + vec2(0.0, 40.0)) - 0.5;
        vec2 mirrored = vec2(p.x + 0.012 * wave * nearness + 0.01 * chop * nearness, kShore + depth * 1.02 + (0.030 * wave + 0.04 * chop) * nearness);
        c = landAt(mirrored, sun, pan);
        float fresnel = 0.62 + 0.30 * (1.0 - nearness);
        c = mix(vec3(0.035, 0.075, 0.14), c, fresnel);
        float path = exp(-pow((p.x - sun.x) / (0.035 + 0.16 * nearness), 2.0));
        float glint = smoothstep(0.55, 1.25, wave + 1.5 * chop);
        c += vec3(1.0, 0.66, 0.34) * path * (0.16 + 0.75 * glint) * (0.25 + 0.75 * (1.0 - nearness));
        c *= 1.0 - 0.25 * smoothstep(0.5, 1.0, nearness);
        c = mix(c, vec3(0.96, 0.66, 0.45), 0.30 * exp(-depth * 45.0));
    }

    // A near bank with tall pines, dark against the light.
    float x = p.x + 1.5 * pan;
    float left = smoothstep(0.46 * shape.x, -0.1, x);
    float right = smoothstep(0.80 * shape.x, 1.05 * shape.x, x);
    float bank = -0.10 + 0.20 * left + 0.14 * right + 0.020 * fractal(vec2(x * 9.0, 3.0), 9.0);
    float grass = 0.018 * valueNoise(vec2(x * 260.0, 5.0)) * valueNoise(vec2(x * 40.0, 8.0));
    float side = max(smoothstep(0.10, 0.60, left), smoothstep(0.30, 0.90, right));
    float pines = pinesAt(vec2(x, p.y), bank - 0.01, 9.0, 21.0, 0.52 * side + 0.001);
    pines = max(pines, pinesAt(vec2(x + 0.31, p.y), bank - 0.01, 13.0, 33.0, 0.30 * side + 0.001));
    float dark = max(pines * step(0.02, side), above(bank + grass - p.y));
    c = mix(c, vec3(0.022, 0.024, 0.034), dark);
    return c;
}

void main() {
    vec2 p = TexCoord0 * shape;
    vec3 c = pictureAt(p);
    vec2 v = TexCoord0 - 0.5;
    c *= 1.0 - 0.35 * dot(v, v);
    c = c / (1.0 + 0.12 * c) * 1.09;
    c += (randomOf(floor(gl_FragCoord.xy)).a - 0.5) * 0.012;
    gl_FragColor = vec4(clamp(c, 0.0, 1.0), 1.0);
}
