#include "Ogl/Noise.h"
#include "Ogl/Random.h"
#include "Tests/Support/Common.h"

namespace Kaltor::Tests {
namespace {

TEST(Noise, TheHashIsTheSameEverywhere) {
    using Numbers = std::array<std::uint32_t, 3>;
    EXPECT_EQ(Ogl::Hash(1, 2, 3), (Numbers{0xFA9F79A6U, 0x48F2F44CU, 0x596F5AB1U}));
    EXPECT_EQ(Ogl::Hash(0xFFFFFFFFU, 0, 77), (Numbers{0xB6F47F94U, 0xFB5DA752U, 0xA6E1CDF5U}));
    EXPECT_NEAR(Ogl::HashToUnit(1, 2, 3), 0.9789958982728422, 1e-12);
}

TEST(Random, HasTheNumbersOfTheCLibraryInASequenceOfItsOwn) {
    for (std::uint32_t const seed : {0U, 1U, 7U, 2147483646U, 2147483647U, 2147483648U, 4294967295U}) {
        Ogl::Random random(seed);
        std::srand(seed);
        for (int i = 0; i < 100; ++i) {
            ASSERT_EQ(random.Draw(), static_cast<std::uint32_t>(std::rand())) << "seed " << seed << ", number " << i;
        }
    }
    Ogl::Random first(3);
    first.Draw();
    Ogl::Random copy = first;
    std::uint32_t const next = first.Draw();
    first.Draw();
    EXPECT_EQ(copy.Draw(), next) << "a copy goes on by itself";
}

}  // namespace
}  // namespace Kaltor::Tests
