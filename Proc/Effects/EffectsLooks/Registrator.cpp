#include "Proc/Effects/EffectsLooks/LookRow.h"

namespace Kaltor::Ogl {

template <typename... Looks>
struct LookRows {};

/// All looks, in the order of registration; `class` declares the algorithm, and only its own source file defines it.
using LookTransitions = LookRows<  //
    class TransitionSmoothPush, class TransitionSmoothSlide, class TransitionSmoothSpin, class TransitionSmoothZoom,
    class TransitionWhipPan>;

namespace {

template <typename... Looks>
void AddTransitions(Proc::IEffectRegistry& registry, LookRows<Looks...>) {
    (AddTransition<Looks>(registry), ...);
}

}  // namespace
}  // namespace Kaltor::Ogl

/// The plug-in's entry point: registers every look, and its settings class.
extern "C" __attribute__((visibility("default"))) void Registrator(Kaltor::Proc::IEffectRegistry& registry) {
    using namespace Kaltor::Ogl;
    AddTransitions(registry, LookTransitions{});
}
