#include "Ogl/Noise.h"
#include "Tests/Support/FrameTools.h"

namespace Kaltor::Tests {
namespace {

TEST(Noise, TheHashIsTheSameEverywhere) {
    using Numbers = std::array<std::uint32_t, 3>;
    EXPECT_EQ(Ogl::Hash(1, 2, 3), (Numbers{0xFA9F79A6U, 0x48F2F44CU, 0x596F5AB1U}));
    EXPECT_EQ(Ogl::Hash(0xFFFFFFFFU, 0, 77), (Numbers{0xB6F47F94U, 0xFB5DA752U, 0xA6E1CDF5U}));
    EXPECT_NEAR(Ogl::HashToUnit(1, 2, 3), 0.9789958982728422, 1e-12);
}

TEST(Noise, TheTextureIsWhiteInEachChannel) {
    OnGl([](Ogl::ShaderStorage const& storage) {
        Ogl::Texture const& noise = storage.Noise();
        EXPECT_EQ(&storage.Noise(), &noise) << "made once";
        Picture const picture = ReadSampled(noise, storage);
        ASSERT_EQ(picture.width, Ogl::kNoiseSize);
        // The lower left texel; pictures count from the top.
        EXPECT_NEAR(picture.At(0, picture.height - 1)[0], Ogl::HashToUnit(0, 0, 0), kUnfiltered);
        EXPECT_NEAR(picture.At(7, picture.height - 4)[3], Ogl::HashToUnit(7, 3, 1), kUnfiltered);
        for (std::size_t c = 0; c < 4; ++c) {
            // The mean product with itself, with the texels beside and above, and with the other channels.
            for (auto const& [dx, dy, dc, expected] : {std::tuple{0U, 0U, 0U, 1.0 / 12.0},
                                                       {1U, 0U, 0U, 0.0},
                                                       {0U, 1U, 0U, 0.0},
                                                       {0U, 0U, 1U, 0.0},
                                                       {0U, 0U, 2U, 0.0}}) {
                double sum = 0.0;
                for (unsigned i = 0; i < picture.pixels.size(); ++i) {
                    unsigned const x = i % Ogl::kNoiseSize;
                    unsigned const y = i / Ogl::kNoiseSize;
                    Rgba const& other = picture.At((x + dx) % Ogl::kNoiseSize, (y + dy) % Ogl::kNoiseSize);
                    sum += (picture.At(x, y)[c] - 0.5) * (other[(c + dc) % 4] - 0.5);
                }
                EXPECT_NEAR(sum / static_cast<double>(picture.pixels.size()), expected, 0.001) << c << dx << dy << dc;
            }
        }
        noise.Bind();
        for (GLenum const direction : {GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T}) {
            GLint wrap = 0;
            glGetTexParameteriv(GL_TEXTURE_2D, direction, &wrap);
            EXPECT_EQ(wrap, GL_REPEAT);
        }
    });
}

}  // namespace
}  // namespace Kaltor::Tests
