#include "Tests/Support/Scene.h"

#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <glm/matrix.hpp>

#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {

Rgba ShadeFlat(Fragment const& fragment) {
    return fragment.texel;
}

Rgba ShadeBlended(Fragment const& fragment) {
    return Mix(fragment.before, fragment.texel, fragment.texel[3]);
}

Shade MakeBlend(double weight) {
    return [weight](Fragment const& fragment) { return Mix(fragment.before, fragment.texel, weight); };
}

void Scene::AddTriangle(std::array<Vertex, 3> const& corners, Picture const& picture, Shade shade) {
    pieces.push_back({corners, &picture, std::move(shade), ++count});
}

void Scene::AddQuad(std::array<Vertex, 4> const& corners, Picture const& picture, Shade const& shade) {
    AddTriangle({corners[0], corners[1], corners[3]}, picture, shade);
    --count;
    AddTriangle({corners[3], corners[1], corners[2]}, picture, shade);
}

void Scene::AddRectangle(std::array<double, 4> const& tex, std::array<double, 6> const& at, Picture const& picture,
                         Shade const& shade) {
    auto const& [s0, t0, s1, t1] = tex;
    auto const& [x0, y0, z0, x1, y1, z1] = at;
    AddQuad({{{x0, y0, z0, s0, t0}, {x1, y0, z1, s1, t0}, {x1, y1, z1, s1, t1}, {x0, y1, z0, s0, t1}}}, picture, shade);
}

void Scene::AddWhole(double x0, double y0, double x1, double y1, Picture const& picture, Shade const& shade) {
    AddRectangle({0, 0, 1, 1}, {x0, y0, 0, x1, y1, 0}, picture, shade);
}

std::vector<Scene::Projected> Scene::Project() const {
    std::vector<Projected> projected;
    for (Piece const& piece : pieces) {
        glm::dmat3 places(1);
        constexpr double kFar = std::numeric_limits<double>::infinity();
        Projected now{&piece, {}, {}, {}, glm::dvec2(kFar), glm::dvec2(-kFar), false};
        for (int i = 0; i < 3; ++i) {
            glm::dvec4 const clip = project(piece.corners[static_cast<std::size_t>(i)]);
            places[i] = {clip.x / clip.w, clip.y / clip.w, 1};
            now.low = glm::min(now.low, glm::dvec2(places[i]));
            now.high = glm::max(now.high, glm::dvec2(places[i]));
            now.depth[i] = clip.z / clip.w;
            now.w[i] = clip.w;
        }
        double const area = glm::determinant(places);
        now.isFront = area > 0;
        if (area != 0 && (now.isFront || !isCulled)) {
            now.toWeights = glm::inverse(places);
            projected.push_back(now);
        }
    }
    return projected;
}

std::pair<Rgba, std::size_t> Scene::Evaluate(std::vector<Projected> const& projected, double x, double y,
                                             bool hasAlpha) const {
    Rgba color{0, 0, 0, hasAlpha ? 0.0 : 1.0};
    double nearest = std::numeric_limits<double>::infinity();
    std::size_t last = 0;
    std::size_t all = 0;
    for (Projected const& triangle : projected) {
        if (x < triangle.low.x || y < triangle.low.y || x > triangle.high.x || y > triangle.high.y) {
            continue;
        }
        Piece const& piece = *triangle.piece;
        glm::dvec3 weight = triangle.toWeights * glm::dvec3(x, y, 1);
        double const depth = glm::dot(weight, triangle.depth);
        bool const isInside = weight[0] >= 0 && weight[1] >= 0 && weight[2] >= 0;
        if (!isInside || piece.number == last || (hasDepth && depth >= nearest)) {
            continue;
        }
        last = piece.number;
        all = (hasDepth ? 0 : all * 1000003) + last;
        nearest = depth;
        weight /= triangle.w;
        weight /= weight[0] + weight[1] + weight[2];
        Fragment f{{}, color, 0, 0, glm::dvec3(0), triangle.isFront};
        for (int i = 0; i < 3; ++i) {
            Vertex const& vertex = piece.corners[static_cast<std::size_t>(i)];
            f.s += weight[i] * vertex.s;
            f.t += weight[i] * vertex.t;
            f.normal += weight[i] * vertex.normal;
        }
        f.texel = piece.picture->Sample(f.s, f.t);
        color = piece.shade(f);
        color[3] = hasAlpha ? color[3] : 1;
    }
    return {color, all};
}

Picture Scene::Draw(unsigned width, unsigned height, bool hasAlpha) const {
    std::vector<Projected> const projected = Project();
    return Picture::Make(width, height, hasAlpha, [&](unsigned x, unsigned y) {
        auto const at = [&](double dx, double dy) {
            return Evaluate(projected, 2 * (x + 0.5 + dx) / width - 1, 1 - 2 * (y + 0.5 + dy) / height, hasAlpha);
        };
        auto const [color, made] = at(0, 0);
        for (double const dx : {-margin, margin}) {
            for (double const dy : {-margin, margin}) {
                auto const [beside, madeBeside] = at(dx, dy);
                bool isAnother = !hasDepth && madeBeside != made;
                for (std::size_t c = 0; c < 4; ++c) {
                    isAnother = isAnother || (hasDepth && std::abs(beside[c] - color[c]) > 3.0 / 255 + margin / 10);
                }
                if (isAnother) {
                    return kUndecided;
                }
            }
        }
        return color;
    });
}

}  // namespace Kaltor::Tests
