// The picture is cut into tiles with the outgoing picture on their fronts and the incoming one on their backs. They
// turn over one by one, in random order or as a wave with a little chance in it, about axes in the plane of the
// picture; while a tile turns, the rest of its place shows the pictures blurred, or nothing. Tiles at rest are exactly
// the picture, without seams.
//
// Tiles are boxes: they turn about an axis half their thickness behind the picture, show their sides, which have the
// colours of the pictures' borders there, and throw a soft shadow on what is behind them.
//
// A tile turns within its own column of space, and a ray from the camera goes outwards through the columns: tiles drawn
// from the outer ones to the middle hide each other as they should, without a depth buffer. The mesh is made once; the
// vertex program turns the tiles. It makes each tile a pixel larger all around and passes on the distance to its edges
// in pixels, which makes them smooth.

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>
#include <vector>

#include "Ogl/Noise.h"
#include "Ogl/Random.h"
#include "Proc/Effects/EffectsOgl/Transitions/SpaceScene.h"
#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {
namespace {

// Lengths are in halves of the picture's shorter side. In a tile's own coordinates x runs along its axis and y across.
constexpr char kVertex[] = R"glsl(
attribute vec2 at_rest;     // on the screen
attribute float start;      // of the turn
attribute vec2 tile_corner; // -1 or 1
attribute float upright;    // 1: the axis is vertical
attribute float sense;      // of the turn
attribute float part;       // 0: the face that is seen; 1 to 4: sides; 5: shadow
uniform float progress;
uniform float duration;   // of a tile's turn
uniform vec2 extent;      // half the picture
uniform vec2 half_tile;
uniform vec2 pixels;      // a unit of length
uniform float camera;
uniform float thick;      // half of the thickness
varying vec2 coords;
varying vec2 coords_behind;  // a side's, in the incoming picture
varying vec2 light;
varying vec4 edges;       // pixels to them times w: above, below, on the left, on the right; else places, -1 to 1
varying vec3 state;       // whether the tile is at rest; the face that is seen, above 0: the outgoing picture; the part

void hide() {
    gl_Position = vec4(0.0, 0.0, 2.0, 1.0);
    coords = coords_behind = light = vec2(0.0);
    edges = vec4(0.0);
    state = vec3(0.0);
}

// Places in the pictures of a point of the tile's border.
vec2 placed(vec2 point, bool is_upright) {
    return 0.5 + 0.5 * (is_upright ? point.yx : point) / extent;
}

void draw_side(vec2 center, vec2 size, vec2 px, float sine, float cosine, bool is_upright) {
    float sign = part == 1.0 || part == 3.0 ? 1.0 : -1.0;
    bool is_end = part > 2.5;
    // From the middle of the side: along its length and through the tile.
    vec3 middle = vec3(is_end ? sign * size.x : 0.0, is_end ? 0.0 : sign * size.y, 0.0);
    vec3 along = is_end ? vec3(0.0, size.y, 0.0) : vec3(size.x, 0.0, 0.0);
    mat3 turn = mat3(1.0, 0.0, 0.0, 0.0, cosine, sine, 0.0, -sine, cosine);
    vec3 at = vec3(center, -thick) + turn * middle;
    vec3 normal = normalize(turn * middle);
    vec3 eye = vec3(0.0, 0.0, camera);
    if (dot(normal, eye - at) <= 0.0) {
        hide();
        return;
    }
    vec3 through = turn * vec3(0.0, 0.0, thick);
    along = turn * along;
    vec3 high = at + through;
    vec3 low = at - through;
    float width = length((high.xy / (camera - high.z) - low.xy / (camera - low.z)) * camera * px);
    vec2 corner = tile_corner * (1.0 + vec2(1.0 / max(length(along.xy * px), 0.5), 2.0 / max(width, 0.5)));
    vec3 place = at + along * corner.x + through * corner.y;
    vec2 border = is_end ? vec2(sign * size.x, corner.x * size.y) : vec2(corner.x * size.x, sign * size.y);
    coords = placed(center + border, is_upright);
    coords_behind = placed(center + border * vec2(1.0, -1.0), is_upright);
    edges = vec4(corner, min(8.0 * abs(sine), 1.0), 0.0);  // they appear softly
    if (is_upright) {
        place.xy = place.yx;
        normal.xy = normal.yx;
    }
    light = shine(normal, normalize(eye - place)) * vec2(0.75, 1.0);
    float w = (camera - place.z) / camera;
    gl_Position = vec4(place.xy / extent, 0.0, w);
    state = vec3(0.0, 0.0, 1.0);
}

// What the turning tile covers as seen from the lamp; soft, since the background is far behind.
void draw_shadow(vec2 center, vec2 size, float sine, float cosine, bool is_upright) {
    vec2 half_size = vec2(size.x, abs(size.y * cosine) + abs(thick * sine));
    vec2 soft = vec2(0.35 * min(size.x, size.y));
    vec2 away = 0.3 * abs(sine) * min(size.x, size.y) * vec2(0.6, -1.0);
    vec2 reach = half_size + soft;
    center += is_upright ? away.yx : away;
    vec2 at = center + tile_corner * reach;
    gl_Position = vec4((is_upright ? at.yx : at) / extent, 0.0, 1.0);
    coords = coords_behind = light = vec2(0.0);
    edges = vec4(tile_corner * reach / soft, half_size / soft);
    state = vec3(0.0, 0.0, 2.0);
}

void main() {
    vec2 corner = tile_corner;
    bool is_upright = upright > 0.5;
    float c = clamp((progress - start) / duration, 0.0, 1.0);
    vec2 center = at_rest * extent - corner * half_tile;
    vec2 size = half_tile;
    vec2 px = pixels;
    if (is_upright) {
        corner = corner.yx;
        center = center.yx;
        size = size.yx;
        px = px.yx;
    }
    float theta = 3.14159265 * c * c * (3.0 - 2.0 * c);
    float sine = sense * sin(theta);
    float cosine = cos(theta);
    bool is_resting = c <= 0.0 || c >= 1.0;
    if (part > 0.5) {
        if (is_resting) {
            hide();
        } else if (part > 4.5) {
            draw_shadow(center, size, sine, cosine, is_upright);
        } else {
            draw_side(center, size, px, sine, cosine, is_upright);
        }
        return;
    }
    float facing = (camera + thick) * cosine + center.y * sine;
    float side = facing < 0.0 ? -1.0 : 1.0;
    facing = abs(facing) - thick;
    if (facing <= 0.0 && thick > 0.0) {
        hide();
        return;
    }
    // The face lies off the tile's axis. What is farther away is drawn as a smaller one at the axis' distance.
    vec2 middle = center;
    vec2 full = size;
    float far = 1.0 + thick * (1.0 - cosine * side) / camera;
    center.y -= thick * sine * side;
    center /= far;
    size /= far;
    facing /= far;

    // The edges along the axis stay straight across the screen, the two others lean.
    vec2 q = camera / (camera + size.y * sine * vec2(1.0, -1.0));
    vec2 lines = (center.y + size.y * cosine * vec2(-1.0, 1.0)) * q;
    vec2 ends = center.x + size.x * vec2(-1.0, 1.0);
    vec2 slopes = clamp(ends * sine * side / max(facing, 1e-4) * px.x / px.y, -4.0, 4.0);  // of pixels
    vec2 lengths = sqrt(1.0 + slopes * slopes);
    float line = corner.y < 0.0 ? lines.x : lines.y;
    float end = corner.x < 0.0 ? ends.x * q.x : ends.y * q.x;
    float slope = corner.x < 0.0 ? slopes.x : slopes.y;

    // A pixel further out.
    vec2 at;
    at.y = line + side * corner.y / px.y;
    at.x = end + (slope * (at.y - lines.x) * px.y + corner.x * (corner.x < 0.0 ? lengths.x : lengths.y)) / px.x;
    float least = 0.25 * camera / (size.y * px.y);  // seen so askew, a tile is half a pixel thick
    float divisor = camera * cosine + at.y * sine;
    divisor = (divisor < 0.0 ? -1.0 : 1.0) * max(abs(divisor), least);
    float across = clamp(camera * (at.y - center.y) / (size.y * divisor), -4.0, 4.0);
    float w = (camera - size.y * across * sine) / camera;
    float along = (at.x * w - center.x) / size.x;

    vec2 leaning = (ends * q.x - at.x) * px.x + slopes * (at.y - lines.x) * px.y;
    // What hardly turns yet closes the seams to its neighbours.
    float seam = max(0.5 - 4.0 * abs(sine), 0.0);
    edges = vec4(vec2(side, -side) * (lines.yx - at.y) * px.y, vec2(-1.0, 1.0) * leaning / lengths);
    edges = (edges + seam) * w;
    state = vec3(0.0, side, 0.0);

    vec2 on_picture = middle + full * vec2(along, side * across);
    vec3 place = vec3(center + size * vec2(along, across * cosine), size.y * across * sine);
    place = far * place + vec3(0.0, 0.0, camera * (1.0 - far));
    vec3 normal = vec3(0.0, -sine, cosine) * side;
    if (is_upright) {
        at = at.yx;
        on_picture = on_picture.yx;
        place.xy = place.yx;
        normal.xy = normal.yx;
    }
    gl_Position = vec4(at / extent * w, 0.0, w);
    coords = coords_behind = 0.5 + 0.5 * on_picture / extent;
    light = shine(normal, normalize(vec3(0.0, 0.0, camera) - place));

    if (is_resting) {
        gl_Position = vec4(at_rest, 0.0, 1.0);
        light = vec2(1.0, 0.0);
        edges = vec4(8.0);
        state.x = 1.0;
    }
}
)glsl";

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform float shadow;
varying vec2 coords;
varying vec2 coords_behind;
varying vec2 light;
varying vec4 edges;
varying vec3 state;

