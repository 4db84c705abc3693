// A picture that is made smaller by more than 2 with linear filtering leaves texels out: fine detail turns to moire and
// flickers when it moves. Here each pixel is the exact mean over its footprint. Without alpha one linear sample reads
// four texels; it is placed between them so that their relative weights are right. With alpha each texel is read alone,
// since colours have to be weighted by alpha before they are added.

#include "Ogl/Minify.h"

#include <algorithm>
#include <cmath>
#include <string>

#include <fmt/format.h>

#include "Ogl/ShaderStorage.h"

namespace Kaltor::Ogl {
namespace {

/// Texels by which a picture may drift across the target before it counts as scaled: single precision reaches it.
constexpr double kDrift = 0.01;

// Texels along one axis, from the first that the footprint [low, high] touches. `bias` makes the first one certain
// where footprints begin on texels' edges.
constexpr char kOpaque[] = R"glsl(
uniform sampler2D tex;
uniform vec2 size;       // texels
uniform vec2 footprint;  // texels
uniform float bias;
varying vec2 TexCoord0;

// Two texels from `first` on: the place of a linear sample, and its weight.
vec2 Tap(float first, float low, float high) {
    float one = max(min(first + 1.0, high) - max(first, low), 0.0);
    float two = max(min(first + 2.0, high) - max(first + 1.0, low), 0.0);
    return vec2(first + 0.5 + two / max(one + two, 1.0e-6), one + two);
}

void main() {
    vec2 low = TexCoord0 * size - 0.5 * footprint;
    vec2 high = low + footprint;
    vec2 first = floor(low + vec2(bias));
    vec2 texel = vec2(1.0) / size;
    vec4 sum = vec4(0.0);
    for (int j = 0; j < COUNT_Y; ++j) {
        vec2 y = Tap(first.y + 2.0 * float(j), low.y, high.y);
        for (int i = 0; i < COUNT_X; ++i) {
            vec2 x = Tap(first.x + 2.0 * float(i), low.x, high.x);
            sum += texture2D(tex, vec2(x.x, y.x) * texel) * (x.y * y.y);
        }
    }
    gl_FragColor = sum / (footprint.x * footprint.y);
}
)glsl";

constexpr char kWithAlpha[] = R"glsl(
uniform sampler2D tex;
uniform vec2 size;
uniform vec2 footprint;
uniform float bias;
varying vec2 TexCoord0;
void main() {
    vec2 low = TexCoord0 * size - 0.5 * footprint;
    vec2 high = low + footprint;
    vec2 first = floor(low + vec2(bias));
    vec4 sum = vec4(0.0);
    for (int j = 0; j < COUNT_Y; ++j) {
        float y = first.y + float(j);
        float weight = max(min(y + 1.0, high.y) - max(y, low.y), 0.0);
        for (int i = 0; i < COUNT_X; ++i) {
            float x = first.x + float(i);
            vec4 color = texture2D(tex, (vec2(x, y) + vec2(0.5)) / size);
            sum += vec4(color.rgb * color.a, color.a) * (weight * max(min(x + 1.0, high.x) - max(x, low.x), 0.0));
        }
    }
    gl_FragColor = Straight(sum.rgb / sum.a, sum.a / (footprint.x * footprint.y));
}
)glsl";

/// Samples along one axis. Small counts are constants in the program, so that its loops are unrolled; larger ones are
/// uniforms.
constexpr int kMostWritten = 4;

bool IsWritten(std::array<int, 2> const& counts) {
    return std::max(counts[0], counts[1]) <= kMostWritten;
}

Shader const& FindProgram(ShaderStorage const& storage, bool isOpaque, std::array<int, 2> const& counts) {
    bool const isWritten = IsWritten(counts);
    std::string const name = fmt::format("Mean_{}_{}", isOpaque ? "opaque" : "alpha",
                                         isWritten ? fmt::format("{}x{}", counts[0], counts[1]) : "many");
    if (Shader const* const known = storage.FindShader(name)) {
        return *known;
    }
    std::string const numbers =
        isWritten ? fmt::format("#define COUNT_X {}\n#define COUNT_Y {}\n", counts[0], counts[1])
                  : "uniform int count_x;\nuniform int count_y;\n#define COUNT_X count_x\n#define COUNT_Y count_y\n";
    return storage.MakeShader(name, kQuadVertex,
                              {kGlslVersion, numbers.c_str(), kStraightAlpha, isOpaque ? kOpaque : kWithAlpha});
}

/// The change of texture coordinates from pixel to pixel over one of the quad's triangles.
struct Slope {
    double sx = 0.0, sy = 0.0, tx = 0.0, ty = 0.0;
    bool hasArea = true;
};

