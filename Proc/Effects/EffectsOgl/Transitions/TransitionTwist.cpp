// The picture is a ribbon with the outgoing picture on its front and the incoming one on its back. A twist of an odd
// number of half turns runs along it: where it has passed, the back has come to the front. Around the ribbon there are
// the pictures, blurred and dark, or nothing. The ribbon has a thickness: its two edges are strips of their own, lit
// like its faces, in the colours of the faces beside them.
//
// The parts that the twist has not reached yet, or has left behind, lie at rest and show one texel per pixel. Between
// them the ribbon is a mesh that the vertex program bends: it is straight across its axis, at each place x along the
// axis it is turned by theta(x), and its point y moves to (x, y cos theta, y sin theta). All lengths are in halves of
// the ribbon's width.
//
// The camera stands in front of the middle of the axis, so its rays go outwards all the way: parts nearer to the middle
// hide parts further out, and drawing from the ends to the middle needs no depth buffer.
//
// Edges are smooth without more samples: the vertex program knows the derivatives of the projection, and so the
// distances in pixels to the ribbon's edges and to the folds, where it turns its other side to the viewer.

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <optional>
#include <vector>

#include "Proc/Effects/EffectsOgl/Transitions/SpaceScene.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {
namespace {

// At a fold the projection's Jacobian determinant is 0, and the distance to the fold on the screen is its square
// divided by twice the length of (adjugate of the Jacobian, transposed) * (gradient of the determinant). The square
// root of that is smooth across the fold and has the sign of the side that is seen.
constexpr char kVertex[] = R"glsl(
attribute vec2 place;     // in the range, and across
attribute vec2 beyond;    // the end, an edge: pixels
uniform vec2 range;       // along the picture, 0 to 1: from the outer end of this part of the mesh to the inner one
uniform float outer_edge; // 1 where the outer end is the ribbon's
uniform float front;      // of the twist, along the picture
uniform float width;      // of the twist, along the picture
uniform float angle;      // of the whole twist
uniform float half_length;
uniform float camera;
uniform vec2 pixels;      // a unit of length, along and across
uniform mat2 axes;        // (along, across) to the screen
varying vec4 coords;      // on the outgoing picture, on the incoming one
varying vec4 lights;      // of the front, of the back
varying vec4 edges;       // pixels to the ribbon's two edges and to its end; the fold
void main() {
    float u = range.x * (1.0 - place.x) + range.y * place.x;
    float v = place.y;
    float beyond_end = beyond.x * outer_edge;
    float beyond_edge = beyond.y;

    float c = clamp((front - u) / width, 0.0, 1.0);
    float c_x = -0.5 / (half_length * width);
    float theta = angle * c * c * c * (10.0 + c * (6.0 * c - 15.0));
    float theta_x = angle * 30.0 * c * c * (1.0 - c) * (1.0 - c) * c_x;
    float theta_xx = angle * 60.0 * c * (1.0 - c) * (1.0 - 2.0 * c) * c_x * c_x;
    float cosine = cos(theta);
    float sine = sin(theta);

    float x = half_length * (2.0 * u - 1.0);
    float w = (camera - v * sine) / camera;
    float q = 1.0 / w;
    float q_x = q * q * v * cosine * theta_x / camera;
    float q_v = q * q * sine / camera;
    vec2 at = vec2(x, v * cosine) * q * pixels;
    vec2 at_x = vec2(q + x * q_x, v * (cosine * q_x - sine * theta_x * q)) * pixels;
    vec2 at_v = vec2(x * q_v, cosine * (q + v * q_v)) * pixels;

    float scale = q * q * q / camera * pixels.x * pixels.y;
    float facing = camera * cosine + v * theta_x * x;
    float det = scale * facing;
    float det_x = scale * (v * (theta_xx * x + theta_x) - camera * sine * theta_x);
    float det_v = scale * theta_x * x;
    vec2 normal_x = vec2(at_v.y, -at_v.x);
    vec2 normal_v = vec2(-at_x.y, at_x.x);
    float fold = det * inversesqrt(max(2.0 * length(det_x * normal_x + det_v * normal_v) + 1e-6 * abs(det), 1e-3));

    float across = abs(det) / max(length(at_x), 1e-3);  // pixels a unit
    float along = abs(det) / max(length(at_v), 1e-3);
    edges = vec4((1.0 - v) * across - beyond_edge, (1.0 + v) * across + beyond_edge, 8.0, fold);
    if (outer_edge > 0.5) {
        edges.z = (half_length - abs(x)) * along - beyond_end;
    }
    float inwards = range.y < range.x ? -1.0 : 1.0;
    vec2 out_v = normalize(normal_v + vec2(0.0, 1e-6)) * (dot(normal_v, at_v) < 0.0 ? -1.0 : 1.0);
    vec2 out_x = normalize(normal_x + vec2(1e-6, 0.0)) * (dot(normal_x, at_x) * inwards < 0.0 ? 1.0 : -1.0);
    at += out_v * beyond_edge + out_x * beyond_end;

    vec2 on_screen = axes * (at / pixels / vec2(half_length, 1.0));
    gl_Position = vec4(on_screen * w, 0.0, w);
    coords = 0.5 + 0.5 * vec4(axes * vec2(2.0 * u - 1.0, v), axes * vec2(2.0 * u - 1.0, -v));

    vec3 normal = normalize(vec3(-v * theta_x, -sine, cosine));
    vec3 eye = normalize(vec3(-x, -v * cosine, camera - v * sine));
    normal.xy = axes * normal.xy;
    eye.xy = axes * eye.xy;
    lights = vec4(shine(normal, eye), shine(-normal, eye));
}
)glsl";

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
varying vec4 coords;
varying vec4 lights;
varying vec4 edges;
void main() {
    bool is_front = edges.w > 0.0;
    vec2 coord = is_front ? coords.xy : coords.zw;
    vec2 reach = stretch(coord);
    vec4 color = is_front ? filtered(tex1, coord, reach) : filtered(tex2, coord, reach);
    vec2 light = is_front ? lights.xy : lights.zw;
    vec3 inside = clamp(edges.xyz + 0.5, 0.0, 1.0);
    // Two layers meet at a fold: half a pixel each, where an edge takes a whole one.
    float cover = max(inside.x + inside.y - 1.0, 0.0) * inside.z * min(2.0 * edges.w * edges.w, 1.0);
    color.rgb = min(color.rgb * light.x + color.a * light.y, color.a);
    gl_FragColor = color * cover;
}
)glsl";

