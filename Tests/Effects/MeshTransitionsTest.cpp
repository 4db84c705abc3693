// The transitions that fold, turn and curl pictures, against a rasteriser of plain numbers and the formulas of their
// geometry.

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numbers>

#include <fmt/format.h>
#include <glm/geometric.hpp>

#include "Proc/Effects/EffectsOgl/Transitions/PageCurl.h"
#include "Proc/Settings/SettingsMeshTransitions.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

constexpr double kPi = std::numbers::pi;
/// A filtered sample, and one rounding each for the light or the blending and for a picture in between.
constexpr double kDrawnTwice = kFiltered + 2.0 / 255.0;

struct Vertex {
    double x, y, z, s, t;
    glm::dvec3 normal{0, 0, 1};
};
using Triangle = std::array<Vertex, 3>;

struct Fragment {
    Rgba texel;
    double s, t;
    glm::dvec3 normal;
    bool isFront;
};

using Shade = std::function<Rgba(Fragment const&)>;

/// Triangles that do not overlap, with one picture on them.
struct Piece {
    std::vector<Triangle> triangles;
    Picture const* picture;
    Shade shade;
};

Piece MakeQuadPiece(std::array<Vertex, 4> const& c, Picture const& picture, Shade shade) {
    return {{{c[0], c[1], c[3]}, {c[3], c[1], c[2]}}, &picture, std::move(shade)};
}

Shade MakeLight(double light) {
    return [light](Fragment const& f) {
        Rgba color = f.texel;
        for (double& channel : color) {
            channel *= 0.7 * light + 0.3;
        }
        return color;
    };
}

/// A whole rectangle of the texture on one of the screen, depth with x as given.
Piece MakeLit(std::array<double, 4> const& tex, std::array<double, 6> const& at, Picture const& picture, double light) {
    auto const& [s0, t0, s1, t1] = tex;
    auto const& [x0, y0, z0, x1, y1, z1] = at;
    return MakeQuadPiece({{{x0, y0, z0, s0, t0}, {x1, y0, z1, s1, t0}, {x1, y1, z1, s1, t1}, {x0, y1, z0, s0, t1}}},
                         picture, MakeLight(light));
}

/// What is drawn over a blank picture, piece by piece.
struct Scene {
    std::vector<Piece> pieces;
    /// To x, y, z and w of the clip space.
    std::function<glm::dvec4(Vertex const&)> project;
    bool isBlended = false;
    bool isCulled = false;
    bool hasDepth = false;

    /// A triangle on the screen; weights of its corners follow from a point's place by `ToWeights`.
    struct Projected {
        Piece const* piece;
        Triangle const* corners;
        glm::dmat3 toWeights;
        glm::dvec3 depth, w;
        bool isFront;
    };

