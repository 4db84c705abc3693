// The outgoing picture is a jigsaw puzzle. One after another its pieces lift off, turn a little under the light, throw
// a soft shadow on what lies below, and leave: they fall, scatter or rise. The incoming picture lies under them.
//
// The pieces that lie flat are drawn in one pass: the outgoing picture, with holes where pieces are missing. Two pieces
// that are still there have no cut between them, and two holes have nothing left between them. Then come the shadows,
// and then the pieces in the air; those that left first are the highest and are drawn last.
//
// The shape of each piece is a table of distances to its edges, made once: outlines are smooth at every size, and
// shadows of any softness and the light on the rims come from the same table. Upright and level edges are kept apart,
// so that the corners between them stay sharp however coarse the table is.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <string_view>
#include <vector>

#include "Ogl/GlState.h"
#include "Ogl/Noise.h"
#include "Ogl/Random.h"
#include "Ogl/TexturePool.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Effects/EffectsOgl/Transitions/Jigsaw.h"
#include "Proc/Effects/EffectsOgl/Transitions/SpaceScene.h"
#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr double kTableMargin = 0.6;  // around a cell, in its shorter sides: room for tabs and soft shadows
constexpr double kPieceMargin = 0.38;

// Lengths are in halves of the picture's shorter side. The mesh has one quad of (x, y; column, row) per piece. The
// signs of x and y give the corner. Their sizes, less 1, give the time when the piece lifts off, 0 to 1, and a random
// number. The fractions of column and row are two more random numbers.
constexpr char kFindPiece[] = R"glsl(
uniform float progress;
uniform float duration;  // of a piece's way
uniform vec2 grid;
uniform vec2 extent;     // half the picture
uniform vec2 cell;
uniform vec2 tiles;      // of the table
uniform vec2 box;        // half of what is drawn of a piece
uniform vec2 table_box;  // half of what the table has of it
varying vec2 shape_at;
vec3 chance;
vec2 center;
vec2 local;
float way;               // 0: at rest, 1: gone

void find_piece() {
    vec2 corner = sign(gl_Vertex.xy);
    vec2 index = floor(gl_Vertex.zw);
    chance = vec3(gl_Vertex.zw - index, abs(gl_Vertex.y) - 1.0);
    way = clamp((progress - (abs(gl_Vertex.x) - 1.0)) / duration, 0.0, 1.0);
    center = (index + 0.5) * cell - extent;
    local = corner * box;
    float number = index.y * grid.x + index.x;
    float row = floor((number + 0.5) / tiles.x);
    shape_at = (vec2(number - row * tiles.x, row) + 0.5 + 0.5 * local / table_box) / tiles;
}
)glsl";

constexpr char kInside[] = R"glsl(
uniform sampler2D shapes;
varying vec2 shape_at;
// The distance to the outline, positive inside of the piece.
float find_inside() {
    vec2 d = texture2D(shapes, shape_at).rg - vec2(0.5);
    return max(d.x, d.y) < 0.0 ? -length(d) : min(d.x, d.y);
}
)glsl";

constexpr char kHoleVertex[] = R"glsl(
varying float larger;
void main() {
    find_piece();
    larger = smoothstep(0.0, 0.06, way);
    gl_Position = way > 0.0 ? vec4((center + local) / extent, 0.0, 1.0) : vec4(2.0, 2.0, 2.0, 1.0);
}
)glsl";

// A hole is a pixel larger than its piece, so that neighbouring holes meet, but not while the piece has only just
// moved.
constexpr char kHoleFragment[] = R"glsl(
uniform float pixels;  // a unit of the table
varying float larger;
void main() {
    gl_FragColor = vec4(clamp(find_inside() * pixels + larger, 0.0, 1.0));
}
)glsl";

constexpr char kFlatFragment[] = R"glsl(#version 120
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D holes;
varying vec2 TexCoord0;
void main() {
    gl_FragColor = mix(texture2D(tex1, TexCoord0), texture2D(tex2, TexCoord0), texture2D(holes, TexCoord0).r);
}
)glsl";

