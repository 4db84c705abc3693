// The transitions that fold, turn and curl pictures, against a rasteriser of plain numbers and the formulas of their
// geometry.

#include <glm/geometric.hpp>
#include <glm/matrix.hpp>

#include "Proc/Effects/EffectsOgl/Transitions/PageCurl.h"
#include "Tests/Support/Scene.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

constexpr double kPi = std::numbers::pi;
/// A filtered sample, and one rounding each for the light or the blending and for a picture in between.
constexpr double kDrawnTwice = kFiltered + 2.0 / 255.0;

Shade MakeLight(double light) {
    return [light](Fragment const& f) {
        Rgba color = f.texel;
        for (double& channel : color) {
            channel *= 0.7 * light + 0.3;
        }
        return color;
    };
}

class MeshTransitionsTest : public TransitionFixture {
protected:
    using MakeScene = std::function<Scene(Picture const& first, Picture const& second, double progress)>;

    /// Uses smooth pictures, so that only geometry counts; the second has the first one's colours upside down. With
    /// `isFine` the transition draws through a picture of twice the size.
    static void ExpectScene(std::string const& settings, std::vector<double> const& progresses, bool isFine,
                            MakeScene const& makeScene, std::vector<Size> const& sizes = {{48, 30}, {25, 41}},
                            double more = 0) {
        for (auto const& [width, height] : sizes) {
            Picture const first = Picture::Corners(width, height, width % 2 == 1);
            Picture const second = ForEachPixel(first, [&](double s, double t) {
                Rgba color = first.SampleNearest(s, 1 - t);
                std::swap(color[0], color[2]);
                return color;
            });
            for (double const progress : progresses) {
                auto const check = [&, width = width, height = height](Picture const& from, Picture const& to,
                                                                       double tolerance) {
                    Scene const scene = makeScene(from, to, progress);
                    Picture const expected =
                        isFine ? Halve(scene.Draw(2 * width, 2 * height, from.hasAlpha)) : scene.DrawLike(from);
                    ExpectDrawn(settings, from, to, progress, expected, tolerance);
                };
                check(first, second, kDrawnTwice + more);
                // Without filtering the light is exact.
                check(Picture::Flat(width, height, {0.8, 0.9, 1, 1}), Picture::Flat(width, height, {1, 0.5, 0.7, 1}),
                      kUnfiltered + 1.0 / 255 + more);
            }
        }
    }
};

Scene MakeCube(Picture const& first, Picture const& second, double p) {
    double const a = kPi / 2 * p;
    Scene scene;
    scene.isCulled = true;
    scene.project = [a](Vertex const& v) {
        constexpr double kSize = 1.17;
        double const x = kSize * (v.x * std::cos(a) - v.z * std::sin(a));
        double const towards = kSize * (v.x * std::sin(a) + v.z * std::cos(a));
        double const cot = 1 / std::tan(kPi / 8);
        return glm::dvec4(cot * x, cot * kSize * v.y, 0, 4 - towards);
    };
    auto const feather = [p](Fragment const& f) {
        Rgba color = f.texel;
        color[3] *= std::min(1.0, ((p - p * p) * 400 + 100) * std::min(f.t, 1 - f.t));
        return Mix(f.before, color, color[3]);
    };
    scene.AddRectangle({0, 0, 1, 1}, {-1, -1, 1, 1, 1, 1}, first, feather);
    scene.AddRectangle({0, 0, 1, 1}, {1, -1, 1, 1, 1, -1}, second, feather);
    return scene;
}

TEST_F(MeshTransitionsTest, CubeTurnsByAQuarter) {
    // GPUs move corners to 1/256 of a pixel, and the feather rises by 100 to 200 across few lines.
    ExpectScene("TransitionCube", {0.13, 0.81}, false, MakeCube, {{48, 30}, {25, 41}}, 1.5 / 255);
    // Tall enough to see the feather: 1 % of the face at the ends, half of it in the middle.
    ExpectScene("TransitionCube", {0.0, 0.5}, false, MakeCube, {{161, 600}});
}

// Origami.