// One edge of the ribbon: h runs across its thickness.
constexpr char kEdgeVertex[] = R"glsl(
attribute vec2 along_h;
uniform vec2 range;
uniform float front;
uniform float width;
uniform float angle;
uniform float half_length;
uniform float camera;
uniform vec2 pixels;
uniform mat2 axes;
uniform float edge;        // -1 or 1: the place across
uniform float thickness;   // half of it
varying vec4 coords;
varying vec2 light;
varying vec3 strip;        // h, pixels to a unit of it, how much it faces the viewer
void main() {
    float u = range.x * (1.0 - along_h.x) + range.y * along_h.x;
    float c = clamp((front - u) / width, 0.0, 1.0);
    float c_x = -0.5 / (half_length * width);
    float theta = angle * c * c * c * (10.0 + c * (6.0 * c - 15.0));
    float theta_x = angle * 30.0 * c * c * (1.0 - c) * (1.0 - c) * c_x;
    vec3 across = vec3(0.0, cos(theta), sin(theta));
    vec3 normal = normalize(vec3(-edge * theta_x, -sin(theta), cos(theta)));
    float scale = max(thickness * pixels.y * abs(sin(theta)), 0.4);
    float h = along_h.y * (1.0 + 1.0 / scale);
    vec3 at = vec3(half_length * (2.0 * u - 1.0), 0.0, 0.0) + across * edge + normal * (h * thickness);
    vec3 eye = normalize(vec3(0.0, 0.0, camera) - at);
    vec3 outward = across * edge;
    strip = vec3(h, scale, dot(outward, eye));
    float w = (camera - at.z) / camera;
    gl_Position = vec4(axes * (at.xy / vec2(half_length, 1.0)), 0.0, w);
    coords = 0.5 + 0.5 * vec4(axes * vec2(2.0 * u - 1.0, 0.997 * edge), axes * vec2(2.0 * u - 1.0, -0.997 * edge));
    outward.xy = axes * outward.xy;
    eye.xy = axes * eye.xy;
    light = shine(outward, eye);
}
)glsl";

constexpr char kEdgeFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
varying vec4 coords;
varying vec2 light;
varying vec3 strip;
void main() {
    vec4 front = texture2D(tex1, coords.xy);
    vec4 back = texture2D(tex2, coords.zw);
    vec4 color = 0.5 * (front + back);
    color *= min(front.a, back.a) / max(color.a, 0.001);  // a cut-out has an edge where both of its sides are
    color.rgb = mix(color.rgb, vec3(0.85 * color.a), 0.3);
    color.rgb = min(color.rgb * light.x + color.a * light.y, color.a);
    float cover = clamp((1.0 - abs(strip.x)) * strip.y + 0.5, 0.0, 1.0) * smoothstep(0.0, 0.1, strip.z);
    gl_FragColor = color * cover;
}
)glsl";

