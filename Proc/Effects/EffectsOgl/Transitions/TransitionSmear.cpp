// A broad brush goes over the wet outgoing picture and smears it along its path, bristle by bristle, while the incoming
// picture comes up behind it, smeared at first, and settles. A map of streaks, long along the path and fine across it,
// gives how far a bristle draws paint, how far it leads or lags and where it leaves a ridge.

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <optional>

#include <glm/geometric.hpp>

#include "Ogl/Noise.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {
namespace {

// Value noise of several scales, from (across, along): how far paint is drawn, the lead of the edge, the light on
// ridges (one half where there is none), where between its taps a bristle samples.
constexpr char kStreaks[] = R"glsl(
uniform sampler2D noise;
varying vec2 TexCoord0;
vec4 Noise(vec2 cells, vec2 offset) {
    vec2 at = TexCoord0 * cells + offset;
    vec2 cell = floor(at);
    vec2 f = at - cell;
    return texture2D(noise, (cell + f * f * (vec2(3.0) - 2.0 * f) + vec2(0.5)) / kNoiseSize);
}
void main() {
    vec4 broad = Noise(vec2(14.0, 3.0), vec2(0.0));
    vec4 middle = Noise(vec2(57.0, 4.0), vec2(31.0, 71.0));
    vec4 fine = Noise(vec2(400.0, 6.0), vec2(5.0, 137.0));
    float pull = 0.5 * broad.r + 0.38 * middle.r + 0.12 * fine.r;
    float lead = 0.55 * broad.g + 0.38 * middle.g + 0.07 * fine.g;
    float ridge = fine.b - Noise(vec2(400.0, 6.0), vec2(5.35, 137.0)).b;
    float groove = middle.b - Noise(vec2(57.0, 4.0), vec2(31.2, 71.0)).b;
    gl_FragColor = vec4(clamp(1.7 * pull - 0.35, 0.0, 1.0), clamp(1.7 * lead - 0.35, 0.0, 1.0),
                        0.5 + 0.5 * (0.6 * ridge + 0.4 * groove), fine.a);
}
)glsl";

// The mean along the way of the brush, so that a few samples further on make a streak without gaps.
constexpr char kBlur[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 way;  // texture coordinates
varying vec2 TexCoord0;
vec2 Mirror(vec2 coord) {
    return vec2(1.0) - abs(vec2(1.0) - abs(coord));
}
void main() {
    vec4 sum = vec4(0.0);
    for (int i = 0; i < 6; ++i) {
        sum += texture2D(tex, Mirror(TexCoord0 + way * ((float(i) - 2.5) / 6.0)));
    }
    gl_FragColor = sum / 6.0;
}
)glsl";

// Lengths are parts of the picture's longer side. Paint is spread from its own place on, and where it has hardly moved
// it is still the sharp picture in its place: a copy that moved would be torn wherever bristles move differently.
// WEIGHT is the incoming picture's; where it is a constant the compiler leaves out the picture that does not show.
constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D blurred1;
uniform sampler2D blurred2;
uniform sampler2D streaks;
uniform vec2 scale;      // of texture coordinates to lengths
uniform vec2 direction;
uniform float extent;    // of the map of streaks
uniform float front;
uniform float ahead;     // how far before the front paint begins to move
uniform float border;    // from the one picture to the other
uniform float ragged;
uniform float settling;  // behind the front
uniform float pull;
uniform float light;     // on ridges
varying vec2 TexCoord0;
vec2 Mirror(vec2 coord) {
    return vec2(1.0) - abs(vec2(1.0) - abs(coord));
}
vec4 Smear(sampler2D sharp, sampler2D blurred, vec2 way, float jitter, float amount) {
    vec2 coord = TexCoord0 - way * jitter;
    vec4 sum = vec4(0.0);
    for (int i = 0; i < 5; ++i) {
        sum += texture2D(blurred, Mirror(coord));
        coord -= way;
    }
    return mix(texture2D(sharp, TexCoord0), sum / 5.0, smoothstep(0.0, 0.2, amount));
}
void main() {
    vec2 place = (TexCoord0 - vec2(0.5)) * scale;
    float along = dot(place, direction);
    float across = direction.x * place.y - direction.y * place.x;
    vec4 streak = texture2D(streaks, vec2(across, along) / extent + vec2(0.5));
    float behind = front - along + ragged * (streak.g - 0.5);
    float weight = WEIGHT;
    float drawn = smoothstep(-ahead, 0.0, behind);
    float wet = 1.0 - smoothstep(0.0, settling, behind);
    vec2 way = direction / scale * (pull * streak.r / 5.0);
    vec4 from = Smear(tex1, blurred1, way * drawn, streak.a, drawn * streak.r);
    vec4 to = Smear(tex2, blurred2, way * wet, streak.a, wet * streak.r);
    vec4 color = mix(from, to, weight);
    color.rgb *= 1.0 + light * mix(drawn, wet, weight) * (streak.b - 0.5);
    gl_FragColor = Unmultiply(color);
}
)glsl";