constexpr char kFly[] = R"glsl(
uniform float lift_height;
uniform vec2 leave;      // the way out: across and up, of all pieces
uniform float burst;     // the way out from the middle
float lifted;
float flown;
vec3 place;              // of the middle
void fly() {
    lifted = smoothstep(0.0, 0.4, way);
    float t = max(way - 0.22, 0.0) / 0.78;
    flown = t * t;
    vec2 outwards = center + 0.7 * cell * (chance.xy - 0.5);
    outwards /= max(length(outwards), 1e-3);
    vec2 drift = vec2(chance.x - 0.5, 0.0) * cell * 1.2;
    place.xy = center + flown * (leave + burst * outwards) + (burst > 0.0 ? vec2(0.0) : drift * t);
    place.z = lift_height * lifted + (burst > 0.0 ? 1.5 * flown : 0.0);
}
)glsl";

constexpr char kPieceVertex[] = R"glsl(
uniform float camera;
varying vec2 coords;
varying vec2 light;
varying float scale;     // by how much the piece looks larger
varying float rim;       // how much light its rims catch
void main() {
    find_piece();
    fly();
    coords = 0.5 + 0.5 * (center + local) / extent;
    // Turned in its plane, and tilted about an axis in it.
    float spin = (chance.y - 0.5) * (0.35 * lifted + 1.3 * flown);
    float tilt = (0.16 + 0.3 * chance.z) * lifted + 0.35 * flown;
    float axis = 6.2831853 * (chance.z + chance.x);
    vec2 turned = mat2(cos(spin), sin(spin), -sin(spin), cos(spin)) * local;
    vec2 across = vec2(-sin(axis), cos(axis));
    float lever = dot(turned, across);
    vec3 at = place + vec3(turned + across * lever * (cos(tilt) - 1.0), lever * sin(tilt));
    vec3 normal = vec3(-across * sin(tilt), cos(tilt));
    light = shine(normal, normalize(vec3(0.0, 0.0, camera) - at));
    scale = camera / (camera - place.z);
    rim = lifted;
    float w = (camera - at.z) / camera;
    gl_Position = way > 0.0 && way < 1.0 ? vec4(at.xy / extent, 0.0, w) : vec4(2.0, 2.0, 2.0, 1.0);
}
)glsl";

constexpr char kPieceFragment[] = R"glsl(
uniform sampler2D tex1;
uniform float pixels;
varying vec2 coords;
varying vec2 light;
varying float scale;
varying float rim;
void main() {
    float inside = find_inside();
    vec2 inwards = vec2(dFdx(inside), dFdy(inside));
    vec4 color = texture2D(tex1, coords);
    // The rim is rounded off over a few hundredths of the piece, and the lamp stands up on the left.
    float bevel = 1.0 - clamp(inside / 0.045, 0.0, 1.0);
    float facing = dot(inwards, vec2(0.4472136, -0.8944272)) / max(length(inwards), 1e-6);
    float shade = light.x * (1.0 + 0.45 * rim * bevel * bevel * facing);
    color.rgb = min(color.rgb * shade + color.a * (0.7 * light.y + 0.12 * rim * bevel * max(facing, 0.0)), color.a);
    gl_FragColor = color * clamp(inside * pixels * scale + 0.5, 0.0, 1.0);
}
)glsl";

constexpr char kShadowVertex[] = R"glsl(
varying vec2 shadow;     // softness, strength
void main() {
    find_piece();
    fly();
    float spin = (chance.y - 0.5) * (0.35 * lifted + 1.3 * flown);
    vec2 turned = mat2(cos(spin), sin(spin), -sin(spin), cos(spin)) * local;
    float height = place.z / min(cell.x, cell.y);
    shadow = vec2(min(0.02 + 0.28 * height, 0.26), 0.55 * smoothstep(0.0, 0.1, way) * (1.0 - flown * flown));
    vec2 at = place.xy + vec2(0.3, -0.5) * place.z + turned;
    gl_Position = way > 0.0 && way < 1.0 ? vec4(at / extent, 0.0, 1.0) : vec4(2.0, 2.0, 2.0, 1.0);
}
)glsl";

