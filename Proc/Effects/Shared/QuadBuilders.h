#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include <glm/vec2.hpp>

#include "Ogl/Mesh.h"

namespace Kaltor::Ogl {

// Rectangles in flat arrays of numbers, from which meshes are made. Corners go round counter-clockwise (y up): lower
// left, lower right, upper right, upper left. Bounds are used as given: reversed bounds reverse the winding.

constexpr int kQuadIndices = 6;
constexpr int kPlaneQuadFloats = 8;   ///< of a quad of (x, y)
constexpr int kSpaceQuadFloats = 12;  ///< of a quad of (x, y, z)

/// The corners of a quad from -1 to 1.
constexpr std::array<glm::vec2, 4> kQuadCorners{{{-1, -1}, {1, -1}, {1, 1}, {-1, 1}}};

/// An empty mesh with room for `count` quads.
PackedQuad ReserveQuads(std::size_t count);
PackedLitMesh ReserveLitQuads(std::size_t count);
template <typename Vertex>
PackedMesh<Vertex> ReserveMesh(std::size_t count) {
    PackedMesh<Vertex> packed;
    packed.indices.reserve(kQuadIndices * count);
    packed.vertices.reserve(kQuadCorners.size() * count);
    return packed;
}

/// Appends the two triangles (0, 1, 3) and (3, 1, 2) of the quad whose first corner has the number `counter`, which
/// then moves on to the next quad's.
void MakeQuadIdx(int& counter, std::vector<unsigned>& indices);

/// Appends four vertices of (s, t, x, y): the texture's rectangle (s0, t0)-(s1, t1) on (x0, y0)-(x1, y1).
void MakeQuad(float s0, float t0, float x0, float y0, float s1, float t1, float x1, float y1,
              std::vector<float>& vertices);

/// Appends four vertices of (s, t, x, y) as they are given, corner by corner: a piece of any shape.
void MakeQuad(float s0, float t0, float x0, float y0, float s1, float t1, float x1, float y1, float s2, float t2,
              float x2, float y2, float s3, float t3, float x3, float y3, std::vector<float>& vertices);

/// Appends four vertices of (x, y, z). The depth goes with x: the quad leans about a vertical line, as the strips of
/// folded paper do.
void MakeQuad(float x0, float y0, float z0, float x1, float y1, float z1, std::vector<float>& vertices);

/// Appends four vertices of (x, y).
void MakeQuad(float x0, float y0, float x1, float y1, std::vector<float>& vertices);

/// Replaces the quad of (x, y, z) whose 12 floats begin at `position`.
void InsertQuad(float x0, float y0, float z0, float x1, float y1, float z1, std::vector<float>& vertices, int position);

/// Replaces the quad of (x, y) whose 8 floats begin at `position`.
void InsertQuad(float x0, float y0, float x1, float y1, std::vector<float>& vertices, int position);

/// An interval of a texture along one axis, and its interval in clip space.
struct Stretch {
    float texture0, texture1, clip0, clip1;
};

/// One rectangle for each column in each row, row by row.
PackedQuad MakeLattice(std::vector<Stretch> const& columns, std::vector<Stretch> const& rows);

}  // namespace Kaltor::Ogl
