// The transitions that fold, turn and curl pictures, against a rasteriser of plain numbers and the formulas of their
// geometry.

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numbers>
#include <random>

#include <fmt/format.h>
#include <glm/geometric.hpp>
#include <gmock/gmock.h>

#include "Ogl/DataVideoOGL.h"
#include "Proc/Effects/EffectsOgl/Algorithms.h"
#include "Proc/Effects/EffectsOgl/Transitions/PageCurl.h"
#include "Proc/Settings/SettingsMeshTransitions.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Ogl {

class TransitionCube;
class TransitionPageturn;
class TransitionOrigamiValley;
class TransitionOrigamiPleats;
class TransitionOrigamiFlips;

}  // namespace Kaltor::Ogl

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

/// Triangles that do not overlap, with one picture on them.
struct Piece {
    std::vector<Triangle> triangles;
    Picture const* picture;
    std::function<Rgba(Fragment const&)> shade;
};

Piece MakeQuadPiece(std::array<Vertex, 4> const& c, Picture const& picture,
                    std::function<Rgba(Fragment const&)> shade) {
    return {{{c[0], c[1], c[3]}, {c[3], c[1], c[2]}}, &picture, std::move(shade)};
}

/// A whole rectangle of the texture on one of the screen, depth with x as given.
Piece MakeLit(std::array<double, 4> const& tex, std::array<double, 6> const& at, Picture const& picture, double light) {
    auto const& [s0, t0, s1, t1] = tex;
    auto const& [x0, y0, z0, x1, y1, z1] = at;
    return MakeQuadPiece({{{x0, y0, z0, s0, t0}, {x1, y0, z1, s1, t0}, {x1, y1, z1, s1, t1}, {x0, y1, z0, s0, t1}}},
                         picture, [light](Fragment const& f) {
                             Rgba color = f.texel;
                             for (double& channel : color) {
                                 channel *= 0.7 * light + 0.3;
                             }
                             return color;
                         });
}

/// What is drawn over a blank picture, piece by piece.
struct Scene {
    std::vector<Piece> pieces;
    /// To x, y, z and w of the clip space.
    std::function<glm::dvec4(Vertex const&)> project;
    bool isBlended = false;
    bool isCulled = false;
    bool hasDepth = false;

    struct Hit {
        Fragment fragment;
        double depth;
    };

    std::optional<Hit> Find(Piece const& piece, double x, double y) const {
        for (Triangle const& triangle : piece.triangles) {
            std::array<glm::dvec4, 3> clip;
            std::array<glm::dvec2, 3> at;
            for (std::size_t i = 0; i < 3; ++i) {
                clip[i] = project(triangle[i]);
                at[i] = glm::dvec2(clip[i]) / clip[i].w;
            }
            auto const cross = [](glm::dvec2 const& a, glm::dvec2 const& b) { return a.x * b.y - a.y * b.x; };
            double const area = cross(at[1] - at[0], at[2] - at[0]);
            if (area == 0 || (isCulled && area < 0)) {
                continue;
            }
            glm::dvec2 const p(x, y);
            std::array<double, 3> weight{cross(at[2] - at[1], p - at[1]) / area, cross(at[0] - at[2], p - at[2]) / area,
                                         cross(at[1] - at[0], p - at[0]) / area};
            if (weight[0] < 0 || weight[1] < 0 || weight[2] < 0) {
                continue;
            }
            double sum = 0;
            double depth = 0;
            for (std::size_t i = 0; i < 3; ++i) {
                depth += weight[i] * clip[i].z / clip[i].w;
                weight[i] /= clip[i].w;
                sum += weight[i];
            }
            Fragment f{{}, 0, 0, glm::dvec3(0), area > 0};
            for (std::size_t i = 0; i < 3; ++i) {
                f.s += weight[i] / sum * triangle[i].s;
                f.t += weight[i] / sum * triangle[i].t;
                f.normal += weight[i] / sum * triangle[i].normal;
            }
            f.texel = piece.picture->Sample(f.s, f.t);
            return Hit{f, depth};
        }
        return std::nullopt;
    }