Slope GetSlope(Mesh::Corners const& corners, std::array<std::size_t, 3> const& triangle, double width, double height) {
    auto const at = [&](std::size_t vertex, std::size_t item) {
        return static_cast<double>(corners[4 * triangle[vertex] + item]);
    };
    double const x1 = (at(1, 2) - at(0, 2)) * width / 2.0;
    double const y1 = (at(1, 3) - at(0, 3)) * height / 2.0;
    double const x2 = (at(2, 2) - at(0, 2)) * width / 2.0;
    double const y2 = (at(2, 3) - at(0, 3)) * height / 2.0;
    double const area = x1 * y2 - x2 * y1;
    if (area == 0.0) {
        return {0, 0, 0, 0, false};
    }
    double const s1 = at(1, 0) - at(0, 0);
    double const s2 = at(2, 0) - at(0, 0);
    double const t1 = at(1, 1) - at(0, 1);
    double const t2 = at(2, 1) - at(0, 1);
    return {(s1 * y2 - s2 * y1) / area, (s2 * x1 - s1 * x2) / area, (t1 * y2 - t2 * y1) / area,
            (t2 * x1 - t1 * x2) / area, true};
}

bool IsWhole(double value) {
    return std::fabs(value - std::round(value)) < kDrift;
}

}  // namespace

Footprint::Footprint(Mesh::Corners const& corners, std::uint32_t width, std::uint32_t height,
                     std::array<int, 4> const& viewport) {
    auto const columns = static_cast<double>(width);
    auto const rows = static_cast<double>(height);
    auto const pixelsX = static_cast<double>(viewport[2]);
    auto const pixelsY = static_cast<double>(viewport[3]);
    Slope const one = GetSlope(corners, {0, 1, 3}, pixelsX, pixelsY);
    Slope const two = GetSlope(corners, {3, 1, 2}, pixelsX, pixelsY);
    if (!one.hasArea || !two.hasArea) {
        return;
    }
    // If the quad is bent, the side that shrinks less decides: sharpness matters more than smoothness. For a quad
    // smaller than a pixel the mean covers the whole picture.
    auto const texels = [](double x1, double y1, double x2, double y2, double count) {
        return std::clamp(std::min(std::hypot(x1, y1), std::hypot(x2, y2)) * count, 1.0, count);
    };
    s = texels(one.sx, one.sy, two.sx, two.sy, columns);
    t = texels(one.tx, one.ty, two.tx, two.ty, rows);
    // Rounding errors may add up a little along the whole quad.
    isMinified = (s - 1.0) * pixelsX > kDrift || (t - 1.0) * pixelsY > kDrift;

    bool const isUpright =
        std::fabs(one.sy * pixelsY * columns) < kDrift && std::fabs(one.tx * pixelsX * rows) < kDrift;
    // Whether each pixel covers a whole number of texels, with edges aligned. The first corner's edges decide.
    auto const isAligned = [](double texelsPerPixel, double pixels, double texel, double edge) {
        double const whole = std::round(texelsPerPixel);
        return whole != 0.0 && std::fabs(texelsPerPixel - whole) * pixels < kDrift && IsWhole(texel - whole * edge);
    };
    isOnTexels = isUpright &&
                 isAligned(one.sx * columns, pixelsX, static_cast<double>(corners[0]) * columns,
                           (static_cast<double>(corners[2]) + 1.0) * pixelsX / 2.0) &&
                 isAligned(one.ty * rows, pixelsY, static_cast<double>(corners[1]) * rows,
                           (static_cast<double>(corners[3]) + 1.0) * pixelsY / 2.0);
    isExact = isOnTexels && !isMinified;
    constexpr double kTwo = 2.0 + kDrift;
    isLinear = isOnTexels && s < kTwo && t < kTwo;
}

void DrawMean(Texture const& texture, Footprint const& footprint, Mesh const& mesh, ShaderStorage const& storage) {
    bool const isOpaque = texture.IsOpaque();
    auto const count = [&](double texels) {
        // A footprint that begins within a texel touches one more.
        int const touched = footprint.isOnTexels ? static_cast<int>(std::lround(texels))
                                                 : static_cast<int>(std::ceil(texels - kDrift)) + 1;
        return isOpaque ? (touched + 1) / 2 : touched;
    };
    std::array const counts{count(footprint.s), count(footprint.t)};
    Shader const& shader = FindProgram(storage, isOpaque, counts);
    shader.Use();
    shader.Uniform("tex", 0);
    if (!IsWritten(counts)) {
        shader.Uniform("count_x", counts[0]);
        shader.Uniform("count_y", counts[1]);
    }
    shader.Uniform("size", static_cast<float>(texture.GetForm().width), static_cast<float>(texture.GetForm().height));
    shader.Uniform("footprint", static_cast<float>(footprint.s), static_cast<float>(footprint.t));
    constexpr float kWithinFirst = 0.25F;
    shader.Uniform("bias", footprint.isOnTexels ? kWithinFirst : 0.0F);
    texture.Use(0, isOpaque ? TextureFilter::Linear : TextureFilter::Nearest);
    mesh.Activate();
    mesh.Draw();
}

}  // namespace Kaltor::Ogl