/// Length of the map of streaks along both axes; it exceeds a square's diagonal.
constexpr double kExtent = 1.5;

/// A picture as wet paint: colours multiplied by alpha; and blurred along `way`, at a fixed size whatever the picture's
/// size.
class Paint {
public:
    Paint(Frame const& picture, glm::vec2 const& way, ShaderStorage const& storage)
        : sharp(picture, storage), blurred(MakeBlurred(picture, way, storage)) {}

    Texture const& GetSharp() const { return sharp.Get(); }
    Texture const& GetBlurred() const { return blurred.Get(); }

private:
    static PooledTexture MakeBlurred(Frame const& picture, glm::vec2 const& way, ShaderStorage const& storage) {
        constexpr double kLongerSide = 640.0;
        double const factor = std::min(kLongerSide / std::max(picture.GetWidth(), picture.GetHeight()), 1.0);
        auto const reduce = [factor](std::uint32_t side) {
            return static_cast<std::uint32_t>(std::max(std::lround(side * factor), 1L));
        };
        Frame const small = MakeScaled(picture, reduce(picture.GetWidth()), reduce(picture.GetHeight()), storage);
        Premultiplied const premultiplied(small, storage);
        PooledTexture result(premultiplied.Get().GetForm());
        Pass(storage, "TransitionSmearBlur", kBlur)
            .Texture("tex", 0, premultiplied.Get())
            .Set("way", way)
            .DrawTo(result.Get());
        return result;
    }

    Premultiplied sharp;
    PooledTexture blurred;
};

/// Bands of the picture across the brush's path, given by lengths along the path from the picture's centre.
class Stretches {
public:
    Stretches(glm::vec2 const& brushDirection, glm::vec2 const& coordScale)
        : direction(brushDirection),
          scale(coordScale),
          reachAlong(glm::dot(glm::abs(direction), scale) / 2.0F),
          reachAcross(glm::length(scale) / 2.0F) {}

    glm::vec2 const& GetDirection() const { return direction; }
    glm::vec2 const& GetScale() const { return scale; }
    /// The brush's way over a unit of length, in texture coordinates.
    glm::vec2 GetWay() const { return direction / scale; }
    double GetReach() const { return static_cast<double>(reachAlong); }
    bool IsSeen(double from, double to) const { return from < to && from < GetReach() && to > -GetReach(); }
    /// The part of the unit quad between `from` and `to`, and a little beyond the picture.
    Mesh::Corners GetCorners(double from, double to) const {
        auto const low = static_cast<float>(std::max(from, -GetReach()));
        auto const high = static_cast<float>(std::min(to, GetReach()));
        std::array<glm::vec2, 4> const corners{
            {{low, -reachAcross}, {high, -reachAcross}, {high, reachAcross}, {low, reachAcross}}};
        Mesh::Corners vertices{};
        auto next = vertices.begin();
        for (glm::vec2 const& corner : corners) {
            glm::vec2 const across(-direction.y, direction.x);
            glm::vec2 const place = (direction * corner.x + across * corner.y) / scale;
            for (float const value : {place.x + 0.5F, place.y + 0.5F, 2.0F * place.x, 2.0F * place.y}) {
                *next++ = value;
            }
        }
        return vertices;
    }

private:
    glm::vec2 direction;
    glm::vec2 scale;  ///< of texture coordinates to lengths
    float reachAlong;
    float reachAcross;
};

/// What the brush does, and how far it has come. Lengths are as in `Stretches`.
struct Stroke {
    Stroke(double strength, double softness, double progress, double reach)
        : pull(0.5 * strength),
          border(std::max(softness, 0.01)),
          ragged(0.5 * strength),
          ahead(0.16 * strength),
          settling(border + pull),
          light(1.2 * std::min(5.0 * strength, 1.0)) {
        // From the position where nothing has begun to the one where everything has settled.
        double const begin = -reach - 0.5 * ragged - ahead;
        double const end = reach + 0.5 * ragged + settling;
        front = begin + progress * (end - begin);
        settled = front - 0.5 * ragged - settling;
        covered = front - 0.5 * ragged - border;
        reached = front + 0.5 * ragged;
        drawn = reached + ahead;
    }

    double pull, border, ragged, ahead, settling, light;  ///< see `kFragment`
    double front;
    // Along the brush's path: up to `settled` the incoming picture at rest, up to `covered` the incoming picture alone
    // but wet, up to `reached` both, up to `drawn` the outgoing picture alone but wet, then the outgoing picture at
    // rest.
    double settled, covered, reached, drawn;
};

/// A program that draws paint: the pictures that it shows.
struct Mixture {
    char const* name;
    char const* weight;
    bool showsOutgoing;
    bool showsIncoming;
};
constexpr Mixture kOutgoingAlone{"TransitionSmear_from", "0.0", true, false};
constexpr Mixture kIncomingAlone{"TransitionSmear_to", "1.0", false, true};
constexpr Mixture kBoth{"TransitionSmear", "smoothstep(0.0, border, behind)", true, true};

