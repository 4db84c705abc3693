// A drawing of the picture's edges is painted in by brush strokes: at 0 the drawing, at 1 exactly the picture. The
// drawing is `EffectFindEdges`.
//
// Strokes: many of them, of differing direction and curvature, begin in the middle and spread; later ones go over the
// gaps that bristles leave. When each pixel is first painted is drawn once per size, as the least value of all strokes
// there, into a texture; a frame compares it with progress. Wet paint is darker at its rims, and its pigment settles in
// the paper's grain.
//
// Sweep: one brush goes back and forth; that is `TransitionWaterbrush`, with its cache.

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <optional>
#include <vector>

#include "Ogl/GlState.h"
#include "Ogl/Mesh.h"
#include "Ogl/Noise.h"
#include "Ogl/Texture.h"
#include "Proc/Effects/EffectsOgl/Effects/EffectFindEdges.h"
#include "Proc/Effects/EffectsOgl/Transitions/TransitionWaterbrush.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kStrokeVertex[] = R"glsl(#version 120
attribute vec2 place;
attribute vec2 along_across;  // 0 to 1, -1 to 1
attribute vec4 stroke;        // begin, duration, a random number, how dry the brush is
varying vec2 At;
varying vec4 Stroke;
void main() {
    At = along_across;
    Stroke = stroke;
    gl_Position = vec4(place, 0.0, 1.0);
}
)glsl";

// When the paint arrives, where the bristles touch the paper.
constexpr char kStroke[] = R"glsl(
uniform sampler2D noise;
varying vec2 At;
varying vec4 Stroke;
float Read(float across, float along) {
    return texture2D(noise, vec2(across + Stroke.z * 311.0, along + Stroke.z * 97.0) / kNoiseSize).r;
}
void main() {
    float hair = Read(At.y * 26.0, At.x * 1.5);
    float tuft = Read(At.y * 7.0 + 90.0, At.x * 2.5);
    float side = Read(40.0 * sign(At.y), At.x * 14.0);
    float dry = Stroke.w;
    float ends = min(At.x - 0.10 * tuft * (0.3 + dry) - 0.03 * hair,
                     1.0 - At.x - (0.08 + 0.25 * dry) * tuft - 0.06 * hair);
    float sides = 1.0 - abs(At.y) - 0.05 * hair - (0.10 + 0.16 * dry) * side;
    float lifted = dry * (0.25 + 0.9 * At.x * At.x) * 0.75;
    bool touches = ends > 0.0 && sides > 0.0 && 0.6 * hair + 0.4 * tuft > 0.55 * lifted;
    float when = Stroke.x + Stroke.y * At.x + 0.012 * hair;
    gl_FragColor = vec4(touches ? when : 1.0);
}
)glsl";

constexpr char kBlank[] = R"glsl(#version 120
uniform float when;
void main() {
    gl_FragColor = vec4(when);
}
)glsl";

constexpr char kPaint[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D drawing;
uniform sampler2D times;
uniform sampler2D noise;
uniform float now;
uniform float wet;
uniform float paper;
uniform vec2 rim;     // how far the rim of wet paint reaches
uniform vec2 grains;  // of the paper, along both sides
varying vec2 TexCoord0;
float Painted(vec2 at) {
    return clamp((now - texture2D(times, at).r) * 90.0, 0.0, 1.0);
}
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec4 drawn = texture2D(drawing, TexCoord0);
    float age = now - texture2D(times, TexCoord0).r;
    vec2 fibre = TexCoord0 * grains;
    float grain = 0.6 * texture2D(noise, fibre / kNoiseSize).g + 0.4 * texture2D(noise, fibre.yx * 0.43 / kNoiseSize).b;
    // Pits of the paper take paint last.
    float weight = clamp((age - 0.012 * paper * grain) * 90.0, 0.0, 1.0);
    float around = 0.5 * (Painted(TexCoord0 + rim) + Painted(TexCoord0 - rim));
    float fresh = exp(-18.0 * max(age, 0.0));
    float dense = wet * (1.1 * (1.0 - around) + 0.35 * fresh);
    vec3 paint = picture.rgb * mix(vec3(1.0), 0.35 + 0.65 * picture.rgb, clamp(dense, 0.0, 1.0));
    float settled = paper * 0.4 * (1.0 - smoothstep(0.4, 1.0, now)) * grain * grain;
    paint += (vec3(1.0) - paint) * settled;
    gl_FragColor = vec4(mix(drawn.rgb, paint, weight), picture.a);
}
)glsl";

struct StrokeVertex {
    glm::vec2 place;
    glm::vec2 alongAcross;
    glm::vec4 stroke;