Scene MakeOrigami() {
    Scene scene;
    scene.project = [](Vertex const& v) { return glm::dvec4(v.x, v.y, 0, 1 - v.z); };
    return scene;
}

Scene MakeValley(Picture const& first, Picture const& second, double p) {
    Scene scene = MakeOrigami();
    double const valley = (p - 1) * 0.2;
    double const light = std::sin(p * kPi / 2);
    scene.AddRectangle({0, 0, 0.5, 1}, {-p, -1, 0, 0, 1, valley}, second, MakeLight(light));
    scene.AddRectangle({0.5, 0, 1, 1}, {0, -1, valley, p, 1, 0}, second, MakeLight(light));
    scene.AddRectangle({0, 0, 0.5, 1}, {-1 - p, -1, 0, -p, 1, 0}, first);
    scene.AddRectangle({0.5, 0, 1, 1}, {p, -1, 0, 1 + p, 1, 0}, first);
    return scene;
}

Scene MakePleats(Picture const& first, Picture const& second, double p, int n, int d) {
    Scene scene = MakeOrigami();
    double const back = (p - 1) * 0.2;
    double const s = std::sin(p * kPi / 2);
    for (int i = 0; i < n; ++i) {
        bool const isEven = i % 2 == 0;
        auto const sheet = [n, d](double edge) { return d > 0 ? edge / n : 1 - edge / n; };
        auto const place = [p, n, d](double edge) { return (2 * p / n * edge - 1) * d; };
        scene.AddRectangle({sheet(i), 0, sheet(i + 1), 1},
                           {place(i), -1, isEven ? 0 : back, place(i + 1), 1, isEven ? back : 0}, second,
                           MakeLight(s / std::hypot((isEven ? 1 : 2) * (1 - s), s)));
    }
    scene.AddWhole(2 * p * d - 1, -1, 2 * p * d + 1, 1, first);
    return scene;
}

Scene MakeFlips(Picture const& first, Picture const& second, double p, int n) {
    Scene scene = MakeOrigami();
    double const x = static_cast<float>(p) * static_cast<float>(n);
    double const fraction = x - std::floor(x);
    int const m = fraction == 0 ? n - 1 - static_cast<int>(x) : n - static_cast<int>(std::ceil(x));
    auto const flat = [&](double from, double to, Picture const& picture) {
        scene.AddRectangle({0, 1 - to / n, 1, 1 - from / n}, {-1, 1 - 2 * to / n, 0, 1, 1 - 2 * from / n, 0}, picture);
    };
    flat(1, n, second);
    if (m < 1) {
        double const dip = 0.1 * std::sin(kPi * fraction);
        double const upper = 1 - 2.0 / n * dip;
        double const lower = 1 - 2.0 / n;
        double const t = 1 - 1.0 / n;
        scene.AddQuad({{{-1, upper, -dip, 0, 1}, {1, upper, -dip, 1, 1}, {1, lower, 0, 1, t}, {-1, lower, 0, 0, t}}},
                      second, MakeLight((1 - 4 * dip) / std::hypot(4 * dip, 1 - 4 * dip)));
        return scene;
    }
    flat(0, m, first);
    // The strip that swings, by the picture's lines at the hinge and at its edge.
    bool const isBack = m == 1 && fraction > 0.5;
    double const hinge = isBack || m + 1 == n ? m : m + 2;
    double const edge = isBack ? 0 : m + 1;
    double const s = std::sin(kPi * fraction);
    scene.AddRectangle({0, 1 - hinge / n, 1, 1 - edge / n},
                       {-1, 1 - 2.0 * m / n, 0, 1, 1 - 2.0 * (m + std::cos(kPi * fraction)) / n, 0},
                       isBack ? second : first, MakeLight((1 - s) / std::hypot(s, 1 - s)));
    return scene;
}