vec4 shade_side() {
    vec2 inside = (vec2(1.0) - abs(edges.xy)) / max(fwidth(edges.xy), vec2(1.0e-6));
    // Faces lie over its long edges: no gap shows between them.
    vec2 cover = clamp(inside + vec2(0.5, 1.0), 0.0, 1.0);
    vec4 front = texture2D(tex1, coords);
    vec4 back = texture2D(tex2, coords_behind);
    vec4 color = mix(back, front, smoothstep(-1.0, 1.0, edges.y));
    color *= min(front.a, back.a) / max(color.a, 0.001);  // a cut-out has a side where both of its faces are
    color.rgb = min(color.rgb * light.x + color.a * light.y, color.a);
    return color * (cover.x * cover.y * edges.z);
}

void main() {
    if (state.z > 1.5) {
        vec2 covered = smoothstep(vec2(-1.0), vec2(1.0), edges.zw - abs(edges.xy));
        gl_FragColor = vec4(0.0, 0.0, 0.0, shadow * covered.x * covered.y);
        return;
    }
    if (state.z > 0.5) {
        gl_FragColor = shade_side();
        return;
    }
    bool is_resting = state.x > 0.5;
    vec2 reach = stretch(coords) * (1.0 - state.x);
    vec2 coord = is_resting ? gl_FragCoord.xy / picture_size : coords;
    vec4 color = state.y > 0.0 ? filtered(tex1, coord, reach) : filtered(tex2, coord, reach);
    vec4 inside = clamp(edges * gl_FragCoord.w + 0.5, 0.0, 1.0);
    float cover = max(inside.x + inside.y - 1.0, 0.0) * max(inside.z + inside.w - 1.0, 0.0);
    color.rgb = min(color.rgb * light.x + color.a * light.y, color.a);
    gl_FragColor = color * cover;
}
)glsl";

