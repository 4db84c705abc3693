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

Texture MakeNoiseTexture() {
    std::vector<std::uint16_t> texels;
    texels.reserve(std::size_t{4} * kNoiseSize * kNoiseSize);
    for (std::uint32_t y = 0; y < kNoiseSize; ++y) {
        for (std::uint32_t x = 0; x < kNoiseSize; ++x) {
            std::array<std::uint32_t, 3> const numbers = Hash(x, y, 0);
            for (std::uint32_t const number : {numbers[0], numbers[1], numbers[2], Hash(x, y, 1)[0]}) {
                texels.push_back(static_cast<std::uint16_t>(number >> 16U));
            }
        }
    }
    Texture texture({kNoiseSize, kNoiseSize, TexelFormat::Rgba16, false});
    texture.Bind();
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kNoiseSize, kNoiseSize, GL_RGBA, GL_UNSIGNED_SHORT, texels.data());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    ThrowOnGlError("filling the noise texture");
    texture.SetFresh(false);
    return texture;
}

}  // namespace Kaltor::Ogl