TEST_F(MeshTransitionsTest, OrigamiFoldsByItsFormulas) {
    ExpectScene("TransitionOrigamiValley", {0.37, 0.83}, true, MakeValley);
    for (auto const& [num, dir] : {std::pair{1, 1}, {2, -1}, {5, 1}}) {
        ExpectScene(fmt::format("TransitionOrigamiPleats num={} dir={}", num, dir), {0.37, 0.71}, true,
                    [n = num, d = dir](auto const&... all) { return MakePleats(all..., n, d); });
    }
    // A strip that has just come over; the last one's back; the top one, which dips.
    for (int const num : {1, 3, 7}) {
        ExpectScene(fmt::format("TransitionOrigamiFlips num={}", num), {0.06, 0.25, 0.35, 0.52, 1.0 / 3, 0.78, 0.93},
                    false, [num](auto const&... all) { return MakeFlips(all..., num); });
    }
}

TEST_F(MeshTransitionsTest, FoldsLeaveNoCracks) {
    Picture const white = Picture::Flat(97, 61, {1, 1, 1, 1}, true);
    // If the number of pleats is odd, the last edge is further back than the picture that leaves. The top strip dips.
    for (auto const& [settings, dipped] : {std::pair{"TransitionOrigamiPleats num=10", 0U},
                                           {"TransitionOrigamiValley", 0U},
                                           {"TransitionOrigamiFlips num=7", 4U}}) {
        for (int step = 0; step <= 40; ++step) {
            Picture const drawn = Run(settings, white, white, {.progress = step / 40.0});
            for (unsigned i = dipped; i < (dipped != 0 ? white.height : white.width); ++i) {
                EXPECT_GE((dipped != 0 ? drawn.At(48, i) : drawn.At(i, 30))[3], 0.29)
                    << settings << " at " << step / 40.0 << ", row or column " << i;
            }
        }
    }
}

TEST_F(MeshTransitionsTest, FoldsOfAnOpaquePictureAreOpaqueInTheShade) {
    Picture const clear = Picture::Noise(48, 30, true);
    Picture const opaque = Picture::Noise(48, 30);
    for (auto const& [settings, scene] :
         {std::pair{"TransitionOrigamiValley", MakeValley(clear, opaque, 0.5)},
          std::pair{"TransitionOrigamiPleats num=6 dir=1", MakePleats(clear, opaque, 0.5, 6, 1)}}) {
        EXPECT_TRUE(
            IsNear(Run(settings, clear, opaque, {.progress = 0.5}), Halve(scene.Draw(96, 60, false)), kDrawnTwice))
            << settings;
    }
}

TEST_F(MeshTransitionsTest, AboveHalfTheGlsLimitNothingIsDrawnFiner) {
    unsigned const width = static_cast<unsigned>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize) / 2 + 1;
    Picture const first = Picture::Flat(width, 64, {1, 0, 0, 1});
    Picture const second = Picture::Flat(width, 64, {0, 0, 1, 1});
    for (std::string const name : {"TransitionShatter", "TransitionOrigamiValley", "TransitionOrigamiPleats"}) {
        EXPECT_TRUE(IsNear(Run(name, first, second, {.progress = 1}), second, kFiltered)) << name;
    }
}

// Page turn: geometry.

TEST(PageGeometry, ControlPointsMoveAlongSplines) {
    // Second derivatives 0, -2.4, -2.4.
    Ogl::CubicSpline const hump({0, 1, 2}, {0, 1, 0});
    for (auto const& [x, y] : {std::pair{0.5, 0.65}, {1.0, 1.0}, {1.5, 0.8}, {-1.0, 0.0}, {3.0, -2.2}}) {
        EXPECT_NEAR(hump.Evaluate(x), y, 1e-12) << x;
    }
    // Worked out with a full matrix for the second derivatives.
    std::map<double, std::array<glm::dvec2, 4>> const wanted{
        {0.1, {{{18.928, 205.229}, {45.680, 217.845}, {87.136, 218.318}, {170.000, 220.000}}}},
        {0.6, {{{139.927, 32.920}, {84.161, 73.554}, {130.397, 121.674}, {170.000, 120.000}}}},
        {0.9, {{{230.953, 11.977}, {179.456, 3.484}, {155.917, 43.825}, {170.000, 60.000}}}}};
    for (auto const& [progress, points] : wanted) {
        Ogl::BezierCurve const curve = Ogl::PageCurl().GetCurve(progress);
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_LT(glm::distance(glm::dvec2(curve[i]), points[i]), 1e-3) << "point " << i << " at " << progress;
        }
    }
}

