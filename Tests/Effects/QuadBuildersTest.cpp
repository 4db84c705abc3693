#include <vector>

#include <gmock/gmock.h>

#include "Proc/Effects/Shared/QuadBuilders.h"

namespace Kaltor::Tests {
namespace {

using namespace Ogl;
using testing::ElementsAre;

TEST(QuadBuildersTest, IndicesGoOnFromQuadToQuad) {
    int counter = 0;
    std::vector<unsigned> indices;
    MakeQuadIdx(counter, indices);
    EXPECT_EQ(counter, 4);
    MakeQuadIdx(counter, indices);
    EXPECT_EQ(counter, 8);
    EXPECT_THAT(indices, ElementsAre(0, 1, 3, 3, 1, 2, 4, 5, 7, 7, 5, 6));
}

TEST(QuadBuildersTest, CornersGoRoundFromTheLowerLeft) {
    std::vector<float> vertices{9};
    MakeQuad(1, 2, 3, 4, 5, 6, 7, 8, vertices);
    EXPECT_THAT(vertices, ElementsAre(9, 1, 2, 3, 4, 5, 2, 7, 4, 5, 6, 7, 8, 1, 6, 3, 8));

    vertices.clear();
    MakeQuad(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, vertices);
    EXPECT_THAT(vertices, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16));

    vertices.clear();
    MakeQuad(1, 2, 3, 4, 5, 6, vertices);  // the depth goes with x
    EXPECT_THAT(vertices, ElementsAre(1, 2, 3, 4, 2, 6, 4, 5, 6, 1, 5, 3));

    vertices.clear();
    MakeQuad(4, 2, 1, 3, vertices);  // bounds as given, even when reversed
    EXPECT_THAT(vertices, ElementsAre(4, 2, 1, 2, 1, 3, 4, 3));
}

TEST(QuadBuildersTest, ReplacesAQuadInItsPlace) {
    std::vector<float> flat(24, 7);
    InsertQuad(1, 2, 3, 4, flat, 8);
    std::vector<float> expected(8, 7);
    MakeQuad(1, 2, 3, 4, expected);
    expected.resize(24, 7);
    EXPECT_EQ(flat, expected);

    std::vector<float> deep(36, 7);
    InsertQuad(1, 2, 3, 4, 5, 6, deep, 12);
    expected.assign(12, 7);
    MakeQuad(1, 2, 3, 4, 5, 6, expected);
    expected.resize(36, 7);
    EXPECT_EQ(deep, expected);
}

}  // namespace
}  // namespace Kaltor::Tests
