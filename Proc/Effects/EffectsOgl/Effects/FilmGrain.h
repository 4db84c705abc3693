#pragma once

#include <cstdint>

#include "Ogl/Noise.h"
#include "Proc/Effects/Shared/Pass.h"

namespace Kaltor::Ogl {

/// The number of the film frame at `time` seconds, for a film of `rate` frames per second. Timestamps that were
/// truncated to microseconds still give the intended frame.
std::uint32_t GetFilmFrame(double time, double rate);

/// GLSL: `vec4 FilmGrain(vec2 uv)` gives four independent numbers with mean 0 and variance 1 (less where grains are
/// smaller than pixels), nearly normally distributed. Needs `kNoiseSizeGlsl` before it, and `SetFilmGrain`.
extern char const* const kFilmGrain;
/// Before `kFilmGrain`: it gives only the first of these numbers, as a `float`, and takes much less time.
extern char const* const kGreyFilmGrain;

/// Where grains lie: two lattices.
struct GrainLayout {
    glm::dmat2 first, second;  ///< from texture coordinates to points of the lattices
    glm::dvec4 begin;          ///< of both
    double gain;               ///< of the sum
};

/// Grains of `size` (a fraction of the picture's larger side), a new layout for every `frame`. They never get smaller
/// than a pixel. Instead they get fainter, like the mean over a pixel, down to half their strength.
GrainLayout MakeGrainLayout(std::uint32_t width, std::uint32_t height, double size, std::uint32_t frame);

/// Sets what `kFilmGrain` needs, with the noise texture at `unit`. `isGrey`: for a program with `kGreyFilmGrain`.
void SetFilmGrain(Pass& pass, ShaderStorage const& storage, int unit, Frame const& picture, double size,
                  std::uint32_t frame, bool isGrey);

}  // namespace Kaltor::Ogl
