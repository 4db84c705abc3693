#include "Proc/Effects/Shared/QuadBuilders.h"

#include <algorithm>
#include <array>

namespace Kaltor::Ogl {
namespace {

constexpr std::size_t kQuadVertexFloats = 16;

}  // namespace

PackedQuad ReserveQuads(std::size_t count) {
    PackedQuad packed;
    packed.indices.reserve(kQuadIndices * count);
    packed.vertices.reserve(kQuadVertexFloats * count);
    return packed;
}

PackedLitMesh ReserveLitQuads(std::size_t count) {
    PackedLitMesh packed;
    packed.indices.reserve(kQuadIndices * count);
    packed.positions.reserve(kSpaceQuadFloats * count);
    packed.texCoords.reserve(kPlaneQuadFloats * count);
    packed.normals.reserve(kSpaceQuadFloats * count);
    return packed;
}

void MakeQuadIdx(int& counter, std::vector<unsigned>& indices) {
    auto const first = static_cast<unsigned>(counter);
    indices.insert(indices.end(), {first, first + 1, first + 3, first + 3, first + 1, first + 2});
    counter += 4;
}

void MakeQuad(float s0, float t0, float x0, float y0, float s1, float t1, float x1, float y1,
              std::vector<float>& vertices) {
    vertices.insert(vertices.end(), {s0, t0, x0, y0, s1, t0, x1, y0, s1, t1, x1, y1, s0, t1, x0, y1});
}

void MakeQuad(float s0, float t0, float x0, float y0, float s1, float t1, float x1, float y1, float s2, float t2,
              float x2, float y2, float s3, float t3, float x3, float y3, std::vector<float>& vertices) {
    vertices.insert(vertices.end(), {s0, t0, x0, y0, s1, t1, x1, y1, s2, t2, x2, y2, s3, t3, x3, y3});
}

void MakeQuad(float x0, float y0, float z0, float x1, float y1, float z1, std::vector<float>& vertices) {
    vertices.insert(vertices.end(), {x0, y0, z0, x1, y0, z1, x1, y1, z1, x0, y1, z0});
}

void MakeQuad(float x0, float y0, float x1, float y1, std::vector<float>& vertices) {
    vertices.insert(vertices.end(), {x0, y0, x1, y0, x1, y1, x0, y1});
}

void InsertQuad(float x0, float y0, float z0, float x1, float y1, float z1, std::vector<float>& vertices,
                int position) {
    std::array<float, 12> const quad{x0, y0, z0, x1, y0, z1, x1, y1, z1, x0, y1, z0};
    std::copy(quad.begin(), quad.end(), vertices.begin() + position);
}

void InsertQuad(float x0, float y0, float x1, float y1, std::vector<float>& vertices, int position) {
    std::array<float, 8> const quad{x0, y0, x1, y0, x1, y1, x0, y1};
    std::copy(quad.begin(), quad.end(), vertices.begin() + position);
}

PackedQuad MakeLattice(std::vector<Stretch> const& columns, std::vector<Stretch> const& rows) {
    PackedQuad lattice = ReserveQuads(columns.size() * rows.size());
    int counter = 0;
    for (Stretch const& row : rows) {
        for (Stretch const& column : columns) {
            MakeQuadIdx(counter, lattice.indices);
            MakeQuad(column.texture0, row.texture0, column.clip0, row.clip0, column.texture1, row.texture1,
                     column.clip1, row.clip1, lattice.vertices);
        }
    }
    return lattice;
}

}  // namespace Kaltor::Ogl