    std::vector<Projected> Project() const {
        std::vector<Projected> projected;
        for (Piece const& piece : pieces) {
            for (Triangle const& triangle : piece.triangles) {
                glm::dmat3 places(1);
                Projected now{&piece, &triangle, {}, {}, {}, false};
                for (int i = 0; i < 3; ++i) {
                    glm::dvec4 const clip = project(triangle[static_cast<std::size_t>(i)]);
                    places[i] = {clip.x / clip.w, clip.y / clip.w, 1};
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
        }
        return projected;
    }

    Rgba Evaluate(std::vector<Projected> const& projected, double x, double y, bool hasAlpha) const {
        Rgba color{0, 0, 0, hasAlpha ? 0.0 : 1.0};
        double nearest = std::numeric_limits<double>::infinity();
        Piece const* last = nullptr;
        for (Projected const& triangle : projected) {
            glm::dvec3 weight = triangle.toWeights * glm::dvec3(x, y, 1);
            double const depth = glm::dot(weight, triangle.depth);
            bool const isInside = weight[0] >= 0 && weight[1] >= 0 && weight[2] >= 0;
            if (!isInside || triangle.piece == last || (hasDepth && depth >= nearest)) {
                continue;
            }
            last = triangle.piece;
            nearest = depth;
            weight /= triangle.w;
            weight /= weight[0] + weight[1] + weight[2];
            Fragment f{{}, 0, 0, glm::dvec3(0), triangle.isFront};
            for (int i = 0; i < 3; ++i) {
                Vertex const& vertex = (*triangle.corners)[static_cast<std::size_t>(i)];
                f.s += weight[i] * vertex.s;
                f.t += weight[i] * vertex.t;
                f.normal += weight[i] * vertex.normal;
            }
            f.texel = triangle.piece->picture->Sample(f.s, f.t);
            Rgba const source = triangle.piece->shade(f);
            color = Mix(color, source, isBlended ? source[3] : 1.0);
        }
        if (!hasAlpha) {
            color[3] = 1;
        }
        return color;
    }
};

/// A picture by numbers, and where rounding may decide on which side of an edge a pixel lies.
struct Drawing {
    Picture picture;
    std::vector<bool> isUncertain;
};

Drawing Draw(Scene const& scene, unsigned width, unsigned height, bool hasAlpha) {
    Drawing drawing{Picture(width, height, hasAlpha), std::vector<bool>(std::size_t{width} * height)};
    // GLs place vertices to a 256th of a pixel or finer.
    constexpr double kPlaced = 0.01;
    constexpr double kStep = 3.0 / 255.0;
    std::vector<Scene::Projected> const projected = scene.Project();
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            auto const at = [&](double dx, double dy) {
                return scene.Evaluate(projected, 2 * (x + 0.5 + dx) / width - 1, 1 - 2 * (y + 0.5 + dy) / height,
                                      hasAlpha);
            };
            Rgba const color = at(0, 0);
            drawing.picture.At(x, y) = color;
            for (double const dx : {-kPlaced, kPlaced}) {
                for (double const dy : {-kPlaced, kPlaced}) {
                    Rgba const beside = at(dx, dy);
                    for (std::size_t c = 0; c < 4; ++c) {
                        if (std::abs(std::clamp(beside[c], 0.0, 1.0) - std::clamp(color[c], 0.0, 1.0)) > kStep) {
                            drawing.isUncertain[std::size_t{y} * width + x] = true;
                        }
                    }
                }
            }
        }
    }
    return drawing;
}

/// The same through a picture of twice the size.
Drawing DrawFine(Scene const& scene, unsigned width, unsigned height, bool hasAlpha) {
    Drawing const fine = Draw(scene, 2 * width, 2 * height, hasAlpha);
    Drawing drawing{Picture(width, height, hasAlpha), std::vector<bool>(std::size_t{width} * height)};
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            Rgba sum{};
            for (unsigned const i : {0U, 1U, 2U, 3U}) {
                unsigned const fx = 2 * x + i % 2;
                unsigned const fy = 2 * y + i / 2;
                for (std::size_t c = 0; c < 4; ++c) {
                    sum[c] += 0.25 * fine.picture.At(fx, fy)[c];
                }
                if (fine.isUncertain[std::size_t{fy} * 2 * width + fx]) {
                    drawing.isUncertain[std::size_t{y} * width + x] = true;
                }
            }
            drawing.picture.At(x, y) = sum;
        }
    }
    return drawing;
}

testing::AssertionResult IsNear(Picture const& actual, Drawing drawing, double tolerance) {
    std::size_t uncertain = 0;
    for (std::size_t i = 0; i < drawing.isUncertain.size() && i < actual.pixels.size(); ++i) {
        if (drawing.isUncertain[i]) {
            drawing.picture.pixels[i] = actual.pixels[i];
            ++uncertain;
        }
    }
    if (uncertain > actual.pixels.size() / 8) {
        return testing::AssertionFailure() << uncertain << " pixels lie on edges";
    }
    return Tests::IsNear(actual, drawing.picture, tolerance);
}

glm::dvec4 ProjectOrigami(Vertex const& v) {
    return {v.x, v.y, 0, 1 - v.z};
}

std::vector<Size> const kPictureSizes{{48, 30}, {26, 44}, {24, 24}, {33, 19}};

class MeshTransitionsTest : public TransitionFixture {
protected:
    using MakeScene = std::function<Scene(Picture const& first, Picture const& second, double progress)>;

    /// Noise, or smooth ones, so that only geometry counts, the second one's colours those of the first upside down.
    static std::pair<Picture, Picture> MakePictures(Size const& size, bool isNoise) {
        bool const hasAlpha = size.width == size.height || size.width % 2 == 1;
        if (isNoise) {
            return {Picture::Noise(size.width, size.height, hasAlpha, 1),
                    Picture::Noise(size.width, size.height, hasAlpha, 2)};
        }
        Picture const first = Picture::Corners(size.width, size.height, hasAlpha);
        return {first, Picture::Make(size.width, size.height, hasAlpha, [&](unsigned x, unsigned y) {
                    Rgba color = first.At(x, size.height - 1 - y);
                    std::swap(color[0], color[2]);
                    return color;
                })};
    }

