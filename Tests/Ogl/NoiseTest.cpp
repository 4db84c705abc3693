#include "Ogl/Noise.h"
#include "Tests/Ogl/OglTools.h"

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
            // The mean product with the same texel, the ones beside and above it, and its other channels.
            auto const correlation = [&](unsigned dx, unsigned dy, std::size_t other) {
                double sum = 0.0;
                for (unsigned i = 0; i < picture.pixels.size(); ++i) {
                    unsigned const x = i % picture.width;
                    unsigned const y = i / picture.width;
                    Rgba const& beside = picture.At((x + dx) % picture.width, (y + dy) % picture.height);
                    sum += (picture.At(x, y)[c] - 0.5) * (beside[other] - 0.5);
                }
                return sum / static_cast<double>(picture.pixels.size());
            };
            EXPECT_NEAR(correlation(0, 0, c), 1.0 / 12.0, 0.001) << c;
            EXPECT_NEAR(correlation(1, 0, c), 0.0, 0.001) << c;
            EXPECT_NEAR(correlation(0, 1, c), 0.0, 0.001) << c;
            for (std::size_t const step : {1U, 2U}) {
                EXPECT_NEAR(correlation(0, 0, (c + step) % 4), 0.0, 0.001) << c;
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
