// A picture that is made smaller by more than 2 with linear filtering leaves texels out: fine detail turns to moire and
// flickers when it moves. Here each pixel is the exact mean over its footprint, one axis after the other: the columns
// into an intermediate picture (colours times alpha, so that what is transparent lends no colour), the rows on the way
// to the target.

#include "Ogl/Minify.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

#include "Ogl/GlState.h"
#include "Ogl/ShaderStorage.h"
#include "Ogl/TexturePool.h"

namespace Kaltor::Ogl {
namespace {

/// Texels by which a picture may drift across the target before it counts as scaled: single precision reaches it.
constexpr double kDrift = 0.01;

// The texels from first on, weighed by how much of each lies in the footprint's [low, high]. `count` of them are enough
// for any place of the footprint.
constexpr char kColumns[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec4 place;       // what shows: scale and shift of texture coordinates
uniform float size;       // texels along s
uniform float footprint;  // texels
uniform int count;
varying vec2 TexCoord0;
void main() {
    vec2 at = TexCoord0 * place.xy + place.zw;
    float low = at.x * size - 0.5 * footprint;
    float high = low + footprint;
    float first = floor(low);
    vec4 sum = vec4(0.0);
    for (int i = 0; i < count; ++i) {
        float x = first + float(i);
        vec4 texel = texture2D(tex, vec2((x + 0.5) / size, at.y));
        sum += vec4(texel.rgb * texel.a, texel.a) * max(min(x + 1.0, high) - max(x, low), 0.0);
    }
    gl_FragColor = sum / footprint;
}
)glsl";

constexpr char kRows[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec4 place;
uniform float size;
uniform float footprint;
uniform int count;
varying vec2 TexCoord0;
void main() {
    vec2 at = TexCoord0 * place.xy + place.zw;
    float low = at.y * size - 0.5 * footprint;
    float high = low + footprint;
    float first = floor(low);
    vec4 sum = vec4(0.0);
    for (int i = 0; i < count; ++i) {
        float y = first + float(i);
        sum += texture2D(tex, vec2(at.x, (y + 0.5) / size)) * max(min(y + 1.0, high) - max(y, low), 0.0);
    }
    gl_FragColor = vec4(sum.rgb / max(sum.a, 1.0e-6), sum.a / footprint);
}
)glsl";

/// The change of texture coordinates from pixel to pixel over one of the quad's triangles.
struct Slope {
    double sx = 0.0, sy = 0.0, tx = 0.0, ty = 0.0;
    bool isFlat = true;  ///< the triangle has an area
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

/// One axis of a quad that is not turned: texels go on one by one with the pixels, centre on centre.
bool IsStepByStep(double texelsPerPixel, double extent, double texel, double pixel) {
    double const sign = texelsPerPixel < 0.0 ? -1.0 : 1.0;
    return std::fabs(texelsPerPixel - sign) * extent < kDrift && IsWhole(texel - sign * pixel);
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
    if (!one.isFlat || !two.isFlat) {
        return;
    }
    // Where the quad is bent, what is made smaller the less decides: rather sharp than blurred.
    s = std::min(std::hypot(one.sx, one.sy), std::hypot(two.sx, two.sy)) * columns;
    t = std::min(std::hypot(one.tx, one.ty), std::hypot(two.tx, two.ty)) * rows;
    auto const range = [&](std::size_t item) {
        auto const [low, high] = std::minmax({corners[item], corners[4 + item], corners[8 + item], corners[12 + item]});
        return std::pair(std::clamp(static_cast<double>(low), 0.0, 1.0),
                         std::clamp(static_cast<double>(high), 0.0, 1.0));
    };
    std::tie(left, right) = range(0);
    std::tie(bottom, top) = range(1);
    double const shownColumns = (right - left) * columns;
    double const shownRows = (top - bottom) * rows;
    isMinified = shownColumns > 0.0 && shownRows > 0.0 &&
                 ((s - 1.0) * shownColumns > kDrift * s || (t - 1.0) * shownRows > kDrift * t);

    double const pixelX = (static_cast<double>(corners[2]) + 1.0) * pixelsX / 2.0;
    double const pixelY = (static_cast<double>(corners[3]) + 1.0) * pixelsY / 2.0;
    bool const isUpright =
        std::fabs(one.sy * pixelsY * columns) < kDrift && std::fabs(one.tx * pixelsX * rows) < kDrift;
    isOnColumns = isUpright && IsWhole(pixelX) && IsWhole(shownColumns / s) && (1.0 - s) * shownColumns < kDrift;
    isExact = isUpright &&
              IsStepByStep(one.sx * columns, shownColumns, static_cast<double>(corners[0]) * columns, pixelX) &&
              IsStepByStep(one.ty * rows, shownRows, static_cast<double>(corners[1]) * rows, pixelY);
}

void DrawMean(Texture const& texture, Footprint const& footprint, Mesh const& mesh, ShaderStorage const& storage) {
    TextureForm const& form = texture.GetForm();
    auto const width = static_cast<double>(form.width);
    auto const height = static_cast<double>(form.height);
    double const shown = (footprint.right - footprint.left) * width;
    // Whole rows of the texture, with one to spare for linear filtering.
    auto const firstRow = static_cast<std::uint32_t>(std::max(std::floor(footprint.bottom * height) - 1.0, 0.0));
    auto const endRow = static_cast<std::uint32_t>(std::min(std::ceil(footprint.top * height) + 1.0, height));
    auto const rows = static_cast<double>(endRow - firstRow);
    double const columns = std::max(std::round(shown / std::max(footprint.s, 1.0)), 1.0);
    PooledTexture const narrow(TextureForm{static_cast<std::uint32_t>(columns), endRow - firstRow,
                                           texture.IsOpaque() ? TexelFormat::Rgbx8 : TexelFormat::Rgba16,
                                           texture.IsOpaque() && form.isBlueFirst});

    auto const average = [&](Shader const& shader, double size, double texels, glm::vec4 const& place) {
        shader.Use();
        shader.Uniform("tex", 0);
        shader.Uniform("place", place);
        shader.Uniform("size", size);
        shader.Uniform("footprint", texels);
        shader.Uniform("count", static_cast<int>(std::ceil(texels)) + 1);
    };
    {
        Interlude const interlude;
        storage.Aside().Attach(narrow.Get());
        average(storage.MakeShader("Mean_columns", kQuadVertex, kColumns), width, std::max(shown / columns, 1.0),
                glm::vec4(footprint.right - footprint.left, rows / height, footprint.left, firstRow / height));
        texture.Use(0, TextureFilter::Nearest);
        storage.Quad().Activate();
        storage.Quad().Draw();
    }
    double const scaleS = 1.0 / (footprint.right - footprint.left);
    double const scaleT = height / rows;
    average(storage.MakeShader("Mean_rows", kQuadVertex, kRows), rows, std::max(footprint.t, 1.0),
            glm::vec4(scaleS, scaleT, -footprint.left * scaleS, -static_cast<double>(firstRow) / rows));
    narrow.Get().Use(0, footprint.isOnColumns ? TextureFilter::Nearest : TextureFilter::Linear);
    mesh.Activate();
    mesh.Draw();
}

}  // namespace Kaltor::Ogl
