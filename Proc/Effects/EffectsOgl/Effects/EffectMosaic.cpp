// Blocks of even colour, squares or regular hexagons, each the mean of what it covers of the picture: by area, in
// premultiplied alpha. The mean is taken along one axis, then along the other, into a lattice with one texel per block.
// A last pass shows the lattice; each pixel on a border is mixed from the blocks that it lies in.
//
// Squares can be divided into rows and columns directly. For hexagons the first pass takes the mean of each line of
// texels within a hexagon. The hexagons touch side by side along the picture's shorter axis, u here, in units of their
// distance; every other row, across that axis, is shifted by half of it. A line crosses hexagons of at most one even
// and one odd row: there are two sets of means per line.

#include <algorithm>
#include <cmath>
#include <string>

#include "Ogl/TexturePool.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/BlockGrid.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsFilterEffects.h"

namespace Kaltor::Ogl {
namespace {

// One axis of the squares.
constexpr char kReduce[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 axis;
uniform float texels;    // along the axis
uniform float cells;     // along the axis
uniform vec2 place;      // the first cell's edge, and the length of a cell, texels
uniform float straight;  // 1: alpha is yet to be multiplied in
uniform int taps;
varying vec2 TexCoord0;
void main() {
    float cell = floor(dot(TexCoord0, axis) * cells);
    float low = max(place.x + cell * place.y, 0.0);
    float high = min(place.x + (cell + 1.0) * place.y, texels);
    float x = floor(low);
    vec4 sum = vec4(0.0);
    for (int i = 0; i < taps; ++i) {
        vec4 color = texture2D(tex, mix(TexCoord0, vec2((x + 0.5) / texels), axis));
        float weight = max(min(x + 1.0, high) - max(x, low), 0.0);
        sum += vec4(color.rgb * mix(1.0, color.a, straight), color.a) * weight;
        x += 1.0;
    }
    gl_FragColor = sum / (high - low);
}
)glsl";

// Between two texels' centres linear sampling mixes by the place: a pixel that lies in two blocks samples between them
// in proportion to its parts; any other pixel samples at a centre.
constexpr char kSquares[] = R"glsl(
uniform sampler2D lattice;
uniform vec2 blocks;
uniform vec2 first;
uniform vec2 cells;
uniform vec2 pixel;  // blocks
varying vec2 TexCoord0;
void main() {
    vec2 p = first + TexCoord0 * blocks;
    vec2 border = floor(p + vec2(0.5));
    vec2 shift = clamp((p - border) / pixel, vec2(-0.5), vec2(0.5));
    vec4 color = texture2D(lattice, (border + shift) / cells);
    gl_FragColor = Unmultiply(color);
}
)glsl";

// What the passes for hexagons share: (u, v) from the centre of hexagon (0, 0); `turn` exchanges the axes where u is t.
constexpr char kLattice[] = R"glsl(
uniform float isUpright;
uniform vec2 texels;  // of the picture along u and v
uniform vec2 unit;    // texels a unit
uniform vec2 origin;  // (u, v) of the picture's first corner
uniform vec2 first;   // number of the lattice's first column and row
uniform vec2 cells;   // columns and rows of the lattice
varying vec2 TexCoord0;
const float kRow = 0.8660254;     // from row to row
const float kRadius = 0.5773503;  // to a corner

vec2 turn(vec2 p) {
    return isUpright > 0.5 ? p.yx : p;
}
float IsOdd(float row) {
    return row - 2.0 * floor(0.5 * row);
}
// Four lines across texel line `y`, each within the hexagon (column, row) and the picture: their ends, texels.
void Cut(float column, float row, float y, out vec4 low, out vec4 high) {
    vec4 v = origin.y - kRow * row + (vec4(y) + vec4(0.125, 0.375, 0.625, 0.875)) / unit.y;
    vec4 halves = clamp(vec4(1.0) - abs(v) / kRadius, vec4(0.0), vec4(0.5)) * unit.x;
    vec4 centre = vec4((column + 0.5 * IsOdd(row) - origin.x) * unit.x);
    low = max(centre - halves, vec4(0.0));
    high = max(min(centre + halves, vec4(texels.x)), low);
}
)glsl";

