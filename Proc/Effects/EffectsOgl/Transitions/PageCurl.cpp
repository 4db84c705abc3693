#include "Proc/Effects/EffectsOgl/Transitions/PageCurl.h"

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_inverse.hpp>

namespace Kaltor::Ogl {
namespace {

/// Key positions of the control points, drawn by hand: a flat page, then a curl that rolls over and off the page. The
/// end that the page is held by moves in y only.
constexpr std::size_t kKeys = 5;
struct Path {
    std::array<double, kKeys> x;
    std::array<double, kKeys> y;
};
constexpr std::array<double, kKeys> kKnots{0, 0.25, 0.5, 0.75, 1};
constexpr std::array<Path, 4> kMotion{{{{0, 48, 107, 191, 251}, {240, 149, 54, 18, 14}},
                                       {{56, 37, 60, 130, 215}, {240, 182, 108, 28, 0}},
                                       {{113, 72, 123, 133, 183}, {240, 187, 140, 89, 6}},
                                       {{170, 170, 170, 170, 170}, {240, 190, 140, 90, 40}}}};

template <std::size_t n>
std::vector<double> ToVector(std::array<double, n> const& values) {
    return {values.begin(), values.end()};
}

// In double precision from here on: strips that share an edge each compute its position, and both must round to the
// same floats, or background would show through the page.

using Polygon = std::vector<glm::dvec2>;

glm::dvec2 GetPoint(BezierCurve const& p, double s) {
    double const r = 1 - s;
    return r * r * r * glm::dvec2(p[0]) + 3 * s * r * r * glm::dvec2(p[1]) + 3 * s * s * r * glm::dvec2(p[2]) +
           s * s * s * glm::dvec2(p[3]);
}

glm::dvec2 GetTangent(BezierCurve const& p, double s) {
    double const r = 1 - s;
    return glm::normalize(-3 * r * r * glm::dvec2(p[0]) + (3 * r * r - 6 * s * r) * glm::dvec2(p[1]) +
                          (6 * s * r - 3 * s * s) * glm::dvec2(p[2]) + 3 * s * s * glm::dvec2(p[3]));
}

glm::dvec3 GetNormal(glm::dvec2 const& along, glm::dvec2 const& tangent) {
    return {-along.x * tangent.y, -along.y * tangent.y, tangent.x};
}

/// Cuts `polygon` through `origin`, across `along`. Returns the part behind the cut and keeps the part ahead.
Polygon CutOff(Polygon& polygon, glm::dvec2 const& along, glm::dvec2 const& origin) {
    Polygon ahead;
    Polygon behind;
    if (polygon.empty()) {
        return behind;
    }
    auto const distance = [&](glm::dvec2 const& point) { return glm::dot(along, point) - glm::dot(along, origin); };
    glm::dvec2 previous = polygon.back();
    bool isAhead = distance(previous) > 0;
    for (glm::dvec2 const& current : polygon) {
        double const from = distance(previous);
        double const to = distance(current);
        if ((to > 0) != isAhead) {
            glm::dvec2 const crossing = previous + (current - previous) * (from / (from - to));
            ahead.push_back(crossing);
            behind.push_back(crossing);
            isAhead = !isAhead;
        }
        (isAhead ? ahead : behind).push_back(current);
        previous = current;
    }
    polygon = std::move(ahead);
    return behind;
}

/// Where a flat strip lies, and how its normals run from one of its edges to the other.
struct Strip {
    glm::dvec2 origin;       ///< on the edge further along, in the texture
    glm::dmat2x3 placement;  ///< from texture units past the origin to the screen and depth
    glm::dvec3 translation;
    glm::dvec2 gradient;  ///< 0 on the edge at the origin, 1 on the other one
    glm::dvec3 normal;    ///< on the edge at the origin
    glm::dvec3 turn;      ///< from the other edge's normal to that
};

void InsertPolygon(Polygon const& polygon, Strip const& strip, SoftMesh& page) {
    auto const push = [&](glm::dvec2 const& vertex) {
        glm::dvec2 const d = vertex - strip.origin;
        page.PushVertex(strip.placement * d + strip.translation, vertex,
                        strip.normal - strip.turn * glm::dot(d, strip.gradient));
    };
    for (std::size_t k = 2; k < polygon.size(); ++k) {
        push(polygon[0]);
        push(polygon[k]);
        push(polygon[k - 1]);
    }
}

}  // namespace

CubicSpline::CubicSpline(std::vector<double> const& x, std::vector<double> const& y) : knots(x.size()) {
    // The second derivatives c solve a tridiagonal system: one sweep down, one up.
    std::size_t const n = x.size();
    std::vector<double> alpha(n);
    std::vector<double> beta(n);
    for (std::size_t i = 0; i < n; ++i) {
        knots[i].x = x[i];
        knots[i].a = y[i];
    }
    double below = 0;
    double diagonal = 0;
    double right = 0;
    for (std::size_t i = 1; i + 1 < n; ++i) {
        double const h0 = x[i] - x[i - 1];
        double const h1 = x[i + 1] - x[i];
        below = h0;
        diagonal = 2 * (h0 + h1);
        right = 6 * ((y[i + 1] - y[i]) / h1 - (y[i] - y[i - 1]) / h0);
        double const z = below * alpha[i - 1] + diagonal;
        alpha[i] = -h1 / z;
        beta[i] = (right - below * beta[i - 1]) / z;
    }
    knots[n - 1].c = (right - below * beta[n - 2]) / (diagonal + below * alpha[n - 2]);
    for (std::size_t i = n - 2; i > 0; --i) {
        knots[i].c = alpha[i] * knots[i + 1].c + beta[i];
    }
    for (std::size_t i = n - 1; i > 0; --i) {
        double const h = x[i] - x[i - 1];
        knots[i].d = (knots[i].c - knots[i - 1].c) / h;
        knots[i].b = h * (2 * knots[i].c + knots[i - 1].c) / 6 + (y[i] - y[i - 1]) / h;
    }
}

double CubicSpline::Evaluate(double at) const {
    Spline const& last = knots.back();
    if (at >= last.x) {
        return last.a + last.b * (at - last.x);
    }
    // The first knot that is not before it; the very first has no derivatives: a constant.
    auto const knot = std::lower_bound(knots.begin(), knots.end(), at,
                                       [](Spline const& spline, double place) { return spline.x < place; });
    double const dx = at - knot->x;
    return knot->a + (knot->b + (knot->c / 2 + knot->d * dx / 6) * dx) * dx;
}

double CurveLength(BezierCurve const& points, int depth, int maxDepth) {
    if (depth >= maxDepth) {
        return glm::distance(points[0], points[3]);
    }
    auto const middle = [](glm::vec2 const& a, glm::vec2 const& b) { return 0.5F * (a + b); };
    glm::vec2 const p01 = middle(points[0], points[1]);
    glm::vec2 const p12 = middle(points[1], points[2]);
    glm::vec2 const p23 = middle(points[2], points[3]);
    glm::vec2 const p012 = middle(p01, p12);
    glm::vec2 const p123 = middle(p12, p23);
    glm::vec2 const half = middle(p012, p123);
    return CurveLength({points[0], p01, p012, half}, depth + 1, maxDepth) +
           CurveLength({half, p123, p23, points[3]}, depth + 1, maxDepth);
}

void SoftMesh::Clear() {
    arrays.indices.clear();
    arrays.positions.clear();
    arrays.texCoords.clear();
    arrays.normals.clear();
}

void SoftMesh::PushVertex(glm::vec3 const& position, glm::vec2 const& texCoord, glm::vec3 const& normal) {
    auto const count = static_cast<unsigned>(arrays.indices.size());
    arrays.indices.insert(arrays.indices.end(), {count, count + 1, count + 2});
    arrays.positions.insert(arrays.positions.end(), {position.x, position.y, position.z});
    arrays.texCoords.insert(arrays.texCoords.end(), {texCoord.x, texCoord.y});
    arrays.normals.insert(arrays.normals.end(), {normal.x, normal.y, normal.z});
}

PageDirection::PageDirection(std::int32_t direction) : backLight(0) {
    constexpr double kCos = 0.92387953251128674;  // 22.5 degrees
    constexpr double kSin = 0.38268343236508977;
    bool const isFromRight = (direction | 2) == 2;
    bool const isFromTop = (direction | 1) == 1;
    along = {isFromRight ? -kCos : kCos, isFromTop ? -kSin : kSin};
    if (direction >= 0 && direction <= 3) {
        corner = {isFromRight ? 1 : 0, isFromTop ? 1 : 0};
        offset = 2.0 * corner - 1.0;
        backLight = {offset.x, 0.5 * offset.y, -1};
    }
    backLight = glm::normalize(backLight);
}

PageCurl::PageCurl() {
    for (std::size_t i = 0; i < kMotion.size(); ++i) {
        x[i] = CubicSpline(ToVector(kKnots), ToVector(kMotion[i].x));
        y[i] = CubicSpline(ToVector(kKnots), ToVector(kMotion[i].y));
    }
}

BezierCurve PageCurl::GetCurve(double progress) const {
    BezierCurve points;
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i] = {x[i].Evaluate(progress), y[i].Evaluate(progress)};
    }
    return points;
}

