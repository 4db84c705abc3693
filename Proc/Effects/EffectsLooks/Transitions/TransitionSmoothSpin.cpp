// The camera turns about a point: the outgoing picture spins away and the incoming one spins in, one turn with weight,
// blurred as a shutter would. Corners show the pictures mirrored.

#include "Proc/Effects/EffectsLooks/Look.h"
#include "Proc/Effects/EffectsLooks/MoveSettings.h"
#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionSmoothSpin final : WeightSettings<SettingsTransitionSmoothSpin> {
    static inline std::string const CLASS_ID = "TransitionSmoothSpin";
    static constexpr std::string_view SUMMARY =
        "A fast turn with motion blur spins from one picture into the other, overshoots a little and settles.";

    double angle = 120.0;
    double x = 0.5;
    double y = 0.5;
    double ease = 3.5;
    double overshoot = 0.03;
    double blur = 0.6;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::angle>(-720.0, 720.0, "degrees of the whole turn, clockwise"),
                Declare<&This::x>(0.0, 1.0, "centre of the turn, from the left"),
                Declare<&This::y>(0.0, 1.0, "centre of the turn, from below"),
                DeclareEase(),
                DeclareOvershoot(0.3, "how far it turns beyond its goal before it settles"),
                DeclareBlur()};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {

class TransitionSmoothSpin final : public TransitionWithSettings<Proc::SettingsTransitionSmoothSpin> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        TurnAndZoom const move{-settings.angle * std::numbers::pi / 180.0,
                               1.0,
                               {static_cast<float>(settings.x), static_cast<float>(settings.y)}};
        Exposure const exposure(WeightedMove(settings.ease, settings.overshoot), progress, settings.blur);
        DrawMove(*dst, Pictures(first, second, storage), move, exposure, storage);
    }
};

template void AddTransition<TransitionSmoothSpin>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