constexpr char kRuns[] = R"glsl(
uniform sampler2D tex;
uniform int taps;
void main() {
    vec2 at = floor(turn(TexCoord0) * vec2(2.0 * cells.x, texels.y));
    float parity = floor((at.x + 0.5) / cells.x);
    float column = first.x + at.x - parity * cells.x;
    float v = origin.y + (at.y + 0.5) / unit.y;
    float row = parity + 2.0 * floor((v / kRow - parity) * 0.5 + 0.5);
    vec4 low;
    vec4 high;
    Cut(column, row, at.y, low, high);
    float x = floor(min(min(low.x, low.y), min(low.z, low.w)));
    vec4 sum = vec4(0.0);
    for (int i = 0; i < taps; ++i) {
        vec4 color = texture2D(tex, turn((vec2(x, at.y) + vec2(0.5)) / texels));
        vec4 covered = max(min(vec4(x + 1.0), high) - max(vec4(x), low), vec4(0.0));
        sum += vec4(color.rgb * color.a, color.a) * dot(covered, vec4(1.0));
        x += 1.0;
    }
    gl_FragColor = sum / max(dot(high - low, vec4(1.0)), 1.0e-6);
}
)glsl";

constexpr char kMosaicCells[] = R"glsl(
uniform sampler2D runs;
uniform int taps;
void main() {
    vec2 at = floor(turn(TexCoord0) * cells);
    float column = first.x + at.x;
    float row = first.y + at.y;
    float x = at.x + IsOdd(row) * cells.x + 0.5;
    float y = max(floor((kRow * row - kRadius - origin.y) * unit.y), 0.0);
    vec4 sum = vec4(0.0);
    float area = 0.0;
    for (int i = 0; i < taps; ++i) {
        vec4 low;
        vec4 high;
        Cut(column, row, y, low, high);
        float weight = y < texels.y ? dot(high - low, vec4(1.0)) : 0.0;
        sum += texture2D(runs, turn(vec2(x, y + 0.5) / vec2(2.0 * cells.x, texels.y))) * weight;
        area += weight;
        y += 1.0;
    }
    gl_FragColor = sum / max(area, 1.0e-6);
}
)glsl";

// Around a corner of three hexagons a pixel lies in the nearest one and in those behind its two nearest sides.
constexpr char kHexagons[] = R"glsl(
uniform sampler2D lattice;
vec4 Find(vec2 centre) {
    vec2 cell = floor(vec2(centre.x + 0.25, centre.y / kRow + 0.5)) - first;
    return texture2D(lattice, turn((cell + vec2(0.5)) / cells));
}
// From the share of a pixel beyond a side to the weight of what is there, against 1 for the nearest hexagon.
float Weigh(float inside, vec2 normal) {
    float share = clamp(0.5 - (0.5 - inside) / length(normal / unit), 0.0, 0.5);
    return share / (1.0 - share);
}
void main() {
    vec2 p = origin + turn(TexCoord0) * texels / unit;
    float doubled = 0.5 * p.y / kRow;
    vec2 even = vec2(floor(p.x + 0.5), 2.0 * kRow * floor(doubled + 0.5));
    vec2 odd = vec2(floor(p.x) + 0.5, 2.0 * kRow * (floor(doubled) + 0.5));
    vec2 centre = dot(p - even, p - even) < dot(p - odd, p - odd) ? even : odd;
    vec2 q = abs(p - centre);
    vec2 side = vec2(p.x < centre.x ? -1.0 : 1.0, p.y < centre.y ? -1.0 : 1.0);
    // In the quadrant of q: the sides to the right and up right, and of those straight up and up left the latter.
    vec2 right = vec2(1.0, 0.0);
    vec2 up = vec2(0.5, kRow);
    vec2 left = vec2(-0.5, kRow);
    vec2 other = q.x > dot(q, left) ? right : left;
    float near = Weigh(dot(q, up), up);
    float far = Weigh(dot(q, other), other);
    vec4 color = (Find(centre) + Find(centre + side * up) * near + Find(centre + side * other) * far) /
                 (1.0 + near + far);
    gl_FragColor = Unmultiply(color);
}
)glsl";

PooledTexture MakeIntermediate(Frame const& picture, int width, int height) {
    return PooledTexture(TextureForm{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                                     FinerWithAlpha(picture.GetFirstTexture().GetForm().format), false});
}