using Axis = Proc::SettingsTransitionMosaic::Axis;
using Order = Proc::SettingsTransitionMosaic::Order;

struct TileVertex {
    glm::vec2 atRest;
    float start;
    glm::vec2 corner;
    float upright;
    float sense;
    float part;

    static constexpr std::array<VertexAttribute, 6> kLayout{
        {{"at_rest", 2}, {"start", 1}, {"tile_corner", 2}, {"upright", 1}, {"sense", 1}, {"part", 1}}};
};

constexpr int kFace = 0;
constexpr int kSides = 4;
constexpr int kShadow = 5;

}  // namespace

class TransitionMosaic final : public TransitionWithSettings<Proc::SettingsTransitionMosaic> {
public:
    void SetSeed(std::uint32_t seed) override { order = Random(seed).Draw(); }

    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        auto& tiles = GetCache<CacheImpl>(cache);
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        auto const aspect = static_cast<float>(GetDisplayAspect(dst->GetFrameInfo()));
        Frame const target = dst->FrameData();
        // No tile is smaller than a pixel.
        TileGrid const grid = MakeSquareGrid(settings.num, aspect, target.GetWidth(), target.GetHeight());
        bool const hasSides = settings.thickness > 0.0;
        tiles.Prepare(grid, settings.axis, settings.order, hasSides, order);