    static void Expect(Proc::Settings const& settings, std::vector<double> const& progresses, bool isFine,
                       MakeScene const& makeScene, std::vector<Size> const& sizes) {
        for (Size const& size : sizes) {
            for (double const progress : progresses) {
                bool const isInPlace = progress == 0 || progress == 1;
                auto const [first, second] = MakePictures(size, isFine && isInPlace);
                Scene const scene = makeScene(first, second, progress);
                Drawing const expected = (isFine ? DrawFine : Draw)(scene, size.width, size.height, first.hasAlpha);
                EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = progress}), expected, kDrawnTwice))
                    << Describe(settings) << " at progress " << progress;
            }
        }
    }
};

// Cube.

Scene MakeCube(Picture const& first, Picture const& second, double p) {
    double const a = kPi / 2 * p;
    Scene scene;
    scene.isBlended = true;
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
        return color;
    };
    scene.pieces.push_back(
        MakeQuadPiece({{{-1, -1, 1, 0, 0}, {1, -1, 1, 1, 0}, {1, 1, 1, 1, 1}, {-1, 1, 1, 0, 1}}}, first, feather));
    scene.pieces.push_back(
        MakeQuadPiece({{{1, -1, 1, 0, 0}, {1, -1, -1, 1, 0}, {1, 1, -1, 1, 1}, {1, 1, 1, 0, 1}}}, second, feather));
    return scene;
}

TEST_F(MeshTransitionsTest, CubeTurnsByAQuarter) {
    Expect(Proc::SettingsTransitionCube(), {0.0, 0.13, 0.5, 0.81, 1.0}, false, MakeCube, kPictureSizes);
    // Tall enough to see the feather: 1 % of the face at the ends, half of it in the middle.
    Expect(Proc::SettingsTransitionCube(), {0.0, 0.5}, false, MakeCube, {{161, 600}});
}

// Origami.

Scene MakeValley(Picture const& first, Picture const& second, double p) {
    Scene scene;
    scene.project = ProjectOrigami;
    double const valley = (p - 1) * 0.2;
    double const light = std::sin(p * kPi / 2);
    scene.pieces = {MakeLit({0, 0, 0.5, 1}, {-p, -1, 0, 0, 1, valley}, second, light),
                    MakeLit({0.5, 0, 1, 1}, {0, -1, valley, p, 1, 0}, second, light),
                    MakeLit({0, 0, 0.5, 1}, {-1 - p, -1, 0, -p, 1, 0}, first, 1),
                    MakeLit({0.5, 0, 1, 1}, {p, -1, 0, 1 + p, 1, 0}, first, 1)};
    return scene;
}

Scene MakePleats(Picture const& first, Picture const& second, double p, int n, int d) {
    Scene scene;
    scene.project = ProjectOrigami;
    double const back = (p - 1) * 0.2;
    double const s = std::sin(p * kPi / 2);
    for (int i = 0; i < n; ++i) {
        bool const isEven = i % 2 == 0;
        double const lean = (isEven ? 1 : 2) * (1 - s);
        double const x0 = (2 * p / n * i - 1) * d;
        double const x1 = (2 * p / n * (i + 1) - 1) * d;
        double const s0 = d > 0 ? static_cast<double>(i) / n : 1 - static_cast<double>(i) / n;
        double const s1 = d > 0 ? (i + 1.0) / n : 1 - (i + 1.0) / n;
        scene.pieces.push_back(MakeLit({s0, 0, s1, 1}, {x0, -1, isEven ? 0 : back, x1, 1, isEven ? back : 0}, second,
                                       s / std::hypot(lean, s)));
    }
    scene.pieces.push_back(MakeLit({0, 0, 1, 1}, {2 * p * d - 1, -1, 0, 2 * p * d + 1, 1, 0}, first, 1));
    return scene;
}

