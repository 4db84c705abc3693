#include <cstdlib>
#include <ctime>

#include "Proc/Effects/EffectsOgl/Algorithms.h"
#include "Proc/Effects/EffectsOgl/EffectWrapper.h"
#include "Proc/Effects/EffectsOgl/FrameDownloader.h"
#include "Proc/Effects/EffectsOgl/FrameUploader.h"
#include "Proc/Effects/EffectsOgl/ImageBlender.h"
#include "Proc/Effects/EffectsOgl/Resize.h"
#include "Proc/Effects/EffectsOgl/TransitionWrapper.h"
#include "Proc/Interfaces/IEffectRegistry.h"
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

class EffectColorMixBurn;
class EffectColorMixDistinguish;
class EffectColorMixExchange;
class EffectColorMixField;
class EffectColorBrush;
class EffectTiltShift;
class EffectErosion;
class EffectGlassMosaic;
class EffectTranspose;
class EffectOilPaint;
class EffectFindEdges;
class EffectPosterize;
class EffectChromakey;
class EffectVHS;
class EffectVertigo;
class EffectTwirl;
class EffectPopArt;
class EffectStripes;
class EffectMosaic;
class EffectDiffuse;
class EffectMask;
class EffectPanAndZoom;
class EffectZoom;
class EffectFlyingObjects;
class EffectInvert;
class EffectAddNoize;
class EffectCameraShake;
class EffectBlur;
class EffectMirror;
class EffectFlip;
class EffectRetroArtefacts;
class EffectRetroColors;
class EffectSharpen;
class EffectSubFrame;
class EffectOpacity;
class EffectFishEye;
class EffectFilmStrip;
class EffectFadeInFadeOut;

class TransitionRipple;
class TransitionPageturn;
class TransitionWaterbrush;
class TransitionTwist;
class TransitionRoll;
class TransitionPinwheel;
class TransitionPixels;
class TransitionRippleSmooth;
class TransitionShatter;
class TransitionDisintegrate;
class TransitionSpiral;
class TransitionLens;
class TransitionPush;
class TransitionBlinds;
class TransitionScale;
class TransitionZoom;
class TransitionSmear;
class TransitionOrigamiValley;
class TransitionOrigamiFlips;
class TransitionOrigamiPleats;
class TransitionBlur;
class TransitionKenBurns;
class TransitionCrossfade;
class TransitionFadeInFadeOut;
class TransitionSnake;
class TransitionCircle;
class TransitionCube;
class TransitionWipe;
class TransitionSlide;
class TransitionRadial;
class TransitionMatrix;
class TransitionSlidingDoor;
class TransitionBarnDoor;
class TransitionCross;
class TransitionPieces;
class TransitionFlash;
class TransitionSpin;
class TransitionPuzzle;
class TransitionMosaic;

}  // namespace Kaltor::Ogl

namespace Kaltor::Proc {
namespace {

using boost::intrusive_ptr;

template <typename T>
intrusive_ptr<IOneInputEffectVideo> CreateEffect(intrusive_ptr<IEffectFactory const> const& factory) {
    return EffectWrapper::Create(factory, Ogl::MakeEffect<T>().release());
}

template <typename T>
intrusive_ptr<ITwoInputEffectVideo> Create(intrusive_ptr<IEffectFactory const> const& factory) {
    return TransitionWrapper::Create(factory, Ogl::MakeTransition<T>().release());
}

template <typename S>
void RegisterOne(IEffectRegistry& registry,
                 intrusive_ptr<IOneInputEffectVideo> (*factory)(intrusive_ptr<IEffectFactory const> const&)) {
    registry.RegisterOneInputEffect(S::CLASS_ID, ImplNames::OGL, factory);
}

template <typename S>
void RegisterTwo(IEffectRegistry& registry,
                 intrusive_ptr<ITwoInputEffectVideo> (*factory)(intrusive_ptr<IEffectFactory const> const&)) {
    registry.RegisterTwoInputEffect(S::CLASS_ID, ImplNames::OGL, factory);
}

}  // namespace
}  // namespace Kaltor::Proc