/// The output, drawn stretch by stretch.
class Painting {
public:
    Painting(DataVideoOGL& output, Frame const& outgoing, Frame const& incoming, Stretches const& stretchesOfPicture,
             Stroke const& brushStroke, ShaderStorage const& shaderStorage)
        : dst(output), storage(shaderStorage), stretches(stretchesOfPicture), stroke(brushStroke) {
        glm::vec2 const way = stretches.GetWay() * static_cast<float>(stroke.pull / 5.0);
        if (stretches.IsSeen(stroke.covered, stroke.drawn)) {
            from.emplace(outgoing, way, storage);
        }
        if (stretches.IsSeen(stroke.settled, stroke.reached)) {
            to.emplace(incoming, way, storage);
        }
    }

    void DrawStill(Frame const& picture, double low, double high) {
        if (stretches.IsSeen(low, high)) {
            AttachTarget(dst, storage);
            stretch.SetCorners(stretches.GetCorners(low, high));
            picture.Draw(stretch, storage);
        }
    }

    void DrawPaint(Mixture const& mixture, Texture const& streaks, double low, double high) {
        if (!stretches.IsSeen(low, high)) {
            return;
        }
        Pass pass(storage, mixture.name,
                  {kGlslVersion, "#define WEIGHT ", mixture.weight, "\n", kStraightAlpha, kFragment});
        if (mixture.showsOutgoing) {
            pass.Texture("tex1", 0, from->GetSharp())
                .Texture("blurred1", 2, from->GetBlurred())
                .Set("ahead", std::max(stroke.ahead, 1e-6));  // the edges of a step must differ
        }
        if (mixture.showsIncoming) {
            pass.Texture("tex2", 1, to->GetSharp())
                .Texture("blurred2", 3, to->GetBlurred())
                .Set("settling", stroke.settling);
        }
        if (mixture.showsOutgoing && mixture.showsIncoming) {
            pass.Set("border", stroke.border);
        }
        stretch.SetCorners(stretches.GetCorners(low, high));
        pass.Texture("streaks", 4, streaks)
            .Set("scale", stretches.GetScale())
            .Set("direction", stretches.GetDirection())
            .Set("extent", kExtent)
            .Set("front", stroke.front)
            .Set("ragged", stroke.ragged)
            .Set("pull", stroke.pull)
            .Set("light", stroke.light)
            .DrawTo(dst, stretch);
    }

private:
    DataVideoOGL& dst;
    ShaderStorage const& storage;
    Stretches const& stretches;
    Stroke const& stroke;
    std::optional<Paint> from;  ///< set where their paint is visible
    std::optional<Paint> to;
    Quad stretch{GL_STREAM_DRAW};
};

}  // namespace

class TransitionSmear final : public TransitionWithSettings<Proc::SettingsTransitionSmear> {
public:
    class CacheImpl final : public OglCache {
    public:
        Texture const& Get(ShaderStorage const& storage) {
            if (!streaks) {
                constexpr std::uint32_t kAcross = 1024;
                constexpr std::uint32_t kAlong = 64;
                streaks = Texture({kAcross, kAlong, TexelFormat::Rgba16, false});
                Pass(storage, "TransitionSmearStreaks", {kGlslVersion, kNoiseSizeGlsl, kStreaks})
                    .Texture("noise", 0, storage.Noise())
                    .DrawTo(streaks);
            }
            return streaks;
        }

    private:
        Texture streaks;
    };

    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        auto& streaks = GetCache<CacheImpl>(cache);
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        auto const aspect = static_cast<float>(GetDisplayAspect(first->GetFrameInfo()));
        glm::vec2 const scale(std::min(aspect, 1.0F), std::min(1.0F / aspect, 1.0F));
        double const angle = settings.angle * std::numbers::pi / 180.0;
        glm::vec2 const direction(std::cos(angle), std::sin(angle));
        Stretches const stretches(direction, scale);
        Stroke const stroke(settings.strength, settings.softness, progress, stretches.GetReach());
        Painting painting(*dst, outgoing, incoming, stretches, stroke, storage);
        Texture const& map = streaks.Get(storage);
        constexpr double kFar = 10.0;
        // Each reaches a little under the one that is drawn after it, so that there are no seams.
        double const overlap = std::min(2.0 / std::max(outgoing.GetWidth(), outgoing.GetHeight()),
                                        0.5 * (stroke.reached - stroke.covered));
        painting.DrawStill(incoming, -kFar, stroke.settled + overlap);
        painting.DrawStill(outgoing, stroke.drawn - overlap, kFar);
        painting.DrawPaint(kIncomingAlone, map, stroke.settled, stroke.covered + overlap);
        painting.DrawPaint(kOutgoingAlone, map, stroke.reached - overlap, stroke.drawn);
        painting.DrawPaint(kBoth, map, stroke.covered, stroke.reached);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionSmear>();

}  // namespace Kaltor::Ogl