constexpr int kColumns = 160;  // columns in half of a ribbon's mesh
constexpr int kTwistRows = 24;

struct RibbonVertex {
    glm::vec2 place;
    glm::vec2 beyond;

    static constexpr std::array<VertexAttribute, 2> kLayout{{{"place", 2}, {"beyond", 2}}};
};

struct EdgeVertex {
    glm::vec2 alongH;

    static constexpr std::array<VertexAttribute, 1> kLayout{{{"along_h", 2}}};
};

PackedMesh<EdgeVertex> MakeEdge() {
    PackedMesh<EdgeVertex> edge;
    for (unsigned i = 0; i <= kColumns; ++i) {
        float const along = static_cast<float>(i) / kColumns;
        edge.vertices.push_back({{along, -1.0F}});
        edge.vertices.push_back({{along, 1.0F}});
        if (i < kColumns) {
            edge.indices.insert(edge.indices.end(), {2 * i, 2 * i + 1, 2 * i + 2, 2 * i + 2, 2 * i + 1, 2 * i + 3});
        }
    }
    return edge;
}

/// Columns from the outer end inwards.
PackedMesh<RibbonVertex> MakeRibbon() {
    struct Line {
        float place;
        float beyond;
    };
    std::vector<Line> columns{{0.0F, 1.0F}};
    for (int i = 0; i <= kColumns; ++i) {
        columns.push_back({static_cast<float>(i) / kColumns, 0.0F});
    }
    std::vector<Line> rows{{-1.0F, -1.0F}};
    for (int j = 0; j <= kTwistRows; ++j) {
        rows.push_back({2.0F * static_cast<float>(j) / kTwistRows - 1.0F, 0.0F});
    }
    rows.push_back({1.0F, 1.0F});

    PackedMesh<RibbonVertex> ribbon;
    for (Line const& column : columns) {
        for (Line const& row : rows) {
            ribbon.vertices.push_back({{column.place, row.place}, {column.beyond, row.beyond}});
        }
    }
    auto const height = static_cast<unsigned>(rows.size());
    for (unsigned i = 0; i + 1 < columns.size(); ++i) {
        for (unsigned j = 0; j + 1 < height; ++j) {
            unsigned const corner = i * height + j;
            ribbon.indices.insert(ribbon.indices.end(), {corner, corner + height, corner + 1});
            ribbon.indices.insert(ribbon.indices.end(), {corner + 1, corner + height, corner + height + 1});
        }
    }
    return ribbon;
}

}  // namespace

class TransitionTwist final : public TransitionWithSettings<Proc::SettingsTransitionTwist> {
public:
    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        auto& [ribbon, edge] = GetCache<CacheImpl>(cache).meshes;
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        if (!ribbon) {
            ribbon.emplace(MakeRibbon(), GL_STATIC_DRAW);
            edge.emplace(MakeEdge(), GL_STATIC_DRAW);
        }
        Direction const& direction = kDirections.at(static_cast<std::size_t>(settings.dir));
        auto const aspect = static_cast<float>(GetDisplayAspect(dst->GetFrameInfo()));
        Frame const target = dst->FrameData();
        glm::vec2 const size(target.GetWidth(), target.GetHeight());
        float const texels = direction.isUpright ? size.y : size.x;
        Twist const twist(settings.turns, direction.isUpright ? 1.0F / aspect : aspect, progress, texels);

        bool const isBlurred = settings.background == Proc::SettingsTransitionTwist::Background::Blurred;
        SpaceScene scene(*dst, *first, *second, storage, isBlurred ? std::optional(progress) : std::nullopt);
        auto const drawArrived = [&] { DrawRest(scene, scene.GetIncoming(), direction, 0.0F, twist.begin); };
        auto const drawWaiting = [&] { DrawRest(scene, scene.GetOutgoing(), direction, twist.end, 1.0F); };
        constexpr float kMiddle = 0.5F;
        // From the outside to the middle.
        if (twist.end <= kMiddle) {
            drawArrived();
        } else {
            drawWaiting();
            if (twist.begin < kMiddle) {
                drawArrived();
            }
        }
        Pass pass = MakePass(scene, twist, direction, direction.isUpright ? glm::vec2(size.y, size.x) : size, storage);
        if (twist.begin < kMiddle) {
            pass.Set("range", twist.begin, std::min(twist.end, kMiddle))
                .Set("outer_edge", twist.begin <= 0.0F ? 1.0F : 0.0F)
                .Draw(*ribbon);
        }
        if (twist.end > kMiddle) {
            pass.Set("range", twist.end, std::max(twist.begin, kMiddle))
                .Set("outer_edge", twist.end >= 1.0F ? 1.0F : 0.0F)
                .Draw(*ribbon);
        }
        if (settings.thickness > 0.0) {
            glm::vec2 const lengths = direction.isUpright ? glm::vec2(size.y, size.x) : size;
            DrawEdges(scene, twist, direction, lengths, *edge, storage);
        }
        if (twist.end <= kMiddle) {
            drawWaiting();
        } else if (twist.begin >= kMiddle) {
            drawArrived();
        }
        scene.Finish();
    }