void PageCurl::MakePage(double progress, PageDirection const& direction, SoftMesh& page) const {
    page.Clear();
    BezierCurve const curve = GetCurve(progress);
    constexpr int kHalvings = 8;
    double const length = CurveLength(curve, 0, kHalvings);
    glm::dvec2 const& along = direction.along;
    double const extent = std::abs(along.x) + std::abs(along.y);  // of the page, in that direction
    glm::dvec2 const start(curve[0]);
    double const reach = (static_cast<double>(curve[3].x) - start.x) / length;

    Polygon rest{{0, 1}, {1, 1}, {1, 0}, {0, 0}};
    glm::dvec2 previous(0);
    glm::dvec3 previousNormal = GetNormal(along, GetTangent(curve, 0));
    double travelled = 0;
    constexpr int kStrips = 32;
    for (int i = 1; i <= kStrips; ++i) {
        double const s = static_cast<double>(i) / kStrips;
        glm::dvec2 const point = (GetPoint(curve, s) - start) / length;
        double const chord = glm::distance(point, previous);
        travelled += chord;
        glm::dvec2 const direct = (point - previous) / chord;
        Strip strip;
        strip.origin = direction.corner + travelled * extent * along;
        Polygon const piece = i < kStrips ? CutOff(rest, along, strip.origin) : std::move(rest);
        // Foreshortened and lifted along the curl, as it is across it; 2: from texture to clip space.
        glm::dmat2 const flat = 2.0 * (glm::dmat2(1) + (direct.x - 1) * glm::outerProduct(along, along));
        glm::dvec2 const lift = 2.0 * direct.y * along;
        strip.placement = {glm::dvec3(flat[0], lift.x), glm::dvec3(flat[1], lift.y)};
        // The curve's end stays at the page's far side.
        double const shift = (1 - reach + point.x) * extent;
        strip.translation = glm::dvec3(direction.offset + 2.0 * shift * along, 2.0 * extent * point.y);
        strip.normal = GetNormal(along, GetTangent(curve, s));
        strip.turn = strip.normal - previousNormal;
        strip.gradient = along / (-extent * chord);
        InsertPolygon(piece, strip, page);
        previousNormal = strip.normal;
        previous = point;
    }
}

PagePose MakePagePose(double progress, float aspect, bool isTilted) {
    // Depths of up to 2.5 into clip space.
    constexpr float kDepth = 0.4F;
    PagePose pose;
    pose.MVP[2][2] = kDepth;
    if (isTilted) {
        constexpr double kTilt = -0.08726646259971647;  // 5 degrees
        double amount = 1;
        if (progress < 0.3333333333333333) {
            amount = 3 * progress;
        } else if (progress >= 0.6666666666666666) {
            amount = 3 * (1 - progress);
        }
        amount = std::max(amount, 0.0);  // before the start and after the end
        auto const size = static_cast<float>(1 / (2.0 / 3.0 * amount + 1));
        auto const c = static_cast<float>(std::cos(amount * kTilt)) * size;
        auto const s = static_cast<float>(std::sin(amount * kTilt)) * size;
        pose.MVP[0] = {c, -s * aspect, 0, 0};
        pose.MVP[1] = {s / aspect, c, 0, 0};
    }
    pose.NormalMatrix = glm::inverseTranspose(glm::mat3(pose.MVP));
    return pose;
}

}  // namespace Kaltor::Ogl
