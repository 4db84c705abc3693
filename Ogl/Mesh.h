#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Ogl/GLBuffer.h"
#include "Ogl/VertexLayout.h"

namespace Kaltor::Ogl {

/// Something to draw with the current program. GL thread only.
class Mesh {
public:
    Mesh() = default;
    Mesh(Mesh const&) = delete;
    Mesh& operator=(Mesh const&) = delete;
    virtual ~Mesh() = default;
    /// Sets the vertex arrays; another mesh's activation ends it.
    virtual void Activate() const = 0;
    /// Draws the triangles of the active mesh: the first `count` of its indices, or all.
    virtual void Draw(int count) const = 0;
    void Draw() const { Draw(kAll); }
    static constexpr int kAll = -1;

    /// Four corners of (s, t, x, y): lower left, lower right, upper right, upper left.
    using Corners = std::array<float, 16>;
    /// The corners if the mesh is one quad whose position is known. Null by default.
    virtual Corners const* GetCorners() const { return nullptr; }
    /// The vertices of rectangles, four of (s, t, x, y) each, where they are known. Empty by default.
    virtual std::span<float const> GetRectangles() const { return {}; }
};

/// Indices (three per triangle) and vertices of four floats: s, t, x, y. Textures have (0, 0) at the lower left, clip
/// space runs from -1 to 1.
struct PackedQuad {
    std::vector<unsigned> indices;
    std::vector<float> vertices;
};

/// Rectangles in the plane. The vertex is `gl_Vertex` = (s, t, x, y).
class Quad final : public Mesh {
public:
    /// One quad of four vertices that are yet to be written to the vertex buffer (64 bytes), corners lower left, lower
    /// right, upper right, upper left; two triangles (0, 1, 3) and (3, 1, 2).
    explicit Quad(GLenum usage);
    Quad(PackedQuad const& packedQuad, GLenum usage);

    /// Writes the one quad's vertices and remembers them, so that a frame that is drawn through it knows by how much it
    /// shrinks.
    void SetCorners(Corners const& value);
    Corners const* GetCorners() const override { return corners ? &*corners : nullptr; }
    std::span<float const> GetRectangles() const override { return corners ? std::span(*corners) : std::span(packed); }
    /// For vertices that do not form one known quad.
    GLBuffer& GetVertexBuffer() { return vertices; }
    void Activate() const override;
    using Mesh::Draw;
    void Draw(int count) const override;

    /// Vertices of the quad that covers the whole target.
    static constexpr Corners kFull{0, 0, -1, -1, 1, 0, 1, -1, 1, 1, 1, 1, 0, 1, -1, 1};

private:
    GLBuffer vertices;
    std::vector<unsigned> indices;
    std::optional<Corners> corners;
    std::vector<float> packed;  ///< vertices
};

/// A triangle mesh in space: points of x, y, z, s, t and triangles of three point numbers.
struct PackedMesh3d {
    struct Point {
        float x, y, z, s, t;
    };
    std::vector<Point> points;
    std::vector<std::array<unsigned, 3>> triangles;
};

/// The same on the GPU. `gl_Vertex` = (x, y, z), `gl_MultiTexCoord0` = (s, t).
class Mesh3d final : public Mesh {
public:
    /// Empty: holds no points yet and draws nothing.
    Mesh3d();

    /// Uploads `packed` in place of the former content.
    void Build(PackedMesh3d const& packed, GLenum usage);
    bool IsEmpty() const { return indexCount == 0; }
    void Activate() const override;
    using Mesh::Draw;
    void Draw(int count) const override;

private:
    std::vector<GLBuffer> buffers;  ///< none, or points and indices
    GLsizei indexCount = 0;
};

/// A triangle mesh under a light, in four parallel arrays: indices, positions (x, y, z), texture coordinates (s, t) and
/// normals (x, y, z).
struct PackedLitMesh {
    std::vector<unsigned> indices;
    std::vector<float> positions;
    std::vector<float> texCoords;
    std::vector<float> normals;
};

/// The same on the GPU, for one frame's use. `gl_Vertex`, `gl_MultiTexCoord0`, `gl_Normal`.
class LitMesh final : public Mesh {
public:
    explicit LitMesh(PackedLitMesh const& packed);

    void Activate() const override;
    using Mesh::Draw;
    void Draw(int count) const override;

private:
    GLBuffer indexBuffer;
    GLBuffer positionBuffer;
    GLBuffer texCoordBuffer;
    GLBuffer normalBuffer;
    GLsizei indexCount;
};

/// A triangle mesh whose vertices carry the attributes that one vertex program needs. `Vertex` is a struct of floats
/// with a static array of `VertexAttribute`s, `kLayout`, which names them in their order.
template <typename Vertex>
struct PackedMesh {
    std::vector<unsigned> indices;
    std::vector<Vertex> vertices;
};

/// The same on the GPU. Drawn with a program that was made for the same layout.
class AttributeMesh final : public Mesh {
public:
    template <typename Vertex>
    AttributeMesh(PackedMesh<Vertex> const& packed, GLenum usage)
        : AttributeMesh(packed.indices, packed.vertices.data(), packed.vertices.size(), Vertex::kLayout, usage) {
        static_assert(GetVertexSize(Vertex::kLayout) == sizeof(Vertex), "the layout names all that a vertex holds");
        static_assert(Vertex::kLayout.size() <= kMostAttributes);
    }

    void Activate() const override;
    using Mesh::Draw;
    void Draw(int count) const override;

private:
    AttributeMesh(std::vector<unsigned> const& indices, void const* vertices, std::size_t count,
                  VertexLayout vertexLayout, GLenum usage);

    GLBuffer indexBuffer;
    GLBuffer vertexBuffer;
    VertexLayout layout;
    GLsizei indexCount;
};

}  // namespace Kaltor::Ogl