    Rgba Evaluate(double x, double y, bool hasAlpha) const {
        Rgba color{0, 0, 0, hasAlpha ? 0.0 : 1.0};
        double nearest = std::numeric_limits<double>::infinity();
        for (Piece const& piece : pieces) {
            std::optional<Hit> const hit = Find(piece, x, y);
            if (!hit || (hasDepth && hit->depth >= nearest)) {
                continue;
            }
            nearest = hit->depth;
            Rgba const source = piece.shade(hit->fragment);
            double const weight = isBlended ? source[3] : 1.0;
            for (std::size_t c = 0; c < 4; ++c) {
                color[c] = source[c] * weight + color[c] * (1 - weight);
            }
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
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            auto const at = [&](double dx, double dy) {
                return scene.Evaluate(2 * (x + 0.5 + dx) / width - 1, 1 - 2 * (y + 0.5 + dy) / height, hasAlpha);
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

struct Size {
    unsigned width;
    unsigned height;
};
constexpr std::array<Size, 4> kSizes{{{48, 30}, {26, 44}, {24, 24}, {33, 19}}};

/// Smooth pictures, so that only geometry counts; the second one's colours are those of the first upside down.
std::pair<Picture, Picture> MakePictures(Size const& size, bool hasAlpha) {
    Picture const first = Picture::Corners(size.width, size.height, hasAlpha);
    Picture const second = Picture::Make(size.width, size.height, hasAlpha, [&](unsigned x, unsigned y) {
        Rgba color = first.At(x, size.height - 1 - y);
        std::swap(color[0], color[2]);
        return color;
    });
    return {first, second};
}

class MeshTransitionsTest : public GlTest {
protected:
    using MakeScene = std::function<Scene(Picture const& first, Picture const& second, double progress)>;

    static void Expect(Proc::Settings const& settings, std::vector<double> const& progresses, bool isFine,
                       MakeScene const& makeScene, double tolerance = kDrawnTwice) {
        for (Size const& size : kSizes) {
            bool const hasAlpha = size.width == size.height || size.width % 2 == 1;
            auto const [first, second] = MakePictures(size, hasAlpha);
            for (double const progress : progresses) {
                Scene const scene = makeScene(first, second, progress);
                Drawing const expected = (isFine ? DrawFine : Draw)(scene, size.width, size.height, hasAlpha);
                EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = progress}), expected, tolerance))
                    << Describe(settings) << " at progress " << progress;
            }
        }
    }

    /// What the picture must be at a progress, in all sizes, of noise, to the byte unless told otherwise.
    static void ExpectEnd(Proc::Settings const& settings, double progress, bool isFirst, double tolerance = 0) {
        for (Size const& size : {Size{48, 27}, {27, 48}, {31, 31}, {33, 17}, {64, 36}, {1, 9}}) {
            for (bool const hasAlpha : {false, true}) {
                Picture const first = Picture::Noise(size.width, size.height, hasAlpha, 1);
                Picture const second = Picture::Noise(size.width, size.height, hasAlpha, 2);
                EXPECT_TRUE(Tests::IsNear(Run(settings, first, second, {.progress = progress}),
                                          isFirst ? first : second, tolerance))
                    << Describe(settings) << " at progress " << progress;
            }
        }
    }