/// The plug-in's entry point: seeds the C library's random generator from the clock, since several algorithms draw
/// from it when they are made, and registers every effect under `ImplNames::OGL`.
extern "C" __attribute__((visibility("default"))) void Registrator(Kaltor::Proc::IEffectRegistry& registry) {
    using namespace Kaltor::Proc;
    using namespace Kaltor::Ogl;

    srand(static_cast<unsigned>(time(nullptr)));

    RegisterOne<SettingsEffectColorMixBurn>(registry, &CreateEffect<EffectColorMixBurn>);
    RegisterOne<SettingsEffectColorMixDistinguish>(registry, &CreateEffect<EffectColorMixDistinguish>);
    RegisterOne<SettingsEffectColorMixExchange>(registry, &CreateEffect<EffectColorMixExchange>);
    RegisterOne<SettingsEffectColorMixField>(registry, &CreateEffect<EffectColorMixField>);
    RegisterOne<SettingsEffectColorBrush>(registry, &CreateEffect<EffectColorBrush>);
    RegisterOne<SettingsEffectTiltShiftQEL>(registry, &CreateEffect<EffectTiltShift>);
    RegisterOne<SettingsEffectErosion>(registry, &CreateEffect<EffectErosion>);
    RegisterOne<SettingsEffectGlassMosaic>(registry, &CreateEffect<EffectGlassMosaic>);
    RegisterOne<SettingsEffectTranspose>(registry, &CreateEffect<EffectTranspose>);
    RegisterOne<SettingsEffectOilPaint>(registry, &CreateEffect<EffectOilPaint>);
    RegisterOne<SettingsEffectFindEdges>(registry, &CreateEffect<EffectFindEdges>);
    RegisterOne<SettingsEffectPosterize>(registry, &CreateEffect<EffectPosterize>);
    RegisterOne<SettingsEffectChromakey>(registry, &CreateEffect<EffectChromakey>);
    RegisterOne<SettingsEffectVHS>(registry, &CreateEffect<EffectVHS>);
    RegisterOne<SettingsEffectVertigo>(registry, &CreateEffect<EffectVertigo>);
    RegisterOne<SettingsEffectTwirl>(registry, &CreateEffect<EffectTwirl>);
    RegisterOne<SettingsEffectPopArt>(registry, &CreateEffect<EffectPopArt>);
    RegisterOne<SettingsEffectStripes>(registry, &CreateEffect<EffectStripes>);
    RegisterOne<SettingsEffectMosaic>(registry, &CreateEffect<EffectMosaic>);
    RegisterOne<SettingsEffectDiffuse>(registry, &CreateEffect<EffectDiffuse>);
    RegisterOne<SettingsEffectMask>(registry, &CreateEffect<EffectMask>);
    RegisterOne<SettingsEffectPanAndZoom>(registry, &CreateEffect<EffectPanAndZoom>);
    RegisterOne<SettingsEffectZoom>(registry, &CreateEffect<EffectZoom>);
    RegisterOne<SettingsEffectFlyingObjects>(registry, &CreateEffect<EffectFlyingObjects>);
    RegisterOne<SettingsEffectInvert>(registry, &CreateEffect<EffectInvert>);
    RegisterOne<SettingsEffectAddNoize>(registry, &CreateEffect<EffectAddNoize>);
    RegisterOne<SettingsEffectCameraShake>(registry, &CreateEffect<EffectCameraShake>);
    RegisterOne<SettingsEffectBlurGaussian>(registry, &CreateEffect<EffectBlur>);
    RegisterOne<SettingsEffectMirror>(registry, &CreateEffect<EffectMirror>);
    RegisterOne<SettingsEffectFlip>(registry, &CreateEffect<EffectFlip>);
    RegisterOne<SettingsEffectRetroArtefacts>(registry, &CreateEffect<EffectRetroArtefacts>);
    RegisterOne<SettingsEffectRetroColors>(registry, &CreateEffect<EffectRetroColors>);
    RegisterOne<SettingsEffectSharpen>(registry, &CreateEffect<EffectSharpen>);
    RegisterOne<SettingsEffectSubFrame>(registry, &CreateEffect<EffectSubFrame>);
    RegisterOne<SettingsEffectOpacity>(registry, &CreateEffect<EffectOpacity>);
    RegisterOne<SettingsEffectFishEye>(registry, &CreateEffect<EffectFishEye>);
    RegisterOne<SettingsEffectFilmStrip>(registry, &CreateEffect<EffectFilmStrip>);
    RegisterOne<SettingsEffectVideoFadeInFadeOut>(registry, &CreateEffect<EffectFadeInFadeOut>);
    RegisterOne<SettingsResizer>(registry, &CreateResizeOGL);
    RegisterOne<SettingsFrameUploader>(registry, &CreateFrameUploader);
    RegisterOne<SettingsFrameDownloader>(registry, &CreateFrameDownloader);

    RegisterTwo<SettingsEffectImageBlender>(registry, &ImageBlender::Create);
    RegisterTwo<SettingsTransitionRipple>(registry, &Create<TransitionRipple>);
    RegisterTwo<SettingsTransitionPageturn>(registry, &Create<TransitionPageturn>);
    RegisterTwo<SettingsTransitionWaterbrush>(registry, &Create<TransitionWaterbrush>);
    RegisterTwo<SettingsTransitionTwist>(registry, &Create<TransitionTwist>);
    RegisterTwo<SettingsTransitionRoll>(registry, &Create<TransitionRoll>);
    RegisterTwo<SettingsTransitionPinwheel>(registry, &Create<TransitionPinwheel>);
    RegisterTwo<SettingsTransitionPixels>(registry, &Create<TransitionPixels>);
    RegisterTwo<SettingsTransitionRippleSmooth>(registry, &Create<TransitionRippleSmooth>);
    RegisterTwo<SettingsTransitionShatter>(registry, &Create<TransitionShatter>);
    RegisterTwo<SettingsTransitionDisintegrate>(registry, &Create<TransitionDisintegrate>);
    RegisterTwo<SettingsTransitionSpiral>(registry, &Create<TransitionSpiral>);
    RegisterTwo<SettingsTransitionLens>(registry, &Create<TransitionLens>);
    RegisterTwo<SettingsTransitionPush>(registry, &Create<TransitionPush>);
    RegisterTwo<SettingsTransitionBlinds>(registry, &Create<TransitionBlinds>);
    RegisterTwo<SettingsTransitionScale>(registry, &Create<TransitionScale>);
    RegisterTwo<SettingsTransitionZoom>(registry, &Create<TransitionZoom>);
    RegisterTwo<SettingsTransitionSmear>(registry, &Create<TransitionSmear>);
    RegisterTwo<SettingsTransitionOrigamiValley>(registry, &Create<TransitionOrigamiValley>);
    RegisterTwo<SettingsTransitionOrigamiFlips>(registry, &Create<TransitionOrigamiFlips>);
    RegisterTwo<SettingsTransitionOrigamiPleats>(registry, &Create<TransitionOrigamiPleats>);
    RegisterTwo<SettingsTransitionBlur>(registry, &Create<TransitionBlur>);
    RegisterTwo<SettingsTransitionKenBurns>(registry, &Create<TransitionKenBurns>);
    RegisterTwo<SettingsTransitionCrossfade>(registry, &Create<TransitionCrossfade>);
    RegisterTwo<SettingsTransitionFadeInFadeOut>(registry, &Create<TransitionFadeInFadeOut>);
    RegisterTwo<SettingsTransitionSnake>(registry, &Create<TransitionSnake>);
    RegisterTwo<SettingsTransitionCircle>(registry, &Create<TransitionCircle>);
    RegisterTwo<SettingsTransitionCube>(registry, &Create<TransitionCube>);
    RegisterTwo<SettingsTransitionWipe>(registry, &Create<TransitionWipe>);
    RegisterTwo<SettingsTransitionSlide>(registry, &Create<TransitionSlide>);
    RegisterTwo<SettingsTransitionRadial>(registry, &Create<TransitionRadial>);
    RegisterTwo<SettingsTransitionMatrix>(registry, &Create<TransitionMatrix>);
    RegisterTwo<SettingsTransitionSlidingDoor>(registry, &Create<TransitionSlidingDoor>);
    RegisterTwo<SettingsTransitionBarnDoor>(registry, &Create<TransitionBarnDoor>);
    RegisterTwo<SettingsTransitionCross>(registry, &Create<TransitionCross>);
    RegisterTwo<SettingsTransitionPieces>(registry, &Create<TransitionPieces>);
    RegisterTwo<SettingsTransitionFlash>(registry, &Create<TransitionFlash>);
    RegisterTwo<SettingsTransitionSpin>(registry, &Create<TransitionSpin>);
    RegisterTwo<SettingsTransitionPuzzle>(registry, &Create<TransitionPuzzle>);
    RegisterTwo<SettingsTransitionMosaic>(registry, &Create<TransitionMosaic>);
}
