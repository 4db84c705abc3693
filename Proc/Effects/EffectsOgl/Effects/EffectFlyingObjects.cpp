// Snowflakes, leaves, petals, hearts, stars, bubbles or confetti drift over the picture and turn: near ones larger,
// faster and out of focus. They are one mesh of quads, from the farthest to the nearest, that stays as it is; its
// vertex program moves them (see FlyingShapes). An object that leaves the picture comes back at the opposite side, out
// of sight, so that the stream never ends. Where the picture is transparent the objects lie over it like ink: alpha is
// the union of both.

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "Ogl/GlState.h"
#include "Ogl/Noise.h"
#include "Ogl/Random.h"
#include "Ogl/TexturePool.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/FlyingShapes.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr double kNearestLaps = 64.0;
constexpr double kFarthest = 3.0;  // times as far away as the nearest

constexpr char kOver[] = R"glsl(#version 120
uniform sampler2D tex;
uniform sampler2D layer;  // premultiplied
varying vec2 TexCoord0;
void main() {
    vec4 below = texture2D(tex, TexCoord0);
    vec4 above = texture2D(layer, TexCoord0);
    float rest = below.a * (1.0 - above.a);
    float alpha = above.a + rest;
    gl_FragColor = above.a == 0.0 ? below : vec4((above.rgb + below.rgb * rest) / alpha, alpha);
}
)glsl";

double GetFraction(double value) {
    return value - std::floor(value);
}

/// `count` objects drawn from `seed`; a larger count only adds objects.
PackedMesh<FlyingVertex> MakeObjects(std::uint32_t seed, std::uint32_t count) {
    struct Object {
        double across, along, laps;
        std::uint32_t number;
    };
    std::vector<Object> objects;
    objects.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        // Spread evenly: M. Roberts' R2 sequence, from a random start.
        constexpr double kStepX = 0.7548776662466927;
        constexpr double kStepY = 0.5698402909980532;
        // The number of objects at each distance is in proportion to the visible width there.
        double const distance = std::sqrt(1.0 + HashToUnit(seed, i, 0) * (kFarthest * kFarthest - 1.0));
        objects.push_back({GetFraction(HashToUnit(seed, 0, 1) + i * kStepX),
                           GetFraction(HashToUnit(seed, 0, 2) + i * kStepY), std::round(kNearestLaps / distance), i});
    }
    std::stable_sort(objects.begin(), objects.end(), [](Object const& a, Object const& b) { return a.laps < b.laps; });

    auto packed = ReserveMesh<FlyingVertex>(objects.size());
    int counter = 0;
    for (Object const& object : objects) {
        MakeQuadIdx(counter, packed.indices);
        auto const random = [&](std::uint32_t which) { return HashToUnit(seed, object.number, which); };
        for (glm::vec2 const& corner : kQuadCorners) {
            packed.vertices.push_back({glm::vec2(object.across, object.along), static_cast<float>(object.laps),
                                       glm::vec3(random(3), random(4), random(5)), corner});
        }
    }
    return packed;
}

}  // namespace

class EffectFlyingObjects final : public EffectWithSettings<Proc::SettingsEffectFlyingObjects> {
public:
    EffectFlyingObjects() { settings.SetMoveDirection(Proc::SettingsEffectFlyingObjects::Direction::Down); }

    class CacheImpl final : public OglCache {
    public:
        explicit CacheImpl(Random random) : seed(random.Draw()) {}

        Mesh const& Get(std::uint32_t wanted) {
            if (!mesh || count != wanted) {
                mesh.emplace(MakeObjects(seed, wanted), GL_STATIC_DRAW);
                count = wanted;
            }
            return *mesh;
        }

    private:
        std::uint32_t seed;
        std::uint32_t count = 0;
        std::optional<AttributeMesh> mesh;
    };

    void SetSeed(std::uint32_t seed) override { random = Random(seed); }
    OglCache* CreateCache() const override { return new CacheImpl(random); }

    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache* cache) const override {
        auto& objects = GetCache<CacheImpl>(cache);
        Texture const& target = dst->FrameData().GetFirstTexture();
        bool const isVisible = settings.color.alpha != 0 && settings.count > 0;
        if (!isVisible || target.IsOpaque()) {
            DrawUnchanged(*dst, *src, storage);
            if (isVisible) {
                DrawObjects(objects, src->GetFrameInfo(), time, storage);
            }
            return;
        }
        PooledTexture const layer(
            TextureForm{target.GetForm().width, target.GetForm().height, LikeWithAlpha(target.GetForm().format), false});
        storage.FBO().Attach(layer.Get());
        DrawObjects(objects, src->GetFrameInfo(), time, storage);
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectFlyingObjects_over", kOver)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("layer", 1, layer.Get(), TextureFilter::Nearest)
            .DrawTo(*dst);
    }

private:
    /// Draws into the attached target, which is opaque or premultiplied.
    void DrawObjects(CacheImpl& objects, Conf::FrameInfo const& info, double time, ShaderStorage const& storage) const {
        FlyingShape const& shape = GetFlyingShape(settings.kind);
        double const aspect = GetDisplayAspect(info);
        double const radius = 0.5 * settings.size * std::max(aspect, 1.0);
        constexpr double kReach = 1.8;  // of an object with its blur
        double const margin = kReach * radius + 2.0 / info.height;
        static constexpr std::array<std::array<float, 2>, 4> kHeadings{{{0, -1}, {0, 1}, {-1, 0}, {1, 0}}};
        auto const& heading = kHeadings.at(static_cast<std::size_t>(settings.moveDirection));
        double const way = (heading[0] != 0.0F ? aspect : 1.0) + 2.0 * margin;
        constexpr double kMinute = 60.0;
        EnableState const blend(GL_BLEND);
        glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
        Pass(storage, std::string("EffectFlyingObjects_") + shape.name, kFlyingVertex,
             {kFlyingBegin, shape.fragment, kFlyingEnd}, FlyingVertex::kLayout)
            .Set("extent", static_cast<float>(aspect), 1.0F)
            .Set("heading", heading[0], heading[1])
            .Set("margin", margin)
            .Set("radius", radius)
            .Set("height", static_cast<float>(info.height))
            .Set("laps", GetFraction(settings.speed * time / (kNearestLaps * way)))
            .Set("minute", GetFraction(time / kMinute))
            .Set("turning", static_cast<float>(shape.spin), static_cast<float>(shape.tumble), shape.tilt, shape.rock)
            .Set("swaying", glm::vec3(shape.sway, static_cast<float>(shape.swayRate), shape.isUpright ? 1 : 0))
            .Set("color", settings.color)
            .Draw(objects.Get(static_cast<std::uint32_t>(settings.count)));
    }

    Random random;
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectFlyingObjects>();

}  // namespace Kaltor::Ogl
