#version 120
// What both pictures share: value noise from the table of random numbers, and its sums.
uniform sampler2D noise;  // 512 x 512, repeated
uniform float phase;      // 0 to 1 round the loop
uniform vec2 shape;       // the picture's sides; the shorter is 1
uniform float pixel;      // one pixel in these units
varying vec2 TexCoord0;

const float kTurn = 6.2831853;

float valueNoise(vec2 p) {
    vec2 cell = floor(p);
    vec2 f = p - cell;
    f = f * f * f * (f * (f * 6.0 - 15.0) + 10.0);
    return texture2D(noise, (cell + f + 0.5) / 512.0).r;
}

vec4 randomOf(vec2 cell) { return texture2D(noise, (cell + 0.5) / 512.0); }

mat2 turned(float angle) { return mat2(cos(angle), sin(angle), -sin(angle), cos(angle)); }

// How much is left of detail of so many cells a unit: what is finer than the pixels is left out, or it would flicker.
float visible(float frequency) { return clamp(1.6 - 2.0 * frequency * pixel, 0.0, 1.0); }

// Octaves of halving size, each turned so that no lattice shows. `frequency`: cells a unit of the coarsest.
float fractal(vec2 p, float frequency) {
    float sum = 0.5;
    float weight = 0.5;
    for (int i = 0; i < 6; ++i) {
        float share = visible(frequency);
        if (share <= 0.0) {
            break;
        }
        sum += share * weight * (valueNoise(p) - 0.5);
        p = turned(0.6) * p * 2.03 + vec2(37.1, 11.7);
        weight *= 0.5;
        frequency *= 2.03;
    }
    return sum;
}

// The same with sharp crests.
float ridged(vec2 p, float frequency) {
    float sum = 0.33;
    float weight = 0.5;
    for (int i = 0; i < 6; ++i) {
        float share = visible(frequency);
        if (share <= 0.0) {
            break;
        }
        float n = 1.0 - abs(2.0 * valueNoise(p) - 1.0);
        sum += share * weight * (n * n - 0.33);
        p = turned(0.6) * p * 2.03 + vec2(17.3, 5.9);
        weight *= 0.5;
        frequency *= 2.03;
    }
    return sum;
}

// 1 where `distance` is above 0, smooth over a pixel.
float above(float distance) { return clamp(distance / pixel + 0.5, 0.0, 1.0); }

// 0 at the start and the end of the loop for the first of two drifting copies, 1 for the second: mixed by it they drift
// without end.
float loopBlend(float t) { return 0.5 - 0.5 * cos(kTurn * t); }