    static std::string Describe(Proc::Settings const& settings) {
        std::string text = settings.GetClassId();
        for (Proc::Field const& field : settings.GetFields()) {
            text += fmt::format(" {}={}", field.key, field.Format(field.get(settings)));
        }
        return text;
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
    // The feathers of the edges are narrower than a pixel: what is there depends on the GL's sampling.
    Expect(Proc::SettingsTransitionCube(), {0.0, 0.13, 0.5, 0.81, 1.0}, false, MakeCube);
}

TEST_F(MeshTransitionsTest, CubeShowsOneFaceAtItsEndsAndBothHalvesInTheMiddle) {
    Proc::SettingsTransitionCube const settings;
    Picture const red = Picture::Flat(64, 64, {1, 0, 0, 1}, true);
    Picture const blue = Picture::Flat(64, 64, {0, 0, 1, 1}, true);
    auto const count = [](Picture const& picture, std::size_t channel) {
        return std::count_if(picture.pixels.begin(), picture.pixels.end(),
                             [channel](Rgba const& c) { return c[channel] > 0.99 && c[3] > 0.99; });
    };
    Picture const start = Run(settings, red, blue, {.progress = 0.0});
    EXPECT_EQ(count(start, 2), 0);
    EXPECT_GE(count(start, 0), 64 * 62);  // all but the feathered rows
    Picture const end = Run(settings, red, blue, {.progress = 1.0});
    EXPECT_EQ(count(end, 0), 0);
    EXPECT_GE(count(end, 2), 64 * 62);
    Picture const middle = Run(settings, red, blue, {.progress = 0.5});
    EXPECT_NEAR(static_cast<double>(count(middle, 0)), static_cast<double>(count(middle, 2)), 32);
    EXPECT_GT(middle.At(31, 32)[0], 0.99);  // the front face goes to the left
    EXPECT_GT(middle.At(32, 32)[2], 0.99);
    EXPECT_EQ(middle.At(0, 0)[3], 0.0);  // above the edge that leans back
    // Wide enough to see the feather: 1 % of the face at the ends, half of it in the middle.
    Picture const tall = Picture::Flat(4, 1000, {1, 1, 1, 1}, true);
    // Rows 1 and on lie on the face at p = 0, which covers 0.998 of the height: row r is (r + 0.5 - 0.94) / 998.1
    // below.
    Picture const feathered = Run(settings, tall, tall, {.progress = 0.0});
    constexpr double kFace = 2.4142136 * 1.17 / (4 - 1.17);
    for (unsigned const row : {2U, 4U, 7U}) {
        double const t = ((row + 0.5) / 500 - 1 + kFace) / (2 * kFace);
        double const alpha = 100 * t;
        EXPECT_NEAR(feathered.At(2, row)[3], alpha * alpha, 2.5 / 255) << row;  // blended over nothing
        EXPECT_NEAR(feathered.At(2, row)[0], alpha, 2.5 / 255) << row;
    }
    EXPECT_NEAR(feathered.At(2, 14)[3], 1.0, 1e-9);
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

Scene MakeFlips(Picture const& first, Picture const& second, double p, int n) {
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
            [light](Fragment const& f) {
                Rgba color = f.texel;
                for (double& channel : color) {
                    channel *= 0.7 * light + 0.3;
                }
                return color;
            }));
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
    Expect(Proc::SettingsTransitionOrigamiValley(), {0.0, 0.11, 0.37, 0.5, 0.83, 1.0}, true, MakeValley);
}

TEST_F(MeshTransitionsTest, PleatsFollowThePictureThatLeaves) {
    for (int const num : {1, 2, 5}) {
        for (int const dir : {1, -1}) {
            Proc::SettingsTransitionOrigamiPleats settings;
            settings.SetNum(num);
            settings.SetDir(dir);
            Expect(settings, {0.0, 0.37, 0.71, 1.0}, true, [&](Picture const& first, Picture const& second, double p) {
                return MakePleats(first, second, p, num, dir);
            });
        }
    }
}

TEST_F(MeshTransitionsTest, FlipsGoUpFromTheBottom) {
    for (int const num : {1, 2, 3, 7}) {
        Proc::SettingsTransitionOrigamiFlips settings;
        settings.SetNum(num);
        std::vector<double> progresses{0.0, 0.06, 0.35, 0.44, 0.57, 0.61, 0.78, 0.93, 1.0};
        for (double const whole : {1.0 / num, (num - 1.0) / num}) {  // where a strip has just come over
            progresses.push_back(whole);
        }
        Expect(settings, progresses, false,
               [&](Picture const& first, Picture const& second, double p) { return MakeFlips(first, second, p, num); });
    }
}