Scene MakeFlips(Picture const& first, Picture const& second, double progress, int n) {
    double const p = std::clamp(progress, 0.0, 1.0);
    Scene scene;
    scene.project = ProjectOrigami;
    double const x = static_cast<float>(p) * static_cast<float>(n);
    auto const flat = [&](int from, int to, Picture const& picture) {
        scene.pieces.push_back(MakeLit({0, 1 - static_cast<double>(to) / n, 1, 1 - static_cast<double>(from) / n},
                                       {-1, 1 - 2.0 * to / n, 0, 1, 1 - 2.0 * from / n, 0}, picture, 1));
    };
    flat(1, n, second);
    double const fraction = x - std::floor(x);
    int const m = fraction == 0 ? n - 1 - static_cast<int>(x) : n - static_cast<int>(std::ceil(x));
    if (m < 1) {
        double const dip = 0.1 * std::sin(kPi * fraction);
        double const upper = 1 - 2.0 / n * dip;
        double const lower = 1 - 2.0 / n;
        double const t = 1 - 1.0 / n;
        double const light = (1 - 4 * dip) / std::hypot(4 * dip, 1 - 4 * dip);
        scene.pieces.push_back(MakeQuadPiece(
            {{{-1, upper, -dip, 0, 1}, {1, upper, -dip, 1, 1}, {1, lower, 0, 1, t}, {-1, lower, 0, 0, t}}}, second,
            MakeLight(light)));
        return scene;
    }
    for (int i = 0; i < m; ++i) {
        flat(i, i + 1, first);
    }
    // The picture's lines at the hinge and at the edge that swings.
    bool const isBack = m == 1 && fraction > 0.5;
    double atHinge = 1 - static_cast<double>(m) / n;
    double atEdge = 1 - (m + 1.0) / n;
    if (isBack) {
        atHinge = 1 - 1.0 / n;
        atEdge = 1;
    } else if (m + 1 < n) {
        atHinge = 1 - (m + 2.0) / n;
        atEdge = 1 - (m + 1.0) / n;
    }
    double const s = std::sin(kPi * fraction);
    scene.pieces.push_back(MakeLit({0, atHinge, 1, atEdge},
                                   {-1, 1 - 2.0 * m / n, 0, 1, 1 - 2.0 * (m + std::cos(kPi * fraction)) / n, 0},
                                   isBack ? second : first, (1 - s) / std::hypot(s, 1 - s)));
    return scene;
}

TEST_F(MeshTransitionsTest, ValleyPartsAndUnfolds) {
    Expect(Proc::SettingsTransitionOrigamiValley(), {0.0, 0.11, 0.37, 0.83, 1.0}, true, MakeValley, kPictureSizes);
}

TEST_F(MeshTransitionsTest, PleatsFollowThePictureThatLeaves) {
    for (auto const& [num, dir] : {std::pair{1, 1}, {2, -1}, {5, 1}, {5, -1}}) {
        Proc::SettingsTransitionOrigamiPleats settings;
        settings.SetNum(num);
        settings.SetDir(dir);
        auto const make = [n = num, d = dir](Picture const& first, Picture const& second, double p) {
            return MakePleats(first, second, p, n, d);
        };
        Expect(settings, {0.0, 0.37, 0.71, 1.0}, true, make, {{48, 30}, {26, 44}, {33, 19}});
    }
}

TEST_F(MeshTransitionsTest, FlipsGoUpFromTheBottom) {
    for (int const num : {1, 2, 3, 7}) {
        Proc::SettingsTransitionOrigamiFlips settings;
        settings.SetNum(num);
        auto const make = [num](Picture const& first, Picture const& second, double p) {
            return MakeFlips(first, second, p, num);
        };
        // The last two: where a strip has just come over.
        Expect(settings, {-0.4, 0.0, 0.06, 0.35, 0.44, 0.57, 0.61, 0.78, 0.93, 1.3, 1.0 / num, (num - 1.0) / num},
               false, make, kPictureSizes);
    }
}