        bool const isBlurred = settings.background == Proc::SettingsTransitionMosaic::Background::Blurred;
        SpaceScene scene(*dst, *first, *second, storage, isBlurred ? std::optional(progress) : std::nullopt);
        glm::vec2 const extent(std::max(aspect, 1.0F), std::max(1.0F / aspect, 1.0F));
        Pass pass(storage, "TransitionMosaic", {kGlslVersion, kShineFunction, kVertex},
                  {kGlslVersion, kStretchFunctions, kFragment}, TileVertex::kLayout);
        scene.UsePictures(pass);
        pass.Set("progress", progress)
            .Set("duration", tiles.GetDuration())
            .Set("extent", extent)
            .Set("half_tile", extent / glm::vec2(grid.columns, grid.rows))
            .Set("pixels", 0.5F * glm::vec2(target.GetWidth(), target.GetHeight()) / extent)
            .Set("camera", kCameraDistance)
            .Set("thick", settings.thickness * std::min(extent.x / grid.columns, extent.y / grid.rows))
            .Set("shadow", settings.shadow);
        if (isBlurred && settings.shadow > 0.0 && target.GetFirstTexture().IsOpaque()) {
            pass.Draw(tiles.GetShadows());
        }
        pass.Draw(tiles.GetMesh());
        scene.Finish();
    }

