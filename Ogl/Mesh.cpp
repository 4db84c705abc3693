#include "Ogl/Mesh.h"

#include <algorithm>
#include <cstddef>

#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {
namespace {

constexpr GLsizei kFloat = sizeof(float);

/// Exactly these arrays are on from here.
void EnableArrays(bool hasTexCoords, bool hasNormals) {
    auto const set = [](GLenum array, bool isOn) { isOn ? glEnableClientState(array) : glDisableClientState(array); };
    set(GL_VERTEX_ARRAY, true);
    set(GL_TEXTURE_COORD_ARRAY, hasTexCoords);
    set(GL_NORMAL_ARRAY, hasNormals);
    set(GL_COLOR_ARRAY, false);
}

void const* AtByte(std::size_t offset) {
    return reinterpret_cast<void const*>(offset);
}

GLsizei Limit(int count, std::size_t all) {
    return count < 0 ? static_cast<GLsizei>(all) : std::min(static_cast<GLsizei>(count), static_cast<GLsizei>(all));
}

}  // namespace

Quad::Quad(GLenum usage) : vertices(GL_ARRAY_BUFFER, usage), indices{0, 1, 3, 3, 1, 2} {}

Quad::Quad(PackedQuad const& packed, GLenum usage) : vertices(GL_ARRAY_BUFFER, usage), indices(packed.indices) {
    vertices.SetData(packed.vertices.size() * sizeof(float), packed.vertices.data());
}

void Quad::SetCorners(Corners const& value) {
    vertices.UpdateBuffer(0, sizeof(value), value.data());
    corners = value;
}

void Quad::Activate() const {
    vertices.Bind();
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    EnableArrays(false, false);
    glVertexPointer(4, GL_FLOAT, 4 * kFloat, nullptr);
}

void Quad::Draw(int count) const {
    glDrawElements(GL_TRIANGLES, Limit(count, indices.size()), GL_UNSIGNED_INT, indices.data());
}

Mesh3d::Mesh3d() = default;

void Mesh3d::Build(PackedMesh3d const& packed, GLenum usage) {
    buffers.clear();
    buffers.emplace_back(GL_ARRAY_BUFFER, usage);
    buffers.emplace_back(GL_ELEMENT_ARRAY_BUFFER, usage);
    buffers[0].SetData(packed.points.size() * sizeof(PackedMesh3d::Point), packed.points.data());
    indexCount = static_cast<GLsizei>(3 * packed.triangles.size());
    buffers[1].SetData(static_cast<std::size_t>(indexCount) * sizeof(unsigned), packed.triangles.data());
}

void Mesh3d::Activate() const {
    if (IsEmpty()) {
        return;
    }
    buffers[0].Bind();
    buffers[1].Bind();
    EnableArrays(true, false);
    constexpr GLsizei kStride = sizeof(PackedMesh3d::Point);
    glVertexPointer(3, GL_FLOAT, kStride, AtByte(offsetof(PackedMesh3d::Point, x)));
    glClientActiveTexture(GL_TEXTURE0);
    glTexCoordPointer(2, GL_FLOAT, kStride, AtByte(offsetof(PackedMesh3d::Point, s)));
}

void Mesh3d::Draw() const {
    if (!IsEmpty()) {
        glDrawElements(GL_TRIANGLES, indexCount, GL_UNSIGNED_INT, nullptr);
    }
}

Mesh3dDeprecated::Mesh3dDeprecated()
    : indexBuffer(GL_ELEMENT_ARRAY_BUFFER, GL_STREAM_DRAW),
      positionBuffer(GL_ARRAY_BUFFER, GL_STREAM_DRAW),
      texCoordBuffer(GL_ARRAY_BUFFER, GL_STREAM_DRAW),
      normalBuffer(GL_ARRAY_BUFFER, GL_STREAM_DRAW) {}

void Mesh3dDeprecated::MakeMesh(std::vector<unsigned> const& indices, std::vector<float> const& positions,
                                std::vector<float> const& texCoords, std::vector<float> const& normals) {
    indexBuffer.SetData(indices.size() * sizeof(unsigned), indices.data());
    positionBuffer.SetData(positions.size() * sizeof(float), positions.data());
    texCoordBuffer.SetData(texCoords.size() * sizeof(float), texCoords.data());
    normalBuffer.SetData(normals.size() * sizeof(float), normals.data());
    indexCount = static_cast<GLsizei>(indices.size());
}

void Mesh3dDeprecated::Activate() const {
    EnableArrays(true, true);
    positionBuffer.Bind();
    glVertexPointer(3, GL_FLOAT, 0, nullptr);
    texCoordBuffer.Bind();
    glClientActiveTexture(GL_TEXTURE0);
    glTexCoordPointer(2, GL_FLOAT, 0, nullptr);
    normalBuffer.Bind();
    glNormalPointer(GL_FLOAT, 0, nullptr);
    indexBuffer.Bind();
}

void Mesh3dDeprecated::Draw(int count) const {
    glDrawElements(GL_TRIANGLES, Limit(count, static_cast<std::size_t>(indexCount)), GL_UNSIGNED_INT, nullptr);
}

}  // namespace Kaltor::Ogl