TEST_F(MeshTransitionsTest, FoldsLeaveNoCracks) {
    Picture const white = Picture::Flat(97, 61, {1, 1, 1, 1}, true);
    // Of an odd number of pleats the last edge stands back from the picture that leaves. The top flip dips.
    for (auto const& [name, num, dipped] : {std::tuple{"TransitionOrigamiPleats", "10", 0U},
                                            {"TransitionOrigamiValley", "", 0U},
                                            {"TransitionOrigamiFlips", "7", 4U}}) {
        std::unique_ptr<Proc::Settings> const settings = Proc::MakeSettings(name);
        if (*num != '\0') {
            settings->Set("num", num);
        }
        bool const isByRows = dipped != 0;
        for (int step = 0; step <= 40; ++step) {
            Picture const drawn = Run(*settings, white, white, {.progress = step / 40.0});
            for (unsigned i = dipped; i < (isByRows ? white.height : white.width); ++i) {
                EXPECT_GE((isByRows ? drawn.At(48, i) : drawn.At(i, 30))[3], 0.29)
                    << name << " at " << step / 40.0 << ", row or column " << i;
            }
        }
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
    for (int direction = 0; direction < 4; ++direction) {
        for (int step = 0; step <= 20; ++step) {
            SCOPED_TRACE(fmt::format("direction {}, progress {}", direction, step / 20.0));
            std::vector<PageVertex> const page = MakePage(step / 20.0, direction);
            ASSERT_EQ(page.size() % 3, 0U);
            double area = 0;
            std::map<std::pair<double, double>, glm::dvec3> places;
            for (std::size_t i = 0; i < page.size(); i += 3) {
                glm::dvec2 const u = page[i + 1].texCoord - page[i].texCoord;
                glm::dvec2 const v = page[i + 2].texCoord - page[i].texCoord;
                double const part = 0.5 * (u.x * v.y - u.y * v.x);
                EXPECT_GE(part, 0) << "turned round";
                area += part;
                for (std::size_t const k : {0U, 1U, 2U}) {
                    PageVertex const& a = page[i + k];
                    PageVertex const& b = page[i + (k + 1) % 3];
                    // Paper does not stretch: 2 from texture to clip space.
                    EXPECT_NEAR(glm::distance(a.position, b.position), 2 * glm::distance(a.texCoord, b.texCoord), 1e-5);
                    auto const [known, isNew] = places.emplace(std::pair(a.texCoord.x, a.texCoord.y), a.position);
                    EXPECT_TRUE(isNew || glm::distance(known->second, a.position) < 3e-7) << "a crack";
                    EXPECT_LT(std::abs(a.position.z), 2.5) << "clipped";
                }
            }
            EXPECT_NEAR(area, 1, 1e-6);
        }
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
        for (double const progress : {0.0, 0.2, 0.5, 0.77, 1.0}) {
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

TEST(PageGeometry, ATiltedPageShrinksAndTurnsOnItsWay) {
    constexpr float kAspect = 1.5F;
    for (auto const& [progress, amount] :
         {std::pair{0.0, 0.0}, {0.1, 0.3}, {0.4, 1.0}, {0.65, 1.0}, {0.9, 0.3}, {1.0, 0.0}, {-0.5, 0.0}, {1.5, 0.0}}) {
        SCOPED_TRACE(progress);
        Ogl::PagePose const pose = Ogl::MakePagePose(progress, kAspect, true);
        double const size = 1 / (1 + amount * 2 / 3);
        double const c = size * std::cos(amount * kPi / 36);
        double const s = -size * std::sin(amount * kPi / 36);
        glm::mat4 const& m = pose.MVP;
        EXPECT_NEAR(m[0][0], c, 1e-6);
        EXPECT_NEAR(m[0][1], -s * kAspect, 1e-6);
        EXPECT_NEAR(m[1][0], s / kAspect, 1e-6);
        EXPECT_NEAR(m[1][1], c, 1e-6);
        EXPECT_NEAR(m[2][2], 0.4, 1e-6);
        EXPECT_NEAR(m[3][3], 1, 1e-6);
        EXPECT_NEAR(pose.NormalMatrix[2][2], 2.5, 1e-5);
        // Normals stay perpendicular to what they stand on.
        glm::vec3 const inPlane = glm::mat3(m) * glm::vec3(1, 2, 0.5F);
        EXPECT_NEAR(glm::dot(inPlane, pose.NormalMatrix * glm::vec3(2, -1, 0)), 0, 1e-5);
    }
    EXPECT_EQ(Ogl::MakePagePose(0.5, kAspect, false).MVP[0][0], 1.0F);
}

// Page turn: pictures.

Scene MakePageScene(Picture const& first, Picture const& second, double progress, int direction, bool isTilted) {
    Scene scene;
    scene.hasDepth = true;
    Ogl::PagePose const pose =
        Ogl::MakePagePose(progress, static_cast<float>(first.width) / static_cast<float>(first.height), isTilted);
    glm::dmat4 const m(pose.MVP);
    scene.project = [m](Vertex const& v) { return m * glm::dvec4(v.x, v.y, v.z, 1); };
    // Behind the page, which comes into a depth buffer of its own.
    constexpr double kBehind = 2.49;
    scene.pieces.push_back(MakeQuadPiece(
        {{{-1, -1, kBehind, 0, 0}, {1, -1, kBehind, 1, 0}, {1, 1, kBehind, 1, 1}, {-1, 1, kBehind, 0, 1}}}, second,
        [](Fragment const& f) { return f.texel; }));
    std::vector<PageVertex> const page = MakePage(progress, direction);
    glm::dmat3 const normals(pose.NormalMatrix);
    glm::dvec3 const light(direction % 2 == 0 ? 2.0 / 3 : -2.0 / 3, direction < 2 ? 1.0 / 3 : -1.0 / 3, -2.0 / 3);
    auto const shade = [light](Fragment const& f) {
        glm::dvec3 const n = glm::normalize(f.normal);
        Rgba color = f.texel;
        double const d = 0.2 + 0.8 * glm::dot(n, light);
        for (std::size_t c = 0; c < 3; ++c) {
            if (f.isFront) {
                color[c] *= n.z;
            } else {
                double const pale = color[c] + (0.6 - color[c]) * 200 / 255;
                color[c] = d * (pale + 100.0 / 255 / (30 * (1 - d) + d));
            }
        }
        return color;
    };
    for (std::size_t i = 0; i < page.size(); i += 3) {
        Triangle triangle{};
        for (std::size_t k = 0; k < 3; ++k) {
            PageVertex const& v = page[i + k];
            triangle[k] = {v.position.x, v.position.y, v.position.z,
                           v.texCoord.x, v.texCoord.y, glm::normalize(normals * v.normal)};
        }
        scene.pieces.push_back({{triangle}, &first, shade});
    }
    return scene;
}

TEST_F(MeshTransitionsTest, PagesTurnFromEachCornerLitFromBothSides) {
    for (int direction = 0; direction < 4; ++direction) {
        for (int const type : {0, 1}) {
            Proc::SettingsTransitionPageturn settings;
            settings.SetDir(direction);
            settings.SetType(type);
            auto const make = [&](Picture const& first, Picture const& second, double p) {
                return MakePageScene(first, second, p, direction, type != 0);
            };
            Expect(settings, {0.22, 0.48, 0.7}, false, make, {{48, 30}, {25, 41}});
        }
    }
}

TEST_F(MeshTransitionsTest, ThePagesLightIsExact) {
    // Without filtering, and with the smallest uncertainty, over the whole bend of both sides.
    Picture const grey = Picture::Flat(80, 80, {0.5, 0.7, 0.9, 1});
    Picture const red = Picture::Flat(80, 80, {1, 0, 0, 1});
    for (int direction = 0; direction < 4; ++direction) {
        Proc::SettingsTransitionPageturn settings;
        settings.SetDir(direction);
        for (double const progress : {0.55, 0.8}) {
            EXPECT_TRUE(IsNear(Run(settings, grey, red, {.progress = progress}),
                               Draw(MakePageScene(grey, red, progress, direction, false), 80, 80, false), kUnfiltered))
                << Describe(settings) << " at progress " << progress;
        }
    }
}

TEST_F(MeshTransitionsTest, ThePageLiesOverItsBackgroundWithoutHoles) {
    Picture const black = Picture::Flat(160, 90, {0, 0, 0, 1});
    Picture const red = Picture::Flat(160, 90, {1, 0, 0, 1});
    for (int direction = 0; direction < 4; ++direction) {
        Proc::SettingsTransitionPageturn settings;
        settings.SetDir(direction);
        for (double const progress : {0.0, 0.07, 0.21, 0.43, 0.61, 0.86}) {
            Picture const drawn = Run(settings, black, red, {.progress = progress});
            // Red that has no red beside it would be a hole.
            for (unsigned y = 1; y + 1 < drawn.height; ++y) {
                for (unsigned x = 1; x + 1 < drawn.width; ++x) {
                    auto const isRed = [&](unsigned dx, unsigned dy) {
                        Rgba const& c = drawn.At(x + dx - 1, y + dy - 1);
                        return c[0] - c[1] > 0.5;
                    };
                    int around = 0;
                    for (unsigned i = 0; i < 9; ++i) {
                        around += i != 4 && isRed(i % 3, i / 3) ? 1 : 0;
                    }
                    EXPECT_FALSE(isRed(1, 1) && around < 2)
                        << "hole at " << x << ", " << y << ", direction " << direction << ", progress " << progress;
                }
            }
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