private:
    struct CacheImpl final : OglCache {
        struct {
            std::optional<AttributeMesh> ribbon;
            std::optional<AttributeMesh> edge;
        } meshes;
    };

    struct Direction {
        bool isUpright;
        float sign;  ///< of the way of the twist along its screen axis

        glm::mat2 GetAxes() const {
            return isUpright ? glm::mat2(0.0F, sign, 1.0F, 0.0F) : glm::mat2(sign, 0.0F, 0.0F, 1.0F);
        }
    };
    static constexpr std::array<Direction, 4> kDirections{{{false, 1}, {false, -1}, {true, 1}, {true, -1}}};

    /// Where the twist stands.
    struct Twist {
        Twist(int turns, float length, double progress, float texels) : halfLength(length) {
            int const halfTurns = turns | 1;
            constexpr float kOneTurn = 1.1F;     // ribbon widths that a half turn takes
            constexpr float kMoreTurns = 0.45F;  // those that each further one adds
            width = std::clamp((kOneTurn + kMoreTurns * static_cast<float>(halfTurns - 1)) / length, 0.35F, 2.0F);
            front = static_cast<float>(progress) * (1.0F + width);
            angle = static_cast<float>(halfTurns * std::numbers::pi);
            // The borders of the parts at rest fall on whole pixels.
            begin = std::floor(std::clamp(front - width, 0.0F, 1.0F) * texels) / texels;
            end = std::ceil(std::clamp(front, 0.0F, 1.0F) * texels) / texels;
        }

        float halfLength;  ///< in halves of the ribbon's width
        float width;       ///< these along the picture, 0 to 1, the way that the twist runs
        float front;
        float begin;
        float end;
        float angle;
    };

    /// `from` and `to`: along the way of the twist.
    static void DrawRest(SpaceScene const& scene, Texture const& picture, Direction const& direction, float from,
                         float to) {
        if (from >= to) {
            return;
        }
        bool const isReverse = direction.sign < 0.0F;
        float const low = isReverse ? 1.0F - to : from;
        float const high = isReverse ? 1.0F - from : to;
        direction.isUpright ? scene.DrawFlat(picture, {0.0F, low}, {1.0F, high})
                            : scene.DrawFlat(picture, {low, 0.0F}, {high, 1.0F});
    }

    /// Both edges of the twisting part; `size` as for `MakePass`.
    void DrawEdges(SpaceScene const& scene, Twist const& twist, Direction const& direction, glm::vec2 const& size,
                   Mesh const& edge, ShaderStorage const& storage) const {
        Pass pass(storage, "TransitionTwist_edge", {kGlslVersion, kShineFunction, kEdgeVertex},
                  {kGlslVersion, kEdgeFragment}, EdgeVertex::kLayout);
        pass.Texture("tex1", 0, scene.GetOutgoing())
            .Texture("tex2", 1, scene.GetIncoming())
            .Set("front", twist.front)
            .Set("width", twist.width)
            .Set("angle", twist.angle)
            .Set("half_length", twist.halfLength)
            .Set("camera", kCameraDistance)
            .Set("pixels", 0.5F * size / glm::vec2(twist.halfLength, 1.0F))
            .Set("axes", direction.GetAxes())
            .Set("range", twist.begin, twist.end)
            .Set("thickness", settings.thickness);
        for (float const side : {-1.0F, 1.0F}) {
            pass.Set("edge", side).Draw(edge);
        }
    }

    /// `size` of the picture in pixels along the ribbon and across.
    static Pass MakePass(SpaceScene const& scene, Twist const& twist, Direction const& direction, glm::vec2 const& size,
                         ShaderStorage const& storage) {
        Pass pass(storage, "TransitionTwist", {kGlslVersion, kShineFunction, kVertex},
                  {kGlslVersion, kStretchFunctions, kFragment}, RibbonVertex::kLayout);
        scene.UsePictures(pass);
        pass.Set("front", twist.front)
            .Set("width", twist.width)
            .Set("angle", twist.angle)
            .Set("half_length", twist.halfLength)
            .Set("camera", kCameraDistance)
            .Set("pixels", 0.5F * size / glm::vec2(twist.halfLength, 1.0F))
            .Set("axes", direction.GetAxes());
        return pass;
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionTwist>();

}  // namespace Kaltor::Ogl
