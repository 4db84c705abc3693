// The picture is cut into tiles with the outgoing picture on their fronts and the incoming one on their backs. They
// turn over one by one, in random order or as a wave with a little chance in it, about axes in the plane of the
// picture; while a tile turns, the rest of its place shows the pictures blurred, or nothing. Tiles at rest are exactly
// the picture, without seams.
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
uniform float progress;
uniform float duration;   // of a tile's turn
uniform vec2 extent;      // half the picture
uniform vec2 half_tile;
uniform vec2 pixels;      // a unit of length
uniform float camera;
varying vec2 coords;
varying vec2 light;
varying vec4 edges;       // pixels to them times w: above, below, on the left, on the right
varying vec2 state;       // whether the tile is at rest; the side that is seen, above 0: the outgoing picture
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
    float facing = camera * cosine + center.y * sine;
    float side = facing < 0.0 ? -1.0 : 1.0;

    // The edges along the axis stay straight across the screen, the two others lean.
    vec2 q = camera / (camera + size.y * sine * vec2(1.0, -1.0));
    vec2 lines = (center.y + size.y * cosine * vec2(-1.0, 1.0)) * q;
    vec2 ends = center.x + size.x * vec2(-1.0, 1.0);
    vec2 slopes = clamp(ends * sine * side / max(abs(facing), 1e-4) * px.x / px.y, -4.0, 4.0);  // of pixels
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
    state = vec2(0.0, side);

    vec2 on_picture = center + size * vec2(along, side * across);
    vec3 place = vec3(center + size * vec2(along, across * cosine), size.y * across * sine);
    vec3 normal = vec3(0.0, -sine, cosine) * side;
    if (is_upright) {
        at = at.yx;
        on_picture = on_picture.yx;
        place.xy = place.yx;
        normal.xy = normal.yx;
    }
    gl_Position = vec4(at / extent * w, 0.0, w);
    coords = 0.5 + 0.5 * on_picture / extent;
    light = shine(normal, normalize(vec3(0.0, 0.0, camera) - place));

    if (c <= 0.0 || c >= 1.0) {
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
varying vec2 coords;
varying vec2 light;
varying vec4 edges;
varying vec2 state;
void main() {
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

    static constexpr std::array<VertexAttribute, 5> kLayout{
        {{"at_rest", 2}, {"start", 1}, {"tile_corner", 2}, {"upright", 1}, {"sense", 1}}};
};

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
        tiles.Prepare(grid, settings.axis, settings.order, order);

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
            .Draw(tiles.GetMesh());
        scene.Finish();
    }

private:
    class CacheImpl final : public OglCache {
    public:
        void Prepare(TileGrid const& wanted, Axis wantedAxis, Order wantedSequence, std::uint32_t order) {
            if (grid == wanted && axis == wantedAxis && sequence == wantedSequence) {
                return;
            }
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

            auto packed = ReserveMesh<TileVertex>(tiles.size());
            auto const lineOf = [](std::uint32_t index, int count) {
                return 2.0F * static_cast<float>(index) / static_cast<float>(count) - 1.0F;
            };
            int counter = 0;
            for (std::uint32_t const tile : tiles) {
                std::uint32_t const column = tile % columns;
                std::uint32_t const row = tile / columns;
                std::uint32_t const chance = Hash(column, row, order)[1];
                bool const isMixed = axis == Axis::Mixed;
                bool const isUpright = axis == Axis::Vertical || (isMixed && (chance & 0x40000000U) != 0);
                float const sense = isMixed && (chance & 0x80000000U) != 0 ? -1.0F : 1.0F;
                MakeQuadIdx(counter, packed.indices);
                for (glm::vec2 const& corner : kQuadCorners) {
                    glm::vec2 const atRest(lineOf(column + (corner.x > 0.0F ? 1U : 0U), grid.columns),
                                           lineOf(row + (corner.y > 0.0F ? 1U : 0U), grid.rows));
                    packed.vertices.push_back({atRest, starts[tile], corner, isUpright ? 1.0F : 0.0F, sense});
                }
            }
            mesh.emplace(packed, GL_STATIC_DRAW);
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
        TileGrid grid;
        Axis axis = Axis::Horizontal;
        Order sequence = Order::Random;
    };

    std::uint32_t order = Random().Draw();
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionMosaic>();

}  // namespace Kaltor::Ogl
