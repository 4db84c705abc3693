#include "Proc/Effects/EffectsLooks/LookRow.h"

namespace Kaltor::Ogl {

template <typename... Looks>
struct LookRows {};

/// All looks, in the order of registration; `class` declares the algorithm, and only its own source file defines it.
using LookEffects =
    LookRows<class EffectChromaticAberration, class EffectDirectionalBlur, class EffectDuotone, class EffectEdgeGlow,
             class EffectFilmBurn, class EffectGlitch, class EffectGlow, class EffectGodRays, class EffectGrade,
             class EffectHalftone, class EffectLensBlur, class EffectLensFlare, class EffectLetterbox,
             class EffectLightLeak, class EffectLut, class EffectSpeedLines, class EffectSpinBlur,
             class EffectTransform, class EffectVignette, class EffectZoomBlur>;
using LookTransitions =
    LookRows<class TransitionAperture, class TransitionBokeh, class TransitionBounce, class TransitionBurnAway,
             class TransitionCardFlip, class TransitionColorStagger, class TransitionFilmBurn, class TransitionFilmSlip,
             class TransitionGlitch, class TransitionGlowFlash, class TransitionGodRays, class TransitionHexagons,
             class TransitionKaleidoscope, class TransitionLensWarp, class TransitionLightLeak, class TransitionLiquid,
             class TransitionLumaMorph, class TransitionLumaWipe, class TransitionPaperTear, class TransitionRaindrops,
             class TransitionReededGlass, class TransitionSlitScan, class TransitionSmoke, class TransitionSmoothPush,
             class TransitionSmoothSlide, class TransitionSmoothSpin, class TransitionSmoothZoom,
             class TransitionStrips, class TransitionTvSwitch, class TransitionVortex, class TransitionWhipPan,
             class TransitionZoomBlur>;

namespace {

template <typename... Looks>
void AddEffects(Proc::IEffectRegistry& registry, LookRows<Looks...>) {
    (AddEffect<Looks>(registry), ...);
}

template <typename... Looks>
void AddTransitions(Proc::IEffectRegistry& registry, LookRows<Looks...>) {
    (AddTransition<Looks>(registry), ...);
}

}  // namespace
}  // namespace Kaltor::Ogl

/// The plug-in's entry point: registers every look, and its settings class.
extern "C" __attribute__((visibility("default"))) void Registrator(Kaltor::Proc::IEffectRegistry& registry) {
    using namespace Kaltor::Ogl;
    AddEffects(registry, LookEffects{});
    AddTransitions(registry, LookTransitions{});
}
