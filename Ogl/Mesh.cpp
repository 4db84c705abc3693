#include "Ogl/Mesh.h"

#include <algorithm>
#include <cstddef>

#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {
namespace {

constexpr GLsizei kFloat = sizeof(float);

/// From here on exactly these built-in arrays of the GL are enabled.
void EnableArrays(bool hasVertices, bool hasTexCoords, bool hasNormals) {
    auto const set = [](GLenum array, bool isOn) { isOn ? glEnableClientState(array) : glDisableClientState(array); };
    set(GL_VERTEX_ARRAY, hasVertices);
    set(GL_TEXTURE_COORD_ARRAY, hasTexCoords);
    set(GL_NORMAL_ARRAY, hasNormals);
    set(GL_COLOR_ARRAY, false);
    for (GLuint i = 0; i < kMostAttributes; ++i) {
        glDisableVertexAttribArray(i);
    }
}

void const* AtByte(std::size_t offset) {
    return reinterpret_cast<void const*>(offset);
}

GLsizei Limit(int count, GLsizei all) {
    return count < 0 ? all : std::min(static_cast<GLsizei>(count), all);
}

/// Draws from the bound index buffer.
void DrawIndexed(int count, GLsizei all) {
    glDrawElements(GL_TRIANGLES, Limit(count, all), GL_UNSIGNED_INT, nullptr);
}

/// A buffer with a copy of `values`.
template <typename Value>
GLBuffer MakeBuffer(GLenum target, GLenum usage, std::vector<Value> const& values) {
    GLBuffer buffer(target, usage);
    buffer.SetData(values.size() * sizeof(Value), values.data());
    return buffer;
}

}  // namespace

Quad::Quad(GLenum usage) : vertices(GL_ARRAY_BUFFER, usage), indices{0, 1, 3, 3, 1, 2} {}

Quad::Quad(PackedQuad const& packedQuad, GLenum usage)
    : vertices(GL_ARRAY_BUFFER, usage), indices(packedQuad.indices), packed(packedQuad.vertices) {
    vertices.SetData(packed.size() * sizeof(float), packed.data());
}

void Quad::SetCorners(Corners const& value) {
    vertices.UpdateBuffer(0, sizeof(value), value.data());
    corners = value;
}

void Quad::Activate() const {
    vertices.Bind();
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    EnableArrays(true, false, false);
    glVertexPointer(4, GL_FLOAT, 4 * kFloat, nullptr);
}

void Quad::Draw(int count) const {
    glDrawElements(GL_TRIANGLES, Limit(count, static_cast<GLsizei>(indices.size())), GL_UNSIGNED_INT, indices.data());
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
    EnableArrays(true, true, false);
    constexpr GLsizei kStride = sizeof(PackedMesh3d::Point);
    glVertexPointer(3, GL_FLOAT, kStride, AtByte(offsetof(PackedMesh3d::Point, x)));
    glClientActiveTexture(GL_TEXTURE0);
    glTexCoordPointer(2, GL_FLOAT, kStride, AtByte(offsetof(PackedMesh3d::Point, s)));
}

void Mesh3d::Draw(int count) const {
    if (!IsEmpty()) {
        DrawIndexed(count, indexCount);
    }
}

LitMesh::LitMesh(PackedLitMesh const& packed)
    : indexBuffer(MakeBuffer(GL_ELEMENT_ARRAY_BUFFER, GL_STREAM_DRAW, packed.indices)),
      positionBuffer(MakeBuffer(GL_ARRAY_BUFFER, GL_STREAM_DRAW, packed.positions)),
      texCoordBuffer(MakeBuffer(GL_ARRAY_BUFFER, GL_STREAM_DRAW, packed.texCoords)),
      normalBuffer(MakeBuffer(GL_ARRAY_BUFFER, GL_STREAM_DRAW, packed.normals)),
      indexCount(static_cast<GLsizei>(packed.indices.size())) {}

void LitMesh::Activate() const {
    EnableArrays(true, true, true);
    positionBuffer.Bind();
    glVertexPointer(3, GL_FLOAT, 0, nullptr);
    texCoordBuffer.Bind();
    glClientActiveTexture(GL_TEXTURE0);
    glTexCoordPointer(2, GL_FLOAT, 0, nullptr);
    normalBuffer.Bind();
    glNormalPointer(GL_FLOAT, 0, nullptr);
    indexBuffer.Bind();
}

void LitMesh::Draw(int count) const {
    DrawIndexed(count, indexCount);
}

AttributeMesh::AttributeMesh(std::vector<unsigned> const& indices, void const* vertices, std::size_t count,
                             VertexLayout vertexLayout, GLenum usage)
    : indexBuffer(MakeBuffer(GL_ELEMENT_ARRAY_BUFFER, usage, indices)),
      vertexBuffer(GL_ARRAY_BUFFER, usage),
      layout(vertexLayout),
      indexCount(static_cast<GLsizei>(indices.size())) {
    vertexBuffer.SetData(count * GetVertexSize(layout), vertices);
}

void AttributeMesh::Activate() const {
    EnableArrays(false, false, false);
    vertexBuffer.Bind();
    indexBuffer.Bind();
    auto const stride = static_cast<GLsizei>(GetVertexSize(layout));
    for (std::size_t i = 0; i < layout.size(); ++i) {
        auto const location = static_cast<GLuint>(i);
        glEnableVertexAttribArray(location);
        glVertexAttribPointer(location, layout[i].floats, GL_FLOAT, GL_FALSE, stride,
                              AtByte(GetVertexSize(layout.first(i))));
    }
}

void AttributeMesh::Draw(int count) const {
    DrawIndexed(count, indexCount);
}

}  // namespace Kaltor::Ogl