    static constexpr std::array<VertexAttribute, 3> kLayout{{{"place", 2}, {"along_across", 2}, {"stroke", 4}}};
};

/// What the strokes depend on.
struct Painting {
    double aspect = 0.0;
    double angle = 0.0;  ///< radians
    double size = 0.0;   ///< strokes beside each other on the shorter side
    double rough = 0.0;  ///< 0 to 1

    bool operator==(Painting const&) const = default;
};

constexpr std::uint32_t kHand = 0xB805U;  // the seed: the same painting each time

/// One layer of strokes on a jittered grid. Those of the second one are wider and leave nothing out. Lengths are in
/// heights of the picture.
void AddStrokes(PackedMesh<StrokeVertex>& mesh, Painting const& painting, std::uint32_t layer, double first,
                double last) {
    constexpr int kPieces = 8;
    bool const isSecond = layer > 0;
    double const width = (isSecond ? 2.4 : 1.5) * std::min(painting.aspect, 1.0) / painting.size;
    double const length = std::clamp(6.0 * width, 0.25, 0.9);
    double const stepAcross = (isSecond ? 0.42 : 0.62) * width;
    double const stepAlong = (isSecond ? 0.42 : 0.6) * length;
    glm::dvec2 const extent(painting.aspect, 1.0);
    double const reach = 0.5 * glm::length(extent) + 0.3 * length;
    glm::dvec2 const up(-std::sin(painting.angle), std::cos(painting.angle));
    glm::dvec2 const right(up.y, -up.x);
    auto const rows = static_cast<int>(std::ceil(reach / stepAlong));
    auto const columns = static_cast<int>(std::ceil(reach / stepAcross));
    std::uint32_t number = 0;
    for (int row = -rows; row <= rows; ++row) {
        for (int column = -columns; column <= columns; ++column) {
            ++number;
            auto const random = [&](std::uint32_t which) { return HashToUnit(kHand + layer, number, which); };
            double const shift = (column % 2 == 0 ? 0.0 : 0.5) + 0.5 * (random(0) - 0.5);
            glm::dvec2 const middle =
                up * ((row + shift) * stepAlong) + right * ((column + 0.7 * (random(1) - 0.5)) * stepAcross);
            if (std::abs(middle.x) > 0.5 * extent.x + 0.5 * length ||
                std::abs(middle.y) > 0.5 * extent.y + 0.5 * length) {
                continue;
            }
            bool const isAcross = !isSecond && random(2) < 0.12;
            double const lean = (isAcross ? 1.1 : 0.3 + 0.4 * painting.rough) * (2.0 * random(3) - 1.0);
            glm::dvec2 along = up * std::cos(lean) + right * std::sin(lean);
            along *= random(4) < 0.5 ? 1.0 : -1.0;
            glm::dvec2 const side(along.y, -along.x);
            double const bend = 0.16 * length * (2.0 * random(5) - 1.0);
            double const ownWidth = 0.5 * width * (0.8 + 0.5 * random(6));
            double const ownLength = length * (0.75 + 0.5 * random(7));
            // From a place a little off the middle outwards.
            double const far = glm::length((middle - glm::dvec2(-0.08, 0.05) * extent) / glm::length(extent)) / 0.6;
            double const order = std::clamp(0.8 * far * far + 0.45 * random(8) - 0.1, 0.0, 1.0);
            double const duration = 0.09 + 0.05 * random(9);
            glm::vec4 const stroke(first + (last - first - duration - 0.02) * order, duration, random(10),
                                   painting.rough * (isSecond ? 0.0 : 0.4 + 0.6 * random(11)));
            auto const base = static_cast<unsigned>(mesh.vertices.size());
            for (int i = 0; i <= kPieces; ++i) {
                double const s = static_cast<double>(i) / kPieces;
                double const t = 2.0 * s - 1.0;
                glm::dvec2 const at = middle + along * (0.5 * t * ownLength) + side * (bend * (t * t - 0.33));
                glm::dvec2 const normal = glm::normalize(side - along * (4.0 * bend * t / ownLength));
                for (double const across : {-1.0, 1.0}) {
                    glm::dvec2 const place = (at + normal * (across * ownWidth)) * 2.0 / extent;
                    mesh.vertices.push_back({glm::vec2(place), glm::vec2(s, across), stroke});
                }
            }
            for (unsigned i = 0; i < kPieces; ++i) {
                unsigned const corner = base + 2 * i;
                mesh.indices.insert(mesh.indices.end(),
                                    {corner, corner + 1, corner + 2, corner + 2, corner + 1, corner + 3});
            }
        }
    }
}

}  // namespace

class EffectColorBrush final : public IEffectAlgorithm {
public:
    EffectColorBrush() { SetSettings(Proc::SettingsEffectColorBrush()); }