struct PageVertex {
    glm::dvec3 position;
    glm::dvec2 texCoord;
    glm::dvec3 normal;
};

std::vector<PageVertex> MakePage(double progress, int direction) {
    Ogl::SoftMesh mesh;
    Ogl::PageCurl().MakePage(progress, Ogl::PageDirection(direction), mesh);
    std::vector<PageVertex> vertices;
    for (std::size_t i = 0; i < static_cast<std::size_t>(mesh.GetVertexCount()); ++i) {
        auto const& [indices, p, t, n] = mesh.arrays;
        vertices.push_back(
            {{p[3 * i], p[3 * i + 1], p[3 * i + 2]}, {t[2 * i], t[2 * i + 1]}, {n[3 * i], n[3 * i + 1], n[3 * i + 2]}});
    }
    return vertices;
}

TEST(PageGeometry, StripsTileThePageWithoutCracksAndKeepItsMeasures) {
    for (int step = 0; step <= 20; ++step) {
        double area = 0;
        std::map<std::pair<double, double>, glm::dvec3> places;
        std::vector<PageVertex> const page = MakePage(step / 20.0, step % 4);
        for (std::size_t i = 0; i < page.size(); ++i) {
            PageVertex const& a = page[i];
            PageVertex const& b = page[i - i % 3 + (i + 1) % 3];
            // Paper does not stretch: 2 from texture to clip space.
            EXPECT_NEAR(glm::distance(a.position, b.position), 2 * glm::distance(a.texCoord, b.texCoord), 1e-5) << step;
            auto const [known, isNew] = places.emplace(std::pair(a.texCoord.x, a.texCoord.y), a.position);
            EXPECT_TRUE(isNew || glm::distance(known->second, a.position) < 3e-7) << "a crack at step " << step;
            EXPECT_LT(std::abs(a.position.z), 2.5) << "clipped";
            area += 0.5 * (a.texCoord.x * b.texCoord.y - a.texCoord.y * b.texCoord.x);
        }
        EXPECT_NEAR(area, 1, 1e-6) << step;
    }
}

TEST(PageGeometry, ThePageFollowsItsCurve) {
    double const cos = std::cos(kPi / 8);
    double const sin = std::sin(kPi / 8);
    double const extent = cos + sin;
    struct Way {
        glm::dvec2 along, corner;
    };
    std::array<Way, 4> const ways{
        {{{-cos, -sin}, {1, 1}}, {{cos, -sin}, {0, 1}}, {{-cos, sin}, {1, 0}}, {{cos, sin}, {0, 0}}}};
    for (int direction = 0; direction < 4; ++direction) {
        Way const& way = ways[static_cast<std::size_t>(direction)];
        for (double const progress : {0.0, 0.2, 0.77}) {
            SCOPED_TRACE(fmt::format("direction {}, progress {}", direction, progress));
            Ogl::BezierCurve const p = Ogl::PageCurl().GetCurve(progress);
            // The curve, by its own length: place and direction.
            constexpr int kPieces = 4000;
            std::vector<std::array<double, 5>> curve;  // length so far, x, y, tangent
            double length = 0;
            glm::dvec2 previous(p[0]);
            for (int i = 0; i <= kPieces; ++i) {
                double const s = static_cast<double>(i) / kPieces;
                double const r = 1 - s;
                glm::dvec2 const at = r * r * r * glm::dvec2(p[0]) + 3 * s * r * r * glm::dvec2(p[1]) +
                                      3 * s * s * r * glm::dvec2(p[2]) + s * s * s * glm::dvec2(p[3]);
                glm::dvec2 const tangent =
                    glm::normalize(r * r * glm::dvec2(p[1] - p[0]) + 2 * s * r * glm::dvec2(p[2] - p[1]) +
                                   s * s * glm::dvec2(p[3] - p[2]));
                length += glm::distance(at, previous);
                curve.push_back({length, at.x, at.y, tangent.x, tangent.y});
                previous = at;
            }
            EXPECT_NEAR(Ogl::CurveLength(p, 0, 8), length, length * 2e-5);
            for (PageVertex const& vertex : MakePage(progress, direction)) {
                double const along = glm::dot(way.along, vertex.texCoord - way.corner);
                auto const at = std::lower_bound(curve.begin(), curve.end() - 1, along / extent * length,
                                                 [](auto const& point, double value) { return point[0] < value; });
                // Past the corner along the curve, which ends at the page's far side; straight on the way across.
                double const x = (1 + ((*at)[1] - p[3].x) / length) * extent;
                double const y = ((*at)[2] - p[0].y) / length * extent;
                glm::dvec2 const across = vertex.texCoord - way.corner - along * way.along;
                glm::dvec2 const screen = 2.0 * (way.corner + across + x * way.along) - 1.0;
                constexpr double kChords = 0.02;  // 32 of them for the curve
                EXPECT_NEAR(vertex.position.x, screen.x, kChords);
                EXPECT_NEAR(vertex.position.y, screen.y, kChords);
                EXPECT_NEAR(vertex.position.z, 2 * y, kChords);
                glm::dvec3 const normal(-way.along.x * (*at)[4], -way.along.y * (*at)[4], (*at)[3]);
                EXPECT_LT(glm::distance(vertex.normal, normal), 0.1);
            }
        }
    }
}

