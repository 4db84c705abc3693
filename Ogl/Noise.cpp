#include "Ogl/Noise.h"

#include <vector>

#include "Ogl/GlState.h"

namespace Kaltor::Ogl {

std::array<std::uint32_t, 3> Hash(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    constexpr std::uint32_t kMultiplier = 1664525U;
    constexpr std::uint32_t kIncrement = 1013904223U;
    x = x * kMultiplier + kIncrement;
    y = y * kMultiplier + kIncrement;
    z = z * kMultiplier + kIncrement;
    x += y * z;
    y += z * x;
    z += x * y;
    x ^= x >> 16U;
    y ^= y >> 16U;
    z ^= z >> 16U;
    x += y * z;
    y += z * x;
    z += x * y;
    return {x, y, z};
}

double HashToUnit(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    constexpr double kScale = 1.0 / 4294967296.0;
    return Hash(x, y, z)[0] * kScale;
}

namespace {

std::array<std::uint32_t, 4> MakeTexel(std::uint32_t x, std::uint32_t y) {
    std::array<std::uint32_t, 3> const numbers = Hash(x, y, 0);
    return {numbers[0] >> 16U, numbers[1] >> 16U, numbers[2] >> 16U, Hash(x, y, 1)[0] >> 16U};
}

Texture MakeRepeated(TexelFormat texels, GLenum format, std::vector<std::uint16_t> const& numbers) {
    Texture texture({kNoiseSize, kNoiseSize, texels, false});
    texture.Bind();
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kNoiseSize, kNoiseSize, format, GL_UNSIGNED_SHORT, numbers.data());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    ThrowOnGlError("filling the noise texture");
    texture.SetFresh(false);
    return texture;
}

}  // namespace

Texture MakeNoiseTexture() {
    std::vector<std::uint16_t> numbers;
    numbers.reserve(std::size_t{4} * kNoiseSize * kNoiseSize);
    for (std::uint32_t y = 0; y < kNoiseSize; ++y) {
        for (std::uint32_t x = 0; x < kNoiseSize; ++x) {
            for (std::uint32_t const number : MakeTexel(x, y)) {
                numbers.push_back(static_cast<std::uint16_t>(number));
            }
        }
    }
    return MakeRepeated(TexelFormat::Rgba16, GL_RGBA, numbers);
}

std::vector<std::uint16_t> MakeGreyNoise() {
    std::vector<std::uint16_t> numbers;
    numbers.reserve(std::size_t{kNoiseSize} * kNoiseSize);
    for (std::uint32_t y = 0; y < kNoiseSize; ++y) {
        for (std::uint32_t x = 0; x < kNoiseSize; ++x) {
            std::array<std::uint32_t, 4> const texel = MakeTexel(x, y);
            numbers.push_back(static_cast<std::uint16_t>((texel[0] + texel[1] + texel[2] + texel[3] + 2U) / 4U));
        }
    }
    return numbers;
}

Texture MakeGreyNoiseTexture() {
    return MakeRepeated(TexelFormat::R16, GL_RED, MakeGreyNoise());
}

}  // namespace Kaltor::Ogl