TEST_F(MeshTransitionsTest, OrigamiBeginsAndEndsInPlace) {
    // Through a picture of twice the size each texel gives 1/8 to its neighbours, along both axes.
    auto const soften = [](Picture const& picture) {
        return Picture::Make(picture.width, picture.height, picture.hasAlpha, [&](unsigned x, unsigned y) {
            Rgba sum{};
            for (int const i : {-1, 0, 1}) {
                for (int const j : {-1, 0, 1}) {
                    auto const clamp = [](unsigned at, int by, unsigned size) {
                        return static_cast<unsigned>(
                            std::clamp(static_cast<int>(at) + by, 0, static_cast<int>(size) - 1));
                    };
                    Rgba const& texel = picture.At(clamp(x, i, picture.width), clamp(y, j, picture.height));
                    double const weight = (i == 0 ? 0.75 : 0.125) * (j == 0 ? 0.75 : 0.125);
                    for (std::size_t c = 0; c < 4; ++c) {
                        sum[c] += weight * texel[c];
                    }
                }
            }
            return sum;
        });
    };
    for (Size const& size : kSizes) {
        for (bool const hasAlpha : {false, true}) {
            Picture const first = Picture::Noise(size.width, size.height, hasAlpha, 1);
            Picture const second = Picture::Noise(size.width, size.height, hasAlpha, 2);
            Proc::SettingsTransitionOrigamiPleats toTheLeft;
            toTheLeft.SetDir(-1);
            Proc::SettingsTransitionOrigamiPleats const toTheRight;
            Proc::SettingsTransitionOrigamiValley const valley;
            for (Proc::Settings const* const settings :
                 std::initializer_list<Proc::Settings const*>{&valley, &toTheLeft, &toTheRight}) {
                EXPECT_TRUE(Tests::IsNear(Run(*settings, first, second, {.progress = 0}), soften(first), kDrawnTwice))
                    << Describe(*settings);
                EXPECT_TRUE(Tests::IsNear(Run(*settings, first, second, {.progress = 1}), soften(second), kDrawnTwice))
                    << Describe(*settings);
            }
        }
    }
    for (int const num : {1, 2, 6, 13}) {
        Proc::SettingsTransitionOrigamiFlips settings;
        settings.SetNum(num);
        ExpectEnd(settings, 0.0, num > 1);  // one strip alone only dips
        ExpectEnd(settings, 1.0, false);
        ExpectEnd(settings, -0.4, num > 1);  // out of its span
        ExpectEnd(settings, 1.3, false);
    }
}

TEST_F(MeshTransitionsTest, FoldsLeaveNoCracks) {
    Picture const white = Picture::Flat(97, 61, {1, 1, 1, 1}, true);
    for (int step = 0; step <= 40; ++step) {
        double const progress = step / 40.0;
        Proc::SettingsTransitionOrigamiPleats pleats;
        pleats.SetNum(10);  // of an odd number the last edge stands back from the picture that leaves
        Proc::SettingsTransitionOrigamiValley const valley;
        for (Proc::Settings const* const settings : std::initializer_list<Proc::Settings const*>{&pleats, &valley}) {
            Picture const drawn = Run(*settings, white, white, {.progress = progress});
            for (unsigned x = 0; x < white.width; ++x) {
                EXPECT_GE(drawn.At(x, 30)[3], 0.29) << settings->GetClassId() << " at " << progress << ", column " << x;
            }
        }
        Proc::SettingsTransitionOrigamiFlips flips;
        flips.SetNum(7);
        Picture const drawn = Run(flips, white, white, {.progress = progress});
        for (unsigned y = 4; y < white.height; ++y) {  // above, the top strip dips
            EXPECT_GE(drawn.At(48, y)[3], 0.29) << "flips at " << progress << ", row " << y;
        }
    }
}

TEST_F(MeshTransitionsTest, OrigamiRefusesWhatItCannotFold) {
    Proc::SettingsTransitionOrigamiPleats pleats;
    pleats.SetNum(0);
    EXPECT_THROW(MakeTransition(pleats), std::invalid_argument);
    pleats.SetNum(3);
    pleats.SetDir(0);
    EXPECT_THROW(MakeTransition(pleats), std::invalid_argument);
    Proc::SettingsTransitionOrigamiFlips flips;
    flips.SetNum(0);
    EXPECT_THROW(MakeTransition(flips), std::invalid_argument);
}

// Page turn: geometry.

/// The spline through five knots a quarter apart. Of the second derivatives the first is 0, and for the last one the
/// equation of the knot before is taken once more; by elimination without regard to the bands of the matrix.
double EvaluateSpline(std::array<double, 5> const& y, double at) {
    constexpr double h = 0.25;
    std::array<std::array<double, 5>, 4> rows{{{4, 1, 0, 0, 0}, {1, 4, 1, 0, 0}, {0, 1, 4, 1, 0}, {0, 0, 1, 4, 0}}};
    for (std::size_t i = 0; i < 4; ++i) {
        std::size_t const knot = std::min<std::size_t>(i, 2);
        rows[i][4] = 6 * (y[knot] - 2 * y[knot + 1] + y[knot + 2]) / (h * h);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t j = 0; j < 4; ++j) {
            double const factor = i == j ? 0 : rows[j][i] / rows[i][i];
            for (std::size_t k = 0; k < 5; ++k) {
                rows[j][k] -= factor * rows[i][k];
            }
        }
    }
    std::array<double, 5> c{};
    for (std::size_t i = 0; i < 4; ++i) {
        c[i + 1] = rows[i][4] / rows[i][i];
    }
    auto const i = static_cast<std::size_t>(std::min(3.0, std::floor(at / h)));
    double const b = at / h - static_cast<double>(i);
    double const a = 1 - b;
    return a * y[i] + b * y[i + 1] + ((a * a * a - a) * c[i] + (b * b * b - b) * c[i + 1]) * h * h / 6;
}