private:
    class CacheImpl final : public OglCache {
    public:
        void Prepare(TileGrid const& wanted, Axis wantedAxis, Order wantedSequence, bool wantsSides,
                     std::uint32_t order) {
            if (grid == wanted && axis == wantedAxis && sequence == wantedSequence && hasSides == wantsSides) {
                return;
            }
            hasSides = wantsSides;
            grid = wanted;
            axis = wantedAxis;
            sequence = wantedSequence;
            Build(order);
        }

        /// The duration of a tile's turn, as a part of the whole transition.
        float GetDuration() const {
            constexpr float kLeast = 0.35F;
            return kLeast + (1.0F - kLeast) / static_cast<float>(grid.columns * grid.rows);
        }

        Mesh const& GetMesh() const { return *mesh; }
        Mesh const& GetShadows() const { return *shadows; }

    private:
        void Build(std::uint32_t order) {
            auto const columns = static_cast<std::uint32_t>(grid.columns);
            std::vector<std::uint32_t> tiles(std::size_t{columns} * static_cast<std::size_t>(grid.rows));
            std::iota(tiles.begin(), tiles.end(), 0U);
            auto const sortBy = [&tiles](auto const& key) {
                std::stable_sort(tiles.begin(), tiles.end(),
                                 [&key](std::uint32_t a, std::uint32_t b) { return key(a) < key(b); });
            };
            // The tiles' times are spread evenly; no two are the same.
            sortBy([&](std::uint32_t tile) {
                std::uint32_t const x = tile % columns;
                std::uint32_t const y = tile / columns;
                constexpr double kTiles = 1.6;  // by how many a wave's front may stray
                constexpr double kWhole = 4294967296.0;
                return GetPlace(x, y) + kTiles * (Hash(x, y, order)[0] / kWhole);
            });
            std::vector<float> starts(tiles.size());
            float const last = std::max(static_cast<float>(tiles.size()) - 1.0F, 1.0F);
            for (std::size_t rank = 0; rank < tiles.size(); ++rank) {
                starts[tiles[rank]] = (1.0F - GetDuration()) * static_cast<float>(rank) / last;
            }
            // From the outer ones to the middle.
            sortBy([&](std::uint32_t tile) {
                return -std::abs(2 * static_cast<int>(tile % columns) + 1 - grid.columns) -
                       std::abs(2 * static_cast<int>(tile / columns) + 1 - grid.rows);
            });

            int const sides = hasSides ? kSides : 0;
            auto packed = ReserveMesh<TileVertex>(tiles.size() * static_cast<std::size_t>(1 + sides));
            auto packedShadows = ReserveMesh<TileVertex>(tiles.size());
            auto const lineOf = [](std::uint32_t index, int count) {
                return 2.0F * static_cast<float>(index) / static_cast<float>(count) - 1.0F;
            };
            int counter = 0;
            int shadowCounter = 0;
            for (std::uint32_t const tile : tiles) {
                std::uint32_t const column = tile % columns;
                std::uint32_t const row = tile / columns;
                std::uint32_t const chance = Hash(column, row, order)[1];
                bool const isMixed = axis == Axis::Mixed;
                bool const isUpright = axis == Axis::Vertical || (isMixed && (chance & 0x40000000U) != 0);
                float const sense = isMixed && (chance & 0x80000000U) != 0 ? -1.0F : 1.0F;
                auto const add = [&](PackedMesh<TileVertex>& target, int& count, int part) {
                    MakeQuadIdx(count, target.indices);
                    for (glm::vec2 const& corner : kQuadCorners) {
                        glm::vec2 const atRest(lineOf(column + (corner.x > 0.0F ? 1U : 0U), grid.columns),
                                               lineOf(row + (corner.y > 0.0F ? 1U : 0U), grid.rows));
                        target.vertices.push_back(
                            {atRest, starts[tile], corner, isUpright ? 1.0F : 0.0F, sense, static_cast<float>(part)});
                    }
                };
                for (int side = 1; side <= sides; ++side) {
                    add(packed, counter, side);
                }
                add(packed, counter, kFace);
                add(packedShadows, shadowCounter, kShadow);
            }
            mesh.emplace(packed, GL_STATIC_DRAW);
            shadows.emplace(packedShadows, GL_STATIC_DRAW);
        }

        /// Where a tile lies on the way of the wave, in tiles.
        double GetPlace(std::uint32_t column, std::uint32_t row) const {
            double const fromTop = grid.rows - 1.0 - row;
            switch (sequence) {
                case Order::Wave:
                    return column;
                case Order::Diagonal:
                    return 0.75 * (column + fromTop);
                case Order::Centre:
                    return std::hypot(column - 0.5 * (grid.columns - 1), row - 0.5 * (grid.rows - 1));
                case Order::Random:
                    break;
            }
            return 0.0;
        }

        std::optional<AttributeMesh> mesh;
        std::optional<AttributeMesh> shadows;
        bool hasSides = false;
        TileGrid grid;
        Axis axis = Axis::Horizontal;
        Order sequence = Order::Random;
    };

    std::uint32_t order = Random().Draw();
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionMosaic>();

}  // namespace Kaltor::Ogl
