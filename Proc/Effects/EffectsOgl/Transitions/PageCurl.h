#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include <glm/mat3x3.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "Ogl/Mesh.h"

namespace Kaltor::Ogl {

// The geometry of a page that is turned, without any GL.

/// A cubic spline y(x) through knots of rising x. Its second derivative is 0 at the first knot, as in a natural spline.
/// At the last knot, where a natural spline would have 0 too, the equation of the knot before is used again: the page's
/// motion was designed with that end.
class CubicSpline {
public:
    CubicSpline() = default;
    /// At least three knots.
    CubicSpline(std::vector<double> const& x, std::vector<double> const& y);

    /// The first knot's value before the first knot; a straight line after the last one. Exactly at a knot the piece
    /// that ends there is used.
    double Evaluate(double at) const;

private:
    /// One knot: value, the three derivatives on the piece that ends there, place.
    struct Spline {
        double a = 0, b = 0, c = 0, d = 0, x = 0;
    };
    std::vector<Spline> knots;
};

/// Control points of a cubic Bezier curve.
using BezierCurve = std::array<glm::vec2, 4>;

/// Length of the curve, approximated by the 2^(maxDepth - depth) chords of repeated halving by de Casteljau's
/// construction.
double CurveLength(BezierCurve const& points, int depth, int maxDepth);

/// The mesh of the page, drawn as a list of triangles in the order of its vertices.
struct SoftMesh {
    PackedLitMesh arrays;

    /// Empty, with the room kept.
    void Clear();
    void PushVertex(glm::vec3 const& position, glm::vec2 const& texCoord, glm::vec3 const& normal);
    /// For the count of a draw. (The indices, three consecutive ones a vertex, are more than there are vertices.)
    int GetVertexCount() const { return static_cast<int>(arrays.positions.size() / 3); }
};

/// The corner that lifts and the direction of the curl, for the directions 0 to 3. Texture units.
struct PageDirection {
    explicit PageDirection(std::int32_t direction);

    glm::dvec2 along;      ///< unit vector, 22.5 degrees from the horizontal
    glm::dvec2 corner{0};  ///< where the curl starts, in the texture
    glm::dvec2 offset{0};  ///< the same corner on the screen
    glm::vec3 backLight;   ///< unit vector towards the light on the page's back; NaN for other directions
};

/// The curve of the page's cross-section, which begins at the lifting corner and ends at the page's far side.
class PageCurl {
public:
    PageCurl();

    /// Control points at a progress, in units of the sketch that they were drawn in.
    BezierCurve GetCurve(double progress) const;

    /// The page of this progress: cut across `direction` into 32 strips, each along one chord of the curve, in clip
    /// space with depths of up to 2.5.
    void MakePage(double progress, PageDirection const& direction, SoftMesh& page) const;

private:
    std::array<CubicSpline, 4> x;
    std::array<CubicSpline, 4> y;
};

/// The placement of a page and its background on the screen.
struct PagePose {
    glm::mat3 NormalMatrix{1.0F};
    glm::mat4 MVP{1.0F};
};

/// Upright and full size; a tilted one shrinks to 0.6 and turns by 5 degrees on its way and back. `aspect` is the ratio
/// of width to height.
PagePose MakePagePose(double progress, float aspect, bool isTilted);

}  // namespace Kaltor::Ogl