constexpr std::array<std::array<double, 5>, 4> kPathX{
    {{0, 48, 107, 191, 251}, {56, 37, 60, 130, 215}, {113, 72, 123, 133, 183}, {170, 170, 170, 170, 170}}};
constexpr std::array<std::array<double, 5>, 4> kPathY{
    {{240, 149, 54, 18, 14}, {240, 182, 108, 28, 0}, {240, 187, 140, 89, 6}, {240, 190, 140, 90, 40}}};

TEST(PageGeometry, ControlPointsMoveAlongSplines) {
    // Second derivatives 0, -2.4, -2.4.
    Ogl::CubicSpline const hump({0, 1, 2}, {0, 1, 0});
    for (auto const& [x, y] :
         {std::pair{0.0, 0.0}, {0.5, 0.65}, {1.0, 1.0}, {1.5, 0.8}, {2.0, 0.0}, {-1.0, 0.0}, {3.0, -2.2}}) {
        EXPECT_NEAR(hump.Evaluate(x), y, 1e-12) << x;
    }
    Ogl::PageCurl const page;
    for (int step = 0; step <= 40; ++step) {
        double const at = step / 40.0;
        Ogl::BezierCurve const curve = page.GetCurve(at);
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_NEAR(curve[i].x, EvaluateSpline(kPathX[i], at), 1e-4) << "x of point " << i << " at " << at;
            EXPECT_NEAR(curve[i].y, EvaluateSpline(kPathY[i], at), 1e-4) << "y of point " << i << " at " << at;
        }
    }
}

