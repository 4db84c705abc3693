// Grain is white noise on a lattice, interpolated. Between the lattice's points interpolation averages and so takes
// variance away, which would show as a grid: each value is divided by the norm of its weights, as in E. Heitz, F.
// Neyret, "High-Performance By-Example Noise using a Histogram-Preserving Blending Operator", HPG 2018. Two lattices of
// different pitch lie at an angle to each other, so that the repetition of the noise texture is not visible. The rows
// of a Hadamard matrix turn their four channels each into four independent sums of eight numbers. Grey grain is the
// first of these sums alone; it is read from a texture that has the channels' mean.

#include "Proc/Effects/EffectsOgl/Effects/FilmGrain.h"

#include <algorithm>
#include <cmath>

#include "Ogl/Noise.h"

namespace Kaltor::Ogl {

char const* const kFilmGrain = R"glsl(
uniform sampler2D grain_noise;
uniform mat2 grain_first;   // from texture coordinates to points of the lattice
uniform mat2 grain_second;
uniform vec4 grain_at;      // where the two begin
uniform float grain_gain;

#ifdef IS_GREY
#define GRAIN float
#define GRAIN_READ(color) (4.0 * color.r - 2.0)
#else
#define GRAIN vec4
#define GRAIN_READ(color) (color - vec4(0.5))
#endif
GRAIN GrainLattice(vec2 at) {
    vec2 cell = floor(at);
    vec2 f = at - cell;
    f = f * f * (vec2(3.0) - 2.0 * f);
    vec2 norm = f * f + (vec2(1.0) - f) * (vec2(1.0) - f);
    return GRAIN_READ(texture2D(grain_noise, (cell + f + vec2(0.5)) / kNoiseSize)) * inversesqrt(norm.x * norm.y);
}

GRAIN FilmGrain(vec2 uv) {
    GRAIN n = GrainLattice(grain_first * uv + grain_at.xy) + GrainLattice(grain_second * uv + grain_at.zw);
#ifdef IS_GREY
    return n * grain_gain;
#else
    vec2 sum = n.xz + n.yw;
    vec2 difference = n.xz - n.yw;
    return vec4(sum.x + sum.y, difference.x + difference.y, sum.x - sum.y, difference.x - difference.y) * grain_gain;
#endif
}
)glsl";

std::uint32_t GetFilmFrame(double time, double rate) {
    constexpr double kSlack = 1e-3;
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(std::floor(time * rate + kSlack)));
}

char const* const kGreyFilmGrain = "#define IS_GREY\n";

GrainLayout MakeGrainLayout(std::uint32_t width, std::uint32_t height, double size, std::uint32_t frame) {
    double const wanted = size * std::max(width, height);
    double const pitch = std::max(wanted, 1.0);
    auto const lattice = [&](double angle, double scale) {
        double const c = std::cos(angle) * scale / pitch;
        double const s = std::sin(angle) * scale / pitch;
        return glm::dmat2(c * width, s * width, -s * height, c * height);
    };
    auto const begin = [frame](std::uint32_t coordinate) {
        return HashToUnit(frame, coordinate, 0x6721U) * kNoiseSize;
    };
    constexpr double kNumbers = 8.0;
    constexpr double kVariance = 1.0 / 12.0;  // of one number, uniform over 0..1
    constexpr double kLeastGain = 0.5;
    return {lattice(0.46, 1.0), lattice(-0.71, 0.87), glm::dvec4(begin(0), begin(1), begin(2), begin(3)),
            std::clamp(wanted, kLeastGain, 1.0) / std::sqrt(kNumbers * kVariance)};
}

void SetFilmGrain(Pass& pass, ShaderStorage const& storage, int unit, Frame const& picture, double size,
                  std::uint32_t frame, bool isGrey) {
    GrainLayout const layout = MakeGrainLayout(picture.GetWidth(), picture.GetHeight(), size, frame);
    pass.Texture("grain_noise", unit, isGrey ? storage.GreyNoise() : storage.Noise())
        .Set("grain_first", glm::mat2(layout.first))
        .Set("grain_second", glm::mat2(layout.second))
        .Set("grain_at", glm::vec4(layout.begin))
        .Set("grain_gain", layout.gain);
}

}  // namespace Kaltor::Ogl