void DrawSquares(DataVideoOGL& dst, Frame const& picture, BlockGrid const& grid, ShaderStorage const& storage) {
    glm::dvec2 const size(picture.GetWidth(), picture.GetHeight());
    PooledTexture const wide = MakeIntermediate(picture, grid.cells.x, static_cast<int>(picture.GetHeight()));
    PooledTexture const lattice = MakeIntermediate(picture, grid.cells.x, grid.cells.y);
    auto const reduce = [&](Texture const& from, Texture const& to, int axis) {
        double const block = size[axis] / grid.blocks[axis];
        Pass(storage, "EffectMosaic_reduce", kReduce)
            .Texture("tex", 0, from, TextureFilter::Nearest)
            .Set("axis", axis == 0 ? glm::vec2(1.0F, 0.0F) : glm::vec2(0.0F, 1.0F))
            .Set("texels", size[axis])
            .Set("cells", static_cast<float>(grid.cells[axis]))
            .Set("place", glm::vec2(-grid.first[axis] * block, block))
            .Set("straight", axis == 0 ? 1.0F : 0.0F)
            .Set("taps", static_cast<int>(std::ceil(block)) + 1)
            .DrawTo(to);
    };
    reduce(picture.GetFirstTexture(), wide.Get(), 0);
    reduce(wide.Get(), lattice.Get(), 1);
    Pass(storage, "EffectMosaic_squares", {kGlslVersion, kStraightAlpha, kSquares})
        .Texture("lattice", 0, lattice.Get())
        .Set("blocks", glm::vec2(grid.blocks))
        .Set("first", glm::vec2(grid.first))
        .Set("cells", glm::vec2(grid.cells))
        .Set("pixel", glm::vec2(grid.blocks / size))
        .DrawTo(dst);
}

void DrawHexagons(DataVideoOGL& dst, Frame const& picture, double aspect, int count, ShaderStorage const& storage) {
    bool const isUpright = aspect >= 1.0;  // u is t
    auto const order = [isUpright](auto a, auto b) { return isUpright ? glm::dvec2(b, a) : glm::dvec2(a, b); };
    glm::dvec2 const texels = order(picture.GetWidth(), picture.GetHeight());
    glm::dvec2 const size(count, count * std::max(aspect, 1.0 / aspect));  // units
    glm::dvec2 const unit = texels / size;
    // The middle of the picture is the middle of a hexagon if the count is odd, and lies between two if it is even.
    glm::dvec2 const origin(count % 2 == 0 ? 0.5 - 0.5 * size.x : -0.5 * size.x, -0.5 * size.y);
    constexpr double kRow = 0.8660254037844386;
    double const rows = 2.0 * std::ceil((0.5 * size.y / kRow + 1.0) / 2.0);  // on either side of the middle one
    glm::dvec2 const first(std::floor(origin.x) - 1.0, -rows);
    glm::dvec2 const cells(std::ceil(origin.x + size.x) + 2.0 - first.x, 2.0 * rows + 1.0);

    auto const make = [&](double alongU, double alongV) {
        glm::ivec2 const sides(order(alongU, alongV));
        return MakeIntermediate(picture, sides.x, sides.y);
    };
    PooledTexture const runs = make(2.0 * cells.x, texels.y);
    PooledTexture const lattice = make(cells.x, cells.y);
    auto const pass = [&](char const* name, char const* program) {
        return Pass(storage, name, {kGlslVersion, kStraightAlpha, kLattice, program})
            .Set("isUpright", isUpright ? 1.0F : 0.0F)
            .Set("texels", glm::vec2(texels))
            .Set("unit", glm::vec2(unit))
            .Set("origin", glm::vec2(origin))
            .Set("first", glm::vec2(first))
            .Set("cells", glm::vec2(cells));
    };
    auto const touched = [](double covered) { return static_cast<int>(std::ceil(covered)) + 1; };
    pass("EffectMosaic_runs", kRuns)
        .Texture("tex", 0, picture, TextureFilter::Nearest)
        .Set("taps", touched(unit.x))
        .DrawTo(runs.Get());
    pass("EffectMosaic_cells", kMosaicCells)
        .Texture("runs", 0, runs.Get(), TextureFilter::Nearest)
        .Set("taps", touched(unit.y / kRow))
        .DrawTo(lattice.Get());
    pass("EffectMosaic_hexagons", kHexagons).Texture("lattice", 0, lattice.Get(), TextureFilter::Nearest).DrawTo(dst);
}

}  // namespace

class EffectMosaic final : public EffectWithSettings<Proc::SettingsEffectMosaic> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        int const count = std::max(settings.count, 1);
        Conf::FrameInfo const info = src->GetFrameInfo();
        BlockGrid const grid(info, count);
        if (grid.blocks == glm::dvec2(info.width, info.height)) {  // blocks of a pixel
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        if (settings.shape == Proc::SettingsEffectMosaic::Shape::Square) {
            DrawSquares(*dst, picture, grid, storage);
        } else {
            DrawHexagons(*dst, picture, GetDisplayAspect(info), count, storage);
        }
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectMosaic>();

}  // namespace Kaltor::Ogl
