#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Ogl/Texture.h"

namespace Kaltor::Ogl {

/// A hash of three 32-bit numbers into three well mixed ones: `pcg3d` of M. Jarzynski, M. Olano, "Hash Functions for
/// GPU Rendering", Journal of Computer Graphics Techniques 9(3), 2020. The same on every machine.
std::array<std::uint32_t, 3> Hash(std::uint32_t x, std::uint32_t y, std::uint32_t z);

/// A hash of three numbers into a number from 0 (included) to 1 (excluded). For random values on the CPU that must not
/// depend on the order of frames.
double HashToUnit(std::uint32_t x, std::uint32_t y = 0, std::uint32_t z = 0);

/// Texels per side of the noise texture.
constexpr std::uint32_t kNoiseSize = 512;
/// The same number as a constant of GLSL, `kNoiseSize`.
constexpr char kNoiseSizeGlsl[] = "const float kNoiseSize = 512.0;\n";

/// White noise of `kNoiseSize` x `kNoiseSize` texels: four independent channels, each uniform over 0..1 in 16 bits,
/// repeated without end in both directions. Sampled nearest at texel centres it is a table of random numbers; sampled
/// linear it is smooth value noise. Made once per context by `ShaderStorage::Noise`. GL thread only.
Texture MakeNoiseTexture();
/// The mean of the four channels, in one: a quarter of the work for what needs their sum. Row by row.
std::vector<std::uint16_t> MakeGreyNoise();
/// The same as a texture. Made once per context by
/// `ShaderStorage::GreyNoise`. GL thread only.
Texture MakeGreyNoiseTexture();

}  // namespace Kaltor::Ogl