TEST(PageGeometry, TheLengthIsThatOfTheCurve) {
    for (double const at : {0.0, 0.1, 0.25, 0.4, 0.6, 0.9, 1.0}) {
        Ogl::BezierCurve const p = Ogl::PageCurl().GetCurve(at);
        constexpr int kPieces = 20000;
        double integral = 0;
        for (int i = 0; i < kPieces; ++i) {
            double const s = (i + 0.5) / kPieces;
            glm::dvec2 const speed = 3 * (1 - s) * (1 - s) * glm::dvec2(p[1] - p[0]) +
                                     6 * s * (1 - s) * glm::dvec2(p[2] - p[1]) + 3 * s * s * glm::dvec2(p[3] - p[2]);
            integral += glm::length(speed) / kPieces;
        }
        EXPECT_NEAR(Ogl::CurveLength(p, 0, 8), integral, integral * 2e-5) << at;
        EXPECT_NEAR(Ogl::CurveLength(p, 0, 0), glm::distance(p[0], p[3]), 1e-4) << at;
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

double GetArea(glm::dvec2 const& a, glm::dvec2 const& b, glm::dvec2 const& c) {
    return 0.5 * ((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
}

TEST(PageGeometry, StripsTileThePageWithoutCracksAndKeepItsMeasures) {
    int inexact = 0;
    std::mt19937 random(5);
    std::uniform_real_distribution<double> uniform(0, 1);
    for (int direction = 0; direction < 4; ++direction) {
        for (int step = 0; step <= 20; ++step) {
            double const progress = step / 20.0;
            SCOPED_TRACE(fmt::format("direction {}, progress {}", direction, progress));
            std::vector<PageVertex> const page = MakePage(progress, direction);
            ASSERT_EQ(page.size() % 3, 0U);
            EXPECT_LT(page.size(), 400U);
            double area = 0;
            std::map<std::pair<double, double>, glm::dvec3> places;
            for (std::size_t i = 0; i < page.size(); i += 3) {
                double const part = GetArea(page[i].texCoord, page[i + 1].texCoord, page[i + 2].texCoord);
                EXPECT_GE(part, 0) << "turned round";
                area += part;
                for (std::size_t const k : {0U, 1U, 2U}) {
                    PageVertex const& a = page[i + k];
                    PageVertex const& b = page[i + (k + 1) % 3];
                    // Paper does not stretch: 2 from texture to clip space.
                    EXPECT_NEAR(glm::distance(a.position, b.position), 2 * glm::distance(a.texCoord, b.texCoord), 1e-5);
                    auto const [known, isNew] = places.emplace(std::pair(a.texCoord.x, a.texCoord.y), a.position);
                    EXPECT_TRUE(isNew || glm::distance(known->second, a.position) < 3e-7) << "a crack";
                    inexact += isNew || glm::dvec2(known->second) == glm::dvec2(a.position) ? 0 : 1;
                    EXPECT_LT(std::abs(a.position.z), 2.5) << "clipped";
                }
            }
            EXPECT_NEAR(area, 1, 1e-6);
            for (int i = 0; i < 50; ++i) {
                glm::dvec2 const at(uniform(random), uniform(random));
                int count = 0;
                for (std::size_t k = 0; k < page.size(); k += 3) {
                    bool const isIn = GetArea(page[k].texCoord, page[k + 1].texCoord, at) > 0 &&
                                      GetArea(page[k + 1].texCoord, page[k + 2].texCoord, at) > 0 &&
                                      GetArea(page[k + 2].texCoord, page[k].texCoord, at) > 0;
                    count += isIn ? 1 : 0;
                }
                EXPECT_EQ(count, 1) << at.x << ", " << at.y;
            }
        }
    }
    EXPECT_LE(inexact, 10) << "vertices of several strips that the strips place a rounding apart";
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
            double const length = Ogl::CurveLength(p, 0, 10);
            // The curve, by its own length: place and direction.
            constexpr int kPieces = 4000;
            std::vector<std::array<double, 5>> curve;  // length so far, x, y, tangent
            double travelled = 0;
            glm::dvec2 previous(p[0]);
            for (int i = 0; i <= kPieces; ++i) {
                double const s = static_cast<double>(i) / kPieces;
                double const r = 1 - s;
                glm::dvec2 const at = r * r * r * glm::dvec2(p[0]) + 3 * s * r * r * glm::dvec2(p[1]) +
                                      3 * s * s * r * glm::dvec2(p[2]) + s * s * s * glm::dvec2(p[3]);
                glm::dvec2 const tangent =
                    glm::normalize(r * r * glm::dvec2(p[1] - p[0]) + 2 * s * r * glm::dvec2(p[2] - p[1]) +
                                   s * s * glm::dvec2(p[3] - p[2]));
                travelled += glm::distance(at, previous);
                curve.push_back({travelled / length, at.x, at.y, tangent.x, tangent.y});
                previous = at;
            }
            for (PageVertex const& vertex : MakePage(progress, direction)) {
                double const along = glm::dot(way.along, vertex.texCoord - way.corner) / extent;
                auto const at = std::lower_bound(curve.begin(), curve.end() - 1, along,
                                                 [](auto const& point, double value) { return point[0] < value; });
                // Past the corner along the curve, which ends at the page's far side; straight on the way across.
                double const x = (1 + ((*at)[1] - p[3].x) / length) * extent;
                double const y = ((*at)[2] - p[0].y) / length * extent;
                glm::dvec2 const across =
                    vertex.texCoord - way.corner - glm::dot(way.along, vertex.texCoord - way.corner) * way.along;
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
            for (Size const& size : {Size{48, 30}, {25, 41}}) {
                bool const hasAlpha = size.width % 2 == 1;
                auto const [first, second] = MakePictures(size, hasAlpha);
                for (double const progress : {0.22, 0.48, 0.7}) {
                    Scene const scene = MakePageScene(first, second, progress, direction, type != 0);
                    EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = progress}),
                                       Draw(scene, size.width, size.height, hasAlpha), kDrawnTwice))
                        << Describe(settings) << " at progress " << progress;
                }
            }
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
        for (double const progress : {0.3, 0.55, 0.7, 0.8}) {
            EXPECT_TRUE(IsNear(Run(settings, grey, red, {.progress = progress}),
                               Draw(MakePageScene(grey, red, progress, direction, false), 80, 80, false), kUnfiltered))
                << Describe(settings) << " at progress " << progress;
        }
    }
}

