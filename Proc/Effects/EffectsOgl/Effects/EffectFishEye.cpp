// A wide-angle lens: the distance from the centre, in texture coordinates, is remapped by an exponential (`sign` above
// 0: the centre expands) or by its inverse, a logarithm (the centre is compressed). Points outside the picture show its
// edge.

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorWarp.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex0;
uniform float opt;
uniform float signdist;
uniform float dist;
varying vec2 TexCoord0;
void main() {
    vec2 point = TexCoord0 - vec2(0.5);
    float radius = length(point);
    float r = signdist > 0.0 ? (exp2(radius / opt) - 1.0) / dist : opt * log2(1.0 + dist * radius);
    // The very centre stays where it is; the guard spares it 0/0.
    gl_FragColor = texture2D(tex0, r / max(radius, 1.0e-9) * point + vec2(0.5));
}
)glsl";

/// What the program does to a distance.
struct FishEyeLens {
    double opt, dist;
    bool expands;

    double Bend(double radius) const {
        return expands ? (std::exp2(radius / opt) - 1.0) / dist : opt * std::log2(1.0 + dist * radius);
    }
};

WarpTable MakeLensTable(FishEyeLens const& lens, int width, int height, Processor& processor) {
    // Factors of distances, at even steps up to that of the corners.
    constexpr int kSteps = 4096;
    constexpr double kStep = 0.75 / kSteps;
    constexpr double kFarthest = 1e6;
    std::vector<float> factors;
    for (int i = 0; i <= kSteps; ++i) {
        double const radius = std::max(i, 1) * kStep;
        factors.push_back(static_cast<float>(std::min(lens.Bend(radius) / radius, kFarthest)));
    }
    auto const wide = static_cast<float>(width);
    auto const high = static_cast<float>(height);
    return {width, height,
            [&](int y, float* placesX, float* placesY) {
                float const t = (static_cast<float>(y) + 0.5F) / high - 0.5F;
                for (int x = 0; x < width; ++x) {
                    float const s = (static_cast<float>(x) + 0.5F) / wide - 0.5F;
                    float const step = std::sqrt(s * s + t * t) * static_cast<float>(1.0 / kStep);
                    auto const i = static_cast<std::size_t>(step);
                    float const factor = factors[i] + (factors[i + 1] - factors[i]) * (step - static_cast<float>(i));
                    placesX[x] = (s * factor + 0.5F) * wide;
                    placesY[x] = (t * factor + 0.5F) * high;
                }
            },
            processor};
}

}  // namespace

class EffectFishEye final : public EffectWithSettings<Proc::SettingsEffectFishEye> {
public:
    /// The lens for the pictures' size and the settings that were used last.
    class CacheImpl final : public OglCache {
    public:
        WarpTable const& Get(Samples const& plane, Proc::SettingsEffectFishEye const& wanted, FishEyeLens const& lens,
                             Processor& processor) {
            bool const fits = table && table->GetWidth() == plane.width && table->GetHeight() == plane.height;
            if (!fits || made.scale != wanted.scale || made.strength != wanted.strength ||
                made.referenceRadius != wanted.referenceRadius || made.sign != wanted.sign) {
                table.emplace(MakeLensTable(lens, plane.width, plane.height, processor));
                made = wanted;
            }
            return *table;
        }

    private:
        std::optional<WarpTable> table;
        Proc::SettingsEffectFishEye made;
    };

    OglCache* CreateCache() const override { return new CacheImpl; }
    bool WorksOnPlanes() const override { return true; }

    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache* cache) const override {
        // With sign <= 0 a point at the reference radius D shows the source at D / scale^2.
        double const a = settings.scale;
        double const dist = settings.strength;
        double const radius = settings.referenceRadius;
        double const opt = radius / (std::log(1.0 + dist * radius) / std::log(2.0) * a * a);
        if (IsOnPlanes(*dst)) {
            PlaneSource const picture(*src);
            WarpTable const& table = GetCache<CacheImpl>(cache).Get(
                picture.Get()[0], settings, {opt, dist, settings.sign > 0.0}, storage.Processor());
            DrawPlanes(*dst, [&](Planes const& to) { table.Draw(picture.Get(), to, storage.Processor()); });
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectFishEye", kFragment)
            .Texture("tex0", 0, picture)
            .Set("opt", opt)
            .Set("signdist", settings.sign)
            .Set("dist", dist)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectFishEye>();

}  // namespace Kaltor::Ogl