// Page turn: pictures.

Scene MakePageScene(Picture const& first, Picture const& second, double progress, int direction, bool isTilted) {
    Scene scene;
    scene.hasDepth = true;
    // A tilted page shrinks to three fifths and turns by 5 degrees on its way, on screen.
    double const amount = isTilted ? std::min(3 * std::min(progress, 1 - progress), 1.0) : 0;
    double const aspect = static_cast<double>(first.width) / first.height;
    double const c = std::cos(amount * kPi / 36) / (1 + amount * 2 / 3);
    double const s = -std::sin(amount * kPi / 36) / (1 + amount * 2 / 3);
    glm::dmat4 const m{{c, -s * aspect, 0, 0}, {s / aspect, c, 0, 0}, {0, 0, 0.4, 0}, {0, 0, 0, 1}};
    scene.project = [m](Vertex const& v) { return m * glm::dvec4(v.x, v.y, v.z, 1); };
    // The background behind the page, which has its own depth buffer.
    scene.AddRectangle({0, 0, 1, 1}, {-1, -1, 2.49, 1, 1, 2.49}, second);
    glm::dmat3 const normals = glm::inverse(glm::transpose(glm::dmat3(m)));
    glm::dvec3 const light(direction % 2 == 0 ? 2.0 / 3 : -2.0 / 3, direction < 2 ? 1.0 / 3 : -1.0 / 3, -2.0 / 3);
    auto const shade = [light](Fragment const& f) {
        glm::dvec3 const n = glm::normalize(f.normal);
        double const d = 0.2 + 0.8 * glm::dot(n, light);
        return EachColor(f.texel, [&](std::size_t c) {
            double const pale = f.texel[c] + (0.6 - f.texel[c]) * 200 / 255;
            return f.isFront ? f.texel[c] * n.z : d * (pale + 100.0 / 255 / (30 * (1 - d) + d));
        });
    };
    std::vector<PageVertex> const page = MakePage(progress, direction);
    for (std::size_t i = 0; i < page.size(); i += 3) {
        std::array<Vertex, 3> triangle{};
        for (std::size_t k = 0; k < 3; ++k) {
            auto const& [place, tex, normal] = page[i + k];
            triangle[k] = {place.x, place.y, place.z, tex.x, tex.y, glm::normalize(normals * normal)};
        }
        scene.AddTriangle(triangle, first, shade);
    }
    return scene;
}

TEST_F(MeshTransitionsTest, PagesTurnFromEachCornerLitFromBothSides) {
    for (int direction = 0; direction < 4; ++direction) {
        for (int const type : {0, 1}) {
            std::string const settings = fmt::format("TransitionPageturn dir={} type={}", direction, type);
            auto const make = [&](auto const&... all) { return MakePageScene(all..., direction, type != 0); };
            ExpectScene(settings, {0.22, 0.65, 0.85}, false, make);
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