TEST_F(MeshTransitionsTest, PagesLieInPlaceInTheEnd) {
    for (int direction = 0; direction < 4; ++direction) {
        for (int const type : {0, 1}) {
            Proc::SettingsTransitionPageturn settings;
            settings.SetDir(direction);
            settings.SetType(type);
            ExpectEnd(settings, 0.0, true);
            ExpectEnd(settings, 1.0, false);
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

// All of them.

TEST_F(MeshTransitionsTest, FramesDoNotDependOnTheirOrderNorOnEarlierSettings) {
    Picture const first = Picture::Noise(40, 26, false, 1);
    Picture const second = Picture::Noise(40, 26, false, 2);
    auto const draw = [&](Proc::ITwoInputEffectVideo& effect, double progress) {
        Proc::TimeToProgress mapping;
        mapping.mapping = [progress](long long const&, long long const&, long long const&) { return progress; };
        effect.SetProgress(mapping);
        boost::intrusive_ptr<Proc::IDataVideo> data = first.ToFrame();
        effect.Process(data, second.ToFrame());
        return Picture::FromFrame(*Download(data));
    };
    for (char const* const name : {"TransitionCube", "TransitionPageturn", "TransitionOrigamiValley",
                                   "TransitionOrigamiPleats", "TransitionOrigamiFlips"}) {
        std::unique_ptr<Proc::Settings> const settings = Proc::MakeSettings(name);
        auto const effect = MakeTransition(*settings);
        Picture const once = draw(*effect, 0.7);
        Picture const other = draw(*effect, 0.2);
        EXPECT_TRUE(Tests::IsNear(draw(*effect, 0.7), once, kFiltered)) << name;
        EXPECT_FALSE(Tests::IsNear(other, once, kFiltered)) << name;
    }
    // A change of the count between frames rebuilds what depends on it.
    Proc::SettingsTransitionOrigamiPleats pleats;
    auto const fan = MakeTransition(pleats);
    Proc::SettingsTransitionOrigamiFlips flips;
    auto const strips = MakeTransition(flips);
    draw(*fan, 0.4);
    draw(*strips, 0.4);
    for (int const num : {3, 11, 1}) {
        pleats.SetNum(num);
        pleats.SetDir(num == 11 ? -1 : 1);
        flips.SetNum(num);
        fan->SetSettings(pleats);
        strips->SetSettings(flips);
        EXPECT_TRUE(Tests::IsNear(draw(*fan, 0.4), Run(pleats, first, second, {.progress = 0.4}), kFiltered)) << num;
        EXPECT_TRUE(Tests::IsNear(draw(*strips, 0.4), Run(flips, first, second, {.progress = 0.4}), kFiltered)) << num;
    }
}

TEST_F(MeshTransitionsTest, CachesMustBeTheirOwn) {
    std::vector<std::unique_ptr<Ogl::ITransitionAlgorithm>> all;
    all.push_back(Ogl::MakeTransition<Ogl::TransitionCube>());
    all.push_back(Ogl::MakeTransition<Ogl::TransitionPageturn>());
    all.push_back(Ogl::MakeTransition<Ogl::TransitionOrigamiValley>());
    all.push_back(Ogl::MakeTransition<Ogl::TransitionOrigamiPleats>());
    all.push_back(Ogl::MakeTransition<Ogl::TransitionOrigamiFlips>());
    OnGl([&](Ogl::ShaderStorage const& storage) {
        auto const make = [] {
            boost::intrusive_ptr<Ogl::DataVideoOGL> const frame = Ogl::DataVideoOGL::Create(PixFmt::Rgba, {8, 6, 1, 1});
            frame->FrameData().Allocate(PixFmt::Rgba, 8, 6);
            return frame;
        };
        auto const dst = make();
        auto const src = make();
        for (auto const& transition : all) {
            EXPECT_THROW(transition->Processing(dst.get(), src, src, 0, 0.5, storage, nullptr), std::logic_error);
            Ogl::OglCache foreign;
            EXPECT_THROW(transition->Processing(dst.get(), src, src, 0, 0.5, storage, &foreign), std::bad_cast);
            std::unique_ptr<Ogl::OglCache> const own(transition->CreateCache());
            EXPECT_NO_THROW(transition->Processing(dst.get(), src, src, 0, 0.5, storage, own.get()));
        }
    });
}

}  // namespace
}  // namespace Kaltor::Tests
