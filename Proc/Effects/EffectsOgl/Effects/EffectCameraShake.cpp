// A camera held by hand: the picture shifts and rolls at random. Each of the three motions is the sum of a slow drift,
// a sway and a faster tremor, cubic B-splines over random numbers: speed and acceleration have no jumps, and the mean
// is the camera at rest. The picture is enlarged by a constant factor, large enough that no border shows at the
// farthest shift and the strongest roll.

#include <cmath>

#include <glm/geometric.hpp>
#include <glm/trigonometric.hpp>

#include "Ogl/Noise.h"
#include "Ogl/Random.h"
#include "Proc/Effects/EffectsOgl/Effects/CubicView.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

/// A smooth random function of mean 0 and standard deviation 1: a uniform B-spline, one random number to each unit of
/// `place`. It crosses 0 as often as a wave of 0.1877 periods a unit: sqrt((2 / 3) / (151 / 315)) / (2 pi).
double Wander(double place, std::uint32_t motion, std::uint32_t seed) {
    double const first = std::floor(place);
    double const x = place - first;
    auto const knot = static_cast<std::uint32_t>(static_cast<std::int64_t>(first));
    auto const random = [&](std::uint32_t i) { return 2.0 * HashToUnit(knot + i, motion, seed) - 1.0; };
    double const y = 1.0 - x;
    double const sum = random(0) * y * y * y + random(1) * (4.0 + x * x * (3.0 * x - 6.0)) +
                       random(2) * (4.0 + y * y * (3.0 * y - 6.0)) + random(3) * x * x * x;
    constexpr double kDeviation = 2.3985;  // that of `sum`: 6 sqrt(151 / 315 / 3)
    return sum / kDeviation;
}

/// One motion of a camera that trembles `frequency` times a second: sway and tremor, of one half and one and a half of
/// it; under them the hand drifts, once in a few seconds.
double Shake(double time, double frequency, double drift, std::uint32_t motion, std::uint32_t seed) {
    constexpr double kSway = 0.5 / 0.1877;
    constexpr double kTremor = 1.5 / 0.1877;
    constexpr std::uint32_t kMotions = 3;
    double const periods = time * frequency;
    constexpr double kDrift = 0.06 / 0.1877;  // of the tremor's frequency
    return 0.8 * Wander(periods * kSway, motion, seed) + 0.6 * Wander(periods * kTremor, motion + kMotions, seed) +
           2.2 * drift * Wander(periods * kDrift, motion + 2 * kMotions, seed);
}

/// Keeps directions, and limits lengths to less than 1.
template <typename T>
T Limit(T const& value, double length) {
    constexpr double kUsual = 0.6;  // part of the limit, for a length of 1
    return value * (kUsual / std::sqrt(1.0 + kUsual * kUsual * length * length));
}

}  // namespace

class EffectCameraShake final : public EffectWithSettings<Proc::SettingsEffectCameraShake> {
public:
    void SetSeed(std::uint32_t given) override { seed = Random(given).Draw(); }

    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        double const amplitude = settings.amplitude;
        double const rotation = glm::radians(settings.rotation);
        if (amplitude == 0.0 && rotation == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        auto const shake = [&](std::uint32_t motion) {
            return Shake(time, settings.frequency, settings.drift, motion, seed);
        };
        glm::dvec2 const sway{shake(0), shake(1)};
        double const roll = shake(2);

        double const aspect = GetDisplayAspect(src->GetFrameInfo());
        double const zoom = HideBorders(aspect, amplitude, rotation);
        Placement const place =
            Move(aspect, amplitude * Limit(sway, glm::length(sway)), rotation * Limit(roll, roll), zoom);
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        DrawCubic(picture, place, zoom, dst->FrameData().GetFirstTexture(), storage);
    }

private:
    std::uint32_t seed = Random().Draw();
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectCameraShake>();

}  // namespace Kaltor::Ogl
