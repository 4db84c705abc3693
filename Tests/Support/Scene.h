#pragma once

#include <glm/mat3x3.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include "Tests/Support/Picture.h"

namespace Kaltor::Tests {

/// A corner: its place, what of the picture it shows, and which way it faces.
struct Vertex {
    double x, y, z, s, t;
    glm::dvec3 normal{0, 0, 1};
};

struct Fragment {
    Rgba texel, before;
    double s, t;
    glm::dvec3 normal;
    bool isFront;
};

/// The colour that a fragment gets in the frame.
using Shade = std::function<Rgba(Fragment const&)>;
/// The picture unchanged; blended by alpha with the content before; blended by `weight`.
Rgba ShadeFlat(Fragment const& fragment);
Rgba ShadeBlended(Fragment const& fragment);
Shade MakeBlend(double weight);

/// A rasteriser of plain numbers: triangles are drawn one after another over a blank frame.
class Scene {
public:
    /// To x, y, z and w of the clip space.
    std::function<glm::dvec4(Vertex const&)> project = [](Vertex const& v) { return glm::dvec4(v.x, v.y, 0, 1); };
    bool isCulled = false;
    bool hasDepth = false;
    /// A pixel is undecided if another piece (with depth: another colour) is visible within this many pixels. GLs place
    /// vertices to a 256th of a pixel or finer.
    double margin = 0.01;

    void AddTriangle(std::array<Vertex, 3> const& corners, Picture const& picture, Shade shade);
    /// Lower left, lower right, upper right, upper left; drawn once along the diagonal.
    void AddQuad(std::array<Vertex, 4> const& corners, Picture const& picture, Shade const& shade = ShadeFlat);
    /// A rectangle of the picture (s0, t0, s1, t1) on one of the frame (x0, y0, z0, x1, y1, z1), z going with x.
    void AddRectangle(std::array<double, 4> const& tex, std::array<double, 6> const& at, Picture const& picture,
                      Shade const& shade = ShadeFlat);
    /// The whole picture.
    void AddWhole(double x0, double y0, double x1, double y1, Picture const& picture, Shade const& shade = ShadeFlat);

    Picture Draw(unsigned width, unsigned height, bool hasAlpha) const;
    Picture DrawLike(Picture const& like) const { return Draw(like.width, like.height, like.hasAlpha); }

private:
    struct Piece {
        std::array<Vertex, 3> corners;
        Picture const* picture;
        Shade shade;
        std::size_t number;  ///< of two triangles that make a quad, the same
    };
    struct Projected {
        Piece const* piece;
        glm::dmat3 toWeights;
        glm::dvec3 depth, w;
        glm::dvec2 low, high;
        bool isFront;
    };
    std::vector<Projected> Project() const;
    /// The colour there and what made it.
    std::pair<Rgba, std::size_t> Evaluate(std::vector<Projected> const& projected, double x, double y,
                                          bool hasAlpha) const;

    std::vector<Piece> pieces;
    std::size_t count = 0;
};

}  // namespace Kaltor::Tests