constexpr char kShadowFragment[] = R"glsl(
varying vec2 shadow;
void main() {
    float inside = find_inside();
    gl_FragColor = vec4(0.0, 0.0, 0.0, shadow.y * smoothstep(-shadow.x, shadow.x, inside));
}
)glsl";

using Leaving = Proc::SettingsTransitionPuzzle::Direction;

/// A piece has at least four pixels per side. The longer side has at most eight times as many pieces as the shorter
/// one.
TileGrid MakePuzzleGrid(int num, double aspect, Frame const& picture) {
    constexpr double kMostRatio = 8.0;
    constexpr double kLeastPixels = 4.0;
    return MakeSquareGrid(num, std::clamp(aspect, 1.0 / kMostRatio, kMostRatio), picture.GetWidth() / kLeastPixels,
                          picture.GetHeight() / kLeastPixels);
}

}  // namespace

class TransitionPuzzle final : public TransitionWithSettings<Proc::SettingsTransitionPuzzle> {
public:
    void SetSeed(std::uint32_t seed) override { random = Random(seed); }
    OglCache* CreateCache() const override { return new CacheImpl(random); }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        auto& pieces = GetCache<CacheImpl>(cache);
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        auto const aspect = static_cast<float>(GetDisplayAspect(dst->GetFrameInfo()));
        Frame const target = dst->FrameData();
        glm::vec2 const size(target.GetWidth(), target.GetHeight());
        glm::vec2 const extent(std::max(aspect, 1.0F), std::max(1.0F / aspect, 1.0F));
        pieces.Prepare(MakePuzzleGrid(settings.num, aspect, target), extent, settings.dir);
        auto const make = [&](std::string_view name, GlslText const& vertex, GlslText const& fragment, double margin) {
            Pass pass(storage, name, vertex, fragment);
            pass.Texture("shapes", 1, pieces.GetShapes()).Set("progress", progress).Set("extent", extent);
            pieces.SetPlaces(pass, static_cast<float>(margin));
            return pass;
        };
        glm::vec2 const texels = 0.5F * size / extent * pieces.GetUnit();
        float const pixels = std::sqrt(texels.x * texels.y);

        PooledTexture const holes({target.GetWidth(), target.GetHeight(), TexelFormat::R8, false});
        storage.FBO().Attach(holes.Get());
        {
            EnableState const blend(GL_BLEND);
            glBlendFunc(GL_ONE, GL_ONE);
            glBlendEquation(GL_MAX);
            make("TransitionPuzzle_holes", {kGlslVersion, kFindPiece, kHoleVertex},
                 {kGlslVersion, kInside, kHoleFragment}, kPieceMargin)
                .Set("pixels", pixels)
                .Draw(pieces.GetMesh());
            glBlendEquation(GL_FUNC_ADD);
        }

        SpaceScene scene(*dst, *first, *second, storage);
        Pass(storage, "TransitionPuzzle", kFlatFragment)
            .Texture("tex1", 0, scene.GetOutgoing(), TextureFilter::Nearest)
            .Texture("tex2", 1, scene.GetIncoming(), TextureFilter::Nearest)
            .Texture("holes", 2, holes.Get(), TextureFilter::Nearest)
            .Draw();

        // A shadow darkens but adds no alpha: there is none on transparent parts.
        glBlendFuncSeparate(GL_ZERO, GL_ONE_MINUS_SRC_ALPHA, GL_ZERO, GL_ONE);
        Pass shadows = make("TransitionPuzzle_shadows", {kGlslVersion, kFindPiece, kFly, kShadowVertex},
                            {kGlslVersion, kInside, kShadowFragment}, kTableMargin);
        pieces.SetFlight(shadows);
        shadows.Draw(pieces.GetMesh());

        glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
        Pass flying = make("TransitionPuzzle_pieces", {kGlslVersion, kFindPiece, kFly, kShineFunction, kPieceVertex},
                           {kGlslVersion, kInside, kPieceFragment}, kPieceMargin);
        pieces.SetFlight(flying);
        flying.Texture("tex1", 0, scene.GetOutgoing())
            .Set("camera", kCameraDistance)
            .Set("pixels", pixels)
            .Draw(pieces.GetMesh());
        scene.Finish();
    }

private:
    class CacheImpl final : public OglCache {
    public:
        explicit CacheImpl(Random random) : seed(random.Draw()) {}

        /// `halfPicture`: in halves of its shorter side.
        void Prepare(TileGrid const& wanted, glm::vec2 const& halfPicture, Leaving how) {
            if (wanted != grid || halfPicture != extent) {
                grid = wanted;
                extent = halfPicture;
                cell = 2.0F * extent / glm::vec2(grid.columns, grid.rows);
                MakeShapes();
                quads.reset();
            }
            if (!quads || leaving != how) {
                leaving = how;
                MakeQuads();
            }
        }

        float GetUnit() const { return std::min(cell.x, cell.y); }
        Texture const& GetShapes() const { return shapes; }

        /// What `kFindPiece` needs; `margin` around a cell, in its shorter sides.
        void SetPlaces(Pass& pass, float margin) const {
            pass.Set("duration", GetDuration())
                .Set("grid", glm::vec2(grid.columns, grid.rows))
                .Set("cell", cell)
                .Set("tiles", glm::vec2(tiles.columns, tiles.rows))
                .Set("box", 0.5F * cell + margin * GetUnit())
                .Set("table_box", 0.5F * cell + static_cast<float>(kTableMargin) * GetUnit());
        }

        /// What `kFly` needs.
        void SetFlight(Pass& pass) const {
            // All pieces leave at the same speed, so that the one with the longest way is out just in time. Scattered
            // pieces also come towards the camera and are out sooner.
            float const far = 2.0F * extent.y + 0.6F * GetUnit();
            float const up = leaving == Leaving::Fall ? -far : leaving == Leaving::Rise ? far : 0.0F;
            float const burst = leaving == Leaving::Scatter ? 0.62F * glm::length(extent) + 1.3F * GetUnit() : 0.0F;
            pass.Set("lift_height", std::clamp(0.8F * GetUnit(), 0.05F, 0.3F))
                .Set("leave", glm::vec2(0.0F, up))
                .Set("burst", burst);
        }

        Mesh const& GetMesh() const { return *quads; }

    private:
        std::size_t CountPieces() const {
            return static_cast<std::size_t>(grid.columns) * static_cast<std::size_t>(grid.rows);
        }

        /// The duration of a piece's motion, as a part of the whole transition.
        float GetDuration() const {
            constexpr float kLeast = 0.45F;
            return kLeast + (1.0F - kLeast) / static_cast<float>(CountPieces());
        }

        /// A tile for each piece, row by row in a table as square as can be: 0.5 + the distances to its edges.
        void MakeShapes() {
            constexpr double kTexels = 8e5;
            auto const count = static_cast<double>(CountPieces());
            auto const side = static_cast<std::uint32_t>(std::clamp(std::sqrt(kTexels / count), 32.0, 256.0));
            tiles.columns = static_cast<int>(std::ceil(std::sqrt(count)));
            tiles.rows = static_cast<int>(std::ceil(count / tiles.columns));
            std::uint32_t const width = side * static_cast<std::uint32_t>(tiles.columns);
            std::uint32_t const height = side * static_cast<std::uint32_t>(tiles.rows);

            glm::dvec2 const size = glm::dvec2(cell) / static_cast<double>(GetUnit());
            Jigsaw const jigsaw(grid, size.x, size.y, seed);
            glm::dvec2 const half = 0.5 * size + kTableMargin;
            std::vector<std::uint16_t> texels(std::size_t{2} * width * height);
            for (int piece = 0; piece < static_cast<int>(CountPieces()); ++piece) {
                std::size_t const corner =
                    std::size_t{side} * (static_cast<std::size_t>(piece / tiles.columns) * width +
                                         static_cast<std::size_t>(piece % tiles.columns));
                for (std::uint32_t y = 0; y < side; ++y) {
                    for (std::uint32_t x = 0; x < side; ++x) {
                        glm::dvec2 const at = half * (2.0 * (glm::dvec2(x, y) + 0.5) / static_cast<double>(side) - 1.0);
                        glm::dvec2 const distances =
                            jigsaw.GetDistances(piece % grid.columns, piece / grid.columns, at.x, at.y);
                        auto* const texel = &texels[2 * (corner + std::size_t{width} * y + x)];
                        for (int axis = 0; axis < 2; ++axis) {
                            texel[axis] = static_cast<std::uint16_t>(
                                std::lround(65535.0 * std::clamp(distances[axis] + 0.5, 0.0, 1.0)));
                        }
                    }
                }
            }
            shapes = Texture({width, height, TexelFormat::Rg16, false});
            shapes.Bind();
            glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height), GL_RG,
                            GL_UNSIGNED_SHORT, texels.data());
            ThrowOnGlError("filling the table of a puzzle's pieces");
            shapes.SetFresh(false);
        }

        /// Pieces that leave first come last. The order is partly random; pieces with fewer others in their way tend to
        /// leave earlier.
        void MakeQuads() {
            auto const columns = static_cast<std::uint32_t>(grid.columns);
            auto const chance = [&](std::uint32_t piece, std::uint32_t number) {
                return HashToUnit(piece % columns, piece / columns, seed + number);
            };
            std::vector<std::uint32_t> pieces(CountPieces());
            std::iota(pieces.begin(), pieces.end(), 0U);
            std::vector<double> turns;
            for (std::uint32_t const piece : pieces) {
                double const across = (piece % columns + 0.5) / grid.columns;
                double const up = (static_cast<double>(piece / columns) + 0.5) / grid.rows;
                double const inner = 1.0 - 1.4 * std::hypot(across - 0.5, up - 0.5);
                double const turn = leaving == Leaving::Fall ? up : leaving == Leaving::Rise ? 1.0 - up : inner;
                turns.push_back(0.5 * turn + 0.5 * chance(piece, 1));
            }
            std::stable_sort(pieces.begin(), pieces.end(),
                             [&turns](std::uint32_t a, std::uint32_t b) { return turns[a] > turns[b]; });

            PackedQuad packed = ReserveQuads(pieces.size());
            int counter = 0;
            float const last = std::max(static_cast<float>(pieces.size()) - 1.0F, 1.0F);
            for (std::size_t i = 0; i < pieces.size(); ++i) {
                std::uint32_t const piece = pieces[i];
                float const rank = static_cast<float>(pieces.size() - 1 - i) / last;
                float const x = 1.0F + (1.0F - GetDuration()) * rank;
                auto const y = static_cast<float>(1.0 + chance(piece, 2));
                auto const fraction = [&](std::uint32_t number) { return 0.01 + 0.98 * chance(piece, number); };
                auto const column = static_cast<float>(piece % columns + fraction(3));
                auto const row = static_cast<float>(static_cast<double>(piece / columns) + fraction(4));
                MakeQuadIdx(counter, packed.indices);
                MakeQuad(-x, -y, column, row, x, y, column, row, packed.vertices);
            }
            quads.emplace(packed, GL_STATIC_DRAW);
        }

        std::uint32_t seed;
        TileGrid grid;
        TileGrid tiles;
        glm::vec2 extent{0.0F};
        glm::vec2 cell{1.0F};
        Leaving leaving = Leaving::Fall;
        Texture shapes;
        std::optional<Quad> quads;
    };

    Random random;
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionPuzzle>();

}  // namespace Kaltor::Ogl
