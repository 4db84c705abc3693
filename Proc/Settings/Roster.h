#pragma once

#include "Proc/Settings/SettingsBlendTransitions.h"
#include "Proc/Settings/SettingsColorEffects.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsGeometryEffects.h"
#include "Proc/Settings/SettingsMeshTransitions.h"
#include "Proc/Settings/SettingsMotionTransitions.h"
#include "Proc/Settings/SettingsServices.h"
#include "Proc/Settings/SettingsStyleEffects.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {

/// A row with one input: the settings class, and the algorithm that draws it.
template <typename S, typename Algorithm>
struct Effect {
    using Settings = S;
};

/// A row with two inputs.
template <typename S, typename Algorithm>
struct Transition {
    using Settings = S;
};

/// A row that handles frames rather than pictures, and has a factory of its own.
template <typename S>
struct Service {
    using Settings = S;
};

template <typename... Rows>
struct RosterOf {};

/// Everything that the library offers, in the order of registration. The catalogue of settings and the plug-in's
/// registration follow from this list; `class` declares the algorithm; only its own source file defines it.
using Roster = RosterOf<  //
    Effect<Proc::SettingsEffectColorMixBurn, class EffectColorMixBurn>,
    Effect<Proc::SettingsEffectColorMixDistinguish, class EffectColorMixDistinguish>,
    Effect<Proc::SettingsEffectColorMixExchange, class EffectColorMixExchange>,
    Effect<Proc::SettingsEffectColorMixField, class EffectColorMixField>,
    Effect<Proc::SettingsEffectColorBrush, class EffectColorBrush>,
    Effect<Proc::SettingsEffectTiltShiftQEL, class EffectTiltShift>,
    Effect<Proc::SettingsEffectErosion, class EffectErosion>,
    Effect<Proc::SettingsEffectGlassMosaic, class EffectGlassMosaic>,
    Effect<Proc::SettingsEffectTranspose, class EffectTranspose>,
    Effect<Proc::SettingsEffectOilPaint, class EffectOilPaint>,
    Effect<Proc::SettingsEffectFindEdges, class EffectFindEdges>,
    Effect<Proc::SettingsEffectPosterize, class EffectPosterize>,
    Effect<Proc::SettingsEffectChromakey, class EffectChromakey>, Effect<Proc::SettingsEffectVHS, class EffectVHS>,
    Effect<Proc::SettingsEffectVertigo, class EffectVertigo>, Effect<Proc::SettingsEffectTwirl, class EffectTwirl>,
    Effect<Proc::SettingsEffectPopArt, class EffectPopArt>, Effect<Proc::SettingsEffectStripes, class EffectStripes>,
    Effect<Proc::SettingsEffectMosaic, class EffectMosaic>, Effect<Proc::SettingsEffectDiffuse, class EffectDiffuse>,
    Effect<Proc::SettingsEffectMask, class EffectMask>, Effect<Proc::SettingsEffectPanAndZoom, class EffectPanAndZoom>,
    Effect<Proc::SettingsEffectZoom, class EffectZoom>,
    Effect<Proc::SettingsEffectFlyingObjects, class EffectFlyingObjects>,
    Effect<Proc::SettingsEffectInvert, class EffectInvert>, Effect<Proc::SettingsEffectAddNoize, class EffectAddNoize>,
    Effect<Proc::SettingsEffectCameraShake, class EffectCameraShake>,
    Effect<Proc::SettingsEffectBlurGaussian, class EffectBlur>, Effect<Proc::SettingsEffectMirror, class EffectMirror>,
    Effect<Proc::SettingsEffectFlip, class EffectFlip>,
    Effect<Proc::SettingsEffectRetroArtefacts, class EffectRetroArtefacts>,
    Effect<Proc::SettingsEffectRetroColors, class EffectRetroColors>,
    Effect<Proc::SettingsEffectSharpen, class EffectSharpen>,
    Effect<Proc::SettingsEffectSubFrame, class EffectSubFrame>,
    Effect<Proc::SettingsEffectOpacity, class EffectOpacity>, Effect<Proc::SettingsEffectFishEye, class EffectFishEye>,
    Effect<Proc::SettingsEffectFilmStrip, class EffectFilmStrip>,
    Effect<Proc::SettingsEffectVideoFadeInFadeOut, class EffectFadeInFadeOut>, Service<Proc::SettingsResizer>,
    Service<Proc::SettingsFrameUploader>, Service<Proc::SettingsFrameDownloader>,
    Service<Proc::SettingsEffectImageBlender>, Transition<Proc::SettingsTransitionRipple, class TransitionRipple>,
    Transition<Proc::SettingsTransitionPageturn, class TransitionPageturn>,
    Transition<Proc::SettingsTransitionWaterbrush, class TransitionWaterbrush>,
    Transition<Proc::SettingsTransitionTwist, class TransitionTwist>,
    Transition<Proc::SettingsTransitionRoll, class TransitionRoll>,
    Transition<Proc::SettingsTransitionPinwheel, class TransitionPinwheel>,
    Transition<Proc::SettingsTransitionPixels, class TransitionPixels>,
    Transition<Proc::SettingsTransitionRippleSmooth, class TransitionRippleSmooth>,
    Transition<Proc::SettingsTransitionShatter, class TransitionShatter>,
    Transition<Proc::SettingsTransitionDisintegrate, class TransitionDisintegrate>,
    Transition<Proc::SettingsTransitionSpiral, class TransitionSpiral>,
    Transition<Proc::SettingsTransitionLens, class TransitionLens>,
    Transition<Proc::SettingsTransitionPush, class TransitionPush>,
    Transition<Proc::SettingsTransitionBlinds, class TransitionBlinds>,
    Transition<Proc::SettingsTransitionScale, class TransitionScale>,
    Transition<Proc::SettingsTransitionZoom, class TransitionZoom>,
    Transition<Proc::SettingsTransitionSmear, class TransitionSmear>,
    Transition<Proc::SettingsTransitionOrigamiValley, class TransitionOrigamiValley>,
    Transition<Proc::SettingsTransitionOrigamiFlips, class TransitionOrigamiFlips>,
    Transition<Proc::SettingsTransitionOrigamiPleats, class TransitionOrigamiPleats>,
    Transition<Proc::SettingsTransitionBlur, class TransitionBlur>,
    Transition<Proc::SettingsTransitionKenBurns, class TransitionKenBurns>,
    Transition<Proc::SettingsTransitionCrossfade, class TransitionCrossfade>,
    Transition<Proc::SettingsTransitionFadeInFadeOut, class TransitionFadeInFadeOut>,
    Transition<Proc::SettingsTransitionSnake, class TransitionSnake>,
    Transition<Proc::SettingsTransitionCircle, class TransitionCircle>,
    Transition<Proc::SettingsTransitionCube, class TransitionCube>,
    Transition<Proc::SettingsTransitionWipe, class TransitionWipe>,
    Transition<Proc::SettingsTransitionSlide, class TransitionSlide>,
    Transition<Proc::SettingsTransitionRadial, class TransitionRadial>,
    Transition<Proc::SettingsTransitionMatrix, class TransitionMatrix>,
    Transition<Proc::SettingsTransitionSlidingDoor, class TransitionSlidingDoor>,
    Transition<Proc::SettingsTransitionBarnDoor, class TransitionBarnDoor>,
    Transition<Proc::SettingsTransitionCross, class TransitionCross>,
    Transition<Proc::SettingsTransitionPieces, class TransitionPieces>,
    Transition<Proc::SettingsTransitionFlash, class TransitionFlash>,
    Transition<Proc::SettingsTransitionSpin, class TransitionSpin>,
    Transition<Proc::SettingsTransitionPuzzle, class TransitionPuzzle>,
    Transition<Proc::SettingsTransitionMosaic, class TransitionMosaic>>;

}  // namespace Kaltor::Ogl
