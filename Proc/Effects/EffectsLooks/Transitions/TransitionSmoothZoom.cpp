// Flies into the outgoing picture and arrives in the incoming one, or the other way round: one zoom with weight,
// blurred as a shutter would. What lies beyond the borders are the pictures mirrored.

#include "Proc/Effects/EffectsLooks/Look.h"
#include "Proc/Effects/EffectsLooks/MoveSettings.h"
#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionSmoothZoom final : WeightSettings<SettingsTransitionSmoothZoom> {
    static inline std::string const CLASS_ID = "TransitionSmoothZoom";
    static constexpr std::string_view SUMMARY =
        "A fast zoom with motion blur carries from one picture into the other, overshoots a little and settles.";

    enum class Direction : std::int32_t { In, Out };

    Direction direction = Direction::In;
    double zoom = 4.0;
    double roll = 0.0;
    double x = 0.5;
    double y = 0.5;
    double ease = 3.5;
    double overshoot = 0.02;
    double blur = 0.6;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::direction>({{Direction::In, "in"}, {Direction::Out, "out"}}, "where the flight goes"),
                Declare<&This::zoom>(1.2, 10.0, "how many times larger the end of the flight is"),
                Declare<&This::roll>(-180.0, 180.0, "degrees by which the camera rolls on the way, clockwise"),
                Declare<&This::x>(0.0, 1.0, "where it flies to, from the left"),
                Declare<&This::y>(0.0, 1.0, "where it flies to, from below"),
                DeclareEase(),
                DeclareOvershoot(),
                DeclareBlur()};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {

class TransitionSmoothZoom final : public TransitionWithSettings<Proc::SettingsTransitionSmoothZoom> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        bool const isIn = settings.direction == Proc::SettingsTransitionSmoothZoom::Direction::In;
        TurnAndZoom const move{-settings.roll * std::numbers::pi / 180.0,
                               isIn ? settings.zoom : 1.0 / settings.zoom,
                               {static_cast<float>(settings.x), static_cast<float>(settings.y)}};
        Exposure const exposure(WeightedMove(settings.ease, settings.overshoot), progress, settings.blur);
        DrawMove(*dst, Pictures(first, second, storage), move, exposure, storage);
    }
};

template void AddTransition<TransitionSmoothZoom>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