    void SetSettings(Proc::Settings const& value) override {
        auto const& given = dynamic_cast<Proc::SettingsEffectColorBrush const&>(value);
        given.Validate();
        settings = given;
        Proc::SettingsTransitionWaterbrush sweep;
        // Strokes that start with nothing painted and end with everything painted.
        sweep.type = Proc::SettingsTransitionWaterbrush::Type::Inset;
        sweep.angle = settings.angle;
        sweep.size = settings.size;
        sweep.rough = settings.rough;
        brush.SetSettings(sweep);
    }

    void Processing(DataVideoOGL* dst, Src const& src, double time, double progress, ShaderStorage const& storage,
                    OglCache* cache) const override {
        auto& painted = GetCache<CacheImpl>(cache);
        if (progress >= 1.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Src const drawing = DataVideoOGL::Create(dst->GetPixFmt(), src->GetFrameInfo());
        edges.Processing(drawing.get(), src, time, progress, storage, nullptr);
        if (settings.style == Proc::SettingsEffectColorBrush::Style::Sweep) {
            brush.Processing(dst, drawing, src, time, progress, storage, painted.sweep.get());
            return;
        }
        if (!(progress > 0.0)) {
            DrawUnchanged(*dst, *drawing, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        double const aspect = GetDisplayAspect(src->GetFrameInfo());
        Texture const& times = painted.GetTimes({aspect, settings.angle * std::numbers::pi / 180.0,
                                                 static_cast<double>(settings.size), settings.rough / 100.0},
                                                picture, storage);
        glm::dvec2 const extent(std::max(aspect, 1.0), std::max(1.0 / aspect, 1.0));  // the shorter side is 1
        double const larger = std::max(extent.x, extent.y);
        constexpr double kRim = 0.0016;
        constexpr double kGrains = 420.0;
        Pass(storage, "EffectColorBrush", {kGlslVersion, kNoiseSizeGlsl, kPaint})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("drawing", 1, drawing->FrameData(), TextureFilter::Nearest)
            .Texture("times", 2, times)
            .Texture("noise", 3, storage.Noise())
            .Set("now", progress)
            .Set("wet", settings.wet)
            .Set("paper", settings.paper)
            .Set("rim", glm::vec2(kRim * larger / extent))
            .Set("grains", glm::vec2(kGrains / larger * extent))
            .DrawTo(*dst);
    }

    OglCache* CreateCache() const override { return new CacheImpl(brush.CreateCache()); }

private:
    class CacheImpl final : public OglCache {
    public:
        explicit CacheImpl(OglCache* ofBrush) : sweep(ofBrush) {}

        /// When each place is painted, 0 to 1.
        Texture const& GetTimes(Painting const& wanted, Frame const& picture, ShaderStorage const& storage) {
            constexpr double kMostTexels = 2048.0;
            double const scale = std::min(kMostTexels / std::max(picture.GetWidth(), picture.GetHeight()), 1.0);
            auto const count = [scale](std::uint32_t pixels) {
                return static_cast<std::uint32_t>(std::max(std::lround(scale * pixels), 1L));
            };
            TextureForm const form{count(picture.GetWidth()), count(picture.GetHeight()), TexelFormat::Rgba16, false};
            if (!times || painting != wanted || times->GetForm() != form) {
                painting = wanted;
                PackedMesh<StrokeVertex> strokes;
                constexpr double kSecondLayer = 0.22;  // when it begins
                AddStrokes(strokes, painting, 0, 0.01, 0.86);
                AddStrokes(strokes, painting, 1, kSecondLayer, 0.96);
                times.emplace(form);
                constexpr double kLast = 0.965;
                Pass(storage, "EffectColorBrush_blank", kBlank).Set("when", kLast).DrawTo(*times);
                EnableState const blend(GL_BLEND);
                glBlendFunc(GL_ONE, GL_ONE);
                glBlendEquation(GL_MIN);
                Pass(storage, "EffectColorBrush_stroke", kStrokeVertex, {kGlslVersion, kNoiseSizeGlsl, kStroke},
                     StrokeVertex::kLayout)
                    .Texture("noise", 0, storage.Noise())
                    .Draw(AttributeMesh(strokes, GL_STREAM_DRAW));
                glBlendEquation(GL_FUNC_ADD);
            }
            return *times;
        }

        std::unique_ptr<OglCache> const sweep;

    private:
        Painting painting;
        std::optional<Texture> times;
    };

    Proc::SettingsEffectColorBrush settings;
    EffectFindEdges edges;
    TransitionWaterbrush brush;
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectColorBrush>();

}  // namespace Kaltor::Ogl
